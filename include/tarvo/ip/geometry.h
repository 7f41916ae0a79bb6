// Geometric transformations of whole images. Resizing:
//
//   code 0  ResizeScaleXY   the simple scaler ScaleXY (box-style averaging for
//                           bytes, corner-to-corner bilinear for other depths)
//   code 1  ResizeLinear    bilinear, pixel centres aligned; an exact halving
//                           on both axes averages 2 x 2 blocks
//   code 2  ResizeCubic     bicubic, 4 taps per axis (A = -0.75)
//   code 3  ResizeArea      pixel-area averaging when shrinking, bilinear with
//                           area weights when enlarging on either axis
//   code 4  ResizeLanczos4  Lanczos window of 8 taps per axis
//
// Byte images run in fixed point (coefficients scaled by 2048, one rounding at
// the end); 16-bit and float images in float, double images in double. Every
// channel count is served. Results do not depend on the processor or the
// number of threads.
#pragma once

#include "tarvo/array.h"
#include "tarvo/export.h"
#include "tarvo/ip/core.h"
#include "tarvo/mat.h"

namespace tarvo {
namespace ip {

// Interpolation codes of ip::resize.
enum ResizeInterpolation {
    ResizeScaleXY = 0,
    ResizeLinear = 1,
    ResizeCubic = 2,
    ResizeArea = 3,
    ResizeLanczos4 = 4,
};

// Resizes src into dst (re-created at height x width with src's type word) by
// the interpolation code. src and dst may be the same matrix. An empty src,
// a non-positive or too large size (over 2^31 elements, or an area over 256
// times the source's plus 2^24 pixels), an unknown code, or
// an int (depth 3) image with codes 1 to 4 leave dst unchanged.
TARVO_EXPORTS void resize(const Mat& src, Mat& dst, int width, int height, int interpolation);

// Resizes by a factor: width = (int)(cols * scale + 0.5), height likewise, with
// code 0 (ResizeScaleXY). Sizes that round to 0, NaN or negative factors leave
// dst unchanged.
TARVO_EXPORTS void resize(const Mat& src, Mat& dst, float scale);

// Resizes image in place with code 0 (ResizeScaleXY). Bad sizes leave it unchanged.
TARVO_EXPORTS void resize(Mat& image, int width, int height);

// Resizes image in place by a factor (sizes as in the two-matrix form) with code 0.
TARVO_EXPORTS void resize(Mat& image, float scale);

}  // namespace ip

// The simple scaler behind resize code 0. Byte images: each output pixel
// averages one or two source rows (two when the output row covers at least
// two) and one or two columns (two when the column step carries over), by
// truncating shifts. Short, int, float and double images: bilinear fit of
// corners onto corners, truncated to the element type.
class TARVO_EXPORTS ScaleXY {
public:
    virtual ~ScaleXY();
    // Scales src into dst, which must already have the wanted size and src's
    // type word and must not share pixels with src. False (dst untouched) for
    // empty images, a type mismatch or shared storage.
    static bool process(const Mat& src, Mat& dst);
    // The byte routine of process (byte images of any channel count only).
    static bool scaleByte(const Mat& src, Mat& dst);
    // The corner-to-corner routine of process (short, int, float, double only).
    static bool scaleBilinear(const Mat& src, Mat& dst);
};

// ================================================================ transformation operators
//
// Photo-style geometry (crop, expand, resample, rotate, skew, thumbnail) over
// the element types uchar, short, int, float and double. All of them share
// one sampler with sixteen interpolators and six ways of reading outside the
// image. The free functions in tarvo::ip switch on the source depth (1 to 5)
// and leave dst untouched for any other depth or a refused input.
//
// Sampling at a real position (x, y): x0 = trunc(x), one lower when x is
// negative (so -1.0 gives -2); y0 likewise.
//   Nearest (1): trunc(x + 0.5), trunc(y + 0.5), read through the overflow rule.
//   4-tap kernels (3 to 5, 7 to 16) use columns x0-1 .. x0+2 and rows y0-1 ..
//   y0+2 with weights kernel(column - x), kernel(row - y); Lanczos (6) uses
//   x0-5 .. x0+6. When the whole support lies outside, colour-type overflow
//   (1 to 3 and unknown codes) gives the colour, and wrap / clamp / mirror
//   first move (x, y) into the image. Sums are float: per row, the columns
//   left to right; then the rows top to bottom, each row sum times its weight.
//   The result is clamped to 0..255 (for every element type) and truncated.
//   Bilinear (2 and every unknown code): near the border float weights on the
//   four neighbours, each channel truncated; with all four inside, the 8-bit
//   fixed-point form: weights from trunc(256 fx), trunc(256 fy), the sum of the
//   first channel's samples (truncated to int) taken modulo 256, and that one
//   value stored in every channel.
// Area sampling (resample mode 2 when shrinking): each pixel weighs the area
// its unit cell shares with the box; the sum runs over the corner pixels, then
// the edge rows and columns, then the interior, in float, and is divided by
// the box area and truncated (not clamped).

// Interpolators of the sampler; any other code behaves as InterpBilinear.
enum InterpolationMethod : int {
    InterpNearest = 1,
    InterpBilinear = 2,
    InterpBSpline = 3,
    InterpCubicSharp = 4,
    InterpCubicHalf = 5,
    InterpLanczos = 6,
    InterpBox = 7,
    InterpHermite = 8,
    InterpHermiteScaled = 9,
    InterpSinc = 10,
    InterpBlackman = 11,
    InterpBessel = 12,
    InterpGaussian = 13,
    InterpQuadratic = 14,
    InterpMitchell = 15,
    InterpCatmullRom = 16,
};

// What a read outside the image yields; any other code behaves as OverflowColor.
// The colour is the caller's replacement colour, or zero (the background and
// transparent colours of every operator are zero) when none is given.
enum OverflowMethod : int {
    OverflowColor = 1,
    OverflowBackground = 2,
    OverflowTransparent = 3,
    OverflowWrap = 4,    // modulo the size
    OverflowClamp = 5,   // nearest edge pixel
    OverflowMirror = 6,  // -c for c < 0, size - 1 - (c mod size) for c >= size
};

// Quarter turns: left (counter-clockwise), right (clockwise), half turn.
enum RotateType : int {
    RotateLeft90 = 0,
    RotateRight90 = 1,
    Rotate180 = 2,
};

// Root of the transformation operators over element type T (uchar, short,
// int, float, double). process runs from src into *dst, or over src itself
// when dst is null; work goes into a temporary that replaces the target at
// the end, so src and *dst may be the same matrix. False when refused: the
// target is then unchanged.
template <typename T>
class TARVO_EXPORTS ipTransformation : public ipBaseCore {
public:
    ipTransformation();
    ~ipTransformation() override;
    virtual bool process(Mat& src, Mat* dst) = 0;

protected:
    T m_background[4];   // zero; read by OverflowBackground without a colour
    T m_transparent[4];  // zero; read by OverflowTransparent without a colour
};

// Cuts a rectangle out. Mode 1: plain copy of the rectangle, which must lie
// inside the image with width and height of at least 1. Mode 2: the rectangle
// turned by `angle` degrees (counter-clockwise) about its centre, read without
// interpolation; all four turned corners must lie inside; angles strictly
// between 45 and 135 then turn the result by a further 90 degrees.
template <typename T>
class TARVO_EXPORTS ipCrop : public ipTransformation<T> {
public:
    ipCrop() : rect(), angle(0.0f), mode(1) {}
    bool process(Mat& src, Mat* dst) override;

