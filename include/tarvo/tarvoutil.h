// tarvoutil: rounding, sorting and file-name helpers, and the linear solvers
// (the solver method codes and SVD flags are in tarvo/linalg.h).
#pragma once

#include "tarvo/export.h"
#include "tarvo/tstring.h"

namespace tarvo {

class Mat;

// Sort order of tarvoutil::sort and sortIdx.
enum enSortFlag {
    SORT_ASCENDING = 0,
    SORT_DESCENDING = 1,
};

class TARVO_BASE_EXPORTS tarvoutil {
public:
    // floor(x + 0.5): round to nearest, ties upwards. NaN gives 0; values
    // beyond the int range clamp.
    static int round(double x);
    // Largest int not above x / smallest int not below x (clamped like round).
    static int floor(double x);
    static int ceil(double x);
    // Sorts n ints in place (stable).
    static void sort(int* values, int n, enSortFlag flag = SORT_ASCENDING);
    // Writes into idx (room for n ints) the indices 0..n-1 ordered by
    // values[idx[i]] (stable: equal values keep index order). idxLen < n or
    // null arguments leave idx untouched.
    static void sortIdx(const int* values, int n, int* idx, int idxLen,
                        enSortFlag flag = SORT_ASCENDING);
    static void sortIdx(const float* values, int n, int* idx, int idxLen,
                        enSortFlag flag = SORT_ASCENDING);
    // Solves A x = b with the method code of SolveMethod (tarvo/linalg.h).
    // Returns 1 on success; on refusal 0 and x unchanged.
    static int solve(const Mat& A, const Mat& b, Mat& x, int method);
    // A = U diag(W) Vt with W descending; flags of SVDFlags (tarvo/linalg.h).
    // Returns 1 on success, 0 on refusal.
    static int computeSVD(const Mat& A, Mat& W, Mat& U, Mat& Vt, int flags);
    // Moore-Penrose pseudo-inverse. Returns 1 on success, 0 on refusal.
    static int pseudoInvert(const Mat& A, Mat& inv);
    // The file name part of a path (after the last '/' or '\').
    static String getFilename(const String& path);
};

}  // namespace tarvo
