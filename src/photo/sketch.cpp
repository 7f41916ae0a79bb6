// The outline image and the two operators built on it: ipSketch and
// ipRoughSketch.
#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "photo/photo_internal.h"
#include "photo/stylise_internal.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/photo.h"
#include "tarvo/saturate.h"

namespace tarvo {

namespace detail {

namespace {

// Rows of one strip: buffer rows [0, h) are image rows [s0, s0 + h); rows
// [first, last) of the buffer are written. The first and last buffer rows read
// as 0, which is why strips overlap by 4 rows and skip their 2 outer rows on
// each inner side: the rows they write see the same neighbours as in one
// image-high strip.
void edgeStrip(const Mat& src, Mat& out, int s0, int h, int first, int last,
               const unsigned char* tone, float gain, bool vec, unsigned char* buf,
               unsigned char* val) {
    const int cols = src.cols(), cn = src.channels(), use = cn < 3 ? cn : 3;
    // buf holds h + 1 rows of cols bytes: the smoothed first bytes, then zeros.
    unsigned char* zero = buf + size_t(h) * cols;
    std::fill(zero, zero + cols, (unsigned char)0);
    for (int i = 0; i < h; i++) {
        unsigned char* sm = buf + size_t(i) * cols;
        if (i == 0 || i == h - 1 || cols < 3) {
            std::fill(sm, sm + cols, (unsigned char)0);
            continue;
        }
        const unsigned char* s = src.data.ptr[s0 + i];
        sm[0] = sm[cols - 1] = 0;
        int x = 1;
        if (vec && cn == 1) {
            std::copy(s + 1, s + cols - 1, sm + 1);
            x = cols - 1;
        } else if (vec) {
            x += photoFirstBytes(s + cn, cn, sm + 1, cols - 2);
        }
        for (; x < cols - 1; x++) sm[x] = s[x * cn];
    }
    for (int i = first; i < last; i++) {
        const unsigned char* c = buf + size_t(i) * cols;
        const unsigned char* a = i > 0 ? c - cols : zero;
        const unsigned char* b = i < h - 1 ? c + cols : zero;
        // The left neighbour of column 0 is carried over from the last pixel
        // of the row before: its own left neighbour.
        const int carry = i > 0 && cols >= 2 ? c[-2] : 0;
        const unsigned char* s = src.data.ptr[s0 + i];
        unsigned char* d = out.data.ptr[s0 + i];
        auto put = [&](int x, int sum) {
            const unsigned char v = tone[sum];
            for (int k = 0; k < use; k++) d[x * cn + k] = v;
            for (int k = use; k < cn; k++) d[x * cn + k] = s[x * cn + k];
        };
        auto diff = [](int p, int q) { return p > q ? p - q : q - p; };
        if (cols == 1) {
            put(0, diff(c[0], a[0]) + diff(c[0], b[0]) + diff(c[0], carry) + c[0]);
            continue;
        }
        put(0, diff(c[0], a[0]) + diff(c[0], b[0]) + diff(c[0], carry) + diff(c[0], c[1]));
        int x0 = 1;
        if (vec) {
            // Interior columns in vector code, straight into grey rows; colour
            // rows get the values spread over their pixels.
            x0 = photoEdgeValues(a, c, b, cols, gain, cn == 1 ? d : val);
            if (cn > 1) {
                int x = 1 + photoSpreadValues(val + 1, s + cn, d + cn, x0 - 1, cn);
                for (; x < x0; x++) {
                    for (int k = 0; k < use; k++) d[x * cn + k] = val[x];
                    for (int k = use; k < cn; k++) d[x * cn + k] = s[x * cn + k];
                }
            }
        }
        if (cn == 1) {
            for (int x = x0; x < cols - 1; x++) {
                const int sum = diff(c[x], a[x]) + diff(c[x], b[x]) + diff(c[x], c[x - 1]) +
                                diff(c[x], c[x + 1]);
                d[x] = tone[sum];
            }
        } else if (cn == 3) {
            for (int x = x0; x < cols - 1; x++) {
                const int sum = diff(c[x], a[x]) + diff(c[x], b[x]) + diff(c[x], c[x - 1]) +
                                diff(c[x], c[x + 1]);
                d[3 * x] = d[3 * x + 1] = d[3 * x + 2] = tone[sum];
            }
        } else {
            for (int x = x0; x < cols - 1; x++)
                put(x, diff(c[x], a[x]) + diff(c[x], b[x]) + diff(c[x], c[x - 1]) +
                           diff(c[x], c[x + 1]));
        }
        const int x = cols - 1;
        put(x, diff(c[x], a[x]) + diff(c[x], b[x]) + diff(c[x], c[x - 1]) + c[x]);
    }
}

}  // namespace

void photoEdgeImage(const Mat& src, Mat& out, float gain) {
    const int rows = src.rows(), cols = src.cols();
    // The output for a sum of four differences s (S = 3 s): a table of every s.
    unsigned char tone[4 * 255 + 1];
    for (int s = 0; s <= 4 * 255; s++) {
        float m = float(3 * s) * gain;
        m = m < 255.0f ? m : 255.0f;
        const int v = truncInt(255.0f - m);
        tone[s] = (unsigned char)(v < 0 ? 0 : v > 255 ? 255 : v);
    }
    const bool vec = checkHardwareSupport(CPU_FLOAT_VECTORS);
    // Strip k starts at row 11 k; the last is the first that reaches the end.
    const int strips = rows <= 15 ? 1 : (rows - 15 + 10) / 11 + 1;
    const auto body = [&](int k0, int k1) {
        std::vector<unsigned char> buf(size_t(17) * cols);
        for (int k = k0; k < k1; k++) {
            const int s0 = 11 * k;
            const int h = rows - s0 < 15 ? rows - s0 : 15;
            const bool lastStrip = k == strips - 1;
            edgeStrip(src, out, s0, h, k == 0 ? 0 : 2, lastStrip ? h : 13, tone, gain, vec,
                      buf.data(), buf.data() + size_t(16) * cols);
        }
    };
    photoParallelRows(strips, double(rows) * cols, body);
}

}  // namespace detail

// ---------------------------------------------------------------- sketch

PumpABC* ipSketch::clone() const {
    return new (std::nothrow) ipSketch(amount);
}

namespace {
// Runs fill(out) into the target, through a work matrix when the target is
// the source itself (the outline reads rows that it writes).
template <typename F>
bool intoTarget(Mat* src, Mat* target, F fill) {
    if (target != src) return fill(*target);
    Mat work(src->rows(), src->cols(), src->type1());
    if (work.empty() || !fill(work)) return false;
    *src = work;
    return true;
}
}  // namespace

bool ipSketch::process(Mat* src, Mat* dst) {
    if (!detail::photoStyliseInput(src)) return false;
    Mat* target = detail::photoPrepare(src, dst);
    if (!target) return false;
    const float gain = float(amount) / 50.0f;
    return intoTarget(src, target, [&](Mat& out) {
        detail::photoEdgeImage(*src, out, gain);
        return true;
    });
}

// ---------------------------------------------------------------- rough sketch

PumpABC* ipRoughSketch::clone() const {
    return new (std::nothrow) ipRoughSketch();
}

namespace {

const int kHatchA[40] = {18, 18, 18, 22, 22, 22, 21, 17, 17, 17, 15, 15, 15, 21,
                         21, 21, 21, 25, 25, 25, 22, 22, 22, 19, 19, 19, 17, 17,
                         17, 17, 15, 15, 15, 23, 23, 23, 23, 20, 20, 20};
const int kHatchB[40] = {46, 46, 46, 46, 65, 65, 65, 57, 57, 57, 53, 53, 53, 58,
                         58, 58, 58, 47, 47, 47, 52, 52, 52, 61, 61, 61, 61, 55,
                         55, 55, 48, 48, 48, 48, 59, 59, 59, 53, 53, 53};
const int kHatchD[40] = {26, 26, 26, 26, 26, 26, 20, 20, 20, 20, 33, 33, 33, 33,
                         33, 33, 27, 27, 27, 27, 22, 22, 22, 22, 25, 25, 25, 25,
                         25, 25, 23, 23, 23, 23, 29, 29, 29, 29, 29, 29};

// Column terms of the hatching indices, computed once per call (products in double).
struct HatchColumns {
    std::vector<int> d13, m13, m07, m12, d15, m11, m08, m09;
    explicit HatchColumns(int cols) {
        for (std::vector<int>* v : {&d13, &m13, &m07, &m12, &d15, &m11, &m08, &m09})
            v->resize(size_t(cols));
        for (int x = 0; x < cols; x++) {
            d13[x] = truncInt(x / 1.3);
            m13[x] = truncInt(1.3 * x);
            m07[x] = truncInt(0.7 * x);
            m12[x] = truncInt(1.2 * x);
            d15[x] = truncInt(x / 1.5);
            m11[x] = truncInt(1.1 * x);
            m08[x] = truncInt(0.8 * x);
            m09[x] = truncInt(0.9 * x);
        }
    }
};

// Row terms of the hatching indices: y mod n for the moduli in use.
struct HatchRow {
    int y, m12, m17, m18, m19, m21, m23, m25, m27, and15, band26;
    explicit HatchRow(int y_)
        : y(y_),
          m12(y_ % 12),
          m17(y_ % 17),
          m18(y_ % 18),
          m19(y_ % 19),
          m21(y_ % 21),
          m23(y_ % 23),
          m25(y_ % 25),
          m27(y_ % 27),
          and15(y_ & 15),
          band26((y_ / 26) * 13) {}
};

// The hatched grey t of level G at (x, y). Every index is non-negative
// (26 (y / 26) <= y keeps the first one so), and is taken mod 40 last.
inline int hatch(int G, int x, const HatchRow& r, const HatchColumns& c) {
    auto a = [](long long i) { return kHatchA[i % 40]; };
    auto b = [](long long i) { return kHatchB[i % 40]; };
    if (G > 240 || G <= 20) return G - 4 * a(r.m27 + c.d15[x] + 15LL);
    if (G >= 211) return G - 3 * a((x - (long long)r.band26) * 2 + 23 + r.y);
    if (G >= 181) return G - b(r.m19 + c.d13[x] + 11LL);
    if (G >= 161) return G - b(r.m27 + c.m13[x] + 33LL) - a(r.m19 + c.m07[x] + 17LL);
    if (G >= 141) return G - a(r.m25 + c.m12[x] + 16LL) - b(r.m18 + c.d15[x] + 12LL);
    if (G >= 121) return G - b(r.m23 + c.m11[x] + 14LL) - a(r.m12 + c.m08[x] + 13LL);
    if (G >= 101) return G - a(r.m19 + c.m11[x] + 23LL) - b(r.and15 + c.m09[x] + 25LL);
    if (G >= 81) return G - a(r.m17 + c.m12[x] + 13LL) - b((x >> 1) + r.m21 + 19LL);
    if (G >= 61) return G - b(r.m19 + c.m09[x] + 9LL);
    if (G >= 41) return G - 3 * a(r.and15 + (long long)c.m11[x]);
    return G - b(r.m23 + (long long)c.m08[x]);
}

// The hatching of one row in table form, for the fast path. Every band of
// hatch() subtracts at most two terms table[(r + c(x)) % 40], with r a row term
// and c(x) a column term. Reducing both mod 40 first and reading tables
// repeated twice (80 entries) gives the same entry without the division, and
// a band table by G replaces the chain of comparisons.
class HatchTables {
public:
    explicit HatchTables(const HatchColumns& c) : cols_(int(c.d15.size())) {
        for (int i = 0; i < 80; i++) {
            tab_[kA1][i] = kHatchA[i % 40];
            tab_[kA3][i] = 3 * kHatchA[i % 40];
            tab_[kA4][i] = 4 * kHatchA[i % 40];
            tab_[kB][i] = kHatchB[i % 40];
            tab_[kZero][i] = 0;
            hi_[i] = 255 - kHatchD[i % 40] / 5;
            lo_[i] = kHatchD[i % 40];
        }
        for (std::vector<unsigned char>& v : col_) v.resize(size_t(cols_));
        for (int x = 0; x < cols_; x++) {
            col_[kD15][x] = (unsigned char)(c.d15[x] % 40);
            col_[kTwice][x] = (unsigned char)(2 * (x % 20));
            col_[kD13][x] = (unsigned char)(c.d13[x] % 40);
            col_[kM13][x] = (unsigned char)(c.m13[x] % 40);
            col_[kM07][x] = (unsigned char)(c.m07[x] % 40);
            col_[kM12][x] = (unsigned char)(c.m12[x] % 40);
            col_[kM11][x] = (unsigned char)(c.m11[x] % 40);
            col_[kM08][x] = (unsigned char)(c.m08[x] % 40);
            col_[kM09][x] = (unsigned char)(c.m09[x] % 40);
            col_[kHalf][x] = (unsigned char)((x >> 1) % 40);
            col_[kNone][x] = 0;
        }
        for (int g = 0; g < 256; g++)
            band_[g] = g > 240 || g <= 20 ? 0
                       : g >= 211         ? 1
                       : g >= 181         ? 2
                       : g >= 161         ? 3
                       : g >= 141         ? 4
                       : g >= 121         ? 5
                       : g >= 101         ? 6
                       : g >= 81          ? 7
                       : g >= 61          ? 8
                       : g >= 41          ? 9
                                          : 10;
    }

