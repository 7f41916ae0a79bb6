// Vector row kernels of the chamfer passes. The terms from a finished row are
// independent per pixel. The chain along the row is a running minimum of
// m[j] + (x - j) w: within a vector it is formed in log2(lanes) steps, each
// taking the minimum with the lanes s to the left (right going backward) plus
// s w, then with the previous vector's last value plus the distance to it.
// Minimum commutes with the saturating addition and saturating additions of
// non-negative weights compose, so every value is the scalar chain's.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "shapes/distance_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include <algorithm>
#include <climits>

#include "shapes/distance_simd.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace ip {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

namespace {

inline int addSatS(int a, int w) {
    return std::min(a, INT_MAX - w) + w;
}

typedef hn::CappedTag<int32_t, 16> DI;

template <class V>
HWY_INLINE V AddSat(DI d, V a, int w) {
    return hn::Add(hn::Min(a, hn::Set(d, INT_MAX - w)), hn::Set(d, w));
}

// One doubling step of the in-vector chain: lanes take the value s lanes
// before (after, when Back) plus s w.
template <bool Back, class V>
HWY_INLINE V ScanStep(DI d, V t, int s, int w) {
    const auto lane = hn::Iota(d, 0);
    const auto from = Back
                          ? hn::Min(hn::Add(lane, hn::Set(d, s)), hn::Set(d, int(hn::Lanes(d)) - 1))
                          : hn::Max(hn::Sub(lane, hn::Set(d, s)), hn::Zero(d));
    const auto ok =
        Back ? hn::Lt(lane, hn::Set(d, int(hn::Lanes(d)) - s)) : hn::Gt(lane, hn::Set(d, s - 1));
    const auto sh = hn::IfThenElse(ok, hn::TableLookupLanes(t, hn::IndicesFromVec(d, from)),
                                   hn::Set(d, INT_MAX));
    return hn::Min(t, AddSat(d, sh, s * w));
}

template <bool Back, class V>
HWY_INLINE V ScanVector(DI d, V t, int w) {
    const int N = (int)hn::Lanes(d);
    for (int s = 1; s < N; s *= 2) t = ScanStep<Back>(d, t, s, w);
    return t;
}

}  // namespace

void ChamferTerms3(const int* r, int n, int hv, int dg, int* m) {
    const DI d;
    const int N = (int)hn::Lanes(d);
    int x = 0;
    for (; x + N <= n; x += N) {
        const auto a = AddSat(d, hn::LoadU(d, r + x - 1), dg);
        const auto b = AddSat(d, hn::LoadU(d, r + x), hv);
        const auto c = AddSat(d, hn::LoadU(d, r + x + 1), dg);
        hn::StoreU(hn::Min(hn::Min(a, b), c), d, m + x);
    }
    for (; x < n; x++)
        m[x] = std::min(std::min(addSatS(r[x - 1], dg), addSatS(r[x], hv)), addSatS(r[x + 1], dg));
}

void ChamferTerms5(const int* r1, const int* r2, int n, int hv, int dg, int kn, int* m) {
    const DI d;
    const int N = (int)hn::Lanes(d);
    int x = 0;
    for (; x + N <= n; x += N) {
        auto a = hn::Min(AddSat(d, hn::LoadU(d, r2 + x - 1), kn),
                         AddSat(d, hn::LoadU(d, r2 + x + 1), kn));
        a = hn::Min(a, hn::Min(AddSat(d, hn::LoadU(d, r1 + x - 2), kn),
                               AddSat(d, hn::LoadU(d, r1 + x + 2), kn)));
        a = hn::Min(a, hn::Min(AddSat(d, hn::LoadU(d, r1 + x - 1), dg),
                               AddSat(d, hn::LoadU(d, r1 + x + 1), dg)));
        hn::StoreU(hn::Min(a, AddSat(d, hn::LoadU(d, r1 + x), hv)), d, m + x);
    }
    for (; x < n; x++) {
        int a = std::min(addSatS(r2[x - 1], kn), addSatS(r2[x + 1], kn));
        a = std::min(a, std::min(addSatS(r1[x - 2], kn), addSatS(r1[x + 2], kn)));
        a = std::min(a, std::min(addSatS(r1[x - 1], dg), addSatS(r1[x + 1], dg)));
        m[x] = std::min(a, addSatS(r1[x], hv));
    }
}

void ChamferScanForward(const int* m, const uint8_t* s, int n, int w, int carry, int* out) {
    const DI d;
    const hn::Rebind<uint8_t, DI> d8;
    const int N = (int)hn::Lanes(d);
    // Lane i lies i + 1 steps after the carry.
    alignas(64) int k[16];
    for (int i = 0; i < N; i++) k[i] = (i + 1) * w;
    const auto steps = hn::LoadU(d, k);
    const auto lim = hn::Sub(hn::Set(d, INT_MAX), steps);
    int x = 0;
    for (; x + N <= n; x += N) {
        const auto sv = hn::PromoteTo(d, hn::LoadU(d8, s + x));
        auto t = hn::IfThenZeroElse(hn::Eq(sv, hn::Zero(d)), hn::LoadU(d, m + x));
        t = ScanVector<false>(d, t, w);
        t = hn::Min(t, hn::Add(hn::Min(hn::Set(d, carry), lim), steps));
        hn::StoreU(t, d, out + x);
        carry = out[x + N - 1];
    }
    for (; x < n; x++) {
        const int v = s[x] ? std::min(addSatS(carry, w), m[x]) : 0;
        out[x] = v;
        carry = v;
    }
}

