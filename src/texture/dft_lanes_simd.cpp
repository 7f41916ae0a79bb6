// The transform engine's eight-lane butterflies compiled for every target
// Highway supports and chosen at run time. The loops are plain C++ (the
// baseline build's source); each target's compiler vectorises the lane loops.
// No multiply-add is fused, so every lane does the baseline's operations in
// the baseline's order: the same bits (tests compare with the scalar switch).
#include <vector>

#include "tarvo/parallel.h"
#include "texture/dft_internal.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "texture/dft_lanes_simd.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
// GCC's straight-line vectoriser turns the complex products into fused
// multiply-add-subtract instructions on targets that have them, whatever
// -ffp-contract says, which changes last bits. It is switched off here (the
// loop vectoriser still runs the lane loops in vectors, without fusing).
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC optimize("fp-contract=off", "no-tree-slp-vectorize")
#endif
namespace tarvo {
namespace detail {
namespace HWY_NAMESPACE {

#include "texture/dft_lanes.inl"

void Lanes8F(const ComplexPlan<float>& P, const float* in, float* out, bool inverse, float scale,
             float* work) {
    runLanes<float, 8>(P, in, out, 8, inverse, scale, work);
}

void Lanes8D(const ComplexPlan<double>& P, const double* in, double* out, bool inverse,
             double scale, double* work) {
    runLanes<double, 8>(P, in, out, 8, inverse, scale, work);
}

}  // namespace HWY_NAMESPACE
}  // namespace detail
}  // namespace tarvo
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tarvo {
namespace detail {

HWY_EXPORT(Lanes8F);
HWY_EXPORT(Lanes8D);

bool runLanes8Vector(const ComplexPlan<float>& P, const float* in, float* out, bool inverse,
                     float scale, float* work) {
    if (!checkHardwareSupport(2)) return false;
    HWY_DYNAMIC_DISPATCH(Lanes8F)(P, in, out, inverse, scale, work);
    return true;
}

bool runLanes8Vector(const ComplexPlan<double>& P, const double* in, double* out, bool inverse,
                     double scale, double* work) {
    if (!checkHardwareSupport(2)) return false;
    HWY_DYNAMIC_DISPATCH(Lanes8D)(P, in, out, inverse, scale, work);
    return true;
}

}  // namespace detail
}  // namespace tarvo
#endif
