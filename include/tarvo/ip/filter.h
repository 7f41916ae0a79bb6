// The row-by-row filter engine and the linear filters that run on it.
//
// A FilterEngine holds either one two-dimensional stage (BaseFilter) or a row
// stage (BaseRowFilter) followed by a column stage (BaseColumnFilter). It reads
// the source one row at a time, extends each row by the horizontal border,
// keeps the rows (or their row-filtered form) in a small ring and runs the
// column or 2-D stage as soon as enough rows are there. The image is never
// copied as a whole.
//
// Type words handed to the engine and to createLinearFilter /
// createSeparableLinearFilter are whole type words (depth | (channels - 1) << 3,
// see tarvo/types.h): the engine sizes every buffer from the real element size
// and passes the real channel count to the stages. The getLinear* factories
// read only the depth bits of their type arguments.
//
// Border codes are BorderFill .. BorderMirrorNoEdge and BorderIsolatedBit from
// tarvo/types.h.
#pragma once

#include <cstddef>
#include <vector>

#include "tarvo/export.h"
#include "tarvo/ip/core.h"
#include "tarvo/mat.h"
#include "tarvo/ptr.h"
#include "tarvo/saturate.h"
#include "tarvo/types.h"

namespace tarvo {
// ---------------------------------------------------------------- direct filters

// Window of the direct filters: kind 0 a size x size kernel on a Mat, 1 a
// one-dimensional kernel on a Vec, 2 a horizontal and 3 a vertical
// one-dimensional kernel on a Mat. A window of size n has taps -n/2 ..
// n - n/2 - 1 (an even size has one more tap before the centre), read in
// kernel order without flipping (correlation).
enum filterintype { FilterSquare = 0, FilterVec = 1, FilterHorizontal = 2, FilterVertical = 3 };

// Direct integer-kernel filter with a divisor and an offset. Pixels whose
// window crosses the image edge keep the source value. Only integer kernels
// filter: a float or double kernel is stored but every process then refuses.
class TARVO_EXPORTS ipFilter {
public:
    ipFilter();
    ipFilter(const ipFilter&) = delete;
    ipFilter& operator=(const ipFilter&) = delete;
    virtual ~ipFilter();

    // Kind 1: dst (re-created like src) gets offset + sum / divisor per
    // element, bytes truncated then clamped to 0..255, floats unclamped; edge
    // elements keep the source. A null dst writes over *src (which must then
    // be modifiable). False for a null integer kernel, another kind or an
    // empty src.
    virtual bool process(const Vec* src, Vec* dst);
    // Kinds 0, 2, 3 on byte (any channels) or float images; same rules and
    // null-dst meaning as above. Kind 0 re-creates a dst of another shape,
    // kinds 2 and 3 always re-create dst. False for kind 1, a null integer
    // kernel or an empty src (dst untouched).
    virtual bool process(const Mat* src, Mat* dst);
    // Frees the kernel and clears the created flag.
    virtual void release();

    // Stores a copy of kernel (size x size entries for kind 0, size otherwise);
    // divisor 0 becomes 1. Returns 0 when already created (the first kernel
    // stays), for a null kernel, a size below 1 or more than 2^24 entries.
    int create(const int* kernel, int size, int divisor, int offset, filterintype kind);
    // As above with a float kernel (divisor 0 becomes 1.0); never used to filter.
    int create(const float* kernel, int size, float divisor, int offset, filterintype kind);
    // As the float form; entries and divisor are converted to float.
    int create(const double* kernel, int size, double divisor, int offset, filterintype kind);

    filterintype kind;
    int* kernel;     // integer kernel, owned; null for a float kernel
    float* fkernel;  // float kernel, owned; null for an integer kernel
    int size;
    int divisor;     // integer divisor (0 with a float kernel)
    float fdivisor;  // float divisor
    int offset;
    int created;
};

// Median filter operator (pump): process(src, dst) runs ip::median with
// kind 0 and the window below; false when ip::median would refuse.
class TARVO_EXPORTS ipMedian : public ipCorePump {
public:
    explicit ipMedian(int window = 3) : window(window) {}
    PumpABC* clone() const override;
    bool process(Mat* src, Mat* dst) override;

