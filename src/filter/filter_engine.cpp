// The row-by-row filter engine, the border rule and the anchor helper.
//
// The engine keeps a ring of intermediate rows: for a 2-D stage the source
// rows extended by the horizontal border, for a separable pipeline the rows
// after the row stage. Rows outside the image that the column stage needs come
// from the fill row (BorderFill), from rows prepared at start from the image
// (start(Mat), which apply uses), or - when only the image size is known -
// from the ring itself.
#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#include "detail/aliasing.h"
#include "detail/checked.h"
#include "tarvo/ip/filter.h"
#include "tarvo/parallel.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace ip {

int borderInterpolate(int p, int len, int mode) {
    if ((unsigned)p < (unsigned)len) return p;
    switch (mode) {
        case BorderClamp:
            if (len <= 0) return -1;
            return p < 0 ? 0 : len - 1;
        case BorderMirror:
        case BorderMirrorNoEdge: {
            if (len <= 0) return -1;
            if (len == 1) return 0;
            const long long delta = mode == BorderMirrorNoEdge ? 1 : 0;
            // 64-bit so that reflections of far-away coordinates stay defined;
            // reduce by the period first so that huge coordinates need few steps.
            const long long period = 2LL * len - 2 * delta;
            long long q = p;
            if (period > 0 && (q < -period || q >= len + period)) {
                q %= period;
                if (q < 0) q += period;
            }
            while ((unsigned long long)q >= (unsigned long long)len) {
                if (q < 0)
                    q = delta - q - 1;
                else
                    q = 2LL * len - delta - q - 1;
            }
            return int(q);
        }
        case BorderWrap: {
            if (len <= 0) return -1;
            long long q = p;
            if (q < 0) q -= ((q - len + 1) / len) * len;
            if (q >= len) q %= len;
            return int(q);
        }
        case BorderFill:
            return -1;
        default:
            return p;
    }
}

Point2_<int> normalizeAnchor(Point2_<int> anchor, Size_<int> ksize) {
    if (anchor.x == -1) anchor.x = ksize.width / 2;
    if (anchor.y == -1) anchor.y = ksize.height / 2;
    return anchor;
}

BaseRowFilter::BaseRowFilter() : ksize(-1), anchor(-1) {}
BaseRowFilter::~BaseRowFilter() {}
void BaseRowFilter::reset() {}

BaseColumnFilter::BaseColumnFilter() : ksize(-1), anchor(-1) {}
BaseColumnFilter::~BaseColumnFilter() {}
void BaseColumnFilter::reset() {}

BaseFilter::BaseFilter() : ksize(-1, -1), anchor(-1, -1) {}
BaseFilter::~BaseFilter() {}
void BaseFilter::reset() {}

namespace {

bool validTypeWord(int t) {
    const int d = t & MAT_DEPTH_MASK;
    return t >= 0 && t <= MAT_TYPE_MASK && d >= MAT_Tuchar && d <= MAT_Tdouble;
}

size_t elemSizeOf(int t) {
    return size_t(depthSize(MAT_DEPTH(t))) * size_t(MAT_CN(t));
}

size_t alignUp(size_t v, size_t a) {
    return (v + a - 1) / a * a;
}

unsigned char* alignPtr(const unsigned char* p, size_t a) {
    return reinterpret_cast<unsigned char*>((reinterpret_cast<uintptr_t>(p) + a - 1) & ~(a - 1));
}

template <typename T>
void fillValue(const Point4_<double>& v, int cn, int count, unsigned char* out) {
    T* p = reinterpret_cast<T*>(out);
    for (int i = 0; i < count; i++)
        for (int k = 0; k < cn; k++) p[i * cn + k] = saturate_cast<T>(v[k & 3]);
}

// The fill value written count times in the raw format of type t; channel k
// takes v[k % 4], rounded and saturated.
void valueToRaw(const Point4_<double>& v, int t, int count, unsigned char* out) {
    const int cn = MAT_CN(t);
    switch (MAT_DEPTH(t)) {
        case MAT_Tuchar:
            fillValue<unsigned char>(v, cn, count, out);
            break;
        case MAT_Tshort:
            fillValue<short>(v, cn, count, out);
            break;
        case MAT_Tint:
            fillValue<int>(v, cn, count, out);
            break;
        case MAT_Tfloat:
            fillValue<float>(v, cn, count, out);
            break;
        default:
            fillValue<double>(v, cn, count, out);
            break;
    }
}

bool knownMode(int m) {
    return m >= BorderFill && m <= BorderMirrorNoEdge;
}

}  // namespace

