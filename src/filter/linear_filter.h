// The linear stages of the filter engine: row, column, symmetric and 2-D
// filter templates, their vector operators and the vector kernels behind them.
//
// Every output element has one canonical order of operations, which scalar
// and vector code both follow, so that the two paths agree bit for bit:
//   rows      s = 0;     s = s + k[j] * S[j]            for j in index order
//   columns   s = delta; s = s + k[j] * S[j]            for j in index order
//   symmetric s = delta; s = s + k0 * S0; s = s + k[j] * (S[j] + S[-j])   (j = 1 ..)
//   antisym.  s = delta; s = s + k[j] * (S[j] - S[-j])                    (j = 1 ..)
//   2-D       s = delta; s = s + c[j] * S_j             for the non-zero taps in row-major order
// (row stages have delta 0), and the closed forms of the small filters as
// written next to them. Products and sums are separate operations (never a
// fused multiply-add); int arithmetic wraps modulo 2^32.
//
// Vector operators are function objects returning how many elements of the
// row they produced; the scalar loop finishes from there. Each asks
// checkHardwareSupport at each call, so detail::setUseOptimized(false)
// selects the scalar loops.
#pragma once

#include <cstdint>
#include <type_traits>
#include <vector>

#include "tarvo/autobuffer.h"
#include "tarvo/ip/filter.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace ip {

// ---------------------------------------------------------------- arithmetic

// Sums and products of the accumulator type; int wraps instead of overflowing.
template <typename T>
inline T fAdd(T a, T b) {
    if constexpr (std::is_same<T, int>::value)
        return int(unsigned(a) + unsigned(b));
    else
        return a + b;
}
template <typename T>
inline T fSub(T a, T b) {
    if constexpr (std::is_same<T, int>::value)
        return int(unsigned(a) - unsigned(b));
    else
        return a - b;
}
template <typename T>
inline T fMul(T a, T b) {
    if constexpr (std::is_same<T, int>::value)
        return int(unsigned(a) * unsigned(b));
    else
        return a * b;
}

// ---------------------------------------------------------------- vector kernels
// Dispatched by processor (linear_filter_simd.cpp). Each returns how many
// leading elements it wrote (a multiple of its vector width, possibly 0).
namespace detail {

// Small closed forms shared by scalar and vector code.
enum SmallForm {
    FormGeneric = 0,  // the general symmetric or antisymmetric sum
    FormCopy,         // S0
    FormSym121,       // S(-1) + 2 S0 + S(1)
    FormSym1m21,      // S(-1) - 2 S0 + S(1)
    FormSym3,         // k0 S0 + k1 (S(-1) + S(1))
    FormSym5m2,       // S(-2) - 2 S0 + S(2)
    FormSym5,         // k0 S0 + k1 (S(-1) + S(1)) + k2 (S(-2) + S(2))
    FormAsym3Unit,    // S(1) - S(-1)
    FormAsym3Neg,     // S(-1) - S(1)
    FormAsym3,        // k1 (S(1) - S(-1))
    FormAsym5,        // k1 (S(1) - S(-1)) + k2 (S(2) - S(-2))
};

int vecRow8u32s(const uint8_t* src, int32_t* dst, int n, const int32_t* kx, int ksize, int cn);
int vecRow32f(const float* src, float* dst, int n, const float* kx, int ksize, int cn);
// src points at the centre tap of element 0; kc = kernel read from its middle.
int vecSymmRowSmall8u32s(const uint8_t* src, int32_t* dst, int n, const int32_t* kc, int form,
                         int cn);
int vecSymmRowSmall32f(const float* src, float* dst, int n, const float* kc, int form, int cn);
// rows points at the centre row; half = ksize / 2; kc read from the middle.
int vecSymmCol32s8u(const int32_t* const* rows, uint8_t* dst, int n, const int32_t* kc, int half,
                    bool symmetric, int32_t delta, int shift);
int vecSymmCol32f(const float* const* rows, float* dst, int n, const float* kc, int half,
                  bool symmetric, float delta);
int vecSymmColSmall32s16s(const int32_t* const* rows, int16_t* dst, int n, int form, int32_t k0,
                          int32_t k1, int32_t delta);
int vecSymmColSmall32f(const float* const* rows, float* dst, int n, int form, float k0, float k1,
                       float delta);
int vecFilter8u(const uint8_t* const* ptrs, const float* coeffs, int nz, uint8_t* dst, int n,
                float delta);
int vecFilter32f(const float* const* ptrs, const float* coeffs, int nz, float* dst, int n,
                 float delta);

}  // namespace detail