    int window;  // window width and height in pixels, 1 or more
};

namespace ip {

// Integer-kernel direct filter of the given kind (0, 2 or 3) on a byte or
// float image: offset + sum / divisor (truncating), bytes clamped to 0..255;
// pixels whose window crosses the edge keep the source value. A refused input
// (bad size, null kernel, empty src, kind 1) leaves dst untouched.
TARVO_EXPORTS void convolve2(const Mat& src, Mat& dst, const int* kernel, int size, int divisor,
                             int offset, filterintype kind);
// Float and double kernels never filter a Mat: dst is left as it was.
TARVO_EXPORTS void convolve2(const Mat& src, Mat& dst, const float* kernel, int size, float divisor,
                             int offset, filterintype kind);
TARVO_EXPORTS void convolve2(const Mat& src, Mat& dst, const double* kernel, int size,
                             double divisor, int offset, filterintype kind);
// In place: filters a copy of image into image.
TARVO_EXPORTS void convolve2(Mat& image, const int* kernel, int size, int divisor, int offset,
                             filterintype kind);
TARVO_EXPORTS void convolve2(Mat& image, const float* kernel, int size, float divisor, int offset,
                             filterintype kind);
TARVO_EXPORTS void convolve2(Mat& image, const double* kernel, int size, double divisor, int offset,
                             filterintype kind);
// Square kernel on the part of a one-channel byte image inside area (clipped):
// the result holds max(offset + sum / divisor, 0) capped at 255 inside area
// (edge-crossing pixels keep the source) and 0 outside it. A dst that does
// not fit is re-created like src. Other images are refused.
TARVO_EXPORTS void convolve2(const Mat& src, Mat& dst, const int* kernel, int size, int divisor,
                             int offset, const Rect_<int>& area);
TARVO_EXPORTS void convolve2(Mat& image, const int* kernel, int size, int divisor, int offset,
                             const Rect_<int>& area);
// Separable filter: the kernel along rows, then along columns, each pass
// summing only the taps inside the image and dividing by the full divisor (0
// acts as 1), so edges darken. Byte and float images (any channels); byte
// passes truncate then saturate. An int kernel on other depths leaves dst a
// copy of src. Bad size, null kernel or empty src leave dst untouched.
TARVO_EXPORTS void convolve2sep(const Mat& src, Mat& dst, const int* kernel, int size, int divisor);
TARVO_EXPORTS void convolve2sep(const Mat& src, Mat& dst, const float* kernel, int size,
                                float divisor);
TARVO_EXPORTS void convolve2sep(Mat& image, const int* kernel, int size, int divisor);
TARVO_EXPORTS void convolve2sep(Mat& image, const float* kernel, int size, float divisor);
// One-dimensional filter of a byte or float Vec (kind 1 of ipFilter).
TARVO_EXPORTS void convolve(const Vec& src, Vec& dst, const int* kernel, int size, int divisor,
                            int offset);
TARVO_EXPORTS void convolve(Vec& vec, const int* kernel, int size, int divisor, int offset);
// Sum of the first count entries (the natural divisor of a smoothing kernel);
// the int form wraps in 32-bit unsigned arithmetic. Null or count < 1 gives 0.
TARVO_EXPORTS int kernelFactor(const int* kernel, int count);
TARVO_EXPORTS float kernelFactor(const float* kernel, int count);
TARVO_EXPORTS double kernelFactor(const double* kernel, int count);

// Median filter of byte, 16-bit or int images: each pixel becomes the sample
// at index count / 2 of the sorted samples of its window that lie inside the
// image (the window shrinks at the edges). kind 2 is a horizontal, 3 a
// vertical window (one channel only); any other kind a window x window square
// (any channels). dst is re-created like src when it does not fit. A window
// below 1, an empty src or another depth or channel count leave dst untouched.
TARVO_EXPORTS void median(const Mat& src, Mat& dst, int window, filterintype kind = FilterSquare);
TARVO_EXPORTS void median(Mat& image, int window, filterintype kind = FilterSquare);

}  // namespace ip

namespace ip {

// ---------------------------------------------------------------- borders

// Source index of coordinate p on a line of len samples under border mode:
// p itself inside [0, len); BorderClamp the nearest end; BorderMirror and
// BorderMirrorNoEdge reflect (with / without repeating the edge sample; a line
// of length 1 maps everything to 0); BorderWrap is periodic; BorderFill gives
// -1 (the caller uses a constant). An unknown mode returns p unchanged, and
// a non-positive len gives -1 for every mode but unknown ones.
TARVO_EXPORTS int borderInterpolate(int p, int len, int mode);

// A component of exactly -1 becomes the kernel centre (ksize / 2); any other
// value passes unchanged, without a range check.
TARVO_EXPORTS Point2_<int> normalizeAnchor(Point2_<int> anchor, Size_<int> ksize);

// ---------------------------------------------------------------- stages

// One-dimensional horizontal stage: filters a row of width pixels of cn
// channels. src holds width + ksize - 1 pixels (the anchor's left neighbours
// first); dst receives width pixels.
class TARVO_EXPORTS BaseRowFilter {
public:
    BaseRowFilter();
    virtual ~BaseRowFilter();
    virtual void operator()(const unsigned char* src, unsigned char* dst, int width, int cn) = 0;
    // Clears state kept between rows; the stages of this library keep none.
    virtual void reset();

