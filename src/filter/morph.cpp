// Morphology: the stage factories, the engine factory, structuring elements
// and the erode / dilate / opening / closing front ends.
#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>

#include "filter/morph_filter.h"
#include "detail/aliasing.h"
#include "tarvo/tarvoutil.h"

namespace tarvo {
namespace ip {

namespace {

typedef unsigned char uchar;
typedef unsigned short ushort;

// Largest element extent the engine accepts in either direction.
constexpr long long kMaxElementSize = 1LL << 20;

// Set entries of an element: non-zero in channel 0, any depth.
bool entrySet(const Mat& e, int r, int c) {
    return e.value(r, c, 0) != 0;
}

// The set entries of element in row-major order; one entry at (0, 0) when
// none is set (a one-tap stage is always defined).
std::vector<Point2_<int>> elementPoints(const Mat& element) {
    std::vector<Point2_<int>> pts;
    for (int y = 0; y < element.rows(); y++)
        for (int x = 0; x < element.cols(); x++)
            if (entrySet(element, y, x)) pts.push_back(Point2_<int>(x, y));
    if (pts.empty()) pts.push_back(Point2_<int>(0, 0));
    return pts;
}

bool fullElement(const Mat& element) {
    for (int y = 0; y < element.rows(); y++)
        for (int x = 0; x < element.cols(); x++)
            if (!entrySet(element, y, x)) return false;
    return true;
}

}  // namespace

Ptr<BaseRowFilter> getMorphologyRowFilter(int op, int type, int ksize, int anchor) {
    const int depth = MAT_DEPTH(type);
    if (anchor < 0) anchor = ksize / 2;
    if (ksize < 1 || ksize > kMaxElementSize || anchor >= ksize) return Ptr<BaseRowFilter>();
    BaseRowFilter* f = nullptr;
    const bool erode = op == MorphErode;
    switch (depth) {
        case MAT_Tuchar:
            if (erode)
                f = new (std::nothrow)
                    MorphRowFilter<MinOp<uchar>, MorphRowIVec<VMin8u>>(ksize, anchor);
            else
                f = new (std::nothrow)
                    MorphRowFilter<MaxOp<uchar>, MorphRowIVec<VMax8u>>(ksize, anchor);
            break;
        case MAT_Tshort:
            if (erode)
                f = new (std::nothrow)
                    MorphRowFilter<MinOp<short>, MorphRowIVec<VMin16s>>(ksize, anchor);
            else
                f = new (std::nothrow)
                    MorphRowFilter<MaxOp<short>, MorphRowIVec<VMax16s>>(ksize, anchor);
            break;
        case MAT_Tfloat:
            if (erode)
                f = new (std::nothrow)
                    MorphRowFilter<MinOp<float>, MorphRowFVec<VMin32f>>(ksize, anchor);
            else
                f = new (std::nothrow)
                    MorphRowFilter<MaxOp<float>, MorphRowFVec<VMax32f>>(ksize, anchor);
            break;
        case MAT_Tdouble:
            if (erode)
                f = new (std::nothrow) MorphRowFilter<MinOp<double>, MorphRowNoVec>(ksize, anchor);
            else
                f = new (std::nothrow) MorphRowFilter<MaxOp<double>, MorphRowNoVec>(ksize, anchor);
            break;
        default:
            break;
    }
    return Ptr<BaseRowFilter>(f);
}

Ptr<BaseColumnFilter> getMorphologyColumnFilter(int op, int type, int ksize, int anchor) {
    const int depth = MAT_DEPTH(type);
    if (anchor < 0) anchor = ksize / 2;
    if (ksize < 1 || ksize > kMaxElementSize || anchor >= ksize) return Ptr<BaseColumnFilter>();
    BaseColumnFilter* f = nullptr;
    const bool erode = op == MorphErode;
    switch (depth) {
        case MAT_Tuchar:
            if (erode)
                f = new (std::nothrow)
                    MorphColumnFilter<MinOp<uchar>, MorphColumnIVec<VMin8u>>(ksize, anchor);
            else
                f = new (std::nothrow)
                    MorphColumnFilter<MaxOp<uchar>, MorphColumnIVec<VMax8u>>(ksize, anchor);
            break;
        case MAT_Tshort:
            if (erode)
                f = new (std::nothrow)
                    MorphColumnFilter<MinOp<short>, MorphColumnIVec<VMin16s>>(ksize, anchor);
            else
                f = new (std::nothrow)
                    MorphColumnFilter<MaxOp<short>, MorphColumnIVec<VMax16s>>(ksize, anchor);
            break;
        case MAT_Tfloat:
            if (erode)
                f = new (std::nothrow)
                    MorphColumnFilter<MinOp<float>, MorphColumnFVec<VMin32f>>(ksize, anchor);
            else
                f = new (std::nothrow)
                    MorphColumnFilter<MaxOp<float>, MorphColumnFVec<VMax32f>>(ksize, anchor);
            break;
        case MAT_Tdouble:
            if (erode)
                f = new (std::nothrow)
                    MorphColumnFilter<MinOp<double>, MorphColumnNoVec>(ksize, anchor);
            else
                f = new (std::nothrow)
                    MorphColumnFilter<MaxOp<double>, MorphColumnNoVec>(ksize, anchor);
            break;
        default:
            break;
    }
    return Ptr<BaseColumnFilter>(f);
}

Ptr<BaseFilter> getMorphologyFilter(int op, int type, const Mat& element, Point2_<int> anchor) {
    const int depth = MAT_DEPTH(type);
    if (element.empty()) return Ptr<BaseFilter>();
    const Size_<int> ks = element.size();
    anchor = normalizeAnchor(anchor, ks);
    if (anchor.x < 0 || anchor.y < 0 || anchor.x >= ks.width || anchor.y >= ks.height ||
        ks.width > kMaxElementSize || ks.height > kMaxElementSize)
        return Ptr<BaseFilter>();
    if (depth != MAT_Tuchar && depth != MAT_Tshort && depth != MAT_Tfloat && depth != MAT_Tdouble)
        return Ptr<BaseFilter>();
    const std::vector<Point2_<int>> pts = elementPoints(element);
    BaseFilter* f = nullptr;
    const bool erode = op == MorphErode;
    switch (depth) {
        case MAT_Tuchar:
            if (erode)
                f = new (std::nothrow)
                    MorphFilter<MinOp<uchar>, MorphIVec<VMin8u>>(pts, ks, anchor);
            else
                f = new (std::nothrow)
                    MorphFilter<MaxOp<uchar>, MorphIVec<VMax8u>>(pts, ks, anchor);
            break;
        case MAT_Tshort:
            // The 2-D erosion compares 16-bit elements as unsigned; dilation
            // and the separable stages compare them as signed.
            if (erode)
                f = new (std::nothrow)
                    MorphFilter<MinOp<ushort>, MorphIVec<VMin16u>>(pts, ks, anchor);
            else
                f = new (std::nothrow)
                    MorphFilter<MaxOp<short>, MorphIVec<VMax16s>>(pts, ks, anchor);
            break;
        case MAT_Tfloat:
            if (erode)
                f = new (std::nothrow)
                    MorphFilter<MinOp<float>, MorphFVec<VMin32f>>(pts, ks, anchor);
            else
                f = new (std::nothrow)
                    MorphFilter<MaxOp<float>, MorphFVec<VMax32f>>(pts, ks, anchor);
            break;
        default:
            if (erode)
                f = new (std::nothrow) MorphFilter<MinOp<double>, MorphNoVec>(pts, ks, anchor);
            else
                f = new (std::nothrow) MorphFilter<MaxOp<double>, MorphNoVec>(pts, ks, anchor);
            break;
    }
    return Ptr<BaseFilter>(f);
}

Ptr<FilterEngine> createMorphologyFilter(int op, int type, const Mat& element, Point2_<int> anchor,
                                         int rowBorderType, int columnBorderType,
                                         const Point4_<double>& borderValue) {
    type &= MAT_TYPE_MASK;
    const int depth = MAT_DEPTH(type);
    if (element.empty()) return Ptr<FilterEngine>();
    anchor = normalizeAnchor(anchor, element.size());

    Ptr<BaseFilter> f2d;
    Ptr<BaseRowFilter> rf;
    Ptr<BaseColumnFilter> cf;
    if (fullElement(element)) {
        rf = getMorphologyRowFilter(op, type, element.cols(), anchor.x);
        cf = getMorphologyColumnFilter(op, type, element.rows(), anchor.y);
        if (rf.empty() || cf.empty()) return Ptr<FilterEngine>();
    } else {
        f2d = getMorphologyFilter(op, type, element, anchor);
        if (f2d.empty()) return Ptr<FilterEngine>();
    }

    // The default fill value asks for the neutral element of the operation.
    Point4_<double> value = borderValue;
    if ((rowBorderType == BorderFill || columnBorderType == BorderFill) &&
        borderValue == morphologyNeutralBorder()) {
        double v = DBL_MAX;
        if (op == MorphErode) {
            if (depth == MAT_Tuchar)
                v = 255;
            else if (depth == MAT_Tshort)
                v = 65535;  // saturates to 32767 in the signed element
            else if (depth == MAT_Tfloat)
                v = FLT_MAX;
        } else {
            if (depth == MAT_Tuchar || depth == MAT_Tshort)
                v = 0;
            else if (depth == MAT_Tfloat)
                v = -FLT_MAX;
            else
                v = -DBL_MAX;
        }
        value = Point4_<double>::All(v);
    }
    FilterEngine* e = new (std::nothrow)
        FilterEngine(f2d, rf, cf, type, type, type, rowBorderType, columnBorderType, value);
    return Ptr<FilterEngine>(e);
}

Mat getStructuringElement(int shape, Size_<int> ksize, Point2_<int> anchor) {
    if (shape != MorphRect && shape != MorphCross && shape != MorphEllipse) return Mat();
    if (ksize.width <= 0 || ksize.height <= 0) return Mat();
    anchor = normalizeAnchor(anchor, ksize);
    if (anchor.x < 0 || anchor.y < 0 || anchor.x >= ksize.width || anchor.y >= ksize.height)
        return Mat();
    if (ksize.width == 1 && ksize.height == 1) shape = MorphRect;

    Mat elem(ksize.height, ksize.width, MAT_Tuchar);
    if (elem.empty()) return Mat();
    const int r = ksize.height / 2, c = ksize.width / 2;
    const double inv_r2 = r ? 1.0 / (double(r) * double(r)) : 0.0;
    for (int i = 0; i < ksize.height; i++) {
        uchar* row = elem.ptr<uchar>(i);
        const int dy = i - r;
        int j1 = 0, j2 = 0;
        if (shape == MorphRect) {
            j2 = ksize.width;
        } else if (shape == MorphCross) {
            if (i == anchor.y) {
                j2 = ksize.width;
            } else {
                j1 = anchor.x;
                j2 = anchor.x + 1;
            }
        } else if (std::abs(dy) <= r) {
            const double rr = double(r) * double(r) - double(dy) * double(dy);
            const int dx = tarvoutil::round(double(c) * std::sqrt(rr * inv_r2));
            j1 = std::max(c - dx, 0);
            j2 = int(std::min<long long>((long long)c + dx + 1, ksize.width));
        }
        for (int j = 0; j < ksize.width; j++) row[j] = uchar(j >= j1 && j < j2 ? 1 : 0);
    }
    return elem;
}

namespace {

// Reach of a folded full element on one side, capped at twice the line
// length: beyond that every border mode already puts every sample of the
// line (and, for BorderFill, the fill) into each window, so a longer reach
// gives the same result.
// True when two images of one shape hold the same bytes.
bool sameBytes(const Mat& a, const Mat& b) {
    const size_t rowBytes = (size_t)a.cols() * a.elemSize();
    for (int y = 0; y < a.rows(); y++)
        if (std::memcmp(a.data.ptr[y], b.data.ptr[y], rowBytes) != 0) return false;
    return true;
}

long long foldedReach(long long reach, long long iterations, int len) {
    const long long cap = 2LL * len;
    if (reach == 0) return 0;
    if (iterations > cap / reach + 1) return cap;
    return std::min(reach * iterations, cap);
}

void morphOp(int op, const Mat& src, Mat& dst, const Mat& elementIn, Point2_<int> anchor,
             int iterations, int borderType, const Point4_<double>& borderValue) {
    if (src.empty() || iterations < 0) return;
    const int depth = src.type();
    if (depth != MAT_Tuchar && depth != MAT_Tshort && depth != MAT_Tfloat && depth != MAT_Tdouble)
        return;
    const int mode = borderType & ~BorderIsolatedBit;
    if (mode < BorderFill || mode > BorderMirrorNoEdge) return;

    if (iterations == 0 ||
        (!elementIn.empty() && (long long)elementIn.rows() * elementIn.cols() == 1)) {
        dst = src;
        return;
    }

    Mat element;
    if (elementIn.empty()) {
        // A 3 x 3 rectangle around the centre; folded with the iterations below.
        element = getStructuringElement(MorphRect, Size_<int>(3, 3), Point2_<int>(-1, -1));
        anchor = Point2_<int>(1, 1);
    } else {
        element = elementIn;
        anchor = normalizeAnchor(anchor, element.size());
    }
    if (element.empty()) return;
    Size_<int> ks = element.size();
    if (anchor.x < 0 || anchor.y < 0 || anchor.x >= ks.width || anchor.y >= ks.height) return;

    if (iterations > 1 && fullElement(element)) {
        // Iterations of a rectangle are one larger rectangle.
        const long long left = foldedReach(anchor.x, iterations, src.cols());
        const long long right = foldedReach(ks.width - 1 - anchor.x, iterations, src.cols());
        const long long top = foldedReach(anchor.y, iterations, src.rows());
        const long long bottom = foldedReach(ks.height - 1 - anchor.y, iterations, src.rows());
        if (left + right + 1 > kMaxElementSize || top + bottom + 1 > kMaxElementSize) return;
        ks = Size_<int>(int(left + right + 1), int(top + bottom + 1));
        anchor = Point2_<int>(int(left), int(top));
        element = getStructuringElement(MorphRect, ks, anchor);
        if (element.empty()) return;
        iterations = 1;
    }
    if (ks.width > kMaxElementSize || ks.height > kMaxElementSize) return;
    if (iterations > 1) {
        // With the anchor inside the element a pass never moves a value further
        // than one step of the element, so every pixel has met every value it
        // can ever meet (the N pixels and the fill) after N passes: the count is
        // capped there, exactly. Without it passes may cycle, so counts past
        // that bound are refused as absurd work.
        const long long n = (long long)src.rows() * src.cols();
        if (entrySet(element, anchor.y, anchor.x))
            iterations = int(std::min<long long>(iterations, n));
        else if (iterations > n)
            return;
    }

    Ptr<FilterEngine> engine =
        createMorphologyFilter(op, src.type1(), element, anchor, mode, mode, borderValue);
    if (engine.empty()) return;

    // A source that shares memory with dst is read from a copy, so that the
    // engine can run its stripes in parallel and dst can be re-created.
    tarvo::detail::SourceGuard guard(src, dst);
    if (guard.failed()) return;
    const Mat* in = &guard.get();
    if (dst.create(src.rows(), src.cols(), src.type1()) < 0) return;
    engine->apply(*in, dst);
    if (iterations == 1) return;

    // Further passes alternate between dst and a scratch image; an even
    // count ends in the scratch image and is copied back.
    Mat tmp(src.rows(), src.cols(), src.type1());
    if (tmp.empty()) return;
    Mat* from = &dst;
    Mat* to = &tmp;
    for (int i = 1; i < iterations; i++) {
        engine->apply(*from, *to);
        std::swap(from, to);
        // A pass that changed nothing has reached the fixed point: further
        // passes repeat it.
        if (sameBytes(*from, *to)) break;
    }
    if (from != &dst) dst = *from;
}

}  // namespace

void erode(const Mat& src, Mat& dst, const Mat& element, Point2_<int> anchor, int iterations,
           int borderType, const Point4_<double>& borderValue) {
    morphOp(MorphErode, src, dst, element, anchor, iterations, borderType, borderValue);
}

void dilate(const Mat& src, Mat& dst, const Mat& element, Point2_<int> anchor, int iterations,
            int borderType, const Point4_<double>& borderValue) {
    morphOp(MorphDilate, src, dst, element, anchor, iterations, borderType, borderValue);
}

namespace {

// Shared body of the element forms of opening and closing: erode into a
// temporary, then dilate that into dst.
void openClose(const Mat& src, Mat& dst, const Mat& element, Point2_<int> anchor, int iterations,
               int borderType, const Point4_<double>& borderValue) {
    Mat tmp;
    morphOp(MorphErode, src, tmp, element, anchor, iterations, borderType, borderValue);
    if (tmp.empty()) return;
    morphOp(MorphDilate, tmp, dst, element, anchor, iterations, borderType, borderValue);
}

}  // namespace

void opening(const Mat& src, Mat& dst, const Mat& element, Point2_<int> anchor, int iterations,
             int borderType, const Point4_<double>& borderValue) {
    openClose(src, dst, element, anchor, iterations, borderType, borderValue);
}

void closing(const Mat& src, Mat& dst, const Mat& element, Point2_<int> anchor, int iterations,
             int borderType, const Point4_<double>& borderValue) {
    openClose(src, dst, element, anchor, iterations, borderType, borderValue);
}

}  // namespace ip
}  // namespace tarvo
