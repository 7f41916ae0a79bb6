// Vector kernels of the warps, of remap's linear byte routine and of the
// resampling passes of the transformation operators.
//
// Positions come from the scalar running sums (or the maps) and are converted
// lane by lane with the scalar rules. Byte sums are exact integers, so any
// grouping gives the scalar value; float sums keep the scalar order of
// operations term by term (one lane per output), so every lane is the scalar
// value too. Samples are gathered: a 32-bit gather at a pixel's byte address
// brings its channels (and, for one or two channels, its right neighbour's).
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "geometry/warp_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "geometry/warp_internal.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using DI = hn::ScalableTag<int32_t>;
using DF = hn::Rebind<float, DI>;
using D8 = hn::Rebind<uint8_t, DI>;
using D16 = hn::Rebind<int16_t, DI>;
using DU16 = hn::Rebind<uint16_t, DI>;
using VI = hn::Vec<DI>;
using VF = hn::Vec<DF>;

// Scalar finish of a perspective pixel, as the reference loop does it.
inline void perspectivePixel8u(const ByteImage& s, float X, float Y, float Wt, uint8_t* d) {
    const float w = Wt != 0.0f ? 1.0f / Wt : 0.0f;
    const float xf = X * w * 1024.0f, yf = Y * w * 1024.0f;
    const float limX = float((s.cols - 1) * 1024), limY = float((s.rows - 1) * 1024);
    if (!(xf >= 0.0f && xf < limX && yf >= 0.0f && yf < limY)) return;
    const int x = int(xf), y = int(yf), cn = s.cn;
    const int ix = x >> 10, iy = y >> 10, fx = x & 1023, fy = y & 1023;
    const uint8_t* r0 = s.base + (long long)iy * s.pitch + ix * cn;
    const uint8_t* r1 = r0 + s.pitch;
    for (int k = 0; k < cn; k++)
        d[k] = (uint8_t)bilinear10(r0[k], r0[k + cn], r1[k], r1[k + cn], fx, fy);
}

// The four 20-bit bilinear weights of 10-bit fractions. The scalar formula
// expands to exactly these products, and no sum leaves 32 bits.
struct Weights10 {
    VI w00, w01, w10, w11;
};

inline Weights10 weights10(VI fx, VI fy) {
    const DI di;
    const VI k1024 = hn::Set(di, 1024);
    const VI w11 = hn::Mul(fx, fy);
    return {hn::Mul(hn::Sub(k1024, fx), hn::Sub(k1024, fy)), hn::Sub(hn::Mul(fx, k1024), w11),
            hn::Sub(hn::Mul(fy, k1024), w11), w11};
}

// Byte k of every lane.
inline VI byteOf(VI v, int k) {
    const DI di;
    return hn::And(hn::ShiftRightSame(v, 8 * k), hn::Set(di, 255));
}

// Gathered samples of a 2 x 2 neighbourhood: g0 / g0b hold the top row's
// left / right pixel (for one or two channels both sit in g0), g1 / g1b the
// bottom row's.
struct Quad {
    VI g0, g0b, g1, g1b;
};

inline Quad gatherQuad(const uint8_t* base, VI off, int32_t pitch, int cn) {
    const DI di;
    const int32_t* b = reinterpret_cast<const int32_t*>(base);
    const VI below = hn::Add(off, hn::Set(di, pitch));
    Quad q;
    q.g0 = hn::GatherOffset(di, b, off);
    q.g1 = hn::GatherOffset(di, b, below);
    if (cn >= 3) {
        q.g0b = hn::GatherOffset(di, b, hn::Add(off, hn::Set(di, cn)));
        q.g1b = hn::GatherOffset(di, b, hn::Add(below, hn::Set(di, cn)));
    } else {
        q.g0b = q.g0;
        q.g1b = q.g1;
    }
    return q;
}

// Samples p00, p01, p10, p11 of channel k.
inline void samplesOf(const Quad& q, int cn, int k, VI& p00, VI& p01, VI& p10, VI& p11) {
    p00 = byteOf(q.g0, k);
    p10 = byteOf(q.g1, k);
    if (cn >= 3) {
        p01 = byteOf(q.g0b, k);
        p11 = byteOf(q.g1b, k);
    } else {
        p01 = byteOf(q.g0, k + cn);
        p11 = byteOf(q.g1, k + cn);
    }
}

inline VI bilinear10Vec(const Quad& q, const Weights10& w, int cn, int k) {
    const DI di;
    VI p00, p01, p10, p11;
    samplesOf(q, cn, k, p00, p01, p10, p11);
    const VI s = hn::Add(hn::Add(hn::Mul(p00, w.w00), hn::Mul(p01, w.w01)),
                         hn::Add(hn::Mul(p10, w.w10), hn::Mul(p11, w.w11)));
    return hn::Min(hn::ShiftRight<20>(s), hn::Set(di, 255));
}

#if HWY_ARCH_X86 && HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
// The one-channel bilinear as two pairwise 16-bit products and one blend of
// the rows: top = p00 (1024 - fx) + p01 fx, bottom likewise, then
// top (1024 - fy) + bottom fy, the same integer sum as bilinear10 (at most
// 255 << 20, so no clamp is needed). The 16-bit pair products are the x86
// pairwise multiply-add, whose lane pairing is fixed there.
inline VI bilinearGrey(const uint8_t* base, VI off, int32_t pitch, VI fx, VI fy) {
    const DI di;
    const hn::Repartition<uint8_t, DI> du8;
    const hn::Repartition<int16_t, DI> di16;
    const int32_t* b = reinterpret_cast<const int32_t*>(base);
    // Bytes 0 and 1 of each lane widened to two 16-bit halves.
    const VI pick =
        hn::Add(hn::Mul(hn::And(hn::Iota(di, 0), hn::Set(di, 3)), hn::Set(di, 0x00040004)),
                hn::Set(di, int32_t(0x80018000u)));
    const auto idx = hn::BitCast(du8, pick);
    const VI g0 = hn::GatherOffset(di, b, off);
    const VI g1 = hn::GatherOffset(di, b, hn::Add(off, hn::Set(di, pitch)));
    const auto p0 = hn::BitCast(di16, hn::TableLookupBytesOr0(hn::BitCast(du8, g0), idx));
    const auto p1 = hn::BitCast(di16, hn::TableLookupBytesOr0(hn::BitCast(du8, g1), idx));
    const auto wx =
        hn::BitCast(di16, hn::Or(hn::Sub(hn::Set(di, 1024), fx), hn::ShiftLeft<16>(fx)));
    VI unused = hn::Zero(di);
    const VI top = hn::ReorderWidenMulAccumulate(di, p0, wx, hn::Zero(di), unused);
    const VI bottom = hn::ReorderWidenMulAccumulate(di, p1, wx, hn::Zero(di), unused);
    const VI v = hn::Add(hn::ShiftLeft<10>(top), hn::Mul(hn::Sub(bottom, top), fy));
    return hn::ShiftRight<20>(v);
}
#endif

