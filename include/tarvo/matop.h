// MatOp, the static matrix operations (products, rectangle copies, channel
// split and merge), and the free helpers on matrices: channel mixing, raw
// fill values, polar coordinates, line points and polygon masks.
#pragma once

#include "tarvo/export.h"
#include "tarvo/mat.h"
#include "tarvo/types.h"

namespace tarvo {

class TARVO_BASE_EXPORTS MatOp {
public:
    // dst = a * b (one-channel matrices, any depth, summed in double). The
    // result is float when both factors are float, else double. Mismatched
    // shapes or null pointers leave dst unchanged. dst may be a or b.
    static void mul(Mat* dst, const Mat* a, const Mat* b);
    // dst = a * x; x needs a->cols() elements. dst keeps its storage when it
    // already holds rows float or double elements; unchanged on bad input.
    static void mul(Vec* dst, const Mat* a, const Vec* x);
    // d = alpha op(a) op(b) + beta op(c). flags: 1 transposes a, 2 b, 4 c;
    // c is not read when null or beta is 0. Unchanged d on bad input.
    static void gemm(const Mat* a, const Mat* b, double alpha, const Mat* c, double beta, Mat* d,
                     int flags);
    // Sum of products over the shorter length, in double (0 on null input).
    static double dotProduct(const Vec* a, const Vec* b);
    // Sum of products of all elements of two matrices of equal shape and
    // channels, in double; 0 on a mismatch.
    static double scalarProduct(const Mat* a, const Mat* b);
    // dst = aᵀ a.
    static void trAA(Mat* dst, const Mat* a);
    // dst = a bᵀ.
    static void ABTrA(Mat* dst, const Mat* a, const Mat* b);

    // Copies the part of src inside rect to dst with its top-left corner at
    // pt. Both must be allocated with the same type word; the copy is
    // clipped to both matrices. dst is never re-created; on a type mismatch
    // or empty matrices nothing happens. src and dst may be the same matrix.
    static void copyMat(Mat& dst, const Mat& src, const Rect_<int>& rect, const Point2_<int>& pt);
    // planes[k] = channel k of src as a one-channel matrix of src's depth;
    // planes must hold src.channels() matrices. Nothing happens on an empty
    // source or null planes.
    static void split(const Mat& src, Mat* planes);
    // dst = the channels of planes[0..n) side by side (a plane may have
    // several channels). All planes must share rows, cols and depth, with at
    // most 64 channels in total; otherwise dst is unchanged.
    static void merge(const Mat* planes, unsigned n, Mat& dst);
};

// Copies channels between matrices: fromTo holds npairs pairs (from, to) of
// channel indices counted across all of src (then across all of dst). A
// negative `from` writes zeros. Every dst must already be allocated with the
// rows, cols and depth of every src; on any mismatch or out-of-range index
// nothing is written.
TARVO_BASE_EXPORTS void mixChannels(const Mat* src, unsigned nsrc, Mat* dst, unsigned ndst,
                                    const int* fromTo, unsigned npairs);

// Writes `count` elements of the depth of `type` into buf, element i taking
// s[i % cn] (cn the channels of `type`, 1..4) rounded and saturated. A bad
// type, null buf or count < 1 writes nothing.
TARVO_BASE_EXPORTS void scalarToRawData(const Point4_<double>& s, void* buf, int type, int count);

// Per element: magnitude = sqrt(x^2 + y^2), angle = atan2(y, x) in [0, 2pi)
// radians, or [0, 360) degrees when angleInDegrees. x and y are float or
// double of equal shape and type; outputs are created with that type. Bad
// input leaves both outputs unchanged. Float input is computed in float.
TARVO_BASE_EXPORTS void cartToPolar(const Mat& x, const Mat& y, Mat& magnitude, Mat& angle,
                                    bool angleInDegrees = false);

// The Bresenham points from (x1, y1) to (x2, y2), both ends included:
// n = max(|dx|, |dy|) + 1. xs and ys are allocated with new[] and belong to
// the caller (delete[]); lines of more than 2^26 points give n = 0 and null
// arrays.
TARVO_BASE_EXPORTS void linePoints(int x1, int y1, int x2, int y2, int*& xs, int*& ys, int& n);

// dst = a zeroed one-channel byte image of src's size with the polygon
// pts[0..n) (closed, even-odd rule, vertices on pixel centres) filled with
// `value` (saturated to 0..255), its outline included. rect receives the
// polygon's bounding box clipped to the image (zero when outside). An empty
// src, null pts or n < 1 gives an empty dst and a zero rect.
TARVO_BASE_EXPORTS void selectionPolygonFill(const Mat& src, Mat& dst, Rect_<int>& rect,
                                             const Point2_<int>* pts, int n, int value);

// Copies a size[0] x size[1] block of doubles between two row tables:
// dst[r][c] = src[r][c]. When `previous` is non-null it first receives the
// values of dst that are overwritten (an undo copy). Null tables or size, or
// non-positive sizes, copy nothing. The three tables must not overlap.
TARVO_BASE_EXPORTS void iMemCopy(double** dst, double** src, double** previous, int* size);

// Debug image hook. This build keeps nothing: addDebug returns at once.
class TARVO_BASE_EXPORTS IPDebug {
public:
    static void addDebug(const Mat& image, const char* label);
};

}  // namespace tarvo
