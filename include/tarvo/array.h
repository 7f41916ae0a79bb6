// Array, the growing array of the library, and Matrix, an array of rows.
//
// Growth rule of setSize(n, growBy): a stored growBy of 0 means a step of
// size / 8 clamped to 4..1024; the new capacity is max(n, capacity + step).
// Elements are relocated by raw byte copy, so element types must be
// trivially relocatable (Mat, Vec and Array are).
#pragma once

#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <type_traits>

#include "tarvo/object.h"

namespace tarvo {

// Zeroes the block, then default-constructs each element.
template <typename T>
inline void constructElements1(T* p, int n) {
    if (n <= 0) return;
    std::memset(static_cast<void*>(p), 0, sizeof(T) * (size_t)n);
    for (int i = 0; i < n; i++) ::new (static_cast<void*>(p + i)) T();
}
// Constructs each element as a copy of value.
template <typename T>
inline void constructElements1(T* p, int n, const T& value) {
    for (int i = 0; i < n; i++) ::new (static_cast<void*>(p + i)) T(value);
}
// Assigns each element in order.
template <typename T>
inline void copyElements1(T* dst, const T* src, int n) {
    for (int i = 0; i < n; i++) dst[i] = src[i];
}
// Destroys each element (a no-op for types without destructors).
template <typename T>
inline void destructElements1(T* p, int n) {
    if (!std::is_trivially_destructible<T>::value)
        for (int i = 0; i < n; i++) p[i].~T();
}

template <typename T, typename ARG_T = const T&>
class Array : public Object {
public:
    Array() : m_pData(nullptr), m_nSize(0), m_nMaxSize(0), m_nGrowBy(0), m_owner(1) {}
    Array(const Array& o)
        : Object(), m_pData(nullptr), m_nSize(0), m_nMaxSize(0), m_nGrowBy(0), m_owner(1) {
        append(o);
    }
    // n copies of value.
    Array(int n, ARG_T value)
        : Object(), m_pData(nullptr), m_nSize(0), m_nMaxSize(0), m_nGrowBy(0), m_owner(1) {
        resize(n, value);
    }
    // copy true: owns a copy of p[0..n); copy false: wraps p (size = capacity
    // = n, not owned, never freed by the array).
    Array(const T* p, int n, bool copy)
        : Object(), m_pData(nullptr), m_nSize(0), m_nMaxSize(0), m_nGrowBy(0), m_owner(1) {
        if (copy) {
            append(p, n);
        } else if (p && n > 0) {
            m_pData = const_cast<T*>(p);
            m_nSize = m_nMaxSize = n;
            m_owner = 0;
        }
    }
    ~Array() override {
        if (m_owner) {
            destructElements1(m_pData, m_nSize);
            std::free(m_pData);
        }
        m_pData = nullptr;
        m_nSize = m_nMaxSize = 0;
    }
    Array& operator=(const Array& o) {
        if (&o == this) return *this;
        removeAll();
        m_owner = 1;
        append(o);
        return *this;
    }

    int getSize() const { return m_nSize; }
    int length() const { return m_nSize; }
    int getCapacity() const { return m_nMaxSize; }
    int getGrowBy() const { return m_nGrowBy; }
    bool isOwner() const { return m_owner != 0; }
    bool isEmpty() const { return m_nSize == 0; }
    T* getData() { return m_pData; }
    const T* getData() const { return m_pData; }
    operator T*() { return m_pData; }
    operator const T*() const { return m_pData; }
    // Unchecked element access.
    T& operator[](int i) { return m_pData[i]; }
    const T& operator[](int i) const { return m_pData[i]; }
    T& getAt(int i) { return m_pData[i]; }
    const T& getAt(int i) const { return m_pData[i]; }