// Stores channel vectors c0..c3 (cn of them) interleaved as bytes.
inline void storeBytes(VI c0, VI c1, VI c2, VI c3, int cn, uint8_t* d) {
    const D8 d8;
    const auto b0 = hn::DemoteTo(d8, c0);
    if (cn == 1) {
        hn::StoreU(b0, d8, d);
    } else if (cn == 2) {
        hn::StoreInterleaved2(b0, hn::DemoteTo(d8, c1), d8, d);
    } else if (cn == 3) {
        hn::StoreInterleaved3(b0, hn::DemoteTo(d8, c1), hn::DemoteTo(d8, c2), d8, d);
    } else {
        hn::StoreInterleaved4(b0, hn::DemoteTo(d8, c1), hn::DemoteTo(d8, c2), hn::DemoteTo(d8, c3),
                              d8, d);
    }
}

// Loads cn interleaved byte channels as int32 lanes.
inline void loadBytes(const uint8_t* p, int cn, VI& c0, VI& c1, VI& c2, VI& c3) {
    const DI di;
    const D8 d8;
    hn::Vec<D8> b0, b1, b2, b3;
    if (cn == 1) {
        b0 = hn::LoadU(d8, p);
        b1 = b2 = b3 = b0;
    } else if (cn == 2) {
        hn::LoadInterleaved2(d8, p, b0, b1);
        b2 = b3 = b0;
    } else if (cn == 3) {
        hn::LoadInterleaved3(d8, p, b0, b1, b2);
        b3 = b0;
    } else {
        hn::LoadInterleaved4(d8, p, b0, b1, b2, b3);
    }
    c0 = hn::PromoteTo(di, b0);
    c1 = hn::PromoteTo(di, b1);
    c2 = hn::PromoteTo(di, b2);
    c3 = hn::PromoteTo(di, b3);
}

// The largest first-sample offset whose gathers stay within `readable` (-1: none).
inline int32_t safeOffset(const ByteImage& s) {
    const long long extra = (long long)s.pitch + (s.cn >= 3 ? s.cn : 0) + 3;
    const long long m = (long long)s.readable - 1 - extra;
    return m < -1 ? -1 : int32_t(m);
}

// Fixed-point position of float lanes along an axis of n >= 2 samples.
inline VI fixedVec(VF v, int n) {
    const DI di;
    const DF df;
    const VI in = hn::ConvertTo(di, hn::Mul(v, hn::Set(df, 1024.0f)));
    const auto high = hn::RebindMask(di, hn::Gt(v, hn::Set(df, float(n - 2))));
    const auto pos = hn::RebindMask(di, hn::Ge(v, hn::Zero(df)));
    return hn::IfThenElse(high, hn::Set(di, (n - 1) * 1024 - 1024), hn::IfThenElseZero(pos, in));
}

// The running float sum s, s + a, (s + a) + a, ... of the scalar loops, a
// vector of lanes at a time and bit for bit. Inside one binade the floats are
// evenly spaced by u, so adding a (not a half multiple of u) moves a value by
// round(a / u) steps of u, the same count every time: while a group of sums
// stays strictly inside the binade, sum k has the bit pattern of the first
// plus k times that count. Groups that leave the binade, cross zero, meet a
// tie or a non-finite value are summed one by one.
class RunningSum {
public:
    RunningSum(float s, float a) : s_(s), a_(a) {}

    // The next Lanes(df) sums; the state moves past them.
    VF next() {
        const DF df;
        const DI di;
        const int N = int(hn::Lanes(df));
        uint32_t b;
        std::memcpy(&b, &s_, 4);
        const uint32_t m = b & 0x7FFFFFFFu;
        const int e = int(m >> 23);
        if (e != 0 && e != 255) {
            if (e != e_) {
                e_ = e;
                stepOk_ = stepFor(e, step_);
            }
            const int64_t d = (b >> 31) ? -int64_t(step_) : int64_t(step_);
            if (stepOk_ && inside(int64_t(m) + d, e) && inside(int64_t(m) + N * d, e)) {
                const VI bits = hn::Add(hn::Set(di, int32_t(b)),
                                        hn::Mul(hn::Iota(di, 0), hn::Set(di, int32_t(d))));
                const uint32_t nb = uint32_t(int64_t(b) + N * d);
                std::memcpy(&s_, &nb, 4);
                return hn::BitCast(df, bits);
            }
        }
        HWY_ALIGN float t[hn::MaxLanes(df)];
        for (int i = 0; i < N; i++) {
            t[i] = s_;
            s_ += a_;
        }
        return hn::Load(df, t);
    }
    // The next single sum.
    float nextOne() {
        const float v = s_;
        s_ += a_;
        return v;
    }

private:
    static bool inside(int64_t m, int e) { return (m >> 23) == e && (m & 0x7FFFFF) != 0; }
    // round(a / u) for the binade of exponent field e; false on a tie or a
    // step too large to matter.
    bool stepFor(int e, int32_t& step) const {
        if (!(std::fabs(a_) <= 3.0e38f)) return false;
        const double t = std::ldexp(double(a_), 150 - e);  // a / u, exact
        if (!(std::fabs(t) < 16777216.0)) return false;
        const double f = std::floor(t);
        if (t - f == 0.5) return false;
        step = int32_t(t - f < 0.5 ? f : f + 1.0);
        return true;
    }

    float s_, a_;
    int e_ = -1;
    int32_t step_ = 0;
    bool stepOk_ = false;
};