// Closed form of a symmetric or antisymmetric row kernel of up to 5 taps.
template <typename T>
int smallRowForm(const T* kc, int ksize, int symmetryType) {
    if (symmetryType & KernelSymmetrical) {
        if (ksize == 1) return kc[0] == T(1) ? detail::FormCopy : detail::FormGeneric;
        if (ksize == 3) {
            if (kc[0] == T(2) && kc[1] == T(1)) return detail::FormSym121;
            if (kc[0] == T(-2) && kc[1] == T(1)) return detail::FormSym1m21;
            return detail::FormSym3;
        }
        if (ksize == 5) {
            if (kc[0] == T(-2) && kc[1] == T(0) && kc[2] == T(1)) return detail::FormSym5m2;
            return detail::FormSym5;
        }
        return detail::FormGeneric;
    }
    if (ksize == 3)
        return kc[0] == T(0) && kc[1] == T(1) ? detail::FormAsym3Unit : detail::FormAsym3;
    if (ksize == 5) return detail::FormAsym5;
    return detail::FormGeneric;
}

// Closed form of a 3-tap column kernel. The symmetric unit forms test a
// centre of 1 and sides of +-2 but compute the [1 2 1] / [1 -2 1] sums, so a
// (2, 1, 2) kernel runs as (1, 2, 1).
template <typename T>
int smallColumnForm(const T* kc, int symmetryType) {
    if (symmetryType & KernelSymmetrical) {
        if (kc[0] == T(1) && kc[1] == T(2)) return detail::FormSym121;
        if (kc[0] == T(1) && kc[1] == T(-2)) return detail::FormSym1m21;
        return detail::FormSym3;
    }
    if (kc[1] == T(1)) return detail::FormAsym3Unit;
    if (kc[1] == T(-1)) return detail::FormAsym3Neg;
    return detail::FormAsym3;
}

// One element of a small form; S(d) reads the sample d taps from the centre.
template <typename T, typename F>
inline T evalSmallForm(int form, const T* kc, F S) {
    using namespace detail;
    switch (form) {
        case FormCopy:
            return S(0);
        case FormSym121:
            return fAdd(fAdd(S(-1), fMul(S(0), T(2))), S(1));
        case FormSym1m21:
            return fAdd(fSub(S(-1), fMul(S(0), T(2))), S(1));
        case FormSym3:
            return fAdd(fMul(kc[0], S(0)), fMul(kc[1], fAdd(S(-1), S(1))));
        case FormSym5m2:
            return fAdd(fSub(S(-2), fMul(S(0), T(2))), S(2));
        case FormSym5:
            return fAdd(fAdd(fMul(kc[0], S(0)), fMul(kc[1], fAdd(S(-1), S(1)))),
                        fMul(kc[2], fAdd(S(-2), S(2))));
        case FormAsym3Unit:
            return fSub(S(1), S(-1));
        case FormAsym3Neg:
            return fSub(S(-1), S(1));
        case FormAsym3:
            return fMul(kc[1], fSub(S(1), S(-1)));
        case FormAsym5:
            return fAdd(fMul(kc[1], fSub(S(1), S(-1))), fMul(kc[2], fSub(S(2), S(-2))));
        default:
            return fMul(kc[0], S(0));
    }
}

// ---------------------------------------------------------------- vector operators

struct RowNoVec {
    RowNoVec() {}
    template <typename K>
    RowNoVec(const K*, int, int) {}
    int operator()(const unsigned char*, unsigned char*, int, int) const { return 0; }
};
struct ColumnNoVec {
    ColumnNoVec() {}
    int operator()(const unsigned char**, unsigned char*, int) const { return 0; }
};
struct FilterNoVec {
    FilterNoVec() {}
    template <typename K>
    FilterNoVec(const K*, int, double) {}
    int operator()(const unsigned char**, unsigned char*, int) const { return 0; }
};

