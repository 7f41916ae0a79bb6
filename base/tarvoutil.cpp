// Rounding, sorting and path helpers of tarvoutil.
#include "tarvo/tarvoutil.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "tarvo/saturate.h"

namespace tarvo {

int tarvoutil::round(double x) {
    return roundInt(x);
}
int tarvoutil::floor(double x) {
    return truncInt(std::floor(x));
}
int tarvoutil::ceil(double x) {
    return truncInt(std::ceil(x));
}

void tarvoutil::sort(int* values, int n, enSortFlag flag) {
    if (!values || n <= 1) return;
    if (flag == SORT_DESCENDING)
        std::stable_sort(values, values + n, [](int a, int b) { return a > b; });
    else
        std::stable_sort(values, values + n);
}

namespace {

// Strict weak order that places NaN after every number, so sorting is defined.
template <typename T>
bool lessThan(T a, T b) {
    if (a != a) return false;
    if (b != b) return true;
    return a < b;
}

template <typename T>
void sortIndices(const T* values, int n, int* idx, int idxLen, enSortFlag flag) {
    if (!values || !idx || n <= 0 || idxLen < n) return;
    for (int i = 0; i < n; i++) idx[i] = i;
    if (flag == SORT_DESCENDING)
        std::stable_sort(idx, idx + n,
                         [values](int a, int b) { return lessThan(values[b], values[a]); });
    else
        std::stable_sort(idx, idx + n,
                         [values](int a, int b) { return lessThan(values[a], values[b]); });
}

}  // namespace

void tarvoutil::sortIdx(const int* values, int n, int* idx, int idxLen, enSortFlag flag) {
    sortIndices(values, n, idx, idxLen, flag);
}

void tarvoutil::sortIdx(const float* values, int n, int* idx, int idxLen, enSortFlag flag) {
    sortIndices(values, n, idx, idxLen, flag);
}

String tarvoutil::getFilename(const String& path) {
    const char* p = path.str();
    const char* a = std::strrchr(p, '/');
    const char* b = std::strrchr(p, '\\');
    const char* cut = a > b ? a : b;
    return String(cut ? cut + 1 : p);
}

}  // namespace tarvo