template <int CN>
void affineRow8u(const ByteImage& s, float sx0, float sy0, float ax, float ay, uint8_t* dst,
                 int n) {
    const DI di;
    const int N = int(hn::Lanes(di)), cn = CN;
    RunningSum gx(sx0, ax), gy(sy0, ay);
    const VI safe = hn::Set(di, safeOffset(s) + 1), vp = hn::Set(di, s.pitch),
             vcn = hn::Set(di, cn);
    const VI m1023 = hn::Set(di, 1023);
    int j = 0;
    for (; j + N <= n; j += N) {
        const VF vx = gx.next(), vy = gy.next();
        const VI x = fixedVec(vx, s.cols);
        const VI y = fixedVec(vy, s.rows);
        const VI off =
            hn::Add(hn::Mul(hn::ShiftRight<10>(y), vp), hn::Mul(hn::ShiftRight<10>(x), vcn));
        uint8_t* d = dst + size_t(j) * cn;
        if (!hn::AllTrue(di, hn::Lt(off, safe))) {
            const DF df;
            HWY_ALIGN float px[hn::MaxLanes(df)], py[hn::MaxLanes(df)];
            hn::Store(vx, df, px);
            hn::Store(vy, df, py);
            for (int e = 0; e < N; e++) warpPixel8u(s, px[e], py[e], d + e * cn);
            continue;
        }
#if HWY_ARCH_X86 && HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
        if constexpr (CN == 1) {
            const VI v = bilinearGrey(s.base, off, s.pitch, hn::And(x, m1023), hn::And(y, m1023));
            storeBytes(v, v, v, v, 1, d);
            continue;
        }
#endif
        const Weights10 w = weights10(hn::And(x, m1023), hn::And(y, m1023));
        const Quad q = gatherQuad(s.base, off, s.pitch, cn);
        const VI c0 = bilinear10Vec(q, w, cn, 0);
        const VI c1 = cn > 1 ? bilinear10Vec(q, w, cn, 1) : c0;
        const VI c2 = cn > 2 ? bilinear10Vec(q, w, cn, 2) : c0;
        const VI c3 = cn > 3 ? bilinear10Vec(q, w, cn, 3) : c0;
        storeBytes(c0, c1, c2, c3, cn, d);
    }
    for (; j < n; j++) {
        const float x = gx.nextOne(), y = gy.nextOne();
        warpPixel8u(s, x, y, dst + size_t(j) * cn);
    }
}

void WarpAffineRow8u(const ByteImage& s, float sx0, float sy0, float ax, float ay, uint8_t* dst,
                     int n) {
    switch (s.cn) {
        case 1:
            return affineRow8u<1>(s, sx0, sy0, ax, ay, dst, n);
        case 2:
            return affineRow8u<2>(s, sx0, sy0, ax, ay, dst, n);
        case 3:
            return affineRow8u<3>(s, sx0, sy0, ax, ay, dst, n);
        default:
            return affineRow8u<4>(s, sx0, sy0, ax, ay, dst, n);
    }
}

// Float position clamped to 0 .. n - 1 (NaN to 0): taps and fraction.
inline void floatPosVec(VF v, int n, VI& i0, VI& i1, VF& f) {
    const DI di;
    const DF df;
    const VF top = hn::Set(df, float(n - 1));
    const VF c = hn::Min(hn::IfThenElseZero(hn::Gt(v, hn::Zero(df)), v), top);
    i0 = hn::ConvertTo(di, c);
    i1 = hn::Min(hn::Add(i0, hn::Set(di, 1)), hn::Set(di, n - 1));
    f = hn::Sub(c, hn::ConvertTo(df, i0));
}

inline void floatPixel(const float* base, int32_t pitch, int cols, int rows, int cn, float sx,
                       float sy, float* d) {
    auto pos = [](float s, int n, int& i0, int& i1, float& f) {
        const float c = !(s > 0.0f) ? 0.0f : s > float(n - 1) ? float(n - 1) : s;
        i0 = int(c);
        i1 = i0 + 1 < n - 1 ? i0 + 1 : n - 1;
        f = c - float(i0);
    };
    int x0, x1, y0, y1;
    float fx, fy;
    pos(sx, cols, x0, x1, fx);
    pos(sy, rows, y0, y1, fy);
    const float* r0 = base + (long long)y0 * pitch;
    const float* r1 = base + (long long)y1 * pitch;
    for (int k = 0; k < cn; k++) {
        const float a = r0[x0 * cn + k], b = r0[x1 * cn + k];
        const float c = r1[x0 * cn + k], e = r1[x1 * cn + k];
        const float t = a + (b - a) * fx, u = c + (e - c) * fx;
        d[k] = t + (u - t) * fy;
    }
}

void WarpAffineRow32f(const float* base, int32_t pitch, int cols, int rows, int cn, float sx0,
                      float sy0, float ax, float ay, float* dst, int n) {
    const DI di;
    const DF df;
    const int N = int(hn::Lanes(di));
    const VI vp = hn::Set(di, pitch), vcn = hn::Set(di, cn);
    RunningSum gx(sx0, ax), gy(sy0, ay);
    int j = 0;
    for (; j + N <= n; j += N) {
        VI x0, x1, y0, y1;
        VF fx, fy;
        floatPosVec(gx.next(), cols, x0, x1, fx);
        floatPosVec(gy.next(), rows, y0, y1, fy);
        const VI r0 = hn::Mul(y0, vp), r1 = hn::Mul(y1, vp);
        const VI c0 = hn::Mul(x0, vcn), c1 = hn::Mul(x1, vcn);
        const VI i00 = hn::Add(r0, c0), i01 = hn::Add(r0, c1);
        const VI i10 = hn::Add(r1, c0), i11 = hn::Add(r1, c1);
        auto channel = [&](int k) {
            const VI kk = hn::Set(di, k);
            const VF a = hn::GatherIndex(df, base, hn::Add(i00, kk));
            const VF b = hn::GatherIndex(df, base, hn::Add(i01, kk));
            const VF c = hn::GatherIndex(df, base, hn::Add(i10, kk));
            const VF e = hn::GatherIndex(df, base, hn::Add(i11, kk));
            const VF t = hn::Add(a, hn::Mul(hn::Sub(b, a), fx));
            const VF u = hn::Add(c, hn::Mul(hn::Sub(e, c), fx));
            return hn::Add(t, hn::Mul(hn::Sub(u, t), fy));
        };
        float* d = dst + size_t(j) * cn;
        const VF v0 = channel(0);
        if (cn == 1) {
            hn::StoreU(v0, df, d);
        } else if (cn == 2) {
            hn::StoreInterleaved2(v0, channel(1), df, d);
        } else if (cn == 3) {
            const VF v1 = channel(1);
            hn::StoreInterleaved3(v0, v1, channel(2), df, d);
        } else {
            const VF v1 = channel(1), v2 = channel(2);
            hn::StoreInterleaved4(v0, v1, v2, channel(3), df, d);
        }
    }
    for (; j < n; j++) {
        const float x = gx.nextOne(), y = gy.nextOne();
        floatPixel(base, pitch, cols, rows, cn, x, y, dst + size_t(j) * cn);
    }
}

