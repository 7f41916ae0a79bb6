// Kernel classification, the factories of linear stages and engines, and the
// two front ends filter2D and sepFilter2D.
#include <cmath>
#include <cstring>
#include <new>

#include "detail/aliasing.h"
#include "filter/filter2d_spectrum.h"
#include "filter/linear_filter.h"
#include "tarvo/tarvoutil.h"

namespace tarvo {
namespace ip {

int getKernelType(const Mat& kernel, Point2_<int> anchor) {
    const int rows = kernel.rows(), cols = kernel.cols();
    int type = KernelSmooth | KernelInteger;
    if (kernel.empty()) return KernelInteger;
    if ((rows == 1 || cols == 1) && 2LL * anchor.x + 1 == cols && 2LL * anchor.y + 1 == rows)
        type |= KernelSymmetrical | KernelAsymmetrical;
    const int n = rows * cols;
    std::vector<double> k;
    k.reserve(size_t(n));
    for (int r = 0; r < rows; r++)
        for (int c = 0; c < cols; c++) k.push_back(kernel.value(r, c, 0));
    double sum = 0;
    for (int i = 0; i < n; i++) {
        const double a = k[size_t(i)], b = k[size_t(n - 1 - i)];
        if (!(a == b)) type &= ~KernelSymmetrical;
        if (!(a == -b)) type &= ~KernelAsymmetrical;
        if (!(a >= 0)) type &= ~KernelSmooth;
        if (!(a == double(tarvoutil::round(a)))) type &= ~KernelInteger;
        sum += a;
    }
    if (!(std::fabs(sum - 1) <= (std::fabs(sum) + 1) * 1.1920928955078125e-7))
        type &= ~KernelSmooth;
    return type;
}

void preprocess2DKernel(const Mat& kernel, std::vector<Point2_<int>>& coords,
                        std::vector<unsigned char>& coeffs) {
    coords.clear();
    coeffs.clear();
    const int depth = kernel.type();
    if (kernel.empty() || kernel.channels() != 1 || depth == MAT_Tshort) return;
    const size_t esz = size_t(kernel.step());
    for (int y = 0; y < kernel.rows(); y++) {
        const unsigned char* row = kernel.data.ptr[y];
        for (int x = 0; x < kernel.cols(); x++) {
            const unsigned char* p = row + size_t(x) * esz;
            bool nonZero;
            switch (depth) {
                case MAT_Tuchar:
                    nonZero = *p != 0;
                    break;
                case MAT_Tint: {
                    int v;
                    std::memcpy(&v, p, 4);
                    nonZero = v != 0;
                    break;
                }
                case MAT_Tfloat: {
                    float v;
                    std::memcpy(&v, p, 4);
                    nonZero = v != 0;
                    break;
                }
                default: {
                    double v;
                    std::memcpy(&v, p, 8);
                    nonZero = v != 0;
                    break;
                }
            }
            if (!nonZero) continue;
            coords.push_back(Point2_<int>(x, y));
            coeffs.insert(coeffs.end(), p, p + esz);
        }
    }
    if (coords.empty()) {
        coords.push_back(Point2_<int>(0, 0));
        coeffs.assign(esz, 0);
    }
}

namespace {

bool isOneD(const Mat& k) {
    return !k.empty() && k.channels() == 1 && (k.rows() == 1 || k.cols() == 1);
}

// The kernel at the wanted depth, shared when it already has it.
Mat kernelAs(const Mat& k, int depth, double scale = 1.0) {
    if (k.type() == depth && scale == 1.0) return k;
    Mat out;
    k.convertTo(out, depth, scale, 0.0);
    return out;
}

// An odd length is what the closed forms and the symmetric sums assume.
int usableSymmetry(int symmetryType, int ksize) {
    return (ksize & 1) ? (symmetryType & (KernelSymmetrical | KernelAsymmetrical)) : 0;
}

template <typename T>
Ptr<T> makePtr(T* p) {
    return Ptr<T>(p);
}

}  // namespace

Ptr<BaseRowFilter> getLinearRowFilter(int srcType, int bufType, const Mat& kernel, int anchor,
                                      int symmetryType) {
    const int sdepth = srcType & MAT_DEPTH_MASK, ddepth = bufType & MAT_DEPTH_MASK;
    if (!isOneD(kernel)) return Ptr<BaseRowFilter>();
    const int ksize = kernel.rows() + kernel.cols() - 1;
    if (anchor < 0 || anchor >= ksize || ddepth < MAT_Tint || ddepth > MAT_Tdouble)
        return Ptr<BaseRowFilter>();
    const Mat k = kernelAs(kernel, ddepth);
    if (k.empty()) return Ptr<BaseRowFilter>();
    const int symm = usableSymmetry(symmetryType, ksize);

    if (symm && ksize < 6) {
        if (sdepth == MAT_Tuchar && ddepth == MAT_Tint)
            return makePtr<BaseRowFilter>(
                new (std::nothrow)
                    SymmRowSmallFilter<unsigned char, int, SymmRowSmallVec_8u32s>(k, anchor, symm));
        if (sdepth == MAT_Tfloat && ddepth == MAT_Tfloat)
            return makePtr<BaseRowFilter>(
                new (std::nothrow)
                    SymmRowSmallFilter<float, float, SymmRowSmallVec_32f>(k, anchor, symm));
    }
    BaseRowFilter* f = nullptr;
    if (sdepth == MAT_Tuchar && ddepth == MAT_Tint)
        f = new (std::nothrow) RowFilter<unsigned char, int, RowVec_8u32s>(k, anchor);
    else if (sdepth == MAT_Tuchar && ddepth == MAT_Tfloat)
        f = new (std::nothrow) RowFilter<unsigned char, float, RowNoVec>(k, anchor);
    else if (sdepth == MAT_Tuchar && ddepth == MAT_Tdouble)
        f = new (std::nothrow) RowFilter<unsigned char, double, RowNoVec>(k, anchor);
    else if (sdepth == MAT_Tshort && ddepth == MAT_Tfloat)
        f = new (std::nothrow) RowFilter<unsigned short, float, RowNoVec>(k, anchor);
    else if (sdepth == MAT_Tshort && ddepth == MAT_Tdouble)
        f = new (std::nothrow) RowFilter<unsigned short, double, RowNoVec>(k, anchor);
    else if (sdepth == MAT_Tfloat && ddepth == MAT_Tfloat)
        f = new (std::nothrow) RowFilter<float, float, RowVec_32f>(k, anchor);
    else if (sdepth == MAT_Tfloat && ddepth == MAT_Tdouble)
        f = new (std::nothrow) RowFilter<float, double, RowNoVec>(k, anchor);
    else if (sdepth == MAT_Tdouble && ddepth == MAT_Tdouble)
        f = new (std::nothrow) RowFilter<double, double, RowNoVec>(k, anchor);
    return Ptr<BaseRowFilter>(f);
}

Ptr<BaseColumnFilter> getLinearColumnFilter(int bufType, int dstType, const Mat& kernel, int anchor,
                                            int symmetryType, double delta, int bits) {
    typedef unsigned char uchar;
    typedef unsigned short ushort;
    const int sdepth = bufType & MAT_DEPTH_MASK, ddepth = dstType & MAT_DEPTH_MASK;
    if (!isOneD(kernel) || bits < 0 || bits > 30) return Ptr<BaseColumnFilter>();
    const int ksize = kernel.rows() + kernel.cols() - 1;
    if (anchor < 0 || anchor >= ksize || sdepth < MAT_Tint || sdepth > MAT_Tdouble)
        return Ptr<BaseColumnFilter>();
    const Mat k = kernelAs(kernel, sdepth);
    if (k.empty()) return Ptr<BaseColumnFilter>();
    const int symm = usableSymmetry(symmetryType, ksize);
    const int pair = sdepth * 8 + ddepth;
    constexpr int P31 = 3 * 8 + 1, P41 = 4 * 8 + 1, P51 = 5 * 8 + 1, P32 = 3 * 8 + 2,
                  P42 = 4 * 8 + 2, P52 = 5 * 8 + 2, P44 = 4 * 8 + 4, P55 = 5 * 8 + 5;
    BaseColumnFilter* f = nullptr;

    if (!symm) {
        switch (pair) {
            case P31:
                f = new (std::nothrow) ColumnFilter<FixedPtCastEx<int, uchar>, ColumnNoVec>(
                    k, anchor, delta, FixedPtCastEx<int, uchar>(bits));
                break;
            case P41:
                f = new (std::nothrow)
                    ColumnFilter<Cast<float, uchar>, ColumnNoVec>(k, anchor, delta);
                break;
            case P51:
                f = new (std::nothrow)
                    ColumnFilter<Cast<double, uchar>, ColumnNoVec>(k, anchor, delta);
                break;
            case P32:
                f = new (std::nothrow)
                    ColumnFilter<Cast<int, short>, ColumnNoVec>(k, anchor, delta);
                break;
            case P42:
                f = new (std::nothrow)
                    ColumnFilter<Cast<float, ushort>, ColumnNoVec>(k, anchor, delta);
                break;
            case P52:
                f = new (std::nothrow)
                    ColumnFilter<Cast<double, ushort>, ColumnNoVec>(k, anchor, delta);
                break;
            case P44:
                f = new (std::nothrow)
                    ColumnFilter<Cast<float, float>, ColumnNoVec>(k, anchor, delta);
                break;
            case P55:
                f = new (std::nothrow)
                    ColumnFilter<Cast<double, double>, ColumnNoVec>(k, anchor, delta);
                break;
        }
        return Ptr<BaseColumnFilter>(f);
    }

    const bool symmetric = (symm & KernelSymmetrical) != 0;
    const int half = ksize / 2;
    if (ksize == 3) {
        if (pair == P31) {
            // The vector operator runs the closed form's own arithmetic.
            const std::vector<int> kv = kernelVector<int>(k);
            const int form = smallColumnForm(kv.data() + 1, symm);
            int eff[2] = {kv[1], kv[2]};
            if (form == detail::FormSym121) eff[0] = 2, eff[1] = 1;
            if (form == detail::FormSym1m21) eff[0] = -2, eff[1] = 1;
            const int idelta = roundInt(delta);
            f = new (std::nothrow)
                SymmColumnSmallFilter<FixedPtCastEx<int, uchar>, SymmColumnVec_32s8u>(
                    k, anchor, delta, symm, FixedPtCastEx<int, uchar>(bits),
                    SymmColumnVec_32s8u(eff, 1, symmetric, idelta, bits));
            return Ptr<BaseColumnFilter>(f);
        }
        if (pair == P32 && bits == 0) {
            const std::vector<int> kv = kernelVector<int>(k);
            const int form = smallColumnForm(kv.data() + 1, symm);
            f = new (std::nothrow)
                SymmColumnSmallFilter<Cast<int, short>, SymmColumnSmallVec_32s16s>(
                    k, anchor, delta, symm, Cast<int, short>(),
                    SymmColumnSmallVec_32s16s(form, kv[1], kv[2], roundInt(delta)));
            return Ptr<BaseColumnFilter>(f);
        }
        if (pair == P44) {
            const std::vector<float> kv = kernelVector<float>(k);
            const int form = smallColumnForm(kv.data() + 1, symm);
            f = new (std::nothrow)
                SymmColumnSmallFilter<Cast<float, float>, SymmColumnSmallVec_32f>(
                    k, anchor, delta, symm, Cast<float, float>(),
                    SymmColumnSmallVec_32f(form, kv[1], kv[2], float(delta)));
            return Ptr<BaseColumnFilter>(f);
        }
    }
    switch (pair) {
        case P31: {
            const std::vector<int> kv = kernelVector<int>(k);
            f = new (std::nothrow) SymmColumnFilter<FixedPtCastEx<int, uchar>, SymmColumnVec_32s8u>(
                k, anchor, delta, symm, FixedPtCastEx<int, uchar>(bits),
                SymmColumnVec_32s8u(kv.data() + half, half, symmetric, roundInt(delta), bits));
            break;
        }
        case P41:
            f = new (std::nothrow)
                SymmColumnFilter<Cast<float, uchar>, ColumnNoVec>(k, anchor, delta, symm);
            break;
        case P51:
            f = new (std::nothrow)
                SymmColumnFilter<Cast<double, uchar>, ColumnNoVec>(k, anchor, delta, symm);
            break;
        case P32:
            f = new (std::nothrow)
                SymmColumnFilter<Cast<int, short>, ColumnNoVec>(k, anchor, delta, symm);
            break;
        case P42:
            f = new (std::nothrow)
                SymmColumnFilter<Cast<float, ushort>, ColumnNoVec>(k, anchor, delta, symm);
            break;
        case P52:
            f = new (std::nothrow)
                SymmColumnFilter<Cast<double, ushort>, ColumnNoVec>(k, anchor, delta, symm);
            break;
        case P44: {
            const std::vector<float> kv = kernelVector<float>(k);
            f = new (std::nothrow) SymmColumnFilter<Cast<float, float>, SymmColumnVec_32f>(
                k, anchor, delta, symm, Cast<float, float>(),
                SymmColumnVec_32f(kv.data() + half, half, symmetric, float(delta), 0));
            break;
        }
        case P55:
            f = new (std::nothrow)
                SymmColumnFilter<Cast<double, double>, ColumnNoVec>(k, anchor, delta, symm);
            break;
    }
    return Ptr<BaseColumnFilter>(f);
}

Ptr<BaseFilter> getLinearFilter(int srcType, int dstType, const Mat& kernel, Point2_<int> anchor,
                                double delta, int bits) {
    typedef unsigned char uchar;
    typedef unsigned short ushort;
    const int sdepth = srcType & MAT_DEPTH_MASK, ddepth = dstType & MAT_DEPTH_MASK;
    if (kernel.empty() || kernel.channels() != 1 || bits < 0 || bits > 30) return Ptr<BaseFilter>();
    anchor = normalizeAnchor(anchor, kernel.size());
    if (anchor.x < 0 || anchor.y < 0 || anchor.x >= kernel.cols() || anchor.y >= kernel.rows())
        return Ptr<BaseFilter>();
    const int kdepth = (sdepth == MAT_Tdouble || ddepth == MAT_Tdouble) ? MAT_Tdouble : MAT_Tfloat;
    const Mat k =
        kernelAs(kernel, kdepth, kernel.type() == MAT_Tint ? 1.0 / double(1 << bits) : 1.0);
    if (k.empty()) return Ptr<BaseFilter>();

    BaseFilter* f = nullptr;
    switch (sdepth * 8 + ddepth) {
        case 1 * 8 + 1:
            f = new (std::nothrow)
                Filter2D<uchar, Cast<float, uchar>, FilterVec_8u>(k, anchor, delta);
            break;
        case 1 * 8 + 2:
            f = new (std::nothrow)
                Filter2D<uchar, Cast<float, ushort>, FilterNoVec>(k, anchor, delta);
            break;
        case 1 * 8 + 4:
            f = new (std::nothrow)
                Filter2D<uchar, Cast<float, float>, FilterNoVec>(k, anchor, delta);
            break;
        case 1 * 8 + 5:
            f = new (std::nothrow)
                Filter2D<uchar, Cast<double, double>, FilterNoVec>(k, anchor, delta);
            break;
        case 2 * 8 + 2:
            f = new (std::nothrow)
                Filter2D<ushort, Cast<float, ushort>, FilterNoVec>(k, anchor, delta);
            break;
        case 2 * 8 + 4:
            f = new (std::nothrow)
                Filter2D<ushort, Cast<float, float>, FilterNoVec>(k, anchor, delta);
            break;
        case 2 * 8 + 5:
            f = new (std::nothrow)
                Filter2D<ushort, Cast<double, double>, FilterNoVec>(k, anchor, delta);
            break;
        case 4 * 8 + 4:
            f = new (std::nothrow)
                Filter2D<float, Cast<float, float>, FilterVec_32f>(k, anchor, delta);
            break;
        case 5 * 8 + 5:
            f = new (std::nothrow)
                Filter2D<double, Cast<double, double>, FilterNoVec>(k, anchor, delta);
            break;
    }
    return Ptr<BaseFilter>(f);
}

Ptr<FilterEngine> createLinearFilter(int srcType, int dstType, const Mat& kernel,
                                     Point2_<int> anchor, double delta, int rowBorderType,
                                     int columnBorderType, const Point4_<double>& borderValue) {
    srcType &= MAT_TYPE_MASK;
    dstType &= MAT_TYPE_MASK;
    Ptr<BaseFilter> f = getLinearFilter(srcType, dstType, kernel, anchor, delta, 0);
    if (f.empty()) return Ptr<FilterEngine>();
    return Ptr<FilterEngine>(new (std::nothrow) FilterEngine(
        f, Ptr<BaseRowFilter>(), Ptr<BaseColumnFilter>(), srcType, dstType, srcType, rowBorderType,
        columnBorderType, borderValue));
}

Ptr<FilterEngine> createSeparableLinearFilter(int srcType, int dstType, const Mat& rowKernel,
                                              const Mat& columnKernel, Point2_<int> anchor,
                                              double delta, int rowBorderType, int columnBorderType,
                                              const Point4_<double>& borderValue) {
    srcType &= MAT_TYPE_MASK;
    dstType &= MAT_TYPE_MASK;
    if (!isOneD(rowKernel) || !isOneD(columnKernel)) return Ptr<FilterEngine>();
    const int sdepth = MAT_DEPTH(srcType), ddepth = MAT_DEPTH(dstType), cn = MAT_CN(srcType);
    const int rsize = rowKernel.rows() + rowKernel.cols() - 1;
    const int csize = columnKernel.rows() + columnKernel.cols() - 1;
    if (anchor.x < 0) anchor.x = rsize / 2;
    if (anchor.y < 0) anchor.y = csize / 2;
    const int rtype = getKernelType(
        rowKernel, rowKernel.rows() == 1 ? Point2_<int>(anchor.x, 0) : Point2_<int>(0, anchor.x));
    const int ctype =
        getKernelType(columnKernel, columnKernel.rows() == 1 ? Point2_<int>(anchor.y, 0)
                                                             : Point2_<int>(0, anchor.y));
    int bdepth = std::max(std::max(sdepth, ddepth), int(MAT_Tfloat));
    int bits = 0;
    Mat rk, ck;
    const int symmBits = KernelSymmetrical | KernelAsymmetrical;
    if (sdepth == MAT_Tuchar &&
        ((rtype == (KernelSymmetrical | KernelSmooth) &&
          ctype == (KernelSymmetrical | KernelSmooth) && ddepth == MAT_Tuchar) ||
         ((rtype & symmBits) && (ctype & symmBits) && (rtype & ctype & KernelInteger) &&
          ddepth == MAT_Tshort))) {
        // Fixed point: 8 fractional bits per stage for bytes, exact integers for 16-bit.
        bdepth = MAT_Tint;
        bits = ddepth == MAT_Tuchar ? 8 : 0;
        rk = kernelAs(rowKernel, MAT_Tint, double(1 << bits));
        ck = kernelAs(columnKernel, MAT_Tint, double(1 << bits));
        bits *= 2;
        delta *= double(1 << bits);
    } else {
        rk = kernelAs(rowKernel, bdepth);
        ck = kernelAs(columnKernel, bdepth);
    }
    const int bufType = MAKETYPE(bdepth, cn);
    Ptr<BaseRowFilter> rf = getLinearRowFilter(srcType, bufType, rk, anchor.x, rtype);
    Ptr<BaseColumnFilter> cf =
        getLinearColumnFilter(bufType, dstType, ck, anchor.y, ctype, delta, bits);
    if (rf.empty() || cf.empty()) return Ptr<FilterEngine>();
    return Ptr<FilterEngine>(new (std::nothrow)
                                 FilterEngine(Ptr<BaseFilter>(), rf, cf, srcType, dstType, bufType,
                                              rowBorderType, columnBorderType, borderValue));
}

namespace {

// Type word of a front end's destination, or -1 for a depth outside 1..5.
int frontEndType(const Mat& src, int ddepth) {
    if (ddepth < 0) ddepth = src.type();
    if (ddepth < MAT_Tuchar || ddepth > MAT_Tdouble) return -1;
    return MAKETYPE(ddepth, src.channels());
}

// Runs a built engine from src into dst, which is (re)created at src's size.
// Everything that can refuse has been checked before, so dst is only touched
// when it is going to be written; a dst that shares src's memory makes the
// engine read a copy.
void runFrontEnd(const Ptr<FilterEngine>& e, const Mat& src, Mat& dst, int dtype, int borderType) {
    if (e.empty()) return;
    tarvo::detail::SourceGuard in(src, dst);
    if (in.failed()) return;
    if (dst.create(src.rows(), src.cols(), dtype) < 0) return;
    e->apply(*in, dst, Rect_<int>(0, 0, -1, -1), Point2_<int>(0, 0),
             (borderType & BorderIsolatedBit) != 0);
}

bool frontEndArgs(const Mat& kernelLike, Point2_<int>& anchor, Size_<int> ksize, int borderType,
                  int& mode) {
    if (kernelLike.empty()) return false;
    anchor = normalizeAnchor(anchor, ksize);
    mode = borderType & ~BorderIsolatedBit;
    return anchor.x >= 0 && anchor.y >= 0 && anchor.x < ksize.width && anchor.y < ksize.height &&
           mode >= BorderFill && mode <= BorderMirrorNoEdge;
}

}  // namespace

void filter2D(const Mat& src, Mat& dst, int ddepth, const Mat& kernel, Point2_<int> anchor,
              double delta, int borderType) {
    if (src.empty() || kernel.empty()) return;
    const int dtype = frontEndType(src, ddepth);
    int mode;
    if (dtype < 0 || !frontEndArgs(kernel, anchor, kernel.size(), borderType, mode)) return;
    Ptr<FilterEngine> e =
        createLinearFilter(src.type1(), dtype, kernel, anchor, delta, mode, -1, Point4_<double>());
    if (e.empty()) return;
    tarvo::detail::SourceGuard in(src, dst);
    if (in.failed() || dst.create(src.rows(), src.cols(), dtype) < 0) return;
    // Large kernels may go through the spectrum; it decides and reports whether it ran.
    if (tarvo::detail::filter2DSpectrum(*in, dst, kernel, anchor, delta, mode)) return;
    e->apply(*in, dst, Rect_<int>(0, 0, -1, -1), Point2_<int>(0, 0),
             (borderType & BorderIsolatedBit) != 0);
}

void sepFilter2D(const Mat& src, Mat& dst, int ddepth, const Mat& rowKernel,
                 const Mat& columnKernel, Point2_<int> anchor, double delta, int borderType) {
    if (src.empty() || !isOneD(rowKernel) || !isOneD(columnKernel)) return;
    const int dtype = frontEndType(src, ddepth);
    const Size_<int> ks(rowKernel.rows() + rowKernel.cols() - 1,
                        columnKernel.rows() + columnKernel.cols() - 1);
    int mode;
    if (dtype < 0 || !frontEndArgs(rowKernel, anchor, ks, borderType, mode)) return;
    runFrontEnd(createSeparableLinearFilter(src.type1(), dtype, rowKernel, columnKernel, anchor,
                                            delta, mode, -1, Point4_<double>()),
                src, dst, dtype, borderType);
}

}  // namespace ip
}  // namespace tarvo