FilterEngine::FilterEngine()
    : srcType(-1),
      dstType(-1),
      bufType(-1),
      ksize(0, 0),
      anchor(0, 0),
      maxWidth(0),
      wholeSize(-1, -1),
      roi(0, 0, 0, 0),
      dx1(0),
      dx2(0),
      rowBorderType(BorderClamp),
      columnBorderType(BorderClamp),
      borderElemSize(0),
      bufStep(0),
      startY(0),
      startY0(0),
      endY(0),
      rowCount(0),
      dstY(0) {}

FilterEngine::FilterEngine(const Ptr<BaseFilter>& f2d, const Ptr<BaseRowFilter>& rf,
                           const Ptr<BaseColumnFilter>& cf, int srcType_, int dstType_,
                           int bufType_, int rowBorderType_, int columnBorderType_,
                           const Point4_<double>& borderValue)
    : FilterEngine() {
    init(f2d, rf, cf, srcType_, dstType_, bufType_, rowBorderType_, columnBorderType_, borderValue);
}

FilterEngine::~FilterEngine() {}

void FilterEngine::init(const Ptr<BaseFilter>& f2d, const Ptr<BaseRowFilter>& rf,
                        const Ptr<BaseColumnFilter>& cf, int srcType_, int dstType_, int bufType_,
                        int rowBorderType_, int columnBorderType_,
                        const Point4_<double>& borderValue) {
    srcType = srcType_;
    dstType = dstType_;
    bufType = bufType_;
    filter2D = f2d;
    rowFilter = rf;
    columnFilter = cf;
    rowBorderType = rowBorderType_;
    columnBorderType = columnBorderType_ < 0 ? rowBorderType_ : columnBorderType_;
    valid_ = started_ = sideReady_ = false;

    bool stagesOk = true;
    if (!filter2D.empty()) {
        ksize = filter2D->ksize;
        anchor = filter2D->anchor;
    } else if (!rowFilter.empty() && !columnFilter.empty()) {
        ksize = Size_<int>(rowFilter->ksize, columnFilter->ksize);
        anchor = Point2_<int>(rowFilter->anchor, columnFilter->anchor);
    } else {
        ksize = Size_<int>(1, 1);
        anchor = Point2_<int>(0, 0);
        stagesOk = false;
    }
    const bool typesOk = validTypeWord(srcType) && validTypeWord(dstType) &&
                         (!filter2D.empty() || validTypeWord(bufType)) &&
                         MAT_CN(srcType) == MAT_CN(dstType) &&
                         (!filter2D.empty() || MAT_CN(bufType) == MAT_CN(srcType));
    const bool geomOk = ksize.width >= 1 && ksize.height >= 1 && ksize.width <= (1 << 20) &&
                        ksize.height <= (1 << 20) && anchor.x >= 0 && anchor.x < ksize.width &&
                        anchor.y >= 0 && anchor.y < ksize.height;
    const bool modesOk = knownMode(rowBorderType) && knownMode(columnBorderType);

    srcEsz_ = typesOk ? elemSizeOf(srcType) : 1;
    dstEsz_ = typesOk ? elemSizeOf(dstType) : 1;
    bufEsz_ = typesOk ? (filter2D.empty() ? elemSizeOf(bufType) : srcEsz_) : 1;
    // Border copies go in 4-byte words when the element is made of them.
    borderElemSize = srcEsz_ % 4 == 0 ? int(srcEsz_ / 4) : int(srcEsz_);
    const int kw1 = std::max(geomOk ? ksize.width - 1 : 0, 1);
    borderTab.assign(size_t(kw1) * size_t(borderElemSize), 0);
    maxWidth = 0;
    rows.clear();
    constBorderRow.clear();
    constBorderValue.clear();
    if (typesOk && geomOk && (rowBorderType == BorderFill || columnBorderType == BorderFill)) {
        constBorderValue.resize(srcEsz_ * size_t(kw1));
        valueToRaw(borderValue, srcType, kw1, constBorderValue.data());
    }
    wholeSize = Size_<int>(-1, -1);
    valid_ = stagesOk && typesOk && geomOk && modesOk;
}

