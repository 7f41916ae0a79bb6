// Internal pieces of the distance transforms: the parallel bodies of the exact
// Euclidean method and the byte city-block pass, kept here so tests can reach
// them directly.
#pragma once

#include "tarvo/export.h"
#include "tarvo/mat.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace ip {
namespace detail {

// Column pass of the exact method: for each column of the range, the squared
// vertical distance to the nearest zero pixel of src, written to dst as
// float (sqtab[d]; entries from rows on hold the "no feature" value).
// Columns are handled in blocks that walk rows, so memory is read row-wise.
// sqtab must be the table distanceExact builds (i * i below rows, the
// no-feature value from rows on): the vector path forms those entries itself.
class DTColumnInvoker : public ParallelLoopBody {
public:
    DTColumnInvoker(const Mat* src, Mat* dst, const float* sqtab)
        : m_src(src), m_dst(dst), m_sqtab(sqtab) {}
    void operator()(const Range& range) const override;

private:
    const Mat* m_src;
    Mat* m_dst;
    const float* m_sqtab;
};

// Row pass of the exact method: per row, the lower envelope of the parabolas
// f[q] + (x - q)^2 over the column pass's values, giving sqrt of the minimum.
class DTRowInvoker : public ParallelLoopBody {
public:
    DTRowInvoker(Mat* dst, const float* sqr, const float* inv)
        : m_dst(dst), m_sqr(sqr), m_inv(inv) {}
    void operator()(const Range& range) const override;

private:
    Mat* m_dst;
    const float* m_sqr;
    const float* m_inv;
};

// Byte city-block distance to the nearest zero pixel of a one-channel byte
// src into a byte dst of its size, with additions that wrap modulo 256
// (255 + 1 gives 0). Not reachable from the public forms, whose results are
// float. Returns false (dst untouched) for other sources.
TARVO_EXPORTS bool distanceL1Byte(const Mat& src, Mat& dst);

// Exact Euclidean distance to the nearest zero pixel of a one-channel byte
// src into dst (float, already of src's size): the column pass, then the row
// pass, each through parallel_for_.
void distanceExact(const Mat& src, Mat& dst);

// Draws the contours of the zero regions of src into labels (int, zeroed, of
// src's size): contour i gets (i & 255) + 1. border is the padding used for
// the contour search.
void labelZeroRegions(const Mat& src, Mat& labels, int border);

// Chamfer weights in 16.16 fixed point for a type code and mask size, as the
// selection leaves them (zero for unknown codes). w[0] adjacent, w[1]
// diagonal, w[2] knight move.
TARVO_EXPORTS void chamferWeights(int type, int maskSize, int w[3]);

}  // namespace detail
}  // namespace ip
}  // namespace tarvo
