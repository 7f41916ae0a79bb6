// Vector kernels of the mesh warp: edge functions (or sub-areas), barycentric
// coordinates and source positions of a whole vector of pixels at once, and
// the span kernel that goes on to the bilinear values and the stores.
// Products and sums are separate operations in the scalar code's order (no
// fused multiply-add), so every kernel gives the scalar bytes.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "geometry/mesh_warp_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include <climits>

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
bool Span(const MeshTri&, int, int, int, float, float, const uint8_t*, int, int, int, uint8_t*, int,
          bool, int*, int*) {
    return false;
}
bool Available() {
    return false;
}
#else

// Inside test and source position of the pixels X of row y: the mask of the
// pixels that pass the test and read inside the interpolation area, and their
// source positions (zero off the mask, so that conversions stay in range).
// Per-row parts are formed exactly as the scalar kernel forms them per pixel;
// the broadcasts are loop invariants that the compiler keeps out of loops.
template <class DF>
HWY_INLINE hn::Vec<DF> EdgeTerm(DF df, const MeshTri& t, int k, float Yf, hn::Vec<DF> X) {
    const auto Y = hn::Set(df, Yf);
    return hn::Abs(
        hn::Add(hn::Add(hn::Mul(hn::Set(df, t.A[k]), X), hn::Mul(hn::Set(df, t.B[k]), Y)),
                hn::Set(df, t.C[k])));
}

// The same sub-area in the triangleArea form; its second product is one
// value per row, formed as the scalar code forms it per pixel.
template <class DF>
HWY_INLINE hn::Vec<DF> AreaTerm(DF df, const MeshTri& t, int k, float Yf, hn::Vec<DF> X) {
    const float rowPart = t.hx[k] * (Yf - t.vy[k]);
    return hn::Abs(hn::Add(hn::Mul(hn::Sub(hn::Set(df, t.vx[k]), X), hn::Set(df, t.hy[k])),
                           hn::Set(df, rowPart)));
}

// The inside test alone.
template <bool AREA, class DF>
HWY_INLINE hn::Mask<DF> Inside(DF df, const MeshTri& t, float Yf, hn::Vec<DF> X) {
    hn::Vec<DF> e0, e1, e2;
    if constexpr (AREA) {
        e0 = AreaTerm(df, t, 0, Yf, X);
        e1 = AreaTerm(df, t, 1, Yf, X);
        e2 = AreaTerm(df, t, 2, Yf, X);
    } else {
        e0 = EdgeTerm(df, t, 0, Yf, X);
        e1 = EdgeTerm(df, t, 1, Yf, X);
        e2 = EdgeTerm(df, t, 2, Yf, X);
    }
    return hn::Le(hn::Add(hn::Add(e0, e1), e2), hn::Set(df, t.limit));
}

// The source positions of the pixels of mask `ok` (those that pass the inside
// test): narrows the mask to those that read inside the interpolation area.
template <class DF>
HWY_INLINE hn::Mask<DF> Source(DF df, const MeshTri& t, float Yf, float maxX, float maxY,
                               hn::Vec<DF> X, hn::Mask<DF> ok, hn::Vec<DF>& sxs, hn::Vec<DF>& sys) {
    const auto dy = hn::Set(df, Yf - t.y2);
    const auto dx = hn::Sub(X, hn::Set(df, t.x2));
    const auto dd = hn::Set(df, t.d);
    const auto a =
        hn::Mul(hn::Sub(hn::Mul(hn::Set(df, t.y12), dx), hn::Mul(dy, hn::Set(df, t.x12))), dd);
    const auto b =
        hn::Mul(hn::Sub(hn::Mul(dy, hn::Set(df, t.x02)), hn::Mul(hn::Set(df, t.y02), dx)), dd);
    const auto c = hn::Sub(hn::Sub(hn::Set(df, 1.0f), a), b);
    const auto sx = hn::Add(hn::Add(hn::Mul(a, hn::Set(df, t.sx0)), hn::Mul(b, hn::Set(df, t.sx1))),
                            hn::Mul(c, hn::Set(df, t.sx2)));
    const auto sy = hn::Add(hn::Add(hn::Mul(a, hn::Set(df, t.sy0)), hn::Mul(b, hn::Set(df, t.sy1))),
                            hn::Mul(c, hn::Set(df, t.sy2)));
    const auto zero = hn::Zero(df);
    ok = hn::And(ok, hn::And(hn::Ge(sx, zero), hn::Ge(sy, zero)));
    ok = hn::And(ok, hn::And(hn::Lt(sx, hn::Set(df, maxX)), hn::Lt(sy, hn::Set(df, maxY))));
    sxs = hn::IfThenElseZero(ok, sx);
    sys = hn::IfThenElseZero(ok, sy);
    return ok;
}

