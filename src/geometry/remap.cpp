// ip::remap and ip::convertMaps: sampling through per-pixel maps with
// interpolation tables of 32 x 32 fraction codes.
#include <algorithm>
#include <climits>
#include <cmath>
#include <type_traits>
#include <vector>

#include "detail/aliasing.h"
#include "geometry/interp_coeffs.h"
#include "geometry/warp_internal.h"
#include "tarvo/ip/filter.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/parallel.h"
#include "tarvo/saturate.h"
#include "tarvo/types.h"

namespace tarvo {
namespace detail {

namespace {

constexpr int kTabSize = 32;  // fraction steps per axis
constexpr int kTabSize2 = kTabSize * kTabSize;

// One interpolation table: for each fraction code a = fy * 32 + fx the
// ksize x ksize products of the two coefficient rows, as floats and in fixed
// point (scaled by 32768, each entry summing exactly to 32768; 32-bit so that
// the centre weight 32768 of a whole-pixel position fits).
struct InterpTable {
    int ksize = 0;
    std::vector<float> f;
    std::vector<int> i;
};

void coefficientRow(int code, float t, float* c) {
    if (code == 2)
        interpolateCubic(t, c);
    else if (code == 4)
        interpolateLanczos4(t, c);
    else {
        c[0] = 1.0f - t;
        c[1] = t;
    }
}

InterpTable buildTable(int code) {
    InterpTable tab;
    const int k = code == 2 ? 4 : code == 4 ? 8 : 2, kk = k * k;
    tab.ksize = k;
    tab.f.resize(size_t(kTabSize2) * kk);
    tab.i.resize(size_t(kTabSize2) * kk);
    float rows[kTabSize][8];
    for (int t = 0; t < kTabSize; t++) coefficientRow(code, float(t) / kTabSize, rows[t]);
    for (int fy = 0; fy < kTabSize; fy++)
        for (int fx = 0; fx < kTabSize; fx++) {
            const size_t base = size_t(fy * kTabSize + fx) * kk;
            int sum = 0;
            for (int ky = 0; ky < k; ky++)
                for (int kx = 0; kx < k; kx++) {
                    const float c = rows[fy][ky] * rows[fx][kx];
                    tab.f[base + size_t(ky * k + kx)] = c;
                    const int v = saturate_cast<short>(double(c) * 32768.0);
                    tab.i[base + size_t(ky * k + kx)] = v;
                    sum += v;
                }
            if (sum != 32768) {
                // The shortfall goes to the largest of the central 2 x 2 (first on ties).
                const int c0 = k / 2 - 1;
                size_t best = base + size_t(c0 * k + c0);
                for (int ky = c0; ky <= c0 + 1; ky++)
                    for (int kx = c0; kx <= c0 + 1; kx++) {
                        const size_t at = base + size_t(ky * k + kx);
                        if (tab.i[at] > tab.i[best]) best = at;
                    }
                tab.i[best] += 32768 - sum;
            }
        }
    return tab;
}

// Built once behind a function-local static: concurrent first calls wait for
// one construction.
const InterpTable& interpTable(int code) {
    static const InterpTable linear = buildTable(1);
    static const InterpTable cubic = buildTable(2);
    static const InterpTable lanczos = buildTable(4);
    return code == 2 ? cubic : code == 4 ? lanczos : linear;
}

struct RemapParams {
    const Mat* src;
    Mat* dst;
    const Mat* map1;  // integer (type 10) or float x / xy map
    const Mat* map2;  // fraction map (type 2), float y map, or null
    bool integerMap;
    int interpolation;  // 0, 1, 2, 4
    int border;
    double value[4];
};

template <typename T>
struct WorkOf {
    using type = float;
};
template <>
struct WorkOf<double> {
    using type = double;
};

template <typename T>
T storeSum(typename WorkOf<T>::type s) {
    if constexpr (std::is_same<T, short>::value)
        return saturate_cast<short>(double(s));  // rounded, saturated
    else
        return T(s);
}

// Interpolating routine with KS taps per axis. Positions whose taps all lie
// inside read the rows directly; the others map each tap through the border
// rule (a null row or a -1 column reads the fill value).
template <typename T, int KS>
void interpRow(const RemapParams& p, const InterpTable& tab, const short* xy,
               const unsigned short* a, T* d, int n, const T* fill) {
    using W = typename WorkOf<T>::type;
    const Mat& src = *p.src;
    const int cols = src.cols(), rows = src.rows(), cn = src.channels();
    constexpr int off = KS / 2 - 1, kk = KS * KS;
    constexpr bool bytes = std::is_same<T, unsigned char>::value;
    const T* taps[KS];
    int tx[KS];
    for (int x = 0; x < n; x++, d += cn) {
        const int x0 = xy[2 * x] - off, y0 = xy[2 * x + 1] - off;
        const size_t code = size_t(a ? (a[x] & 1023) : 0) * size_t(kk);
        const bool inside = x0 >= 0 && y0 >= 0 && x0 + KS <= cols && y0 + KS <= rows;
        for (int j = 0; j < KS; j++) {
            int yy = y0 + j, xx = x0 + j;
            if (!inside) {
                if (yy < 0 || yy >= rows) yy = ip::borderInterpolate(yy, rows, p.border);
                if (xx < 0 || xx >= cols) xx = ip::borderInterpolate(xx, cols, p.border);
            }
            taps[j] = yy >= 0 && yy < rows ? src.ptr<T>(yy) : nullptr;
            tx[j] = xx >= 0 && xx < cols ? xx * cn : -1;
        }
        if (inside) {
            for (int j = 0; j < KS; j++) taps[j] += x0 * cn;
            for (int k = 0; k < cn; k++) {
                if constexpr (bytes) {
                    const int* w = tab.i.data() + code;
                    int sum = 0;
                    for (int j = 0; j < KS; j++)
                        for (int i = 0; i < KS; i++)
                            sum += w[j * KS + i] * int(taps[j][i * cn + k]);
                    const int r = (sum + (1 << 14)) >> 15;
                    d[k] = T(r < 0 ? 0 : r > 255 ? 255 : r);
                } else {
                    const float* w = tab.f.data() + code;
                    W sum = 0;
                    for (int j = 0; j < KS; j++)
                        for (int i = 0; i < KS; i++)
                            sum += W(w[j * KS + i]) * W(taps[j][i * cn + k]);
                    d[k] = storeSum<T>(sum);
                }
            }
            continue;
        }
        for (int k = 0; k < cn; k++) {
            if constexpr (bytes) {
                const int* w = tab.i.data() + code;
                int sum = 0;
                for (int j = 0; j < KS; j++)
                    for (int i = 0; i < KS; i++) {
                        const int v =
                            taps[j] && tx[i] >= 0 ? int(taps[j][tx[i] + k]) : int(fill[k]);
                        sum += w[j * KS + i] * v;
                    }
                const int r = (sum + (1 << 14)) >> 15;
                d[k] = T(r < 0 ? 0 : r > 255 ? 255 : r);
            } else {
                const float* w = tab.f.data() + code;
                W sum = 0;
                for (int j = 0; j < KS; j++)
                    for (int i = 0; i < KS; i++) {
                        const W v = taps[j] && tx[i] >= 0 ? W(taps[j][tx[i] + k]) : W(fill[k]);
                        sum += W(w[j * KS + i]) * v;
                    }
                d[k] = storeSum<T>(sum);
            }
        }
    }
}

// Writes one tile row: n pixels at positions xy (pairs) with fraction codes a.
template <typename T>
void remapRow(const RemapParams& p, const short* xy, const unsigned short* a, T* d, int n) {
    const Mat& src = *p.src;
    const int cols = src.cols(), rows = src.rows(), cn = src.channels();
    T fill[64];
    for (int k = 0; k < cn; k++) fill[k] = saturate_cast<T>(p.value[k % 4]);
    if (p.interpolation == 0) {
        for (int x = 0; x < n; x++, d += cn) {
            int sx = xy[2 * x], sy = xy[2 * x + 1];
            if (sx < 0 || sx >= cols || sy < 0 || sy >= rows) {
                if (p.border == BorderFill) {
                    for (int k = 0; k < cn; k++) d[k] = fill[k];
                    continue;
                }
                sx = ip::borderInterpolate(sx, cols, p.border);
                sy = ip::borderInterpolate(sy, rows, p.border);
            }
            const T* s = src.ptr<T>(sy) + size_t(sx) * cn;
            for (int k = 0; k < cn; k++) d[k] = s[k];
        }
        return;
    }
    const InterpTable& tab = interpTable(p.interpolation);
    if (tab.ksize == 2)
        interpRow<T, 2>(p, tab, xy, a, d, n, fill);
    else if (tab.ksize == 4)
        interpRow<T, 4>(p, tab, xy, a, d, n, fill);
    else
        interpRow<T, 8>(p, tab, xy, a, d, n, fill);
}

// The linear table's four weights of each code as two 32-bit words (low and
// high 16 bits): every entry lies in 0..32768, so it fits unsigned 16 bits.
const uint32_t* packedLinear() {
    static const std::vector<uint32_t> packed = [] {
        const std::vector<int>& t = interpTable(1).i;
        std::vector<uint32_t> p(size_t(kTabSize2) * 2);
        for (size_t c = 0; c < size_t(kTabSize2); c++) {
            p[2 * c] = uint32_t(t[4 * c]) | uint32_t(t[4 * c + 1]) << 16;
            p[2 * c + 1] = uint32_t(t[4 * c + 2]) | uint32_t(t[4 * c + 3]) << 16;
        }
        return p;
    }();
    return packed.data();
}

// The cubic or Lanczos table's weights as 16-bit pairs, row by row; empty
// when some weight other than code 0's centre does not fit 16 bits or code 0
// is not the whole pixel, and the vector routine is not used.
const std::vector<uint32_t>& pairedTable(int code) {
    auto build = [](int c) {
        const InterpTable& t = interpTable(c);
        const int k = t.ksize, kk = k * k, centre = (k / 2 - 1) * (k + 1);
        std::vector<uint32_t> p(size_t(kTabSize2) * size_t(kk / 2));
        for (int e = 0; e < kk; e++)
            if (t.i[size_t(e)] != (e == centre ? 32768 : 0)) return std::vector<uint32_t>();
        for (size_t c2 = 1; c2 < size_t(kTabSize2); c2++)
            for (int e = 0; e < kk; e += 2) {
                const int lo = t.i[c2 * size_t(kk) + size_t(e)];
                const int hi = t.i[c2 * size_t(kk) + size_t(e) + 1];
                if (lo < -32767 || lo > 32767 || hi < -32767 || hi > 32767)
                    return std::vector<uint32_t>();
                p[c2 * size_t(kk / 2) + size_t(e / 2)] =
                    uint32_t(uint16_t(int16_t(lo))) | uint32_t(uint16_t(int16_t(hi))) << 16;
            }
        return p;
    };
    static const std::vector<uint32_t> cubic = build(2);
    static const std::vector<uint32_t> lanczos = build(4);
    return code == 2 ? cubic : lanczos;
}

// Positions handed to the scalar routine after a vector kernel stops: at
// least one vector's worth, so the kernel restarts past the position that
// stopped it.
constexpr int kScalarRun = 16;

// The linear byte routine through the vector kernel: runs of positions whose
// 2 x 2 taps lie inside (or any positions under the fill and clamp borders)
// go to the kernel; the group that stops it takes the scalar routine. Same
// sums, same bytes.
void remapLinearRowVector(const RemapParams& p, const ByteImage& img, const short* xy,
                          const unsigned short* a, unsigned char* d, int n) {
    const uint32_t* packed = packedLinear();
    const int cn = img.cn;
    unsigned char fill[4];
    for (int k = 0; k < cn; k++) fill[k] = saturate_cast<unsigned char>(p.value[k % 4]);
    const int edge = p.border == BorderFill ? 1 : p.border == BorderClamp ? 2 : 0;
    int x = 0;
    while (x < n) {
        x += remapLinearRow8u(img, xy + 2 * x, a ? a + x : nullptr, packed, edge, fill,
                              d + size_t(x) * cn, n - x);
        if (x >= n) break;
        const int m = std::min(kScalarRun, n - x);
        remapRow<unsigned char>(p, xy + 2 * x, a ? a + x : nullptr, d + size_t(x) * cn, m);
        x += m;
    }
}

// The cubic and Lanczos byte routines through the vector kernel, the same
// way as the linear one.
void remapTapsRowVector(const RemapParams& p, const ByteImage& img, const uint32_t* pairs,
                        const short* xy, const unsigned short* a, unsigned char* d, int n) {
    const int cn = img.cn, ks = p.interpolation == 2 ? 4 : 8;
    unsigned char fill[4];
    for (int k = 0; k < cn; k++) fill[k] = saturate_cast<unsigned char>(p.value[k % 4]);
    const unsigned char* f = p.border == BorderFill ? fill : nullptr;
    int x = 0;
    while (x < n) {
        x += remapTapsRow8u(img, ks, xy + 2 * x, a ? a + x : nullptr, pairs, f, d + size_t(x) * cn,
                            n - x);
        if (x >= n) break;
        const int m = std::min(kScalarRun, n - x);
        remapRow<unsigned char>(p, xy + 2 * x, a ? a + x : nullptr, d + size_t(x) * cn, m);
        x += m;
    }
}

inline short shortPos(int v) {
    return short(v < -32768 ? -32768 : v > 32767 ? 32767 : v);
}

// Float coordinate to the tile's integer position and fraction code.
inline void toFixed(float x, float y, bool nearest, short* xy, unsigned short* a) {
    if (nearest) {
        xy[0] = x == x ? shortPos(roundInt(x)) : short(-32768);
        xy[1] = y == y ? shortPos(roundInt(y)) : short(-32768);
        if (a) *a = 0;
        return;
    }
    const int sx = x == x ? roundInt(double(x) * kTabSize) : INT_MIN;
    const int sy = y == y ? roundInt(double(y) * kTabSize) : INT_MIN;
    xy[0] = x == x ? shortPos(sx >> 5) : short(-32768);
    xy[1] = y == y ? shortPos(sy >> 5) : short(-32768);
    if (a) *a = (unsigned short)(((sy & 31) << 5) | (sx & 31));
}

// Interpolating positions of n map entries (a two-channel row, or two rows)
// through the vector kernel, groups it stops at through toFixed.
void mapRowFixed(const float* mx, const float* my, bool two, short* xy, unsigned short* a, int n) {
    int x = 0;
    while (x < n) {
        x += mapToFixed(two ? mx + 2 * x : mx + x, two ? nullptr : my + x, two ? 2 : 1, xy + 2 * x,
                        a + x, n - x);
        const int e = std::min(n, x + kScalarRun);
        for (; x < e; x++)
            toFixed(two ? mx[2 * x] : mx[x], two ? mx[2 * x + 1] : my[x], false, xy + 2 * x, a + x);
    }
}

template <typename T>
class RemapBody : public ParallelLoopBody {
public:
    explicit RemapBody(const RemapParams& p) : p_(p) {}
    void operator()(const Range& range) const override {
        const Mat& dst = *p_.dst;
        const int rows = dst.rows(), cols = dst.cols(), cn = dst.channels();
        const int bw = std::min(16384 / std::min(rows, 128), cols);
        const int bh = std::max(1, std::min(16384 / bw, rows));
        std::vector<short> xy(size_t(bw) * 2);
        std::vector<unsigned short> fa(static_cast<size_t>(bw));
        const bool nearest = p_.interpolation == 0;
        ByteImage img{};
        const bool vecLinear = std::is_same<T, unsigned char>::value && p_.interpolation == 1 &&
                               cn <= 4 && checkHardwareSupport(CPU_INT_VECTORS) &&
                               byteImageOf(*p_.src, img);
        const bool vecMap = !nearest && checkHardwareSupport(CPU_INT_VECTORS);
        const uint32_t* pairs = nullptr;
        if (std::is_same<T, unsigned char>::value && cn <= 4 &&
            (p_.interpolation == 2 || p_.interpolation == 4) &&
            checkHardwareSupport(CPU_INT_VECTORS) && byteImageOf(*p_.src, img)) {
            const std::vector<uint32_t>& t = pairedTable(p_.interpolation);
            if (!t.empty()) pairs = t.data();
        }
        auto row = [&](const short* pos, const unsigned short* fr, T* d, int n) {
            if constexpr (std::is_same<T, unsigned char>::value) {
                if (vecLinear) {
                    remapLinearRowVector(p_, img, pos, fr, d, n);
                    return;
                }
                if (pairs) {
                    remapTapsRowVector(p_, img, pairs, pos, fr, d, n);
                    return;
                }
            }
            remapRow<T>(p_, pos, fr, d, n);
        };
        for (int y0 = range.start; y0 < range.end; y0 += bh) {
            const int y1 = std::min(range.end, y0 + bh);
            for (int x0 = 0; x0 < cols; x0 += bw) {
                const int n = std::min(bw, cols - x0);
                for (int y = y0; y < y1; y++) {
                    T* d = p_.dst->template ptr<T>(y) + size_t(x0) * cn;
                    if (p_.integerMap) {
                        const short* m = p_.map1->ptr<short>(y) + 2 * size_t(x0);
                        const unsigned short* a =
                            p_.map2
                                ? reinterpret_cast<const unsigned short*>(p_.map2->ptr<short>(y)) +
                                      x0
                                : nullptr;
                        row(m, nearest ? nullptr : a, d, n);
                        continue;
                    }
                    const bool two = p_.map1->channels() == 2;
                    const float* mx = p_.map1->ptr<float>(y) + (two ? 2 * size_t(x0) : size_t(x0));
                    const float* my = two ? nullptr : p_.map2->ptr<float>(y) + x0;
                    if (vecMap)
                        mapRowFixed(mx, my, two, xy.data(), fa.data(), n);
                    else
                        for (int x = 0; x < n; x++) {
                            const float fx = two ? mx[2 * x] : mx[x];
                            const float fy = two ? mx[2 * x + 1] : my[x];
                            toFixed(fx, fy, nearest, &xy[2 * size_t(x)],
                                    nearest ? nullptr : &fa[size_t(x)]);
                        }
                    row(xy.data(), nearest ? nullptr : fa.data(), d, n);
                }
            }
        }
    }

private:
    RemapParams p_;
};

}  // namespace

// The remap invoker: parallel rows, tiles within each stripe.
class RemapInvoker : public ParallelLoopBody {
public:
    explicit RemapInvoker(const RemapParams& p) : p_(p) {}
    void operator()(const Range& r) const override {
        switch (p_.src->type()) {
            case 1:
                RemapBody<unsigned char>{p_}(r);
                break;
            case 2:
                RemapBody<short>{p_}(r);
                break;
            case 4:
                RemapBody<float>{p_}(r);
                break;
            case 5:
                RemapBody<double>{p_}(r);
                break;
            default:
                break;
        }
    }

private:
    RemapParams p_;
};

}  // namespace detail

namespace ip {

namespace {

// Type words of the two-channel maps.
constexpr int kMapShort2 = MAT_Tshort | (1 << 3);  // 10
constexpr int kMapFloat2 = MAT_Tfloat | (1 << 3);  // 12

bool sameSize(const Mat& a, const Mat& b) {
    return a.rows() == b.rows() && a.cols() == b.cols();
}

}  // namespace

void remap(const Mat& src, Mat& dst, const Mat& map1, const Mat& map2, int interpolation,
           int borderType, const Point4_<double>& borderValue) {
    if (src.empty() || map1.empty()) return;
    const int depth = src.type();
    if (depth != 1 && depth != 2 && depth != 4 && depth != 5) return;
    if (interpolation == 3) interpolation = 1;
    if (interpolation != 0 && interpolation != 1 && interpolation != 2 && interpolation != 4)
        return;
    const int border = borderType & ~BorderIsolatedBit;
    if (border < BorderFill || border > BorderMirrorNoEdge) return;
    detail::RemapParams p{};
    const int t1 = map1.type1(), t2 = map2.empty() ? -1 : map2.type1();
    if (t1 == kMapShort2 && (t2 == -1 || (t2 == MAT_Tshort && sameSize(map1, map2)))) {
        p.map1 = &map1;
        p.map2 = t2 == -1 ? nullptr : &map2;
        p.integerMap = true;
    } else if (t1 == MAT_Tshort && t2 == kMapShort2 && sameSize(map1, map2)) {
        p.map1 = &map2;
        p.map2 = &map1;
        p.integerMap = true;
    } else if (t1 == kMapFloat2 && t2 == -1) {
        p.map1 = &map1;
        p.map2 = nullptr;
    } else if (t1 == MAT_Tfloat && t2 == MAT_Tfloat && sameSize(map1, map2)) {
        p.map1 = &map1;
        p.map2 = &map2;
    } else {
        return;
    }
    Mat copy;
    const Mat* s = &src;
    if (detail::sharesMemory(src, dst) || detail::sharesMemory(map1, dst) ||
        (!map2.empty() && detail::sharesMemory(map2, dst))) {
        copy = src;
        s = &copy;
    }
    Mat out(p.map1->rows(), p.map1->cols(), src.type1());
    if (out.empty()) return;
    p.src = s;
    p.dst = &out;
    p.interpolation = interpolation;
    p.border = border;
    for (int k = 0; k < 4; k++) p.value[k] = borderValue[k];
    detail::RemapInvoker body(p);
    parallel_for_(Range(0, out.rows()), body, double(out.rows()) * out.cols() * 1.52587890625e-05);
    dst = std::move(out);
}

void convertMaps(const Mat& map1, const Mat& map2, Mat& dstMap1, Mat& dstMap2, int dstMapType,
                 bool nearest) {
    if (map1.empty()) return;
    const int t1 = map1.type1(), t2 = map2.empty() ? -1 : map2.type1();
    const int rows = map1.rows(), cols = map1.cols();
    // Source form: 0 float pair, 1 float two-channel, 2 integer (+ fractions).
    int form;
    const Mat *ix = nullptr, *fr = nullptr;
    if (t1 == MAT_Tfloat && t2 == MAT_Tfloat && sameSize(map1, map2)) {
        form = 0;
    } else if (t1 == kMapFloat2 && t2 == -1) {
        form = 1;
    } else if (t1 == kMapShort2 && (t2 == -1 || (t2 == MAT_Tshort && sameSize(map1, map2)))) {
        form = 2;
        ix = &map1;
        fr = t2 == -1 ? nullptr : &map2;
    } else if (t1 == MAT_Tshort && t2 == kMapShort2 && sameSize(map1, map2)) {
        form = 2;
        ix = &map2;
        fr = &map1;
    } else {
        return;
    }
    if (dstMapType != MAT_Tfloat && dstMapType != kMapFloat2 && dstMapType != kMapShort2) return;
    Mat o1, o2;
    if (dstMapType == kMapShort2) {
        o1.create(rows, cols, kMapShort2);
        if (!nearest) o2.create(rows, cols, MAT_Tshort);
        if (o1.empty() || (!nearest && o2.empty())) return;
        const bool vec = form != 2 && !nearest && checkHardwareSupport(CPU_INT_VECTORS);
        for (int y = 0; y < rows; y++) {
            short* d = o1.ptr<short>(y);
            unsigned short* a =
                nearest ? nullptr : reinterpret_cast<unsigned short*>(o2.ptr<short>(y));
            if (vec) {
                detail::mapRowFixed(map1.ptr<float>(y), form == 1 ? nullptr : map2.ptr<float>(y),
                                    form == 1, d, a, cols);
                continue;
            }
            for (int x = 0; x < cols; x++) {
                if (form == 2) {
                    d[2 * x] = ix->ptr<short>(y)[2 * x];
                    d[2 * x + 1] = ix->ptr<short>(y)[2 * x + 1];
                    if (a) a[x] = fr ? (unsigned short)(fr->ptr<short>(y)[x] & 1023) : 0;
                    continue;
                }
                const float fx = form == 1 ? map1.ptr<float>(y)[2 * x] : map1.ptr<float>(y)[x];
                const float fy = form == 1 ? map1.ptr<float>(y)[2 * x + 1] : map2.ptr<float>(y)[x];
                detail::toFixed(fx, fy, nearest, d + 2 * x, a ? a + x : nullptr);
            }
        }
    } else {
        o1.create(rows, cols, dstMapType);
        if (dstMapType == MAT_Tfloat) o2.create(rows, cols, MAT_Tfloat);
        if (o1.empty() || (dstMapType == MAT_Tfloat && o2.empty())) return;
        for (int y = 0; y < rows; y++)
            for (int x = 0; x < cols; x++) {
                float fx, fy;
                if (form == 2) {
                    const int code = fr ? (fr->ptr<short>(y)[x] & 1023) : 0;
                    fx = float(ix->ptr<short>(y)[2 * x]) + float(code & 31) / 32.0f;
                    fy = float(ix->ptr<short>(y)[2 * x + 1]) + float(code >> 5) / 32.0f;
                } else if (form == 1) {
                    fx = map1.ptr<float>(y)[2 * x];
                    fy = map1.ptr<float>(y)[2 * x + 1];
                } else {
                    fx = map1.ptr<float>(y)[x];
                    fy = map2.ptr<float>(y)[x];
                }
                if (dstMapType == kMapFloat2) {
                    o1.ptr<float>(y)[2 * x] = fx;
                    o1.ptr<float>(y)[2 * x + 1] = fy;
                } else {
                    o1.ptr<float>(y)[x] = fx;
                    o2.ptr<float>(y)[x] = fy;
                }
            }
    }
    dstMap1 = std::move(o1);
    dstMap2 = std::move(o2);
}

}  // namespace ip
}  // namespace tarvo
