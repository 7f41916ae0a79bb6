// Mutex and Event over the standard library.
#include "tarvo/sync.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace tarvo {

Mutex::Mutex() : m_impl(new std::mutex) {}
Mutex::~Mutex() {
    delete static_cast<std::mutex*>(m_impl);
}
void Mutex::lock() {
    static_cast<std::mutex*>(m_impl)->lock();
}
void Mutex::unlock() {
    static_cast<std::mutex*>(m_impl)->unlock();
}
bool Mutex::tryLock() {
    return static_cast<std::mutex*>(m_impl)->try_lock();
}

namespace {
struct EventState {
    std::mutex m;
    std::condition_variable cv;
    bool signalled = false;
};
}  // namespace

Event::Event(bool manualReset, bool initialState) : m_impl(new EventState), m_manual(manualReset) {
    static_cast<EventState*>(m_impl)->signalled = initialState;
}
Event::~Event() {
    delete static_cast<EventState*>(m_impl);
}

void Event::set() {
    EventState* s = static_cast<EventState*>(m_impl);
    {
        std::lock_guard<std::mutex> l(s->m);
        s->signalled = true;
    }
    if (m_manual)
        s->cv.notify_all();
    else
        s->cv.notify_one();
}

void Event::reset() {
    EventState* s = static_cast<EventState*>(m_impl);
    std::lock_guard<std::mutex> l(s->m);
    s->signalled = false;
}

bool Event::wait(int timeoutMs) {
    EventState* s = static_cast<EventState*>(m_impl);
    std::unique_lock<std::mutex> l(s->m);
    auto ready = [s] { return s->signalled; };
    bool ok = true;
    if (timeoutMs < 0)
        s->cv.wait(l, ready);
    else
        ok = s->cv.wait_for(l, std::chrono::milliseconds(timeoutMs), ready);
    if (ok && !m_manual) s->signalled = false;
    return ok;
}

}  // namespace tarvo