template <bool AREA, class DF>
HWY_INLINE hn::Mask<DF> Positions(DF df, const MeshTri& t, float Yf, float maxX, float maxY,
                                  hn::Vec<DF> X, hn::Vec<DF>& sxs, hn::Vec<DF>& sys) {
    return Source(df, t, Yf, maxX, maxY, X, Inside<AREA>(df, t, Yf, X), sxs, sys);
}

int MeshRow(const MeshTri& t, int y, int x0, int x1, float maxX, float maxY, int* ix, int* iy,
            float* fx, float* fy) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const int N = (int)hn::Lanes(df);
    const auto none = hn::Set(di, -1);
    int x = x0;
    for (; x + N <= x1; x += N) {
        hn::Vec<decltype(df)> sxs, sys;
        const auto ok = Positions<false>(df, t, (float)y, maxX, maxY,
                                         hn::ConvertTo(df, hn::Iota(di, x)), sxs, sys);
        const auto i = hn::ConvertTo(di, sxs), j = hn::ConvertTo(di, sys);
        const size_t o = (size_t)(x - t.left);
        hn::StoreU(hn::IfThenElse(hn::RebindMask(di, ok), i, none), di, ix + o);
        hn::StoreU(j, di, iy + o);
        hn::StoreU(hn::Sub(sxs, hn::ConvertTo(df, i)), df, fx + o);
        hn::StoreU(hn::Sub(sys, hn::ConvertTo(df, j)), df, fy + o);
    }
    return x;
}

// The 32-bit words at byte offsets off and off + CN (CN 3 or 4) from one
// 64-bit gather per pixel: the word at off is the gathered word's low half,
// the one at off + CN its bytes from CN on: half as many gathered elements as
// two 32-bit gathers.
template <int CN, class DI>
HWY_INLINE void GatherPair(DI di, const int64_t* base, hn::Vec<DI> off, hn::Vec<DI>& w,
                           hn::Vec<DI>& wr) {
    const hn::Half<DI> dh;
    const hn::Rebind<int64_t, decltype(dh)> d64;
    const hn::RebindToUnsigned<decltype(d64)> du64;
    const hn::Rebind<uint32_t, decltype(d64)> du32;
    const hn::RebindToUnsigned<DI> du;
    const auto qlo =
        hn::BitCast(du64, hn::GatherOffset(d64, base, hn::PromoteTo(d64, hn::LowerHalf(dh, off))));
    const auto qhi =
        hn::BitCast(du64, hn::GatherOffset(d64, base, hn::PromoteTo(d64, hn::UpperHalf(dh, off))));
    w = hn::BitCast(di, hn::Combine(du, hn::TruncateTo(du32, qhi), hn::TruncateTo(du32, qlo)));
    wr = hn::BitCast(di, hn::Combine(du, hn::TruncateTo(du32, hn::ShiftRight<8 * CN>(qhi)),
                                     hn::TruncateTo(du32, hn::ShiftRight<8 * CN>(qlo))));
}

