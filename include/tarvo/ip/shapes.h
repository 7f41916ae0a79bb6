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

namespace ip {

// One region found by ConnectedComponent::apply: its bounding box, the byte
// value of its first pixel in the scan, its pixel count and the linear index
// (y * cols + x) of the first pixel of its chain in the work image.
struct TARVO_EXPORTS ConnectInfo {
    int x, y, width, height;
    unsigned char value;
    int count;
    int head;
    // All zero.
    ConnectInfo();
};

// The record the labelling fills while it scans: inclusive box edges.
struct _tagConnectInfo {
    int left, top, right, bottom;
    unsigned char value;
    int count;
    int head;
};

// Eight-connected regions of the pixels of a one-channel byte image that
// differ from a background value. Each region is kept as a chain of linear
// pixel indices in an int work image (entry = index of the next pixel, -1 at
// the end), from which points, masks and boundaries are produced later. The
// object refers to the image last given to apply without owning it.
class TARVO_EXPORTS ConnectedComponent {
public:
    // Minimum box width, box height and pixel count of an accepted region.
    struct TARVO_EXPORTS FilterParams {
        int minWidth, minHeight, minCount;
        FilterParams(int minWidth = 1, int minHeight = 1, int minCount = 1);
    };

    ConnectedComponent(const FilterParams& params = FilterParams(1, 1, 1));

    // Labels image: every non-background pixel belongs to the foreground,
    // whatever its value. Regions are found scanning columns left to right,
    // rows top to bottom; the accepted ones are returned in that order, or by
    // descending count (ties in scan order) with sortByCount. eraseRejected
    // writes the background over rejected regions in image. Other image
    // types give an empty array and keep no image.
    Array<ConnectInfo, const ConnectInfo&> apply(Mat& image, unsigned char background,
                                                 bool eraseRejected, bool sortByCount);
    // Byte image of the region's box size: 255 with 0 at the region's pixels.
    void createImageFromConnect(const ConnectInfo& info, Mat& image);
    // Every pixel of the region as (x, y), in chain order from the head.
    void createPointArrayFromConnect(const ConnectInfo& info,
                                     Array<Point2_<int>, const Point2_<int>&>& points);
    // Outer boundary walk of the region on the image, starting and ending at
    // the head pixel (a lone pixel gives itself). Empty without an image.
    void createBoundaryPointsFromConnect(const ConnectInfo& info,
                                         Array<Point2_<int>, const Point2_<int>&>& points);
    // Writes value into the image at every pixel of the region.
    void eraseConnect(const ConnectInfo& info, unsigned char value);
    // The work image of the last apply.
    Mat& getWorkImage();

private:
    // Walks the chain of info, at most info.count pixels, inside the image.
    template <typename F>
    void walkChain(const ConnectInfo& info, F&& f) const;

    FilterParams m_params;
    Mat* m_image;
    Mat m_work;
};

// Four-connected fill from seed of the pixels whose every channel lies within
// tolerance of the seed's colour (ends included), painted with color
// (truncated to bytes) in image; mask becomes a byte image of image's size
// with 255 at the filled pixels. Byte images of 1 or 3 channels; other images
// or a seed outside give a zero mask and leave image untouched (an empty image
// leaves both untouched).
TARVO_EXPORTS void floodfill(Mat& image, Mat& mask, const Point2_<int>& seed, int tolerance,
                             Point4_<double> color);

// Magic-wand selection of a byte image: the four-connected region around seed
// whose three bytes at each pixel lie within tolerance of the three bytes at
// the seed. outer receives the region's outer border and holes its inner
// borders; flag is true when a selection was made. A seed outside or another
// depth gives flag false and leaves the outputs alone.
TARVO_EXPORTS void fuzzySelection(const Mat& image, const Point2_<int>& seed, int tolerance,
                                  Array<Point2_<int>, const Point2_<int>&>& outer,
                                  Matrix<Point2_<int>, const Point2_<int>&>& holes, bool& flag);

// As above, one polygon: the region's outer border; flag tells whether the
// seed lies inside the rendered polygon.
TARVO_EXPORTS void fuzzySelection(const Mat& image, const Point2_<int>& seed, int tolerance,
                                  Array<Point2_<int>, const Point2_<int>&>& polygon, bool& flag);

}  // namespace ip

