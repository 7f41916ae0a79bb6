// Gradients and edges: the hand-written 3x3 gradient class Sobel, the
// quantised edge-orientation field, derivative kernels, ip::sobel,
// ip::laplace and the Canny edge detector.
//
// Sign convention of everything hand-written here (Sobel, canny), with
// p(dy, dx) the source pixel at that offset:
//   gx = 2*(p(0,+1) - p(0,-1)) + p(-1,+1) + p(+1,+1) - p(-1,-1) - p(+1,-1)
//        positive when the image gets brighter to the right;
//   gy = 2*(p(-1,0) - p(+1,0)) + p(-1,-1) + p(-1,+1) - p(+1,-1) - p(+1,+1)
//        positive when the image gets brighter UPWARDS (row above minus row below).
// ip::sobel goes through the filter engine and has the ordinary sign
// (kernel -1, 0, 1 along increasing index).
#pragma once

#include "tarvo/array.h"
#include "tarvo/export.h"
#include "tarvo/ip/core.h"
#include "tarvo/mat.h"

namespace tarvo {

// Orientation codes: 0..35 for 36 sectors of 10 degrees, 36 for none.
// The code of a gradient (a, b) (a horizontal, b vertical, upward positive)
// is trunc((atan2(-a, -b) / (2 pi) + 1.25) * 36) mod 36: right 0, down 9,
// left 18, up 27.
constexpr int EOF_NO_ORIENTATION = 36;

// 3x3 gradients written out by hand. No state; the statics need no object.
class TARVO_EXPORTS Sobel {
public:
    Sobel() {}
    Sobel(const Sobel&) {}
    Sobel& operator=(const Sobel&) { return *this; }
    virtual ~Sobel() {}

    // L1 gradient strength |gx| + |gy| of a byte image as bytes (saturated at
    // 255, frame 0). A null dst writes over src. A non-null dst must already
    // have src's size; otherwise it is converted into (re-created as byte).
    virtual void process(Mat* src, Mat* dst);
    // |gx| (resp. |gy|) as bytes, frame 0. A null dst writes over src; a
    // non-null dst of another size than src is left untouched.
    void getIntensityX(const Mat* src, Mat* dst);
    void getIntensityY(const Mat* src, Mat* dst);

    // |gx| + |gy| into an existing destination of src's size, in the
    // destination's element type: byte keeps the low 8 bits, short the low 16
    // bits, float and double the sum of the two absolute values. The source
    // is read as bytes. The frame is left as it was; sources under 3 rows,
    // other destination depths or sizes do nothing.
    static void gradientMagnitude(const Mat* src, Mat* dst);
    // One signed gradient computed in the destination's arithmetic width
    // (integers wrap), absolute when `absolute` is set; frame set to 0. Legal
    // pairs: the destination depth at least the source depth (byte <= short
    // <= int <= float <= double); other pairs and sizes leave dst untouched.
    static void gradientMagnitudeX(const Mat* src, Mat* dst, bool absolute);
    static void gradientMagnitudeY(const Mat* src, Mat* dst, bool absolute);

    // Table-driven orientation field: dst (byte, src size less 2 each way,
    // must exist) pixel (y, x) gets the code of source pixel (y+1, x+1) from
    // (gx/32, gy/32); strength (optional, int, at least dst's size) gets
    // |gx/32| + |gy/32|. Loops are clipped to what src and dst both hold.
    static void EOField(const Mat* src, Mat* dst, Mat_<int>* strength);
    // Exact orientation field in double arithmetic: code 36 where gx = gy = 0
    // or |gx| + |gy| is below threshold. dst as for EOField.
    static void processEOF(const Mat* src, Mat* dst, int threshold);

