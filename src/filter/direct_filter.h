// Shared pieces of the direct convolution and median routines: the row
// stripes on the parallel loop and the vector kernels (direct_filter_simd.cpp,
// median_simd.cpp). Each kernel returns how many elements of the row it
// wrote, so the scalar loop finishes the rest.
#pragma once

#include <cstdint>
#include <functional>

namespace tarvo {
namespace detail {

// Runs body(y0, y1) over stripes of rows [0, n); pixels is the work size that
// decides how many stripes are worth a thread.
void directParallelRows(int n, double pixels, const std::function<void(int, int)>& body);

// Largest absolute sum of a byte window under an integer kernel that the
// vector kernel of convolve2 accepts: sums stay exact in int32 lanes and in
// float (below 2^24), so the float quotient truncates to the integer one.
constexpr int64_t kConvVecSumLimit = (int64_t(1) << 24) - 1;

// One output row of convolve2 kind 0 on bytes, elements [from, to) of the
// row (pixel index times cn plus channel). rows[j] is the source row of
// kernel row j, already offset so that rows[j][e] is the sample under tap
// (j, 0) for output element e; tap i adds i * cn. Writes clamp(offset +
// trunc(sum / divisor)) and returns the first element not written.
int vecConvolveRowU8(const uint8_t* const* rows, const int* kernel, int n, int cn, int divisor,
                     int offset, int from, int to, uint8_t* dst);

// One line of a convolve2sep pass on bytes: dst[j] = clamp(trunc(sum over
// i < taps of k[i] * ptrs[i][j] / divisor)) for j in [0, count). The caller
// admits only kernels whose sums stay below 2^24 in magnitude (255 times the
// sum of |k|), so int32 lanes and the float quotient are exact (see
// vecConvolveRowU8). Returns how many leading elements it wrote.
int vecSepTapsU8(const uint8_t* const* ptrs, const int* k, int taps, int divisor, int count,
                 uint8_t* dst);

// Median of 3 x 3 or 5 x 5 (n) byte windows for output elements [from, to)
// of a row: rows[j] is the source row y - n/2 + j, taps at e + (i - n/2) * cn.
// Returns the first element not written.
int vecMedianRowU8(const uint8_t* const* rows, int n, int cn, int from, int to, uint8_t* dst);

// Two rows y, y + 1 of 5 x 5 byte medians for elements [from, to): rows[j]
// is source row y - 2 + j (j < 6), taps at e + (i - 2) * cn. Returns the
// first element not written (the same in both rows).
int vecMedian5Rows2U8(const uint8_t* const* rows, int cn, int from, int to, uint8_t* dst0,
                      uint8_t* dst1);

// 5-wide byte windows clipped to r = 3 or 4 rows for elements [from, to):
// rows[0 .. r) are the rows inside the window, taps at e + (i - 2) * cn; the
// result is the sample at rank 5 r / 2. Returns the first element not written.
int vecMedian5ClippedU8(const uint8_t* const* rows, int r, int cn, int from, int to, uint8_t* dst);

// One stripe of the byte median by rank search over running column
// histograms (median_simd.cpp): rows [ya, yb) of channel `channel`, window
// taps -tyLo..tyHi by -txLo..txHi clipped to the image, the result the
// sample at rank count / 2. src and dst are row tables; scratch holds
// cols * 272 16-bit counts, so every clipped window must hold at most 65535
// samples. Returns false (nothing written) where no vector code runs.
struct HistStripe {
    const uint8_t* const* src;
    uint8_t* const* dst;
    uint16_t* scratch;
    int rows, cols, cn, channel;
    int tyLo, tyHi, txLo, txHi;
    int ya, yb;
};
bool vecHistMedianStripe(const HistStripe& s);

}  // namespace detail
}  // namespace tarvo