    Rect_<int> rect;  // left, top, width, height in pixels
    float angle;      // degrees, mode 2
    int mode;         // 1 plain rectangle, 2 turned rectangle
};

// Pads the image with margins of the fill colour (components 0..2; a fourth
// channel gets 0). Negative margins are refused; so is a destination that
// holds pixels of another depth or size than src (an empty one is filled).
template <typename T>
class TARVO_EXPORTS ipExpand : public ipTransformation<T> {
public:
    ipExpand() : left(0), top(0), right(0), bottom(0), fill() {}
    bool process(Mat& src, Mat* dst) override;

    int left, top, right, bottom;  // margins in pixels, >= 0
    Point4_<unsigned char> fill;
};

// Resamples to newWidth x newHeight. Mode 1: `sampler` 1 nearest (running
// float sums of the scale), 2 bicubic B-spline, anything else bilinear on
// running float positions. Mode 2: the sampler above with `interpolation` and
// `overflow` at output centres; area sampling when shrinking on either axis
// unless disableAveraging. Sizes below 1 are refused; the same size copies.
template <typename T>
class TARVO_EXPORTS ipResample : public ipTransformation<T> {
public:
    ipResample()
        : newWidth(0),
          newHeight(0),
          sampler(0),
          interpolation(InterpCatmullRom),
          overflow(OverflowClamp),
          disableAveraging(false),
          mode(1) {}
    bool process(Mat& src, Mat* dst) override;