    // Runs one row: e holds the outline row (cn bytes a pixel) and receives
    // the result in its first `use` bytes; g is the grey row.
    void row(const HatchRow& r, const unsigned char* g, unsigned char* e, int cn, int use) const {
        struct Term {
            int table, column, row;
        };
        // Row terms with their constants, mod 40.
        const Term terms[11][2] = {
            {{kA4, kD15, r.m27 + 15}, {kZero, kNone, 0}},
            {{kA3, kTwice, r.y % 26 + 23}, {kZero, kNone, 0}},
            {{kB, kD13, r.m19 + 11}, {kZero, kNone, 0}},
            {{kB, kM13, r.m27 + 33}, {kA1, kM07, r.m19 + 17}},
            {{kA1, kM12, r.m25 + 16}, {kB, kD15, r.m18 + 12}},
            {{kB, kM11, r.m23 + 14}, {kA1, kM08, r.m12 + 13}},
            {{kA1, kM11, r.m19 + 23}, {kB, kM09, r.and15 + 25}},
            {{kA1, kM12, r.m17 + 13}, {kB, kHalf, r.m21 + 19}},
            {{kB, kM09, r.m19 + 9}, {kZero, kNone, 0}},
            {{kA3, kM11, r.and15}, {kZero, kNone, 0}},
            {{kB, kM08, r.m23}, {kZero, kNone, 0}},
        };
        const int* t1[11];
        const int* t2[11];
        const unsigned char* c1[11];
        const unsigned char* c2[11];
        for (int b = 0; b < 11; b++) {
            t1[b] = tab_[terms[b][0].table] + terms[b][0].row % 40;
            t2[b] = tab_[terms[b][1].table] + terms[b][1].row % 40;
            c1[b] = col_[terms[b][0].column].data();
            c2[b] = col_[terms[b][1].column].data();
        }
        const int* hi = hi_ + (r.m23 + 3) % 40;
        const int* lo = lo_ + r.m27 % 40;
        const unsigned char* half = col_[kHalf].data();
        const auto run = [&](auto store) {
            for (int x = 0; x < cols_; x++, e += cn) {
                const int G = g[x], b = band_[G];
                const int t = G - t1[b][c1[b][x]] - t2[b][c2[b][x]];
                const int ev = e[0] < 60 ? 200 : e[0];
                // ev is 60..255 and t is within -100..255: the sum is small and
                // finite, so the plain conversion truncates as truncInt does.
                int q = static_cast<int>(0.7 * ev + 0.8 * t);
                q = q > 255 ? 255 : q < 0 ? 0 : q;
                // Both ends read unconditionally, so the choice needs no branch.
                const int h = hi[half[x]], l = lo[half[x]];
                int out = q < 20 ? l : q;
                out = q >= 251 ? h : out;
                store(e, (unsigned char)out);
            }
        };
        // Fixed byte counts, so the stores stay plain moves.
        if (use == 3)
            run([](unsigned char* p, unsigned char v) { p[0] = p[1] = p[2] = v; });
        else if (use == 2)
            run([](unsigned char* p, unsigned char v) { p[0] = p[1] = v; });
        else
            run([](unsigned char* p, unsigned char v) { p[0] = v; });
    }

private:
    enum { kA1, kA3, kA4, kB, kZero, kTables };
    enum { kD15, kTwice, kD13, kM13, kM07, kM12, kM11, kM08, kM09, kHalf, kNone, kColumns };
    int cols_;
    int tab_[kTables][80];
    int hi_[80], lo_[80];
    unsigned char band_[256];
    std::vector<unsigned char> col_[kColumns];
};

}  // namespace

bool ipRoughSketch::process(Mat* src, Mat* dst) {
    if (!detail::photoStyliseInput(src)) return false;
    Mat* target = detail::photoPrepare(src, dst);
    if (!target) return false;
    Mat gray;
    ColorSpace::RGBtoGray(*src, gray, BMP_RGB);
    if (gray.empty()) return false;
    const int rows = src->rows(), cols = src->cols(), cn = src->channels();
    const int use = cn < 3 ? cn : 3;
    const HatchColumns columns(cols);
    const bool fast = detail::useOptimized();
    std::unique_ptr<HatchTables> tables(fast ? new (std::nothrow) HatchTables(columns) : nullptr);
    return intoTarget(src, target, [&](Mat& E) {
        detail::photoEdgeImage(*src, E, 1.2f);
        const auto body = [&](int y0, int y1) {
            for (int y = y0; y < y1; y++) {
                const HatchRow hr(y);
                if (tables) {
                    tables->row(hr, gray.data.ptr[y], E.data.ptr[y], cn, use);
                    continue;
                }
                const unsigned char* g = gray.data.ptr[y];
                unsigned char* e = E.data.ptr[y];
                for (int x = 0; x < cols; x++, e += cn) {
                    const int t = hatch(g[x], x, hr, columns);
                    int ev = e[0];
                    if (ev < 60) ev = 200;
                    int q = truncInt(0.7 * ev + 0.8 * t);
                    q = q > 255 ? 255 : q < 0 ? 0 : q;
                    int out;
                    if (q >= 251)
                        out = 255 - kHatchD[((x >> 1) + hr.m23 + 3) % 40] / 5;
                    else if (q < 20)
                        out = kHatchD[((x >> 1) + hr.m27) % 40];
                    else
                        out = q;
                    for (int k = 0; k < use; k++) e[k] = (unsigned char)out;
                }
            }
        };
        detail::photoParallelRows(rows, double(rows) * cols * 4.0, body);
        return true;
    });
}

// ---------------------------------------------------------------- free functions

namespace ip {

void sketch(const Mat& src, Mat& dst, int amount) {
    ipSketch op(amount);
    op.ipSketch::process(const_cast<Mat*>(&src), &dst);
}

void roughSketch(const Mat& src, Mat& dst) {
    ipRoughSketch op;
    op.ipRoughSketch::process(const_cast<Mat*>(&src), &dst);
}

}  // namespace ip
}  // namespace tarvo
