// Vector kernel of the mesh warp: edge functions, barycentric coordinates and
// source positions of a whole vector of pixels at once. Products and sums are
// separate operations in the scalar kernel's order (no fused multiply-add),
// so both kernels give the same positions bit for bit.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "geometry/mesh_warp_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "geometry/mesh_warp_internal.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
int MeshRow(const MeshTri&, int, int x0, int, float, float, int*, int*, float*, float*) {
    return x0;
}
int Bilinear(const uint8_t*, int, int, int, const int*, const int*, const float*, const float*, int,
             uint8_t*) {
    return 0;
}
#else

int MeshRow(const MeshTri& t, int y, int x0, int x1, float maxX, float maxY, int* ix, int* iy,
            float* fx, float* fy) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const int N = (int)hn::Lanes(df);
    const float Yf = (float)y;
    const auto Y = hn::Set(df, Yf);
    // Per-row parts are formed exactly as the scalar kernel forms them per pixel.
    const auto A0 = hn::Set(df, t.A[0]), A1 = hn::Set(df, t.A[1]), A2 = hn::Set(df, t.A[2]);
    const auto BY0 = hn::Mul(hn::Set(df, t.B[0]), Y), BY1 = hn::Mul(hn::Set(df, t.B[1]), Y),
               BY2 = hn::Mul(hn::Set(df, t.B[2]), Y);
    const auto C0 = hn::Set(df, t.C[0]), C1 = hn::Set(df, t.C[1]), C2 = hn::Set(df, t.C[2]);
    const auto limit = hn::Set(df, t.limit);
    const auto x2 = hn::Set(df, t.x2), dy = hn::Set(df, Yf - t.y2);
    const auto y12 = hn::Set(df, t.y12), x12 = hn::Set(df, t.x12), x02 = hn::Set(df, t.x02),
               y02 = hn::Set(df, t.y02), dd = hn::Set(df, t.d);
    const auto dyx12 = hn::Mul(dy, x12), dyx02 = hn::Mul(dy, x02);
    const auto s0x = hn::Set(df, t.sx0), s1x = hn::Set(df, t.sx1), s2x = hn::Set(df, t.sx2);
    const auto s0y = hn::Set(df, t.sy0), s1y = hn::Set(df, t.sy1), s2y = hn::Set(df, t.sy2);
    const auto one = hn::Set(df, 1.0f), zero = hn::Zero(df);
    const auto mx = hn::Set(df, maxX), my = hn::Set(df, maxY);
    const auto none = hn::Set(di, -1);
    int x = x0;
    for (; x + N <= x1; x += N) {
        const auto X = hn::ConvertTo(df, hn::Iota(di, x));
        const auto e0 = hn::Abs(hn::Add(hn::Add(hn::Mul(A0, X), BY0), C0));
        const auto e1 = hn::Abs(hn::Add(hn::Add(hn::Mul(A1, X), BY1), C1));
        const auto e2 = hn::Abs(hn::Add(hn::Add(hn::Mul(A2, X), BY2), C2));
        auto ok = hn::Le(hn::Add(hn::Add(e0, e1), e2), limit);
        const auto dx = hn::Sub(X, x2);
        const auto a = hn::Mul(hn::Sub(hn::Mul(y12, dx), dyx12), dd);
        const auto b = hn::Mul(hn::Sub(dyx02, hn::Mul(y02, dx)), dd);
        const auto c = hn::Sub(hn::Sub(one, a), b);
        const auto sx = hn::Add(hn::Add(hn::Mul(a, s0x), hn::Mul(b, s1x)), hn::Mul(c, s2x));
        const auto sy = hn::Add(hn::Add(hn::Mul(a, s0y), hn::Mul(b, s1y)), hn::Mul(c, s2y));
        ok = hn::And(ok, hn::And(hn::Ge(sx, zero), hn::Ge(sy, zero)));
        ok = hn::And(ok, hn::And(hn::Lt(sx, mx), hn::Lt(sy, my)));
        // Off lanes convert 0, never an out-of-range value.
        const auto sxs = hn::IfThenElseZero(ok, sx), sys = hn::IfThenElseZero(ok, sy);
        const auto i = hn::ConvertTo(di, sxs), j = hn::ConvertTo(di, sys);
        const auto oki = hn::RebindMask(di, ok);
        const size_t o = (size_t)(x - t.left);
        hn::StoreU(hn::IfThenElse(oki, i, none), di, ix + o);
        hn::StoreU(j, di, iy + o);
        hn::StoreU(hn::Sub(sxs, hn::ConvertTo(df, i)), df, fx + o);
        hn::StoreU(hn::Sub(sys, hn::ConvertTo(df, j)), df, fy + o);
    }
    return x;
}

