// Border following: ip::findContours and the scanner behind it.
//
// The image is copied into a padded working image of (rows + 2) x (cols + 2)
// bytes whose frame is zero and whose object pixels are 1. A raster scan finds
// each outer border (a 0 -> 1 step) and each hole border (a 1 -> 0 step whose
// left pixel is unvisited or marked) at its first pixel; a tracer then walks
// the border with eight-neighbour steps, marks its pixels (label n, or n | 128
// where the border runs along the pixel's right side) and writes chain codes
// or points into a sequence. Labels and a per-label list of traced borders let
// the scan find the parent of each new border; the borders form a tree under
// a frame sequence, which is flattened depth-first into the result.
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>

#include "shapes/contours_internal.h"
#include "shapes/contours_simd.h"
#include "tarvo/autobuffer.h"
#include "tarvo/ip/segment.h"
#include "tarvo/ip/shapes.h"
#include "tarvo/parallel.h"

namespace tarvo {

ChainPtReader::ChainPtReader() : SeqReader(), code(0), pt() {
    std::memset(deltas, 0, sizeof(deltas));
}

_ContourScanner::_ContourScanner()
    : storage1(nullptr),
      storage2(nullptr),
      cinfo_storage(nullptr),
      cinfo_set(nullptr),
      initial_pos(),
      backup_pos(),
      backup_pos2(),
      img0(nullptr),
      img(nullptr),
      img_step(0),
      img_size(),
      offset(),
      pt(1, 1),
      lnbd(0, 1),
      nbd(2),
      l_cinfo(nullptr),
      cinfo_temp(),
      frame_info(),
      frame(),
      approx_method1(0),
      approx_method2(0),
      mode(0),
      subst_flag(0),
      seq_type1(0),
      header_size1(0),
      elem_size1(0),
      seq_type2(0),
      header_size2(0),
      elem_size2(0) {
    for (ContourInfo*& c : cinfo_table) c = nullptr;
}

namespace ip {
namespace detail {

namespace {

// (dx, dy) of the chain codes: counter-clockwise on the screen from "right".
const int kCodeDx[8] = {1, 1, 0, -1, -1, -1, 0, 1};
const int kCodeDy[8] = {0, -1, -1, -1, 0, 1, 1, 1};

// Pointer steps of the eight codes for a row step, held twice so that a
// search may run up to eight codes past its start without wrapping.
void initDeltas(int* deltas, int step) {
    const int d[8] = {1, 1 - step, -step, -step - 1, -1, step - 1, step, step + 1};
    for (int i = 0; i < 8; i++) deltas[i] = deltas[i + 8] = d[i];
}

Point2_<int> step(Point2_<int> pt, int s) {
    return Point2_<int>(pt.x + kCodeDx[s], pt.y + kCodeDy[s]);
}

// Writers of the tracers: fixed-size copies instead of writeSeqElem's loop.
inline void putPoint(SeqWriter* w, const Point2_<int>& pt) {
    if ((size_t)(w->block_max - w->ptr) < sizeof(pt) && !createSeqBlock(w)) return;
    std::memcpy(w->ptr, &pt, sizeof(pt));
    w->ptr += sizeof(pt);
}
inline void putCode(SeqWriter* w, int s) {
    if (w->ptr >= w->block_max && !createSeqBlock(w)) return;
    *w->ptr++ = (signed char)s;
}

// Next byte of row[x, end) that differs from prev. The first eight bytes are
// compared as one word, which settles the many short runs next to borders
// without a call; longer runs go to the vector kernel.
inline int nextDiffFast(const uint8_t* row, int x, int end, uint8_t prev, FindNextDiffFn fn) {
    if (x + 8 <= end) {
        uint64_t w;
        std::memcpy(&w, row + x, sizeof(w));
        w ^= prev * 0x0101010101010101ull;
        if (w) return x + (__builtin_ctzll(w) >> 3);
        x += 8;
    }
    return fn(row, x, end, prev);
}

// The row scan in blocks of 64 bytes. Most bytes the scan meets need no
// work: a border start needs prev 0 and 1 here (outer) or 0 here after a
// positive byte (hole), and any other change only moves lnbd.x to the start of
// a run of a label (a byte other than 0 and 1). With prev == row[x - 1], which
// the scan keeps, both are properties of the bytes alone, so one vector
// compare per block finds them: the cursor jumps from border start to border
// start and sets lnbd.x as the skipped changes would have. A trace may
// relabel bytes of the row ahead, so the cache is dropped after one.
class ScanCursor {
public:
    explicit ScanCursor(ScanBitsFn fn) : fn_(fn) {}
    void reset() { end_ = base_ = 0; }
    // The next border start at or after x (width if none); lnbdx follows the
    // label runs passed on the way. 64 bytes from any x < width must be readable.
    int next(const uint8_t* row, int x, int width, int* lnbdx) {
        for (;;) {
            while (x < end_ && x >= base_) {
                const int w = (x - base_) >> 6, off = (x - base_) & 63;
                const uint64_t ev = events_[w] >> off, lb = labels_[w] >> off;
                if (ev) {
                    const int k = __builtin_ctzll(ev);
                    const uint64_t before = lb & ((1ull << k) - 1);
                    if (before) *lnbdx = x + 63 - __builtin_clzll(before);
                    return x + k;
                }
                if (lb) *lnbdx = x + 63 - __builtin_clzll(lb);
                x += 64 - off;
            }
            if (x >= width) return width;
            // A run of blocks from x; the last one is cut at the row's end.
            int blocks = (width - x + 63) >> 6;
            if (blocks > kBlocks) blocks = kBlocks;
            fn_(row + x, blocks, events_, labels_);
            base_ = x;
            end_ = x + 64 * blocks;
            if (end_ > width) {
                const uint64_t keep = (1ull << (64 - (end_ - width))) - 1;
                events_[blocks - 1] &= keep;
                labels_[blocks - 1] &= keep;
                end_ = width;
            }
        }
    }

private:
    static const int kBlocks = 32;
    ScanBitsFn fn_;
    uint64_t events_[kBlocks], labels_[kBlocks];
    int base_ = 0, end_ = 0;
};

}  // namespace

void traceBorder(signed char* ptr, int stepBytes, Point2_<int> pt, Sequence* contour, int method) {
    const signed char nbd = 2;
    int deltas[16];
    initDeltas(deltas, stepBytes);
    SeqWriter writer;
    startAppendToSeq(contour, &writer);
    if (method == 0) reinterpret_cast<Chain*>(contour)->origin = pt;
    signed char *i0 = ptr, *i1 = nullptr, *i3, *i4;
    int s = (contour->flags & SEQ_FLAG_HOLE) ? 0 : 4;
    int s_end = s;
    do {
        s = (s - 1) & 7;
        i1 = i0 + deltas[s];
    } while (*i1 == 0 && s != s_end);

    if (s == s_end) {
        // a lone pixel
        *i0 = (signed char)(nbd | 0x80);
        if (method != 0) writeSeqElem(&writer, &pt);
    } else {
        i3 = i0;
        int prev_s = s ^ 4;
        for (;;) {
            s_end = s;
            // counter-clockwise to the next object pixel
            for (;;) {
                i4 = i3 + deltas[++s];
                if (*i4 != 0) break;
            }
            s &= 7;
            // the border runs along the pixel's right side: mark it as such
            if ((unsigned)(s - 1) < (unsigned)s_end)
                *i3 = (signed char)(nbd | 0x80);
            else if (*i3 == 1)
                *i3 = nbd;
            if (method == 0) {
                putCode(&writer, s);
            } else if (s != prev_s || method == 1) {
                putPoint(&writer, pt);
                prev_s = s;
            }
            pt = step(pt, s);
            if (i4 == i0 && i3 == i1) break;
            i3 = i4;
            s = (s + 4) & 7;
        }
    }
    endWriteSeq(&writer);
    if (method != 0) boundingRect(contour, 1);
}

void traceBorderLabelled(signed char* ptr, int stepBytes, Point2_<int> pt, Sequence* contour,
                         int method, int nbd, Rect_<int>* outRect) {
    int deltas[16];
    initDeltas(deltas, stepBytes);
    SeqWriter writer;
    startAppendToSeq(contour, &writer);
    if (method == 0) reinterpret_cast<Chain*>(contour)->origin = pt;
    // x, y hold the minimum, width, height the maximum while tracing
    Rect_<int> rect(pt.x, pt.y, pt.x, pt.y);
    signed char *i0 = ptr, *i1 = nullptr, *i3, *i4;
    int s = (contour->flags & SEQ_FLAG_HOLE) ? 0 : 4;
    int s_end = s;
    do {
        s = (s - 1) & 7;
        i1 = i0 + deltas[s];
    } while (*i1 == 0 && s != s_end);

    if (s == s_end) {
        *i0 = (signed char)(nbd | 0x80);
        if (method != 0) writeSeqElem(&writer, &pt);
    } else {
        i3 = i0;
        int prev_s = s ^ 4;
        for (;;) {
            s_end = s;
            for (;;) {
                i4 = i3 + deltas[++s];
                if (*i4 != 0) break;
            }
            s &= 7;
            if ((unsigned)(s - 1) < (unsigned)s_end)
                *i3 = (signed char)(nbd | 0x80);
            else if (*i3 == 1)
                *i3 = (signed char)nbd;
            if (method == 0) {
                putCode(&writer, s);
            } else if (s != prev_s || method == 1) {
                putPoint(&writer, pt);
            }
            if (s != prev_s) {
                if (pt.x < rect.x)
                    rect.x = pt.x;
                else if (pt.x > rect.width)
                    rect.width = pt.x;
                if (pt.y < rect.y)
                    rect.y = pt.y;
                else if (pt.y > rect.height)
                    rect.height = pt.y;
            }
            prev_s = s;
            pt = step(pt, s);
            if (i4 == i0 && i3 == i1) break;
            i3 = i4;
            s = (s + 4) & 7;
        }
    }
    rect.width -= rect.x - 1;
    rect.height -= rect.y - 1;
    endWriteSeq(&writer);
    if (method != 0 && contour->header_size >= (int)sizeof(IPContour))
        reinterpret_cast<IPContour*>(contour)->rect = rect;
    if (outRect) *outRect = rect;
}

bool isOnBorder(signed char* ptr, int stepBytes, const signed char* stopPtr, int isHole) {
    int deltas[16];
    initDeltas(deltas, stepBytes);
    signed char *i0 = ptr, *i1 = nullptr, *i3 = ptr, *i4;
    int s = isHole ? 0 : 4;
    int s_end = s;
    do {
        s = (s - 1) & 7;
        i1 = i0 + deltas[s];
    } while (*i1 == 0 && s != s_end);
    if (s != s_end) {
        for (;;) {
            s_end = s;
            for (;;) {
                i4 = i3 + deltas[++s];
                if (*i4 != 0) break;
            }
            if (i3 == stopPtr || (i4 == i0 && i3 == i1)) break;
            i3 = i4;
            s = (s + 4) & 7;
        }
    }
    return i3 == stopPtr;
}

namespace {

void startReadChainPoints(const Chain* chain, ChainPtReader* reader) {
    startReadSeq(chain, reader, false);
    reader->pt = chain->origin;
    for (int i = 0; i < 8; i++) {
        reader->deltas[i][0] = (signed char)kCodeDx[i];
        reader->deltas[i][1] = (signed char)kCodeDy[i];
    }
}

// The point before the current code's step; then steps by that code.
Point2_<int> readChainPoint(ChainPtReader* r) {
    const Point2_<int> pt = r->pt;
    if (r->ptr) {
        r->code = (signed char)(*r->ptr & 7);
        nextSeqElem(r);
        r->pt.x += r->deltas[(int)r->code][0];
        r->pt.y += r->deltas[(int)r->code][1];
    }
    return pt;
}

int floatBits(float f) {
    int i;
    std::memcpy(&i, &f, sizeof(i));
    return i;
}

int wrapIndex(int i, int len) {
    if (i < 0) return i + len;
    if (i >= len) return i - len;
    return i;
}

}  // namespace

Sequence* polygonFromChain(const Chain* chain, int headerSize, MemStorage* storage, int method) {
    // 1-curvature of two successive codes: the turn between them, 0 to 4
    static const int kAbsDiff[15] = {1, 2, 3, 4, 3, 2, 1, 0, 1, 2, 3, 4, 3, 2, 1};
    if (!chain || chain->elem_size != 1 || chain->header_size < (int)sizeof(Chain) ||
        headerSize < (int)sizeof(IPContour) || method < 1 || method > 4)
        return nullptr;
    SeqWriter writer;
    startWriteSeq((chain->flags & ~SEQ_ELTYPE_MASK) | SEQ_ELTYPE_POINT, headerSize,
                  (int)sizeof(Point2_<int>), storage, &writer);
    if (!writer.seq) return nullptr;
    const int total = chain->total;
    if (total == 0) {
        writeSeqElem(&writer, &chain->origin);
        return endWriteSeq(&writer);
    }
    AutoBuffer<PtInfo, 212> buf((unsigned)total + 8u);
    if (buf.size() < (unsigned)total + 8u) return endWriteSeq(&writer);
    PtInfo* array = buf;
    PtInfo temp;
    PtInfo* current = &temp;

    // Pass 0: the points of the chain and their 1-curvature; the points
    // with a turn are linked in order.
    ChainPtReader reader;
    startReadChainPoints(chain, &reader);
    for (int i = 0; i < total; i++) {
        const int prevCode = *reader.prev_elem & 7;
        const Point2_<int> pt = readChainPoint(&reader);
        const int s = kAbsDiff[reader.code - prevCode + 7];
        if (method <= 2) {
            if (method == 1 || s != 0) writeSeqElem(&writer, &pt);
        } else {
            if (s != 0) current = current->next = array + i;
            array[i].s = s;
            array[i].pt = pt;
        }
    }
    if (method <= 2) return endWriteSeq(&writer);
    current->next = nullptr;
    const int len = total;
    if (!temp.next) return endWriteSeq(&writer);

    // Pass 1: the support region of every linked point, and for the k-cosine
    // method its curvature.
    for (current = temp.next; current; current = current->next) {
        const int i = (int)(current - array);
        const Point2_<int> pt0 = array[i].pt;
        long long l = 0, d_num = 0;
        int k = 1;
        for (;; k++) {
            const int i1 = wrapIndex(i - k, len), i2 = wrapIndex(i + k, len);
            const long long dx = (long long)array[i2].pt.x - array[i1].pt.x;
            const long long dy = (long long)array[i2].pt.y - array[i1].pt.y;
            const long long lk = dx * dx + dy * dy;
            const long long dk_num =
                ((long long)pt0.x - array[i1].pt.x) * dy - ((long long)pt0.y - array[i1].pt.y) * dx;
            const int d =
                floatBits((float)((double)d_num * (double)lk - (double)dk_num * (double)l));
            // k reaching len closes the region in any case: the chord is then a point
            if (k > 1 && (k >= len || l >= lk || (d_num > 0 && d <= 0) || (d_num < 0 && d >= 0)))
                break;
            d_num = dk_num;
            l = lk;
        }
        current->k = --k;
        if (method == 4) {
            int s = 0;
            for (int j = k; j > 0; j--) {
                const int i1 = wrapIndex(i - j, len), i2 = wrapIndex(i + j, len);
                const int dx1 = array[i1].pt.x - pt0.x, dy1 = array[i1].pt.y - pt0.y;
                const int dx2 = array[i2].pt.x - pt0.x, dy2 = array[i2].pt.y - pt0.y;
                if ((dx1 | dy1) == 0 || (dx2 | dy2) == 0) break;
                double c = (double)dx1 * dx2 + (double)dy1 * dy2;
                c = (float)(c / std::sqrt(((double)dx1 * dx1 + (double)dy1 * dy1) *
                                          ((double)dx2 * dx2 + (double)dy2 * dy2)));
                const int sk = floatBits((float)(c + 1.1));
                if (j < k && sk <= s) break;
                s = sk;
            }
            current->s = s;
        }
    }

    // Pass 2: non-maximum suppression over half the support region.
    PtInfo* prev_current = &temp;
    for (current = temp.next; current; current = current->next) {
        const int k2 = current->k >> 1;
        const int s = current->s;
        const int i = (int)(current - array);
        int j = 1;
        for (; j <= k2; j++) {
            if (array[wrapIndex(i - j, len)].s > s) break;
            if (array[wrapIndex(i + j, len)].s > s) break;
        }
        if (j <= k2) {
            prev_current->next = current->next;
            current->s = 0;
        } else {
            prev_current = current;
        }
    }

    // Pass 3: points with a support region of 1 stay only as strict maxima.
    prev_current = &temp;
    for (current = temp.next; current; current = current->next) {
        if (current->k == 1) {
            const int i = (int)(current - array);
            const int s = current->s;
            if (s > array[wrapIndex(i - 1, len)].s && s > array[wrapIndex(i + 1, len)].s) {
                prev_current = current;
            } else {
                prev_current->next = current->next;
                current->s = 0;
            }
        } else {
            prev_current = current;
        }
    }

    if (method == 3 && temp.next) {
        // Pass 4: runs of neighbouring survivors shrink to their ends; a pair
        // keeps its stronger point.
        bool allSurvive = false;
        if (array[0].s != 0 && array[len - 1].s != 0) {
            int i1 = 1;
            for (; i1 < len && array[i1].s != 0; i1++) array[i1 - 1].s = 0;
            if (i1 == len) {
                allSurvive = true;
            } else {
                i1--;
                int i2 = len - 2;
                for (; i2 > 0 && array[i2].s != 0; i2--) {
                    array[i2].next = nullptr;
                    array[i2 + 1].s = 0;
                }
                i2++;
                if (i1 == 0 && i2 == len - 1) {
                    // only the first and the last: move the first behind the last
                    i1 = (int)(array[0].next - array);
                    array[len] = array[0];
                    array[len].next = nullptr;
                    array[len - 1].next = array + len;
                }
                temp.next = array + i1;
            }
        }
        if (!allSurvive) {
            PtInfo* first = &temp;
            prev_current = &temp;
            int count = 1;
            for (current = temp.next; current; current = current->next) {
                if (!current->next || current->next - current != 1) {
                    if (count >= 2) {
                        if (count == 2) {
                            const int s1 = prev_current->s, s2 = current->s;
                            if (s1 > s2 || (s1 == s2 && prev_current->k <= current->k))
                                prev_current->next = current->next;  // drop the second
                            else
                                first->next = current;  // drop the first
                        } else {
                            first->next->next = current;
                        }
                    }
                    first = current;
                    count = 1;
                } else {
                    count++;
                }
                prev_current = current;
            }
        }
    }

    for (current = temp.next; current; current = current->next) writeSeqElem(&writer, &current->pt);
    return endWriteSeq(&writer);
}

// ---- the scanner

bool beginContourScan(_ContourScanner* sc, signed char* img, int width, int height,
                      MemStorage* storage, int headerSize, int mode, int method,
                      Point2_<int> offset) {
    sc->img0 = img;
    sc->img = img + width;  // row 1, where the scan starts
    sc->img_step = width;
    sc->img_size = Size_<int>(width - 1, height - 1);
    sc->offset = offset;
    sc->pt = Point2_<int>(1, 1);
    sc->lnbd = Point2_<int>(0, 1);
    sc->nbd = 2;
    sc->mode = mode;
    sc->frame_info.contour = &sc->frame;
    sc->frame_info.is_hole = 1;
    sc->frame_info.next = nullptr;
    sc->frame_info.parent = nullptr;
    sc->frame_info.rect = Rect_<int>(0, 0, width, height);
    sc->frame.flags = SEQ_FLAG_HOLE;
    sc->l_cinfo = nullptr;
    sc->subst_flag = 0;

    sc->approx_method1 = sc->approx_method2 = method;
    if (method == 3 || method == 4) sc->approx_method1 = 0;
    if (sc->approx_method1 == 0) {
        sc->seq_type1 = SEQ_CHAIN_CONTOUR;
        sc->header_size1 =
            sc->approx_method1 == sc->approx_method2 ? headerSize : (int)sizeof(Chain);
        sc->elem_size1 = 1;
    } else {
        sc->seq_type1 = SEQ_POLYGON;
        sc->header_size1 =
            sc->approx_method1 == sc->approx_method2 ? headerSize : (int)sizeof(IPContour);
        sc->elem_size1 = (int)sizeof(Point2_<int>);
    }
    sc->header_size2 = headerSize;
    if (sc->approx_method2 == 0) {
        sc->seq_type2 = sc->seq_type1;
        sc->elem_size2 = sc->elem_size1;
    } else {
        sc->seq_type2 = SEQ_POLYGON;
        sc->elem_size2 = (int)sizeof(Point2_<int>);
    }

    saveMemStoragePos(storage, &sc->initial_pos);
    sc->storage1 = sc->storage2 = storage;
    if (method > 2) {
        sc->storage1 = createChildMemStorage(storage);
        if (!sc->storage1) return false;
    }
    if (mode > 1) {
        sc->cinfo_storage = createChildMemStorage(storage);
        if (!sc->cinfo_storage) return false;
        sc->cinfo_set = createSet(0, (int)sizeof(Set), (int)sizeof(ContourInfo), sc->cinfo_storage);
        if (!sc->cinfo_set) return false;
        sc->cinfo_set->delta_elems = 64;
    }

    // clear the frame so that no border runs off the image
    std::memset(img, 0, (size_t)width);
    std::memset(img + (size_t)(height - 1) * width, 0, (size_t)width);
    for (int y = 1; y < height - 1; y++) {
        img[(size_t)y * width] = 0;
        img[(size_t)y * width + width - 1] = 0;
    }
    return true;
}

namespace {

void endProcessContour(_ContourScanner* sc) {
    ContourInfo* l = sc->l_cinfo;
    if (l) {
        if (l->contour) insertNodeIntoTree(l->contour, l->parent->contour, &sc->frame);
        sc->l_cinfo = nullptr;
    }
}

}  // namespace

Sequence* nextContour(_ContourScanner* sc) {
    endProcessContour(sc);
    signed char* img0 = sc->img0;
    signed char* img = sc->img;
    const int step = sc->img_step;
    const int width = sc->img_size.width;
    const int height = sc->img_size.height;
    const int mode = sc->mode;
    Point2_<int> lnbd = sc->lnbd;
    int nbd = sc->nbd;
    int x = sc->pt.x;
    int y = sc->pt.y;
    int prev = img[x - 1];
    // Blocks of 64 bytes may read into the next row (the last scanned row is
    // followed by the cleared frame row), so they need rows of 64 bytes or more.
    const bool vec = checkHardwareSupport(CPU_INT_VECTORS);
    const bool blocks = vec && step >= 64;
    const FindNextDiffFn fn = vec ? findNextDiffKernel() : nullptr;
    ScanCursor cursor(blocks ? scanBitsKernel() : nullptr);

    for (; y < height; y++, img += step) {
        cursor.reset();
        for (; x < width; x++) {
            const uint8_t* row = reinterpret_cast<const uint8_t*>(img);
            if (blocks) {
                x = cursor.next(row, x, width, &lnbd.x);
                if (x >= width) break;
                prev = img[x - 1];
            } else {
                x = fn ? nextDiffFast(row, x, width, (uint8_t)prev, fn)
                       : findNextDiffScalar(row, x, width, (uint8_t)prev);
                if (x >= width) break;
            }
            int p = img[x];
            do {
                int is_hole = 0;
                if (!(prev == 0 && p == 1)) {
                    if (p != 0 || prev < 1) break;
                    if (prev & -2) lnbd.x = x - 1;
                    is_hole = 1;
                }
                if (mode == 0 && (is_hole || img0[(size_t)lnbd.y * step + lnbd.x] > 0)) break;

                const Point2_<int> origin(x - is_hole, y);
                ContourInfo* par_info = &sc->frame_info;
                if (!(mode <= 1 || (mode == 2 && !is_hole) || lnbd.x <= 0)) {
                    signed char* lnbdPix = img0 + (size_t)lnbd.y * step + lnbd.x;
                    const int lval = *lnbdPix & 127;
                    par_info = nullptr;
                    for (ContourInfo* cur = sc->cinfo_table[lval]; cur; cur = cur->next) {
                        if ((unsigned)(lnbd.x - cur->rect.x) < (unsigned)cur->rect.width &&
                            (unsigned)(lnbd.y - cur->rect.y) < (unsigned)cur->rect.height) {
                            if (par_info && isOnBorder(img0 + (size_t)par_info->origin.y * step +
                                                           par_info->origin.x,
                                                       step, lnbdPix, par_info->is_hole))
                                break;
                            par_info = cur;
                        }
                    }
                    if (par_info && par_info->is_hole == is_hole) {
                        par_info = par_info->parent;
                        if (!par_info) par_info = &sc->frame_info;
                    }
                }
                if (!par_info || !par_info->contour) break;

                lnbd.x = x - is_hole;
                saveMemStoragePos(sc->storage2, &sc->backup_pos);
                Sequence* seq =
                    createSeq(sc->seq_type1, sc->header_size1, sc->elem_size1, sc->storage1);
                if (!seq) {
                    y = height;  // out of memory: end the scan
                    break;
                }
                if (is_hole) seq->flags |= SEQ_FLAG_HOLE;

                ContourInfo* l_cinfo;
                const Point2_<int> traceOrigin(origin.x + sc->offset.x, origin.y + sc->offset.y);
                if (mode > 1) {
                    l_cinfo = static_cast<ContourInfo*>(setAdd(sc->cinfo_set));
                    if (!l_cinfo) {
                        y = height;
                        break;
                    }
                    const int lval = nbd;
                    nbd = (nbd + 1) & 127;
                    if (nbd == 0) nbd = 3;
                    traceBorderLabelled(img + x - is_hole, step, traceOrigin, seq,
                                        sc->approx_method1, lval, &l_cinfo->rect);
                    l_cinfo->rect.x -= sc->offset.x;
                    l_cinfo->rect.y -= sc->offset.y;
                    l_cinfo->next = sc->cinfo_table[lval];
                    sc->cinfo_table[lval] = l_cinfo;
                } else {
                    l_cinfo = &sc->cinfo_temp;
                    traceBorder(img + x - is_hole, step, traceOrigin, seq, sc->approx_method1);
                }
                l_cinfo->is_hole = is_hole;
                l_cinfo->contour = seq;
                l_cinfo->origin = origin;
                l_cinfo->parent = par_info;

                if (sc->approx_method1 != sc->approx_method2) {
                    l_cinfo->contour =
                        polygonFromChain(reinterpret_cast<Chain*>(seq), sc->header_size2,
                                         sc->storage2, sc->approx_method2);
                    clearMemStorage(sc->storage1);
                    if (!l_cinfo->contour) {
                        y = height;
                        break;
                    }
                }
                l_cinfo->contour->v_prev = l_cinfo->parent->contour;

                if (!par_info->contour) {
                    l_cinfo->contour = nullptr;
                    if (sc->storage1 == sc->storage2)
                        restoreMemStoragePos(sc->storage1, &sc->backup_pos);
                    else
                        clearMemStorage(sc->storage1);
                    p = img[x];
                    cursor.reset();  // the trace may have relabelled this row
                    break;
                }

                saveMemStoragePos(sc->storage2, &sc->backup_pos2);
                sc->l_cinfo = l_cinfo;
                sc->pt = Point2_<int>(x + 1, y);
                sc->lnbd = lnbd;
                sc->img = img;
                sc->nbd = nbd;
                return l_cinfo->contour;
            } while (false);
            if (y >= height) break;
            // resume: a marked pixel is the last border met
            prev = p;
            if (prev & -2) lnbd.x = x;
        }
        if (y >= height) break;
        lnbd = Point2_<int>(0, y + 1);
        x = 1;
        prev = 0;
    }
    sc->pt = Point2_<int>(x, height);
    sc->img = img;
    return nullptr;
}

Sequence* endContourScan(_ContourScanner* sc) {
    endProcessContour(sc);
    if (sc->storage1 != sc->storage2) releaseMemStorage(&sc->storage1);
    if (sc->cinfo_storage) releaseMemStorage(&sc->cinfo_storage);
    sc->cinfo_set = nullptr;
    return sc->frame.v_next;
}

}  // namespace detail

namespace {

// Copies the image into a zero frame of one pixel, object pixels as 1 (byte
// images) or the bytes as they stand (int images), row step = width.
bool makeWorkImage(const Mat& image, Mat& work, int W, int H, bool isInt) {
    const int esz = isInt ? 4 : 1;
    if (work.create(H, W, isInt ? MAT_Tint : MAT_Tuchar) < 0 || !work.isValid()) return false;
    unsigned char* base = work.ptr<unsigned char>(0);
    if (H > 1 && work.ptr<unsigned char>(1) != base + (size_t)W * esz) return false;
    const int cols = image.cols(), rows = image.rows();
    if (!isInt && checkHardwareSupport(CPU_INT_VECTORS)) {
        // padding and 0/1 in one pass
        std::memset(base, 0, (size_t)W);
        for (int y = 0; y < rows; y++) {
            unsigned char* d = base + (size_t)(y + 1) * W;
            d[0] = 0;
            detail::vecBinarise(image.ptr<unsigned char>(y), d + 1, cols);
            d[W - 1] = 0;
        }
        std::memset(base + (size_t)(H - 1) * W, 0, (size_t)W);
        return true;
    }
    std::memset(base, 0, (size_t)W * H * esz);
    for (int y = 0; y < rows; y++)
        std::memcpy(base + ((size_t)(y + 1) * W + 1) * esz, image.ptr<unsigned char>(y),
                    (size_t)cols * esz);
    if (!isInt) ip::Threshold(work, work, 0, 1.0, 0);
    return true;
}

}  // namespace

void findContours(const Mat& image, Matrix<Point2_<int>, const Point2_<int>&>& contours, int mode,
                  int method, Point2_<int> offset) {
    if (method < 0 || method > 5) method = 5;
    if (mode != 0 && mode < 2) mode = 1;
    if (mode > 3) mode = 3;
    const bool isInt = image.type() == MAT_Tint;
    if (method == 5 || !image.isValid() || image.rows() <= 0 || image.cols() <= 0 ||
        image.channels() != 1 || (image.type() != MAT_Tuchar && !isInt) ||
        image.cols() > INT_MAX / 8 || image.rows() > INT_MAX / 8 ||
        (long long)(image.cols() + 2) * (image.rows() + 2) > (long long)INT_MAX / 4) {
        contours.removeAll();
        return;
    }
    const int W = image.cols() + 2, H = image.rows() + 2;
    offset.x -= 1;
    offset.y -= 1;

    Mat work;
    MemStorage* storage = nullptr;
    Sequence* first = nullptr;
    if (makeWorkImage(image, work, W, H, isInt)) storage = createMemStorage(0);
    if (storage) {
        _ContourScanner* sc = new (std::nothrow) _ContourScanner();
        if (sc) {
            signed char* img = reinterpret_cast<signed char*>(work.ptr<unsigned char>(0));
            if (detail::beginContourScan(sc, img, W, H, storage, (int)sizeof(IPContour), mode,
                                         method, offset)) {
                while (detail::nextContour(sc)) {
                }
            }
            first = detail::endContourScan(sc);
            delete sc;
        }
    }
    if (!first) {
        contours.removeAll();
        releaseMemStorage(&storage);
        return;
    }

    // depth-first: a node, its children, then its next sibling
    auto nextNode = [](Sequence* n) {
        if (n->v_next) return n->v_next;
        while (n && !n->h_next) n = n->v_prev;
        return n ? n->h_next : nullptr;
    };
    int count = 0;
    for (Sequence* n = first; n; n = nextNode(n)) count++;
    if (!contours.setSize(count)) {
        contours.removeAll();
        releaseMemStorage(&storage);
        return;
    }
    int i = 0;
    for (Sequence* n = first; n; n = nextNode(n), i++) {
        if (n->header_size >= (int)sizeof(IPContour)) reinterpret_cast<IPContour*>(n)->color = i;
        Array<Point2_<int>, const Point2_<int>&>& row = contours[i];
        if (!row.setSize(n->total)) {
            contours.removeAll();
            break;
        }
        if (n->total > 0) {
            std::memset(static_cast<void*>(row.getData()), 0,
                        (size_t)n->total * sizeof(Point2_<int>));
            cvtSeqToArray(n, row.getData());
        }
    }
    releaseMemStorage(&storage);
}

}  // namespace ip
}  // namespace tarvo