    int newWidth, newHeight;
    int sampler;        // mode 1
    int interpolation;  // mode 2, an InterpolationMethod code
    int overflow;       // mode 2, an OverflowMethod code
    bool disableAveraging;
    int mode;  // 1 simple, 2 full
};

// Turns the image. Mode 0: quarter turn by rotateType (codes outside 0..2 leave
// the target as it is and succeed). Mode 1: by `angle` degrees clockwise on a canvas
// grown to the turned corners plus two pixels, nearest source pixel clamped
// to the image. Mode 2: by `angle` degrees counter-clockwise on the box of the turned
// corners (extents floored), reads outside the image give 0; interpolation,
// overflow, color and the two flags are stored and do not change the result.
template <typename T>
class TARVO_EXPORTS ipRotate : public ipTransformation<T> {
public:
    ipRotate()
        : rotateType(RotateLeft90),
          angle(0.0f),
          interpolation(InterpBilinear),
          overflow(OverflowColor),
          color(nullptr),
          flag1(false),
          flag2(false),
          mode(0) {}
    bool process(Mat& src, Mat* dst) override;

    int rotateType;                       // mode 0, a RotateType code
    float angle;                          // modes 1 and 2, degrees
    int interpolation;                    // mode 2, stored
    int overflow;                         // mode 2, stored
    const Point4_<unsigned char>* color;  // mode 2, stored
    bool flag1, flag2;                    // mode 2, reserved
    int mode;
};

// Shears the image: output (x, y) reads source ((y - pivotY) slopeX + x,
// (x - pivotX) slopeY + y). With `interpolate` the read is bilinear with the
// background colour outside; without, the position is truncated and outside
// positions keep the source pixel. Same destination rules as ipExpand.
template <typename T>
class TARVO_EXPORTS ipSkew : public ipTransformation<T> {
public:
    ipSkew() : slopeX(0.0f), slopeY(0.0f), pivotX(0), pivotY(0), interpolate(false) {}
    bool process(Mat& src, Mat* dst) override;

    float slopeX, slopeY;
    int pivotX, pivotY;
    bool interpolate;
};

// Fits the image into newWidth x newHeight keeping its proportions (bilinear
// resample of mode 1 when it does not fit already, each side at least 1), then
// pads at the right and bottom with the fill colour. Empty sources and sizes
// below 1 are refused; same destination rules as ipExpand.
template <typename T>
class TARVO_EXPORTS ipThumbnail : public ipTransformation<T> {
public:
    ipThumbnail() : newWidth(0), newHeight(0), fill() {}
    bool process(Mat& src, Mat* dst) override;