void WarpPerspectiveRow8u(const ByteImage& s, const float* X, const float* Y, const float* W,
                          uint8_t* dst, int n) {
    const DI di;
    const DF df;
    const int N = int(hn::Lanes(di)), cn = s.cn;
    const VF limX = hn::Set(df, float((s.cols - 1) * 1024));
    const VF limY = hn::Set(df, float((s.rows - 1) * 1024));
    const VF one = hn::Set(df, 1.0f), k1024 = hn::Set(df, 1024.0f), zf = hn::Zero(df);
    const VI safe = hn::Set(di, safeOffset(s) + 1), vp = hn::Set(di, s.pitch),
             vcn = hn::Set(di, cn);
    const VI m1023 = hn::Set(di, 1023);
    int j = 0;
    for (; j + N <= n; j += N) {
        const VF wt = hn::LoadU(df, W + j);
        const VF w = hn::IfThenElseZero(hn::Ne(wt, zf), hn::Div(one, wt));
        const VF xf = hn::Mul(hn::Mul(hn::LoadU(df, X + j), w), k1024);
        const VF yf = hn::Mul(hn::Mul(hn::LoadU(df, Y + j), w), k1024);
        const auto inF = hn::And(hn::And(hn::Ge(xf, zf), hn::Lt(xf, limX)),
                                 hn::And(hn::Ge(yf, zf), hn::Lt(yf, limY)));
        const auto in = hn::RebindMask(di, inF);
        if (hn::AllFalse(di, in)) continue;
        const VI x = hn::IfThenElseZero(in, hn::ConvertTo(di, xf));
        const VI y = hn::IfThenElseZero(in, hn::ConvertTo(di, yf));
        const VI off =
            hn::Add(hn::Mul(hn::ShiftRight<10>(y), vp), hn::Mul(hn::ShiftRight<10>(x), vcn));
        uint8_t* d = dst + size_t(j) * cn;
        if (!hn::AllTrue(di, hn::Lt(off, safe))) {
            for (int e = 0; e < N; e++)
                perspectivePixel8u(s, X[j + e], Y[j + e], W[j + e], d + e * cn);
            continue;
        }
        const Weights10 wt10 = weights10(hn::And(x, m1023), hn::And(y, m1023));
        const Quad q = gatherQuad(s.base, off, s.pitch, cn);
        VI c0 = bilinear10Vec(q, wt10, cn, 0);
        VI c1 = cn > 1 ? bilinear10Vec(q, wt10, cn, 1) : c0;
        VI c2 = cn > 2 ? bilinear10Vec(q, wt10, cn, 2) : c0;
        VI c3 = cn > 3 ? bilinear10Vec(q, wt10, cn, 3) : c0;
        if (!hn::AllTrue(di, in)) {
            // Pixels outside keep what the destination holds.
            VI o0, o1, o2, o3;
            loadBytes(d, cn, o0, o1, o2, o3);
            c0 = hn::IfThenElse(in, c0, o0);
            c1 = hn::IfThenElse(in, c1, o1);
            c2 = hn::IfThenElse(in, c2, o2);
            c3 = hn::IfThenElse(in, c3, o3);
        }
        storeBytes(c0, c1, c2, c3, cn, d);
    }
    for (; j < n; j++) perspectivePixel8u(s, X[j], Y[j], W[j], dst + size_t(j) * cn);
}

// One tap row of the edge path: bytes at the clamped positions (yc, xc),
// channel k of each lane, or the fill value where the tap lies outside.
template <int CN>
inline VI edgeSample(const uint8_t* base, VI off, hn::Mask<DI> valid, int k, VI fillK) {
    const DI di;
    const VI g = hn::GatherOffset(di, reinterpret_cast<const int32_t*>(base), off);
    return hn::IfThenElse(valid, byteOf(g, k), fillK);
}