// Byte rows to int rows, general kernel. Off for kernels with entries outside
// the 16-bit range (the vector products are meant to stay small).
struct RowVec_8u32s {
    RowVec_8u32s() {}
    RowVec_8u32s(const int* k, int n, int /*form*/) : kx(k, k + n) {
        for (int v : kx) ok = ok && v >= -32768 && v <= 32767;
    }
    int operator()(const unsigned char* src, unsigned char* dst, int width, int cn) const {
        if (!ok || kx.empty() || !checkHardwareSupport(CPU_INT_VECTORS)) return 0;
        return detail::vecRow8u32s(src, reinterpret_cast<int32_t*>(dst), width * cn, kx.data(),
                                   int(kx.size()), cn);
    }
    std::vector<int32_t> kx;
    bool ok = true;
};

struct RowVec_32f {
    RowVec_32f() {}
    RowVec_32f(const float* k, int n, int /*form*/) : kx(k, k + n) {}
    int operator()(const unsigned char* src, unsigned char* dst, int width, int cn) const {
        if (kx.empty() || !checkHardwareSupport(CPU_FLOAT_VECTORS)) return 0;
        return detail::vecRow32f(reinterpret_cast<const float*>(src), reinterpret_cast<float*>(dst),
                                 width * cn, kx.data(), int(kx.size()), cn);
    }
    std::vector<float> kx;
};

// Small symmetric rows; kc holds the kernel from its middle on.
struct SymmRowSmallVec_8u32s {
    SymmRowSmallVec_8u32s() {}
    SymmRowSmallVec_8u32s(const int* k, int n, int form_) : form(form_) {
        for (int i = 0; i < n; i++) ok = ok && k[i] >= -32768 && k[i] <= 32767;
        for (int i = n / 2; i < n && kc.size() < 3; i++) kc.push_back(k[i]);
        while (kc.size() < 3) kc.push_back(0);
        half = n / 2;
    }
    int operator()(const unsigned char* src, unsigned char* dst, int width, int cn) const {
        if (!ok || form == detail::FormGeneric || !checkHardwareSupport(CPU_INT_VECTORS)) return 0;
        return detail::vecSymmRowSmall8u32s(src + half * cn, reinterpret_cast<int32_t*>(dst),
                                            width * cn, kc.data(), form, cn);
    }
    std::vector<int32_t> kc;
    int form = 0, half = 0;
    bool ok = true;
};

struct SymmRowSmallVec_32f {
    SymmRowSmallVec_32f() {}
    SymmRowSmallVec_32f(const float* k, int n, int form_) : form(form_) {
        for (int i = n / 2; i < n && kc.size() < 3; i++) kc.push_back(k[i]);
        while (kc.size() < 3) kc.push_back(0);
        half = n / 2;
    }
    int operator()(const unsigned char* src, unsigned char* dst, int width, int cn) const {
        if (form == detail::FormGeneric || !checkHardwareSupport(CPU_FLOAT_VECTORS)) return 0;
        return detail::vecSymmRowSmall32f(reinterpret_cast<const float*>(src) + half * cn,
                                          reinterpret_cast<float*>(dst), width * cn, kc.data(),
                                          form, cn);
    }
    std::vector<float> kc;
    int form = 0, half = 0;
};

// Int rows to bytes through the fixed-point cast; symmetric or antisymmetric.
// Built with the arithmetic the column filter runs: for the 3-tap class the
// effective kernel of its closed form.
struct SymmColumnVec_32s8u {
    SymmColumnVec_32s8u() {}
    SymmColumnVec_32s8u(const int* kc_, int half_, bool symm, int delta_, int bits)
        : kc(kc_, kc_ + half_ + 1), half(half_), symmetric(symm), delta(delta_), shift(bits) {}
    int operator()(const unsigned char** src, unsigned char* dst, int width) const {
        if (!checkHardwareSupport(CPU_INT_VECTORS)) return 0;
        return detail::vecSymmCol32s8u(reinterpret_cast<const int32_t* const*>(src) + half, dst,
                                       width, kc.data(), half, symmetric, delta, shift);
    }
    std::vector<int32_t> kc;
    int half = 0;
    bool symmetric = true;
    int delta = 0, shift = 0;
};

