// Mutex, scoped lock and event. The image layer itself never waits or locks;
// these are for applications built on the library.
#pragma once

#include "tarvo/export.h"

namespace tarvo {

class TARVO_BASE_EXPORTS Mutex {
public:
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    void lock();
    void unlock();
    // True when the lock was taken without waiting.
    bool tryLock();

private:
    void* m_impl;
};

// Locks a Mutex for its lifetime.
class TARVO_BASE_EXPORTS AutoLock {
public:
    explicit AutoLock(Mutex& m) : m_mutex(m) { m_mutex.lock(); }
    ~AutoLock() { m_mutex.unlock(); }
    AutoLock(const AutoLock&) = delete;
    AutoLock& operator=(const AutoLock&) = delete;

private:
    Mutex& m_mutex;
};

// An event: manualReset keeps it signalled until reset(); otherwise one wait
// consumes the signal. initialState starts it signalled.
class TARVO_BASE_EXPORTS Event {
public:
    Event(bool manualReset = false, bool initialState = false);
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
    void set();
    void reset();
    // Waits up to timeoutMs milliseconds (negative: forever); true when signalled.
    bool wait(int timeoutMs = -1);

private:
    void* m_impl;
    bool m_manual;
};

}  // namespace tarvo