// ---- distance transforms and thinning

namespace ip {

// Distance type codes of ip::distanceTransform.
enum DistanceType {
    DistUser = -1,  // caller weights: no form takes them, so the weights stay 0
    DistL1 = 1,     // city block
    DistL2 = 2,     // Euclidean: chamfer approximation, or exact with mask size 0
    DistC = 3,      // chessboard
};

// Exact Euclidean distance of every pixel to the nearest pixel of value 255,
// by separable parabola envelopes in float. src: one-channel bytes; dst is
// created as float of src's size. Images without 255 give about 3.16e8.
// Other depths, channel counts or an empty src leave dst unchanged.
TARVO_EXPORTS void distanceTransform(const Mat& src, Mat& dst);

// Distance of every pixel to the nearest zero pixel of a one-channel byte src,
// into a float dst created here. type: DistL1 and DistC use a 3 x 3 chamfer
// mask whatever maskSize says; DistL2 uses maskSize 3 or 5 (chamfer) or 0
// (exact). Unknown types run a chamfer pass with zero weights (distances 0,
// or 8192 on an image without zeros). Other sources leave dst unchanged.
TARVO_EXPORTS void distanceTransform(const Mat& src, Mat& dst, int type, int maskSize);

// As above, with labels (int, created here) naming each pixel's nearest zero
// pixel. DistL1, DistC and DistL2 run the 5 x 5 chamfer mask. labelType non-zero:
// every zero pixel gets its own label, 1, 2, ... in row-major order;
// labelType 0: each connected zero region's contours get (i & 255) + 1 for
// contour i. Other sources leave dst and labels unchanged.
TARVO_EXPORTS void distanceTransform(const Mat& src, Mat& dst, Mat& labels, int type, int maskSize,
                                     int labelType);

// Skeleton of a one-channel byte image by two-step iterative thinning: pixels
// of 255 are foreground, every other value background. dst (created like src)
// holds 255 on the skeleton and 0 elsewhere; dst may be src. Other sources
// leave dst unchanged.
TARVO_EXPORTS void thinning(const Mat& src, Mat& dst);

}  // namespace ip

// ---- image moments

// Raw moments m_pq (sums of x^p y^q I(x, y)), central moments mu_pq about the
// centroid and normalised moments nu_pq = mu_pq / m00^(1 + (p + q) / 2), up to
// order three, and 1 / sqrt(m00) (0 when m00 is 0).
struct TARVO_EXPORTS Moments {
    double m00, m10, m01, m20, m11, m02, m30, m21, m12, m03;
    double mu20, mu11, mu02, mu30, mu21, mu12, mu03;
    double nu20, nu11, nu02, nu30, nu21, nu12, nu03;
    double inv_sqrt_m00;

    // All zero.
    Moments();
    // From the ten raw moments: fills the central and normalised moments;
    // inv_sqrt_m00 is 0. An m00 within 2.22e-16 of 0 gives zero centroid terms.
    Moments(double m00, double m10, double m01, double m20, double m11, double m02, double m30,
            double m21, double m12, double m03);
    // Raw moment m_xOrder,yOrder; 0 for a negative order or an order sum above 3.
    double getSpatialMoment(int xOrder, int yOrder);
};

// Moments of a one-channel image (bytes, shorts, floats or doubles; with
// binary non-zero any depth, every non-zero pixel counting as 1). Fills the
// raw and central moments and inv_sqrt_m00; the nu fields stay 0. Several
// channels, int or another depth without binary, or an empty image: all zeros.
TARVO_EXPORTS void calcMoments(const Mat& image, Moments& moments, int binary);

// The seven Hu invariants of the normalised moments into hu[0..6]; a null hu
// does nothing.
TARVO_EXPORTS void huMoments(const Moments& moments, double* const hu);

}  // namespace tarvo