struct SymmColumnVec_32f {
    SymmColumnVec_32f() {}
    SymmColumnVec_32f(const float* kc_, int half_, bool symm, float delta_, int)
        : kc(kc_, kc_ + half_ + 1), half(half_), symmetric(symm), delta(delta_) {}
    int operator()(const unsigned char** src, unsigned char* dst, int width) const {
        if (!checkHardwareSupport(CPU_FLOAT_VECTORS)) return 0;
        return detail::vecSymmCol32f(reinterpret_cast<const float* const*>(src) + half,
                                     reinterpret_cast<float*>(dst), width, kc.data(), half,
                                     symmetric, delta);
    }
    std::vector<float> kc;
    int half = 0;
    bool symmetric = true;
    float delta = 0;
};

struct SymmColumnSmallVec_32s16s {
    SymmColumnSmallVec_32s16s() {}
    SymmColumnSmallVec_32s16s(int form_, int k0_, int k1_, int delta_)
        : form(form_), k0(k0_), k1(k1_), delta(delta_) {}
    int operator()(const unsigned char** src, unsigned char* dst, int width) const {
        if (!checkHardwareSupport(CPU_INT_VECTORS)) return 0;
        return detail::vecSymmColSmall32s16s(reinterpret_cast<const int32_t* const*>(src) + 1,
                                             reinterpret_cast<int16_t*>(dst), width, form, k0, k1,
                                             delta);
    }
    int form = 0, k0 = 0, k1 = 0, delta = 0;
};

struct SymmColumnSmallVec_32f {
    SymmColumnSmallVec_32f() {}
    SymmColumnSmallVec_32f(int form_, float k0_, float k1_, float delta_)
        : form(form_), k0(k0_), k1(k1_), delta(delta_) {}
    int operator()(const unsigned char** src, unsigned char* dst, int width) const {
        if (!checkHardwareSupport(CPU_FLOAT_VECTORS)) return 0;
        return detail::vecSymmColSmall32f(reinterpret_cast<const float* const*>(src) + 1,
                                          reinterpret_cast<float*>(dst), width, form, k0, k1,
                                          delta);
    }
    int form = 0;
    float k0 = 0, k1 = 0, delta = 0;
};

// 2-D byte and float filters with float coefficients; ptrs holds one source
// pointer per non-zero tap.
struct FilterVec_8u {
    FilterVec_8u() {}
    FilterVec_8u(const float* c, int nz, double delta_) : coeffs(c, c + nz), delta(float(delta_)) {}
    int operator()(const unsigned char** ptrs, unsigned char* dst, int width) const {
        if (coeffs.empty() || !checkHardwareSupport(CPU_INT_VECTORS)) return 0;
        return detail::vecFilter8u(ptrs, coeffs.data(), int(coeffs.size()), dst, width, delta);
    }
    std::vector<float> coeffs;
    float delta = 0;
};

struct FilterVec_32f {
    FilterVec_32f() {}
    FilterVec_32f(const float* c, int nz, double delta_)
        : coeffs(c, c + nz), delta(float(delta_)) {}
    int operator()(const unsigned char** ptrs, unsigned char* dst, int width) const {
        if (coeffs.empty() || !checkHardwareSupport(CPU_FLOAT_VECTORS)) return 0;
        return detail::vecFilter32f(reinterpret_cast<const float* const*>(ptrs), coeffs.data(),
                                    int(coeffs.size()), reinterpret_cast<float*>(dst), width,
                                    delta);
    }
    std::vector<float> coeffs;
    float delta = 0;
};

// ---------------------------------------------------------------- filter templates

// Kernel entries of a one-row or one-column Mat of depth T, in index order.
template <typename T>
std::vector<T> kernelVector(const Mat& k) {
    std::vector<T> v;
    const int n = k.rows() * k.cols();
    v.reserve(size_t(n));
    for (int r = 0; r < k.rows(); r++)
        for (int c = 0; c < k.cols(); c++) v.push_back(k.ptr<T>(r)[c]);
    return v;
}

// Output i = sum over k of kernel[k] * source[i + k cn].
template <typename ST, typename DT, typename VecOp>
class RowFilter : public BaseRowFilter {
public:
    RowFilter(const Mat& kernel_, int anchor_, int form = 0)
        : kernel(kernel_), kx(kernelVector<DT>(kernel_)), vecOp(kx.data(), int(kx.size()), form) {
        ksize = int(kx.size());
        anchor = anchor_;
    }
    void operator()(const unsigned char* src, unsigned char* dst, int width, int cn) override {
        const ST* S = reinterpret_cast<const ST*>(src);
        DT* D = reinterpret_cast<DT*>(dst);
        const DT* k = kx.data();
        const int n = width * cn;
        for (int i = vecOp(src, dst, width, cn); i < n; i++) {
            DT s = DT(0);
            for (int j = 0; j < ksize; j++) s = fAdd(s, fMul(k[j], DT(S[i + j * cn])));
            D[i] = s;
        }
    }

