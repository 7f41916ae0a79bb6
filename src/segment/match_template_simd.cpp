// Highway kernel of the normalised template scores on one-channel byte
// images, compiled for every target Highway supports and chosen at run time.
// Lane by lane it performs the scalar loop's operations in the scalar loop's
// order (no fused multiply-add; square root and division correctly rounded),
// so it gives the same bits.
#include "segment/match_template_simd.h"

#include <cstdint>

#include "tarvo/parallel.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "segment/match_template_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

int NormedScoreRowU32(const uint32_t* s0, const uint32_t* s1, const double* q0, const double* q1,
                      float* r, int cols, int tw, bool coeff, bool sqdiff, double tm,
                      double invArea, double templSum2, double normScale, double other) {
    const hn::ScalableTag<double> dd;
    const hn::Rebind<int32_t, decltype(dd)> di;
    const hn::Rebind<float, decltype(dd)> df;
    const int N = (int)hn::Lanes(dd);
    const auto zero = hn::Zero(dd);
    const auto one = hn::Set(dd, 1.0), minusOne = hn::Set(dd, -1.0);
    const auto two = hn::Set(dd, 2.0), k1125 = hn::Set(dd, 1.125);
    const auto vtm = hn::Set(dd, tm), vinv = hn::Set(dd, invArea);
    const auto vts2 = hn::Set(dd, templSum2), vscale = hn::Set(dd, normScale);
    const auto vother = hn::Set(dd, other);
    auto ldi = [&](const uint32_t* p) {
        return hn::LoadU(di, reinterpret_cast<const int32_t*>(p));
    };
    // max(v, 0) as the scalar std::max(v, 0.0) reads: v unless v < 0.
    auto clampLow = [&](decltype(zero) v) { return hn::IfThenElse(hn::Lt(v, zero), zero, v); };
    int x = 0;
    for (; x + N <= cols; x += N) {
        auto num = hn::PromoteTo(dd, hn::LoadU(df, r + x));
        auto wndMean2 = zero;
        if (coeff) {
            // 32-bit wrapping differences, read as signed, as the scalar loop does.
            const auto si = hn::Add(
                hn::Sub(hn::Sub(ldi(s1 + x + tw), ldi(s1 + x)), ldi(s0 + x + tw)), ldi(s0 + x));
            const auto s = hn::PromoteTo(dd, si);
            wndMean2 = hn::Add(wndMean2, hn::Mul(s, s));
            num = hn::Sub(num, hn::Mul(s, vtm));
            wndMean2 = hn::Mul(wndMean2, vinv);
        }
        const auto box = hn::Add(hn::Sub(hn::Sub(hn::LoadU(dd, q1 + x + tw), hn::LoadU(dd, q1 + x)),
                                         hn::LoadU(dd, q0 + x + tw)),
                                 hn::LoadU(dd, q0 + x));
        const auto wndSum2 = hn::Add(zero, box);
        if (sqdiff) num = clampLow(hn::Add(hn::Sub(wndSum2, hn::Mul(two, num)), vts2));
        const auto diff = clampLow(hn::Sub(wndSum2, wndMean2));
        const auto t = hn::Mul(hn::Sqrt(diff), vscale);
        const auto a = hn::Abs(num);
        const auto q = hn::Div(num, t);
        const auto sgn = hn::IfThenElse(hn::Gt(num, zero), one, minusOne);
        const auto v = hn::IfThenElse(hn::Lt(a, t), q,
                                      hn::IfThenElse(hn::Gt(hn::Mul(t, k1125), a), sgn, vother));
        hn::StoreU(hn::DemoteTo(df, v), df, r + x);
    }
    return x;
}

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {

HWY_EXPORT(NormedScoreRowU32);

int normedScoreRowU32(const uint32_t* s0, const uint32_t* s1, const double* q0, const double* q1,
                      float* r, int cols, int tw, bool coeff, bool sqdiff, double tm,
                      double invArea, double templSum2, double normScale, double other) {
    if (!checkHardwareSupport(2)) return 0;
    return HWY_DYNAMIC_DISPATCH(NormedScoreRowU32)(s0, s1, q0, q1, r, cols, tw, coeff, sqdiff, tm,
                                                   invArea, templSum2, normScale, other);
}

}  // namespace detail
}  // namespace tarvo
#endif