    int newWidth, newHeight;
    Point4_<unsigned char> fill;
};

#define TARVO_TRANSFORM_EXTERN(T)              \
    extern template class ipTransformation<T>; \
    extern template class ipCrop<T>;           \
    extern template class ipExpand<T>;         \
    extern template class ipResample<T>;       \
    extern template class ipRotate<T>;         \
    extern template class ipSkew<T>;           \
    extern template class ipThumbnail<T>;
TARVO_TRANSFORM_EXTERN(unsigned char)
TARVO_TRANSFORM_EXTERN(short)
TARVO_TRANSFORM_EXTERN(int)
TARVO_TRANSFORM_EXTERN(float)
TARVO_TRANSFORM_EXTERN(double)
#undef TARVO_TRANSFORM_EXTERN

namespace ip {

// Plain crop of r (mode 1): r must lie inside src with a positive size, else
// dst is unchanged.
TARVO_EXPORTS void crop(const Mat& src, Mat& dst, const Rect_<int>& r);
// Plain crop of the rectangle from (left, top) to (right, bottom), exclusive.
TARVO_EXPORTS void crop(const Mat& src, Mat& dst, int left, int top, int right, int bottom);
// Crop of the width x height rectangle at (topX, topY) turned by angle degrees
// about its centre (mode 2); below 0.0002 radians a plain crop.
TARVO_EXPORTS void crop(const Mat& src, Mat& dst, int topX, int topY, int width, int height,
                        float angle);
// Crop of r that may reach outside src: the outside is filled with `fill`
// (channel k takes fill[k]). A width or height below 1 leaves dst unchanged.
TARVO_EXPORTS void cropEx(const Mat& src, Mat& dst, const Rect_<int>& r,
                          const Point4_<double>& fill);
// Pads src by the four margins (pixels, >= 0) with the fill colour.
TARVO_EXPORTS void expand(const Mat& src, Mat& dst, int left, int top, int right, int bottom,
                          Point4_<unsigned char> fill);
// Pads src at the right and bottom up to newWidth x newHeight (each at least
// src's size, else dst is unchanged).
TARVO_EXPORTS void expand(const Mat& src, Mat& dst, int newWidth, int newHeight,
                          Point4_<unsigned char> fill);
// Simple resample (mode 1) to newWidth x newHeight; mode is the sampler:
// 1 nearest, 2 B-spline, others bilinear.
TARVO_EXPORTS void resample(const Mat& src, Mat& dst, int newWidth, int newHeight, int mode);
// Full resample (mode 2) with an interpolator and an overflow rule; shrinking
// averages areas unless disableAveraging.
TARVO_EXPORTS void resample(const Mat& src, Mat& dst, int newWidth, int newHeight,
                            InterpolationMethod interpolation, OverflowMethod overflow,
                            bool disableAveraging);
// Turns by angle degrees clockwise onto a grown canvas (mode 1).
TARVO_EXPORTS void rotate(const Mat& src, Mat& dst, float angle);
// Turns by angle degrees counter-clockwise onto the box of the turned corners (mode 2);
// the other arguments are stored and have no influence.
TARVO_EXPORTS void rotate(const Mat& src, Mat& dst, float angle, InterpolationMethod interpolation,
                          OverflowMethod overflow, Point4_<unsigned char>* replacement, bool flag1,
                          bool flag2);
// Quarter turn (mode 0); an unknown type leaves dst unchanged.
TARVO_EXPORTS void rotate(const Mat& src, Mat& dst, RotateType type);
// Shear with the given slopes about (pivotX, pivotY); see ipSkew.
TARVO_EXPORTS void skew(const Mat& src, Mat& dst, float slopeX, float slopeY, int pivotX,
                        int pivotY, bool interpolate);
// Fits src into newWidth x newHeight and pads right and bottom; see ipThumbnail.
TARVO_EXPORTS void thumbnail(const Mat& src, Mat& dst, int newWidth, int newHeight,
                             Point4_<unsigned char> fill);

}  // namespace ip

// ================================================================ warps and remap
//
// Roles of the affine coefficients a0..a5 in warpAffine: for destination row i
// and column j the source position is sx = a0 i + a1 j + a2 (column) and
// sy = a3 i + a4 j + a5 (row): the row index multiplies a0 and a3. So
// (1, 0, 0, 0, 1, 0) transposes and (0, 1, 0, 1, 0, 0) copies. A usual forward
// matrix on (x, y), such as getRotationMatrix2D gives, goes in with its two
// rows exchanged and `invert` set.

namespace ip {

// Warps src into dst by the affine coefficients (a one-channel 2 x 3 or 3 x 3
// matrix of any depth, read as float; with `invert`, its inverse). dst must
// already have src's depth and channels (its size decides the output); it is
// zeroed first. Bytes: 10-bit bilinear with positions clamped to cols - 2 and
// rows - 2; other depths: float (double for int and double) bilinear on
// positions clamped to the image. Bad shapes or types leave dst unchanged.
TARVO_EXPORTS void warpAffine(const Mat& src, Mat& dst, const Mat& transform, bool invert);
// Perspective warp: destination (j, i) reads the source at the inverse
// transform's (X / W, Y / W) (a one-channel 2 x 3 or 3 x 3 matrix; 2 x 3 gets
// the row (0, 0, 1)). Only positions within 0 .. cols - 1 and 0 .. rows - 1
// (exclusive) are written; other pixels of dst keep their values. dst must
// have src's depth and channels, else it is unchanged.
TARVO_EXPORTS void warpPerspective(const Mat& src, Mat& dst, const Mat& transform);
// Writes 0 where warpPerspective would write and 255 elsewhere into a byte
// mask: a given one-channel byte mask keeps its size, anything else becomes a
// src-sized one. A bad transform leaves mask unchanged.
TARVO_EXPORTS void warpPerspectiveMask(const Mat& src, Mat& mask, const Mat& transform);

// Samples src at the positions of the maps into dst (map1's size, src's type).
// Maps: map1 two-channel short (type 10, integer x, y) with map2 empty or a
// one-channel short of fraction codes (type 2, y fraction * 32 + x fraction,
// in 1/32), in either order; or float maps, map1 two-channel (type 12) with
// map2 empty, or map1 and map2 one-channel float x and y (type 4).
// interpolation: 0 nearest, 1 bilinear (3 too), 2 bicubic, 4 Lanczos (8 taps);
// borderType BorderFill .. BorderMirrorNoEdge (BorderIsolatedBit ignored),
// BorderFill using borderValue[k % 4] for channel k. Empty, mistyped or unequal
// maps, int images and unknown codes leave dst unchanged.
TARVO_EXPORTS void remap(const Mat& src, Mat& dst, const Mat& map1, const Mat& map2,
                         int interpolation, int borderType, const Point4_<double>& borderValue);
// Converts maps between the forms remap takes: dstMapType 4 (two float maps),
// 12 (one two-channel float map) or 10 (two-channel short integer positions
// plus a fraction map of type 2, or with `nearest` rounded positions and no
// fraction map). Bad pairs or types leave both outputs unchanged.
TARVO_EXPORTS void convertMaps(const Mat& map1, const Mat& map2, Mat& dstMap1, Mat& dstMap2,
                               int dstMapType, bool nearest);

// The 2 x 3 double affine transform mapping src[i] to dst[i], least squares
// over all pairs. Fewer than 3 pairs or unequal counts give an empty Mat.
TARVO_EXPORTS Mat getAffineTransform(const Array<Point2_<float>>& src,
                                     const Array<Point2_<float>>& dst);
// The same for exactly three pairs given as arrays of three points (null: empty Mat).
TARVO_EXPORTS Mat getAffineTransform(const Point2_<float>* src, const Point2_<float>* dst);
// The 3 x 3 double perspective transform of the first four pairs (last
// element 1). Fewer than 4 pairs or unequal counts give an empty Mat.
TARVO_EXPORTS Mat getPerspectiveTransform(const Array<Point2_<float>>& src,
                                          const Array<Point2_<float>>& dst);
TARVO_EXPORTS Mat getPerspectiveTransform(const Array<Point2_<int>>& src,
                                          const Array<Point2_<int>>& dst);
// 2 x 3 double matrix turning by `angle` degrees (counter-clockwise on screen
// for positive angles) and scaling about `centre`, on (x, y) points.
TARVO_EXPORTS Mat getRotationMatrix2D(Point2_<float> centre, double angle, double scale);
// Makes transform a 3 x 3 float matrix (a + 1, b, e; c, d + 1, f; 0, 0, 1):
// the parameters are offsets from the identity.
TARVO_EXPORTS void initWarp(Mat& transform, float a, float b, float c, float d, float e, float f);
// Applies a one-channel 3 x 3 float or double transform to a point, dividing
// by the third coordinate; other matrices give (0, 0).
TARVO_EXPORTS Point2_<float> warpPoint(const Point2_<float>& p, const Mat& transform);
// The same for every point of src into dst (resized to src's count); integer
// results are truncated.
TARVO_EXPORTS void warpPoint(const Array<Point2_<int>>& src, Array<Point2_<int>>& dst,
                             const Mat& transform);
TARVO_EXPORTS void warpPoint(const Array<Point2_<float>>& src, Array<Point2_<float>>& dst,
                             const Mat& transform);
// Draws the outline of rect mapped by a 3 x 3 float or double transform
// (without dividing by the third coordinate) in white, one pixel wide. Other
// matrices draw nothing.
TARVO_EXPORTS void drawWarpRect(Mat& image, const Rect_<int>& rect, const Mat& transform);

}  // namespace ip

}  // namespace tarvo

