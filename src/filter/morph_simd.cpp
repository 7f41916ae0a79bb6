// Vector kernels of the morphology stages. Minimum and maximum are exact, so
// any fold order gives the scalar loops' result; floats are compared through
// the integer keys of the IEEE total order (the same keys as MinOp / MaxOp),
// which keeps signed zeros and NaNs identical to the scalar path.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filter/morph_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "filter/morph_filter.h"

HWY_BEFORE_NAMESPACE();
namespace tarvo {
namespace ip {
namespace detail {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR
// One-lane target: the scalar loops of the callers do all the work.
#define TARVO_MORPH_NOVEC(T)                                            \
    int MorphRow_##T(const T*, T*, int, int, int, int) {                \
        return 0;                                                       \
    }                                                                   \
    int MorphColumn_##T(const T* const*, T*, int, int, int, int, int) { \
        return 0;                                                       \
    }                                                                   \
    int Morph2D_##T(const T* const*, int, T*, int, int) {               \
        return 0;                                                       \
    }
TARVO_MORPH_NOVEC(uint8_t)
TARVO_MORPH_NOVEC(int16_t)
TARVO_MORPH_NOVEC(float)
int Morph2D_uint16_t(const uint16_t* const*, int, uint16_t*, int, int) {
    return 0;
}
#undef TARVO_MORPH_NOVEC
#else

// Element access for integer lanes: loads and stores as they are.
template <typename T>
struct IntLanes {
    typedef hn::ScalableTag<T> D;
    typedef hn::Vec<D> V;
    static V Load(D d, const T* p) { return hn::LoadU(d, p); }
    static void Store(D d, V v, T* p) { hn::StoreU(v, d, p); }
};

// Float lanes as total-order keys in int32: key(x) = x ^ ((x >> 31) & 0x7FFFFFFF)
// on the bit pattern; the map is its own inverse.
struct FloatKeyLanes {
    typedef hn::ScalableTag<int32_t> D;
    typedef hn::Vec<D> V;
    static V Key(D d, V x) {
        return hn::Xor(x, hn::And(hn::ShiftRight<31>(x), hn::Set(d, 0x7FFFFFFF)));
    }
    static V Load(D d, const float* p) {
        const hn::RebindToFloat<D> df;
        return Key(d, hn::BitCast(d, hn::LoadU(df, p)));
    }
    static void Store(D d, V v, float* p) {
        const hn::RebindToFloat<D> df;
        hn::StoreU(hn::BitCast(df, Key(d, v)), df, p);
    }
};

template <int OP, class V>
HWY_INLINE V Fold(V a, V b) {
    return OP == 0 ? hn::Min(a, b) : hn::Max(a, b);
}

template <int OP, class L, typename T>
int RowImpl(const T* src, T* dst, int n, int ksize, int cn) {
    typename L::D d;
    const int N = (int)hn::Lanes(d);
    int i = 0;
    // Two vectors per step keep more loads in flight.
    for (; i + 2 * N <= n; i += 2 * N) {
        const T* s = src + i;
        auto a = L::Load(d, s), b = L::Load(d, s + N);
        for (int k = 1; k < ksize; k++) {
            s += cn;
            a = Fold<OP>(a, L::Load(d, s));
            b = Fold<OP>(b, L::Load(d, s + N));
        }
        L::Store(d, a, dst + i);
        L::Store(d, b, dst + i + N);
    }
    for (; i + N <= n; i += N) {
        const T* s = src + i;
        auto a = L::Load(d, s);
        for (int k = 1; k < ksize; k++) {
            s += cn;
            a = Fold<OP>(a, L::Load(d, s));
        }
        L::Store(d, a, dst + i);
    }
    return i;
}

template <int OP, class L, typename T>
int ColumnImpl(const T* const* rows, T* dst, int dststep, int count, int n, int ksize) {
    typename L::D d;
    const int N = (int)hn::Lanes(d);
    const int done = n / N * N;
    if (done == 0) return 0;
    unsigned char* out = reinterpret_cast<unsigned char*>(dst);
    // Pairs of output rows share the fold of rows 1 .. ksize - 1.
    for (; ksize > 1 && count > 1; count -= 2, rows += 2, out += 2 * ptrdiff_t(dststep)) {
        T* d0 = reinterpret_cast<T*>(out);
        T* d1 = reinterpret_cast<T*>(out + dststep);
        for (int i = 0; i < done; i += N) {
            auto m = L::Load(d, rows[1] + i);
            for (int k = 2; k < ksize; k++) m = Fold<OP>(m, L::Load(d, rows[k] + i));
            L::Store(d, Fold<OP>(m, L::Load(d, rows[0] + i)), d0 + i);
            L::Store(d, Fold<OP>(m, L::Load(d, rows[ksize] + i)), d1 + i);
        }
    }
    for (; count > 0; count--, rows++, out += dststep) {
        T* d0 = reinterpret_cast<T*>(out);
        int i = 0;
        for (; i + 2 * N <= done; i += 2 * N) {
            auto a = L::Load(d, rows[0] + i), b = L::Load(d, rows[0] + i + N);
            for (int k = 1; k < ksize; k++) {
                a = Fold<OP>(a, L::Load(d, rows[k] + i));
                b = Fold<OP>(b, L::Load(d, rows[k] + i + N));
            }
            L::Store(d, a, d0 + i);
            L::Store(d, b, d0 + i + N);
        }
        for (; i < done; i += N) {
            auto a = L::Load(d, rows[0] + i);
            for (int k = 1; k < ksize; k++) a = Fold<OP>(a, L::Load(d, rows[k] + i));
            L::Store(d, a, d0 + i);
        }
    }
    return done;
}

