// Vector kernels of the outline image: the first byte of each pixel gathered
// into a plane, the outline value of a run of interior columns, and the
// value spread back over the pixel's colour bytes. The outline value uses the
// same single-precision operations as the scalar table, so the bytes agree.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "photo/sketch_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "photo/photo_internal.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
int PhotoFirstBytes(const uint8_t*, int, uint8_t*, int) {
    return 0;
}
int PhotoEdgeValues(const uint8_t*, const uint8_t*, const uint8_t*, int, float, uint8_t*) {
    return 0;
}
int PhotoSpreadValues(const uint8_t*, const uint8_t*, uint8_t*, int, int) {
    return 0;
}
#else

int PhotoFirstBytes(const uint8_t* src, int cn, uint8_t* plane, int n) {
    const hn::ScalableTag<uint8_t> d;
    const int N = int(hn::Lanes(d));
    int x = 0;
    hn::Vec<decltype(d)> v0, v1, v2, v3;
    switch (cn) {
        case 2:
            for (; x + N <= n; x += N) {
                hn::LoadInterleaved2(d, src + 2 * x, v0, v1);
                hn::StoreU(v0, d, plane + x);
            }
            break;
        case 3:
            for (; x + N <= n; x += N) {
                hn::LoadInterleaved3(d, src + 3 * x, v0, v1, v2);
                hn::StoreU(v0, d, plane + x);
            }
            break;
        case 4:
            for (; x + N <= n; x += N) {
                hn::LoadInterleaved4(d, src + 4 * x, v0, v1, v2, v3);
                hn::StoreU(v0, d, plane + x);
            }
            break;
        default:
            break;
    }
    return x;
}

// out[x] for x in [1, k): the outline value of the four absolute differences
// between c[x] and a[x], b[x], c[x - 1], c[x + 1]. Returns k (at least 1);
// only columns whose right neighbour lies inside the n columns are done.
int PhotoEdgeValues(const uint8_t* a, const uint8_t* c, const uint8_t* b, int n, float gain,
                    uint8_t* out) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::Rebind<uint8_t, decltype(df)> d8;
    const int N = int(hn::Lanes(df));
    const auto g = hn::Set(df, gain);
    const auto top = hn::Set(df, 255.0f), zero = hn::Zero(df);
    const auto three = hn::Set(di, 3);
    int x = 1;
    for (; x + N < n; x += N) {
        const auto vc = hn::PromoteTo(di, hn::LoadU(d8, c + x));
        auto sum = hn::Abs(hn::Sub(vc, hn::PromoteTo(di, hn::LoadU(d8, a + x))));
        sum = hn::Add(sum, hn::Abs(hn::Sub(vc, hn::PromoteTo(di, hn::LoadU(d8, b + x)))));
        sum = hn::Add(sum, hn::Abs(hn::Sub(vc, hn::PromoteTo(di, hn::LoadU(d8, c + x - 1)))));
        sum = hn::Add(sum, hn::Abs(hn::Sub(vc, hn::PromoteTo(di, hn::LoadU(d8, c + x + 1)))));
        // 255 - min(3 s * gain, 255), truncated; clamping the float first is
        // the same as clamping the truncated value, and keeps it in range.
        auto m = hn::Mul(hn::ConvertTo(df, hn::Mul(sum, three)), g);
        m = hn::Min(m, top);
        auto t = hn::Sub(top, m);
        t = hn::Min(hn::Max(t, zero), top);
        hn::StoreU(hn::DemoteTo(d8, hn::ConvertTo(di, t)), d8, out + x);
    }
    return x;
}

// Writes val[x] into the first min(3, cn) bytes of pixel x of dst and copies
// the further bytes from src, for a prefix of the n pixels (cn 2 to 4).
int PhotoSpreadValues(const uint8_t* val, const uint8_t* src, uint8_t* dst, int n, int cn) {
    const hn::ScalableTag<uint8_t> d;
    const int N = int(hn::Lanes(d));
    int x = 0;
    hn::Vec<decltype(d)> v0, v1, v2, v3;
    switch (cn) {
        case 2:
            for (; x + N <= n; x += N) {
                const auto v = hn::LoadU(d, val + x);
                hn::StoreInterleaved2(v, v, d, dst + 2 * x);
            }
            break;
        case 3:
            for (; x + N <= n; x += N) {
                const auto v = hn::LoadU(d, val + x);
                hn::StoreInterleaved3(v, v, v, d, dst + 3 * x);
            }
            break;
        case 4:
            for (; x + N <= n; x += N) {
                const auto v = hn::LoadU(d, val + x);
                hn::LoadInterleaved4(d, src + 4 * x, v0, v1, v2, v3);
                hn::StoreInterleaved4(v, v, v, v3, d, dst + 4 * x);
            }
            break;
        default:
            break;
    }
    return x;
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {
HWY_EXPORT(PhotoFirstBytes);
HWY_EXPORT(PhotoEdgeValues);
HWY_EXPORT(PhotoSpreadValues);

int photoFirstBytes(const uint8_t* src, int cn, uint8_t* plane, int n) {
    return HWY_DYNAMIC_DISPATCH(PhotoFirstBytes)(src, cn, plane, n);
}
int photoEdgeValues(const uint8_t* a, const uint8_t* c, const uint8_t* b, int n, float gain,
                    uint8_t* out) {
    return HWY_DYNAMIC_DISPATCH(PhotoEdgeValues)(a, c, b, n, gain, out);
}
int photoSpreadValues(const uint8_t* val, const uint8_t* src, uint8_t* dst, int n, int cn) {
    return HWY_DYNAMIC_DISPATCH(PhotoSpreadValues)(val, src, dst, n, cn);
}
}  // namespace detail
}  // namespace tarvo
#endif