unsigned char* FilterEngine::ringBase() const {
    return alignPtr(ringBuf.data(), 32);
}

unsigned char* FilterEngine::constRowBase() const {
    return alignPtr(constBorderRow.data(), 32);
}

// Sizes the ring of bufRows rows and the row buffers for rows of `width`
// elements (may throw std::bad_alloc; start() turns that into a refusal).
void FilterEngine::allocateRing(int width, int bufRows) {
    const bool sep = isSeparable();
    rows.assign(size_t(bufRows), nullptr);
    maxWidth = std::max(maxWidth, width);
    const size_t width1 = size_t(ksize.width - 1) + size_t(maxWidth);
    srcRow.assign(width1 * srcEsz_, 0);
    const size_t ringElems = alignUp(sep ? size_t(maxWidth) : width1, 32);
    ringBuf.assign(size_t(bufRows) * ringElems * bufEsz_ + 32, 0);
    if (columnBorderType == BorderFill) {
        constBorderRow.assign(ringElems * bufEsz_ + 32, 0);
        unsigned char* cr = constRowBase();
        unsigned char* target = sep ? srcRow.data() : cr;
        const size_t total = width1 * srcEsz_, pat = constBorderValue.size();
        for (size_t off = 0; off < total; off += pat)
            std::memcpy(target + off, constBorderValue.data(), std::min(pat, total - off));
        if (sep) (*rowFilter)(srcRow.data(), cr, maxWidth, MAT_CN(srcType));
    }
}

int FilterEngine::start(Size_<int> ws, Rect_<int> r, int maxBufRows) {
    started_ = sideReady_ = false;
    if (!valid_) return 0;
    if (ws.width <= 0 || ws.height <= 0 || r.x < 0 || r.y < 0 || r.width <= 0 || r.height <= 0 ||
        (long long)r.x + r.width > ws.width || (long long)r.y + r.height > ws.height)
        return 0;
    const bool sep = isSeparable();
    wholeSize = ws;
    roi = r;

    int bufRows = maxBufRows >= 0 ? maxBufRows : ksize.height + 3;
    bufRows = std::max(bufRows, 2 * std::max(anchor.y, ksize.height - anchor.y - 1) + 1);
    // A ring taller than every row the pass can ever hold is an absurd request:
    // refused rather than allocated.
    if ((long long)bufRows >
        std::max<long long>(2LL * ksize.height + 3, (long long)ws.height + ksize.height))
        return 0;

    // Row widths in elements of the ring: a 2-D stage keeps extended source
    // rows, a separable pipeline filtered rows of the ROI's width.
    const size_t stepElems = alignUp(size_t(sep ? r.width : r.width + ksize.width - 1), 16);
    if (stepElems * bufEsz_ > size_t(INT_MAX)) return 0;

    if (maxWidth < r.width || bufRows != (int)rows.size()) {
        const size_t ringElems0 =
            alignUp(sep ? size_t(std::max(maxWidth, r.width))
                        : size_t(ksize.width - 1) + size_t(std::max(maxWidth, r.width)),
                    32);
        if (!tarvo::detail::workFits(int64_t(bufRows) * int64_t(ringElems0), int64_t(bufEsz_)))
            return 0;
        if (!tarvo::detail::tryAlloc([&] { allocateRing(r.width, bufRows); })) {
            rows.clear();
            ringBuf.clear();
            maxWidth = 0;
            return 0;
        }
    }
    bufStep = int(stepElems * bufEsz_);

    dx1 = std::max(anchor.x - r.x, 0);
    dx2 = int(
        std::max<long long>((long long)ksize.width - anchor.x - 1 + r.x + r.width - ws.width, 0));
    if ((dx1 > 0 || dx2 > 0) && rowBorderType != BorderFill) {
        const int xofs1 = std::min(r.x, anchor.x) - r.x;
        const int bes = borderElemSize;
        for (int i = 0; i < dx1; i++) {
            const int p0 = (borderInterpolate(i - dx1, ws.width, rowBorderType) + xofs1) * bes;
            for (int j = 0; j < bes; j++) borderTab[size_t(i) * bes + j] = p0 + j;
        }
        for (int i = 0; i < dx2; i++) {
            const int p0 = (borderInterpolate(ws.width + i, ws.width, rowBorderType) + xofs1) * bes;
            for (int j = 0; j < bes; j++) borderTab[size_t(i + dx1) * bes + j] = p0 + j;
        }
    }

    dstY = 0;
    rowCount = 0;
    startY = startY0 = std::max(r.y - anchor.y, 0);
    endY = int(
        std::min<long long>((long long)r.y + r.height + ksize.height - anchor.y - 1, ws.height));
    if (!columnFilter.empty()) columnFilter->reset();
    if (!filter2D.empty()) filter2D->reset();
    started_ = true;
    return startY;
}