template <int CN>
int remapLinear8u(const ByteImage& s, const short* xy, const unsigned short* a,
                  const uint32_t* packed, int edge, const uint8_t* fill, uint8_t* dst, int n) {
    const DI di;
    const D16 d16;
    const DU16 du16;
    const int N = int(hn::Lanes(di)), cn = CN;
    const VI safe = hn::Set(di, safeOffset(s) + 1), vp = hn::Set(di, s.pitch),
             vcn = hn::Set(di, cn);
    // Edge taps read four bytes at any pixel: offsets must stay below this.
    const VI safe1 = hn::Set(di, s.readable - 3);
    const VI endX = hn::Set(di, s.cols - 1), endY = hn::Set(di, s.rows - 1), zero = hn::Zero(di);
    const VI minus1 = hn::Set(di, -1), one = hn::Set(di, 1);
    const VI m1023 = hn::Set(di, 1023), mlow = hn::Set(di, 0xFFFF), half = hn::Set(di, 1 << 14);
    const VI m255 = hn::Set(di, 255);
    VI fills[4];
    for (int k = 0; k < 4; k++) fills[k] = hn::Set(di, fill && k < cn ? int32_t(fill[k]) : 0);
    const int32_t* tab = reinterpret_cast<const int32_t*>(packed);
    int j = 0;
    for (; j + N <= n; j += N) {
        hn::Vec<D16> vx, vy;
        hn::LoadInterleaved2(d16, xy + 2 * j, vx, vy);
        const VI x = hn::PromoteTo(di, vx), y = hn::PromoteTo(di, vy);
        const auto in = hn::And(hn::And(hn::Gt(x, minus1), hn::Lt(x, endX)),
                                hn::And(hn::Gt(y, minus1), hn::Lt(y, endY)));
        const bool allIn = hn::AllTrue(di, in);
        if (!allIn && edge == 0) break;
        const VI off = hn::Add(hn::Mul(y, vp), hn::Mul(x, vcn));
        if (allIn && !hn::AllTrue(di, hn::Lt(off, safe))) break;
        const VI code = a ? hn::And(hn::PromoteTo(di, hn::LoadU(du16, a + j)), m1023) : zero;
        const VI i2 = hn::Add(code, code);
        const VI wa = hn::GatherIndex(di, tab, i2);
        const VI wb = hn::GatherIndex(di, tab, hn::Add(i2, one));
        const VI w0 = hn::And(wa, mlow), w1 = hn::And(hn::ShiftRight<16>(wa), mlow);
        const VI w2 = hn::And(wb, mlow), w3 = hn::And(hn::ShiftRight<16>(wb), mlow);
        auto finish = [&](VI sum) {
            return hn::Max(hn::Min(hn::ShiftRight<15>(hn::Add(sum, half)), m255), zero);
        };
        VI c[4];
        if (allIn) {
            const Quad q = gatherQuad(s.base, off, s.pitch, cn);
            for (int k = 0; k < cn; k++) {
                VI p00, p01, p10, p11;
                samplesOf(q, cn, k, p00, p01, p10, p11);
                c[k] = finish(hn::Add(hn::Add(hn::Mul(w0, p00), hn::Mul(w1, p01)),
                                      hn::Add(hn::Mul(w2, p10), hn::Mul(w3, p11))));
            }
        } else {
            // Taps outside read the fill value (edge 1) or the nearest edge
            // pixel (edge 2); each tap is gathered at its clamped position.
            const VI x1 = hn::Add(x, one), y1 = hn::Add(y, one);
            auto clampTo = [&](VI v, VI end) { return hn::Min(hn::Max(v, zero), end); };
            auto validIn = [&](VI v, VI end) {
                return hn::And(hn::Gt(v, minus1), hn::Not(hn::Gt(v, end)));
            };
            const VI cx0 = hn::Mul(clampTo(x, endX), vcn), cx1 = hn::Mul(clampTo(x1, endX), vcn);
            const VI ry0 = hn::Mul(clampTo(y, endY), vp), ry1 = hn::Mul(clampTo(y1, endY), vp);
            const VI o00 = hn::Add(ry0, cx0), o01 = hn::Add(ry0, cx1);
            const VI o10 = hn::Add(ry1, cx0), o11 = hn::Add(ry1, cx1);
            if (!hn::AllTrue(di, hn::Lt(hn::Max(hn::Max(o00, o01), hn::Max(o10, o11)), safe1)))
                break;
            auto all = hn::Eq(zero, zero);
            const auto vx0 = edge == 1 ? validIn(x, endX) : all;
            const auto vx1 = edge == 1 ? validIn(x1, endX) : all;
            const auto vy0 = edge == 1 ? validIn(y, endY) : all;
            const auto vy1 = edge == 1 ? validIn(y1, endY) : all;
            const auto v00 = hn::And(vy0, vx0), v01 = hn::And(vy0, vx1);
            const auto v10 = hn::And(vy1, vx0), v11 = hn::And(vy1, vx1);
            const VI g00 = hn::GatherOffset(di, reinterpret_cast<const int32_t*>(s.base), o00);
            const VI g01 = hn::GatherOffset(di, reinterpret_cast<const int32_t*>(s.base), o01);
            const VI g10 = hn::GatherOffset(di, reinterpret_cast<const int32_t*>(s.base), o10);
            const VI g11 = hn::GatherOffset(di, reinterpret_cast<const int32_t*>(s.base), o11);
            for (int k = 0; k < cn; k++) {
                const VI p00 = hn::IfThenElse(v00, byteOf(g00, k), fills[k]);
                const VI p01 = hn::IfThenElse(v01, byteOf(g01, k), fills[k]);
                const VI p10 = hn::IfThenElse(v10, byteOf(g10, k), fills[k]);
                const VI p11 = hn::IfThenElse(v11, byteOf(g11, k), fills[k]);
                c[k] = finish(hn::Add(hn::Add(hn::Mul(w0, p00), hn::Mul(w1, p01)),
                                      hn::Add(hn::Mul(w2, p10), hn::Mul(w3, p11))));
            }
        }
        for (int k = cn; k < 4; k++) c[k] = c[0];
        storeBytes(c[0], c[1], c[2], c[3], cn, dst + size_t(j) * cn);
    }
    return j;
}

int RemapLinearRow8u(const ByteImage& s, const short* xy, const unsigned short* a,
                     const uint32_t* packed, int edge, const uint8_t* fill, uint8_t* dst, int n) {
    switch (s.cn) {
        case 1:
            return remapLinear8u<1>(s, xy, a, packed, edge, fill, dst, n);
        case 2:
            return remapLinear8u<2>(s, xy, a, packed, edge, fill, dst, n);
        case 3:
            return remapLinear8u<3>(s, xy, a, packed, edge, fill, dst, n);
        default:
            return remapLinear8u<4>(s, xy, a, packed, edge, fill, dst, n);
    }
}

