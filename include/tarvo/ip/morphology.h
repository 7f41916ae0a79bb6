// Grey-level and binary morphology: erosion (a local minimum), dilation (a
// local maximum) and their compositions, with any structuring element.
//
// A fully set (rectangular) element runs as a separable minimum or maximum
// on the filter engine (row stage, then column stage); any other element as
// a two-dimensional stage over the element's set entries. Iterations of a
// full element are folded into one larger element, so the image is passed
// over once. Beside these stands a simple binary form with integer window
// sizes that works on one-channel byte images.
//
// Element types: bytes, signed 16-bit, float and double, any channel count
// (every channel is filtered on its own). Floats and doubles are ordered by
// the IEEE total order (-0 below +0, NaNs with the sign bit clear above
// +infinity, those with it set below -infinity), so every way of folding a
// window gives the same bits.
#pragma once

#include <cfloat>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "tarvo/export.h"
#include "tarvo/ip/filter.h"
#include "tarvo/mat.h"
#include "tarvo/ptr.h"
#include "tarvo/types.h"

namespace tarvo {
namespace ip {

// Morphological operation codes: 0 erodes (minimum); any other value dilates.
enum MorphOperation {
    MorphErode = 0,
    MorphDilate = 1,
};

// Structuring element shapes for getStructuringElement.
enum MorphShape {
    MorphRect = 0,
    MorphCross = 1,
    MorphEllipse = 2,
};

namespace detail {

// The byte saturation table: entry i + 256 holds 0 for i < 0, i for 0..255 and
// 255 above, for i in -256..511. Built by the compiler, so it sits in the
// initialised data and needs no set-up at load.
struct SaturationTable8u {
    unsigned char v[768];
};
constexpr SaturationTable8u makeSaturationTable8u() {
    SaturationTable8u t{};
    for (int i = 0; i < 768; i++) t.v[i] = (unsigned char)(i < 256 ? 0 : i > 511 ? 255 : i - 256);
    return t;
}
inline constexpr SaturationTable8u kSaturate8u = makeSaturationTable8u();

// S(i): i clamped to 0..255, through the table; i must lie in -256..511.
inline unsigned char saturate8u(int i) {
    return kSaturate8u.v[i + 256];
}

// Keys of the IEEE total order: signed integers that compare like the
// floating values they come from (a bijection on bit patterns).
inline int32_t orderKey(float v) {
    uint32_t u;
    std::memcpy(&u, &v, 4);
    const uint32_t flip = (0u - (u >> 31)) & 0x7FFFFFFFu;
    return int32_t(u ^ flip);
}
inline int64_t orderKey(double v) {
    uint64_t u;
    std::memcpy(&u, &v, 8);
    const uint64_t flip = (0ull - (u >> 63)) & 0x7FFFFFFFFFFFFFFFull;
    return int64_t(u ^ flip);
}

}  // namespace detail

// Minimum of two elements: b when b orders below a, else a. Bytes go
// branch-free through the saturation table (a - S(a - b)); floats and doubles
// use the IEEE total order.
template <typename T>
struct MinOp {
    typedef T type1;
    typedef T rtype;
    T operator()(T a, T b) const {
        if constexpr (std::is_floating_point<T>::value)
            return detail::orderKey(b) < detail::orderKey(a) ? b : a;
        else
            return b < a ? b : a;
    }
};

// Maximum of two elements: b when b orders above a, else a. Bytes go
// branch-free through the saturation table (a + S(b - a)); floats and doubles
// use the IEEE total order.
template <typename T>
struct MaxOp {
    typedef T type1;
    typedef T rtype;
    T operator()(T a, T b) const {
        if constexpr (std::is_floating_point<T>::value)
            return detail::orderKey(a) < detail::orderKey(b) ? b : a;
        else
            return a < b ? b : a;
    }
};

template <>
struct MinOp<unsigned char> {
    typedef unsigned char type1;
    typedef unsigned char rtype;
    unsigned char operator()(unsigned char a, unsigned char b) const {
        return (unsigned char)(a - detail::saturate8u(int(a) - int(b)));
    }
};

template <>
struct MaxOp<unsigned char> {
    typedef unsigned char type1;
    typedef unsigned char rtype;
    unsigned char operator()(unsigned char a, unsigned char b) const {
        return (unsigned char)(a + detail::saturate8u(int(b) - int(a)));
    }
};

// The border value that asks for the neutral element of the operation: with
// a BorderFill border, createMorphologyFilter (and erode, dilate, ...)
// replace it by the largest (erode) or smallest (dilate) element value.
inline Point4_<double> morphologyNeutralBorder() {
    return Point4_<double>::All(DBL_MAX);
}

// ---------------------------------------------------------------- stages

// Row stage of a running minimum (op 0) or maximum (other op) over ksize
// pixels for the depth bits of type (byte, 16-bit, float, double); a negative
// anchor becomes ksize / 2. Other depths, ksize < 1 or an anchor at or past
// ksize give an empty Ptr.
TARVO_EXPORTS Ptr<BaseRowFilter> getMorphologyRowFilter(int op, int type, int ksize, int anchor);

// Column stage of a running minimum or maximum over ksize rows; same rules as
// getMorphologyRowFilter.
TARVO_EXPORTS Ptr<BaseColumnFilter> getMorphologyColumnFilter(int op, int type, int ksize,
                                                              int anchor);

// Two-dimensional stage over the set (non-zero in channel 0) entries of
// element; an element without any set entry acts as one entry at (0, 0). The
// anchor is normalised (-1 is the centre). 16-bit erosion here compares as
// unsigned. Unsupported depths, an empty element or an anchor outside it give
// an empty Ptr.
TARVO_EXPORTS Ptr<BaseFilter> getMorphologyFilter(int op, int type, const Mat& element,
                                                  Point2_<int> anchor = Point2_<int>(-1, -1));

// Engine for a whole type word type: separable when every entry of element
// is set, otherwise two-dimensional. With a BorderFill border and
// morphologyNeutralBorder() as value the fill becomes the neutral element:
// erode 255 / 65535 (saturates to 32767) / FLT_MAX / unchanged, dilate 0 / 0 /
// -FLT_MAX / -DBL_MAX for byte / 16-bit / float / double. Empty Ptr when a
// stage cannot be built.
TARVO_EXPORTS Ptr<FilterEngine> createMorphologyFilter(
    int op, int type, const Mat& element, Point2_<int> anchor = Point2_<int>(-1, -1),
    int rowBorderType = BorderFill, int columnBorderType = -1,
    const Point4_<double>& borderValue = morphologyNeutralBorder());

// Byte element (1 set, 0 clear) of ksize: MorphRect all set; MorphCross the
// anchor's row and column; MorphEllipse the ellipse inscribed in ksize around
// its centre. 1 x 1 is always a rectangle. A bad shape code, a non-positive
// size or an anchor outside ksize give an empty Mat.
TARVO_EXPORTS Mat getStructuringElement(int shape, Size_<int> ksize,
                                        Point2_<int> anchor = Point2_<int>(-1, -1));

// ---------------------------------------------------------------- operations

// Local minimum (erode) / maximum (dilate) of src over element placed at
// anchor (-1 = centre), repeated iterations times, into dst (created with
// src's size and type). An empty element is a 3 x 3 rectangle. 0 iterations
// or a 1 x 1 element copy src. borderType 0..4 (bit 16 ignored); borderValue
// is used by BorderFill (see morphologyNeutralBorder). An empty src, an
// unsupported depth (int), negative iterations, an unknown border mode or an
// anchor outside the element leave dst unchanged. Counts above rows x cols are
// cut there (no byte changes) when the element's anchor entry is set, refused
// when it is clear (such passes may cycle).
TARVO_EXPORTS void erode(const Mat& src, Mat& dst, const Mat& element = Mat(),
                         Point2_<int> anchor = Point2_<int>(-1, -1), int iterations = 1,
                         int borderType = BorderFill,
                         const Point4_<double>& borderValue = morphologyNeutralBorder());
TARVO_EXPORTS void dilate(const Mat& src, Mat& dst, const Mat& element = Mat(),
                          Point2_<int> anchor = Point2_<int>(-1, -1), int iterations = 1,
                          int borderType = BorderFill,
                          const Point4_<double>& borderValue = morphologyNeutralBorder());

// Erode then dilate with the same arguments, through a temporary. NOTE: the
// element form of closing is the very same function - it erodes first too,
// unlike the integer-window closing below. Same refusals as erode.
TARVO_EXPORTS void opening(const Mat& src, Mat& dst, const Mat& element,
                           Point2_<int> anchor = Point2_<int>(-1, -1), int iterations = 1,
                           int borderType = BorderFill,
                           const Point4_<double>& borderValue = morphologyNeutralBorder());
TARVO_EXPORTS void closing(const Mat& src, Mat& dst, const Mat& element,
                           Point2_<int> anchor = Point2_<int>(-1, -1), int iterations = 1,
                           int borderType = BorderFill,
                           const Point4_<double>& borderValue = morphologyNeutralBorder());

// Simple binary forms on a kernelWidth x kernelHeight window (half sizes
// w = kernelWidth / 2, h = kernelHeight / 2; 0 acts like 1). src is read as
// bytes, one per column; dst becomes one-channel byte of src's size.
// dilate: 255 where any byte of the window is non-zero, else 0; a band of h
// rows and w columns along the edges is 0. erode: 255 where every byte of the
// window is exactly 255, else 0; the band keeps dst's previous pixels (0 when
// dst is newly created). An empty src or a negative size leaves dst unchanged.
TARVO_EXPORTS void dilate(const Mat& src, Mat& dst, int kernelWidth, int kernelHeight);
TARVO_EXPORTS void erode(const Mat& src, Mat& dst, int kernelWidth, int kernelHeight);
// Binary erode then dilate.
TARVO_EXPORTS void opening(const Mat& src, Mat& dst, int kernelWidth, int kernelHeight);
// Binary dilate then erode.
TARVO_EXPORTS void closing(const Mat& src, Mat& dst, int kernelWidth, int kernelHeight);
// In-place binary forms: work from a copy of image into image.
TARVO_EXPORTS void dilate(Mat& image, int kernelWidth, int kernelHeight);
TARVO_EXPORTS void erode(Mat& image, int kernelWidth, int kernelHeight);
TARVO_EXPORTS void opening(Mat& image, int kernelWidth, int kernelHeight);
TARVO_EXPORTS void closing(Mat& image, int kernelWidth, int kernelHeight);

}  // namespace ip
}  // namespace tarvo