int FilterEngine::start(const Mat& src, const Rect_<int>& srcRoi, bool /*isolated*/,
                        int maxBufRows) {
    started_ = sideReady_ = false;
    if (!valid_ || src.empty() || src.type1() != srcType) return 0;
    Rect_<int> r = srcRoi;
    if (r == Rect_<int>(0, 0, -1, -1)) r = Rect_<int>(0, 0, src.cols(), src.rows());
    const int y = start(src.size(), r, maxBufRows);
    if (started_) prepareSideRows(src);
    return y;
}

// Copies the source part of one row behind the dx1 invented columns and
// writes the invented ones. src points at the first real column needed
// (column roi.x - min(anchor.x, roi.x)).
void FilterEngine::extendRow(const unsigned char* src, unsigned char* row) const {
    const size_t esz = srcEsz_;
    const int width1 = roi.width + ksize.width - 1;
    std::memcpy(row + size_t(dx1) * esz, src, size_t(width1 - dx2 - dx1) * esz);
    if (dx1 == 0 && dx2 == 0) return;
    unsigned char* right = row + size_t(width1 - dx2) * esz;
    if (rowBorderType == BorderFill) {
        std::memcpy(row, constBorderValue.data(), size_t(dx1) * esz);
        std::memcpy(right, constBorderValue.data(), size_t(dx2) * esz);
        return;
    }
    // Table entries count units of esz / borderElemSize bytes; the first
    // unit of an element gives the element's offset.
    const ptrdiff_t unit = ptrdiff_t(esz) / borderElemSize;
    const int* tab = borderTab.data();
    for (int i = 0; i < dx1; i++)
        std::memcpy(row + size_t(i) * esz, src + tab[size_t(i) * borderElemSize] * unit, esz);
    for (int i = 0; i < dx2; i++)
        std::memcpy(right + size_t(i) * esz, src + tab[size_t(i + dx1) * borderElemSize] * unit,
                    esz);
}

void FilterEngine::prepareSideRows(const Mat& src) {
    sideReady_ = false;
    sideTop_ = sideBottom_ = 0;
    if (columnBorderType == BorderFill) return;
    const int H = wholeSize.height;
    const int ylo = roi.y - anchor.y;
    const long long yhi = (long long)roi.y + roi.height + ksize.height - 1 - anchor.y;
    sideTopY_ = ylo;
    sideTop_ = ylo < 0 ? int(std::min<long long>(yhi, 0) - ylo) : 0;
    sideBottom_ = yhi > H ? int(yhi - std::max(H, ylo)) : 0;
    const int n = sideTop_ + sideBottom_;
    if (n > 0) {
        sideBuf_.resize(size_t(n) * size_t(bufStep) + 32);
        unsigned char* base = alignPtr(sideBuf_.data(), 32);
        const ptrdiff_t back = ptrdiff_t(std::min(anchor.x, roi.x)) * ptrdiff_t(srcEsz_);
        const int cn = MAT_CN(srcType);
        for (int k = 0; k < n; k++) {
            const int y = k < sideTop_ ? sideTopY_ + k : std::max(H, ylo) + (k - sideTop_);
            const int sy = borderInterpolate(y, H, columnBorderType);
            const unsigned char* s = src.data.ptr[sy] + size_t(roi.x) * srcEsz_ - back;
            unsigned char* out = base + size_t(k) * size_t(bufStep);
            if (isSeparable()) {
                extendRow(s, srcRow.data());
                (*rowFilter)(srcRow.data(), out, roi.width, cn);
            } else {
                extendRow(s, out);
            }
        }
    }
    sideReady_ = true;
}

