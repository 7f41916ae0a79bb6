#include "support/naive_transforms.h"

#include <cmath>

#include "tarvo/ip/filter.h"

namespace tarvo {
namespace test {

namespace {
const long double kPi = 3.141592653589793238462643383279502884L;
}

std::vector<CLD> naiveDft2(const std::vector<CLD>& in, int rows, int cols, int sign) {
    std::vector<CLD> tmp(in.size()), out(in.size());
    for (int y = 0; y < rows; y++)
        for (int v = 0; v < cols; v++) {
            CLD s = 0;
            for (int x = 0; x < cols; x++) {
                const long double a = sign * 2 * kPi * ((long long)v * x % cols) / cols;
                s += in[size_t(y * cols + x)] * CLD(std::cos(a), std::sin(a));
            }
            tmp[size_t(y * cols + v)] = s;
        }
    for (int u = 0; u < rows; u++)
        for (int v = 0; v < cols; v++) {
            CLD s = 0;
            for (int y = 0; y < rows; y++) {
                const long double a = sign * 2 * kPi * ((long long)u * y % rows) / rows;
                s += tmp[size_t(y * cols + v)] * CLD(std::cos(a), std::sin(a));
            }
            out[size_t(u * cols + v)] = s;
        }
    return out;
}

std::vector<CLD> toComplex(const Mat& m) {
    std::vector<CLD> out;
    for (int y = 0; y < m.rows(); y++)
        for (int x = 0; x < m.cols(); x++)
            out.push_back(CLD(m.value(y, x, 0), m.channels() > 1 ? m.value(y, x, 1) : 0.0));
    return out;
}

std::vector<long double> naiveDct2(const std::vector<long double>& in, int rows, int cols) {
    auto line = [](const std::vector<long double>& v) {
        const int n = int(v.size());
        std::vector<long double> o(v.size());
        for (int k = 0; k < n; k++) {
            long double s = 0;
            for (int j = 0; j < n; j++)
                s += v[size_t(j)] * std::cos(kPi * (2 * j + 1) * k / (2 * n));
            o[size_t(k)] = s * std::sqrt((k == 0 ? 1.0L : 2.0L) / n);
        }
        return o;
    };
    std::vector<long double> out(in);
    for (int y = 0; y < rows; y++) {
        std::vector<long double> r(out.begin() + y * cols, out.begin() + (y + 1) * cols);
        r = line(r);
        std::copy(r.begin(), r.end(), out.begin() + y * cols);
    }
    if (rows > 1)
        for (int x = 0; x < cols; x++) {
            std::vector<long double> c(static_cast<size_t>(rows));
            for (int y = 0; y < rows; y++) c[size_t(y)] = out[size_t(y * cols + x)];
            c = line(c);
            for (int y = 0; y < rows; y++) out[size_t(y * cols + x)] = c[size_t(y)];
        }
    return out;
}

std::vector<long double> naiveCorrelate(const Mat& image, const Mat& templ, int rows, int cols,
                                        int ax, int ay, int border, bool sumChannels) {
    const int cn = image.channels(), ocn = sumChannels ? 1 : cn;
    std::vector<long double> out(size_t(rows) * cols * ocn, 0.0L);
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++)
            for (int c = 0; c < cn; c++) {
                const int tc = templ.channels() == 1 ? 0 : c;
                long double s = 0;
                for (int j = 0; j < templ.rows(); j++) {
                    const int sy = ip::borderInterpolate(y + j - ay, image.rows(), border);
                    for (int i = 0; i < templ.cols(); i++) {
                        const int sx = ip::borderInterpolate(x + i - ax, image.cols(), border);
                        if (sy < 0 || sx < 0) continue;
                        s += (long double)image.value(sy, sx, c) * templ.value(j, i, tc);
                    }
                }
                out[(size_t(y) * cols + x) * ocn + (sumChannels ? 0 : c)] += s;
            }
    return out;
}

std::vector<double> naiveMatch(const Mat& image, const Mat& templ, int mode) {
    const int rows = image.rows() - templ.rows() + 1, cols = image.cols() - templ.cols() + 1;
    const int cn = image.channels(), th = templ.rows(), tw = templ.cols();
    const long double area = (long double)th * tw;
    std::vector<double> out;
    long double tsum2 = 0, tvar = 0;
    std::vector<long double> tmean(size_t(cn), 0.0L);
    for (int c = 0; c < cn; c++) {
        long double s = 0, s2 = 0;
        for (int j = 0; j < th; j++)
            for (int i = 0; i < tw; i++) {
                const long double v = templ.value(j, i, c);
                s += v, s2 += v * v;
            }
        tmean[size_t(c)] = s / area;
        tsum2 += s2;
        tvar += s2 / area - (s / area) * (s / area);
    }
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++) {
            long double cross = 0, wsum2 = 0, wvar = 0, ccoef = 0;
            for (int c = 0; c < cn; c++) {
                long double ws = 0, ws2 = 0, cr = 0;
                for (int j = 0; j < th; j++)
                    for (int i = 0; i < tw; i++) {
                        const long double v = image.value(y + j, x + i, c);
                        const long double t = templ.value(j, i, c);
                        ws += v, ws2 += v * v, cr += v * t;
                    }
                cross += cr;
                wsum2 += ws2;
                wvar += ws2 / area - (ws / area) * (ws / area);
                ccoef += cr - ws * tmean[size_t(c)];
            }
            long double r = 0;
            switch (mode) {
                case 0:
                    r = wsum2 - 2 * cross + tsum2;
                    break;
                case 1:
                    r = (wsum2 - 2 * cross + tsum2) / std::sqrt(wsum2 * tsum2);
                    break;
                case 2:
                    r = cross;
                    break;
                case 3:
                    r = cross / std::sqrt(wsum2 * tsum2);
                    break;
                case 4:
                    r = ccoef;
                    break;
                default:
                    r = ccoef / std::sqrt(wvar * area * tvar * area);
                    break;
            }
            out.push_back(double(r));
        }
    return out;
}

}  // namespace test
}  // namespace tarvo
