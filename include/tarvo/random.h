// Random numbers and timing.
#pragma once

#include "tarvo/export.h"

namespace tarvo {

// Uniform random numbers over the C runtime generator.
class TARVO_BASE_EXPORTS Random {
public:
    virtual ~Random();
    // Seeds the generator from the clock.
    static void init();
    // A value in [low, high] (inclusive: true) or [low, high) (inclusive: false),
    // drawn from the 15-bit generator.
    static float boundedUniform(float low, float high, bool inclusive);
};

// Wall-clock stopwatch.
class TARVO_BASE_EXPORTS Timer {
public:
    Timer();
    virtual ~Timer();
    // Restarts the count.
    void reset();
    // Seconds since construction or the last reset.
    double elapsed() const;

private:
    long long m_start;  // nanoseconds of a steady clock
};

namespace detail {
// The library's single random source: rand() & 0x7FFF, the same 15-bit range
// on every platform, so algorithms written for it behave alike everywhere.
TARVO_BASE_EXPORTS int rand15();
// Seeds rand15 (srand).
TARVO_BASE_EXPORTS void seedRandom(unsigned seed);
// Seeds rand15 from the clock (time in seconds), or with the pinned seed while
// one is pinned. Returns the seed used. Random::init and the operators that
// reseed on every call go through it.
TARVO_BASE_EXPORTS unsigned seedFromClock();
// Pins the seed seedFromClock uses (pinned true), so tests and command lines
// can repeat a "clock-seeded" run; pinned false returns to the clock.
TARVO_BASE_EXPORTS void pinClockSeed(bool pinned, unsigned seed = 0);
}  // namespace detail

}  // namespace tarvo
