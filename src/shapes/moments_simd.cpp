// Vector kernel of the byte moment tiles. Each lane owns a column and walks the
// tile's rows from the bottom up keeping four running sums, P += v, Q1 += P,
// Q2 += Q1, Q3 += Q2; at the top they hold sum v C(y + k, k) for k = 0..3,
// from which the power sums sum v y^k follow by fixed integer identities, with
// no multiplication per pixel. The column sums are then weighted by x^k across
// lanes. All arithmetic is modulo 2^32 and every true result is below 2^32
// (the largest, m30 and m03, is at most 255 * 32 * 246016), so the sums are
// exact and equal the scalar ones.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "shapes/moments_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "shapes/moments_simd.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
bool MomentTiles(const uint8_t* const*, int, int, bool, uint32_t*) {
    return false;
}
#else
bool MomentTiles(const uint8_t* const* rows, int h, int tiles, bool binary, uint32_t* out) {
    const hn::CappedTag<uint32_t, 16> d;
    const hn::Rebind<uint8_t, decltype(d)> d8;
    const int N = (int)hn::Lanes(d);
    if (32 % N != 0) return false;
    const auto one = hn::Set(d, 1u);
    for (int t = 0; t < tiles; t++) {
        auto m00 = hn::Zero(d), m10 = m00, m01 = m00, m20 = m00, m11 = m00, m02 = m00, m30 = m00,
             m21 = m00, m12 = m00, m03 = m00;
        for (int g = 0; g < 32; g += N) {
            const int off = t * 32 + g;
            auto p = hn::Zero(d), q1 = p, q2 = p, q3 = p;
            for (int y = h - 1; y >= 0; y--) {
                auto v = hn::PromoteTo(d, hn::LoadU(d8, rows[y] + off));
                if (binary) v = hn::Min(v, one);
                p = hn::Add(p, v);
                q1 = hn::Add(q1, p);
                q2 = hn::Add(q2, q1);
                q3 = hn::Add(q3, q2);
            }
            // Power sums of the column: s1 = Q1 - P, s2 = 2 Q2 - 3 Q1 + P,
            // s3 = 6 Q3 - 6 s2 - 11 s1 - 6 P.
            const auto s0 = p;
            const auto s1 = hn::Sub(q1, p);
            const auto s2 = hn::Add(hn::Sub(hn::Add(q2, q2), hn::Mul(q1, hn::Set(d, 3u))), p);
            const auto s3 = hn::Sub(hn::Mul(hn::Sub(hn::Sub(q3, s2), p), hn::Set(d, 6u)),
                                    hn::Mul(s1, hn::Set(d, 11u)));
            const auto x = hn::Add(hn::Iota(d, 0u), hn::Set(d, uint32_t(g)));
            const auto x2 = hn::Mul(x, x), x3 = hn::Mul(x2, x);
            m00 = hn::Add(m00, s0);
            m10 = hn::Add(m10, hn::Mul(x, s0));
            m01 = hn::Add(m01, s1);
            m20 = hn::Add(m20, hn::Mul(x2, s0));
            m11 = hn::Add(m11, hn::Mul(x, s1));
            m02 = hn::Add(m02, s2);
            m30 = hn::Add(m30, hn::Mul(x3, s0));
            m21 = hn::Add(m21, hn::Mul(x2, s1));
            m12 = hn::Add(m12, hn::Mul(x, s2));
            m03 = hn::Add(m03, s3);
        }
        uint32_t* o = out + size_t(t) * 10;
        o[0] = hn::GetLane(hn::SumOfLanes(d, m00));
        o[1] = hn::GetLane(hn::SumOfLanes(d, m10));
        o[2] = hn::GetLane(hn::SumOfLanes(d, m01));
        o[3] = hn::GetLane(hn::SumOfLanes(d, m20));
        o[4] = hn::GetLane(hn::SumOfLanes(d, m11));
        o[5] = hn::GetLane(hn::SumOfLanes(d, m02));
        o[6] = hn::GetLane(hn::SumOfLanes(d, m30));
        o[7] = hn::GetLane(hn::SumOfLanes(d, m21));
        o[8] = hn::GetLane(hn::SumOfLanes(d, m12));
        o[9] = hn::GetLane(hn::SumOfLanes(d, m03));
    }
    return true;
}
#endif

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {
HWY_EXPORT(MomentTiles);

bool vecMomentTiles(const uint8_t* const* rows, int h, int tiles, bool binary, uint32_t* out) {
    return HWY_DYNAMIC_DISPATCH(MomentTiles)(rows, h, tiles, binary, out);
}
}  // namespace detail
}  // namespace tarvo
#endif  // HWY_ONCE
