// MatND, the n-dimensional dense store used for histograms.
#pragma once

#include "tarvo/export.h"
#include "tarvo/mat.h"
#include "tarvo/types.h"

namespace tarvo {

class TARVO_BASE_EXPORTS MatND {
public:
    // Sizes of the dimensions. p points into an int block whose word p[-1]
    // is the number of dimensions; at least two size words follow it (a
    // one-dimensional store reports 1 as its second size).
    struct TARVO_BASE_EXPORTS MSize {
        int* p;
        explicit MSize(int* p_) : p(p_) {}
        int& operator[](int i) { return p[i]; }
        const int& operator[](int i) const { return p[i]; }
        // Width p[1], height p[0].
        Size_<int> operator()() const { return Size_<int>(p[1], p[0]); }
        // Same dimension count and sizes.
        bool operator==(const MSize& o) const;
        bool operator!=(const MSize& o) const { return !(*this == o); }
    };
    // Byte strides of the dimensions. By default p points at the two words
    // of buf, both 0; MStep(int) stores the value in the first word.
    struct TARVO_BASE_EXPORTS MStep {
        int* p;
        int buf[2];
        MStep() : p(buf), buf{0, 0} {}
        explicit MStep(int s) : p(buf), buf{s, 0} {}
        MStep(const MStep& o) : p(buf), buf{o.buf[0], o.buf[1]} {
            if (o.p != o.buf) p = o.p;
        }
        MStep& operator=(const MStep& o) {
            buf[0] = o.buf[0];
            buf[1] = o.buf[1];
            p = o.p == o.buf ? buf : o.p;
            return *this;
        }
        int& operator[](int i) { return p[i]; }
        const int& operator[](int i) const { return p[i]; }
    };

    unsigned char* data;
    MSize size;
    MStep step;
    int m_type;  // depth (1..5); one value per element
    int m_dims;

    // An empty store (dims 0, double).
    MatND();
    // Allocates like create(dims, sizes, type, nullptr, clear).
    MatND(int dims, const int* sizes, int type, bool clear = true);
    // Deep copy.
    MatND(const MatND& o);
    MatND& operator=(const MatND& o);
    ~MatND();

    // Allocates a dims-dimensional store (1..32 dimensions, every size >= 1,
    // at most 2^31 elements) of depth type & 7. steps, when given, are the
    // byte strides of each dimension, outermost first; each must hold the
    // next dimension (steps[d] >= sizes[d+1] * steps[d+1], last >= element
    // size), otherwise dense strides are used. clear zeroes the data.
    // Returns 1, or -1 (empty store) when refused.
    int create(int dims, const int* sizes, int type, const int* steps = nullptr, bool clear = true);
    void release();
    // Sets every byte of the data to 0.
    void zero();
    // Converts the elements to `depth` (truncation for floating to integer,
    // saturated), re-laid out densely. Unchanged when empty or depth invalid.
    void convert(int depth, CASTTYPE cast = CT_Cast);

    bool isValid() const { return data != nullptr; }
    int dims() const { return m_dims; }
    int type() const { return m_type; }
    // Total number of elements (0 when empty).
    long long total() const;
    // Byte size of the data block.
    size_t dataBytes() const { return m_bytes; }

    // Unchecked element access by indices, outermost first.
    template <typename T>
    T& at(int i0) {
        return *reinterpret_cast<T*>(data + (size_t)i0 * step.p[0]);
    }
    template <typename T>
    T& at(int i0, int i1) {
        return *reinterpret_cast<T*>(data + (size_t)i0 * step.p[0] + (size_t)i1 * step.p[1]);
    }
    template <typename T>
    T& at(int i0, int i1, int i2) {
        return *reinterpret_cast<T*>(data + (size_t)i0 * step.p[0] + (size_t)i1 * step.p[1] +
                                     (size_t)i2 * step.p[2]);
    }
    template <typename T>
    T& at(const int* idx) {
        size_t off = 0;
        for (int d = 0; d < m_dims; d++) off += (size_t)idx[d] * step.p[d];
        return *reinterpret_cast<T*>(data + off);
    }

private:
    void initEmpty();
    int* m_block;    // [dims, sizes..., steps...]
    int m_empty[3];  // the size block of an empty store: {0, 0, 0}
    size_t m_bytes;
};

}  // namespace tarvo