    Mat kernel;
    std::vector<DT> kx;
    VecOp vecOp;
};

// Symmetric or antisymmetric rows of 1, 3 or 5 taps through closed forms.
template <typename ST, typename DT, typename VecOp>
class SymmRowSmallFilter : public RowFilter<ST, DT, VecOp> {
public:
    SymmRowSmallFilter(const Mat& kernel_, int anchor_, int symmetryType_)
        : RowFilter<ST, DT, VecOp>(
              kernel_, anchor_,
              smallRowForm(kernelVector<DT>(kernel_).data() + (kernel_.rows() * kernel_.cols()) / 2,
                           kernel_.rows() * kernel_.cols(), symmetryType_)),
          symmetryType(symmetryType_) {
        const int half = this->ksize / 2;
        form = smallRowForm(this->kx.data() + half, this->ksize, symmetryType);
    }
    void operator()(const unsigned char* src, unsigned char* dst, int width, int cn) override {
        const int half = this->ksize / 2;
        const ST* S = reinterpret_cast<const ST*>(src) + half * cn;
        DT* D = reinterpret_cast<DT*>(dst);
        const DT* kc = this->kx.data() + half;
        const int n = width * cn;
        int i = this->vecOp(src, dst, width, cn);
        if (form == detail::FormGeneric) {
            const bool symm = (symmetryType & KernelSymmetrical) != 0;
            for (; i < n; i++) {
                DT s = fMul(kc[0], DT(S[i]));
                for (int k = 1; k <= half; k++) {
                    const DT a = DT(S[i + k * cn]), b = DT(S[i - k * cn]);
                    s = fAdd(s, fMul(kc[k], symm ? fAdd(a, b) : fSub(a, b)));
                }
                D[i] = s;
            }
            return;
        }
        for (; i < n; i++)
            D[i] = evalSmallForm<DT>(form, kc, [&](int d) { return DT(S[i + d * cn]); });
    }

    int symmetryType;
    int form = 0;
};

// output = cast(delta + sum over k of kernel[k] * rows[k][i]).
template <typename CastOp, typename VecOp>
class ColumnFilter : public BaseColumnFilter {
public:
    typedef typename CastOp::type1 ST;
    typedef typename CastOp::rtype DT;

    ColumnFilter(const Mat& kernel_, int anchor_, double delta_, const CastOp& cast = CastOp(),
                 const VecOp& vec = VecOp())
        : kernel(kernel_), castOp(cast), vecOp(vec), ky(kernelVector<ST>(kernel_)) {
        if constexpr (std::is_integral<ST>::value)
            delta = ST(roundInt(delta_));
        else
            delta = ST(delta_);
        ksize = int(ky.size());
        anchor = anchor_;
    }
    void operator()(const unsigned char** src, unsigned char* dst, int dststep, int count,
                    int width) override {
        const ST* k = ky.data();
        for (; count > 0; count--, dst += dststep, src++) {
            DT* D = reinterpret_cast<DT*>(dst);
            for (int i = vecOp(src, dst, width); i < width; i++) {
                ST s = delta;
                for (int j = 0; j < ksize; j++)
                    s = fAdd(s, fMul(k[j], reinterpret_cast<const ST*>(src[j])[i]));
                D[i] = castOp(s);
            }
        }
    }

    Mat kernel;
    CastOp castOp;
    VecOp vecOp;
    ST delta;
    std::vector<ST> ky;
};

template <typename CastOp, typename VecOp>
class SymmColumnFilter : public ColumnFilter<CastOp, VecOp> {
public:
    typedef typename CastOp::type1 ST;
    typedef typename CastOp::rtype DT;