    // Orientation code of a gradient in double arithmetic (0..35, or 36 for (0, 0)).
    static int orientationCode(double gx, double gy);
    // The 64 x 64 orientation table: entry [(a + 32) * 64 + (b + 32)] is the
    // code of (a, b) for a, b in -32..31 ((0, 0) holds 36).
    static const unsigned char* orientationTable();
};

// ---- edge chains

// One chain of edge points: count (x, y) pairs of shorts, from the far end
// towards where the chain was found.
struct _tagEdge {
    int count = 0;
    short* points = nullptr;
    _tagEdge* next = nullptr;
};

// A singly linked list of chains; owns them.
class TARVO_EXPORTS MCEdgeList {
public:
    MCEdgeList() {}
    MCEdgeList(const MCEdgeList&) = delete;
    MCEdgeList& operator=(const MCEdgeList&) = delete;
    virtual ~MCEdgeList();
    // Appends a copy of count (x, y) pairs; a null pointer or fewer than 10 points is ignored.
    void addEdge(short* points, int count);
    // Frees every chain.
    void freeEdgeList();
    int getEdgeCount() const { return m_nEdgeCount; }
    _tagEdge* getFirstEdge() const { return m_pFirst; }
    // The last chain added.
    _tagEdge* getCurrentEdge() const { return m_pLast; }
    // Sets every chain pixel of the rows to 255 (the rows must cover every point).
    void getEdgeMap(unsigned char** rows);
    // Zeroes table (1024 entries), then numbers the chains from 1 with an
    // 8-bit counter: chain i goes to table[i] and its pixels get the value i.
    void getEdgeIndexMap(unsigned char** rows, _tagEdge** table);

private:
    int m_nEdgeCount = 0;
    _tagEdge* m_pFirst = nullptr;
    _tagEdge* m_pLast = nullptr;
};

// Connected edge chains of a grey image: 7-tap smoothing and differencing in
// integers, strength and a polynomial angle, an automatic cut of weak
// gradients from the strength histogram, non-maximum suppression in 10-bit
// fixed point, double thresholds as percentages, staircase removal and edge
// following. The image is one byte per pixel as an array of row pointers,
// 1 to 32767 pixels each way.
class TARVO_EXPORTS MCEdgeExtractor {
public:
    // No image: GetEdgeData then returns -50100.
    MCEdgeExtractor();
    // Percentages: non-edge 35, high 12, low 10.
    MCEdgeExtractor(unsigned char** rows, unsigned short width, unsigned short height);
    // Percentages given (each clamped to 0..255).
    MCEdgeExtractor(unsigned char** rows, unsigned short width, unsigned short height, int nonEdge,
                    int high, int low);
    MCEdgeExtractor(const MCEdgeExtractor&) = delete;
    MCEdgeExtractor& operator=(const MCEdgeExtractor&) = delete;
    virtual ~MCEdgeExtractor();

    // Runs the whole pipeline; 0 on success, -50100 without an image or with a
    // size outside 1..32767, -50051..-50054 when a step runs out of memory. A
    // second call starts again from the image.
    int GetEdgeData();
    // Draws chains of more than minLength points as 255 into rows; -50100 for null rows.
    int GetEdgeMapFromEdgeList(unsigned char** rows, int minLength);
    // Draws chains of fewer than minLength points as 0 into rows; -50100 for null rows.
    int RemoveEdgeByLength(unsigned char** rows, int minLength);
    // Sum of the lengths of the chains longer than 10 points.
    int getEdgeCount();

    short GetBackgroundEdgeValue() { return (short)m_nBackground; }
    short* GetEdgeOrient() const { return m_pEdgeOrient; }
    short* GetEdgeStrength() const { return m_pEdgeStrength; }
    short* GetGrdX() const { return m_pGrdX; }
    short* GetGrdY() const { return m_pGrdY; }
    unsigned char** GetGreyImg() { return m_ppGrey; }
    unsigned short GetImgHeight() const { return m_nHeight; }
    unsigned short GetImgWidth() const { return m_nWidth; }
    // Label of the chain that took each pixel, 0 for none.
    unsigned char** getEdgeMap() { return m_ppEdgeMap; }
    MCEdgeList* GetEdgeList() { return &m_edgeList; }
    // The 8-bit strength (0..127) of each pixel after GetEdgeData.
    unsigned char* GetStrength8() const { return m_pStrength8; }
    static unsigned char GetWndDiameter() { return m_snWndDiameter; }
    static unsigned char GetWndRadius() { return m_snWndRadius; }

