// The spectrum route of filter2D.
//
// The correlation runs in double through the tiled transform. Floating
// destinations take it from a fixed tap count on every machine. Integer
// destinations must equal the direct route byte for byte: the direct route
// sums in float, so a pixel whose exact value lies close to a rounding step
// (k + 1/2) may round either way there. Each such pixel is recomputed by the
// direct route's own filter stage; all others round the same on both routes,
// because both lie within the error bound E of the exact value.
#include "filter/filter2d_spectrum.h"

#include <cfloat>
#include <cmath>
#include <cstring>
#include <vector>

#include "detail/aliasing.h"
#include "segment/cross_corr_internal.h"
#include "tarvo/autobuffer.h"
#include "tarvo/ip/filter.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace detail {

namespace {
int gRoute = 0;
}

void setFilter2DRoute(int route) {
    gRoute = route;
}

int filter2DRoute() {
    return gRoute;
}

namespace {

bool servedPair(int sdepth, int ddepth) {
    switch (sdepth * 8 + ddepth) {
        case 1 * 8 + 1:
        case 1 * 8 + 2:
        case 1 * 8 + 4:
        case 1 * 8 + 5:
        case 2 * 8 + 2:
        case 2 * 8 + 4:
        case 2 * 8 + 5:
        case 4 * 8 + 4:
        case 5 * 8 + 5:
            return true;
        default:
            return false;
    }
}

// Largest |sample| of src; false when a sample is not finite.
bool scanSource(const Mat& src, double& maxAbs) {
    maxAbs = 0;
    const int n = src.cols() * src.channels();
    for (int y = 0; y < src.rows(); y++) {
        const unsigned char* row = src.data.ptr[y];
        switch (src.type()) {
            case MAT_Tuchar:
                for (int i = 0; i < n; i++) maxAbs = std::max(maxAbs, double(row[i]));
                break;
            case MAT_Tshort: {
                const unsigned short* r = reinterpret_cast<const unsigned short*>(row);
                for (int i = 0; i < n; i++) maxAbs = std::max(maxAbs, double(r[i]));
                break;
            }
            case MAT_Tfloat: {
                const float* r = reinterpret_cast<const float*>(row);
                float m = 0;
                for (int i = 0; i < n; i++) {
                    const float a = std::fabs(r[i]);
                    if (!(a <= FLT_MAX)) return false;
                    m = std::max(m, a);
                }
                maxAbs = std::max(maxAbs, double(m));
                break;
            }
            default: {
                const double* r = reinterpret_cast<const double*>(row);
                for (int i = 0; i < n; i++) {
                    const double a = std::fabs(r[i]);
                    if (!(a <= DBL_MAX)) return false;
                    maxAbs = std::max(maxAbs, a);
                }
                break;
            }
        }
    }
    return true;
}

// Recomputes pixel (x, y) with the direct route's stage on a bordered patch.
class DirectPixel {
public:
    DirectPixel(const Mat& src, const Mat& kernel, Point2_<int> anchor, double delta, int mode,
                int dtype)
        : src_(src), anchor_(anchor), mode_(mode), kw_(kernel.cols()), kh_(kernel.rows()) {
        stage_ = ip::getLinearFilter(src.type1(), dtype, kernel, anchor, delta, 0);
    }
    bool ok() const { return !stage_.empty(); }
    // Writes all channels of pixel (x, y) into out (elemSize bytes of dst).
    void run(int x, int y, unsigned char* out, std::vector<unsigned char>& patch,
             std::vector<const unsigned char*>& rows) const {
        const size_t es = size_t(src_.elemSize());
        rows.resize(size_t(kh_));
        if (x - anchor_.x >= 0 && y - anchor_.y >= 0 && x - anchor_.x + kw_ <= src_.cols() &&
            y - anchor_.y + kh_ <= src_.rows()) {
            // inside the image: the stage reads the source rows themselves
            for (int j = 0; j < kh_; j++)
                rows[size_t(j)] = src_.data.ptr[y - anchor_.y + j] + size_t(x - anchor_.x) * es;
            (*stage_)(rows.data(), out, 0, 1, 1, src_.channels());
            return;
        }
        patch.resize(size_t(kw_) * size_t(kh_) * es);
        for (int j = 0; j < kh_; j++) {
            unsigned char* pr = patch.data() + size_t(j) * size_t(kw_) * es;
            rows[size_t(j)] = pr;
            const int sy = ip::borderInterpolate(y + j - anchor_.y, src_.rows(), mode_);
            for (int i = 0; i < kw_; i++) {
                const int sx = ip::borderInterpolate(x + i - anchor_.x, src_.cols(), mode_);
                if (sy < 0 || sx < 0)
                    std::memset(pr + size_t(i) * es, 0, es);
                else
                    std::memcpy(pr + size_t(i) * es, src_.data.ptr[sy] + size_t(sx) * es, es);
            }
        }
        (*stage_)(rows.data(), out, 0, 1, 1, src_.channels());
    }

private:
    const Mat& src_;
    Point2_<int> anchor_;
    int mode_, kw_, kh_;
    Ptr<ip::BaseFilter> stage_;
};

template <typename DT>
void finishFloat(Mat& dst, const Rect_<int>& r, int c, const Mat& block, double delta) {
    const int cn = dst.channels();
    for (int y = 0; y < r.height; y++) {
        const double* b = block.ptr<double>(y);
        DT* d = reinterpret_cast<DT*>(dst.data.ptr[r.y + y]) + size_t(r.x) * cn + c;
        for (int x = 0; x < r.width; x++) d[size_t(x) * cn] = DT(b[x] + delta);
    }
}

template <typename DT>
void finishInteger(Mat& dst, const Rect_<int>& r, int c, const Mat& block, double delta,
                   double margin, const DirectPixel& direct) {
    const int cn = dst.channels();
    const size_t es = size_t(dst.elemSize());
    std::vector<unsigned char> patch, px(es);
    std::vector<const unsigned char*> rows;
    for (int y = 0; y < r.height; y++) {
        const double* b = block.ptr<double>(y);
        DT* d = reinterpret_cast<DT*>(dst.data.ptr[r.y + y]) + size_t(r.x) * cn + c;
        for (int x = 0; x < r.width; x++) {
            const double v = b[x] + delta;
            const double f = v - std::floor(v);
            if (std::fabs(f - 0.5) <= margin) {
                direct.run(r.x + x, r.y + y, px.data(), patch, rows);
                DT o;
                std::memcpy(&o, px.data() + sizeof(DT) * size_t(c), sizeof(DT));
                d[size_t(x) * cn] = o;
            } else {
                d[size_t(x) * cn] = saturate_cast<DT>(v);
            }
        }
    }
}

}  // namespace

