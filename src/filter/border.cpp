// copyMakeBorder: pads an image with margins made by a border rule or a fill value.
//
// The margins of each row come through a table of source columns computed
// once; the rows above and below are copies of already finished rows of the
// destination (or of one prepared fill row), so every pixel is produced once.
#include <climits>
#include <cstring>
#include <vector>

#include "detail/aliasing.h"
#include "detail/checked.h"
#include "filter/integral_internal.h"
#include "tarvo/ip/integral.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace ip {
namespace {

// The fill value as raw elements of one pixel: channel k takes value[k % 4],
// rounded and saturated to the element type.
template <typename T>
void fillPixel(const Point4_<double>& value, int cn, unsigned char* out) {
    T* p = reinterpret_cast<T*>(out);
    for (int k = 0; k < cn; k++) p[k] = saturate_cast<T>(value[k & 3]);
}

void rawPixel(const Point4_<double>& value, int depth, int cn, unsigned char* out) {
    switch (depth) {
        case MAT_Tuchar:
            fillPixel<unsigned char>(value, cn, out);
            break;
        case MAT_Tshort:
            fillPixel<short>(value, cn, out);
            break;
        case MAT_Tint:
            fillPixel<int>(value, cn, out);
            break;
        case MAT_Tfloat:
            fillPixel<float>(value, cn, out);
            break;
        default:
            fillPixel<double>(value, cn, out);
            break;
    }
}

}  // namespace

void copyMakeBorder(const Mat& srcIn, Mat& dst, int top, int bottom, int left, int right,
                    int borderType, const Point4_<double>& value) {
    // The destination may own the source's pixels: read a copy then.
    tarvo::detail::SourceGuard guard(srcIn, dst);
    if (guard.failed()) return;
    const Mat& src = guard.get();
    if (!src.isValid() || src.rows() <= 0 || src.cols() <= 0) return;
    if (top < 0 || bottom < 0 || left < 0 || right < 0) return;
    const int mode = borderType & ~BorderIsolatedBit;
    if (mode < BorderFill || mode > BorderMirrorNoEdge) return;
    const long long outRows = (long long)src.rows() + top + bottom;
    const long long outCols = (long long)src.cols() + left + right;
    if (outRows > INT_MAX || outCols > INT_MAX) return;
    // Margins are work too: an output far larger than the source is refused.
    if (!tarvo::detail::outputAreaFits(src.cols(), src.rows(), outCols, outRows)) return;

    if (top == 0 && bottom == 0 && left == 0 && right == 0) {
        if (&src != &dst) dst = src;
        return;
    }

    // A destination that shares the source's rows would be destroyed by
    // create: keep a copy of the source alive.
    const bool alias = &src == &dst || (dst.isValid() && dst.data.ptr[0] == src.data.ptr[0]);
    Mat keep;
    if (alias) keep = src;
    const Mat& s = alias ? keep : src;
    const int rows = s.rows(), cols = s.cols();
    const int depth = s.type(), cn = s.channels();
    if (dst.create(int(outRows), int(outCols), s.type1()) < 0) return;

    const size_t esz = size_t(s.elemSize());
    const size_t rowBytes = size_t(cols) * esz;
    const size_t dstRowBytes = size_t(outCols) * esz;

    if (mode == BorderFill) {
        std::vector<unsigned char> fill(dstRowBytes);
        rawPixel(value, depth, cn, fill.data());
        for (size_t off = esz; off < dstRowBytes; off += esz)
            std::memcpy(&fill[off], fill.data(), esz);
        for (int y = 0; y < rows; y++) {
            unsigned char* d = dst.data.ptr[top + y];
            std::memcpy(d, fill.data(), size_t(left) * esz);
            std::memcpy(d + size_t(left) * esz, s.data.ptr[y], rowBytes);
            std::memcpy(d + size_t(left) * esz + rowBytes, fill.data(), size_t(right) * esz);
        }
        for (int y = 0; y < top; y++) std::memcpy(dst.data.ptr[y], fill.data(), dstRowBytes);
        for (int y = 0; y < bottom; y++)
            std::memcpy(dst.data.ptr[top + rows + y], fill.data(), dstRowBytes);
        return;
    }

    // Source columns of the left and right margins.
    std::vector<int> tab(size_t(left) + size_t(right));
    for (int j = 0; j < left; j++) tab[j] = detail::pyrBorderIndex(j - left, cols, mode);
    for (int j = 0; j < right; j++) tab[left + j] = detail::pyrBorderIndex(cols + j, cols, mode);

    for (int y = 0; y < rows; y++) {
        const unsigned char* sr = s.data.ptr[y];
        unsigned char* d = dst.data.ptr[top + y];
        std::memcpy(d + size_t(left) * esz, sr, rowBytes);
        for (int j = 0; j < left; j++) std::memcpy(d + size_t(j) * esz, sr + tab[j] * esz, esz);
        unsigned char* dr = d + size_t(left) * esz + rowBytes;
        for (int j = 0; j < right; j++)
            std::memcpy(dr + size_t(j) * esz, sr + tab[left + j] * esz, esz);
    }
    for (int y = 0; y < top; y++) {
        const int sy = detail::pyrBorderIndex(y - top, rows, mode);
        std::memcpy(dst.data.ptr[y], dst.data.ptr[top + sy], dstRowBytes);
    }
    for (int y = 0; y < bottom; y++) {
        const int sy = detail::pyrBorderIndex(rows + y, rows, mode);
        std::memcpy(dst.data.ptr[top + rows + y], dst.data.ptr[top + sy], dstRowBytes);
    }
}

}  // namespace ip
}  // namespace tarvo
