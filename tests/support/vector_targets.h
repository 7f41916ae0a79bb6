// Runs a check once with each vector instruction set compiled into the
// library selected, so every kernel variant is compared, not only the one the
// test machine would pick.
#pragma once

#include <cstdint>

#include <hwy/targets.h>

namespace tarvo {
namespace test {

// Calls f(name) with each compiled vector target selected in turn (the scalar
// and emulated targets are left out), then restores the normal choice, also
// when f stops early through a failed assertion. Returns how many ran.
template <typename F>
int onEveryVectorTarget(F f) {
    struct Restore {
        ~Restore() { hwy::SetSupportedTargetsForTest(0); }
    } restore;
    const uint64_t targets = (uint64_t)(hwy::SupportedTargets() & HWY_TARGETS);
    int tried = 0;
    for (uint64_t bit = 1; bit != 0; bit <<= 1) {
        if (!(targets & bit) || bit == (uint64_t)HWY_SCALAR || bit == (uint64_t)HWY_EMU128)
            continue;
        hwy::SetSupportedTargetsForTest((int64_t)bit);
        f(hwy::TargetName((int64_t)bit));
        tried++;
    }
    return tried;
}

}  // namespace test
}  // namespace tarvo