// ---------------------------------------------------------------- triangle meshes
//
// A mesh is an edge list over numbered points; its triangles are derived from
// the edges. The warps carry pixels from a source mesh to a destination mesh,
// triangle by triangle, by barycentric coordinates. Point arrays passed to the
// warps carry no length: they must hold (largest point index + 1) points.

#include <cstdio>

#include "tarvo/array.h"
#include "tarvo/object.h"
#include "tarvo/types.h"

namespace tarvo {

// Three point indices of a mesh triangle.
struct Triangle {
    int index[3];
    Triangle() : index{0, 0, 0} {}
    Triangle(int a, int b, int c) : index{a, b, c} {}
    int& operator[](int k) { return index[k]; }
    int operator[](int k) const { return index[k]; }
};

// An edge list over numbered points and the triangles it closes. The model
// owns its edge array and its triangles. Copies are deep. Files are
// little-endian int32: edge file = count n, then n pairs; triangle list =
// count m, then m triples. Loaders refuse hostile files (negative counts or
// indices, counts beyond the data) with 0 and leave the model unchanged.
class TARVO_EXPORTS TriangleModel {
public:
    // One edge: two point indices, unordered.
    struct Edge {
        int a, b;
    };

    // A list of triangles. A list the model fills (its own) owns its
    // triangles; a list filled by adjacentTriangles borrows the model's and
    // only forgets them when cleared or destroyed. Copies are deep and own.
    class TARVO_EXPORTS TriangleList : public Array<Triangle*> {
    public:
        TriangleList() : m_borrowed(false) {}
        TriangleList(const TriangleList& other);
        TriangleList& operator=(const TriangleList& other);
        ~TriangleList() override;
        // 1 when a triangle with the indices a, b, c in any order is in the list, else 0.
        int findTriangle(int a, int b, int c) const;
        // Frees each triangle (an owning list) or forgets them (a borrowing
        // one), then empties the list, which then owns what is added next.
        void removeAllTriangle();
        // True while the list holds triangles of a model (filled by adjacentTriangles).
        bool isBorrowed() const { return m_borrowed; }