template <int OP, class L, typename T>
int Filter2DImpl(const T* const* ptrs, int nz, T* dst, int n) {
    typename L::D d;
    const int N = (int)hn::Lanes(d);
    int i = 0;
    for (; i + 2 * N <= n; i += 2 * N) {
        auto a = L::Load(d, ptrs[0] + i), b = L::Load(d, ptrs[0] + i + N);
        for (int k = 1; k < nz; k++) {
            a = Fold<OP>(a, L::Load(d, ptrs[k] + i));
            b = Fold<OP>(b, L::Load(d, ptrs[k] + i + N));
        }
        L::Store(d, a, dst + i);
        L::Store(d, b, dst + i + N);
    }
    for (; i + N <= n; i += N) {
        auto a = L::Load(d, ptrs[0] + i);
        for (int k = 1; k < nz; k++) a = Fold<OP>(a, L::Load(d, ptrs[k] + i));
        L::Store(d, a, dst + i);
    }
    return i;
}

#define TARVO_MORPH_KERNELS(T, L)                                                               \
    int MorphRow_##T(const T* src, T* dst, int n, int ksize, int cn, int op) {                  \
        return op == 0 ? RowImpl<0, L>(src, dst, n, ksize, cn)                                  \
                       : RowImpl<1, L>(src, dst, n, ksize, cn);                                 \
    }                                                                                           \
    int MorphColumn_##T(const T* const* rows, T* dst, int dststep, int count, int n, int ksize, \
                        int op) {                                                               \
        return op == 0 ? ColumnImpl<0, L>(rows, dst, dststep, count, n, ksize)                  \
                       : ColumnImpl<1, L>(rows, dst, dststep, count, n, ksize);                 \
    }                                                                                           \
    int Morph2D_##T(const T* const* ptrs, int nz, T* dst, int n, int op) {                      \
        return op == 0 ? Filter2DImpl<0, L>(ptrs, nz, dst, n)                                   \
                       : Filter2DImpl<1, L>(ptrs, nz, dst, n);                                  \
    }
TARVO_MORPH_KERNELS(uint8_t, IntLanes<uint8_t>)
TARVO_MORPH_KERNELS(int16_t, IntLanes<int16_t>)
TARVO_MORPH_KERNELS(float, FloatKeyLanes)
#undef TARVO_MORPH_KERNELS

int Morph2D_uint16_t(const uint16_t* const* ptrs, int nz, uint16_t* dst, int n, int op) {
    return op == 0 ? Filter2DImpl<0, IntLanes<uint16_t> >(ptrs, nz, dst, n)
                   : Filter2DImpl<1, IntLanes<uint16_t> >(ptrs, nz, dst, n);
}

#endif  // HWY_TARGET == HWY_SCALAR

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace ip
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace ip {
namespace detail {
HWY_EXPORT(MorphRow_uint8_t);
HWY_EXPORT(MorphRow_int16_t);
HWY_EXPORT(MorphRow_float);
HWY_EXPORT(MorphColumn_uint8_t);
HWY_EXPORT(MorphColumn_int16_t);
HWY_EXPORT(MorphColumn_float);
HWY_EXPORT(Morph2D_uint8_t);
HWY_EXPORT(Morph2D_int16_t);
HWY_EXPORT(Morph2D_uint16_t);
HWY_EXPORT(Morph2D_float);

int vecMorphRow(const uint8_t* src, uint8_t* dst, int n, int ksize, int cn, int op) {
    return HWY_DYNAMIC_DISPATCH(MorphRow_uint8_t)(src, dst, n, ksize, cn, op);
}
int vecMorphRow(const int16_t* src, int16_t* dst, int n, int ksize, int cn, int op) {
    return HWY_DYNAMIC_DISPATCH(MorphRow_int16_t)(src, dst, n, ksize, cn, op);
}
int vecMorphRow(const float* src, float* dst, int n, int ksize, int cn, int op) {
    return HWY_DYNAMIC_DISPATCH(MorphRow_float)(src, dst, n, ksize, cn, op);
}
int vecMorphColumn(const uint8_t* const* rows, uint8_t* dst, int dststep, int count, int n,
                   int ksize, int op) {
    return HWY_DYNAMIC_DISPATCH(MorphColumn_uint8_t)(rows, dst, dststep, count, n, ksize, op);
}
int vecMorphColumn(const int16_t* const* rows, int16_t* dst, int dststep, int count, int n,
                   int ksize, int op) {
    return HWY_DYNAMIC_DISPATCH(MorphColumn_int16_t)(rows, dst, dststep, count, n, ksize, op);
}
int vecMorphColumn(const float* const* rows, float* dst, int dststep, int count, int n, int ksize,
                   int op) {
    return HWY_DYNAMIC_DISPATCH(MorphColumn_float)(rows, dst, dststep, count, n, ksize, op);
}
int vecMorph2D(const uint8_t* const* ptrs, int nz, uint8_t* dst, int n, int op) {
    return HWY_DYNAMIC_DISPATCH(Morph2D_uint8_t)(ptrs, nz, dst, n, op);
}
int vecMorph2D(const int16_t* const* ptrs, int nz, int16_t* dst, int n, int op) {
    return HWY_DYNAMIC_DISPATCH(Morph2D_int16_t)(ptrs, nz, dst, n, op);
}
int vecMorph2D(const uint16_t* const* ptrs, int nz, uint16_t* dst, int n, int op) {
    return HWY_DYNAMIC_DISPATCH(Morph2D_uint16_t)(ptrs, nz, dst, n, op);
}
int vecMorph2D(const float* const* ptrs, int nz, float* dst, int n, int op) {
    return HWY_DYNAMIC_DISPATCH(Morph2D_float)(ptrs, nz, dst, n, op);
}
}  // namespace detail
}  // namespace ip
}  // namespace tarvo
#endif  // HWY_ONCE
