// Bit operations and vector distances.
#include "tarvo/bitops.h"

#include <cmath>

namespace tarvo {

namespace {
int clampBits(int bits) {
    return bits < 0 ? 0 : bits > 32 ? 32 : bits;
}
unsigned lowMask(int bits) {
    return bits >= 32 ? 0xFFFFFFFFu : ((1u << bits) - 1u);
}
}  // namespace

int BitOperation::oneCount(unsigned v, int bits) {
    bits = clampBits(bits);
    v &= lowMask(bits);
    int n = 0;
    for (; v; v &= v - 1) n++;
    return n;
}

int BitOperation::transitions(unsigned v, int bits) {
    bits = clampBits(bits);
    if (bits < 2) return 0;
    int n = 0;
    for (int i = 0; i < bits; i++) {
        unsigned a = (v >> i) & 1u, b = (v >> ((i + 1) % bits)) & 1u;
        n += a != b;
    }
    return n;
}

unsigned BitOperation::rotMin(unsigned v, int bits) {
    bits = clampBits(bits);
    if (bits == 0) return 0;
    unsigned mask = lowMask(bits);
    v &= mask;
    unsigned best = v;
    for (int i = 1; i < bits; i++) {
        unsigned r = ((v >> i) | (v << (bits - i))) & mask;
        if (r < best) best = r;
    }
    return best;
}

float Distance::distanceCorrelation(const float* a, const float* b, int n) {
    if (!a || !b || n < 1) return 1.0f;
    double ma = 0, mb = 0;
    for (int i = 0; i < n; i++) {
        ma += a[i];
        mb += b[i];
    }
    ma /= n;
    mb /= n;
    double sab = 0, saa = 0, sbb = 0;
    for (int i = 0; i < n; i++) {
        double da = a[i] - ma, db = b[i] - mb;
        sab += da * db;
        saa += da * da;
        sbb += db * db;
    }
    if (saa <= 0 || sbb <= 0) return 1.0f;
    return (float)(1.0 - sab / std::sqrt(saa * sbb));
}

}  // namespace tarvo