    int ksize;   // kernel length, -1 until set
    int anchor;  // anchor index, -1 until set
};

// One-dimensional vertical stage: produces dstcount rows of width elements
// (pixels times channels); output row j reads src[j] .. src[j + ksize - 1].
class TARVO_EXPORTS BaseColumnFilter {
public:
    BaseColumnFilter();
    virtual ~BaseColumnFilter();
    virtual void operator()(const unsigned char** src, unsigned char* dst, int dststep,
                            int dstcount, int width) = 0;
    virtual void reset();

    int ksize;
    int anchor;
};

// Two-dimensional stage: produces dstcount rows of width pixels of cn
// channels; output row j reads the extended source rows src[j] .. src[j +
// ksize.height - 1], each holding width + ksize.width - 1 pixels.
class TARVO_EXPORTS BaseFilter {
public:
    BaseFilter();
    virtual ~BaseFilter();
    virtual void operator()(const unsigned char** src, unsigned char* dst, int dststep,
                            int dstcount, int width, int cn) = 0;
    virtual void reset();

    Size_<int> ksize;
    Point2_<int> anchor;
};

// ---------------------------------------------------------------- engine

// The staged filtering machine. Construct (or init), start, then proceed
// until remainingInputRows() is 0 - or just apply. An engine is for one
// thread at a time; stages are shared between copies through Ptr and hold no
// per-call state, so copies may run at once.
class TARVO_EXPORTS FilterEngine {
public:
    // No stages; both border types BorderClamp; isSeparable() is true.
    FilterEngine();
    // Calls init with the arguments.
    FilterEngine(const Ptr<BaseFilter>& filter2D, const Ptr<BaseRowFilter>& rowFilter,
                 const Ptr<BaseColumnFilter>& columnFilter, int srcType, int dstType, int bufType,
                 int rowBorderType = BorderClamp, int columnBorderType = -1,
                 const Point4_<double>& borderValue = Point4_<double>());
    virtual ~FilterEngine();

    // Sets the stages, the whole type words of source, destination and the
    // ring rows (for a 2-D stage the ring holds source rows), the border
    // modes (a negative columnBorderType takes rowBorderType) and the fill
    // value of BorderFill. An engine without a usable stage set, with an
    // anchor outside its kernel, an unknown border mode or a bad type word is
    // kept but inert: start returns 0, proceed and apply do nothing.
    void init(const Ptr<BaseFilter>& filter2D, const Ptr<BaseRowFilter>& rowFilter,
              const Ptr<BaseColumnFilter>& columnFilter, int srcType, int dstType, int bufType,
              int rowBorderType = BorderClamp, int columnBorderType = -1,
              const Point4_<double>& borderValue = Point4_<double>());