// The row for an image row y outside [0, height): the fill row, a prepared
// side row, or null with srcY set to the ring row that stands for it.
const unsigned char* FilterEngine::borderRow(int y, int& srcY) const {
    const int H = wholeSize.height;
    if (columnBorderType == BorderFill) return constRowBase();
    if (sideReady_) {
        int k = -1;
        if (y < 0 && y >= sideTopY_ && y - sideTopY_ < sideTop_)
            k = y - sideTopY_;
        else if (y >= H && y - std::max(H, sideTopY_) < sideBottom_)
            k = sideTop_ + (y - std::max(H, sideTopY_));
        if (k >= 0) return alignPtr(sideBuf_.data(), 32) + size_t(k) * size_t(bufStep);
    }
    // Streaming: the wrapped rows of the far side have not been seen.
    const int mode = columnBorderType == BorderWrap ? BorderClamp : columnBorderType;
    srcY = borderInterpolate(y, H, mode);
    return nullptr;
}

int FilterEngine::proceedRows(const unsigned char* src, ptrdiff_t srcstep,
                              const unsigned char* const* srcTab, size_t srcXofs, int count,
                              unsigned char* dst, ptrdiff_t dststep, unsigned char* const* dstTab,
                              size_t dstXofs) {
    if (!started_) return 0;
    const bool sep = isSeparable();
    const size_t esz = srcEsz_;
    const int bufRows = (int)rows.size();
    const int cn = MAT_CN(srcType);
    const ptrdiff_t back = ptrdiff_t(std::min(anchor.x, roi.x)) * ptrdiff_t(esz);
    unsigned char* ring = ringBase();
    count = std::max(0, std::min(count, remainingInputRows()));
    int fed = 0, dy = 0;

    for (;;) {
        int dcount = bufRows - anchor.y - startY - rowCount + roi.y;
        dcount = dcount > 0 ? dcount : bufRows - ksize.height + 1;
        dcount = std::min(dcount, count);
        count -= dcount;
        for (; dcount-- > 0; fed++) {
            const unsigned char* s =
                srcTab ? srcTab[fed] + srcXofs - back : src + ptrdiff_t(fed) * srcstep - back;
            const int bi = (startY - startY0 + rowCount) % bufRows;
            unsigned char* brow = ring + size_t(bi) * size_t(bufStep);
            unsigned char* row = sep ? srcRow.data() : brow;
            if (++rowCount > bufRows) {
                --rowCount;
                ++startY;
            }
            extendRow(s, row);
            if (sep) (*rowFilter)(row, brow, roi.width, cn);
        }

        const int max_i = std::min(bufRows, roi.height - (dstY + dy) + ksize.height - 1);
        int i = 0;
        for (; i < max_i; i++) {
            const int y = dstY + dy + i + roi.y - anchor.y;
            int srcY = y;
            const unsigned char* r = nullptr;
            if (y < 0 || y >= wholeSize.height) r = borderRow(y, srcY);
            if (!r) {
                if (srcY >= startY + rowCount) break;
                // Rows the ring has dropped are never asked for; stay inside it anyway.
                if (srcY < startY) srcY = startY;
                r = ring + size_t((srcY - startY0) % bufRows) * size_t(bufStep);
            }
            rows[i] = const_cast<unsigned char*>(r);
        }
        if (i < ksize.height) break;
        i -= ksize.height - 1;
        const unsigned char** rp = const_cast<const unsigned char**>(rows.data());
        if (dstTab) {
            for (int j = 0; j < i; j++) {
                unsigned char* d = dstTab[dy + j] + dstXofs;
                if (sep)
                    (*columnFilter)(rp + j, d, 0, 1, roi.width * cn);
                else
                    (*filter2D)(rp + j, d, 0, 1, roi.width, cn);
            }
        } else {
            unsigned char* d = dst + ptrdiff_t(dy) * dststep;
            if (sep)
                (*columnFilter)(rp, d, int(dststep), i, roi.width * cn);
            else
                (*filter2D)(rp, d, int(dststep), i, roi.width, cn);
        }
        dy += i;
    }
    dstY += dy;
    return dy;
}

