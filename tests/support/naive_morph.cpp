#include "support/naive_morph.h"

#include "support/naive_filter.h"
#include "support/test_util.h"

namespace tarvo {
namespace test {

namespace {

void store(Mat& m, int y, int i, double v) {
    unsigned char* row = m.data.ptr[y];
    switch (m.type()) {
        case MAT_Tuchar:
            row[i] = (unsigned char)v;
            break;
        case MAT_Tshort:
            reinterpret_cast<short*>(row)[i] = (short)(v >= 32768 ? v - 65536 : v);
            break;
        case MAT_Tint:
            reinterpret_cast<int*>(row)[i] = (int)v;
            break;
        case MAT_Tfloat:
            reinterpret_cast<float*>(row)[i] = (float)v;
            break;
        default:
            reinterpret_cast<double*>(row)[i] = v;
            break;
    }
}

}  // namespace

Mat naiveMorph(const Mat& src, const Mat& element, int ax, int ay, bool erode, int mode,
               double fill, bool unsigned16) {
    const int rows = src.rows(), cols = src.cols(), cn = src.channels();
    const bool u16 = unsigned16 && src.type() == MAT_Tshort;
    Mat out(rows, cols, src.type1());
    for (int y = 0; y < rows; y++)
        for (int x = 0; x < cols; x++)
            for (int c = 0; c < cn; c++) {
                bool any = false;
                double best = 0;
                for (int j = 0; j < element.rows(); j++)
                    for (int i = 0; i < element.cols(); i++) {
                        if (element.value(j, i, 0) == 0) continue;
                        const int sy = sampleIndex(y + j - ay, rows, mode);
                        const int sx = sampleIndex(x + i - ax, cols, mode);
                        double v = sy >= 0 && sx >= 0 ? at(src, sy, sx, c) : fill;
                        if (u16 && v < 0) v += 65536;
                        if (!any || (erode ? v < best : v > best)) best = v;
                        any = true;
                    }
                store(out, y, x * cn + c, best);
            }
    return out;
}

}  // namespace test
}  // namespace tarvo
