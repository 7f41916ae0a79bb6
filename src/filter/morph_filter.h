// The morphology stages of the filter engine: running minimum / maximum row,
// column and 2-D filters, their vector operators and the vector kernels
// behind them.
//
// Min and max are exact and, with the total order used for floating values,
// associative and commutative to the bit: any fold order over a window gives
// the same result, so the scalar loops may share work between neighbours and
// the vector kernels may fold in their own order while both paths agree bit
// for bit.
//
// Vector operators are function objects returning how many leading elements
// of a row they produced; the scalar loop finishes from there. Each asks
// checkHardwareSupport (3 for integer, 2 for float) at each call, so
// detail::setUseOptimized(false) selects the scalar loops.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "tarvo/autobuffer.h"
#include "tarvo/ip/filter.h"
#include "tarvo/ip/morphology.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace ip {

// ---------------------------------------------------------------- vector kernels
// Dispatched by processor (morph_simd.cpp). op is 0 for the minimum, 1 for
// the maximum. Each returns how many leading elements it wrote per row (a
// multiple of its vector width, possibly 0).
namespace detail {

// dst[i] = fold over k < ksize of src[i + k * cn], for i < n.
int vecMorphRow(const uint8_t* src, uint8_t* dst, int n, int ksize, int cn, int op);
int vecMorphRow(const int16_t* src, int16_t* dst, int n, int ksize, int cn, int op);
int vecMorphRow(const float* src, float* dst, int n, int ksize, int cn, int op);

// count output rows dststep bytes apart; row j folds rows[j .. j + ksize - 1].
int vecMorphColumn(const uint8_t* const* rows, uint8_t* dst, int dststep, int count, int n,
                   int ksize, int op);
int vecMorphColumn(const int16_t* const* rows, int16_t* dst, int dststep, int count, int n,
                   int ksize, int op);
int vecMorphColumn(const float* const* rows, float* dst, int dststep, int count, int n, int ksize,
                   int op);

// dst[i] = fold over k < nz of ptrs[k][i].
int vecMorph2D(const uint8_t* const* ptrs, int nz, uint8_t* dst, int n, int op);
int vecMorph2D(const int16_t* const* ptrs, int nz, int16_t* dst, int n, int op);
int vecMorph2D(const uint16_t* const* ptrs, int nz, uint16_t* dst, int n, int op);
int vecMorph2D(const float* const* ptrs, int nz, float* dst, int n, int op);

}  // namespace detail

// ---------------------------------------------------------------- vector operators

// Tags naming the element type, the operation and the processor feature of a
// vector operator. VMin16u is the unsigned 16-bit minimum of the 2-D erosion.
template <typename T, int OP, int FEATURE>
struct VMorphTag {
    typedef T type;
    enum { op = OP, feature = FEATURE };
};
typedef VMorphTag<uint8_t, 0, CPU_INT_VECTORS> VMin8u;
typedef VMorphTag<uint8_t, 1, CPU_INT_VECTORS> VMax8u;
typedef VMorphTag<int16_t, 0, CPU_INT_VECTORS> VMin16s;
typedef VMorphTag<int16_t, 1, CPU_INT_VECTORS> VMax16s;
typedef VMorphTag<uint16_t, 0, CPU_INT_VECTORS> VMin16u;
typedef VMorphTag<float, 0, CPU_FLOAT_VECTORS> VMin32f;
typedef VMorphTag<float, 1, CPU_FLOAT_VECTORS> VMax32f;

template <class V>
struct MorphRowVec {
    typedef typename V::type T;
    MorphRowVec() {}
    explicit MorphRowVec(int ksize_) : ksize(ksize_) {}
    int operator()(const unsigned char* src, unsigned char* dst, int width, int cn) const {
        if (!checkHardwareSupport(V::feature)) return 0;
        return detail::vecMorphRow(reinterpret_cast<const T*>(src), reinterpret_cast<T*>(dst),
                                   width * cn, ksize, cn, V::op);
    }
    int ksize = 0;
};

template <class V>
struct MorphColumnVec {
    typedef typename V::type T;
    MorphColumnVec() {}
    explicit MorphColumnVec(int ksize_) : ksize(ksize_) {}
    int operator()(const unsigned char** src, unsigned char* dst, int dststep, int count,
                   int width) const {
        if (!checkHardwareSupport(V::feature)) return 0;
        return detail::vecMorphColumn(reinterpret_cast<const T* const*>(src),
                                      reinterpret_cast<T*>(dst), dststep, count, width, ksize,
                                      V::op);
    }
    int ksize = 0;
};

template <class V>
struct MorphVec {
    typedef typename V::type T;
    int operator()(const unsigned char** ptrs, int nz, unsigned char* dst, int width) const {
        if (!checkHardwareSupport(V::feature)) return 0;
        return detail::vecMorph2D(reinterpret_cast<const T* const*>(ptrs), nz,
                                  reinterpret_cast<T*>(dst), width, V::op);
    }
};

// The integer and float operators of the tables: the same templates, the
// names say which processor feature guards them.
template <class V>
using MorphRowIVec = MorphRowVec<V>;
template <class V>
using MorphRowFVec = MorphRowVec<V>;
template <class V>
using MorphColumnIVec = MorphColumnVec<V>;
template <class V>
using MorphColumnFVec = MorphColumnVec<V>;
template <class V>
using MorphIVec = MorphVec<V>;
template <class V>
using MorphFVec = MorphVec<V>;

