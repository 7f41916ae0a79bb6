// AutoBuffer: a scratch buffer with N elements inside the object, so small
// temporary buffers need no heap allocation.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace tarvo {

template <typename T, size_t N = 1024 / sizeof(T) + 8>
class AutoBuffer {
public:
    // The fixed array, size N.
    AutoBuffer() : m_ptr(m_buf), m_size((unsigned)N) {}
    // As default; then, if n exceeds N, a heap block of n elements.
    explicit AutoBuffer(unsigned n) : m_ptr(m_buf), m_size((unsigned)N) {
        if (n > N) takeHeap(n);
    }
    ~AutoBuffer() { dealloc(); }
    AutoBuffer(const AutoBuffer&) = delete;
    AutoBuffer& operator=(const AutoBuffer&) = delete;

    // Up to the current size only the size changes. Beyond it: a heap block in
    // use is freed and the buffer returns to the fixed array with size N; if n
    // fits N it stays there (size N), otherwise a heap block of n elements is
    // taken and the size becomes n. On allocation failure the buffer is the
    // fixed array with size N.
    void allocate(unsigned n) {
        if (n <= m_size) {
            m_size = n;
            return;
        }
        dealloc();
        if (n <= N) return;
        takeHeap(n);
    }
    // Frees a heap block and returns to the fixed array (size N).
    void dealloc() {
        if (m_ptr != m_buf) std::free(m_ptr);
        m_ptr = m_buf;
        m_size = (unsigned)N;
    }
    // Up to the current size only the size changes. Beyond it the storage is
    // the fixed array when n <= N, else a heap block of n elements; the first
    // min(old, new) elements are copied when the storage changes and the new
    // ones are zeroed. On allocation failure nothing changes.
    void resize(unsigned n) {
        if (n <= m_size) {
            m_size = n;
            return;
        }
        T* target = m_buf;
        if (n > N) {
            target = static_cast<T*>(std::malloc(bytesFor(n)));
            if (!target) return;
        }
        unsigned keep = m_size < n ? m_size : n;
        // The fixed array of plain types starts uninitialised by design; moving
        // its (possibly never written) elements is what resize promises.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
        if (target != m_ptr) std::memmove(static_cast<void*>(target), m_ptr, sizeof(T) * keep);
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
        std::memset(static_cast<void*>(target + keep), 0, sizeof(T) * (size_t)(n - keep));
        if (m_ptr != m_buf && m_ptr != target) std::free(m_ptr);
        m_ptr = target;
        m_size = n;
    }
    size_t size() const {
        return m_size;
    }
    operator T*() {
        return m_ptr;
    }
    operator const T*() const {
        return m_ptr;
    }

private:
    // Byte count of n elements; saturates to all ones on overflow so that the
    // allocation fails instead of wrapping.
    static size_t bytesFor(size_t n) {
        return n > (size_t)-1 / sizeof(T) ? (size_t)-1 : n * sizeof(T);
    }
    void takeHeap(unsigned n) {
        T* p = static_cast<T*>(std::malloc(bytesFor(n)));
        if (!p) return;
        m_ptr = p;
        m_size = n;
    }

    T* m_ptr;
    unsigned m_size;
    T m_buf[N];
};

}  // namespace tarvo
