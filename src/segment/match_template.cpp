// Template matching: the correlation from the spectrum, then the six scores
// from window sums of the integral images.
#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "segment/match_template_simd.h"
#include "tarvo/ip/integral.h"
#include "tarvo/ip/segment.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace ip {

namespace {

// Window sum of channel c over rows [y, y + h) and columns [x, x + w) of an
// integral table; int tables wrap in 32 bits like the table itself.
template <typename S>
inline double windowSum(const Mat& t, int y, int x, int h, int w, int c, int cn) {
    const size_t a = size_t(x) * cn + c, b = size_t(x + w) * cn + c;
    const S* r0 = reinterpret_cast<const S*>(t.data.ptr[y]);
    const S* r1 = reinterpret_cast<const S*>(t.data.ptr[y + h]);
    if constexpr (std::is_same<S, uint32_t>::value)
        return double(int32_t(uint32_t(r1[b] - r1[a] - r0[b] + r0[a])));
    else
        return r1[b] - r1[a] - r0[b] + r0[a];
}

struct ScoreRows : ParallelLoopBody {
    const Mat &sum, &sqsum;
    Mat& result;
    const std::vector<double>& tmean;
    int m, cn, th, tw;
    bool coeff, sqdiff, normed;
    double invArea, templSum2, normScale;
    ScoreRows(const Mat& s, const Mat& q, Mat& r, const std::vector<double>& t)
        : sum(s), sqsum(q), result(r), tmean(t) {}
    void operator()(const Range& range) const override {
        if (sum.type() == MAT_Tint)
            rowsOf<uint32_t>(range);
        else
            rowsOf<double>(range);
    }
    // The same formulas for one channel and a normalised mode, written
    // without calls or early exits so the compiler can run them in vectors.
    template <typename S>
    void oneChannelRow(int y, float* r, int cols) const {
        const S* s0 = reinterpret_cast<const S*>(sum.data.ptr[y]);
        const S* s1 = reinterpret_cast<const S*>(sum.data.ptr[y + th]);
        const double* q0 = reinterpret_cast<const double*>(sqsum.data.ptr[y]);
        const double* q1 = reinterpret_cast<const double*>(sqsum.data.ptr[y + th]);
        const double tm = tmean[0];
        const double other = m == 1 ? 1.0 : 0.0;
        int x0 = 0;
        if constexpr (std::is_same<S, uint32_t>::value)
            x0 = detail::normedScoreRowU32(s0, s1, q0, q1, r, cols, tw, coeff, sqdiff, tm, invArea,
                                           templSum2, normScale, other);
        for (int x = x0; x < cols; x++) {
            double num = r[x], wndMean2 = 0;
            if (coeff) {
                double s;
                if constexpr (std::is_same<S, uint32_t>::value)
                    s = double(int32_t(uint32_t(s1[x + tw] - s1[x] - s0[x + tw] + s0[x])));
                else
                    s = s1[x + tw] - s1[x] - s0[x + tw] + s0[x];
                wndMean2 += s * s;
                num -= s * tm;
                wndMean2 *= invArea;
            }
            const double wndSum2 = 0.0 + (q1[x + tw] - q1[x] - q0[x + tw] + q0[x]);
            if (sqdiff) num = std::max(wndSum2 - 2 * num + templSum2, 0.0);
            const double diff = std::max(wndSum2 - wndMean2, 0.0);
            const double t = std::sqrt(diff) * normScale;
            const double a = std::fabs(num);
            const double q = num / t;
            const double sgn = num > 0 ? 1.0 : -1.0;
            r[x] = float(a < t ? q : (t * 1.125 > a ? sgn : other));
        }
    }
    template <typename S>
    void rowsOf(const Range& range) const {
        const int cols = result.cols();
        for (int y = range.start; y < range.end; y++) {
            float* r = result.ptr<float>(y);
            if (cn == 1 && normed) {
                oneChannelRow<S>(y, r, cols);
                continue;
            }
            for (int x = 0; x < cols; x++) {
                double num = r[x], wndMean2 = 0, wndSum2 = 0;
                if (coeff) {
                    for (int c = 0; c < cn; c++) {
                        const double s = windowSum<S>(sum, y, x, th, tw, c, cn);
                        wndMean2 += s * s;
                        num -= s * tmean[size_t(c)];
                    }
                    wndMean2 *= invArea;
                }
                if (normed || sqdiff)
                    for (int c = 0; c < cn; c++)
                        wndSum2 += windowSum<double>(sqsum, y, x, th, tw, c, cn);
                if (sqdiff) num = std::max(wndSum2 - 2 * num + templSum2, 0.0);
                if (normed) {
                    const double diff = std::max(wndSum2 - wndMean2, 0.0);
                    const double t = std::sqrt(diff) * normScale;
                    if (std::fabs(num) < t)
                        num /= t;
                    else if (t * 1.125 > std::fabs(num))
                        num = num > 0 ? 1.0 : -1.0;
                    else
                        num = m == 1 ? 1.0 : 0.0;
                }
                r[x] = float(num);
            }
        }
    }
};

}  // namespace

