// FAST corners: the ring predicate as two 16-bit masks (brighter, darker)
// with a cyclic-run test, the score by bisection over the barrier, and the
// row-table non-maximum suppression. A vector screen on four ring pixels
// picks the centres that get the full test; stripes of rows run in parallel.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "corner_simd.h"
#include "tarvo/ip/edges.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace ip {

namespace {

// Ring of radius 3 as (dx, dy), starting straight below the centre.
constexpr int kRingDx[16] = {0, 1, 2, 3, 3, 3, 2, 1, 0, -1, -2, -3, -3, -3, -2, -1};
constexpr int kRingDy[16] = {3, 3, 2, 1, 0, -1, -2, -3, -3, -3, -2, -1, 0, 1, 2, 3};

// True when the 16-bit mask, taken as a cycle, holds n consecutive set bits.
bool cyclicRun(unsigned mask, int n) {
    const uint32_t x = mask | (mask << 16);
    uint32_t r = x;
    for (int k = 1; k < n; k++) r &= x >> k;
    return (r & 0xFFFFu) != 0;
}

struct Ring {
    int v[16];
    int p;
};

// The predicate at barrier b: n consecutive ring pixels above p + b, or
// n consecutive below p - b (equality counts as similar).
bool isCorner(const Ring& r, int b, int n) {
    unsigned bright = 0, dark = 0;
    const int hi = r.p + b, lo = r.p - b;
    for (int i = 0; i < 16; i++) {
        bright |= unsigned(r.v[i] > hi) << i;
        dark |= unsigned(r.v[i] < lo) << i;
    }
    return cyclicRun(bright, n) || cyclicRun(dark, n);
}

// Largest barrier at which the corner still passes, by bisection from b.
int score(const Ring& r, int b, int n) {
    int lo = b, hi = 255, t = (lo + hi) / 2;
    for (;;) {
        if (isCorner(r, t, n))
            lo = t;
        else
            hi = t;
        if (lo == hi || lo == hi - 1) return lo;
        t = (lo + hi) / 2;
    }
}

void readRing(const Mat& image, int x, int y, Ring& r) {
    r.p = image.data.ptr[y][x];
    for (int i = 0; i < 16; i++) r.v[i] = image.data.ptr[y + kRingDy[i]][x + kRingDx[i]];
}

// Corners (and their scores) of one stripe of centre rows.
struct Stripe {
    std::vector<Point2_<int>> found;
    std::vector<int> scores;
};

// Records a corner the vector kernel flagged with its score plus one.
inline void record(int x, int y, int flag, bool wantScore, Stripe& out) {
    out.found.push_back(Point2_<int>(x, y));
    if (wantScore) out.scores.push_back(flag - 1);
}

// Tests the centre (x, y) in full and records it when it is a corner.
inline void testCentre(const Mat& image, int x, int y, int b, int n, bool wantScore, Stripe& out) {
    Ring r;
    readRing(image, x, y, r);
    if (!isCorner(r, b, n)) return;
    out.found.push_back(Point2_<int>(x, y));
    if (wantScore) out.scores.push_back(score(r, b, n));
}

// Centre rows [ya, yb). The vector kernel flags the corners of a row with
// their scores (a screen on ring pixels 0, 4, 8, 12, then the best arc where
// it passes); its score, the best arc's smallest difference less one, is the
// largest passing barrier, which is what the bisection finds;
// the scalar loop tests whatever it did not reach, in column order.
void detectRows(const Mat& image, int b, int n, bool wantScore, int ya, int yb,
                std::vector<unsigned char>& flags, Stripe& out) {
    const int xEnd = image.cols() - 3;
    for (int y = ya; y < yb; y++) {
        const int done =
            detail::fastCornerRow(image.data.ptr + (y - 3), b, n, flags.data(), 3, xEnd);
        int x = 3;
        if (done > x) {
            // Eight flags at a time: most words are zero.
            for (; x + 8 <= done; x += 8) {
                uint64_t w;
                std::memcpy(&w, flags.data() + x, 8);
                if (!w) continue;
                for (int k = 0; k < 8; k++)
                    if (flags[size_t(x + k)])
                        record(x + k, y, flags[size_t(x + k)], wantScore, out);
            }
            for (; x < done; x++)
                if (flags[size_t(x)]) record(x, y, flags[size_t(x)], wantScore, out);
        }
        for (; x < xEnd; x++) testCentre(image, x, y, b, n, wantScore, out);
    }
}

void detectStripes(const Mat& image, int b, int n, bool wantScore, int y0, int nrows, int stripes,
                   std::vector<Stripe>& parts) {
    struct Body : ParallelLoopBody {
        void operator()(const Range& r) const override {
            std::vector<unsigned char> flags(size_t(image->cols()), 0);
            for (int k = r.start; k < r.end; k++) {
                const int ya = y0 + int((long long)nrows * k / stripes);
                const int yb = y0 + int((long long)nrows * (k + 1) / stripes);
                detectRows(*image, b, n, wantScore, ya, yb, flags, (*parts)[size_t(k)]);
            }
        }
        const Mat* image;
        int b, n;
        bool wantScore;
        int y0, nrows, stripes;
        std::vector<Stripe>* parts;
    } body;
    body.image = &image;
    body.b = b;
    body.n = n;
    body.wantScore = wantScore;
    body.y0 = y0;
    body.nrows = nrows;
    body.stripes = stripes;
    body.parts = &parts;
    parallel_for_(Range(0, stripes), body, double(stripes));
}

// Keeps corners whose score is above that of every 8-neighbour corner. The
// list is sorted by row, then column; rows are found through a table of each
// row's first corner.
void suppress(const std::vector<Point2_<int>>& c, const std::vector<int>& s,
              Array<Point2_<int>, const Point2_<int>&>& out) {
    out.removeAll();
    const int n = int(c.size());
    if (n < 1) return;
    const int last = c[size_t(n - 1)].y;
    std::vector<int> first(size_t(last) + 1, -1);
    for (int i = n - 1; i >= 0; i--) first[size_t(c[size_t(i)].y)] = i;
    int above = 0, below = 0;
    for (int i = 0; i < n; i++) {
        const int x = c[size_t(i)].x, y = c[size_t(i)].y, sc = s[size_t(i)];
        auto at = [&](int j) { return c[size_t(j)]; };
        if (i > 0 && at(i - 1).y == y && at(i - 1).x == x - 1 && s[size_t(i - 1)] >= sc) continue;
        if (i + 1 < n && at(i + 1).y == y && at(i + 1).x == x + 1 && s[size_t(i + 1)] >= sc)
            continue;
        bool drop = false;
        if (y != 0 && first[size_t(y - 1)] != -1) {
            if (at(above).y < y - 1) above = first[size_t(y - 1)];
            while (at(above).y < y && at(above).x < x - 1) above++;
            // The neighbour walk must not move the cursor: a later corner of
            // this row still needs the corners it passes.
            for (int j = above; at(j).y < y && at(j).x <= x + 1; j++)
                if (at(j).x >= x - 1 && s[size_t(j)] >= sc) {
                    drop = true;
                    break;
                }
        }
        if (drop) continue;
        if (y != last && first[size_t(y + 1)] != -1 && below < n) {
            if (at(below).y < y + 1) below = first[size_t(y + 1)];
            while (below < n && at(below).y == y + 1 && at(below).x < x - 1) below++;
            for (int j = below; j < n && at(j).y == y + 1 && at(j).x <= x + 1; j++)
                if (at(j).x >= x - 1 && s[size_t(j)] >= sc) {
                    drop = true;
                    break;
                }
        }
        if (!drop) out.add(c[size_t(i)]);
    }
}

}  // namespace