    private:
        friend class TriangleModel;
        bool m_borrowed;
    };

    TriangleModel();
    TriangleModel(const TriangleModel& other);
    TriangleModel& operator=(const TriangleModel& other);
    virtual ~TriangleModel();

    // Frees the edge array and allocates edgeCount zeroed edges (none for 0).
    // Returns 1, or 0 (model unchanged) for a negative count or when memory runs out.
    int create(int edgeCount);
    // Frees the edges and every triangle.
    void release();
    // Rebuilds the triangle list from the edges: every three points joined
    // pairwise, as (lowest point, then its other two in the order their edges
    // come), sorted by lowest point. Self-edges and negative indices make none.
    void generateTriangles();
    // Clears out, then appends every triangle of the model that has the
    // point; out borrows them (valid while the model's list is unchanged).
    // A null out or the model's own list is refused.
    void adjacentTriangles(int point, TriangleList* out);

    // Writes the edge file; 1, or 0 for a null file or a failed write.
    int Save(FILE* file) const;
    // Reads an edge file and generates the triangles; 1, or 0 (model unchanged)
    // on a short, negative or hostile count or a negative index.
    int load(FILE* file);
    // Writes the triangle list file; 1, or 0 for a null file or a failed write.
    int saveTriangleList(FILE* file) const;
    // Reads a triangle list file, appends its triangles and drops the edges
    // (count 0); 1, or 0 (model unchanged) on a short or hostile file.
    int loadTriangleList(FILE* file);
    int loadTriangleList(XFile* file);

