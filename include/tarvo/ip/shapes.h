// Shapes: contours and the sequence store they live in, polygon and point-set
// geometry, connected components and flood fill, distance transforms and
// thinning, image moments.
#pragma once

#include "tarvo/array.h"
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

// ---- connected components, flood fill and selection

// ---- distance transforms and thinning

// ---- image moments

}  // namespace tarvo
