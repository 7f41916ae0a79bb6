// Exception, Random, Timer and the random helpers.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <ctime>

#include "tarvo/exception.h"
#include "tarvo/random.h"

namespace tarvo {

Exception::~Exception() {}

void Exception::throwLast() const {
    throw Exception(*this);
}

Random::~Random() {}

void Random::init() {
    detail::seedFromClock();
}

float Random::boundedUniform(float low, float high, bool inclusive) {
    int r = detail::rand15();
    float t = inclusive ? r / 32767.0f : r / 32768.0f;
    return low + (high - low) * t;
}

namespace {
long long nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
}  // namespace

Timer::Timer() : m_start(nowNs()) {}
Timer::~Timer() {}
void Timer::reset() {
    m_start = nowNs();
}
double Timer::elapsed() const {
    return (nowNs() - m_start) * 1e-9;
}

namespace detail {
int rand15() {
    return std::rand() & 0x7FFF;
}
void seedRandom(unsigned seed) {
    std::srand(seed);
}

namespace {
std::atomic<bool> g_seedPinned{false};
std::atomic<unsigned> g_pinnedSeed{0};
}  // namespace

unsigned seedFromClock() {
    const unsigned seed = g_seedPinned.load() ? g_pinnedSeed.load() : (unsigned)std::time(nullptr);
    std::srand(seed);
    return seed;
}

void pinClockSeed(bool pinned, unsigned seed) {
    g_pinnedSeed.store(seed);
    g_seedPinned.store(pinned);
}
}  // namespace detail

}  // namespace tarvo
