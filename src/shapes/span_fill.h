// The span queue shared by the flood fill and the selection fill.
#pragma once

#include <vector>

namespace tarvo {
namespace ip {
namespace detail {

// A run of pixels [left, right] on row y.
struct Span {
    int left, right, y;
};

// First-in first-out queue of spans. When the end of the buffer is reached
// the live entries move to a buffer of twice the capacity, so it holds any
// number of spans; capacity() records the current size.
struct SpanQueue {
    std::vector<Span> buf;
    long long head = 0, count = 0;
    explicit SpanQueue(long long capacity) : buf(size_t(capacity > 16 ? capacity : 16)) {}
    long long capacity() const { return (long long)buf.size(); }
    bool push(const Span& s);
    Span pop();
};

}  // namespace detail
}  // namespace ip
}  // namespace tarvo