// Cubic (KS 4) and Lanczos (KS 8) byte remap on inside positions. Weights
// come as 16-bit pairs (taps i, i + 1 of one row); code 0 is the whole pixel
// (its centre weight 32768 does not fit 16 bits, so its pairs hold zeros and
// those lanes take the centre sample). A tap row's KS * CN bytes are read as
// whole 32-bit words, which never reach past the last tap.
template <int KS, int CN>
int remapTaps8u(const ByteImage& s, const short* xy, const unsigned short* a, const uint32_t* pairs,
                const uint8_t* fill, uint8_t* dst, int n) {
    const DI di;
    const D16 d16;
    const DU16 du16;
    constexpr int kOff = KS / 2 - 1, kWords = KS * CN / 4, kPairs = KS * KS / 2;
    const int N = int(hn::Lanes(di));
    const VI vp = hn::Set(di, s.pitch), vcn = hn::Set(di, CN), zero = hn::Zero(di);
    const VI loX = hn::Set(di, kOff - 1), hiX = hn::Set(di, s.cols - KS + kOff + 1);
    const VI loY = hn::Set(di, kOff - 1), hiY = hn::Set(di, s.rows - KS + kOff + 1);
    // Fully outside: every tap beyond one edge.
    const VI outLoX = hn::Set(di, kOff - KS + 1), outHiX = hn::Set(di, s.cols + kOff - 1);
    const VI outLoY = hn::Set(di, kOff - KS + 1), outHiY = hn::Set(di, s.rows + kOff - 1);
    const VI m1023 = hn::Set(di, 1023), half = hn::Set(di, 1 << 14), m255 = hn::Set(di, 255);
    const int32_t* tab = reinterpret_cast<const int32_t*>(pairs);
    const int32_t* base = reinterpret_cast<const int32_t*>(s.base);
    int j = 0;
    for (; j + N <= n; j += N) {
        hn::Vec<D16> vx, vy;
        hn::LoadInterleaved2(d16, xy + 2 * j, vx, vy);
        const VI x = hn::PromoteTo(di, vx), y = hn::PromoteTo(di, vy);
        uint8_t* d = dst + size_t(j) * CN;
        const auto in = hn::And(hn::And(hn::Gt(x, loX), hn::Lt(x, hiX)),
                                hn::And(hn::Gt(y, loY), hn::Lt(y, hiY)));
        if (!hn::AllTrue(di, in)) {
            if (!fill) break;
            const auto out = hn::Or(hn::Or(hn::Lt(x, outLoX), hn::Gt(x, outHiX)),
                                    hn::Or(hn::Lt(y, outLoY), hn::Gt(y, outHiY)));
            if (!hn::AllTrue(di, out)) break;
            // Every tap reads the fill value and the weights sum to 32768.
            for (int e = 0; e < N; e++)
                for (int k = 0; k < CN; k++) d[e * CN + k] = fill[k];
            continue;
        }
        const VI code = a ? hn::And(hn::PromoteTo(di, hn::LoadU(du16, a + j)), m1023) : zero;
        const VI pbase = hn::Mul(code, hn::Set(di, kPairs));
        const VI off0 = hn::Add(hn::Mul(hn::Sub(y, hn::Set(di, kOff)), vp),
                                hn::Mul(hn::Sub(x, hn::Set(di, kOff)), vcn));
        VI acc[CN], centre[CN];
        for (int k = 0; k < CN; k++) acc[k] = centre[k] = zero;
        for (int r = 0; r < KS; r++) {
            const VI roff = hn::Add(off0, hn::Set(di, r * s.pitch));
            VI words[kWords];
            for (int q = 0; q < kWords; q++)
                words[q] = hn::GatherOffset(di, base, hn::Add(roff, hn::Set(di, 4 * q)));
            for (int i2 = 0; i2 < KS / 2; i2++) {
                const VI wp =
                    hn::GatherIndex(di, tab, hn::Add(pbase, hn::Set(di, r * KS / 2 + i2)));
                const VI w[2] = {hn::ShiftRight<16>(hn::ShiftLeft<16>(wp)), hn::ShiftRight<16>(wp)};
                for (int h = 0; h < 2; h++) {
                    const int i = 2 * i2 + h;
                    for (int k = 0; k < CN; k++) {
                        const int b = i * CN + k;
                        const VI v = byteOf(words[b / 4], b % 4);
                        acc[k] = hn::Add(acc[k], hn::Mul(w[h], v));
                        if (r == kOff && i == kOff) centre[k] = v;
                    }
                }
            }
        }
        const auto whole = hn::Eq(code, zero);
        VI c[4];
        for (int k = 0; k < CN; k++) {
            const VI v = hn::Max(hn::Min(hn::ShiftRight<15>(hn::Add(acc[k], half)), m255), zero);
            c[k] = hn::IfThenElse(whole, centre[k], v);
        }
        for (int k = CN; k < 4; k++) c[k] = c[0];
        storeBytes(c[0], c[1], c[2], c[3], CN, d);
    }
    return j;
}

int RemapTapsRow8u(const ByteImage& s, int ksize, const short* xy, const unsigned short* a,
                   const uint32_t* pairs, const uint8_t* fill, uint8_t* dst, int n) {
    if (ksize == 4) {
        switch (s.cn) {
            case 1:
                return remapTaps8u<4, 1>(s, xy, a, pairs, fill, dst, n);
            case 2:
                return remapTaps8u<4, 2>(s, xy, a, pairs, fill, dst, n);
            case 3:
                return remapTaps8u<4, 3>(s, xy, a, pairs, fill, dst, n);
            default:
                return remapTaps8u<4, 4>(s, xy, a, pairs, fill, dst, n);
        }
    }
    switch (s.cn) {
        case 1:
            return remapTaps8u<8, 1>(s, xy, a, pairs, fill, dst, n);
        case 2:
            return remapTaps8u<8, 2>(s, xy, a, pairs, fill, dst, n);
        case 3:
            return remapTaps8u<8, 3>(s, xy, a, pairs, fill, dst, n);
        default:
            return remapTaps8u<8, 4>(s, xy, a, pairs, fill, dst, n);
    }
}

int MapToFixed(const float* x, const float* y, int step, short* xy, unsigned short* a, int n) {
    const DI di;
    const DF df;
    const D16 d16;
    const DU16 du16;
    const int N = int(hn::Lanes(di));
    const VF k32 = hn::Set(df, 32.0f), lim = hn::Set(df, 1073741824.0f), halfF = hn::Set(df, 0.5f);
    const VI m31 = hn::Set(di, 31), one = hn::Set(di, 1);
    auto fixed = [&](VF v) {
        // floor(v + 0.5) in exact arithmetic: the floor, plus one when the
        // (exact) fraction reaches one half.
        const VF fl = hn::Floor(v);
        const auto up = hn::RebindMask(di, hn::Ge(hn::Sub(v, fl), halfF));
        return hn::Add(hn::ConvertTo(di, fl), hn::IfThenElseZero(up, one));
    };
    int j = 0;
    for (; j + N <= n; j += N) {
        VF vx, vy;
        if (step == 2) {
            hn::LoadInterleaved2(df, x + 2 * j, vx, vy);
        } else {
            vx = hn::LoadU(df, x + j);
            vy = hn::LoadU(df, y + j);
        }
        vx = hn::Mul(vx, k32);
        vy = hn::Mul(vy, k32);
        if (!hn::AllTrue(df, hn::And(hn::Lt(hn::Abs(vx), lim), hn::Lt(hn::Abs(vy), lim)))) break;
        const VI sx = fixed(vx), sy = fixed(vy);
        hn::StoreInterleaved2(hn::DemoteTo(d16, hn::ShiftRight<5>(sx)),
                              hn::DemoteTo(d16, hn::ShiftRight<5>(sy)), d16, xy + 2 * j);
        if (a) {
            const VI code = hn::Or(hn::ShiftLeft<5>(hn::And(sy, m31)), hn::And(sx, m31));
            hn::StoreU(hn::DemoteTo(du16, code), du16, a + j);
        }
    }
    return j;
}

