// The simple binary morphology with integer window sizes: a vertical pass
// into a temporary, then a horizontal pass into the destination. Pixels
// closer to the edge than half a window are not computed by the pass that
// would need them, which leaves a band along the edges.
#include <cstdint>
#include <cstring>
#include <vector>

#include "detail/aliasing.h"
#include "tarvo/ip/morphology.h"

namespace tarvo {
namespace ip {

namespace {

// dilate (any non-zero byte sets the window) or erode (every byte must be
// 255). The source is read as one byte per column, whatever its type.
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
    if (dilation || created == 1) dst.zero();
    Mat tmp(dst);
    if (tmp.empty()) return;

    // Vertical pass: column x of rows y - h .. y + h.
    std::vector<unsigned char> acc(size_t(cols), 0);
    for (int y = h; y < rows - h; y++) {
        unsigned char* t = tmp.ptr<unsigned char>(y);
        if (dilation) {
            std::memset(acc.data(), 0, acc.size());
            for (int k = y - h; k <= y + h; k++) {
                const unsigned char* s = in->data.ptr[k];
                for (int x = 0; x < cols; x++) acc[size_t(x)] |= s[x];
            }
            for (int x = 0; x < cols; x++) t[x] = acc[size_t(x)] ? 255 : 0;
        } else {
            std::memset(acc.data(), 1, acc.size());
            for (int k = y - h; k <= y + h; k++) {
                const unsigned char* s = in->data.ptr[k];
                for (int x = 0; x < cols; x++) acc[size_t(x)] &= s[x] == 255 ? 1 : 0;
            }
            for (int x = 0; x < cols; x++) t[x] = acc[size_t(x)] ? 255 : 0;
        }
    }

    // Horizontal pass: row y of columns x - w .. x + w, for every row.
    for (int y = 0; y < rows; y++) {
        const unsigned char* t = tmp.ptr<unsigned char>(y);
        unsigned char* d = dst.ptr<unsigned char>(y);
        for (int x = w; x < cols - w; x++) {
            bool set = !dilation;
            for (int i = x - w; i <= x + w; i++) {
                if (dilation && t[i] != 0) {
                    set = true;
                    break;
                }
                if (!dilation && t[i] != 255) {
                    set = false;
                    break;
                }
            }
            d[x] = set ? 255 : 0;
        }
    }
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
