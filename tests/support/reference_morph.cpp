// The binary window morphology as it stood with an image-sized temporary
// and early-exit window scans: the reference for the row-by-row version.
#include "support/reference_morph.h"

#include <cstring>
#include <vector>

namespace tarvo {
namespace test {

// dilate (any non-zero byte sets the window) or erode (every byte must be
// 255). The source is read as one byte per column, whatever its type.
void referenceBinaryMorph(bool dilation, const Mat& src, Mat& dst, int kernelWidth,
                          int kernelHeight) {
    if (src.empty() || kernelWidth < 0 || kernelHeight < 0) return;
    const int w = kernelWidth / 2, h = kernelHeight / 2;
    const int rows = src.rows(), cols = src.cols();

    // The source must not share the destination's pixels here.
    const Mat* in = &src;
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

}  // namespace test
}  // namespace tarvo