    // Sets the number of live elements (see the growth rule above); a
    // growBy other than -1 is stored first. Returns false when memory runs out
    // (the array is then unchanged).
    bool setSize(int n, int growBy = -1) {
        if (growBy != -1) m_nGrowBy = growBy;
        if (n < 0) return false;
        if (n == 0) {
            if (m_owner) {
                destructElements1(m_pData, m_nSize);
                std::free(m_pData);
            }
            m_pData = nullptr;
            m_nSize = m_nMaxSize = 0;
            m_owner = 1;
            return true;
        }
        if (!m_pData) {
            T* p = allocate(n);
            if (!p) return false;
            constructElements1(p, n);
            m_pData = p;
            m_nSize = m_nMaxSize = n;
            m_owner = 1;
            return true;
        }
        if (n <= m_nMaxSize) {
            if (n > m_nSize)
                constructElements1(m_pData + m_nSize, n - m_nSize);
            else if (n < m_nSize)
                destructElements1(m_pData + n, m_nSize - n);
            m_nSize = n;
            return true;
        }
        if (!grow(n)) return false;
        constructElements1(m_pData + m_nSize, n - m_nSize);
        m_nSize = n;
        return true;
    }
    // As setSize, but new slots are copies of value and growBy is kept.
    // Shrinking destroys the dropped elements only for types with destructors
    // (plain elements are just forgotten), so nothing leaks.
    bool resize(int n, ARG_T value) {
        if (n < 0) return false;
        // value may live inside this array: find it again after a relocation.
        const int at = indexOf(value);
        if (n < m_nSize && m_owner) destructElements1(m_pData + n, m_nSize - n);
        if (n == 0) {
            if (m_owner) std::free(m_pData);
            m_pData = nullptr;
            m_nSize = m_nMaxSize = 0;
            m_owner = 1;
            return true;
        }
        if (n > m_nMaxSize) {
            if (!m_pData) {
                T* p = allocate(n);
                if (!p) return false;
                m_pData = p;
                m_nMaxSize = n;
                m_owner = 1;
            } else if (!grow(n)) {
                return false;
            }
        }
        if (n > m_nSize)
            constructElements1(m_pData + m_nSize, n - m_nSize, at >= 0 ? m_pData[at] : value);
        m_nSize = n;
        return true;
    }
    // Assigns element i, growing the array to i + 1 elements when needed.
    void setAtGrow(int i, ARG_T value) {
        if (i < 0) return;
        if (i >= m_nSize) {
            const int at = indexOf(value);  // value may live inside this array
            if (!setSize(i + 1)) return;
            if (at >= 0)
                m_pData[i] = T(m_pData[at]);
            else
                m_pData[i] = value;
            return;
        }
        m_pData[i] = value;
    }
    // Appends value; returns its index.
    int add(ARG_T value) {
        int i = m_nSize;
        setAtGrow(i, value);
        return i;
    }
    // Appends the elements of o (or p[0..n)); returns the index of the first.
    int append(const Array& o) {
        if (&o == this) {
            Array tmp(o);
            return append(tmp);
        }
        return append(o.m_pData, o.m_nSize);
    }
    int append(const T* p, int n) {
        int old = m_nSize;
        if (!p || n <= 0) return old;
        if (!setSize(old + n)) return old;
        copyElements1(m_pData + old, p, n);
        return old;
    }
    // Sets the size to o's and copies its elements.
    void copyFrom(const Array& o) {
        if (&o == this) return;
        if (!setSize(o.m_nSize)) return;
        copyElements1(m_pData, o.m_pData, o.m_nSize);
    }
    // Removes count elements from index i, moving the tail down.
    void removeAt(int i, int count = 1) {
        if (i < 0 || count <= 0 || i >= m_nSize) return;
        if (count > m_nSize - i) count = m_nSize - i;
        destructElements1(m_pData + i, count);
        int tail = m_nSize - (i + count);
        if (tail > 0)
            std::memmove(static_cast<void*>(m_pData + i),
                         static_cast<const void*>(m_pData + i + count), sizeof(T) * (size_t)tail);
        m_nSize -= count;
    }
    // Empties the array; a wrapping array lets go of the foreign block
    // without freeing it and becomes an owning one.
    void removeAll() {
        if (!m_owner) {
            m_pData = nullptr;
            m_nSize = m_nMaxSize = 0;
            m_owner = 1;
            return;
        }
        setSize(0);
    }

protected:
    // Index of the element that value refers to, or -1 when it is not one of ours.
    int indexOf(const T& value) const {
        const T* p = &value;
        std::less<const T*> before;
        if (!m_pData || before(p, m_pData) || !before(p, m_pData + m_nSize)) return -1;
        return (int)(p - m_pData);
    }
    static T* allocate(int n) {
        if (n <= 0 || (size_t)n > (size_t)-1 / sizeof(T)) return nullptr;
        return static_cast<T*>(std::malloc(sizeof(T) * (size_t)n));
    }
    // Moves the elements into a block of max(n, capacity + step) slots.
    bool grow(int n) {
        int step = m_nGrowBy;
        if (step == 0) {
            step = m_nSize / 8;
            step = step < 4 ? 4 : step > 1024 ? 1024 : step;
        }
        long long want = (long long)m_nMaxSize + step;
        int cap = n > want ? n : (want > 0x7FFFFFFF ? 0x7FFFFFFF : (int)want);
        T* p = allocate(cap);
        if (!p) return false;
        if (m_nSize > 0)
            std::memcpy(static_cast<void*>(p), static_cast<const void*>(m_pData),
                        sizeof(T) * (size_t)m_nSize);
        if (m_owner) std::free(m_pData);
        m_pData = p;
        m_nMaxSize = cap;
        m_owner = 1;
        return true;
    }

    T* m_pData;
    int m_nSize;
    int m_nMaxSize;
    int m_nGrowBy;
    unsigned char m_owner;
};

// An array of rows, each row an Array with a length of its own.
template <typename T, typename ARG_T = const T&>
class Matrix : public Array<Array<T, ARG_T>, const Array<T, ARG_T>&> {};

}  // namespace tarvo
