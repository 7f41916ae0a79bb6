// The table of fast transform lengths, generated at compile time.
#include <array>
#include <cstdint>

#include "tarvo/ip/transforms.h"

namespace tarvo {

namespace {

constexpr int64_t kLargestSize = 2125764000;  // 2^5 3^12 5^3, the largest length kept
constexpr int kSizeCount = 1651;

constexpr bool tooManyThrees(int64_t v) {
    int b = 0;
    while (v % 3 == 0) {
        v /= 3;
        b++;
    }
    return b > 14;
}

// All 2^a 3^b 5^c up to kLargestSize with b <= 14, ascending: the three-pointer
// merge of the numbers times 2, 3 and 5 (each product is produced once),
// dropping those with more than fourteen factors 3.
constexpr std::array<int, kSizeCount> makeSizes() {
    std::array<int64_t, 2000> h{};
    h[0] = 1;
    int n = 1, i2 = 0, i3 = 0, i5 = 0;
    while (n < 2000) {
        const int64_t a = h[i2] * 2, b = h[i3] * 3, c = h[i5] * 5;
        int64_t m = a < b ? a : b;
        m = m < c ? m : c;
        if (m > kLargestSize) break;
        h[n++] = m;
        if (m == a) i2++;
        if (m == b) i3++;
        if (m == c) i5++;
    }
    std::array<int, kSizeCount> out{};
    int k = 0;
    for (int i = 0; i < n && k < kSizeCount; i++)
        if (!tooManyThrees(h[i])) out[k++] = int(h[i]);
    return out;
}

constexpr std::array<int, kSizeCount> kSizes = makeSizes();
static_assert(kSizes[0] == 1 && kSizes[11] == 16, "table start");
static_assert(kSizes[kSizeCount - 1] == kLargestSize, "table end");

}  // namespace

int getOptimalDFTSize(int size) {
    if (size < 0 || size >= kLargestSize) return -1;
    int lo = 0, hi = kSizeCount - 1;
    while (lo < hi) {
        const int mid = (lo + hi) >> 1;
        if (size <= kSizes[size_t(mid)])
            hi = mid;
        else
            lo = mid + 1;
    }
    return kSizes[size_t(hi)];
}

}  // namespace tarvo