int FilterEngine::proceed(const unsigned char* src, int srcstep, int count, unsigned char* dst,
                          int dststep) {
    return proceedRows(src, srcstep, nullptr, 0, count, dst, dststep, nullptr, 0);
}

int FilterEngine::remainingInputRows() const {
    return endY - startY - rowCount;
}

int FilterEngine::remainingOutputRows() const {
    return roi.height - dstY;
}

namespace {

// Below this many pixels an image is filtered on the calling thread.
constexpr long long kParallelPixels = 1LL << 17;
// A stripe re-reads ksize.height - 1 rows of its neighbour: keep stripes
// several kernels tall so that the overlap stays small.
constexpr int kMinStripeKernels = 4;
constexpr int kMinStripeRows = 16;

}  // namespace

void FilterEngine::apply(const Mat& src, Mat& dst, const Rect_<int>& srcRoi, Point2_<int> dstOfs,
                         bool /*isolated*/) {
    Rect_<int> r = srcRoi;
    if (r == Rect_<int>(0, 0, -1, -1)) r = Rect_<int>(0, 0, src.cols(), src.rows());
    if ((long long)r.width * r.height <= 0 || r.width <= 0) return;
    if (!valid_ || src.empty() || dst.empty()) return;
    if (src.type1() != srcType || dst.type1() != dstType) return;
    if (r.x < 0 || r.y < 0 || (long long)r.x + r.width > src.cols() ||
        (long long)r.y + r.height > src.rows())
        return;
    if (dstOfs.x < 0 || dstOfs.y < 0 || (long long)dstOfs.x + r.width > dst.cols() ||
        (long long)dstOfs.y + r.height > dst.rows())
        return;

    const long long area = (long long)r.width * r.height;
    int stripes = int(
        std::min<long long>(area / kParallelPixels,
                            r.height / std::max(kMinStripeRows, kMinStripeKernels * ksize.height)));
    // In place or overlapping: a stripe would read rows its neighbour has written.
    if (stripes >= 2 && detail::sharesMemory(src, dst)) stripes = 1;
    if (stripes < 2) {
        applyRows(src, dst, r, dstOfs);
        return;
    }

    // One engine per stripe of output rows; each reads the rows around its
    // stripe from the image itself, so the result equals the serial run.
    class StripeBody : public ParallelLoopBody {
    public:
        StripeBody(const FilterEngine& e, const Mat& s, Mat& d, const Rect_<int>& r,
                   Point2_<int> ofs, int n)
            : engine_(e), src_(s), dst_(d), r_(r), ofs_(ofs), n_(n) {}
        void operator()(const Range& range) const override {
            for (int s = range.start; s < range.end; s++) {
                const int y0 = r_.y + int((long long)r_.height * s / n_);
                const int y1 = r_.y + int((long long)r_.height * (s + 1) / n_);
                if (y1 <= y0) continue;
                FilterEngine e(engine_);
                e.applyRows(src_, dst_, Rect_<int>(r_.x, y0, r_.width, y1 - y0),
                            Point2_<int>(ofs_.x, ofs_.y + (y0 - r_.y)));
            }
        }

    private:
        const FilterEngine& engine_;
        const Mat& src_;
        Mat& dst_;
        Rect_<int> r_;
        Point2_<int> ofs_;
        int n_;
    };
    parallel_for_(Range(0, stripes), StripeBody(*this, src, dst, r, dstOfs, stripes),
                  double(stripes));
}

void FilterEngine::applyRows(const Mat& src, Mat& dst, const Rect_<int>& r, Point2_<int> dstOfs) {
    start(src, r, false, -1);
    if (!started_) return;
    proceedRows(nullptr, 0, src.data.ptr + startY, size_t(r.x) * srcEsz_, endY - startY, nullptr, 0,
                dst.data.ptr + dstOfs.y, size_t(dstOfs.x) * dstEsz_);
}

}  // namespace ip
}  // namespace tarvo
