// The simple binary morphology with integer window sizes: a vertical pass,
// then a horizontal pass into the destination. Pixels closer to the edge
// than half a window are not computed by the pass that would need them,
// which leaves a band along the edges.
#include <cstdint>
#include <cstring>
#include <vector>

#include "detail/aliasing.h"
#include "detail/parallel_rows.h"
#include "tarvo/ip/morphology.h"

namespace tarvo {
namespace ip {

namespace {

// dilate (any non-zero byte sets the window) or erode (every byte must be
// 255). The source is read as one byte per column, whatever its type.
//
// Row by row, without an image-sized temporary: the vertical pass of a row
// goes into a row buffer, the horizontal pass from there into the
// destination. Rows closer to the edge than h have no vertical result; their
// buffer is the destination row as it stood (zero, unless an erosion reuses
// an existing destination), so the horizontal pass of those rows sees what
// it always saw. Each output row depends only on the source and on its own
// previous contents, so stripes of rows run in parallel.
//
// For the 0/255 rows of the vertical pass, "any byte non-zero" is "maximum
// non-zero" and "every byte 255" is "minimum 255"; both hold for any bytes,
// which keeps the reused band rows exact too. Minimum, maximum, AND and OR
// of byte rows are plain loops the compiler turns into vector code.
void binaryRow(bool dilation, const Mat& in, unsigned char* d, unsigned char* v, int y, int w,
               int h, int rows, int cols) {
    if (y >= h && y < rows - h) {
        std::memcpy(v, in.data.ptr[y - h], size_t(cols));
        for (int k = y - h + 1; k <= y + h; k++) {
            const unsigned char* s = in.data.ptr[k];
            if (dilation)
                for (int x = 0; x < cols; x++) v[x] |= s[x];
            else
                for (int x = 0; x < cols; x++) v[x] &= s[x];
        }
        if (dilation)
            for (int x = 0; x < cols; x++) v[x] = v[x] ? 255 : 0;
        else
            for (int x = 0; x < cols; x++) v[x] = v[x] == 255 ? 255 : 0;
    } else {
        std::memcpy(v, d, size_t(cols));
    }
    if (cols - w <= w) return;
    const int n = cols - 2 * w;  // outputs x = w .. cols - w - 1
    unsigned char* o = d + w;
    std::memcpy(o, v, size_t(n));
    for (int i = 1; i <= 2 * w; i++) {
        const unsigned char* t = v + i;
        if (dilation)
            for (int x = 0; x < n; x++) o[x] = o[x] > t[x] ? o[x] : t[x];
        else
            for (int x = 0; x < n; x++) o[x] = o[x] < t[x] ? o[x] : t[x];
    }
    if (dilation)
        for (int x = 0; x < n; x++) o[x] = o[x] ? 255 : 0;
    else
        for (int x = 0; x < n; x++) o[x] = o[x] == 255 ? 255 : 0;
}

void binaryMorph(bool dilation, const Mat& src, Mat& dst, int kernelWidth, int kernelHeight) {
    if (src.empty() || kernelWidth < 0 || kernelHeight < 0) return;
    const int w = kernelWidth / 2, h = kernelHeight / 2;
    const int rows = src.rows(), cols = src.cols();

    tarvo::detail::SourceGuard guard(src, dst);
    if (guard.failed()) return;
    const Mat* in = &guard.get();
    const int created = dst.create(rows, cols, MAT_Tuchar);
    if (created < 0) return;
    // Dilation clears the whole destination; erosion keeps the band of a
    // destination it could reuse, and a newly allocated one starts at 0.
    const bool clear = dilation || created == 1;
    tarvo::detail::parallelRows(rows, double(rows) * cols * (1 + w + h), [&](int y0, int y1) {
        std::vector<unsigned char> buf((size_t)cols);
        for (int y = y0; y < y1; y++) {
            unsigned char* d = dst.ptr<unsigned char>(y);
            if (clear) std::memset(d, 0, size_t(cols));
            binaryRow(dilation, *in, d, buf.data(), y, w, h, rows, cols);
        }
    });
}

void inPlace(void (*f)(const Mat&, Mat&, int, int), Mat& image, int kw, int kh) {
    if (image.empty()) return;
    const Mat copy(image);
    if (copy.empty()) return;
    f(copy, image, kw, kh);
}

}  // namespace

void dilate(const Mat& src, Mat& dst, int kernelWidth, int kernelHeight) {
    binaryMorph(true, src, dst, kernelWidth, kernelHeight);
}

void erode(const Mat& src, Mat& dst, int kernelWidth, int kernelHeight) {
    binaryMorph(false, src, dst, kernelWidth, kernelHeight);
}

void opening(const Mat& src, Mat& dst, int kernelWidth, int kernelHeight) {
    Mat tmp;
    erode(src, tmp, kernelWidth, kernelHeight);
    if (tmp.empty()) return;
    dilate(tmp, dst, kernelWidth, kernelHeight);
}

void closing(const Mat& src, Mat& dst, int kernelWidth, int kernelHeight) {
    Mat tmp;
    dilate(src, tmp, kernelWidth, kernelHeight);
    if (tmp.empty()) return;
    erode(tmp, dst, kernelWidth, kernelHeight);
}

void dilate(Mat& image, int kernelWidth, int kernelHeight) {
    void (*f)(const Mat&, Mat&, int, int) = dilate;
    inPlace(f, image, kernelWidth, kernelHeight);
}

void erode(Mat& image, int kernelWidth, int kernelHeight) {
    void (*f)(const Mat&, Mat&, int, int) = erode;
    inPlace(f, image, kernelWidth, kernelHeight);
}

void opening(Mat& image, int kernelWidth, int kernelHeight) {
    void (*f)(const Mat&, Mat&, int, int) = opening;
    inPlace(f, image, kernelWidth, kernelHeight);
}

void closing(Mat& image, int kernelWidth, int kernelHeight) {
    void (*f)(const Mat&, Mat&, int, int) = closing;
    inPlace(f, image, kernelWidth, kernelHeight);
}

}  // namespace ip
}  // namespace tarvo
