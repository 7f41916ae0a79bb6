// ip::histogramEqualize: the 8-bit operator, and the general form with any
// bin count and an optional mask that maps each element to its interpolated
// cumulative share.
#include <cstdlib>

#include "detail/aliasing.h"
#include "tarvo/ip/photo.h"
#include "tarvo/saturate.h"

namespace tarvo {

namespace {

// Largest bin count of the general form: the bin table takes 16 bytes a bin.
constexpr int kMaxBins = 1 << 24;

struct Bin {
    long long count;
    float lower;  // share of the elements below the bin
    float upper;  // share of the elements up to and including the bin
};

template <typename T>
void equalizeGeneral(Mat& m, int bins, const Mat* mask) {
    // Byte samples meet the float minimum in float, doubles in double.
    using Acc = decltype(T() - 0.0f);
    const int rows = m.rows(), cols = m.cols();
    const bool joined = m.isContinuous();
    const bool maskJoined = mask && mask->isContinuous();
    const auto row = [&](int y) {
        return joined ? reinterpret_cast<T*>(m.data.ptr[0]) + (size_t)y * cols
                      : reinterpret_cast<T*>(m.data.ptr[y]);
    };
    const auto maskRow = [&](int y) -> const unsigned char* {
        if (!mask) return nullptr;
        return maskJoined ? mask->data.ptr[0] + (size_t)y * cols : mask->data.ptr[y];
    };

    // Range of the taking-part elements in single precision; with a mask it
    // starts from element 0 whether that one is masked or not.
    float mn = float(row(0)[0]), mx = mn;
    long long count = 0;
    for (int y = 0; y < rows; y++) {
        const T* p = row(y);
        const unsigned char* k = maskRow(y);
        for (int x = 0; x < cols; x++) {
            if (k && !k[x]) continue;
            const float v = float(p[x]);
            if (v < mn) mn = v;
            if (v > mx) mx = v;
            count++;
        }
    }
    const float width = (mx - mn) / float(bins);
    // All taking-part elements equal: every one falls at the start of bin 0.
    const bool flat = !(width > 0.0f);

    Bin* table = static_cast<Bin*>(std::calloc((size_t)bins, sizeof(Bin)));
    if (!table) return;
    const auto position = [&](T v) -> Acc { return flat ? Acc(0) : (Acc(v) - mn) / width; };
    const auto binOf = [&](Acc pos) {
        const int b = truncInt(double(pos));
        return b < 0 ? 0 : b >= bins ? bins - 1 : b;
    };
    for (int y = 0; y < rows; y++) {
        const T* p = row(y);
        const unsigned char* k = maskRow(y);
        for (int x = 0; x < cols; x++)
            if (!k || k[x]) table[binOf(position(p[x]))].count++;
    }
    long long s = 0;
    if (count > 0) {
        for (int i = 0; i < bins; i++) {
            // Without a mask the total is a float, with one a double.
            if (mask) {
                table[i].lower = float(double(s) / double(count));
                s += table[i].count;
                table[i].upper = float(double(s) / double(count));
            } else {
                const float total = float((long long)rows * cols);
                table[i].lower = float(s) / total;
                s += table[i].count;
                table[i].upper = float(s) / total;
            }
        }
    }
    for (int y = 0; y < rows; y++) {
        T* p = row(y);
        const unsigned char* k = maskRow(y);
        for (int x = 0; x < cols; x++) {
            if (k && !k[x]) {
                p[x] = T(0);
                continue;
            }
            const Acc pos = position(p[x]);
            const Bin& b = table[binOf(pos)];
            const double frac = double(pos - Acc(truncInt(double(pos))));
            const double v = double(b.lower) * (1.0 - frac) + double(b.upper) * frac;
            p[x] = saturate_trunc<T>(v);
        }
    }
    std::free(table);
}

// Runs the general form on m in place; see the header for what is refused.
void equalizeGeneral(Mat& m, int bins, const Mat* mask) {
    if (m.empty() || m.rows() <= 0 || m.cols() <= 0 || bins < 1 || bins > kMaxBins) return;
    if (mask && mask->isValid() && !mask->isEqualSize(m)) return;
    if (mask && !mask->isValid()) mask = nullptr;
    if (m.type() == MAT_Tuchar)
        equalizeGeneral<unsigned char>(m, bins, mask);
    else if (m.type() == MAT_Tdouble)
        equalizeGeneral<double>(m, bins, mask);
}

}  // namespace

namespace ip {

void histogramEqualize(const Mat& srcIn, Mat& dst, int bins, Mat* mask) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    if (bins == 256 && !mask) {
        ipHistogramEqualize op;
        op.ipHistogramEqualize::process(const_cast<Mat*>(&src), &dst);
        return;
    }
    if (&dst != &src) dst = src;
    equalizeGeneral(dst, bins, mask);
}

void histogramEqualize(Mat& image, int bins, Mat* mask) {
    if (bins == 256 && !mask) {
        ipHistogramEqualize op;
        op.ipHistogramEqualize::process(&image, nullptr);
        return;
    }
    equalizeGeneral(image, bins, mask);
}

}  // namespace ip
}  // namespace tarvo