// No vector form (double).
struct MorphRowNoVec {
    MorphRowNoVec() {}
    explicit MorphRowNoVec(int) {}
    int operator()(const unsigned char*, unsigned char*, int, int) const { return 0; }
};
struct MorphColumnNoVec {
    MorphColumnNoVec() {}
    explicit MorphColumnNoVec(int) {}
    int operator()(const unsigned char**, unsigned char*, int, int, int) const { return 0; }
};
struct MorphNoVec {
    int operator()(const unsigned char**, int, unsigned char*, int) const { return 0; }
};

// ---------------------------------------------------------------- stages

// dst[i] = Op-fold of src[i + k cn], k < ksize. Neighbouring outputs of one
// channel share the fold of their common taps 1 .. ksize - 1.
template <class Op, class VecOp>
class MorphRowFilter : public BaseRowFilter {
public:
    typedef typename Op::rtype T;

    MorphRowFilter(int ksize_, int anchor_) : vecOp(ksize_) {
        ksize = ksize_;
        anchor = anchor_;
    }
    void operator()(const unsigned char* src, unsigned char* dst, int width, int cn) override {
        const T* S = reinterpret_cast<const T*>(src);
        T* D = reinterpret_cast<T*>(dst);
        const int n = width * cn;
        if (ksize == 1) {
            std::memcpy(D, S, size_t(n) * sizeof(T));
            return;
        }
        Op op;
        int i0 = vecOp(src, dst, width, cn);
        i0 -= i0 % cn;  // the scalar loops walk whole pixels
        const int ks = ksize * cn;
        for (int k = 0; k < cn; k++, S++, D++) {
            int i = i0;
            for (; i <= n - 2 * cn; i += 2 * cn) {
                const T* s = S + i;
                T m = s[cn];
                int j = 2 * cn;
                for (; j < ks; j += cn) m = op(m, s[j]);
                D[i] = op(m, s[0]);
                D[i + cn] = op(m, s[j]);
            }
            for (; i < n; i += cn) {
                const T* s = S + i;
                T m = s[0];
                for (int j = cn; j < ks; j += cn) m = op(m, s[j]);
                D[i] = m;
            }
        }
    }

    VecOp vecOp;
};

// Output row j = Op-fold of rows j .. j + ksize - 1, element by element. Two
// output rows at a time share the fold of their common rows.
template <class Op, class VecOp>
class MorphColumnFilter : public BaseColumnFilter {
public:
    typedef typename Op::rtype T;

    MorphColumnFilter(int ksize_, int anchor_) : vecOp(ksize_) {
        ksize = ksize_;
        anchor = anchor_;
    }
    void operator()(const unsigned char** src, unsigned char* dst, int dststep, int count,
                    int width) override {
        Op op;
        const int i0 = count > 0 ? vecOp(src, dst, dststep, count, width) : 0;
        const T* const* S = reinterpret_cast<const T* const*>(src);
        for (; ksize > 1 && count > 1; count -= 2, dst += 2 * ptrdiff_t(dststep), S += 2) {
            T* D0 = reinterpret_cast<T*>(dst);
            T* D1 = reinterpret_cast<T*>(dst + dststep);
            for (int i = i0; i < width; i++) {
                T m = S[1][i];
                for (int k = 2; k < ksize; k++) m = op(m, S[k][i]);
                D0[i] = op(m, S[0][i]);
                D1[i] = op(m, S[ksize][i]);
            }
        }
        for (; count > 0; count--, dst += dststep, S++) {
            T* D = reinterpret_cast<T*>(dst);
            for (int i = i0; i < width; i++) {
                T m = S[0][i];
                for (int k = 1; k < ksize; k++) m = op(m, S[k][i]);
                D[i] = m;
            }
        }
    }

    VecOp vecOp;
};

// Op-fold over the set entries of the element: output (y, x) folds the
// extended source rows at (y + yk, x + xk) for every set entry (xk, yk).
template <class Op, class VecOp>
class MorphFilter : public BaseFilter {
public:
    typedef typename Op::rtype T;

    // coords_ are the set entries in row-major order (at least one).
    MorphFilter(const std::vector<Point2_<int>>& coords_, Size_<int> ksize_, Point2_<int> anchor_)
        : coords(coords_) {
        ksize = ksize_;
        anchor = anchor_;
    }
    void operator()(const unsigned char** src, unsigned char* dst, int dststep, int count,
                    int width, int cn) override {
        Op op;
        const int nz = int(coords.size());
        // Row pointers live on the stack so that copies of an engine can
        // share this stage across threads.
        AutoBuffer<const T*, 256> buf(unsigned(nz > 0 ? nz : 1));
        const T** kp = buf;
        const int n = width * cn;
        for (; count > 0; count--, dst += dststep, src++) {
            T* D = reinterpret_cast<T*>(dst);
            for (int k = 0; k < nz; k++)
                kp[k] = reinterpret_cast<const T*>(src[coords[k].y]) + coords[k].x * cn;
            int i = vecOp(reinterpret_cast<const unsigned char**>(kp), nz, dst, n);
            for (; i < n; i++) {
                T m = kp[0][i];
                for (int k = 1; k < nz; k++) m = op(m, kp[k][i]);
                D[i] = m;
            }
        }
    }

    std::vector<Point2_<int>> coords;
    VecOp vecOp;
};

}  // namespace ip
}  // namespace tarvo