    // Starts a pass over srcRoi of src; (0, 0, -1, -1) means all of src. Rows
    // outside the image that the column stage needs are prepared from src
    // here, so every border mode is exact. isolated is accepted and ignored.
    // Returns the first source row to feed (startY); 0 when refused.
    virtual int start(const Mat& src, const Rect_<int>& srcRoi = Rect_<int>(0, 0, -1, -1),
                      bool isolated = false, int maxBufRows = -1);
    // Starts a pass over roi of an image of wholeSize that the caller streams
    // in through proceed. maxBufRows < 0 picks the ring height (raised to what
    // the kernel needs). Without the image, a BorderWrap column border is
    // served as BorderClamp (the wrapped rows have not been seen). Returns
    // startY; 0 when refused (ROI outside wholeSize or an inert engine).
    virtual int start(Size_<int> wholeSize, Rect_<int> roi, int maxBufRows = -1);
    // Feeds count source rows (src points at column roi.x of row startY +
    // rows fed so far; rows are srcstep bytes apart) and writes the output
    // rows that became ready to dst, dststep bytes apart. Returns the rows
    // written by this call.
    virtual int proceed(const unsigned char* src, int srcstep, int count, unsigned char* dst,
                        int dststep);
    // Filters srcRoi of src ((0, 0, -1, -1) = all) into dst with its top-left
    // output at dstOfs. An empty rectangle, an inert engine, Mats whose type
    // words differ from the engine's source and destination types, a rectangle
    // outside src or an output outside dst leave dst untouched. Works through the row tables, so
    // sub-matrix references are fine; large images run in row stripes on the
    // parallel loop, with results identical to a serial run.
    virtual void apply(const Mat& src, Mat& dst,
                       const Rect_<int>& srcRoi = Rect_<int>(0, 0, -1, -1),
                       Point2_<int> dstOfs = Point2_<int>(0, 0), bool isolated = false);

    // Source rows still to feed: endY - startY - rowCount.
    int remainingInputRows() const;
    // Output rows still to come: roi.height - dstY.
    int remainingOutputRows() const;
    // True when there is no 2-D stage.
    bool isSeparable() const { return filter2D.empty(); }

    int srcType, dstType, bufType;  // whole type words
    Size_<int> ksize;
    Point2_<int> anchor;
    int maxWidth;  // widest ROI since init
    Size_<int> wholeSize;
    Rect_<int> roi;
    int dx1, dx2;  // columns invented at the left and right of the ROI
    int rowBorderType, columnBorderType;
    std::vector<int> borderTab;  // source offsets of the invented columns
    int borderElemSize;          // units per element in borderTab (4-byte words or bytes)
    std::vector<unsigned char> ringBuf;
    std::vector<unsigned char> srcRow;
    std::vector<unsigned char> constBorderValue;
    std::vector<unsigned char> constBorderRow;
    int bufStep;
    int startY, startY0, endY, rowCount, dstY;
    std::vector<unsigned char*> rows;
    Ptr<BaseFilter> filter2D;
    Ptr<BaseRowFilter> rowFilter;
    Ptr<BaseColumnFilter> columnFilter;

private:
    int proceedRows(const unsigned char* src, std::ptrdiff_t srcstep,
                    const unsigned char* const* srcTab, std::size_t srcXofs, int count,
                    unsigned char* dst, std::ptrdiff_t dststep, unsigned char* const* dstTab,
                    std::size_t dstXofs);
    void applyRows(const Mat& src, Mat& dst, const Rect_<int>& r, Point2_<int> dstOfs);
    void extendRow(const unsigned char* src, unsigned char* row) const;
    void prepareSideRows(const Mat& src);
    const unsigned char* borderRow(int y, int& srcY) const;
    unsigned char* ringBase() const;
    void allocateRing(int width, int bufRows);
    unsigned char* constRowBase() const;

