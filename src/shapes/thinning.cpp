// ip::thinning: two-step iterative thinning of a two-valued image. Each step
// marks the removable pixels of the whole image first and removes them after,
// so a step sees the image as it stood when the step began.
//
// The fast path visits only what can change. A pixel's marker depends on its
// 3 x 3 neighbourhood; if nothing in it changed during the last two steps, the
// marker of this step type is the one it had two steps ago, which was "keep"
// (a marked pixel became background and stays so). So after the first round
// a step looks only at 64-pixel chunks next to chunks that changed in either
// of the two steps before, and marks them with vector code. The full scan
// stays as the reference behind the scalar switch.
#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "shapes/thinning_simd.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace ip {

namespace {

// Neighbour code of a pixel: bit i holds neighbour p(i + 2) of the cycle
// p2 above, p3 upper right, p4 right, p5 lower right, p6 below, p7 lower left,
// p8 left, p9 upper left.
constexpr bool removable(int code, int step) {
    int p[8] = {};
    for (int i = 0; i < 8; i++) p[i] = (code >> i) & 1;
    int a = 0, b = 0;
    for (int i = 0; i < 8; i++) {
        a += (p[i] == 0 && p[(i + 1) & 7] == 1) ? 1 : 0;
        b += p[i];
    }
    const int p2 = p[0], p4 = p[2], p6 = p[4], p8 = p[6];
    const int m1 = step == 0 ? p2 * p4 * p6 : p2 * p4 * p8;
    const int m2 = step == 0 ? p4 * p6 * p8 : p2 * p6 * p8;
    return a == 1 && b >= 2 && b <= 6 && m1 == 0 && m2 == 0;
}

struct MarkerTable {
    // bit 0: removable in step 0; bit 1: removable in step 1.
    unsigned char t[256];
    constexpr MarkerTable() : t() {
        for (int c = 0; c < 256; c++)
            t[c] = (unsigned char)((removable(c, 0) ? 1 : 0) | (removable(c, 1) ? 2 : 0));
    }
};
constexpr MarkerTable kMarker{};

// Marks the removable pixels of interior rows of the range into mark (one
// byte per pixel) and records per row whether any was marked.
class MarkRows : public ParallelLoopBody {
public:
    MarkRows(const Mat& img, Mat& mark, std::vector<unsigned char>& hit, int step)
        : m_img(img), m_mark(mark), m_hit(hit), m_bit(step == 0 ? 1 : 2) {}
    void operator()(const Range& range) const override {
        const int cols = m_img.cols();
        for (int y = range.start; y < range.end; y++) {
            const unsigned char* up = m_img.ptr<unsigned char>(y - 1);
            const unsigned char* c = m_img.ptr<unsigned char>(y);
            const unsigned char* dn = m_img.ptr<unsigned char>(y + 1);
            unsigned char* mk = m_mark.ptr<unsigned char>(y);
            unsigned char any = 0;
            for (int x = 1; x < cols - 1; x++) {
                const int code = up[x] | up[x + 1] << 1 | c[x + 1] << 2 | dn[x + 1] << 3 |
                                 dn[x] << 4 | dn[x - 1] << 5 | c[x - 1] << 6 | up[x - 1] << 7;
                // Only foreground pixels change when the marker is applied.
                const unsigned char m = (unsigned char)(c[x] & ((kMarker.t[code] & m_bit) != 0));
                mk[x] = m;
                any |= m;
            }
            m_hit[y] = any;
        }
    }

private:
    const Mat& m_img;
    Mat& m_mark;
    std::vector<unsigned char>& m_hit;
    int m_bit;
};

class ClearRows : public ParallelLoopBody {
public:
    ClearRows(Mat& img, const Mat& mark, const std::vector<unsigned char>& hit)
        : m_img(img), m_mark(mark), m_hit(hit) {}
    void operator()(const Range& range) const override {
        const int cols = m_img.cols();
        for (int y = range.start; y < range.end; y++) {
            if (!m_hit[y]) continue;
            unsigned char* c = m_img.ptr<unsigned char>(y);
            const unsigned char* mk = m_mark.ptr<unsigned char>(y);
            for (int x = 1; x < cols - 1; x++) c[x] &= (unsigned char)~mk[x];
        }
    }

private:
    Mat& m_img;
    const Mat& m_mark;
    const std::vector<unsigned char>& m_hit;
};

// One step; true when it removed a pixel.
bool thinStep(Mat& img, Mat& mark, std::vector<unsigned char>& hit, int step) {
    const int rows = img.rows();
    if (rows < 3 || img.cols() < 3) return false;
    const double stripes = double(img.rows()) * img.cols() / 65536.0;
    parallel_for_(Range(1, rows - 1), MarkRows(img, mark, hit, step), stripes);
    bool any = false;
    for (int y = 1; y < rows - 1; y++) any = any || hit[y];
    if (any) parallel_for_(Range(1, rows - 1), ClearRows(img, mark, hit), stripes);
    return any;
}

// Bytes per step of the marker table for the vector kernel: bit b of byte j
// is the marker of neighbour code j * 8 + b.
struct ByteTables {
    uint8_t t[2][32];
    constexpr ByteTables() : t() {
        for (int s = 0; s < 2; s++)
            for (int c = 0; c < 256; c++)
                if (kMarker.t[c] & (1 << s)) t[s][c >> 3] = (uint8_t)(t[s][c >> 3] | 1 << (c & 7));
    }
};
constexpr ByteTables kByteTables{};

constexpr int kChunk = 64;

// Change record of the fast path: per step (three kept, indexed by step
// number modulo 3) and per row, a bit per chunk telling whether the step
// removed a pixel there, 64 chunks to a word. Rows carry a zero frame above
// and below so the 3 x 3 look-around needs no bounds tests.
struct ChangeMap {
    int words = 0;
    std::vector<uint64_t> map[3];
    uint64_t* row(int step, int y) { return map[step % 3].data() + (long long)(y + 1) * words; }
    const uint64_t* row(int step, int y) const {
        return map[step % 3].data() + (long long)(y + 1) * words;
    }
};

// Chunk range of pixels that a step marks (interior columns only).
inline void chunkRange(int k, int cols, int& x0, int& x1) {
    x0 = std::max(1, k * kChunk);
    x1 = (long long)(k + 1) * kChunk < cols - 1 ? (k + 1) * kChunk : cols - 1;
}

class FastMarkRows : public ParallelLoopBody {
public:
    FastMarkRows(const Mat& img, Mat& mark, ChangeMap& cm, int step)
        : m_img(img), m_mark(mark), m_cm(cm), m_step(step) {}
    void operator()(const Range& range) const override {
        const int cols = m_img.cols(), words = m_cm.words;
        const int chunks = (cols + kChunk - 1) / kChunk;
        const int bit = (m_step & 1) ? 2 : 1;
        const uint8_t* table = kByteTables.t[m_step & 1];
        const bool all = m_step < 2;
        for (int y = range.start; y < range.end; y++) {
            uint64_t* changed = m_cm.row(m_step, y);
            const uint64_t *a0 = nullptr, *a1 = nullptr, *a2 = nullptr, *b0 = nullptr,
                           *b1 = nullptr, *b2 = nullptr;
            if (!all) {
                a0 = m_cm.row(m_step - 1, y - 1), a1 = m_cm.row(m_step - 1, y);
                a2 = m_cm.row(m_step - 1, y + 1);
                b0 = m_cm.row(m_step + 1, y - 1), b1 = m_cm.row(m_step + 1, y);
                b2 = m_cm.row(m_step + 1, y + 1);
            }
            const unsigned char* up = m_img.ptr<unsigned char>(y - 1);
            const unsigned char* c = m_img.ptr<unsigned char>(y);
            const unsigned char* dn = m_img.ptr<unsigned char>(y + 1);
            unsigned char* mk = m_mark.ptr<unsigned char>(y);
            uint64_t prev = 0;  // rows-and-steps union of the word before
            uint64_t cur = all ? ~0ULL : (a0[0] | a1[0] | a2[0] | b0[0] | b1[0] | b2[0]);
            for (int w = 0; w < words; w++) {
                uint64_t next = 0;
                if (w + 1 < words)
                    next = all ? ~0ULL
                               : (a0[w + 1] | a1[w + 1] | a2[w + 1] | b0[w + 1] | b1[w + 1] |
                                  b2[w + 1]);
                // Chunks next to a changed chunk: the union dilated by one.
                uint64_t need = cur | cur << 1 | cur >> 1 | prev >> 63 | next << 63;
                uint64_t out = 0;
                while (need) {
                    const int b = __builtin_ctzll(need);
                    need &= need - 1;
                    const int k = w * 64 + b;
                    if (k >= chunks) break;
                    int x0, x1;
                    chunkRange(k, cols, x0, x1);
                    uint8_t any = 0;
                    int x = x0;
                    if (x1 > x0)
                        x += detail::vecThinMark(up + x0, c + x0, dn + x0, mk + x0, x1 - x0, table,
                                                 &any);
                    for (; x < x1; x++) {
                        const int code = up[x] | up[x + 1] << 1 | c[x + 1] << 2 | dn[x + 1] << 3 |
                                         dn[x] << 4 | dn[x - 1] << 5 | c[x - 1] << 6 |
                                         up[x - 1] << 7;
                        const unsigned char m =
                            (unsigned char)(c[x] & ((kMarker.t[code] & bit) != 0));
                        mk[x] = m;
                        any |= m;
                    }
                    if (any) out |= 1ULL << b;
                }
                changed[w] = out;
                prev = cur;
                cur = next;
            }
        }
    }

private:
    const Mat& m_img;
    Mat& m_mark;
    ChangeMap& m_cm;
    int m_step;
};

// Removes the marked pixels of the chunks that have any.
class FastClearRows : public ParallelLoopBody {
public:
    FastClearRows(Mat& img, const Mat& mark, const ChangeMap& cm, int step)
        : m_img(img), m_mark(mark), m_cm(cm), m_step(step) {}
    void operator()(const Range& range) const override {
        const int cols = m_img.cols();
        for (int y = range.start; y < range.end; y++) {
            const uint64_t* changed = m_cm.row(m_step, y);
            unsigned char* c = m_img.ptr<unsigned char>(y);
            const unsigned char* mk = m_mark.ptr<unsigned char>(y);
            for (int w = 0; w < m_cm.words; w++) {
                for (uint64_t bits = changed[w]; bits; bits &= bits - 1) {
                    int x0, x1;
                    chunkRange(w * 64 + __builtin_ctzll(bits), cols, x0, x1);
                    for (int x = x0; x < x1; x++) c[x] &= (unsigned char)~mk[x];
                }
            }
        }
    }

private:
    Mat& m_img;
    const Mat& m_mark;
    const ChangeMap& m_cm;
    int m_step;
};

// The whole iteration on the fast path; same pixels removed in the same steps
// as the full scans.
void thinFast(Mat& img, Mat& mark) {
    const int rows = img.rows(), cols = img.cols();
    if (rows < 3 || cols < 3) return;
    ChangeMap cm;
    const long long chunks = ((long long)cols + kChunk - 1) / kChunk;
    cm.words = int((chunks + 63) / 64);
    for (auto& m : cm.map) m.assign(size_t(cm.words) * size_t(rows + 2), 0);
    const double stripes = double(rows) * cols / 65536.0;
    bool removed[2] = {true, true};
    for (int step = 0;; step++) {
        parallel_for_(Range(1, rows - 1), FastMarkRows(img, mark, cm, step), stripes);
        bool any = false;
        const uint64_t* ch = cm.row(step, 1);
        for (long long i = 0; i < (long long)(rows - 2) * cm.words && !any; i++) any = ch[i] != 0;
        if (any) parallel_for_(Range(1, rows - 1), FastClearRows(img, mark, cm, step), stripes);
        removed[step & 1] = any;
        // A round is a step 0 followed by a step 1; stop after a round that
        // removed nothing.
        if ((step & 1) && !removed[0] && !removed[1]) break;
    }
}

}  // namespace