// The fused walk of one row span for CN-channel pixels (CN 1, 3 or 4): inside
// test, source position and bilinear value of a vector of pixels, written
// straight into the destination row. Per pixel, two gathers fetch the base
// pixel with its right-hand neighbour and the pair below: one channel in a
// 32-bit word (the neighbour in byte 1), three or four in a 64-bit one. A
// word passing the end of the image can only start in its last bytes; a
// vector that would read one takes the scalar step instead. Pixels the
// triangle does not write keep their bytes: vectors are merged with the row
// as it stands.
template <int CN, bool AREA>
bool SpanN(const MeshTri& t, int y, int xs, int xe, float maxX, float maxY, const uint8_t* img,
           int stride, int size, uint8_t* out, int cols, int* first, int* last) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::Rebind<uint8_t, decltype(df)> d8;
    const hn::Rebind<int8_t, decltype(df)> di8;
    constexpr int kMax = HWY_MAX_BYTES / 4;
    const int N = (int)hn::Lanes(df);
    const int32_t* base = reinterpret_cast<const int32_t*>(img);
    const int64_t* base64 = reinterpret_cast<const int64_t*>(img);
    const auto st = hn::Set(di, stride), step = hn::Set(di, CN);
    const auto lastWord = hn::Set(di, size - 4), low = hn::Set(di, 0xFF);
    const auto end = hn::Set(di, xe);
    const float Yf = (float)y;
    int fst = INT_MAX, lst = INT_MIN;
    for (int x = xs; x < xe; x += N) {
        const auto xi = hn::Iota(di, x);
        const auto X = hn::ConvertTo(df, xi);
        auto ok = hn::And(Inside<AREA>(df, t, Yf, X), hn::RebindMask(df, hn::Lt(xi, end)));
        if (hn::AllFalse(df, ok)) continue;
        hn::Vec<decltype(df)> sxs, sys;
        ok = Source(df, t, Yf, maxX, maxY, X, ok, sxs, sys);
        if (hn::AllFalse(df, ok)) continue;
        const auto oki = hn::RebindMask(di, ok);
        const auto i = hn::ConvertTo(di, sxs), j = hn::ConvertTo(di, sys);
        const auto a = hn::Sub(sxs, hn::ConvertTo(df, i)), b = hn::Sub(sys, hn::ConvertTo(df, j));
        const auto off = hn::Add(hn::Mul(j, st), hn::Mul(i, step));
        // Lanes not written read at offset 0 (i = j = 0 there), which holds
        // a whole word: the row below could pass the end of a tiny picture.
        const auto offD = hn::IfThenElseZero(oki, hn::Add(off, st));
        // The furthest read: a 32-bit word at offD (one channel), else a
        // 64-bit one.
        const auto furthest = CN == 1 ? offD : hn::Add(offD, hn::Set(di, 4));
        const bool full = hn::AllTrue(df, ok);
        if (fst == INT_MAX) fst = x + (int)hn::FindFirstTrue(df, ok);
        lst = full ? x + N - 1
                   : hn::GetLane(hn::MaxOfLanes(di, hn::IfThenElse(oki, xi, hn::Set(di, -1))));
        if (!hn::AllFalse(di, hn::And(oki, hn::Gt(furthest, lastWord)))) {
            HWY_ALIGN int32_t li[kMax], lj[kMax], lok[kMax];
            HWY_ALIGN float la[kMax], lb[kMax];
            hn::Store(i, di, li);
            hn::Store(j, di, lj);
            hn::Store(hn::VecFromMask(di, oki), di, lok);
            hn::Store(a, df, la);
            hn::Store(b, df, lb);
            for (int k = 0; k < N; k++) {
                if (!lok[k]) continue;
                const uint8_t* r0 = img + (size_t)lj[k] * (size_t)stride + (size_t)li[k] * CN;
                uint8_t* o = out + (size_t)(x + k) * CN;
                for (int c = 0; c < CN; c++)
                    o[c] = meshBilinearPixel(r0 + c, r0 + stride + c, CN, la[k], lb[k]);
            }
            continue;
        }
        hn::Vec<decltype(di)> w0, w1, w0r, w1r;
        if constexpr (CN == 1) {
            w0 = w0r = hn::GatherOffset(di, base, off);
            w1 = w1r = hn::GatherOffset(di, base, offD);
        } else {
            GatherPair<CN>(di, base64, off, w0, w0r);
            GatherPair<CN>(di, base64, offD, w1, w1r);
        }
        const int rs = CN == 1 ? 8 : 0;  // shift of the right-hand pixel in its word
        hn::Vec<decltype(d8)> ch[CN];
        for (int c = 0; c < CN; c++) {
            const auto pb = hn::ConvertTo(df, hn::And(hn::ShiftRightSame(w0, 8 * c), low));
            const auto pr = hn::ConvertTo(df, hn::And(hn::ShiftRightSame(w0r, 8 * c + rs), low));
            const auto pd = hn::ConvertTo(df, hn::And(hn::ShiftRightSame(w1, 8 * c), low));
            const auto prd = hn::ConvertTo(df, hn::And(hn::ShiftRightSame(w1r, 8 * c + rs), low));
            auto v = hn::Add(pb, hn::Mul(hn::Sub(pr, pb), a));
            v = hn::Add(v, hn::Mul(hn::Sub(pd, pb), b));
            v = hn::Add(v, hn::Mul(hn::Mul(hn::Add(hn::Sub(hn::Sub(pb, pr), pd), prd), a), b));
            // Truncation, then the saturating narrowing clamps to 0..255.
            ch[c] = hn::DemoteTo(d8, hn::ConvertTo(di, v));
        }
        uint8_t* o = out + (size_t)x * CN;
        if (x + N <= cols) {
            if (!full) {
                const auto keep =
                    hn::MaskFromVec(hn::BitCast(d8, hn::DemoteTo(di8, hn::VecFromMask(di, oki))));
                hn::Vec<decltype(d8)> old[CN];
                if constexpr (CN == 1)
                    old[0] = hn::LoadU(d8, o);
                else if constexpr (CN == 3)
                    hn::LoadInterleaved3(d8, o, old[0], old[1], old[2]);
                else
                    hn::LoadInterleaved4(d8, o, old[0], old[1], old[2], old[3]);
                for (int c = 0; c < CN; c++) ch[c] = hn::IfThenElse(keep, ch[c], old[c]);
            }
            if constexpr (CN == 1)
                hn::StoreU(ch[0], d8, o);
            else if constexpr (CN == 3)
                hn::StoreInterleaved3(ch[0], ch[1], ch[2], d8, o);
            else
                hn::StoreInterleaved4(ch[0], ch[1], ch[2], ch[3], d8, o);
        } else {
            // The row ends inside this vector: lane by lane.
            HWY_ALIGN uint8_t lv[CN][kMax];
            HWY_ALIGN int32_t lok[kMax];
            for (int c = 0; c < CN; c++) hn::Store(ch[c], d8, lv[c]);
            hn::Store(hn::VecFromMask(di, oki), di, lok);
            for (int k = 0; k < N; k++)
                if (lok[k])
                    for (int c = 0; c < CN; c++) o[(size_t)k * CN + c] = lv[c][k];
        }
    }
    *first = fst;
    *last = lst;
    return true;
}