    bool valid_ = false;    // init accepted the stages, types, anchor and modes
    bool started_ = false;  // start accepted a region
    std::size_t srcEsz_ = 0, bufEsz_ = 0, dstEsz_ = 0;
    // Rows outside the image that the column stage needs, prepared by
    // start(Mat): extended (2-D) or row-filtered (separable) forms.
    std::vector<unsigned char> sideBuf_;
    int sideTop_ = 0;     // rows y = sideTopY_ .. -1
    int sideTopY_ = 0;    // first y above the image (negative)
    int sideBottom_ = 0;  // rows y = H .. H + sideBottom_ - 1
    bool sideReady_ = false;
};

// ---------------------------------------------------------------- kernels

// Kernel classes returned by getKernelType, OR-ed; 0 is a general kernel.
enum KernelType {
    KernelGeneral = 0,
    KernelSymmetrical = 1,
    KernelAsymmetrical = 2,
    KernelSmooth = 4,
    KernelInteger = 8,
};

// Classifies a kernel: symmetric / antisymmetric (only one-row or one-column
// kernels anchored at their centre), smooth (no negative entry and sum 1 to
// single precision) and integer (every entry a whole number). NaN counts as
// different from everything. An empty kernel gives KernelInteger.
TARVO_EXPORTS int getKernelType(const Mat& kernel, Point2_<int> anchor);

// Element conversion at the end of a filter: floating values are rounded to
// nearest with ties upwards (floor(x + 0.5)), NaN gives 0, and the result
// saturates to DT; integer values saturate; same types copy.
template <typename ST, typename DT>
struct Cast {
    typedef ST type1;
    typedef DT rtype;
    DT operator()(ST v) const {
        if constexpr (std::is_floating_point<DT>::value)
            return static_cast<DT>(v);
        else if constexpr (std::is_floating_point<ST>::value)
            return saturate_cast<DT>(static_cast<double>(v));
        else
            return saturate_cast_int<DT>(static_cast<long long>(v));
    }
};

// Fixed-point conversion with a compile-time shift: (v + 2^(bits-1)) >> bits,
// the offset added in wrapping 32-bit arithmetic, then saturated to DT.
template <typename ST, typename DT, int bits>
struct FixedPtCast {
    typedef ST type1;
    typedef DT rtype;
    enum { SHIFT = bits, DELTA = bits ? (1 << (bits - 1)) : 0 };
    DT operator()(ST v) const {
        const int s = int(unsigned(v) + unsigned(DELTA)) >> SHIFT;
        return saturate_cast_int<DT>(s);
    }
};

// Fixed-point conversion with a shift chosen at run time (0..30):
// (v + DELTA) >> SHIFT with DELTA = 2^(bits-1) (0 for bits 0), the offset
// added in wrapping 32-bit arithmetic, then saturated to DT.
template <typename ST, typename DT>
struct FixedPtCastEx {
    typedef ST type1;
    typedef DT rtype;
    FixedPtCastEx() : SHIFT(0), DELTA(0) {}
    explicit FixedPtCastEx(int bits) : SHIFT(bits), DELTA(bits ? 1 << (bits - 1) : 0) {}
    DT operator()(ST v) const {
        const int s = int(unsigned(v) + unsigned(DELTA)) >> SHIFT;
        return saturate_cast_int<DT>(s);
    }
    int SHIFT, DELTA;
};

// Row stage for the depth pair (srcType, bufType) (depth bits only): byte to
// int, float or double; 16-bit to float or double; float to float or double;
// double to double. symmetryType is a getKernelType result: symmetric or
// antisymmetric kernels up to 5 taps get closed forms. kernel is one row or
// one column of bufType's depth (converted if not). Other pairs, an empty
// kernel or an anchor outside the kernel give an empty Ptr.
TARVO_EXPORTS Ptr<BaseRowFilter> getLinearRowFilter(int srcType, int bufType, const Mat& kernel,
                                                    int anchor, int symmetryType);

// Column stage from bufType (int, float, double) to dstType (byte, 16-bit,
// float, double) as the tables of the implementation list; delta is added
// before the conversion; bits is the fixed-point shift of an int buffer
// going to bytes (0..30). Other pairs, an empty kernel, an anchor outside the
// kernel or bits outside 0..30 give an empty Ptr.
TARVO_EXPORTS Ptr<BaseColumnFilter> getLinearColumnFilter(int bufType, int dstType,
                                                          const Mat& kernel, int anchor,
                                                          int symmetryType, double delta, int bits);

// Two-dimensional stage for (srcType, dstType): byte to byte, 16-bit, float
// or double; 16-bit to 16-bit, float or double; float to float; double to
// double. The kernel is converted to float (double when either side is
// double), an int kernel scaled by 2^-bits. An anchor of -1 is the centre.
// Other pairs, an empty kernel or an anchor outside it give an empty Ptr.
TARVO_EXPORTS Ptr<BaseFilter> getLinearFilter(int srcType, int dstType, const Mat& kernel,
                                              Point2_<int> anchor = Point2_<int>(-1, -1),
                                              double delta = 0, int bits = 0);

// Engine with a 2-D linear stage between whole type words srcType and
// dstType (same channels). Empty Ptr when the stage cannot be built.
TARVO_EXPORTS Ptr<FilterEngine> createLinearFilter(
    int srcType, int dstType, const Mat& kernel, Point2_<int> anchor = Point2_<int>(-1, -1),
    double delta = 0, int rowBorderType = BorderClamp, int columnBorderType = -1,
    const Point4_<double>& borderValue = Point4_<double>());

// Engine with a row and a column stage between whole type words. Byte
// sources with smooth symmetric kernels going to bytes, or integer symmetric
// kernels going to 16-bit, run in fixed point (int buffer). Empty Ptr when a
// stage cannot be built.
TARVO_EXPORTS Ptr<FilterEngine> createSeparableLinearFilter(
    int srcType, int dstType, const Mat& rowKernel, const Mat& columnKernel,
    Point2_<int> anchor = Point2_<int>(-1, -1), double delta = 0, int rowBorderType = BorderClamp,
    int columnBorderType = -1, const Point4_<double>& borderValue = Point4_<double>());

// Correlation of every channel of src with kernel (one channel, any depth,
// converted as needed): dst(y, x) = delta + sum kernel(j, i) * src(y + j -
// anchor.y, x + i - anchor.x), converted to ddepth (negative: src's depth) by
// Cast. anchor -1 is the centre. borderType 0..4 (fill reads zeros), bit 16
// ignored. dst is created with src's size and channels. An empty src or kernel leaves
// dst unchanged; an unsupported depth pair, an anchor outside the kernel or an
// unknown border mode leave dst created but unwritten.
TARVO_EXPORTS void filter2D(const Mat& src, Mat& dst, int ddepth, const Mat& kernel,
                            Point2_<int> anchor = Point2_<int>(-1, -1), double delta = 0,
                            int borderType = BorderClamp);

// Separable correlation: rowKernel along x, then columnKernel along y, plus
// delta, converted to ddepth. Same rules as filter2D.
TARVO_EXPORTS void sepFilter2D(const Mat& src, Mat& dst, int ddepth, const Mat& rowKernel,
                               const Mat& columnKernel, Point2_<int> anchor = Point2_<int>(-1, -1),
                               double delta = 0, int borderType = BorderClamp);

// Lists the non-zero entries of a one-channel kernel in row-major order:
// their (x, y) in coords and their raw bytes in coeffs. A kernel without a
// non-zero entry gives one zero coefficient at (0, 0); an empty kernel or one
// of 16-bit depth leaves both vectors empty.
TARVO_EXPORTS void preprocess2DKernel(const Mat& kernel, std::vector<Point2_<int>>& coords,
                                      std::vector<unsigned char>& coeffs);

}  // namespace ip
}  // namespace tarvo
