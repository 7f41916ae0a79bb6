// Checked size arithmetic. Every byte count, row size, rectangle end, kernel
// size, anchor, ring height and allocation size of the library goes through
// these helpers, so a hostile argument becomes a refusal instead of a wrapped
// int, a negative memmove length or an escaping std::bad_alloc.
//
// Invariant: a helper that returns true has stored the exact mathematical
// result, which fits its output type; one that returns false has stored
// nothing usable and the caller refuses the request.
#pragma once

#include <climits>
#include <cstdint>
#include <new>

namespace tarvo {
namespace detail {

// Largest single block a call allocates for its own work (rings, tables,
// copies, pyramids). Anything larger is an absurd request for an image library
// and is refused before the allocator is asked.
constexpr int64_t kMaxWorkBytes = int64_t(1) << 34;

// out = a * b; false on 64-bit overflow.
inline bool checkedMul(int64_t a, int64_t b, int64_t& out) {
    return !__builtin_mul_overflow(a, b, &out);
}
// out = a * b * c; false on 64-bit overflow.
inline bool checkedMul(int64_t a, int64_t b, int64_t c, int64_t& out) {
    int64_t ab;
    return checkedMul(a, b, ab) && checkedMul(ab, c, out);
}
// out = a + b; false on 64-bit overflow.
inline bool checkedAdd(int64_t a, int64_t b, int64_t& out) {
    return !__builtin_add_overflow(a, b, &out);
}

// out = a * b as an int; false when the product leaves int's range.
inline bool checkedMulInt(int64_t a, int64_t b, int& out) {
    int64_t p;
    if (!checkedMul(a, b, p) || p < INT_MIN || p > INT_MAX) return false;
    out = int(p);
    return true;
}
// out = a + b as an int; false when the sum leaves int's range.
inline bool checkedAddInt(int64_t a, int64_t b, int& out) {
    const int64_t s = a + b;  // two ints (or int-ranged values) cannot overflow 64 bits
    if (s < INT_MIN || s > INT_MAX) return false;
    out = int(s);
    return true;
}

// True when n elements of `elemBytes` bytes each stay within kMaxWorkBytes.
inline bool workFits(int64_t n, int64_t elemBytes) {
    int64_t bytes;
    return n >= 0 && elemBytes >= 0 && checkedMul(n, elemBytes, bytes) && bytes <= kMaxWorkBytes;
}

// Output size a call may derive from an input of its own (a resize target, a
// pyramid size hint, padded margins): at most kMaxAreaGrowth times the input's
// area plus kMaxAreaSlack pixels. A 16-fold enlargement per side, or any
// output of up to a 4096 x 4096 canvas, stays legal; a million-pixel-wide row
// asked of a 70 x 70 picture is refused before anything is allocated.
constexpr int64_t kMaxAreaGrowth = 256;
constexpr int64_t kMaxAreaSlack = int64_t(1) << 24;

// True when an outW x outH result may be made from an inW x inH input
// (non-negative sizes; the products are exact in 64 bits for int sides).
inline bool outputAreaFits(int64_t inW, int64_t inH, int64_t outW, int64_t outH) {
    if (inW < 0 || inH < 0 || outW < 0 || outH < 0) return false;
    int64_t in, out, limit;
    return checkedMul(inW, inH, in) && checkedMul(outW, outH, out) &&
           checkedMul(in, kMaxAreaGrowth, limit) && checkedAdd(limit, kMaxAreaSlack, limit) &&
           out <= limit;
}

// The odd window 2 * radius + 1, false when it leaves int's range or radius < 0.
inline bool windowFromRadius(int64_t radius, int& size) {
    if (radius < 0) return false;
    return radius <= INT_MAX && checkedAddInt(radius * 2, 1, size);
}

// Runs f() and reports whether it finished without running out of memory, so
// that an allocation failure inside a call turns into a refusal.
template <typename F>
bool tryAlloc(F&& f) noexcept {
    try {
        f();
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    } catch (...) {
        return false;
    }
}

}  // namespace detail
}  // namespace tarvo
