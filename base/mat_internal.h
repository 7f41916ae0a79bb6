// Depth dispatch shared by the Mat element loops of tarvobase. Private to the
// library.
#pragma once

#include "tarvo/mat.h"

namespace tarvo {
namespace detail {

// Calls f(T{}) with T the element type of `depth`; false for an unknown depth.
template <typename F>
bool withDepth(int depth, F&& f) {
    switch (depth) {
        case MAT_Tuchar:
            f((unsigned char)0);
            return true;
        case MAT_Tshort:
            f((short)0);
            return true;
        case MAT_Tint:
            f((int)0);
            return true;
        case MAT_Tfloat:
            f((float)0);
            return true;
        case MAT_Tdouble:
            f((double)0);
            return true;
        default:
            return false;
    }
}

inline bool validDepth(int depth) {
    return depth >= MAT_Tuchar && depth <= MAT_Tdouble;
}

}  // namespace detail
}  // namespace tarvo
