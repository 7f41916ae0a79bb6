// Shapes: contours and the sequence store they live in, polygon and point-set
// geometry, connected components and flood fill, distance transforms and
// thinning, image moments.
#pragma once

#include "tarvo/array.h"
#include "tarvo/autobuffer.h"
#include "tarvo/export.h"
#include "tarvo/mat.h"
#include "tarvo/seq.h"

namespace tarvo {

// ---- contours

// A border as chain codes: the sequence of code bytes (0..7, counter-clockwise
// from "right" on the screen) and the point the chain starts at.
struct TARVO_EXPORTS Chain : public Sequence {
    Point2_<int> origin;
    Chain() : origin(0, 0) {}
};

// A border as points: the sequence of Point2_<int>, its bounding rectangle,
// a colour or index field (findContours stores the list index there) and
// three reserved words.
struct TARVO_EXPORTS IPContour : public Sequence {
    Rect_<int> rect;
    int color;
    int reserved[3];
    IPContour() : rect(), color(0), reserved{0, 0, 0} {}
};

// Reads the points of a Chain: the current code, the current point and the
// (dx, dy) step of each of the eight codes.
struct TARVO_EXPORTS ChainPtReader : public SeqReader {
    signed char code;
    Point2_<int> pt;
    signed char deltas[8][2];
    ChainPtReader();
};

// Bookkeeping of one traced border while scanning: flags, the next entry with
// the same border label, the parent entry, the border's sequence, its
// bounding rectangle and origin in scan coordinates, and whether it is a hole.
struct TARVO_EXPORTS ContourInfo {
    int flags;
    ContourInfo* next;
    ContourInfo* parent;
    Sequence* contour;
    Rect_<int> rect;
    Point2_<int> origin;
    int is_hole;
    ContourInfo()
        : flags(0),
          next(nullptr),
          parent(nullptr),
          contour(nullptr),
          rect(),
          origin(),
          is_hole(0) {}
};

// One chain point during dominant-point approximation: the point, the length
// k of its support region, its curvature value s and the next point of the
// surviving list.
struct TARVO_EXPORTS PtInfo {
    Point2_<int> pt;
    int k;
    int s;
    PtInfo* next;
    PtInfo() : pt(), k(0), s(0), next(nullptr) {}
};

// State of a border-following scan over a padded byte image (see
// ip::findContours). Border labels run 2..127, so the per-label table has 128 heads.
struct TARVO_EXPORTS _ContourScanner {
    MemStorage* storage1;  // raw chains
    MemStorage* storage2;  // results
    MemStorage* cinfo_storage;
    Set* cinfo_set;
    MemStoragePos initial_pos;
    MemStoragePos backup_pos;
    MemStoragePos backup_pos2;
    signed char* img0;  // first pixel of the image
    signed char* img;   // current row
    int img_step;
    Size_<int> img_size;  // image width and height, each less 1
    Point2_<int> offset;
    Point2_<int> pt;    // scan position, starting at (1, 1)
    Point2_<int> lnbd;  // last border met, starting at (0, 1)
    int nbd;            // next border label, starting at 2
    ContourInfo* l_cinfo;
    ContourInfo cinfo_temp;
    ContourInfo frame_info;
    Sequence frame;
    int approx_method1;
    int approx_method2;
    int mode;
    int subst_flag;
    int seq_type1, header_size1, elem_size1;
    int seq_type2, header_size2, elem_size2;
    ContourInfo* cinfo_table[128];
    _ContourScanner();
};

namespace ip {

// Retrieval modes and approximation methods of findContours.
enum ContourRetrieval { RetrExternal = 0, RetrList = 1, RetrCComp = 2, RetrTree = 3 };
enum ContourApprox {
    ChainCode = 0,            // one code byte per step, packed at the start of each point array
    ChainApproxNone = 1,      // every border pixel
    ChainApproxSimple = 2,    // only where the direction changes
    ChainApproxTC89L1 = 3,    // dominant points, L1 curvature
    ChainApproxTC89KCOS = 4,  // dominant points, k-cosine curvature
    ChainRefused = 5          // nothing is scanned; the list is emptied
};

// Borders of a one-channel byte image (non-zero pixels are the object) as
// point lists, by border following; pixels on the image edge count (the image
// is padded). mode: 0 outermost borders only, 1 all borders flat, 2 outer
// borders each followed by its holes, 3 (or more) the whole nesting tree,
// listed depth-first; other values below 2 act as 1. method: see
// ContourApprox; values outside 0..5 act as 5. Points are image coordinates
// plus offset. Int images are scanned as bytes (not thresholded); other
// depths, several channels or an empty image give an empty list. The image is
// never written.
TARVO_EXPORTS void findContours(const Mat& image,
                                Matrix<Point2_<int>, const Point2_<int>&>& contours, int mode,
                                int method, Point2_<int> offset = Point2_<int>());

}  // namespace ip

// ---- polygon and point-set geometry

// Bounding rectangle of a Sequence of int or float points (width and height
// are max - min + 1). With update 0 and a header at least sizeof(IPContour)
// the stored rectangle is returned; otherwise it is computed, and stored when
// update is set and the header has room. Null, a header without the sequence
// magic or another element kind give (0, 0, 0, 0).
TARVO_EXPORTS Rect_<int> boundingRect(void* points, int update);

namespace ip {

typedef Array<Point2_<int>, const Point2_<int>&> PointArray;
typedef Array<Point2_<float>, const Point2_<float>&> PointArrayF;

// Douglas-Peucker simplification of a polyline (closed: a polygon) with
// tolerance eps in pixels: every dropped point lies within eps of the result.
// dst is replaced (empty for an empty src). A non-finite or negative eps is used as given.
TARVO_EXPORTS void approxPolyDP(const PointArray& src, PointArray& dst, double eps, bool closed);
TARVO_EXPORTS void approxPolyDP(const PointArrayF& src, PointArrayF& dst, double eps, bool closed);
// The kernel: writes at most count points of src into dst and returns how many.
// stack is the caller's range stack (grown by half when full); a null or empty
// stack makes the kernel use its own. Null src or dst, or count <= 0, give 0.
TARVO_EXPORTS int approxPolyDP(const Point2_<int>* src, int count, Point2_<int>* dst, bool closed,
                               double eps, AutoBuffer<Range, 520>* stack);

// Convex hull of points (sorted in place by x), appended to hull, never
// cleared. clockwise set: from the leftmost point along the side of larger y;
// clear: the other way round, from the rightmost point along the side of larger
// y. Points sharing an x are ordered by a comparison of mixed coordinates.
// Empty points append nothing.
TARVO_EXPORTS void convexHull(PointArray& points, PointArray& hull, bool clockwise);
// Smallest-area rotated rectangle around points (sorted in place), by rotating
// calipers on their hull; angle in degrees. Empty input gives all zero.
TARVO_EXPORTS RotatedRect minAreaRect(PointArray& points);
// Bounding box (min x, min y, max x - min x, max y - min y): no +1. Empty gives zeros.
TARVO_EXPORTS Rect_<int> getBoundRect(const PointArray& points);
// Bounding box of the pixels of a one-channel byte image equal to value
// (width, height = extent + 1, at least 0; no match gives (cols-1, rows-1, ...)).
// Other images give zeros.
TARVO_EXPORTS Rect_<int> getBoundRect(const Mat& image, int value);
// Least-squares ellipse through the points: centre, full axes, angle 0 unless
// the width would exceed the height (then swapped and 90 + rotation). Fewer than
// five points, or a non-finite fit, give all zero.
TARVO_EXPORTS RotatedRect fitEllipse(const PointArray& points);
// Signed area of the open chain: half the sum over consecutive pairs of
// y_i x_(i-1) - x_i y_(i-1); the closing edge is not included. Empty gives 0.
TARVO_EXPORTS double contourArea(const PointArray& points);
// Pixels of the line p1 -> p2, p2 itself excluded (equal points give none); result resized.
TARVO_EXPORTS void bresenham(Point2_<int>& p1, Point2_<int>& p2, PointArray& result);
// The same into two arrays allocated with malloc that the caller frees with
// free(); count is the number of pixels. Both are null when allocation fails.
TARVO_EXPORTS void bresenham(int x0, int y0, int x1, int y1, int*& xs, int*& ys, int& count);
// Crossing of the infinite lines ab and cd; (0, 0) for parallel lines.
TARVO_EXPORTS Point2_<float> crossPointTwoLines(const Point2_<float>& a, const Point2_<float>& b,
                                                const Point2_<float>& c, const Point2_<float>& d);
TARVO_EXPORTS Point2_<float> crossPointTwoLines(const Point2_<int>& a, const Point2_<int>& b,
                                                const Point2_<int>& c, const Point2_<int>& d);
// Crossing of the segments ab and cd, ends included: true and result written,
// or false (parallel or no crossing) with result untouched.
TARVO_EXPORTS bool intersectPointTwoLines(const Point2_<float>& a, const Point2_<float>& b,
                                          const Point2_<float>& c, const Point2_<float>& d,
                                          Point2_<float>& result);
// Twice the area of the triangle (x1, y1), (x2, y2), (x3, y3), always >= 0.
TARVO_EXPORTS float triangleArea(float x1, float y1, float x2, float y2, float x3, float y3);

// A turning point of a one-dimensional signal: position, valley flag (0 for a
// maximum), the signal's value there and the width of its plateau.
struct TARVO_EXPORTS PeakInfo {
    int position;
    unsigned char valley;
    double value;
    int width;
    PeakInfo() : position(0), valley(0), value(0.0), width(0) {}
    // Mean absolute drop from the peak over the six samples position-5..position
    // that lie in the signal (integer division); 0 when position is outside it.
    int sharp(const Vec_<unsigned char>& signal) const;
};
typedef Array<PeakInfo, const PeakInfo&> PeakArray;

// Maxima and minima of a signal of any depth, appended to peaks; a plateau
// counts once at its middle with its width. Fewer than three samples find none.
TARVO_EXPORTS void detectPeaks(const Vec& signal, PeakArray& peaks);
// detectPeaks, then every entry of peaks that is a minimum (Max) or a maximum
// (Min) is removed, earlier entries included.
TARVO_EXPORTS void detectPeaksMax(const Vec& signal, PeakArray& peaks);
TARVO_EXPORTS void detectPeaksMin(const Vec& signal, PeakArray& peaks);
// Line fitting entry point without behaviour: returns false, writes nothing.
TARVO_EXPORTS bool fitLine(const Mat& points, int distType, double param, double reps, double aeps,
                           float* line);

}  // namespace ip

// ---- connected components, flood fill and selection

// ---- distance transforms and thinning

// ---- image moments

}  // namespace tarvo
