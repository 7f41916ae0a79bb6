#include "support/naive_filter.h"

#include "support/test_util.h"

namespace tarvo {
namespace test {

int sampleIndex(int p, int len, int mode) {
    if (p >= 0 && p < len) return p;
    auto mod = [](long long a, long long m) { return int(((a % m) + m) % m); };
    switch (mode) {
        case 1:
            return p < 0 ? 0 : len - 1;
        case 2: {
            const int q = mod(p, 2LL * len);
            return q < len ? q : 2 * len - 1 - q;
        }
        case 3:
            return mod(p, len);
        case 4: {
            if (len == 1) return 0;
            const int q = mod(p, 2LL * len - 2);
            return q < len ? q : 2 * len - 2 - q;
        }
        default:
            return -1;
    }
}

Mat naiveCorrelate(const Mat& src, const std::vector<double>& k, int kw, int kh, int ax, int ay,
                   double delta, int mode, bool unsigned16) {
    const int rows = src.rows(), cols = src.cols(), cn = src.channels();
    Mat out(rows, cols, MAKETYPE(MAT_Tdouble, cn));
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++)
            for (int c = 0; c < cn; c++) {
                double acc = delta;
                for (int j = 0; j < kh; j++) {
                    const int sy = sampleIndex(y + j - ay, rows, mode);
                    for (int i = 0; i < kw; i++) {
                        const int sx = sampleIndex(x + i - ax, cols, mode);
                        double v = 0;
                        if (sy >= 0 && sx >= 0) {
                            v = at(src, sy, sx, c);
                            if (unsigned16 && src.type() == MAT_Tshort && v < 0) v += 65536;
                        }
                        acc += k[size_t(j) * kw + i] * v;
                    }
                }
                out.ptr<double>(y)[x * cn + c] = acc;
            }
    return out;
}

std::vector<double> outerKernel(const std::vector<double>& row, const std::vector<double>& col) {
    std::vector<double> k;
    for (double cv : col)
        for (double rv : row) k.push_back(cv * rv);
    return k;
}

}  // namespace test
}  // namespace tarvo
