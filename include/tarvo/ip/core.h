// The operator frame of the image layer and the library entry.
//
// An image operation exists as an operator class (parameters as members, one
// process(src, dst)) and as a free function in tarvo::ip that builds the
// operator on its stack and calls process. Because ipCorePump is also a pump,
// every operator can stand as a node of a Pipe: pin 0 takes the input image,
// pin 1 offers the result under the key "image".
#pragma once

#include "tarvo/containers.h"
#include "tarvo/export.h"
#include "tarvo/pump.h"

namespace tarvo {

class Mat;

// Name, copyright line and version of the library, filled by GettarvoIPInfo.
struct tagLibraryInfo {
    char szName[64];
    char szCopyright[64];
    int nMajor;
    int nMinor;
    int nPatch;
};

// Identifiers of the operators, one 64-byte constant each. Nothing reads them
// at run time; they name operators in tools and logs.
namespace ipid {
inline constexpr char ipCircleTransform[64] = "ipCircleTransform";
inline constexpr char ipColorize[64] = "ipColorize";
inline constexpr char ipShiftRGB[64] = "ipShiftRGB";
inline constexpr char ipHSL[64] = "ipHSL";
inline constexpr char ipColorTemperature[64] = "ipColorTemperature";
inline constexpr char ipExposure[64] = "ipExposure";
inline constexpr char ipLevel[64] = "ipLevel";
inline constexpr char ipLight[64] = "ipLight";
inline constexpr char ipShadows[64] = "ipShadows";
inline constexpr char ipJitter[64] = "ipJitter";
inline constexpr char ipNoise[64] = "ipNoise";
inline constexpr char ipPosterize[64] = "ipPosterize";
inline constexpr char ipSketch[64] = "ipSketch";
inline constexpr char ipRoughSketch[64] = "ipRoughSketch";
inline constexpr char ipVintage[64] = "ipVintage";
inline constexpr char ipSpotHealing[64] = "ipSpotHealing";
inline constexpr char ipHistogramEqualize[64] = "ipHistogramEqualize";
inline constexpr char ipHistogramLog[64] = "ipHistogramLog";
inline constexpr char ipHistogramNormalize[64] = "ipHistogramNormalize";
inline constexpr char ipHistogramRoot[64] = "ipHistogramRoot";
inline constexpr char ipHistogramStretch[64] = "ipHistogramStretch";
// Names without an operator class behind them.
inline constexpr char ipHighlights[64] = "ipHighlights";
inline constexpr char ipRedEyeRemove[64] = "ipRedEyeRemove";
inline constexpr char ipImageSegment[64] = "ipImageSegment";
inline constexpr char ipMedian[64] = "ipMedian";
inline constexpr char ipCorePump[64] = "ipCorePump";
inline constexpr char ipCoreFeaturePump[64] = "ipCoreFeaturePump";
inline constexpr char ipCompoundCorePump[64] = "ipCompoundCorePump";
}  // namespace ipid

// Root of the operator classes. The reserved word is zero and unused.
// The frame classes are exported so applications can write operators of their
// own; the library's concrete operators are not.
class TARVO_EXPORTS ipBaseCore {
public:
    ipBaseCore() : m_nReserved(0) {}
    virtual ~ipBaseCore() {}

protected:
    int m_nReserved;
};

// An operator with one operation: process(src, dst). A null dst means the
// result is written over src.
class TARVO_EXPORTS ipCoreABC : public ipBaseCore {
public:
    ~ipCoreABC() override {}
    // Runs the operator; false when the input is refused (dst then unchanged).
    // The base operator refuses everything.
    virtual bool process(Mat* src, Mat* dst) {
        (void)src;
        (void)dst;
        return false;
    }
    // Hook with no effect; kept for operators that may need a reset step.
    virtual void reset() {}
};

// Base of the photo and transformation operators: an operator that is also a
// pump (pin 0 input of link type 1, pin 1 output of link type 3) and describes
// its parameters (one method, no listed parameters).
class TARVO_EXPORTS ipCorePump : public ipCoreABC, public PumpABC, public IParamABC {
public:
    ipCorePump();
    ipCorePump(const ipCorePump& other);
    ~ipCorePump() override;

    // A copy of this operator (copy construction); null on allocation failure.
    // Operators with parameters override it to copy their parameter members.
    PumpABC* clone() const override;
    // Runs process(input, result) on a new Mat shaped like the input (pixels not
    // copied) and registers it on pin 1 as "image", replacing and freeing the
    // previous result. Returns 1 even when process refused the input.
    PumpRet pumpProcess() override;
    // Runs process(input, result) on a new empty Mat and returns it; the caller
    // owns it. The pins are not touched.
    Mat* pumpProcess(Mat* input) override;
    // Deletes the Mat registered on pin 1.
    void releaseData() override;
};

// Base of operators that find something in an image and draw it over the image.
class TARVO_EXPORTS ipCoreFeaturePump : public ipBaseCore, public PumpABC {
public:
    ipCoreFeaturePump();
    ipCoreFeaturePump(const ipCoreFeaturePump& other);
    ~ipCoreFeaturePump() override;
    // Finds the features; false when nothing is found or the image is refused.
    virtual bool process(Mat* image) {
        (void)image;
        return false;
    }
    // Draws the features found by the last process over the image.
    virtual bool draw(Mat* image) {
        (void)image;
        return false;
    }
    // Hook with no effect.
    virtual void reset() {}

    PumpABC* clone() const override;
    // process(image), then draw(image); returns image.
    Mat* pumpProcess(Mat* image) override;
};

// A list of operator names. Nothing in the library fills one: operators are
// reached through their free functions.
class TARVO_EXPORTS ipCoreRegist {
public:
    ipCoreRegist();
    ipCoreRegist(const ipCoreRegist& other);
    ipCoreRegist& operator=(const ipCoreRegist& other);
    virtual ~ipCoreRegist();

protected:
    StringArray m_names;
};

}  // namespace tarvo

// Writes "tarvoip 2.2" (with its terminator) into the name, the copyright line
// into the copyright field and 2, 2, 2 into the version. The rest of the two
// character fields is left as it was. A null pointer is ignored.
TARVO_EXPORTS void GettarvoIPInfo(tarvo::tagLibraryInfo* info);