void cornerFast(const Mat& image, int threshold, int arcLength, int suppressFlag,
                Array<Point2_<int>, const Point2_<int>&>& corners) {
    if (image.empty() || image.type1() != MAT_Tuchar) return;
    // Beyond +-256 no classification changes, and p +- b stays in int range.
    const int b = std::min(256, std::max(-256, threshold));
    const int n = arcLength == 9 || arcLength == 10 || arcLength == 11 ? arcLength : 12;
    const int rows = image.rows(), cols = image.cols();
    const int y0 = 3, y1 = rows - 3;  // centre rows [y0, y1)
    const int nrows = std::max(0, y1 - y0);
    // Fixed stripes of whole rows, each with its own lists, joined in row
    // order: the lists are the serial ones whatever the thread count.
    const long long work = (long long)nrows * cols;
    const int stripes = work < (1 << 16) ? 1 : std::min(nrows, 64);
    std::vector<Stripe> parts(size_t(std::max(stripes, 1)));
    if (nrows > 0 && cols >= 7) {
        const bool wantScore = suppressFlag != 0;
        detectStripes(image, b, n, wantScore, y0, nrows, stripes, parts);
    }
    size_t total = 0;
    for (const Stripe& s : parts) total += s.found.size();
    std::vector<Point2_<int>> found;
    std::vector<int> scores;
    found.reserve(total);
    if (suppressFlag) scores.reserve(total);
    for (const Stripe& s : parts) {
        found.insert(found.end(), s.found.begin(), s.found.end());
        if (suppressFlag) scores.insert(scores.end(), s.scores.begin(), s.scores.end());
    }
    if (suppressFlag) {
        suppress(found, scores, corners);
        return;
    }
    corners.removeAll();
    if (!found.empty()) corners.append(found.data(), int(found.size()));
}

}  // namespace ip
}  // namespace tarvo
