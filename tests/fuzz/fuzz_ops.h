// The operator fuzzer's registry and input helpers. Each family lists its
// operations in a file of its own (fuzz_ops_<family>.cpp):
//
//     const FuzzOp kOps[] = {{"gaussian", [](FuzzInput& in) { ... }}, ...};
//     TARVO_FUZZ_OPS(kOps);
//
// The driver picks one entry per input and runs it; every entry builds its
// matrices and parameters from the input bytes through FuzzInput.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarvo/mat.h"

namespace fuzz {

class FuzzInput {
public:
    FuzzInput(const uint8_t* data, size_t size) : p_(data), n_(size) {}

    // An integer in [lo, hi] (lo when the input is exhausted).
    int range(int lo, int hi);
    // A byte, 0 when the input is exhausted.
    uint8_t byte() { return i_ < n_ ? p_[i_++] : 0; }
    bool flag() { return byte() & 1; }
    // An int that is usually small, sometimes hostile (0, -1, INT_MIN, INT_MAX, 2^k).
    int hostileInt(int smallLo, int smallHi);
    // An int that is usually small and sometimes one that must be refused
    // (-1, INT_MIN, INT_MAX): for sizes whose legal large values only cost time.
    int refusedOrSmall(int smallLo, int smallHi);
    // A double that is usually ordinary, sometimes NaN, +-inf, huge or tiny.
    double hostileDouble(double lo, double hi);
    float hostileFloat(float lo, float hi) { return float(hostileDouble(lo, hi)); }

    // A random matrix: 0 to 70 rows and columns (0 gives an empty matrix),
    // depths 1..5 (or `depth` when > 0), 1..4 channels (or `cn` when > 0),
    // filled from the input. The result is a deep copy.
    tarvo::Mat mat(int depth = 0, int cn = 0);

private:
    const uint8_t* p_;
    size_t n_;
    size_t i_ = 0;
};

// How an operation's source and destination meet, chosen by the input.
//   Separate: dst is a fresh or random unrelated matrix;
//   Same:     dst is the source object itself (in place);
//   Owner:    the source is a sub-matrix reference into dst's own pixels;
//   Sibling:  source and dst are overlapping references into one parent.
// run(src, dst) is called once with the chosen arrangement; with Separate
// and Owner, the bytes are also compared against a call on private copies,
// which must give the same result (the aliasing rule).
template <typename F>
void withArrangement(FuzzInput& in, tarvo::Mat src, F run);

struct FuzzOp {
    const char* name;
    void (*run)(FuzzInput& in);
};

struct FuzzRegistrar {
    FuzzRegistrar(const FuzzOp* ops, size_t n);
};

#define TARVO_FUZZ_CAT2(a, b) a##b
#define TARVO_FUZZ_CAT(a, b) TARVO_FUZZ_CAT2(a, b)
#define TARVO_FUZZ_OPS(table)                                                    \
    static const ::fuzz::FuzzRegistrar TARVO_FUZZ_CAT(fuzzRegistrar_, __LINE__)( \
        table, sizeof(table) / sizeof((table)[0]))

// Bytes of every row, for comparisons.
bool sameBytes(const tarvo::Mat& a, const tarvo::Mat& b);
// Reads every byte of every row, so that sanitizers see stale or freed rows,
// and records the matrix as one of the run's results (see observe).
void touch(const tarvo::Mat& m);
// Records a result of the current run: the driver runs every input twice with
// different debug fills of fresh pixel blocks, and the recorded results must
// agree (a byte no call wrote would differ). Use for results touch() misses.
void observe(const void* bytes, size_t n);
// Aborts with a message naming the operation (a fuzzer finding).
[[noreturn]] void fail(const char* what);

template <typename F>
void withArrangement(FuzzInput& in, tarvo::Mat src, F run) {
    using tarvo::Mat;
    const int how = in.range(0, 3);
    if (how == 1) {
        run(src, src);
        touch(src);
        return;
    }
    if (src.empty() || how == 0) {
        Mat dst = in.flag() ? Mat() : in.mat();
        run(src, dst);
        touch(dst);
        return;
    }
    // A parent with a one-pixel frame around the source's pixels.
    Mat parent(src.rows() + 2, src.cols() + 2, src.type1(), tarvo::Point4_<double>(5.0));
    if (parent.empty()) return;
    Mat inner;
    parent.subRefMat(tarvo::Rect_<int>(1, 1, src.cols(), src.rows()), inner);
    src.copyTo(inner);
    if (how == 2) {
        // Reference run on private copies: what the aliased call must equal.
        Mat plainSrc(src), plainDst(parent);
        run(plainSrc, plainDst);
        run(inner, parent);
        touch(parent);
        if (!sameBytes(parent, plainDst)) fail("owner-aliased call differs from separate call");
        return;
    }
    Mat other;
    parent.subRefMat(tarvo::Rect_<int>(0, 0, src.cols(), src.rows()), other);
    run(inner, other);
    touch(other);
    touch(parent);
}

}  // namespace fuzz
