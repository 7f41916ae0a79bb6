// FAST corners: the ring predicate as two 16-bit masks (brighter, darker)
// with a cyclic-run test, the score by bisection over the barrier, and the
// row-table non-maximum suppression. A vector screen on four ring pixels
// picks the centres that get the full test; stripes of rows run in parallel,
// for the detection and then for the suppression.
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
// list c[0..n) is sorted by row, then column; rows are found through a table
// of each row's first corner. Only corners [from, to) are judged and appended
// to out: a corner's fate depends on its own row and the rows next to it
// alone, so a stripe of the list judged with one row of context on each side
// decides as the whole list would.
void suppress(const Point2_<int>* c, const int* s, int n, int from, int to,
              std::vector<Point2_<int>>& out) {
    if (n < 1) return;
    const int top = c[0].y, last = c[n - 1].y;
    std::vector<int> firstOf(size_t(last - top) + 1, -1);
    for (int i = n - 1; i >= 0; i--) firstOf[size_t(c[i].y - top)] = i;
    // First corner of row y, -1 for a row without corners or outside the list.
    auto first = [&](int y) { return y < top || y > last ? -1 : firstOf[size_t(y - top)]; };
    int above = 0, below = 0;
    for (int i = from; i < to; i++) {
        const int x = c[i].x, y = c[i].y, sc = s[i];
        if (i > 0 && c[i - 1].y == y && c[i - 1].x == x - 1 && s[i - 1] >= sc) continue;
        if (i + 1 < n && c[i + 1].y == y && c[i + 1].x == x + 1 && s[i + 1] >= sc) continue;
        bool drop = false;
        if (y != 0 && first(y - 1) != -1) {
            if (c[above].y < y - 1) above = first(y - 1);
            while (c[above].y < y && c[above].x < x - 1) above++;
            // The neighbour walk must not move the cursor: a later corner of
            // this row still needs the corners it passes.
            for (int j = above; c[j].y < y && c[j].x <= x + 1; j++)
                if (c[j].x >= x - 1 && s[j] >= sc) {
                    drop = true;
                    break;
                }
        }
        if (drop) continue;
        if (y != last && first(y + 1) != -1 && below < n) {
            if (c[below].y < y + 1) below = first(y + 1);
            while (below < n && c[below].y == y + 1 && c[below].x < x - 1) below++;
            for (int j = below; j < n && c[j].y == y + 1 && c[j].x <= x + 1; j++)
                if (c[j].x >= x - 1 && s[j] >= sc) {
                    drop = true;
                    break;
                }
        }
        if (!drop) out.push_back(c[i]);
    }
}

// Suppression of stripe k in place of its detected list: the stripe's corners
// with the last row of the stripe above and the first row of the stripe below
// around them.
void suppressStripe(std::vector<Stripe>& parts, int k, std::vector<Point2_<int>>& kept,
                    std::vector<Point2_<int>>& c, std::vector<int>& s) {
    const Stripe& mid = parts[size_t(k)];
    kept.clear();
    if (mid.found.empty()) return;
    c.clear();
    s.clear();
    if (k > 0) {
        // Stripes hold at least one row each: the row above is the last of stripe k - 1.
        const Stripe& up = parts[size_t(k - 1)];
        const int yAbove = mid.found.front().y - 1;
        size_t i = up.found.size();
        while (i > 0 && up.found[i - 1].y == yAbove) i--;
        c.insert(c.end(), up.found.begin() + ptrdiff_t(i), up.found.end());
        s.insert(s.end(), up.scores.begin() + ptrdiff_t(i), up.scores.end());
    }
    const int from = int(c.size());
    c.insert(c.end(), mid.found.begin(), mid.found.end());
    s.insert(s.end(), mid.scores.begin(), mid.scores.end());
    const int to = int(c.size());
    if (size_t(k + 1) < parts.size()) {
        const Stripe& dn = parts[size_t(k + 1)];
        const int yBelow = mid.found.back().y + 1;
        size_t i = 0;
        while (i < dn.found.size() && dn.found[i].y == yBelow) i++;
        c.insert(c.end(), dn.found.begin(), dn.found.begin() + ptrdiff_t(i));
        s.insert(s.end(), dn.scores.begin(), dn.scores.begin() + ptrdiff_t(i));
    }
    suppress(c.data(), s.data(), int(c.size()), from, to, kept);
}

// Suppresses every stripe in parallel; each stripe's survivors replace its
// found list (scores are no longer needed). Writing is deferred until all
// stripes are judged, since each reads its neighbours' lists.
void suppressStripes(std::vector<Stripe>& parts) {
    const int stripes = int(parts.size());
    std::vector<std::vector<Point2_<int>>> kept(static_cast<size_t>(stripes));
    struct Body : ParallelLoopBody {
        void operator()(const Range& r) const override {
            std::vector<Point2_<int>> c;
            std::vector<int> s;
            for (int k = r.start; k < r.end; k++)
                suppressStripe(*parts, k, (*kept)[size_t(k)], c, s);
        }
        std::vector<Stripe>* parts;
        std::vector<std::vector<Point2_<int>>>* kept;
    } body;
    body.parts = &parts;
    body.kept = &kept;
    parallel_for_(Range(0, stripes), body, double(stripes));
    for (int k = 0; k < stripes; k++) parts[size_t(k)].found.swap(kept[size_t(k)]);
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
    if (suppressFlag) {
        if (stripes > 1) {
            suppressStripes(parts);
        } else {
            std::vector<Point2_<int>> kept;
            const Stripe& all = parts[0];
            const int n = int(all.found.size());
            suppress(all.found.data(), all.scores.data(), n, 0, n, kept);
            parts[0].found.swap(kept);
        }
    }
    // One allocation for the joined list rather than a growth step per stripe.
    size_t total = 0;
    for (const Stripe& s : parts) total += s.found.size();
    corners.removeAll();
    if (total == 0 || !corners.setSize(int(total))) return;
    Point2_<int>* out = corners.getData();
    for (const Stripe& s : parts) {
        std::copy(s.found.begin(), s.found.end(), out);
        out += s.found.size();
    }
}

}  // namespace ip
}  // namespace tarvo
