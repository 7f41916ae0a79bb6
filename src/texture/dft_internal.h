// The transform engine shared by dft, dct, the correlation tiles and the
// filter front end: accurate sine/cosine seeds, mixed-radix complex plans and
// the real (packed) kernels built on them.
//
// Every result depends only on the length and the data: twiddles come from
// our own double-double routine (the C library's sin varies in its last bit
// between builds and processors), the butterflies are plain multiplies and
// adds in a fixed order, and threads only split independent rows or columns.
#pragma once

#include <cstddef>
#include <vector>

#include "tarvo/parallel.h"

namespace tarvo {
namespace detail {

// sin and cos of 2 pi k / n (n >= 1), correctly reduced and accurate to
// about half an ulp; uses only basic IEEE operations.
void sinCos2Pi(long long k, long long n, double& s, double& c);

// Mixed-radix complex transform of one length. Data are interleaved (re, im).
template <typename T>
struct ComplexPlan {
    int n = 0;
    std::vector<int> factors;                      // stage radices, first stage first
    std::vector<int> perm;                         // perm[i]: input index that lands at position i
    std::vector<T> wave;                           // exp(-2 pi i k / n), k = 0..n-1, interleaved
    T c3 = 0, c5a = 0, c5b = 0, s5a = 0, s5b = 0;  // radix-3/5 constants
    void init(int len);
    // Forward transform of `in` into `out` (both n complex values, distinct
    // buffers); inverse conjugates on the way in and out. Every output is
    // multiplied by scale when scale != 1. `work` holds at least the largest
    // odd factor complex values.
    void run(const T* in, T* out, bool inverse, T scale, T* work) const;
    // The same for B transforms interleaved lane by lane: element i of
    // transform l at complex index i * B + l. Identical bits to B single runs.
    void runBatch(const T* in, T* out, int B, bool inverse, T scale, T* work) const;
    int maxFactor() const;
};

// Real transform of one length: packed (CCS) or complex layout rows.
template <typename T>
struct RealPlan {
    int n = 0;
    ComplexPlan<T> cplan;  // length n/2 for even n, n for odd n
    std::vector<T> post;   // exp(-2 pi i k / n), k = 0..n/2 (even n)
    void init(int len);
    // Scratch (in T elements) that forward/inverse need.
    size_t workSize() const;
    // Forward: n reals in, CCS out (n values) or, with complexOut, n/2 + 1
    // complex values (the rest untouched). scale multiplies the result.
    void forward(const T* in, T* out, bool complexOut, T scale, T* work) const;
    // Inverse: CCS in (n values) or, with complexIn, n/2 + 1 complex values;
    // n reals out, unscaled except for `scale`.
    void inverse(const T* in, T* out, bool complexIn, T scale, T* work) const;
    // kRows rows at once through the complex plan's lane-by-lane batch (even
    // n only): forward(in[l], out[l], ...) for each l, identical bits.
    // batchWorkSize() T elements of scratch.
    static constexpr int kRows = 8;
    size_t batchWorkSize() const;
    void forwardRows(const T* const* in, T* const* out, bool complexOut, T scale, T* work) const;
    void inverseRows(const T* const* in, T* const* out, bool complexIn, T scale, T* work) const;
};

// Runs f(Range) over [0, n) through parallel_for_ in about `stripes` pieces.
template <class F>
void parallelRange(int n, double stripes, const F& f) {
    struct Body : ParallelLoopBody {
        const F& fn;
        explicit Body(const F& g) : fn(g) {}
        void operator()(const Range& r) const override { fn(r); }
    } body(f);
    if (n <= 0) return;
    if (stripes <= 1.0 || n == 1)
        f(Range(0, n));
    else
        parallel_for_(Range(0, n), body, stripes);
}

// Eight interleaved transforms of plan P compiled for the best vector
// target (the same arithmetic lane by lane, so the same bits as the baseline
// build); false, doing nothing, while vector code is switched off.
bool runLanes8Vector(const ComplexPlan<float>& P, const float* in, float* out, bool inverse,
                     float scale, float* work);
bool runLanes8Vector(const ComplexPlan<double>& P, const double* in, double* out, bool inverse,
                     double scale, double* work);

extern template struct ComplexPlan<float>;
extern template struct ComplexPlan<double>;
extern template struct RealPlan<float>;
extern template struct RealPlan<double>;

}  // namespace detail
}  // namespace tarvo
