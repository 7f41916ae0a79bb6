// Ptr: a shared pointer with a separately allocated, plain (not atomic)
// reference count. A null object has a null count.
#pragma once

#include <new>

namespace tarvo {

template <typename T>
class Ptr {
public:
    Ptr() : obj(nullptr), refcount(nullptr) {}
    // Takes ownership of p with a count of 1 (no count for a null p).
    Ptr(T* p) : obj(p), refcount(nullptr) {
        if (p) {
            refcount = new (std::nothrow) int(1);
            if (!refcount) {
                delete p;
                obj = nullptr;
            }
        }
    }
    Ptr(const Ptr& o) : obj(o.obj), refcount(o.refcount) { addref(); }
    // Takes the source's object and count, then releases ours; self-assignment is a no-op.
    // The count is updated atomically, so copies may live on different threads.
    Ptr& operator=(const Ptr& o) {
        if (this == &o || refcount == o.refcount) return *this;
        // o may live inside the object we are about to release: copy it first.
        T* const newObj = o.obj;
        int* const newCount = o.refcount;
        if (newCount) __atomic_add_fetch(newCount, 1, __ATOMIC_RELAXED);
        release();
        obj = newObj;
        refcount = newCount;
        return *this;
    }
    ~Ptr() { release(); }

    void addref() const {
        if (refcount) __atomic_add_fetch(refcount, 1, __ATOMIC_RELAXED);
    }
    // Drops one reference; the last one destroys the object through
    // delete_obj. The pointer is null afterwards in every case.
    void release() {
        if (refcount && __atomic_sub_fetch(refcount, 1, __ATOMIC_ACQ_REL) == 0) {
            delete_obj();
            delete refcount;
        }
        obj = nullptr;
        refcount = nullptr;
    }
    void delete_obj() { delete obj; }
    bool empty() const { return obj == nullptr; }
    // Current reference count, 0 for an empty pointer.
    int useCount() const { return refcount ? __atomic_load_n(refcount, __ATOMIC_RELAXED) : 0; }
    T* operator->() const { return obj; }
    T& operator*() const { return *obj; }
    operator T*() const { return obj; }
    T* get() const { return obj; }

private:
    T* obj;
    int* refcount;
};

}  // namespace tarvo