bool filter2DSpectrum(const Mat& src, Mat& dst, const Mat& kernel, Point2_<int> anchor,
                      double delta, int mode) {
    if (gRoute == 1 || src.empty() || kernel.empty() || kernel.channels() != 1) return false;
    const int sdepth = src.type(), ddepth = dst.type();
    if (!servedPair(sdepth, ddepth) || kernel.type() == MAT_Tshort) return false;
    const bool intDst = ddepth == MAT_Tuchar || ddepth == MAT_Tshort;
    const bool floatSum = sdepth != MAT_Tdouble && ddepth != MAT_Tdouble;
    const long long taps = (long long)kernel.rows() * kernel.cols();
    const long long threshold =
        intDst ? kFilter2DIntegerTaps : (sdepth == MAT_Tfloat && ddepth == MAT_Tfloat ? 130 : 50);
    if (gRoute != 2 && taps < threshold) return false;

    // Kernel and delta must be finite in the direct route's sum type.
    const double limit = floatSum ? double(FLT_MAX) : DBL_MAX;
    if (!(std::fabs(delta) <= limit)) return false;
    double sumAbs = 0;
    long long nonZero = 0;
    bool whole = delta == std::floor(delta);
    for (int j = 0; j < kernel.rows(); j++)
        for (int i = 0; i < kernel.cols(); i++) {
            const double k = kernel.value(j, i);
            if (!(std::fabs(k) <= limit)) return false;
            if (k != 0) nonZero++;
            sumAbs += std::fabs(k);
            whole = whole && k == std::floor(k);
        }
    double maxAbs = 0;
    if (!scanSource(src, maxAbs)) return false;
    const double S = std::fabs(delta) + sumAbs * maxAbs;
    // Keep far from overflow of the direct sum's type, where the routes could disagree.
    if (!(S < (floatSum ? 0x1p100 : 0x1p900))) return false;
    double E = double(nonZero + 2) * 0x1p-23 * S;
    if (whole && (sdepth == MAT_Tuchar || sdepth == MAT_Tshort) && S < 0x1p24) E = 0;
    if (intDst && gRoute != 2) {
        if (E > 1.0 / 16) return false;
        // About 2 (E + 2^-30 S) of the pixels are recomputed one by one; take the
        // route only while that costs less than the spectrum saves.
        const double share = 2 * (E + 0x1p-30 * S);
        if (share * kFilter2DRecomputeCost > 1.0 - double(kFilter2DIntegerTaps) / double(taps))
            return false;
    }

    DirectPixel direct(src, kernel, anchor, delta, mode, dst.type1());
    if (intDst && !direct.ok()) return false;
    const double margin = E + 0x1p-30 * S;

    Mat tmp;
    Mat* out = &dst;
    if (sharesMemory(src, dst)) {
        tmp.create(dst.rows(), dst.cols(), dst.type1());
        if (tmp.empty()) return false;
        out = &tmp;
    }
    Mat& o = *out;
    const bool done = correlateTiles(
        src, kernel, src.size(), anchor, mode, MAT_Tdouble, true,
        [&](const Rect_<int>& r, int c, const Mat& block) {
            switch (ddepth) {
                case MAT_Tuchar:
                    finishInteger<unsigned char>(o, r, c, block, delta, margin, direct);
                    break;
                case MAT_Tshort:
                    finishInteger<unsigned short>(o, r, c, block, delta, margin, direct);
                    break;
                case MAT_Tfloat:
                    finishFloat<float>(o, r, c, block, delta);
                    break;
                default:
                    finishFloat<double>(o, r, c, block, delta);
                    break;
            }
        });
    if (!done) return false;
    if (out == &tmp) dst = tmp;
    return true;
}

}  // namespace detail
}  // namespace tarvo