    static const unsigned char m_snWndRadius;
    static const unsigned char m_snWndDiameter;
    static const short m_srDiffFilter[7];
    static const short m_srSmoothFilter[7];

    // The polynomial angle of (gy, gx) in whole degrees, 0..360.
    static int fixedPointAngle(int gy, int gx);

private:
    void init();
    void freeResults();
    bool GaussDiffFilter();
    int ComputeEdgeStrength();
    void ProcNonMaxSuppress(int k, unsigned char* out);
    void HysteresisTr(const unsigned char* suppressed);
    void RemoveSpuriousEdgePoint_1D(signed char* map);
    void RemoveSpuriousEdgePoint_2D(signed char** rows);
    int edgeDataFused();

    unsigned char* m_pStrength8 = nullptr;
    unsigned short m_nWidth = 0;
    unsigned short m_nHeight = 0;
    unsigned char** m_ppGrey = nullptr;
    unsigned char** m_ppEdgeMap = nullptr;
    short* m_pGrdX = nullptr;
    short* m_pGrdY = nullptr;
    short* m_pEdgeStrength = nullptr;
    short* m_pEdgeOrient = nullptr;
    MCEdgeList m_edgeList;
    signed char* m_pStrong = nullptr;
    signed char* m_pWeak = nullptr;
    unsigned char m_nLabel = 1;
    unsigned char m_nNonEdge = 35;
    unsigned char m_nLow = 10;
    unsigned char m_nHigh = 12;
    unsigned short m_nBackground = 0;
};

// ---- Hough transforms

// Standard Hough line finder: votes of the zero pixels of a one-channel byte
// image over (angle, distance) cells, peaks above a threshold, and for each
// line the first run of zero pixels along it.
class TARVO_EXPORTS ipHoughLines : public ipCoreFeaturePump {
public:
    ipHoughLines() {}
    // rho: distance step in pixels; theta: angle step in radians; threshold:
    // votes a peak must pass; lines: how many lines are wanted.
    ipHoughLines(float rho, float theta, int threshold, int lines);
    ipHoughLines(const ipHoughLines& other);
    ipHoughLines& operator=(const ipHoughLines& other);
    ~ipHoughLines() override;
    // Finds the lines. False, with no lines, for a refused image or
    // parameters (rho, theta not finite and positive, more than 2^27 cells).
    bool process(Mat* image) override;
    // Draws each line from its end to its start in 255; false without lines.
    bool draw(Mat* image) override;
    PumpABC* clone() const override;

    float m_fRho = 0;
    float m_fTheta = 0;
    int m_nThreshold = 0;
    int m_nLines = 0;  // wanted; after process the number found (at most the wanted)
    int m_nPeaks = 0;
    Point2_<int>* m_pStart = nullptr;
    Point2_<int>* m_pEnd = nullptr;

private:
    void freeLines();
};

namespace ip {

// Standard Hough lines of the zero pixels of a one-channel byte image: lines
// is emptied, then gets start and end of each line (up to linesMax), strongest first.
TARVO_EXPORTS void houghLinesStd(const Mat& src, Array<Point2_<int>, const Point2_<int>&>& lines,
                                 float rho, float theta, int threshold, int linesMax);
// Randomised Hough segments of the zero pixels: appends the two ends of each
// segment at least lineLength long (along x or y), bridging gaps up to
// lineGap. The order depends on the random generator (pin its seed to repeat).
TARVO_EXPORTS void houghLines(const Mat& src, Array<Point2_<int>, const Point2_<int>&>& lines,
                              float rho, float theta, int threshold, int lineLength, int lineGap);
// Dominant directions of a point set: for each point the angles to its k
// nearest neighbours vote in 180 one-degree bins, smoothed circularly by
// 1 4 6 4 1; local maxima are kept. result gets the 180 bin indices, best first.
TARVO_EXPORTS void houghLinePoints(const Array<Point2_<int>, const Point2_<int>&>& points, int k,
                                   Vec_<int>& result);
// The darkest disc of a one-channel byte image whose centre pixel is below
// 101. radius in: the radius to try (-1: cols / 8), which is searched up to a
// third larger; center in: (-1, -1) to search everywhere, else the search
// stays near it. Out: the best centre and radius, or (-1, -1) and -1.
TARVO_EXPORTS void houghCircle(const Mat& image, Point2_<int>& center, int& radius);

}  // namespace ip

// Dark-where-a-gradient-was-seen map of a byte image of 1, 3 or 4 channels:
// 255 where the edge extractor's 8-bit strength is 0, else 0, in every channel.
// A null dst writes over src; a dst of another size or type is re-created.
// False (nothing written) for other images, or sides above 32767.
class TARVO_EXPORTS ipNMS : public ipCorePump {
public:
    ipNMS() {}
    bool process(Mat* src, Mat* dst) override;
    PumpABC* clone() const override;
};

// Harris-style corners: determinant over trace of the Gaussian-smoothed
// (sigma 5) products of the signed 3x3 gradients, local maxima in a square
// window, reported strongest first or as a byte mask. Create it with the
// size of the images it will see.
class TARVO_EXPORTS ipCorner {
public:
    ipCorner();
    // Constructs, then calls create with the same arguments.
    ipCorner(const Size_<int>& size, int param1, float param2, int window, float threshold);
    virtual ~ipCorner();

