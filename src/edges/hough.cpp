// Hough transforms: standard and randomised lines, dominant directions of a
// point set, and the darkest disc.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include "tarvo/ip/edges.h"
#include "tarvo/parallel.h"
#include "tarvo/random.h"
#include "tarvo/saturate.h"
#include "tarvo/tarvoutil.h"

namespace tarvo {

namespace {

// The accumulator may hold at most this many cells: beyond it a request is
// absurd for any picture and is refused before allocating.
constexpr long long kMaxHoughCells = 1LL << 27;

constexpr float kPi = 3.14159265358979323846f;

inline long long floorShift(long long v, int s) {
    return v >= 0 ? v >> s : ~((~v) >> s);
}

bool usableStep(float v) {
    return std::isfinite(v) && v > 0.0f;
}

}  // namespace

// ---- ipHoughLines: the standard form

ipHoughLines::ipHoughLines(float rho, float theta, int threshold, int lines)
    : m_fRho(rho), m_fTheta(theta), m_nThreshold(threshold), m_nLines(lines) {}

ipHoughLines::ipHoughLines(const ipHoughLines& other) : ipCoreFeaturePump(other) {
    *this = other;
}

ipHoughLines& ipHoughLines::operator=(const ipHoughLines& other) {
    if (this == &other) return *this;
    freeLines();
    m_fRho = other.m_fRho;
    m_fTheta = other.m_fTheta;
    m_nThreshold = other.m_nThreshold;
    m_nLines = other.m_nLines;
    m_nPeaks = other.m_nPeaks;
    if (other.m_pStart && other.m_pEnd && other.m_nLines > 0) {
        m_pStart = new (std::nothrow) Point2_<int>[size_t(other.m_nLines)];
        m_pEnd = new (std::nothrow) Point2_<int>[size_t(other.m_nLines)];
        if (!m_pStart || !m_pEnd) {
            freeLines();
            m_nLines = 0;
        } else {
            for (int i = 0; i < m_nLines; i++) {
                m_pStart[i] = other.m_pStart[i];
                m_pEnd[i] = other.m_pEnd[i];
            }
        }
    }
    return *this;
}

ipHoughLines::~ipHoughLines() {
    freeLines();
}

void ipHoughLines::freeLines() {
    delete[] m_pStart;
    delete[] m_pEnd;
    m_pStart = m_pEnd = nullptr;
}

PumpABC* ipHoughLines::clone() const {
    return new (std::nothrow) ipHoughLines(*this);
}

bool ipHoughLines::process(Mat* image) {
    freeLines();
    m_nPeaks = 0;
    const int wanted = m_nLines;
    m_nLines = 0;
    if (!image || !image->isValid() || image->type1() != MAT_Tuchar) return false;
    if (!usableStep(m_fRho) || !usableStep(m_fTheta)) return false;
    const int rows = image->rows(), cols = image->cols();
    const double na = std::trunc(double(kPi) / m_fTheta);
    const double nr = std::trunc((double(cols + rows) * 2 + 1) / m_fRho);
    if (!(na >= 0) || !(nr >= 0) || (na + 2) * (nr + 2) > double(kMaxHoughCells)) return false;
    const int a = int(na), r = int(nr);
    const int stride = r + 2;
    // One zeroed guard row before the accumulator: the peak test of row 0
    // looks one row up, and negative distances fall back into the row before.
    std::vector<int> storage;
    std::vector<float> tabSin, tabCos;
    try {
        storage.assign(size_t(a + 3) * size_t(stride), 0);
        tabSin.resize(size_t(a));
        tabCos.resize(size_t(a));
    } catch (...) {
        return false;
    }
    int* acc = storage.data() + stride;
    const long long total = (long long)(a + 2) * stride;
    float ang = 0.0f;
    for (int n = 0; n < a; n++) {
        tabSin[size_t(n)] = std::sin(ang) / m_fRho;
        tabCos[size_t(n)] = std::cos(ang) / m_fRho;
        ang += m_fTheta;
    }
    std::vector<Point2_<int>> points;
    try {
        for (int y = 0; y < rows; y++) {
            const unsigned char* p = image->ptr<unsigned char>(y);
            for (int x = 0; x < cols; x++)
                if (p[x] == 0) points.push_back(Point2_<int>(x, y));
        }
    } catch (...) {
        return false;
    }
    // Bands of angles vote in parallel, each into its own slice covering its
    // rows and the row before (where negative distances fall); the slices are
    // then added in band order. Integer sums: the same for any split.
    const int bands = a < 16 ? (a > 0 ? a : 1) : 16;
    std::vector<std::vector<int>> slices(static_cast<size_t>(bands));
    struct VoteBody : ParallelLoopBody {
        void operator()(const Range& range) const override {
            for (int b = range.start; b < range.end; b++) {
                const int n0 = int((long long)a * b / bands),
                          n1 = int((long long)a * (b + 1) / bands);
                std::vector<int>& slice = (*slices)[size_t(b)];
                // Rows n0 .. n1 of the accumulator.
                try {
                    slice.assign(size_t(n1 - n0 + 1) * size_t(stride), 0);
                } catch (...) {
                    *failed = true;
                    continue;
                }
                int* base = slice.data() - (long long)n0 * stride;
                const long long lo = (long long)n0 * stride, hi = (long long)(n1 + 1) * stride;
                // Angle by angle, so the votes of one pass stay within one
                // accumulator row (and the row before) and hit the cache.
                for (int n = n0; n < n1; n++) {
                    const float c = cosTab[n], sn = sinTab[n];
                    const long long rowBase = (long long)(n + 1) * stride + 1;
                    for (const Point2_<int>& pt : *points) {
                        // |d| stays below the accumulator's width, so the cast is defined.
                        const int d = int(c * float(pt.x) + sn * float(pt.y));
                        const long long cell = rowBase + d;
                        if (cell >= lo && cell < hi) base[cell]++;
                    }
                }
            }
        }
        int a = 0, bands = 0, stride = 0;
        const float* cosTab = nullptr;
        const float* sinTab = nullptr;
        const std::vector<Point2_<int>>* points = nullptr;
        std::vector<std::vector<int>>* slices = nullptr;
        bool* failed = nullptr;
    } vote;
    bool failed = false;
    vote.failed = &failed;
    vote.a = a;
    vote.bands = bands;
    vote.stride = stride;
    vote.cosTab = tabCos.data();
    vote.sinTab = tabSin.data();
    vote.points = &points;
    vote.slices = &slices;
    parallel_for_(Range(0, bands), vote,
                  (long long)points.size() * a < (1 << 18) ? 1.0 : double(bands));
    if (failed) return false;
    for (int b = 0; b < bands; b++) {
        const int n0 = int((long long)a * b / bands);
        const std::vector<int>& slice = slices[size_t(b)];
        int* dstRow = acc + (long long)n0 * stride;
        for (size_t i = 0; i < slice.size(); i++) dstRow[i] += slice[i];
    }
    // Votes are cut to the byte range before any threshold test.
    for (long long i = 0; i < total; i++)
        if (acc[i] > 255) acc[i] = 255;
    struct Peak {
        int n, d, votes;
    };
    std::vector<Peak> peaks;
    for (int d = 0; d <= r; d++)
        for (int n = 0; n < a; n++) {
            const int* c = acc + (long long)n * stride + d;
            const int v = *c;
            if (v > m_nThreshold && v > c[-1] && v > c[1] && v > c[-stride] && v > c[stride])
                peaks.push_back({n, d, v});
        }
    m_nPeaks = int(peaks.size());
    const int count = wanted < m_nPeaks ? (wanted > 0 ? wanted : 0) : m_nPeaks;
    // Exchange sort, descending by votes. Pass i settles position i for good
    // (later passes only touch positions behind it), so the passes stop once
    // the reported lines are settled: the same lines in the same order as the
    // whole sort, without its quadratic cost in the number of peaks.
    for (size_t i = 0; i < size_t(count); i++)
        for (size_t j = i + 1; j < peaks.size(); j++)
            if (peaks[j].votes > peaks[i].votes) std::swap(peaks[i], peaks[j]);
    if (count == 0) return false;
    m_pStart = new (std::nothrow) Point2_<int>[size_t(count)];
    m_pEnd = new (std::nothrow) Point2_<int>[size_t(count)];
    if (!m_pStart || !m_pEnd) {
        freeLines();
        return false;
    }
    m_nLines = count;
    for (int i = 0; i < count; i++) {
        const float p = float(peaks[size_t(i)].d - 1) * m_fRho;
        const float q = float(peaks[size_t(i)].n - 1) * m_fTheta;
        const float cq = std::cos(q), sq = std::sin(q);
        Point2_<int> start(0, 0), end(0, 0);
        bool started = false;
        for (int t = 1000; t >= -1000; t--) {
            const int x = truncInt(p * cq - float(t) * sq);
            const int y = truncInt(float(t) * cq + p * sq);
            if (x < 0 || y < 0 || x >= cols || y >= rows) continue;
            const unsigned char v = image->ptr<unsigned char>(y)[x];
            if (!started) {
                if (v == 0) {
                    start = Point2_<int>(x, y);
                    started = true;
                }
            } else if (v != 0) {
                end = Point2_<int>(x, y);
                break;
            }
        }
        m_pStart[i] = start;
        m_pEnd[i] = end;
    }
    return true;
}

bool ipHoughLines::draw(Mat* image) {
    if (m_nLines <= 0 || !m_pStart || !m_pEnd || !image) return false;
    for (int i = 0; i < m_nLines; i++)
        image->drawLine(m_pEnd[i], m_pStart[i], Point4_<unsigned char>(255, 255, 255, 255), 1,
                        1.0f);
    return true;
}

namespace ip {

void houghLinesStd(const Mat& src, Array<Point2_<int>, const Point2_<int>&>& lines, float rho,
                   float theta, int threshold, int linesMax) {
    lines.removeAll();
    ipHoughLines h(rho, theta, threshold, linesMax);
    if (!h.process(const_cast<Mat*>(&src))) return;
    for (int i = 0; i < h.m_nLines; i++) {
        lines.add(h.m_pStart[i]);
        lines.add(h.m_pEnd[i]);
    }
}

// ---- randomised segments

void houghLines(const Mat& src, Array<Point2_<int>, const Point2_<int>&>& lines, float rho,
                float theta, int threshold, int lineLength, int lineGap) {
    if (!src.isValid() || src.type1() != MAT_Tuchar) return;
    if (!usableStep(rho) || !usableStep(theta)) return;
    const int rows = src.rows(), cols = src.cols();
    const double na = std::round(double(kPi) / theta);
    const double nr = std::round((double(rows + cols) * 2 + 1) / rho);
    if (!(na >= 1) || !(nr >= 1) || na * nr > double(kMaxHoughCells)) return;
    const int a = int(na), r = int(nr);
    std::vector<int> acc;
    std::vector<unsigned char> mask;
    std::vector<float> tabCos, tabSin;
    std::vector<Point2_<int>> points;
    try {
        acc.assign(size_t(a) * size_t(r), 0);
        mask.assign(size_t(rows) * size_t(cols), 0);
        tabCos.resize(size_t(a));
        tabSin.resize(size_t(a));
        for (int y = 0; y < rows; y++) {
            const unsigned char* p = src.ptr<unsigned char>(y);
            for (int x = 0; x < cols; x++)
                if (p[x] == 0) {
                    mask[size_t(y) * cols + x] = 1;
                    points.push_back(Point2_<int>(x, y));
                }
        }
    } catch (...) {
        return;
    }
    for (int n = 0; n < a; n++) {
        const float ang = float(n) * theta;
        tabCos[size_t(n)] = std::cos(ang) / rho;
        tabSin[size_t(n)] = std::sin(ang) / rho;
    }
    Random::init();
    if (points.empty()) return;
    const int offset = (r - 1) / 2;
    const long long limit = (long long)rows * cols;
    auto cellOf = [&](int n, int x, int y) {
        return tarvoutil::round(
                   double(tabCos[size_t(n)] * float(x) + tabSin[size_t(n)] * float(y))) +
               offset;
    };
    size_t count = points.size();
    while (count > 0) {
        const int pick = truncInt(Random::boundedUniform(0.0f, float(count), true));
        const size_t idx = pick < 0 ? 0 : size_t(pick) >= count ? count - 1 : size_t(pick);
        const Point2_<int> pt = points[idx];
        points[idx] = points[count - 1];
        count--;
        if (!mask[size_t(pt.y) * cols + pt.x]) continue;

        int best = threshold - 1, bestN = 0;
        for (int n = 0; n < a; n++) {
            const int d = cellOf(n, pt.x, pt.y);
            if (d < 0 || d >= r) continue;
            const int v = ++acc[size_t(n) * r + d];
            if (v > best) {
                best = v;
                bestN = n;
            }
        }
        if (best < threshold) continue;

        // Step one pixel along the dominant axis and a 16.16 fraction along the other.
        const float dx = -tabSin[size_t(bestN)], dy = tabCos[size_t(bestN)];
        const bool xMajor = std::fabs(dx) > std::fabs(dy);
        long long x0, y0, dx0, dy0;
        if (xMajor) {
            x0 = pt.x;
            dx0 = dx > 0 ? 1 : -1;
            dy0 = tarvoutil::round(double(dy) * 65536.0 / std::fabs(double(dx)));
            y0 = (long long)pt.y * 65536 + 32768;
        } else {
            y0 = pt.y;
            dy0 = dy > 0 ? 1 : -1;
            dx0 = tarvoutil::round(double(dx) * 65536.0 / std::fabs(double(dy)));
            x0 = (long long)pt.x * 65536 + 32768;
        }
        Point2_<int> ends[2] = {pt, pt};
        for (int k = 0; k < 2; k++) {
            long long x = x0, y = y0, sx = k ? -dx0 : dx0, sy = k ? -dy0 : dy0;
            int gap = 0;
            for (;; x += sx, y += sy) {
                const long long j = xMajor ? x : floorShift(x, 16);
                const long long i = xMajor ? floorShift(y, 16) : y;
                if (j < 0 || j >= cols || i < 0 || i >= rows) break;
                if (mask[size_t(i) * cols + size_t(j)]) {
                    gap = 0;
                    ends[k] = Point2_<int>(int(j), int(i));
                } else if (++gap > lineGap) {
                    break;
                }
            }
        }
        const bool good = std::abs(ends[1].x - ends[0].x) >= lineLength ||
                          std::abs(ends[1].y - ends[0].y) >= lineLength;
        for (int k = 0; k < 2; k++) {
            long long x = x0, y = y0, sx = k ? -dx0 : dx0, sy = k ? -dy0 : dy0;
            for (;; x += sx, y += sy) {
                const long long j = xMajor ? x : floorShift(x, 16);
                const long long i = xMajor ? floorShift(y, 16) : y;
                if (j < 0 || j >= cols || i < 0 || i >= rows) break;
                unsigned char& m = mask[size_t(i) * cols + size_t(j)];
                if (m) {
                    if (good)
                        for (int n = 0; n < a; n++) {
                            const int d = cellOf(n, int(j), int(i));
                            if (d >= 0 && d < r) acc[size_t(n) * r + d]--;
                        }
                    m = 0;
                }
                if (i == ends[k].y && j == ends[k].x) break;
            }
        }
        if (good) {
            lines.add(ends[0]);
            lines.add(ends[1]);
            if (lines.getSize() >= limit) break;
        }
    }
}

// ---- dominant directions of a point set

void houghLinePoints(const Array<Point2_<int>, const Point2_<int>&>& points, int k,
                     Vec_<int>& result) {
    const int n = points.getSize();
    int hist[180] = {};
    if (n > 0) {
        if (k > n - 1) k = n - 1;
        if (k < 0) k = 0;
        std::vector<float> dist;
        std::vector<int> idx;
        try {
            dist.resize(size_t(n));
            idx.resize(size_t(n));
        } catch (...) {
            return;
        }
        const double pi = 3.14159265358979323846;
        for (int i = 0; i < n; i++) {
            const Point2_<int> p = points[i];
            // One row of distances at a time: n floats, not n^2.
            for (int j = 0; j < n; j++) {
                // Differences in 64 bits: coordinates may span the whole int range.
                const float dx = float((long long)points[j].x - p.x);
                const float dy = float((long long)points[j].y - p.y);
                dist[size_t(j)] = std::sqrt(dx * dx + dy * dy);
            }
            tarvoutil::sortIdx(dist.data(), n, idx.data(), n);
            for (int m = 1; m <= k; m++) {
                const Point2_<int> q = points[idx[size_t(m)]];
                const float dx = float((long long)q.x - p.x), dy = float((long long)q.y - p.y);
                const double angle = std::atan(double(dy / dx)) / pi * 180.0 + 180.0;
                int bin = truncInt(angle) % 180;
                if (bin < 0) bin += 180;
                hist[bin]++;
            }
        }
    }
    int smooth[180], kept[180];
    for (int b = 0; b < 180; b++)
        smooth[b] = hist[(b + 178) % 180] + 4 * hist[(b + 179) % 180] + 6 * hist[b] +
                    4 * hist[(b + 1) % 180] + hist[(b + 2) % 180];
    for (int b = 0; b < 180; b++)
        kept[b] = smooth[b] > smooth[(b + 179) % 180] && smooth[b] > smooth[(b + 1) % 180]
                      ? smooth[b]
                      : 0;
    int order[180];
    tarvoutil::sortIdx(kept, 180, order, 180, SORT_DESCENDING);
    if (result.create(180) < 1 && result.length() != 180) return;
    for (int b = 0; b < 180; b++) result.data.i[b] = order[b];
}

// ---- darkest disc

void houghCircle(const Mat& image, Point2_<int>& center, int& radius) {
    const Point2_<int> given = center;
    const int givenR = radius;
    center = Point2_<int>(-1, -1);
    radius = -1;
    if (!image.isValid() || image.type1() != MAT_Tuchar) return;
    const int rows = image.rows(), cols = image.cols();
    // Ranges in 64 bits: a caller's centre and radius may be anywhere in the int range.
    const long long r0 = givenR == -1 ? cols / 8 : givenR;
    const long long extra = givenR / 3;
    if (r0 < 0) return;
    long long xs, ys, xw, yh;
    if (given.x != -1 && given.y != -1) {
        xs = std::max<long long>((long long)given.x - r0, 0);
        xw = std::min<long long>(cols, xs + 2 * r0) - xs;
        ys = std::max<long long>((long long)given.y - r0 / 2, 0);
        yh = std::min<long long>(rows, ys + r0) - ys;
    } else {
        xs = ys = r0;
        xw = cols - r0;
        yh = rows - r0;
    }
    if (xw <= 0 || yh <= 0) return;
    // A disc of radius rows + cols already covers every pixel it may read, so
    // larger radii give the same mean and never win (the first best mean
    // does): they are computed with that radius and the loop stops there.
    const long long cover = (long long)rows + cols;
    const long long rLast = std::min(r0 + extra, std::max(r0, cover));
    // Row prefix sums over columns 0..cols-2, the part of a row a disc may cover.
    const int useCols = cols - 1, useRows = rows - 1;
    if (useCols < 1 || useRows < 1) return;
    std::vector<long long> prefix;
    try {
        prefix.resize(size_t(useRows) * size_t(useCols + 1));
    } catch (...) {
        return;
    }
    for (int y = 0; y < useRows; y++) {
        const unsigned char* p = image.ptr<unsigned char>(y);
        long long* pr = &prefix[size_t(y) * size_t(useCols + 1)];
        pr[0] = 0;
        for (int x = 0; x < useCols; x++) pr[x + 1] = pr[x] + p[x];
    }
    double best = 1e17;
    for (long long Rq = r0; Rq <= rLast; Rq++) {
        const int R = int(std::min(Rq, cover));
        const long long rr = (long long)R * R;
        // Half-widths of the disc per row offset: dx*dx + dy*dy + 3 < R*R.
        std::vector<int> half(size_t(R) + 1, -1);
        for (int dy = 0; dy <= R; dy++) {
            const long long room = rr - 4 - (long long)dy * dy;
            if (room < 0) continue;
            long long h = (long long)std::sqrt(double(room));
            while (h * h > room) h--;
            while ((h + 1) * (h + 1) <= room) h++;
            half[size_t(dy)] = int(h);
        }
        for (int y = int(ys); y < int(ys + yh); y++) {
            const unsigned char* crow = image.ptr<unsigned char>(y);
            for (int x = int(xs); x < int(xs + xw); x++) {
                if (crow[x] >= 101) continue;
                long long sum = 0, cnt = 0;
                const int yLo = y - R < 0 ? 0 : y - R;
                const int yHi = y + R > useRows - 1 ? useRows - 1 : y + R;
                for (int yy = yLo; yy <= yHi; yy++) {
                    const int h = half[size_t(yy > y ? yy - y : y - yy)];
                    if (h < 0) continue;
                    const int x0 = x - h < 0 ? 0 : x - h;
                    const int x1 = x + h > useCols - 1 ? useCols - 1 : x + h;
                    if (x0 > x1) continue;
                    const long long* pr = &prefix[size_t(yy) * size_t(useCols + 1)];
                    sum += pr[x1 + 1] - pr[x0];
                    cnt += x1 - x0 + 1;
                }
                if (cnt == 0) continue;
                const double mean = double(sum) / double(cnt);
                if (mean < best) {
                    best = mean;
                    center = Point2_<int>(x, y);
                    radius = int(Rq);
                }
            }
        }
    }
}

}  // namespace ip
}  // namespace tarvo