    SymmColumnFilter(const Mat& kernel_, int anchor_, double delta_, int symmetryType_,
                     const CastOp& cast = CastOp(), const VecOp& vec = VecOp())
        : ColumnFilter<CastOp, VecOp>(kernel_, anchor_, delta_, cast, vec),
          symmetryType(symmetryType_) {}
    void operator()(const unsigned char** src, unsigned char* dst, int dststep, int count,
                    int width) override {
        const int half = this->ksize / 2;
        const ST* kc = this->ky.data() + half;
        const bool symm = (symmetryType & KernelSymmetrical) != 0;
        for (; count > 0; count--, dst += dststep, src++) {
            DT* D = reinterpret_cast<DT*>(dst);
            const ST* const* S = reinterpret_cast<const ST* const*>(src) + half;
            for (int i = this->vecOp(src, dst, width); i < width; i++) {
                ST s = this->delta;
                if (symm) s = fAdd(s, fMul(kc[0], S[0][i]));
                for (int k = 1; k <= half; k++)
                    s = fAdd(s,
                             fMul(kc[k], symm ? fAdd(S[k][i], S[-k][i]) : fSub(S[k][i], S[-k][i])));
                D[i] = this->castOp(s);
            }
        }
    }

    int symmetryType;
};

// Three taps through closed forms (see smallColumnForm).
template <typename CastOp, typename VecOp>
class SymmColumnSmallFilter : public SymmColumnFilter<CastOp, VecOp> {
public:
    typedef typename CastOp::type1 ST;
    typedef typename CastOp::rtype DT;

    SymmColumnSmallFilter(const Mat& kernel_, int anchor_, double delta_, int symmetryType_,
                          const CastOp& cast = CastOp(), const VecOp& vec = VecOp())
        : SymmColumnFilter<CastOp, VecOp>(kernel_, anchor_, delta_, symmetryType_, cast, vec) {
        form = smallColumnForm(this->ky.data() + 1, symmetryType_);
    }
    void operator()(const unsigned char** src, unsigned char* dst, int dststep, int count,
                    int width) override {
        const ST* kc = this->ky.data() + 1;
        for (; count > 0; count--, dst += dststep, src++) {
            DT* D = reinterpret_cast<DT*>(dst);
            const ST* const* S = reinterpret_cast<const ST* const*>(src) + 1;
            for (int i = this->vecOp(src, dst, width); i < width; i++) {
                const ST v = evalSmallForm<ST>(form, kc, [&](int d) { return S[d][i]; });
                D[i] = this->castOp(fAdd(v, this->delta));
            }
        }
    }

    int form = 0;
};

// Non-separable filter over the non-zero taps of the kernel.
template <typename ST, typename CastOp, typename VecOp>
class Filter2D : public BaseFilter {
public:
    typedef typename CastOp::type1 KT;
    typedef typename CastOp::rtype DT;

    Filter2D(const Mat& kernel, Point2_<int> anchor_, double delta_, const CastOp& cast = CastOp())
        : delta(KT(delta_)), castOp(cast) {
        preprocess2DKernel(kernel, coords, coeffs);
        ksize = Size_<int>(kernel.cols(), kernel.rows());
        anchor = anchor_;
        const int nz = int(coords.size());
        vecOp = VecOp(reinterpret_cast<const KT*>(coeffs.data()), nz, delta_);
    }
    void operator()(const unsigned char** src, unsigned char* dst, int dststep, int count,
                    int width, int cn) override {
        const int nz = int(coords.size());
        const KT* kf = reinterpret_cast<const KT*>(coeffs.data());
        // Row pointers live on the stack so that copies of an engine can
        // share this stage across threads.
        AutoBuffer<const ST*, 512> buf(unsigned(nz > 0 ? nz : 1));
        const ST** ptrs = buf;
        width *= cn;
        for (; count > 0; count--, dst += dststep, src++) {
            DT* D = reinterpret_cast<DT*>(dst);
            for (int k = 0; k < nz; k++)
                ptrs[k] = reinterpret_cast<const ST*>(src[coords[k].y]) + coords[k].x * cn;
            int i = vecOp(reinterpret_cast<const unsigned char**>(ptrs), dst, width);
            for (; i < width; i++) {
                KT s = delta;
                for (int k = 0; k < nz; k++) s = s + kf[k] * KT(ptrs[k][i]);
                D[i] = castOp(s);
            }
        }
    }

    std::vector<Point2_<int>> coords;
    std::vector<unsigned char> coeffs;
    KT delta;
    CastOp castOp;
    VecOp vecOp;
};

}  // namespace ip
}  // namespace tarvo