    // Creates the seven matrices (zeroed) at size; param1 and param2 are kept
    // and have no effect. window is the local-maximum side in pixels,
    // threshold the strength a corner must exceed. Returns 1 (0 for a size
    // without pixels).
    int create(const Size_<int>& size, int param1, float param2, int window, float threshold);
    bool flagCreate() const { return created != 0; }
    const Size_<int>& size() const { return imageSize; }
    // The smoothed squared horizontal and vertical gradients of the last run.
    const Mat_<float>* getXDiff() { return &xx; }
    const Mat_<float>* getYDiff() { return &yy; }
    // Appends the corners of a one-channel byte image of the created size,
    // strongest first; mask (same size and type, 0 = skip; data-less = none)
    // is optional. Returns 1, or 0 with nothing appended for a refused input.
    int processHarris(const Mat* image, Array<Point2_<int>, const Point2_<int>&>& corners,
                      const Mat* mask);
    // Writes 255 on corners and 0 elsewhere into result, which must be
    // one-channel bytes of the created size. Returns 1, or 0 untouched.
    int processHarris(const Mat* image, Mat* result, const Mat* mask);
    // Clears the created flag and releases the matrices.
    void release();

protected:
    // Fills gradients, products, strength and local maximum; the caller has
    // checked the inputs. Returns 1.
    int iProcessHarris(const Mat* image, const Mat* mask);

public:
    Size_<int> imageSize;
    int created;
    int param1;    // kept, unused
    float param2;  // kept, unused
    int window;
    float threshold;
    Mat_<short> gradX, gradY;
    Mat_<float> xx, yy, xy, strength, localMax;

private:
    bool accepts(const Mat* image, const Mat* mask) const;
};

namespace ip {

// Canny edge detector on a byte image (1 or 3 channels; other channel counts
// are read as one channel). dst becomes one-channel bytes of src's size, 255 on
// edges. Thresholds are truncated to int and used as given (not swapped).
// mode 0 uses both gradients, 1 only the vertical one, 2 only the horizontal
// one, anything else finds nothing. The frame of dst is always 0; sources
// under 3 x 3 give an all-zero dst.
TARVO_EXPORTS void canny(const Mat& src, Mat& dst, float lowThreshold, float highThreshold,
                         int mode = 0);
// In place: runs on a copy of image and writes the edge map into image.
TARVO_EXPORTS void canny(Mat& image, float lowThreshold, float highThreshold, int mode = 0);

// Derivative kernels as columns (size x 1) of depth ktype. ksize > 0 gives
// Sobel kernels (size 1 becomes 3 in a direction of order > 0), ksize <= 0
// gives 3-tap Scharr kernels. normalize scales Sobel by 1 / 2^(n - order - 1)
// and Scharr order 0 by 1/32. Sizes or orders above 31 and bad depths release
// both outputs.
TARVO_EXPORTS void getDerivKernels(Mat& kx, Mat& ky, int dx, int dy, int ksize, bool normalize,
                                   int ktype);

// Derivative of order (dx, dy) with a Sobel kernel of size ksize through the
// separable filter engine, replicated border. dst keeps its depth (byte,
// short, float, ...; an empty dst takes src's) and gets src's channels. A
// byte source into short is signed (integer fixed-point route); a float
// source into short saturates as unsigned, so use float for signed output.
// Orders or sizes without a kernel, and depths the filter refuses, still create
// dst: a dst of the wanted shape keeps its pixels, one created here is zeros.
TARVO_EXPORTS void sobel(const Mat& src, Mat& dst, int dx, int dy, int ksize);
// 3x3 Laplacian: selector 1 (0 1 0 / 1 -4 1 / 0 1 0) or 3 (2 0 2 / 0 -8 0 /
// 2 0 2), replicated border, through filter2D: a float or double dst keeps
// the sign, a 16-bit dst saturates as unsigned (negative sums become 0).
// Another selector, or a depth the filter refuses, leaves dst created as sobel
// does (a dst of the wanted shape keeps its pixels, one created here is zeros).
TARVO_EXPORTS void laplace(const Mat& src, Mat& dst, int selector);

// Orientation field of a byte image: dst is created as byte, rows-2 x cols-2.
TARVO_EXPORTS void edgeOrientaitonField(const Mat& src, Mat& dst);
// Forwards to Sobel::EOField (dst must exist, src size less 2).
TARVO_EXPORTS void edgeOrientaitonField(const Mat* src, Mat* dst, Mat_<int>* strength);

// FAST corners of a one-channel byte image: a pixel is a corner when arcLength
// (9, 10, 11; any other value 12) consecutive pixels of the 16-pixel ring of
// radius 3 are all brighter than p + threshold or all darker than p -
// threshold. Corners lie at least 3 pixels from the border, in row-major
// order; suppress non-zero keeps only corners whose score (the largest
// barrier they pass) beats every 8-neighbour corner. The threshold is clamped
// to -256..256. Other image types leave corners untouched.
TARVO_EXPORTS void cornerFast(const Mat& image, int threshold, int arcLength, int suppress,
                              Array<Point2_<int>, const Point2_<int>&>& corners);

// Appends Harris corners (see ipCorner) of a one-channel byte image,
// strongest first; a mask without data counts as none.
TARVO_EXPORTS void cornerHarris(const Mat& image, const Mat& mask,
                                Array<Point2_<int>, const Point2_<int>&>& corners, int param1,
                                float param2, int window, float threshold);

// Refines count corners in place by an iterated least-squares fit of the
// gradients on a (2 win.width + 1) x (2 win.height + 1) window; zeroZone
// (negative: none) blanks a central block. A point that walks off farther
// than the half window returns to its start. Count <= 0, null points, a
// half-window outside 1..1024 or an image other than one-channel bytes
// leave the points unchanged.
TARVO_EXPORTS void findCornerSubPix(const Mat& image, Point2_<float>* corners, int count,
                                    Size_<int> win, Size_<int> zeroZone, TermCriteria criteria);

// Bilinear samples of a byte image (srcStep bytes per row) on a winSize grid
// centred at center, into floats (dstStepBytes per row); positions outside
// the image take the replicated border. Always returns true.
TARVO_EXPORTS bool getRectSubPixel(const unsigned char* src, int srcStep, Size_<int> srcSize,
                                   float* dst, int dstStepBytes, Size_<int> winSize,
                                   Point2_<float> center);

// 3-tap separable correlation out[i] = k0 in[i] + k1 in[i+1] + k2 in[i+2]:
// with only kx along rows (width - 2 outputs), only ky along columns
// (height - 2 rows), both: columns into buffer ((height - 2) x width floats),
// then rows. Steps in bytes.
TARVO_EXPORTS void sepConvSmall(float* src, int srcStepBytes, float* dst, int dstStepBytes,
                                Size_<int> srcSize, const float* kx, const float* ky,
                                float* buffer);

}  // namespace ip
}  // namespace tarvo