void ChamferScanBackward(const int* m, const int* fwd, int n, int w, int carry, float scale,
                         int* out, float* dst) {
    const DI d;
    const hn::Rebind<float, DI> df;
    const int N = (int)hn::Lanes(d);
    // Lane i lies N - i steps before the carry.
    alignas(64) int k[16];
    for (int i = 0; i < N; i++) k[i] = (N - i) * w;
    const auto steps = hn::LoadU(d, k);
    const auto lim = hn::Sub(hn::Set(d, INT_MAX), steps);
    const auto sc = hn::Set(df, scale);
    int x = n;
    for (; x - N >= 0; x -= N) {
        auto t = hn::Min(hn::LoadU(d, fwd + x - N), hn::LoadU(d, m + x - N));
        t = ScanVector<true>(d, t, w);
        t = hn::Min(t, hn::Add(hn::Min(hn::Set(d, carry), lim), steps));
        hn::StoreU(t, d, out + x - N);
        hn::StoreU(hn::Mul(hn::ConvertTo(df, t), sc), df, dst + x - N);
        carry = out[x - N];
    }
    for (x = x - 1; x >= 0; x--) {
        const int v = std::min(std::min(fwd[x], m[x]), addSatS(carry, w));
        out[x] = v;
        carry = v;
        dst[x] = float(v) * scale;
    }
}

void ColumnUp(const uint8_t* s, const int* below, int far, int n, int* dy) {
    const DI d;
    const hn::Rebind<uint8_t, DI> d8;
    const int N = (int)hn::Lanes(d);
    int j = 0;
    for (; j + N <= n; j += N) {
        const auto zero = hn::Eq(hn::PromoteTo(d, hn::LoadU(d8, s + j)), hn::Zero(d));
        const auto up = below ? hn::Add(hn::LoadU(d, below + j), hn::Set(d, 1)) : hn::Set(d, far);
        hn::StoreU(hn::IfThenZeroElse(zero, up), d, dy + j);
    }
    for (; j < n; j++) dy[j] = s[j] ? (below ? below[j] + 1 : far) : 0;
}

void ColumnDown(int* dist, const int* dy, int n, int rows, float noFeature, float* o) {
    const DI d;
    const hn::Rebind<float, DI> df;
    const int N = (int)hn::Lanes(d);
    int j = 0;
    for (; j + N <= n; j += N) {
        const auto v =
            hn::Min(hn::Add(hn::LoadU(d, dist + j), hn::Set(d, 1)), hn::LoadU(d, dy + j));
        hn::StoreU(v, d, dist + j);
        const auto sq = hn::ConvertTo(df, hn::Mul(v, v));
        const auto far = hn::RebindMask(df, hn::Gt(v, hn::Set(d, rows - 1)));
        hn::StoreU(hn::IfThenElse(far, hn::Set(df, noFeature), sq), df, o + j);
    }
    for (; j < n; j++) {
        const int v = std::min(dist[j] + 1, dy[j]);
        dist[j] = v;
        o[j] = v < rows ? float(v * v) : noFeature;
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace ip
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace ip {
namespace detail {
HWY_EXPORT(ChamferTerms3);
HWY_EXPORT(ChamferTerms5);
HWY_EXPORT(ChamferScanForward);
HWY_EXPORT(ChamferScanBackward);
HWY_EXPORT(ColumnUp);
HWY_EXPORT(ColumnDown);

void vecChamferTerms3(const int* r, int n, int hv, int dg, int* m) {
    HWY_DYNAMIC_DISPATCH(ChamferTerms3)(r, n, hv, dg, m);
}
void vecChamferTerms5(const int* r1, const int* r2, int n, int hv, int dg, int kn, int* m) {
    HWY_DYNAMIC_DISPATCH(ChamferTerms5)(r1, r2, n, hv, dg, kn, m);
}
void vecChamferScanForward(const int* m, const uint8_t* s, int n, int w, int carry, int* out) {
    HWY_DYNAMIC_DISPATCH(ChamferScanForward)(m, s, n, w, carry, out);
}
void vecChamferScanBackward(const int* m, const int* fwd, int n, int w, int carry, float scale,
                            int* out, float* d) {
    HWY_DYNAMIC_DISPATCH(ChamferScanBackward)(m, fwd, n, w, carry, scale, out, d);
}
void vecColumnUp(const uint8_t* s, const int* below, int far, int n, int* dy) {
    HWY_DYNAMIC_DISPATCH(ColumnUp)(s, below, far, n, dy);
}
void vecColumnDown(int* dist, const int* dy, int n, int rows, float noFeature, float* o) {
    HWY_DYNAMIC_DISPATCH(ColumnDown)(dist, dy, n, rows, noFeature, o);
}
}  // namespace detail
}  // namespace ip
}  // namespace tarvo
#endif  // HWY_ONCE