    // The owned edge array (null when there is none) and its length.
    Edge* edges;
    int edgeCount;
    // The model's triangles, owned.
    TriangleList triangleList;

protected:
    // 1 when a and b (either order) form an edge, else 0.
    int findEdge(int a, int b) const;

private:
    int adoptEdges(Edge* edges, int count);
};

namespace ip {

// Barycentric coordinates a, b, c of (x, y) in the triangle whose corners are
// points[triangle->index[k]]; c = 1 - a - b. A degenerate triangle gives
// non-finite values. Any null pointer or a negative index: nothing is written.
TARVO_EXPORTS void computeCoefficients(const Point2_<float>* points, const Triangle* triangle,
                                       float x, float y, float* a, float* b, float* c);

// Draws dstTriangle's pixels of dst from the matching places of srcTriangle
// in src (bilinear, truncated; the x fraction weights the row below, the y
// fraction the next column). Three-channel byte images only; a dst not of
// src's size and type is re-created zeroed. Fewer than 3 corners, another
// type or a zero-area triangle: nothing drawn.
TARVO_EXPORTS void warpTriangle(const Mat& src, Mat& dst, const Array<Point2_<float>>& srcTriangle,
                                const Array<Point2_<float>>& dstTriangle);

// Re-creates dst like src (byte, any channel count), zeroed, and fills each
// triangle of model in dstPoints' places from the same triangle in srcPoints'
// places (bilinear); later triangles overwrite earlier ones. bounds gets the
// box (x, y, right - x, bottom - y) of the written pixels, or
// (cols - 1, rows - 1, 2 - cols, 2 - rows) when none is. Null pointers or a
// non-byte src: dst and bounds unchanged.
TARVO_EXPORTS void warpMesh(const Mat& src, Mat& dst, Rect_<int>& bounds,
                            const Point2_<float>* srcPoints, const Point2_<float>* dstPoints,
                            const TriangleModel* model);

// As warpMesh, with sub-areas from triangleArea, into a dst that already has
// src's size and type as it stands (otherwise created zeroed); pixels whose
// source falls outside keep their value. bounds may be null.
TARVO_EXPORTS void warping(const Mat& src, Mat& dst, Rect_<int>* bounds, Point2_<float>* srcPoints,
                           Point2_<float>* dstPoints, TriangleModel* model);

}  // namespace ip
}  // namespace tarvo