template <bool AREA>
bool SpanA(const MeshTri& t, int y, int xs, int xe, float maxX, float maxY, const uint8_t* img,
           int stride, int size, int cn, uint8_t* out, int cols, int* first, int* last) {
    if (cn == 1)
        return SpanN<1, AREA>(t, y, xs, xe, maxX, maxY, img, stride, size, out, cols, first, last);
    if (cn == 3)
        return SpanN<3, AREA>(t, y, xs, xe, maxX, maxY, img, stride, size, out, cols, first, last);
    if (cn == 4)
        return SpanN<4, AREA>(t, y, xs, xe, maxX, maxY, img, stride, size, out, cols, first, last);
    return false;
}

bool Span(const MeshTri& t, int y, int xs, int xe, float maxX, float maxY, const uint8_t* img,
          int stride, int size, int cn, uint8_t* out, int cols, bool area, int* first, int* last) {
    if (area)
        return SpanA<true>(t, y, xs, xe, maxX, maxY, img, stride, size, cn, out, cols, first, last);
    return SpanA<false>(t, y, xs, xe, maxX, maxY, img, stride, size, cn, out, cols, first, last);
}

bool Available() {
    return true;
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
HWY_EXPORT(Span);
HWY_EXPORT(Available);

bool meshSpanVector(const MeshTri& t, int y, int xs, int xe, float maxX, float maxY,
                    const uint8_t* img, int stride, int size, int cn, uint8_t* out, int cols,
                    bool area, int* first, int* last) {
    if (size < 8) return false;
    return HWY_DYNAMIC_DISPATCH(Span)(t, y, xs, xe, maxX, maxY, img, stride, size, cn, out, cols,
                                      area, first, last);
}

bool meshSpanAvailable() {
    return HWY_DYNAMIC_DISPATCH(Available)();
}

int meshRowVector(const MeshTri& t, int y, int x0, int x1, float maxX, float maxY, int* ix, int* iy,
                  float* fx, float* fy) {
    return HWY_DYNAMIC_DISPATCH(MeshRow)(t, y, x0, x1, maxX, maxY, ix, iy, fx, fy);
}
}  // namespace detail
}  // namespace tarvo
#endif
