// Gaussian pyramid steps: pyrDown (5-tap smoothing, every second sample) and
// pyrUp (doubling with the same kernel split into even and odd phases).
//
// Both are separable filters in exact arithmetic: each source row is filtered
// along x once into a small ring of work rows (16-bit for bytes, int for
// shorts, float or double otherwise), and each output row combines ring rows
// along y. Output rows are split into stripes that run in parallel, each
// stripe with a ring of its own, so the result never depends on the split.
#include <cstdint>
#include <vector>

#include "detail/aliasing.h"
#include "detail/checked.h"
#include "filter/integral_internal.h"
#include "tarvo/ip/integral.h"

namespace tarvo {
namespace ip {
namespace {

// Work type of the ring rows.
template <typename T>
struct WorkType;
template <>
struct WorkType<unsigned char> {
    typedef uint16_t type;  // pyrDown rows peak at 16 * 255, columns at 256 * 255
};
template <>
struct WorkType<short> {
    typedef int type;
};
template <>
struct WorkType<float> {
    typedef float type;
};
template <>
struct WorkType<double> {
    typedef double type;
};

// Horizontal 1 4 6 4 1. Floating types keep this exact order of operations,
// which the vector kernels repeat.
template <typename WT>
inline WT tap5(WT a, WT b, WT c, WT d, WT e) {
    if constexpr (std::is_floating_point<WT>::value)
        return (a + e) + (b + d) * WT(4) + c * WT(6);
    else
        return WT(int(a) + int(e) + 4 * (int(b) + int(d)) + 6 * int(c));
}
// pyrUp phases: even 1 6 1, odd 4 4.
template <typename WT>
inline WT tapEven(WT a, WT b, WT c) {
    if constexpr (std::is_floating_point<WT>::value)
        return (a + c) + b * WT(6);
    else
        return WT(int(a) + int(c) + 6 * int(b));
}
template <typename WT>
inline WT tapOdd(WT b, WT c) {
    if constexpr (std::is_floating_point<WT>::value)
        return (b + c) * WT(4);
    else
        return WT(4 * (int(b) + int(c)));
}

// Final scaling of a pyrDown column sum (weights total 256).
template <typename T, typename WT>
inline T downCast(WT v);
template <>
inline unsigned char downCast<unsigned char, int>(int v) {
    return (unsigned char)((v + 128) >> 8);
}
template <>
inline short downCast<short, int>(int v) {
    // floor((v + 128) / 256) without shifting a negative value.
    return (short)(((v + 128 + (1 << 23)) >> 8) - (1 << 15));
}
template <>
inline float downCast<float, float>(float v) {
    return v * 0.00390625f;
}
template <>
inline double downCast<double, double>(double v) {
    return v * 0.00390625;
}

// Final scaling of a pyrUp column sum (weights total 64).
template <typename T, typename WT>
inline T upCast(WT v);
template <>
inline unsigned char upCast<unsigned char, int>(int v) {
    return (unsigned char)((v + 32) >> 6);
}
template <>
inline short upCast<short, int>(int v) {
    return (short)(((v + 32 + (1 << 21)) >> 6) - (1 << 15));
}
template <>
inline float upCast<float, float>(float v) {
    return v * 0.015625f;
}
template <>
inline double upCast<double, double>(double v) {
    return v * 0.015625;
}

// Accumulator of the column stage: int for the integer work types.
template <typename WT>
using ColAcc = typename std::conditional<std::is_floating_point<WT>::value, WT, int>::type;

// A ring of work rows keyed by the source row they hold, sized for the
// distinct rows one output row needs (5 for pyrDown, 3 for pyrUp).
template <typename WT, int K>
class RowRing {
public:
    explicit RowRing(size_t width) : buf_(width * K), tag_{} {
        for (int i = 0; i < K; i++) tag_[i] = -1;
    }
    // Fills out[i] with the ring row holding source row need[i], filtering
    // missing ones through make(sourceRow, dst). need[i] < 0 selects zero.
    template <typename Make>
    void fetch(const int* need, int n, const WT* zero, const WT** out, Make make) {
        bool used[K] = {};
        int slot[K];
        for (int i = 0; i < n; i++) {
            slot[i] = -1;
            if (need[i] < 0) continue;
            for (int s = 0; s < K; s++)
                if (tag_[s] == need[i]) {
                    slot[i] = s;
                    used[s] = true;
                    break;
                }
        }
        for (int i = 0; i < n; i++) {
            if (need[i] < 0) {
                out[i] = zero;
                continue;
            }
            if (slot[i] < 0) {
                // A row needed twice is filtered once: look again after earlier fills.
                for (int s = 0; s < K; s++)
                    if (used[s] && tag_[s] == need[i]) slot[i] = s;
                if (slot[i] < 0) {
                    int s = 0;
                    while (used[s]) s++;
                    used[s] = true;
                    tag_[s] = need[i];
                    make(need[i], &buf_[size_t(s) * width()]);
                    slot[i] = s;
                }
            }
            out[i] = &buf_[size_t(slot[i]) * width()];
        }
    }

private:
    size_t width() const { return buf_.size() / K; }
    std::vector<WT> buf_;
    int tag_[K];
};

// Column indices of the outputs that reach past the source edges: taps per
// output, -1 for "no sample".
struct EdgeTable {
    int lo = 0;  // outputs [0, lo) and [hi, n) use the table
    int hi = 0;
    std::vector<int> cols;  // taps entries per edge output, in output order
};

// ---------------------------------------------------------------- pyrDown

template <typename T>
void pyrDownRowScalar(const T* s, typename WorkType<T>::type* out, int x0, int x1, int cn) {
    typedef typename WorkType<T>::type WT;
    for (int x = x0; x < x1; x++) {
        const T* p = s + (2 * x - 2) * cn;
        for (int k = 0; k < cn; k++)
            out[x * cn + k] = tap5<WT>(WT(p[k]), WT(p[cn + k]), WT(p[2 * cn + k]),
                                       WT(p[3 * cn + k]), WT(p[4 * cn + k]));
    }
}

template <typename T>
void pyrDownRow(const T* s, int sw, typename WorkType<T>::type* out, int dw, int cn,
                const EdgeTable& et, bool vec) {
    typedef typename WorkType<T>::type WT;
    int x = et.lo;
    if (vec && cn == 1) {
        if constexpr (std::is_same<T, unsigned char>::value)
            x = detail::pyrDownRowU8(s, sw, out, x, et.hi);
        else if constexpr (std::is_same<T, float>::value)
            x = detail::pyrDownRowF32(s, sw, out, x, et.hi);
    } else if (vec && cn <= 4) {
        if constexpr (std::is_same<T, unsigned char>::value)
            x = detail::pyrDownRowU8Cn(s, sw, out, x, et.hi, cn);
        else if constexpr (std::is_same<T, float>::value)
            x = detail::pyrDownRowF32Cn(s, sw, out, x, et.hi, cn);
    }
    pyrDownRowScalar<T>(s, out, x, et.hi, cn);
    auto edge = [&](int xo, const int* c) {
        for (int k = 0; k < cn; k++) {
            WT v[5];
            for (int i = 0; i < 5; i++) v[i] = c[i] < 0 ? WT(0) : WT(s[c[i] * cn + k]);
            out[xo * cn + k] = tap5<WT>(v[0], v[1], v[2], v[3], v[4]);
        }
    };
    const int* c = et.cols.data();
    for (int xo = 0; xo < et.lo; xo++, c += 5) edge(xo, c);
    for (int xo = et.hi; xo < dw; xo++, c += 5) edge(xo, c);
}

template <typename T>
void pyrDownCol(const typename WorkType<T>::type* const* r, T* d, int n, bool vec) {
    typedef typename WorkType<T>::type WT;
    int x = 0;
    if (vec) {
        if constexpr (std::is_same<T, unsigned char>::value)
            x = detail::pyrDownColU8(r, d, n);
        else if constexpr (std::is_same<T, float>::value)
            x = detail::pyrDownColF32(r, d, n);
    }
    for (; x < n; x++)
        d[x] =
            downCast<T, ColAcc<WT>>(tap5<ColAcc<WT>>(r[0][x], r[1][x], r[2][x], r[3][x], r[4][x]));
}

template <typename T>
void pyrDownImpl(const Mat& src, Mat& dst, int mode) {
    typedef typename WorkType<T>::type WT;
    const int sw = src.cols(), sh = src.rows(), cn = src.channels();
    const int dw = dst.cols(), dh = dst.rows();
    const bool vec =
        std::is_floating_point<T>::value ? detail::pyrUseFloatVector() : detail::pyrUseIntVector();

    EdgeTable et;
    et.lo = dw < 1 ? dw : 1;
    et.hi = sw >= 3 ? (sw - 3) / 2 + 1 : 1;
    if (et.hi > dw) et.hi = dw;
    if (et.hi < et.lo) et.hi = et.lo;
    for (int xo = 0; xo < dw; xo++) {
        if (xo >= et.lo && xo < et.hi) continue;
        for (int i = 0; i < 5; i++)
            et.cols.push_back(detail::pyrBorderIndex(2 * xo - 2 + i, sw, mode));
    }

    const size_t rowLen = size_t(dw) * cn;
    const std::vector<WT> zero(rowLen, WT(0));
    detail::pyrParallelRows(dh, double(sw) * sh * cn, [&](int y0, int y1) {
        RowRing<WT, 5> ring(rowLen);
        for (int y = y0; y < y1; y++) {
            int need[5];
            for (int i = 0; i < 5; i++) need[i] = detail::pyrBorderIndex(2 * y - 2 + i, sh, mode);
            const WT* rows[5];
            ring.fetch(need, 5, zero.data(), rows, [&](int sy, WT* out) {
                pyrDownRow<T>(src.ptr<T>(sy), sw, out, dw, cn, et, vec);
            });
            pyrDownCol<T>(rows, dst.ptr<T>(y), int(rowLen), vec);
        }
    });
}

// ---------------------------------------------------------------- pyrUp

template <typename T>
void pyrUpRow(const T* s, int sw, typename WorkType<T>::type* out, int dw, int cn,
              const EdgeTable& et, bool vec) {
    typedef typename WorkType<T>::type WT;
    // Interior pairs x in [lo, hi) write outputs 2x and 2x + 1.
    int x = et.lo;
    if (vec && cn == 1) {
        if constexpr (std::is_same<T, unsigned char>::value)
            x = detail::pyrUpRowU8(s, sw, out, x, et.hi);
        else if constexpr (std::is_same<T, float>::value)
            x = detail::pyrUpRowF32(s, sw, out, x, et.hi);
    }
    for (; x < et.hi; x++) {
        const T* p = s + (x - 1) * cn;
        for (int k = 0; k < cn; k++) {
            WT a = WT(p[k]), b = WT(p[cn + k]), c = WT(p[2 * cn + k]);
            out[2 * x * cn + k] = tapEven<WT>(a, b, c);
            out[(2 * x + 1) * cn + k] = tapOdd<WT>(b, c);
        }
    }
    auto edge = [&](int xo, const int* c) {
        for (int k = 0; k < cn; k++) {
            WT a = WT(s[c[0] * cn + k]), b = WT(s[c[1] * cn + k]), d = WT(s[c[2] * cn + k]);
            out[xo * cn + k] = (xo & 1) ? tapOdd<WT>(b, d) : tapEven<WT>(a, b, d);
        }
    };
    const int* c = et.cols.data();
    for (int xo = 0; xo < 2 * et.lo; xo++, c += 3) edge(xo, c);
    for (int xo = 2 * et.hi; xo < dw; xo++, c += 3) edge(xo, c);
}

template <typename T>
void pyrUpCol(const typename WorkType<T>::type* const* r, T* d, int n, bool odd, bool vec) {
    typedef typename WorkType<T>::type WT;
    int x = 0;
    if (vec) {
        if constexpr (std::is_same<T, unsigned char>::value)
            x = detail::pyrUpColU8(r, odd ? nullptr : d, odd ? d : nullptr, n);
        else if constexpr (std::is_same<T, float>::value)
            x = detail::pyrUpColF32(r, odd ? nullptr : d, odd ? d : nullptr, n);
    }
    typedef ColAcc<WT> A;
    if (odd)
        for (; x < n; x++) d[x] = upCast<T, A>(tapOdd<A>(r[1][x], r[2][x]));
    else
        for (; x < n; x++) d[x] = upCast<T, A>(tapEven<A>(r[0][x], r[1][x], r[2][x]));
}

template <typename T>
void pyrUpImpl(const Mat& src, Mat& dst, int mode) {
    typedef typename WorkType<T>::type WT;
    const int sw = src.cols(), sh = src.rows(), cn = src.channels();
    const int dw = dst.cols(), dh = dst.rows();
    const bool vec =
        std::is_floating_point<T>::value ? detail::pyrUseFloatVector() : detail::pyrUseIntVector();

    // Columns always mirror without repeating the edge sample.
    EdgeTable et;
    et.lo = dw >= 2 ? 1 : 0;
    et.hi = sw - 1 < dw / 2 ? sw - 1 : dw / 2;
    if (et.hi < et.lo) et.hi = et.lo;
    for (int xo = 0; xo < dw; xo++) {
        if (xo >= 2 * et.lo && xo < 2 * et.hi) continue;
        const int x = xo / 2;
        et.cols.push_back(detail::pyrBorderIndex(x - 1, sw, BorderMirrorNoEdge));
        et.cols.push_back(detail::pyrBorderIndex(x, sw, BorderMirrorNoEdge));
        et.cols.push_back(detail::pyrBorderIndex(x + 1, sw, BorderMirrorNoEdge));
    }

    const size_t rowLen = size_t(dw) * cn;
    const std::vector<WT> zero(rowLen, WT(0));
    detail::pyrParallelRows(dh, double(dw) * dh * cn, [&](int y0, int y1) {
        RowRing<WT, 3> ring(rowLen);
        for (int yo = y0; yo < y1; yo++) {
            const int y = yo / 2;
            int need[3] = {detail::pyrBorderIndex(y - 1, sh, mode),
                           detail::pyrBorderIndex(y, sh, mode),
                           detail::pyrBorderIndex(y + 1, sh, mode)};
            const bool odd = (yo & 1) != 0;
            if (odd) need[0] = -1;  // the odd phase reads rows y and y + 1 only
            const WT* rows[3];
            ring.fetch(need, 3, zero.data(), rows, [&](int sy, WT* out) {
                pyrUpRow<T>(src.ptr<T>(sy), sw, out, dw, cn, et, vec);
            });
            pyrUpCol<T>(rows, dst.ptr<T>(yo), int(rowLen), odd, vec);
        }
    });
}

// Shared front end: validates, sizes and creates dst, then runs the routine.
template <bool Down>
void pyrFront(const Mat& src, Mat& dst, const Size_<int>& size, int borderType) {
    if (!src.isValid() || src.rows() <= 0 || src.cols() <= 0) return;
    const int depth = src.type();
    if (depth != MAT_Tuchar && depth != MAT_Tshort && depth != MAT_Tfloat && depth != MAT_Tdouble)
        return;
    const int mode = borderType & ~BorderIsolatedBit;
    if (mode < BorderFill || mode > BorderMirrorNoEdge) return;
    Size_<int> sz = size;
    if (sz.width <= 0 || sz.height <= 0) {
        if (Down)
            sz = Size_<int>((src.cols() + 1) / 2, (src.rows() + 1) / 2);
        else if (src.cols() > (1 << 29) || src.rows() > (1 << 29))
            return;
        else
            sz = Size_<int>(src.cols() * 2, src.rows() * 2);
    }
    // Every output pixel costs work whatever it reads: a hint far larger than
    // the source is refused rather than filled with border samples.
    if (!tarvo::detail::outputAreaFits(src.cols(), src.rows(), sz.width, sz.height)) return;
    // A destination that is the source, or shares its rows, would be destroyed
    // by create: the source is then read from a copy.
    const bool alias = &src == &dst || (dst.isValid() && dst.data.ptr[0] == src.data.ptr[0]);
    Mat copy;
    if (alias) copy = src;
    const Mat& s = alias ? copy : src;
    if (dst.create(sz, s.type1()) < 0) return;
    switch (depth) {
        case MAT_Tuchar:
            Down ? pyrDownImpl<unsigned char>(s, dst, mode)
                 : pyrUpImpl<unsigned char>(s, dst, mode);
            break;
        case MAT_Tshort:
            Down ? pyrDownImpl<short>(s, dst, mode) : pyrUpImpl<short>(s, dst, mode);
            break;
        case MAT_Tfloat:
            Down ? pyrDownImpl<float>(s, dst, mode) : pyrUpImpl<float>(s, dst, mode);
            break;
        default:
            Down ? pyrDownImpl<double>(s, dst, mode) : pyrUpImpl<double>(s, dst, mode);
            break;
    }
}

}  // namespace

void pyrDown(const Mat& srcIn, Mat& dst, const Size_<int>& size, int borderType) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    pyrFront<true>(src, dst, size, borderType);
}

void pyrUp(const Mat& srcIn, Mat& dst, const Size_<int>& size, int borderType) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    pyrFront<false>(src, dst, size, borderType);
}

}  // namespace ip
}  // namespace tarvo