template <int CN>
void horizontalN(const float* row, const int32_t* first, const float* w, int wstride, int taps,
                 float* out, int n) {
    const DI di;
    const DF df;
    const int N = int(hn::Lanes(di));
    int x = 0;
    for (; x + N <= n; x += N) {
        const VI base = hn::LoadU(di, first + x);
        VF a0 = hn::Zero(df), a1 = a0, a2 = a0, a3 = a0;
        for (int i = 0; i < taps; i++) {
            const VF wv = hn::LoadU(df, w + size_t(i) * wstride + x);
            const VI idx = hn::Add(base, hn::Set(di, i * CN));
            a0 = hn::Add(a0, hn::Mul(wv, hn::GatherIndex(df, row, idx)));
            if (CN > 1)
                a1 = hn::Add(a1,
                             hn::Mul(wv, hn::GatherIndex(df, row, hn::Add(idx, hn::Set(di, 1)))));
            if (CN > 2)
                a2 = hn::Add(a2,
                             hn::Mul(wv, hn::GatherIndex(df, row, hn::Add(idx, hn::Set(di, 2)))));
            if (CN > 3)
                a3 = hn::Add(a3,
                             hn::Mul(wv, hn::GatherIndex(df, row, hn::Add(idx, hn::Set(di, 3)))));
        }
        float* o = out + size_t(x) * CN;
        if (CN == 1) hn::StoreU(a0, df, o);
        if (CN == 2) hn::StoreInterleaved2(a0, a1, df, o);
        if (CN == 3) hn::StoreInterleaved3(a0, a1, a2, df, o);
        if (CN == 4) hn::StoreInterleaved4(a0, a1, a2, a3, df, o);
    }
    for (; x < n; x++)
        for (int k = 0; k < CN; k++) {
            float s = 0.0f;
            for (int i = 0; i < taps; i++)
                s += w[size_t(i) * wstride + x] * row[first[x] + i * CN + k];
            out[size_t(x) * CN + k] = s;
        }
}

void ResampleHorizontal(const float* row, const int32_t* first, const float* w, int wstride,
                        int taps, int cn, float* out, int n) {
    if (cn == 1) horizontalN<1>(row, first, w, wstride, taps, out, n);
    if (cn == 2) horizontalN<2>(row, first, w, wstride, taps, out, n);
    if (cn == 3) horizontalN<3>(row, first, w, wstride, taps, out, n);
    if (cn == 4) horizontalN<4>(row, first, w, wstride, taps, out, n);
}

inline VF verticalAt(const float* const* rows, const float* wy, int taps, int e) {
    const DF df;
    VF acc = hn::Zero(df);
    for (int j = 0; j < taps; j++)
        acc = hn::Add(acc, hn::Mul(hn::Set(df, wy[j]), hn::LoadU(df, rows[j] + e)));
    return acc;
}

void ResampleVertical(const float* const* rows, const float* wy, int taps, float* out, int n) {
    const DF df;
    const int N = int(hn::Lanes(df));
    int e = 0;
    for (; e + N <= n; e += N) hn::StoreU(verticalAt(rows, wy, taps, e), df, out + e);
    for (; e < n; e++) {
        float s = 0.0f;
        for (int j = 0; j < taps; j++) s += wy[j] * rows[j][e];
        out[e] = s;
    }
}

void ResampleVertical8u(const float* const* rows, const float* wy, int taps, uint8_t* out, int n) {
    const DI di;
    const DF df;
    const D8 d8;
    const int N = int(hn::Lanes(df));
    const VF zf = hn::Zero(df), top = hn::Set(df, 255.0f);
    int e = 0;
    for (; e + N <= n; e += N) {
        VF s = verticalAt(rows, wy, taps, e);
        s = hn::Min(hn::IfThenElseZero(hn::Gt(s, zf), s), top);  // NaN gives 0
        hn::StoreU(hn::DemoteTo(d8, hn::ConvertTo(di, s)), d8, out + e);
    }
    for (; e < n; e++) {
        float s = 0.0f;
        for (int j = 0; j < taps; j++) s += wy[j] * rows[j][e];
        if (!(s > 0.0f)) s = 0.0f;
        if (s > 255.0f) s = 255.0f;
        out[e] = uint8_t(int(s));
    }
}

#if HWY_TARGET == HWY_SCALAR
template <int ES>
void turnBlock(const uint8_t* const* src, uint8_t* const* dst, int type, int rows, int cols, int y0,
               int y1, int x0, int x1) {
    for (int y = y0; y < y1; y++)
        for (int x = x0; x < x1; x++) {
            uint8_t* d = type == 0   ? dst[cols - 1 - x] + size_t(y) * ES
                         : type == 1 ? dst[x] + size_t(rows - 1 - y) * ES
                                     : dst[rows - 1 - y] + size_t(cols - 1 - x) * ES;
            std::memcpy(d, src[y] + size_t(x) * ES, ES);
        }
}
#else
template <int ES>
void turnBlock(const uint8_t* const* src, uint8_t* const* dst, int type, int rows, int cols, int y0,
               int y1, int x0, int x1) {
    const hn::Full128<uint8_t> d8;
    const hn::Full128<uint32_t> d32;
    const hn::Full128<uint64_t> d64;
    // Byte tables: 3-byte pixels to 32-bit lanes and back, in order or reversed.
    alignas(16) static constexpr uint8_t kExpand[16] = {0, 1, 2, 0, 3, 4,  5,  0,
                                                        6, 7, 8, 0, 9, 10, 11, 0};
    alignas(16) static constexpr uint8_t kPack3[16] = {0,  1,  2,  4,  5, 6, 8, 9,
                                                       10, 12, 13, 14, 0, 0, 0, 0};
    alignas(16) static constexpr uint8_t kPack3Rev[16] = {12, 13, 14, 8, 9, 10, 4, 5,
                                                          6,  0,  1,  2, 0, 0,  0, 0};
    alignas(16) static constexpr uint8_t kRaw3Rev[16] = {9, 10, 11, 6, 7, 8, 3, 4,
                                                         5, 0,  1,  2, 0, 0, 0, 0};
    alignas(16) static constexpr uint8_t kRev4[16] = {12, 13, 14, 15, 8, 9, 10, 11,
                                                      4,  5,  6,  7,  0, 1, 2,  3};
    alignas(16) static constexpr uint8_t kSame[16] = {0, 1, 2,  3,  4,  5,  6,  7,
                                                      8, 9, 10, 11, 12, 13, 14, 15};
    const auto expand = hn::Load(d8, kExpand);
    const auto fwd = hn::Load(d8, ES == 3 ? kPack3 : kSame);
    const auto rev = hn::Load(d8, ES == 3 ? kPack3Rev : kRev4);
    auto store = [&](uint8_t* p, hn::Vec<decltype(d8)> v) {
        if (ES == 4) {
            hn::StoreU(v, d8, p);
        } else {
            alignas(16) uint8_t t[16];
            hn::Store(v, d8, t);
            std::memcpy(p, t, 12);
        }
    };
    auto pixel = [&](int y, int x) {
        uint8_t* d = type == 0   ? dst[cols - 1 - x] + size_t(y) * ES
                     : type == 1 ? dst[x] + size_t(rows - 1 - y) * ES
                                 : dst[rows - 1 - y] + size_t(cols - 1 - x) * ES;
        std::memcpy(d, src[y] + size_t(x) * ES, ES);
    };
    // 16-byte loads of 3-byte pixels reach two pixels further.
    const int xlim = ES == 3 ? std::min(x1, cols - 2) : x1;
    const int xg = xlim - x0 >= 4 ? x0 + (xlim - x0) / 4 * 4 : x0;
    if (type == 2) {
        const auto raw = hn::Load(d8, ES == 3 ? kRaw3Rev : kRev4);
        for (int y = y0; y < y1; y++) {
            for (int x = x0; x < xg; x += 4) {
                const auto v = hn::LoadU(d8, src[y] + size_t(x) * ES);
                store(dst[rows - 1 - y] + size_t(cols - 4 - x) * ES, hn::TableLookupBytes(v, raw));
            }
            for (int x = xg; x < x1; x++) pixel(y, x);
        }
        return;
    }
    const int yg = y0 + (y1 - y0) / 4 * 4;
    for (int y = y0; y < yg; y += 4) {
        for (int x = x0; x < xg; x += 4) {
            hn::Vec<decltype(d32)> r[4];
            for (int j = 0; j < 4; j++) {
                auto v = hn::LoadU(d8, src[y + j] + size_t(x) * ES);
                if (ES == 3) v = hn::TableLookupBytes(v, expand);
                r[j] = hn::BitCast(d32, v);
            }
            const auto a0 = hn::InterleaveLower(d32, r[0], r[1]);
            const auto a1 = hn::InterleaveUpper(d32, r[0], r[1]);
            const auto a2 = hn::InterleaveLower(d32, r[2], r[3]);
            const auto a3 = hn::InterleaveUpper(d32, r[2], r[3]);
            const auto b0 = hn::BitCast(d64, a0), b1 = hn::BitCast(d64, a1);
            const auto b2 = hn::BitCast(d64, a2), b3 = hn::BitCast(d64, a3);
            // t[i]: source column x + i, rows y .. y + 3.
            const hn::Vec<decltype(d8)> t[4] = {hn::BitCast(d8, hn::InterleaveLower(d64, b0, b2)),
                                                hn::BitCast(d8, hn::InterleaveUpper(d64, b0, b2)),
                                                hn::BitCast(d8, hn::InterleaveLower(d64, b1, b3)),
                                                hn::BitCast(d8, hn::InterleaveUpper(d64, b1, b3))};
            for (int i = 0; i < 4; i++) {
                if (type == 0)
                    store(dst[cols - 1 - x - i] + size_t(y) * ES, hn::TableLookupBytes(t[i], fwd));
                else
                    store(dst[x + i] + size_t(rows - 4 - y) * ES, hn::TableLookupBytes(t[i], rev));
            }
        }
        for (int j = 0; j < 4; j++)
            for (int x = xg; x < x1; x++) pixel(y + j, x);
    }
    for (int y = yg; y < y1; y++)
        for (int x = x0; x < x1; x++) pixel(y, x);
}