void matchTemplate(const Mat& image, const Mat& templ, Mat& result, enTemplateMatchMode mode) {
    const int m = int(mode);
    if (image.empty() || templ.empty() || templ.rows() > image.rows() ||
        templ.cols() > image.cols() || templ.channels() != image.channels()) {
        result.release();
        return;
    }
    const int rows = image.rows() - templ.rows() + 1, cols = image.cols() - templ.cols() + 1;
    Mat img;
    image.sharedTo(img);
    crossCorr(img, templ, result, Size_<int>(cols, rows), MAT_Tfloat, Point2_<int>(0, 0), 0, 0);
    if (result.empty() || result.rows() != rows || result.cols() != cols) {
        result.release();
        return;
    }
    if (m == 2) return;
    const bool coeff = m == 4 || m == 5;
    const bool sqdiff = !(m >= 2 && m <= 5);
    const bool normed = m == 1 || m == 3 || m == 5;
    const int cn = image.channels(), th = templ.rows(), tw = templ.cols();
    const double invArea = 1.0 / (double(th) * tw);

    // Template mean and (population) deviation per channel; squares summed over channels.
    std::vector<double> tmean(static_cast<size_t>(cn), 0.0);
    double mean2 = 0, std2 = 0;
    for (int c = 0; c < cn; c++) {
        double s = 0;
        for (int j = 0; j < th; j++)
            for (int i = 0; i < tw; i++) s += templ.value(j, i, c);
        const double mu = s * invArea;
        double v = 0;
        for (int j = 0; j < th; j++)
            for (int i = 0; i < tw; i++) {
                const double d = templ.value(j, i, c) - mu;
                v += d * d;
            }
        tmean[size_t(c)] = mu;
        mean2 += mu * mu;
        std2 += v * invArea;
    }
    Mat sum, sqsum;
    if (m == 4) {
        integralImage(img, sum);
    } else {
        integralImage(img, sum, sqsum);
        if (m == 5 && std2 < 2.220446049250313e-16) {
            result = 1.0;
            return;
        }
    }
    if (sum.empty() || (m != 4 && sqsum.empty())) return;
    if (sum.type() != MAT_Tint && sum.type() != MAT_Tdouble) return;
    const double templSum2 = (mean2 + std2) / invArea;
    const double normScale =
        coeff ? std::sqrt(std2) / std::sqrt(invArea) : std::sqrt(mean2 + std2) / std::sqrt(invArea);
    if (!coeff) std::fill(tmean.begin(), tmean.end(), 0.0);

    // Rows are independent; stripes of rows through the parallel loop.
    ScoreRows body(sum, sqsum, result, tmean);
    body.m = m, body.cn = cn, body.th = th, body.tw = tw;
    body.coeff = coeff, body.sqdiff = sqdiff, body.normed = normed;
    body.invArea = invArea, body.templSum2 = templSum2, body.normScale = normScale;
    parallel_for_(Range(0, rows), body, double(rows) * cols / 65536.0);
}

}  // namespace ip
}  // namespace tarvo