void thinning(const Mat& src, Mat& dst) {
    if (!src.isValid() || src.rows() <= 0 || src.cols() <= 0 || src.type() != MAT_Tuchar ||
        src.channels() != 1)
        return;
    const int rows = src.rows(), cols = src.cols();
    Mat img(rows, cols, MAT_Tuchar), mark(rows, cols, MAT_Tuchar);
    if (img.empty() || mark.empty()) return;
    for (int y = 0; y < rows; y++) {
        const unsigned char* s = src.ptr<unsigned char>(y);
        unsigned char* d = img.ptr<unsigned char>(y);
        for (int x = 0; x < cols; x++) d[x] = (unsigned char)(s[x] == 255);  // s / 255
    }
    if (checkHardwareSupport(CPU_INT_VECTORS)) {
        thinFast(img, mark);
    } else {
        std::vector<unsigned char> hit(size_t(rows), 0);
        // A round that removes nothing leaves the image as the round before
        // left it, which is where the iteration stops.
        for (;;) {
            const bool a = thinStep(img, mark, hit, 0);
            const bool b = thinStep(img, mark, hit, 1);
            if (!a && !b) break;
        }
    }
    for (int y = 0; y < rows; y++) {
        unsigned char* d = img.ptr<unsigned char>(y);
        for (int x = 0; x < cols; x++) d[x] = (unsigned char)(-d[x]);
    }
    if (dst.create(rows, cols, src.type1()) < 0) return;
    for (int y = 0; y < rows; y++)
        std::copy_n(img.ptr<unsigned char>(y), cols, dst.ptr<unsigned char>(y));
}

}  // namespace ip
}  // namespace tarvo