// Bilinear values of CN-channel pixels (CN 1, 3 or 4) of one continuous
// image of `size` >= 8 bytes. One 64-bit word read at the base pixel holds
// its channels in bytes 0..CN-1 and those of the right-hand pixel in bytes
// CN..2CN-1; a word that would pass the end of the image is read that many
// bytes earlier and shifted down, so nothing outside is touched. Two gathers
// per pixel instead of one per channel and row. Lanes with ix < 0 read pixel
// 0 and are ignored. Per channel the arithmetic is the scalar expression.
template <int CN>
int BilinearN(const uint8_t* img, int stride, int size, const int* ix, const int* iy,
              const float* fx, const float* fy, int n, uint8_t* vals) {
    const hn::ScalableTag<int64_t> d64;
    const hn::Rebind<int32_t, decltype(d64)> d32;
    const hn::Rebind<float, decltype(d64)> df;
    const hn::Rebind<uint8_t, decltype(d64)> d8;
    const hn::RebindToUnsigned<decltype(d64)> du64;
    const hn::Rebind<uint32_t, decltype(d64)> du32;
    const int N = (int)hn::Lanes(d64);
    const int64_t* base = reinterpret_cast<const int64_t*>(img);
    const auto st = hn::Set(d64, stride), end = hn::Set(d64, int64_t(size) - 8);
    const auto low = hn::Set(d64, 0xFF);
    const auto lo0 = hn::Zero(d32), hi255 = hn::Set(d32, 255);
    const auto zero64 = hn::Zero(d64);
    auto word = [&](decltype(st) off) {
        // back = bytes the word would pass the end by (0 almost always).
        const auto over = hn::Sub(off, end);
        const auto back = hn::IfThenElse(hn::Gt(over, zero64), over, zero64);
        const auto w = hn::GatherOffset(d64, base, hn::Sub(off, back));
        return hn::BitCast(
            d64, hn::Shr(hn::BitCast(du64, w), hn::BitCast(du64, hn::ShiftLeft<3>(back))));
    };
    auto fl = [&](decltype(st) v) {
        return hn::ConvertTo(
            df, hn::BitCast(d32, hn::TruncateTo(du32, hn::BitCast(du64, hn::And(v, low)))));
    };
    int k = 0;
    for (; k + N <= n; k += N) {
        const auto x = hn::PromoteTo(d64, hn::LoadU(d32, ix + k));
        const auto ok = hn::Gt(x, hn::Set(d64, -1));
        const auto y = hn::IfThenElseZero(ok, hn::PromoteTo(d64, hn::LoadU(d32, iy + k)));
        const auto off =
            hn::Add(hn::Mul(y, st), hn::Mul(hn::IfThenElseZero(ok, x), hn::Set(d64, CN)));
        const auto w0 = word(off), w1 = word(hn::Add(off, st));
        const auto a = hn::LoadU(df, fx + k), b = hn::LoadU(df, fy + k);
        hn::Vec<decltype(d8)> ch[CN];
        for (int c = 0; c < CN; c++) {
            const int sh = 8 * c;
            const auto pb = fl(hn::ShiftRightSame(w0, sh));
            const auto pr = fl(hn::ShiftRightSame(w0, sh + 8 * CN));
            const auto pd = fl(hn::ShiftRightSame(w1, sh));
            const auto prd = fl(hn::ShiftRightSame(w1, sh + 8 * CN));
            auto v = hn::Add(pb, hn::Mul(hn::Sub(pr, pb), a));
            v = hn::Add(v, hn::Mul(hn::Sub(pd, pb), b));
            v = hn::Add(v, hn::Mul(hn::Mul(hn::Add(hn::Sub(hn::Sub(pb, pr), pd), prd), a), b));
            ch[c] = hn::DemoteTo(d8, hn::Min(hn::Max(hn::ConvertTo(d32, v), lo0), hi255));
        }
        if constexpr (CN == 1)
            hn::StoreU(ch[0], d8, vals + k);
        else if constexpr (CN == 3)
            hn::StoreInterleaved3(ch[0], ch[1], ch[2], d8, vals + 3 * k);
        else
            hn::StoreInterleaved4(ch[0], ch[1], ch[2], ch[3], d8, vals + 4 * k);
    }
    return k;
}

int Bilinear(const uint8_t* img, int stride, int size, int cn, const int* ix, const int* iy,
             const float* fx, const float* fy, int n, uint8_t* vals) {
    if (cn == 1) return BilinearN<1>(img, stride, size, ix, iy, fx, fy, n, vals);
    if (cn == 3) return BilinearN<3>(img, stride, size, ix, iy, fx, fy, n, vals);
    if (cn == 4) return BilinearN<4>(img, stride, size, ix, iy, fx, fy, n, vals);
    return 0;
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {
HWY_EXPORT(MeshRow);
HWY_EXPORT(Bilinear);

int meshBilinear(const uint8_t* img, int stride, int size, int cn, const int* ix, const int* iy,
                 const float* fx, const float* fy, int n, uint8_t* vals) {
    if (size < 8) return 0;
    return HWY_DYNAMIC_DISPATCH(Bilinear)(img, stride, size, cn, ix, iy, fx, fy, n, vals);
}

int meshRowVector(const MeshTri& t, int y, int x0, int x1, float maxX, float maxY, int* ix, int* iy,
                  float* fx, float* fy) {
    return HWY_DYNAMIC_DISPATCH(MeshRow)(t, y, x0, x1, maxX, maxY, ix, iy, fx, fy);
}
}  // namespace detail
}  // namespace tarvo
#endif
