// Vector kernel of getBoundRect: running minimum and maximum over the
// interleaved (x, y) ints; exact, so the scalar loop gives the same box.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "shapes/polygons_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "shapes/polygons_simd.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace ip {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

int PointBounds(const Point2_<int>* p, int n, int* mm) {
    const hn::ScalableTag<int32_t> d;
    const int N = (int)hn::Lanes(d);
    const int per = N >= 2 ? N / 2 : 1;  // points per vector
    const int32_t* s = reinterpret_cast<const int32_t*>(p);
    if (N < 2 || n < per) {
        mm[0] = mm[2] = p[0].x;
        mm[1] = mm[3] = p[0].y;
        return 1;
    }
    auto vmin = hn::LoadU(d, s), vmax = vmin;
    int i = per;
    for (; i + per <= n; i += per) {
        const auto v = hn::LoadU(d, s + 2 * i);
        vmin = hn::Min(vmin, v);
        vmax = hn::Max(vmax, v);
    }
    HWY_ALIGN int32_t lo[HWY_MAX_BYTES / 4];
    HWY_ALIGN int32_t hi[HWY_MAX_BYTES / 4];
    hn::Store(vmin, d, lo);
    hn::Store(vmax, d, hi);
    mm[0] = lo[0], mm[1] = lo[1], mm[2] = hi[0], mm[3] = hi[1];
    for (int k = 2; k < N; k += 2) {
        if (lo[k] < mm[0]) mm[0] = lo[k];
        if (lo[k + 1] < mm[1]) mm[1] = lo[k + 1];
        if (hi[k] > mm[2]) mm[2] = hi[k];
        if (hi[k + 1] > mm[3]) mm[3] = hi[k + 1];
    }
    return i;
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
HWY_EXPORT(PointBounds);

int vecPointBounds(const Point2_<int>* p, int n, int* mm) {
    return HWY_DYNAMIC_DISPATCH(PointBounds)(p, n, mm);
}
}  // namespace detail
}  // namespace ip
}  // namespace tarvo
#endif  // HWY_ONCE
