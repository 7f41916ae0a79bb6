// The tiled spectrum correlation and ip::crossCorr on top of it.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "detail/aliasing.h"
#include "segment/cross_corr_internal.h"
#include "tarvo/ip/filter.h"
#include "tarvo/ip/segment.h"
#include "tarvo/ip/transforms.h"
#include "tarvo/parallel.h"
#include "tarvo/saturate.h"
#include "tarvo/tarvoutil.h"
#include "texture/dft_internal.h"

namespace tarvo {
namespace detail {

CorrGeometry corrGeometry(int cw, int ch, int tw, int th) {
    CorrGeometry g;
    if (cw < 1 || ch < 1 || tw < 1 || th < 1) return g;
    int bw = tarvoutil::round(tw * 4.5), bh = tarvoutil::round(th * 4.5);
    bw = std::min(std::max(bw, 257 - tw), cw);
    bh = std::min(std::max(bh, 257 - th), ch);
    const long long needW = (long long)bw + tw - 1, needH = (long long)bh + th - 1;
    if (needW > (1 << 30) || needH > (1 << 30)) return g;
    g.dftW = std::max(getOptimalDFTSize(int(needW)), 2);
    g.dftH = getOptimalDFTSize(int(needH));
    if (g.dftW < 0 || g.dftH < 0 || (long long)g.dftW * g.dftH > (1LL << 28)) return g;
    g.blockW = std::min(cw, g.dftW - tw + 1);
    g.blockH = std::min(ch, g.dftH - th + 1);
    g.ok = g.blockW >= 1 && g.blockH >= 1;
    return g;
}

namespace {

// Sample c of element x of row r, as double.
inline double sampleAt(const unsigned char* row, int depth, int cn, int x, int c, bool u16) {
    const size_t i = size_t(x) * size_t(cn) + size_t(c);
    switch (depth) {
        case MAT_Tuchar:
            return row[i];
        case MAT_Tshort: {
            short v;
            std::memcpy(&v, row + 2 * i, 2);
            return u16 ? double((unsigned short)v) : double(v);
        }
        case MAT_Tint: {
            int v;
            std::memcpy(&v, row + 4 * i, 4);
            return v;
        }
        case MAT_Tfloat: {
            float v;
            std::memcpy(&v, row + 4 * i, 4);
            return v;
        }
        default: {
            double v;
            std::memcpy(&v, row + 8 * i, 8);
            return v;
        }
    }
}

// d[i] = channel c of element xi[i] of the row (0 where xi[i] < 0).
template <typename S, typename T>
void gatherRow(const unsigned char* row, const int* xi, int n, int cn, int c, T* d) {
    const S* r = reinterpret_cast<const S*>(row);
    for (int i = 0; i < n; i++) {
        const int x = xi[i];
        d[i] = x < 0 ? T(0) : T(r[size_t(x) * cn + c]);
    }
}

template <typename T>
bool tilesImpl(const Mat& image, const Mat& templ, Size_<int> outSize, Point2_<int> anchor,
               int border, bool u16, const CorrTileSink& sink) {
    const int tw = templ.cols(), th = templ.rows(), tcn = templ.channels();
    const int cn = image.channels(), idepth = image.type(), tdepth = templ.type();
    const CorrGeometry g = corrGeometry(outSize.width, outSize.height, tw, th);
    if (!g.ok) return false;
    const int ttype = sizeof(T) == 4 ? MAT_Tfloat : MAT_Tdouble;
    // Template spectra, once per template channel.
    std::vector<Mat> tspec(static_cast<size_t>(tcn));
    for (int c = 0; c < tcn; c++) {
        Mat band(g.dftH, g.dftW, ttype);
        if (band.empty()) return false;
        band.zero();
        for (int j = 0; j < th; j++) {
            T* d = band.ptr<T>(j);
            for (int i = 0; i < tw; i++)
                d[i] = T(sampleAt(templ.data.ptr[j], tdepth, tcn, i, c, u16));
        }
        dft(band, tspec[size_t(c)], 0, th);
        if (tspec[size_t(c)].empty()) return false;
    }
    // Source coordinates of the extended output, border resolved (-1: fill).
    const int extW = outSize.width + tw - 1, extH = outSize.height + th - 1;
    std::vector<int> xs(static_cast<size_t>(extW)), ys(static_cast<size_t>(extH));
    for (int i = 0; i < extW; i++)
        xs[size_t(i)] = ip::borderInterpolate(i - anchor.x, image.cols(), border);
    for (int j = 0; j < extH; j++)
        ys[size_t(j)] = ip::borderInterpolate(j - anchor.y, image.rows(), border);
    const int tilesX = (outSize.width + g.blockW - 1) / g.blockW;
    const int tilesY = (outSize.height + g.blockH - 1) / g.blockH;
    const int tiles = tilesX * tilesY;
    bool failed = false;
    parallelRange(tiles, double(tiles), [&](const Range& r) {
        Mat buf(g.dftH, g.dftW, ttype), spectrum, out;
        if (buf.empty()) {
            failed = true;
            return;
        }
        for (int t = r.start; t < r.end; t++) {
            const int x0 = (t % tilesX) * g.blockW, y0 = (t / tilesX) * g.blockH;
            const int w = std::min(g.blockW, outSize.width - x0);
            const int h = std::min(g.blockH, outSize.height - y0);
            const int rw = w + tw - 1, rh = h + th - 1;
            for (int c = 0; c < cn; c++) {
                buf.zero();
                for (int j = 0; j < rh; j++) {
                    const int sy = ys[size_t(y0 + j)];
                    if (sy < 0) continue;
                    const unsigned char* srow = image.data.ptr[sy];
                    T* d = buf.ptr<T>(j);
                    const int* xi = xs.data() + x0;
                    switch (idepth) {
                        case MAT_Tuchar:
                            gatherRow<unsigned char>(srow, xi, rw, cn, c, d);
                            break;
                        case MAT_Tshort:
                            if (u16)
                                gatherRow<unsigned short>(srow, xi, rw, cn, c, d);
                            else
                                gatherRow<short>(srow, xi, rw, cn, c, d);
                            break;
                        case MAT_Tint:
                            gatherRow<int>(srow, xi, rw, cn, c, d);
                            break;
                        case MAT_Tfloat:
                            gatherRow<float>(srow, xi, rw, cn, c, d);
                            break;
                        default:
                            gatherRow<double>(srow, xi, rw, cn, c, d);
                            break;
                    }
                }
                dft(buf, spectrum, 0, rh);
                mulSpectrums(spectrum, tspec[size_t(tcn == 1 ? 0 : c)], spectrum, 0, true);
                dft(spectrum, out, DFT_INVERSE | DFT_SCALE, h);
                if (out.empty()) {
                    failed = true;
                    return;
                }
                sink(Rect_<int>(x0, y0, w, h), c, out);
            }
        }
    });
    return !failed;
}

}  // namespace

bool corrAnchorOk(Point2_<int> anchor, Size_<int> outSize) {
    constexpr int kAnchorLimit = 1 << 28;
    return anchor.x >= -kAnchorLimit && anchor.x <= kAnchorLimit && anchor.y >= -kAnchorLimit &&
           anchor.y <= kAnchorLimit && outSize.width <= kAnchorLimit &&
           outSize.height <= kAnchorLimit;
}

bool correlateTiles(const Mat& image, const Mat& templ, Size_<int> outSize, Point2_<int> anchor,
                    int borderType, int spectraDepth, bool unsigned16, const CorrTileSink& sink) {
    if (image.empty() || templ.empty() || !corrAnchorOk(anchor, outSize)) return false;
    if (spectraDepth == MAT_Tfloat)
        return tilesImpl<float>(image, templ, outSize, anchor, borderType, unsigned16, sink);
    return tilesImpl<double>(image, templ, outSize, anchor, borderType, unsigned16, sink);
}

}  // namespace detail

namespace ip {

namespace {

template <typename D>
void storeTile(Mat& corr, const Rect_<int>& r, int ch, int ccn, const Mat& block, double delta,
               bool accumulate) {
    const bool fl = block.type() == MAT_Tfloat;
    for (int y = 0; y < r.height; y++) {
        D* d = reinterpret_cast<D*>(corr.data.ptr[r.y + y]) + size_t(r.x) * ccn + ch;
        for (int x = 0; x < r.width; x++) {
            const double v = fl ? double(block.ptr<float>(y)[x]) : block.ptr<double>(y)[x];
            D& o = d[size_t(x) * ccn];
            o = accumulate ? saturate_cast<D>(double(o) + double(saturate_cast<D>(v)))
                           : saturate_cast<D>(v + delta);
        }
    }
}

}  // namespace

void crossCorr(const Mat& image0, const Mat& templ, Mat& corr, Size_<int> corrSize, int corrType,
               Point2_<int> anchor, double delta, int borderType) {
    if (image0.empty() || templ.empty() || corrSize.width < 1 || corrSize.height < 1) return;
    const int cn = image0.channels(), tcn = templ.channels();
    const int cdepth = MAT_DEPTH(corrType), ccn = MAT_CN(corrType);
    const int idepth = image0.type();
    if (cdepth < MAT_Tuchar || cdepth > MAT_Tdouble || idepth < MAT_Tuchar || idepth > MAT_Tdouble)
        return;
    if (!(tcn == cn || tcn == 1) || !(ccn == cn || ccn == 1)) return;
    const int mode = borderType & ~BorderIsolatedBit;
    if (mode < BorderFill || mode > BorderMirrorNoEdge) return;
    // A template of another depth than the image's goes to max(image depth, float).
    int tdepth = templ.type();
    Mat tconv;
    const Mat* tp = &templ;
    if (tdepth != idepth && tdepth != std::max(idepth, int(MAT_Tfloat))) {
        tdepth = std::max(idepth, int(MAT_Tfloat));
        templ.convertTo(tconv, tdepth, 1.0, 0.0);
        if (tconv.empty()) return;
        tp = &tconv;
    }
    const int sdepth = idepth == MAT_Tuchar ? std::max(std::max(tdepth, int(MAT_Tfloat)), cdepth)
                                            : int(MAT_Tdouble);
    if (!detail::corrGeometry(corrSize.width, corrSize.height, tp->cols(), tp->rows()).ok ||
        !detail::corrAnchorOk(anchor, corrSize))
        return;
    Mat icopy;
    const Mat* image = &image0;
    if (detail::sharesMemory(image0, corr) || detail::sharesMemory(templ, corr)) {
        icopy = image0;
        if (icopy.empty()) return;
        image = &icopy;
        if (tp == &templ) {
            tconv = templ;
            tp = &tconv;
        }
    }
    if (corr.create(corrSize, MAKETYPE(cdepth, ccn)) < 0) return;
    const bool sum = ccn == 1 && cn > 1;
    // Past the checks above only running out of memory stops the tiles; the
    // result is then zeros rather than what the new block held.
    const bool done = detail::correlateTiles(
        *image, *tp, corrSize, anchor, mode, sdepth == MAT_Tdouble ? MAT_Tdouble : MAT_Tfloat,
        false, [&](const Rect_<int>& r, int c, const Mat& block) {
            const int ch = sum ? 0 : c;
            const bool acc = sum && c > 0;
            switch (cdepth) {
                case MAT_Tuchar:
                    storeTile<unsigned char>(corr, r, ch, ccn, block, delta, acc);
                    break;
                case MAT_Tshort:
                    storeTile<short>(corr, r, ch, ccn, block, delta, acc);
                    break;
                case MAT_Tint:
                    storeTile<int>(corr, r, ch, ccn, block, delta, acc);
                    break;
                case MAT_Tfloat:
                    storeTile<float>(corr, r, ch, ccn, block, delta, acc);
                    break;
                default:
                    storeTile<double>(corr, r, ch, ccn, block, delta, acc);
                    break;
            }
        });
    if (!done) corr.zero();
}

}  // namespace ip
}  // namespace tarvo
