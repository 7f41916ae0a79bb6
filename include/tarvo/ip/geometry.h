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

#include "tarvo/export.h"
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
// a non-positive or too large size (over 2^31 elements), an unknown code, or
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
