#include "support/naive_median.h"

#include <algorithm>
#include <vector>

namespace tarvo {
namespace test {

namespace {
double get(const Mat& m, int y, int x, int c) {
    const int e = x * m.channels() + c;
    switch (m.type()) {
        case MAT_Tuchar:
            return m.ptr<unsigned char>(y)[e];
        case MAT_Tshort:
            return m.ptr<short>(y)[e];
        case MAT_Tint:
            return m.ptr<int>(y)[e];
        default:
            return m.ptr<float>(y)[e];
    }
}
void put(Mat& m, int y, int x, int c, double v) {
    const int e = x * m.channels() + c;
    switch (m.type()) {
        case MAT_Tuchar:
            m.ptr<unsigned char>(y)[e] = (unsigned char)v;
            break;
        case MAT_Tshort:
            m.ptr<short>(y)[e] = (short)v;
            break;
        case MAT_Tint:
            m.ptr<int>(y)[e] = (int)v;
            break;
        default:
            m.ptr<float>(y)[e] = (float)v;
    }
}
}  // namespace

Mat naiveMedian(const Mat& src, int n, int kind) {
    Mat out(src.rows(), src.cols(), src.type1());
    const int h = n / 2, t = n - h - 1;
    const int hy = kind == 2 ? 0 : h, ty = kind == 2 ? 0 : t;
    const int hx = kind == 3 ? 0 : h, tx = kind == 3 ? 0 : t;
    std::vector<double> v;
    for (int y = 0; y < src.rows(); y++)
        for (int x = 0; x < src.cols(); x++)
            for (int c = 0; c < src.channels(); c++) {
                v.clear();
                for (int dy = -hy; dy <= ty; dy++)
                    for (int dx = -hx; dx <= tx; dx++)
                        if (src.isInside(x + dx, y + dy)) v.push_back(get(src, y + dy, x + dx, c));
                std::sort(v.begin(), v.end());
                put(out, y, x, c, v[v.size() / 2]);
            }
    return out;
}

Mat naiveConvolve(const Mat& src, const int* k, int n, int divisor, int offset, int kind) {
    Mat out(src.rows(), src.cols(), src.type1());
    const int h = n / 2, t = n - h - 1;
    const bool isFloat = src.type() == MAT_Tfloat;
    for (int y = 0; y < src.rows(); y++)
        for (int x = 0; x < src.cols(); x++) {
            bool in;
            if (kind == 0)
                in = y - h > 0 && x - h > 0 && y + t < src.rows() && x + t < src.cols();
            else if (kind == 2)
                in = x - h >= 0 && x + t < src.cols();
            else
                in = y - h >= 0 && y + t < src.rows();
            for (int c = 0; c < src.channels(); c++) {
                if (!in) {
                    put(out, y, x, c, get(src, y, x, c));
                    continue;
                }
                long long isum = 0;
                float fsum = 0.0f;
                for (int a = 0; a < (kind == 0 ? n : 1); a++)
                    for (int b = 0; b < n; b++) {
                        int yy = y, xx = x, kk = b;
                        if (kind == 0) {
                            yy = y - h + a;
                            xx = x - h + b;
                            kk = a * n + b;
                        } else if (kind == 2) {
                            xx = x - h + b;
                        } else {
                            yy = y - h + b;
                        }
                        const double s = get(src, yy, xx, c);
                        isum += (long long)k[kk] * (long long)s;
                        fsum = fsum + float(k[kk]) * float(s);
                    }
                if (isFloat) {
                    put(out, y, x, c, double(fsum / float(divisor) + float(offset)));
                } else {
                    const long long r = offset + isum / divisor;
                    put(out, y, x, c, double(std::min(255LL, std::max(0LL, r))));
                }
            }
        }
    return out;
}

}  // namespace test
}  // namespace tarvo
