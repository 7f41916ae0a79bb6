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
    // Counts the source first, then releases the target: self-assignment is safe.
    Ptr& operator=(const Ptr& o) {
        o.addref();
        release();
        obj = o.obj;
        refcount = o.refcount;
        return *this;
    }
    ~Ptr() { release(); }

    void addref() const {
        if (refcount) ++*refcount;
    }
    // Drops one reference; the last one destroys the object through
    // delete_obj. The pointer is null afterwards in every case.
    void release() {
        if (refcount && --*refcount == 0) {
            delete_obj();
            delete refcount;
        }
        obj = nullptr;
        refcount = nullptr;
    }
    void delete_obj() { delete obj; }
    bool empty() const { return obj == nullptr; }
    // Current reference count, 0 for an empty pointer.
    int useCount() const { return refcount ? *refcount : 0; }
    T* operator->() const { return obj; }
    T& operator*() const { return *obj; }
    operator T*() const { return obj; }
    T* get() const { return obj; }

private:
    T* obj;
    int* refcount;
};

}  // namespace tarvo
