// Moments, calcMoments and huMoments. Moments are summed over 32 x 32 tiles in
// the tile's own coordinates and shifted to the image's; byte tiles stay
// within 32-bit sums, and the tile results are added in a fixed order, so
// running tiles in parallel does not change a bit.
#include <cmath>
#include <cstdint>
#include <vector>

#include "shapes/moments_simd.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/parallel.h"

namespace tarvo {

namespace {

constexpr int kTile = 32;

// Central moments from the raw ones; returns 1 / m00, or 0 when m00 is
// within 2.22e-16 of 0.
double centralMoments(Moments& m) {
    const double inv = std::fabs(m.m00) > 2.220446049250313e-16 ? 1.0 / m.m00 : 0.0;
    const double cx = m.m10 * inv, cy = m.m01 * inv;
    m.mu20 = m.m20 - m.m10 * cx;
    m.mu11 = m.m11 - m.m10 * cy;
    m.mu02 = m.m02 - m.m01 * cy;
    m.mu30 = m.m30 - cx * (3 * m.mu20 + cx * m.m10);
    m.mu21 = m.m21 - cx * (2 * m.mu11 + cx * m.m01) - cy * m.mu20;
    m.mu12 = m.m12 - cy * (2 * m.mu11 + cy * m.m10) - cx * m.mu02;
    m.mu03 = m.m03 - cy * (3 * m.mu02 + cy * m.m01);
    return inv;
}

// Ten raw moments of one tile, in the tile's coordinates.
struct TileSums {
    double t[10];
};

// Integer tile sums of bytes or shorts (exact; 64 bits leave room for any pixel type).
template <typename T>
void tileInt(const Mat& img, int x0, int y0, int w, int h, bool binary, TileSums& r) {
    int64_t s[10] = {};
    for (int y = 0; y < h; y++) {
        const T* p = img.ptr<T>(y0 + y) + x0;
        int64_t a0 = 0, a1 = 0, a2 = 0, a3 = 0;
        for (int x = 0; x < w; x++) {
            const int64_t v = binary ? (p[x] != 0 ? 255 : 0) : int64_t(p[x]);
            const int64_t vx = v * x, vxx = vx * x;
            a0 += v;
            a1 += vx;
            a2 += vxx;
            a3 += vxx * x;
        }
        const int64_t yy = int64_t(y) * y;
        s[0] += a0;
        s[1] += a1;
        s[2] += a0 * y;
        s[3] += a2;
        s[4] += a1 * y;
        s[5] += a0 * yy;
        s[6] += a3;
        s[7] += a2 * y;
        s[8] += a1 * yy;
        s[9] += a0 * yy * y;
    }
    for (int i = 0; i < 10; i++) r.t[i] = double(s[i]);
}

// Floating tile sums in double, each in one fixed order.
template <typename T>
void tileFloat(const Mat& img, int x0, int y0, int w, int h, TileSums& r) {
    double s[10] = {};
    for (int y = 0; y < h; y++) {
        const T* p = img.ptr<T>(y0 + y) + x0;
        double a0 = 0, a1 = 0, a2 = 0, a3 = 0;
        for (int x = 0; x < w; x++) {
            const double v = double(p[x]), fx = double(x);
            a0 += v;
            a1 += v * fx;
            a2 += v * fx * fx;
            a3 += v * fx * fx * fx;
        }
        const double fy = double(y);
        s[0] += a0;
        s[1] += a1;
        s[2] += a0 * fy;
        s[3] += a2;
        s[4] += a1 * fy;
        s[5] += a0 * fy * fy;
        s[6] += a3;
        s[7] += a2 * fy;
        s[8] += a1 * fy * fy;
        s[9] += a0 * fy * fy * fy;
    }
    for (int i = 0; i < 10; i++) r.t[i] = s[i];
}

// Binary tiles of other depths: every non-zero element counts 255.
template <typename T>
void tileBinary(const Mat& img, int x0, int y0, int w, int h, TileSums& r) {
    tileInt<T>(img, x0, y0, w, h, true, r);
}

class TileRows : public ParallelLoopBody {
public:
    TileRows(const Mat& img, bool binary, int tilesX, std::vector<TileSums>& out)
        : m_img(img), m_binary(binary), m_tilesX(tilesX), m_out(out) {}
    void operator()(const Range& range) const override {
        const int rows = m_img.rows(), cols = m_img.cols();
        const bool vec = m_img.type() == MAT_Tuchar && checkHardwareSupport(CPU_INT_VECTORS);
        std::vector<uint32_t> sums;
        if (vec) sums.resize(size_t(cols / kTile) * 10);
        for (int ty = range.start; ty < range.end; ty++) {
            const int y0 = ty * kTile, h = rows - y0 < kTile ? rows - y0 : kTile;
            int tx = 0;
            if (vec && cols >= kTile) {
                // Whole-width byte tiles in vector code, the right edge below.
                const uint8_t* rp[kTile];
                for (int y = 0; y < h; y++) rp[y] = m_img.ptr<uint8_t>(y0 + y);
                if (detail::vecMomentTiles(rp, h, cols / kTile, m_binary, sums.data())) {
                    for (; tx < cols / kTile; tx++) {
                        TileSums& r = m_out[size_t(ty) * m_tilesX + tx];
                        const uint32_t* s = sums.data() + size_t(tx) * 10;
                        for (int i = 0; i < 10; i++)
                            r.t[i] = double(m_binary ? int64_t(s[i]) * 255 : int64_t(s[i]));
                        if (m_binary)
                            for (double& v : r.t) v *= 0.00392156862745098;
                    }
                }
            }
            for (; tx < m_tilesX; tx++) {
                const int x0 = tx * kTile, w = cols - x0 < kTile ? cols - x0 : kTile;
                TileSums& r = m_out[size_t(ty) * m_tilesX + tx];
                switch (m_img.type()) {
                    case MAT_Tuchar:
                        tileInt<unsigned char>(m_img, x0, y0, w, h, m_binary, r);
                        break;
                    case MAT_Tshort:
                        if (m_binary)
                            tileBinary<short>(m_img, x0, y0, w, h, r);
                        else
                            tileInt<short>(m_img, x0, y0, w, h, false, r);
                        break;
                    case MAT_Tint:
                        tileBinary<int>(m_img, x0, y0, w, h, r);
                        break;
                    case MAT_Tfloat:
                        if (m_binary)
                            tileBinary<float>(m_img, x0, y0, w, h, r);
                        else
                            tileFloat<float>(m_img, x0, y0, w, h, r);
                        break;
                    default:
                        if (m_binary)
                            tileBinary<double>(m_img, x0, y0, w, h, r);
                        else
                            tileFloat<double>(m_img, x0, y0, w, h, r);
                        break;
                }
                if (m_binary)
                    for (double& v : r.t) v *= 0.00392156862745098;
            }
        }
    }

private:
    const Mat& m_img;
    bool m_binary;
    int m_tilesX;
    std::vector<TileSums>& m_out;
};

}  // namespace

Moments::Moments()
    : m00(0),
      m10(0),
      m01(0),
      m20(0),
      m11(0),
      m02(0),
      m30(0),
      m21(0),
      m12(0),
      m03(0),
      mu20(0),
      mu11(0),
      mu02(0),
      mu30(0),
      mu21(0),
      mu12(0),
      mu03(0),
      nu20(0),
      nu11(0),
      nu02(0),
      nu30(0),
      nu21(0),
      nu12(0),
      nu03(0),
      inv_sqrt_m00(0) {}

Moments::Moments(double m00_, double m10_, double m01_, double m20_, double m11_, double m02_,
                 double m30_, double m21_, double m12_, double m03_)
    : Moments() {
    m00 = m00_;
    m10 = m10_;
    m01 = m01_;
    m20 = m20_;
    m11 = m11_;
    m02 = m02_;
    m30 = m30_;
    m21 = m21_;
    m12 = m12_;
    m03 = m03_;
    const double inv = centralMoments(*this);
    const double s2 = inv * inv, s3 = s2 * std::sqrt(std::fabs(inv));
    nu20 = mu20 * s2;
    nu11 = mu11 * s2;
    nu02 = mu02 * s2;
    nu30 = mu30 * s3;
    nu21 = mu21 * s3;
    nu12 = mu12 * s3;
    nu03 = mu03 * s3;
}

double Moments::getSpatialMoment(int xOrder, int yOrder) {
    if (xOrder < 0 || yOrder < 0 || xOrder > 3 || yOrder > 3 || xOrder + yOrder > 3) return 0.0;
    const double* raw[10] = {&m00, &m10, &m01, &m20, &m11, &m02, &m30, &m21, &m12, &m03};
    const int o = xOrder + yOrder;
    return *raw[o + o / 2 + (o >= 3 ? 2 : 0) + yOrder];
}

void calcMoments(const Mat& image, Moments& moments, int binary) {
    moments = Moments();
    if (!image.isValid() || image.rows() <= 0 || image.cols() <= 0) return;
    if (image.channels() != 1) return;
    const int depth = image.type();
    if (depth < MAT_Tuchar || depth > MAT_Tdouble) return;
    if (!binary && depth == MAT_Tint) return;

    const int rows = image.rows(), cols = image.cols();
    const int tilesX = (cols + kTile - 1) / kTile, tilesY = (rows + kTile - 1) / kTile;
    std::vector<TileSums> tiles(size_t(tilesX) * tilesY);
    parallel_for_(Range(0, tilesY), TileRows(image, binary != 0, tilesX, tiles),
                  double(rows) * cols / 262144.0);

    Moments& m = moments;
    for (int ty = 0; ty < tilesY; ty++) {
        for (int tx = 0; tx < tilesX; tx++) {
            const double* t = tiles[size_t(ty) * tilesX + tx].t;
            const double t00 = t[0], t10 = t[1], t01 = t[2], t20 = t[3], t11 = t[4], t02 = t[5],
                         t30 = t[6], t21 = t[7], t12 = t[8], t03 = t[9];
            const double xs = double(tx) * kTile, ys = double(ty) * kTile;
            m.m00 += t00;
            m.m10 += t10 + xs * t00;
            m.m01 += t01 + ys * t00;
            m.m20 += t20 + xs * (2 * t10 + xs * t00);
            m.m11 += t11 + xs * t01 + ys * (t10 + xs * t00);
            m.m02 += t02 + ys * (2 * t01 + ys * t00);
            m.m30 += t30 + xs * (3 * t20 + xs * (3 * t10 + xs * t00));
            m.m21 += t21 + xs * (2 * t11 + xs * t01) + ys * (t20 + xs * (2 * t10 + xs * t00));
            m.m12 += t12 + ys * (2 * t11 + ys * t10) + xs * (t02 + ys * (2 * t01 + ys * t00));
            m.m03 += t03 + ys * (3 * t02 + ys * (3 * t01 + ys * t00));
        }
    }
    const double inv = centralMoments(m);
    m.inv_sqrt_m00 = std::sqrt(std::fabs(inv));
}

void huMoments(const Moments& m, double* const hu) {
    if (!hu) return;
    double t0 = m.nu30 + m.nu12, t1 = m.nu21 + m.nu03;
    double q0 = t0 * t0, q1 = t1 * t1;
    const double n4 = 4 * m.nu11, s = m.nu20 + m.nu02, d = m.nu20 - m.nu02;
    hu[0] = s;
    hu[1] = d * d + n4 * m.nu11;
    hu[3] = q0 + q1;
    hu[5] = d * (q0 - q1) + n4 * t0 * t1;
    t0 *= q0 - 3 * q1;
    t1 *= 3 * q0 - q1;
    q0 = m.nu30 - 3 * m.nu12;
    q1 = 3 * m.nu21 - m.nu03;
    hu[2] = q0 * q0 + q1 * q1;
    hu[4] = q0 * t0 + q1 * t1;
    hu[6] = q1 * t0 - q0 * t1;
}

}  // namespace tarvo