#endif

void QuarterTurnBlock(const uint8_t* const* src, uint8_t* const* dst, int es, int type, int rows,
                      int cols, int y0, int y1, int x0, int x1) {
    if (es == 3)
        turnBlock<3>(src, dst, type, rows, cols, y0, y1, x0, x1);
    else
        turnBlock<4>(src, dst, type, rows, cols, y0, y1, x0, x1);
}

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {
HWY_EXPORT(WarpAffineRow8u);
HWY_EXPORT(WarpAffineRow32f);
HWY_EXPORT(WarpPerspectiveRow8u);
HWY_EXPORT(RemapLinearRow8u);
HWY_EXPORT(RemapTapsRow8u);
HWY_EXPORT(MapToFixed);
HWY_EXPORT(ResampleHorizontal);
HWY_EXPORT(ResampleVertical);
HWY_EXPORT(ResampleVertical8u);
HWY_EXPORT(QuarterTurnBlock);

void quarterTurnBlock(const uint8_t* const* src, uint8_t* const* dst, int es, int type, int rows,
                      int cols, int y0, int y1, int x0, int x1) {
    HWY_DYNAMIC_DISPATCH(QuarterTurnBlock)(src, dst, es, type, rows, cols, y0, y1, x0, x1);
}

void warpAffineRow8u(const ByteImage& s, float sx0, float sy0, float ax, float ay, uint8_t* dst,
                     int n) {
    HWY_DYNAMIC_DISPATCH(WarpAffineRow8u)(s, sx0, sy0, ax, ay, dst, n);
}
void warpAffineRow32f(const float* base, int32_t pitch, int cols, int rows, int cn, float sx0,
                      float sy0, float ax, float ay, float* dst, int n) {
    HWY_DYNAMIC_DISPATCH(WarpAffineRow32f)(base, pitch, cols, rows, cn, sx0, sy0, ax, ay, dst, n);
}
void warpPerspectiveRow8u(const ByteImage& s, const float* X, const float* Y, const float* W,
                          uint8_t* dst, int n) {
    HWY_DYNAMIC_DISPATCH(WarpPerspectiveRow8u)(s, X, Y, W, dst, n);
}
int remapLinearRow8u(const ByteImage& s, const short* xy, const unsigned short* a,
                     const uint32_t* packed, int edge, const uint8_t* fill, uint8_t* dst, int n) {
    return HWY_DYNAMIC_DISPATCH(RemapLinearRow8u)(s, xy, a, packed, edge, fill, dst, n);
}
int remapTapsRow8u(const ByteImage& s, int ksize, const short* xy, const unsigned short* a,
                   const uint32_t* pairs, const uint8_t* fill, uint8_t* dst, int n) {
    return HWY_DYNAMIC_DISPATCH(RemapTapsRow8u)(s, ksize, xy, a, pairs, fill, dst, n);
}
int mapToFixed(const float* x, const float* y, int step, short* xy, unsigned short* a, int n) {
    return HWY_DYNAMIC_DISPATCH(MapToFixed)(x, y, step, xy, a, n);
}
void resampleHorizontal(const float* row, const int32_t* first, const float* w, int wstride,
                        int taps, int cn, float* out, int n) {
    HWY_DYNAMIC_DISPATCH(ResampleHorizontal)(row, first, w, wstride, taps, cn, out, n);
}
void resampleVertical(const float* const* rows, const float* wy, int taps, float* out, int n) {
    HWY_DYNAMIC_DISPATCH(ResampleVertical)(rows, wy, taps, out, n);
}
void resampleVertical8u(const float* const* rows, const float* wy, int taps, uint8_t* out, int n) {
    HWY_DYNAMIC_DISPATCH(ResampleVertical8u)(rows, wy, taps, out, n);
}
}  // namespace detail
}  // namespace tarvo
#endif
