// Mat, the image and matrix of the whole library, and Vec, the dense vector,
// with their typed forms Mat_<T> and Vec_<T>.
//
// A Mat is a table of row pointers plus a 32-bit type word: bits 0..2 hold the
// depth (1 byte, 2 short, 3 int, 4 float, 5 double), bits 3..8 the channels
// less one. Pixels are interleaved by channel; a colour pixel is R, G, B in
// memory order. Every pixel loop walks the row table: element (r, c, k) is at
// data.ptr[r] + (c * channels + k) * step.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "tarvo/export.h"
#include "tarvo/object.h"
#include "tarvo/types.h"

namespace tarvo {

class Vec;

// How a floating value becomes an integer element in Mat::convert/convertTo.
enum CASTTYPE {
    CT_Cast = 0,   // truncate towards zero, then saturate (the library's default rule)
    CT_Round = 1,  // round to nearest with ties upwards (floor(x + 0.5)), then saturate
};

// Channel layouts of colour conversions. The library stores colour as R, G, B
// in memory order (BMP_RGB); BMP_BGR reads the bytes in the opposite order.
enum enBMPFormatType {
    BMP_BGR = 1,
    BMP_RGB = 2,
};

// Flags of Mat::fromImage.
//   IMG_GRAY      (0): grey pictures stay one channel; colour pictures become 3-channel RGB.
//   IMG_COLOR     (1): always 3-channel RGB bytes (grey is replicated).
//   IMG_GRAYSCALE (2): always one channel (colour is converted with ColorSpace::RGBtoGray).
//   IMG_UNCHANGED (4): keep the file's channels, including alpha (4 channels RGBA).
enum enImageReadFlags {
    IMG_GRAY = 0,
    IMG_COLOR = 1,
    IMG_GRAYSCALE = 2,
    IMG_UNCHANGED = 4,
};

// Row-pointer table viewed at each element type.
union MatData {
    unsigned char** ptr;
    char** c;
    short** s;
    int** i;
    float** fl;
    double** db;
};

// Element pointer viewed at each element type.
union VecData {
    unsigned char* ptr;
    short* s;
    int* i;
    float* fl;
    double* db;
};

// Largest element count of a matrix (rows * cols * channels); larger requests
// are refused. One less than 2^31, so rows * cols and every element index fit in int.
constexpr long long MAT_MAX_ELEMENTS = (1LL << 31) - 1;
// Largest row of a matrix in bytes (cols * channels * element size); matrices
// with longer rows are refused, so rowByteSize() and row offsets fit in int.
constexpr long long MAT_MAX_ROW_BYTES = (1LL << 31) - 1;

class TARVO_BASE_EXPORTS Mat : public Object {
public:
    // Row table; null for an empty matrix.
    MatData data;
    int m_type;  // type word (depth | (channels - 1) << 3); 1 for an empty matrix
    int m_rows;  // rows
    int m_cols;  // columns
    int m_step;  // bytes of one element of the depth (one channel), not a row pitch
    int m_mode;  // 0 owns table and pixels, 1 foreign pixels with the table behind them, 2 foreign
                 // pixels with an own table
    int m_refered;  // non-zero when the pixels belong to another matrix

    // An empty byte matrix.
    Mat();
    // Allocates rows x cols of the whole type word `type` (uninitialised pixels).
    // Non-positive or absurd sizes and invalid type words give an empty matrix.
    Mat(int rows, int cols, int type);
    Mat(const Size_<int>& size, int type);
    // Allocates and fills every channel k with fill[k] (k < 4; further channels get fill[3]).
    Mat(int rows, int cols, int type, const Point4_<double>& fill);
    // Wraps foreign pixels without copying (see create(void*, ...)).
    Mat(void* pixels, int rows, int cols, int type, bool ownTable);
    // Deep copy.
    Mat(const Mat& other);
    // Takes the other matrix's memory; the other becomes empty.
    Mat(Mat&& other) noexcept;
    // Deep copy of the part of `other` inside rect (clipped to the matrix).
    Mat(const Mat& other, const Rect_<int>& rect);
    // Rows [range.start, range.end) of `other`: copied when copyData is true,
    // otherwise a reference to the parent's rows (refered set).
    Mat(const Mat& other, const Range& rowRange, bool copyData);
    ~Mat() override;

    // Deep copy; writes into the existing pixels when shape and type already match.
    Mat& operator=(const Mat& other);
    Mat& operator=(Mat&& other) noexcept;
    // Fills every element of every channel with v (0 is a byte clear).
    Mat& operator=(double v);
    // Fills channel k with s[k] (further channels get s[3]).
    Mat& operator=(const Point4_<double>& s);
    Mat clone() const { return Mat(*this); }

    // Allocates rows x cols of `type` unless the matrix already has that shape
    // and type, in which case the pixels are kept. Returns 1 when it allocated,
    // 0 when it kept the pixels, -1 when the request was refused (the matrix is
    // then empty): non-positive or absurd sizes, or a depth outside 1..5.
    int create(int rows, int cols, int type);
    int create(const Size_<int>& size, int type) { return create(size.height, size.width, type); }
    // Takes the shape and type of `like`; with copyData also its pixels.
    // Creating from itself is a no-op.
    int create(const Mat& like, bool copyData);
    // Wraps foreign pixels (rows * cols * elemSize bytes, rows contiguous).
    // ownTable false: the row table is written into the caller's block directly
    // behind the pixels (mode 1; the block needs (rows + 1) pointers of room
    // there, pointer-aligned). ownTable true: the table is allocated (mode 2).
    // Returns 1, or -1 on a refused request.
    int create(void* pixels, int rows, int cols, int type, bool ownTable);
    // Frees what the mode says is owned and returns to the empty state.
    void release();
    // Exchanges the contents of two matrices.
    void swap(Mat& other);
    // Makes `target` refer to this matrix's pixels (refered set in target).
    void sharedTo(Mat& target) const;
    // target becomes a reference to the part inside rect (clipped); an empty
    // intersection leaves target empty.
    void subRefMat(const Rect_<int>& rect, Mat& target) const;
    // target becomes a copy of the part inside rect (clipped).
    void subMat(const Rect_<int>& rect, Mat& target) const;

    // ---- derived values
    int rows() const { return m_rows; }
    int cols() const { return m_cols; }
    // Depth only (1..5). Re-creating a matrix needs type1(), the whole word.
    int type() const { return m_type & MAT_DEPTH_MASK; }
    int type1() const { return m_type & MAT_TYPE_MASK; }
    int step() const { return m_step; }
    int channels() const { return ((m_type >> 3) & 63) + 1; }
    int elemSize() const { return channels() * m_step; }
    int rowByteSize() const { return channels() * m_step * m_cols; }
    int total() const { return m_rows * m_cols; }
    Size_<int> size() const { return Size_<int>(m_cols, m_rows); }
    bool isValid() const { return data.ptr != nullptr; }
    bool empty() const { return data.ptr == nullptr; }
    bool isRefered() const { return m_refered != 0; }
    // Compares row 1's address with row 0's plus elemSize * cols. A one-row
    // matrix reads the spare table entry behind its last row.
    bool isContinuous() const;
    bool isEqualSize(const Mat& o) const { return m_rows == o.m_rows && m_cols == o.m_cols; }
    bool isEqualSize(const Size_<int>& s) const { return m_rows == s.height && m_cols == s.width; }
    bool isEqualMat(const Mat& o) const {
        return m_rows == o.m_rows && m_cols == o.m_cols && m_type == o.m_type;
    }
    // 0 <= x < cols and 0 <= y < rows (x is the column).
    bool isInside(int x, int y) const { return x >= 0 && x < m_cols && y >= 0 && y < m_rows; }
    // Overwrite the member only; nothing is allocated or moved.
    void resizeRows(int n) { m_rows = n; }
    void resizeCols(int n) { m_cols = n; }
    // Typed row pointer.
    template <typename T>
    T* ptr(int r) {
        return reinterpret_cast<T*>(data.ptr[r]);
    }
    template <typename T>
    const T* ptr(int r) const {
        return reinterpret_cast<const T*>(data.ptr[r]);
    }

    // ---- conversions
    // Converts the depth in place (channels kept) with the cast rule.
    void convert(int depth, CASTTYPE cast = CT_Cast);
    // dst = this converted to `depth` (channels kept). dst may be this matrix.
    void convertTo(Mat& dst, int depth, CASTTYPE cast = CT_Cast) const;
    // dst = this * scale + shift, computed in double, rounded to nearest
    // (ties upwards) and saturated for integer depths.
    void convertTo(Mat& dst, int depth, double scale, double shift) const;

    // ---- fills
    void zero();
    void setValue(double v) { *this = v; }
    // Square or rectangular identity: 1 on the diagonal of every channel, 0 elsewhere.
    void identity();
    static Mat zeros(const Size_<int>& size, int type);
    static Mat eye(int rows, int cols, int type);

    // ---- element access and statistics
    // One element as a double; 0 outside the matrix or channel range.
    double value(int row, int col, int channel = 0) const;
    // Smallest and largest value of a channel (0 on an empty matrix or a bad channel).
    double min(int channel = 0) const;
    double max(int channel = 0) const;
    // Per-channel mean (channels 0..3); zeros on an empty matrix.
    Point4_<double> mean() const;
    // Per-channel population standard deviation (divides by N).
    Point4_<double> std() const;
    // Norms over all channels of the elements where mask (byte, same size, or
    // empty for all) is non-zero: 1 sum of |x|, 2 sqrt of sum of x^2,
    // 3 max |x|, 4 sum of x^2. Unknown codes and bad masks give 0.
    double norm(int code, const Mat& mask = Mat()) const;
    // Number of non-zero elements over all channels.
    int countNonZero() const;
    // mask = 255 where an element differs from v, else 0 (byte, same channels).
    void ne(double v, Mat& mask) const;
    // Bitwise AND with a matrix of the same shape and type (unchanged otherwise).
    Mat& operator&=(const Mat& other);
    // Element-wise square root in place (float and double; integer depths
    // truncate the root of the value, negatives give 0).
    void sqrt();
    // Number of elements when the matrix is a list of elements with `channels`
    // channels of `depth` (n x 1 or 1 x n of that type, or n x channels with one
    // channel), otherwise -1 (also for an empty matrix). depth <= 0 accepts
    // any depth; requireContinuous refuses sub-matrix references with gaps.
    int checkVector(int channels, int depth = -1, bool requireContinuous = true) const;
    // Copies the elements where mask is non-zero into dst. The mask is byte,
    // of this size, with one channel (per pixel) or this many channels (per
    // element); any other mask leaves dst unchanged. A dst that does not fit
    // is re-created at this shape and zeroed first. An empty mask copies all.
    void copyTo(Mat& dst, const Mat& mask = Mat()) const;

    // ---- linear algebra (one channel, float or double)
    Mat transposed() const;
    void transpose();
    // Inverse by LU with partial pivoting; a singular matrix gives its
    // pseudo-inverse. Empty or non-square input gives an empty matrix.
    Mat inverted() const;

    // ---- files
    // Loads a PNG, JPEG, BMP or PGM/PPM picture (see enImageReadFlags). Returns
    // true on success; on failure the matrix is empty.
    bool fromImage(const char* path, unsigned long flags = IMG_COLOR);
    // Saves byte images (1, 3 or 4 channels) as PNG, JPEG, BMP, PGM or PPM by
    // the extension. jpegQuality 1..100 (clamped); pngCompression 0 (none) to 9
    // (smallest), anything else the codec's default. Returns false on an unknown
    // extension, an unsupported type or a failed write (errno tells why).
    bool toImage(const char* path, int jpegQuality = 95, int pngCompression = -1) const;
    // The library's own binary record: magic, version, type, rows, cols, pixel
    // rows (little-endian). Return 1 on success, 0 on failure.
    int fromFile(XFile* file) override;
    int fromFile(const char* filename) override { return Object::fromFile(filename); }
    int toFile(XFile* file) const override;
    int toFile(const char* filename) const override { return Object::toFile(filename); }

    // ---- drawing (every depth; channel k takes color[k], channels past 3 take
    // color[3]). width is the line width in pixels (widths below 1 draw
    // nothing, widths above 128 draw at 128); opacity in (0, 1] blends
    // dst + (color - dst) * opacity, rounded and saturated, each covered pixel
    // once; opacity <= 0 or NaN draws nothing. Shapes are clipped to the image.
    // drawCross: a horizontal and a vertical arm reaching `size` pixels from the centre.
    void drawCross(const Point2_<int>& center, int size, Point4_<unsigned char> color,
                   int width = 1, float opacity = 1.0f);
    // drawRect: the outline of rect, `width` pixels thick, growing inwards.
    void drawRect(const Rect_<int>& rect, Point4_<unsigned char> color, int width = 1,
                  float opacity = 1.0f);
    // drawLine: Bresenham's line from p1 to p2 (both included), swept with a
    // round brush of `width` pixels.
    void drawLine(const Point2_<int>& p1, const Point2_<int>& p2, Point4_<unsigned char> color,
                  int width = 1, float opacity = 1.0f);
    // drawPolygon: lines between consecutive points, and back to the first when
    // closed (n > 2). Null pts or n < 1 draw nothing.
    void drawPolygon(const Point2_<int>* pts, int n, Point4_<unsigned char> color, int width = 1,
                     bool closed = true, float opacity = 1.0f);
    // Pastes src (same type word) with its top-left corner at pt, clipped;
    // other types, empty matrices or opacity <= 0 leave the image unchanged.
    void drawMat(const Mat& src, const Point2_<int>& pt, float opacity = 1.0f);

private:
    void initEmpty();
};

// Source/destination test of the image layer: true if either is null, or if
// depth, rows and cols agree. Channels are not compared.
inline bool isSameShape(const Mat* a, const Mat* b) {
    if (!a || !b) return true;
    return ((a->m_type ^ b->m_type) & 7) == 0 && a->m_rows == b->m_rows && a->m_cols == b->m_cols;
}
inline bool isSameShape(const Mat& a, const Mat& b) {
    return isSameShape(&a, &b);
}

// Free linear algebra (one channel, float or double); empty on a shape mismatch.
TARVO_BASE_EXPORTS Mat operator*(const Mat& a, const Mat& b);
TARVO_BASE_EXPORTS Mat operator+(const Mat& a, const Mat& b);
// Bitwise NOT of every element (integer depths); a copy for float depths.
TARVO_BASE_EXPORTS Mat operator~(const Mat& a);
// Square diagonal matrix of the vector's elements, in the vector's depth.
TARVO_BASE_EXPORTS Mat diag(const Vec& v);

// Dense vector. Members in order: data, type (depth), step (element bytes),
// external (1 when the elements belong to someone else), length, capacity.
class TARVO_BASE_EXPORTS Vec : public Object {
public:
    VecData data;
    int m_type;
    int m_step;
    int m_external;
    int m_length;
    int m_capacity;

    Vec();
    // n elements of depth `type` (uninitialised); n < 1 gives an empty vector.
    Vec(int n, int type);
    Vec(const Vec& other);
    // The elements of a matrix in row order: copied, or wrapped (external) when
    // copy is false and the matrix is continuous.
    Vec(const Mat& m, bool copy);
    ~Vec() override;
    Vec& operator=(const Vec& other);

    // Allocates n elements of depth `type`; returns 0 (empty) for n < 1, else 1.
    int create(int n, int type);
    // Same length and depth as v; with copy also its elements.
    int create(const Vec& v, bool copy);
    void release();
    void zero();
    int length() const { return m_length; }
    int type() const { return m_type; }
    int step() const { return m_step; }
    bool isValid() const { return data.ptr != nullptr; }
    bool isInside(int i) const { return i >= 0 && i < m_length; }
    bool isExternal() const { return m_external != 0; }
    // Element i as a double.
    double value(int i) const;
    // Sum of squares.
    double sq_norm() const;
    // Scales to unit length and returns the former norm (0 for a zero vector, unchanged).
    double unit();
    // Smallest / largest element and its index (index -1 on an empty vector).
    double min(int& index) const;
    double max(int& index) const;
    // n evenly spaced values from a to b inclusive (n = 1 gives b); float
    // and double keep their depth, an empty vector becomes double.
    void linspace(double a, double b, int n);

    int fromFile(XFile* file) override;
    int fromFile(const char* filename) override { return Object::fromFile(filename); }
    int toFile(XFile* file) const override;
    int toFile(const char* filename) const override { return Object::toFile(filename); }

protected:
    void initEmpty(int type);
};

namespace detail {
// Debug fill: in builds configured with TARVO_DEBUG_FILL, every freshly
// allocated Mat or Vec pixel block is filled with `value` (0..255; -1 leaves
// blocks as the allocator gives them), so a result byte no call wrote shows up
// as a change when the fill changes. Returns false and does nothing in other
// builds or for values outside -1..255. Not thread-safe: set it between calls.
TARVO_BASE_EXPORTS bool setFreshFill(int value);

template <typename T>
struct DepthOf;
template <>
struct DepthOf<unsigned char> {
    static constexpr int value = MAT_Tuchar;
};
template <>
struct DepthOf<short> {
    static constexpr int value = MAT_Tshort;
};
template <>
struct DepthOf<int> {
    static constexpr int value = MAT_Tint;
};
template <>
struct DepthOf<float> {
    static constexpr int value = MAT_Tfloat;
};
template <>
struct DepthOf<double> {
    static constexpr int value = MAT_Tdouble;
};
}  // namespace detail

template <typename T>
class Vec_;

// One-channel matrix of element type T.
template <typename T>
class Mat_ : public Mat {
public:
    Mat_() { m_type = detail::DepthOf<T>::value; }
    Mat_(int rows, int cols) {
        m_type = detail::DepthOf<T>::value;
        create(rows, cols);
    }
    // Wraps foreign pixels (see Mat::create(void*, ...)).
    Mat_(T* pixels, int rows, int cols, bool ownTable) {
        m_type = detail::DepthOf<T>::value;
        create(pixels, rows, cols, ownTable);
    }
    // Deep copy.
    Mat_(const Mat_& o) : Mat() {
        m_type = detail::DepthOf<T>::value;
        if (&o != this) Mat::create(o, true);
    }
    // A copy of any matrix converted to T (CT_Round); empty for an empty source.
    explicit Mat_(const Mat& o) : Mat() {
        m_type = detail::DepthOf<T>::value;
        if (!o.isValid()) return;
        Mat::operator=(o);
        convert(detail::DepthOf<T>::value, CT_Round);
    }
    ~Mat_() override {}

    // Returns 0 and keeps the pixels when rows, cols and type already match;
    // otherwise allocates (uninitialised) and returns 1 (-1 on a refused size).
    int create(int rows, int cols) { return Mat::create(rows, cols, detail::DepthOf<T>::value); }
    int create(T* pixels, int rows, int cols, bool ownTable) {
        return Mat::create(pixels, rows, cols, detail::DepthOf<T>::value, ownTable);
    }
    Mat_& operator=(const Mat_& o) {
        Mat::operator=(o);
        return *this;
    }
    // Fill. 0 clears every row; another value is stored in rows * cols
    // consecutive elements from row 0 when the matrix is continuous, else in
    // the first cols elements of each row.
    Mat_& operator=(double v) {
        if (!isValid() || m_rows == 0) return *this;
        if (v == 0) {
            zero();
            return *this;
        }
        T tv = static_cast<T>(v);
        if (isContinuous()) {
            T* p = reinterpret_cast<T*>(data.ptr[0]);
            long long n = (long long)m_rows * m_cols;
            for (long long i = 0; i < n; i++) p[i] = tv;
        } else {
            for (int r = 0; r < m_rows; r++) {
                T* p = reinterpret_cast<T*>(data.ptr[r]);
                for (int c = 0; c < m_cols; c++) p[c] = tv;
            }
        }
        return *this;
    }
    T* operator[](int r) { return reinterpret_cast<T*>(data.ptr[r]); }
    const T* operator[](int r) const { return reinterpret_cast<const T*>(data.ptr[r]); }
    T& at(int r, int c) { return reinterpret_cast<T*>(data.ptr[r])[c]; }
    const T& at(int r, int c) const { return reinterpret_cast<const T*>(data.ptr[r])[c]; }

    // Products of one-channel float matrices (see matop.h for the rest).
    Mat_ operator*(const Mat_& b) const;
    Vec_<T> operator*(const Vec_<T>& v) const;
    // this = a * b into the existing storage (sums in double); needs this to be a.rows x b.cols.
    void eqProd(const Mat_& a, const Mat_& b);
    Mat_ transposed() const;
    void transpose();
    // Copy of row r; empty outside the matrix.
    Vec_<T> row(int r) const;
    // Column c into v, resizing v to rows when its length differs.
    void col(int c, Vec_<T>& v) const;
};

// Typed dense vector.
template <typename T>
class Vec_ : public Vec {
public:
    Vec_() { initEmpty(detail::DepthOf<T>::value); }
    explicit Vec_(int n) {
        initEmpty(detail::DepthOf<T>::value);
        create(n);
    }
    // Wraps n foreign elements (external).
    Vec_(T* p, int n) {
        initEmpty(detail::DepthOf<T>::value);
        create(p, n);
    }
    Vec_(const Vec_& o) : Vec() {
        initEmpty(detail::DepthOf<T>::value);
        if (o.m_length > 0) Vec::create(o, true);
    }
    ~Vec_() override {}

    // Releases, then allocates n elements (uninitialised). 0 for n < 1.
    virtual int create(int n) { return Vec::create(n, detail::DepthOf<T>::value); }
    // Wraps foreign elements (external 1). Returns 1.
    int create(T* p, int n) {
        release();
        if (!p || n < 1) return 0;
        data.ptr = reinterpret_cast<unsigned char*>(p);
        m_type = detail::DepthOf<T>::value;
        m_step = sizeof(T);
        m_external = 1;
        m_length = m_capacity = n;
        return 1;
    }
    // Length change; growth beyond capacity copies into a new block unless the
    // vector is external, in which case it is left as it is.
    void resize(int n) {
        if (n < 0) return;
        if (n <= m_capacity) {
            m_length = n;
            return;
        }
        if (m_external) return;
        T* nb = static_cast<T*>(std::malloc(sizeof(T) * (size_t)n));
        if (!nb) return;
        if (m_length > 0) std::memcpy(nb, data.ptr, sizeof(T) * (size_t)m_length);
        std::free(data.ptr);
        data.ptr = reinterpret_cast<unsigned char*>(nb);
        m_length = m_capacity = n;
    }
    Vec_& operator=(const Vec_& o) {
        if (&o == this) return *this;
        if (o.m_length == m_length && m_length > 0) {
            std::memcpy(data.ptr, o.data.ptr, sizeof(T) * (size_t)m_length);
        } else {
            Vec::create(o, true);
        }
        return *this;
    }
    // Fill with v (0 is a byte clear).
    Vec_& operator=(T v) {
        if (m_length == 0) return *this;
        if (v == T(0)) {
            std::memset(data.ptr, 0, sizeof(T) * (size_t)m_length);
        } else {
            for (int i = 0; i < m_length; i++) ptr()[i] = v;
        }
        return *this;
    }
    T* ptr() { return reinterpret_cast<T*>(data.ptr); }
    const T* ptr() const { return reinterpret_cast<const T*>(data.ptr); }
    operator T*() { return ptr(); }
    operator const T*() const { return ptr(); }
    T& operator[](int i) { return ptr()[i]; }
    const T& operator[](int i) const { return ptr()[i]; }

    // Orders by length (signed), then by the raw bytes in memory order as
    // unsigned bytes. This is not a numeric comparison of the elements.
    virtual bool operator<(const Vec_& o) const {
        if (m_length != o.m_length) return m_length < o.m_length;
        if (m_length == 0) return false;
        return std::memcmp(data.ptr, o.data.ptr, sizeof(T) * (size_t)m_length) < 0;
    }
    virtual Vec_ operator+(const Vec_& o) const {
        Vec_ r(*this);
        r += o;
        return r;
    }
    virtual Vec_ operator-(const Vec_& o) const {
        Vec_ r(*this);
        r -= o;
        return r;
    }
    virtual Vec_ operator-() const {
        Vec_ r(*this);
        for (int i = 0; i < r.m_length; i++) r.ptr()[i] = T(-r.ptr()[i]);
        return r;
    }
    // Dot product accumulated in double over the shorter length.
    virtual double operator*(const Vec_& o) const {
        int n = m_length < o.m_length ? m_length : o.m_length;
        double s = 0;
        for (int i = 0; i < n; i++) s += double(ptr()[i]) * double(o.ptr()[i]);
        return s;
    }
    virtual Vec_ operator*(double s) const {
        Vec_ r(*this);
        r *= s;
        return r;
    }
    virtual Vec_& operator+=(double s) {
        for (int i = 0; i < m_length; i++) ptr()[i] = T(ptr()[i] + s);
        return *this;
    }
    virtual Vec_& operator+=(const Vec_& o) {
        int n = m_length < o.m_length ? m_length : o.m_length;
        for (int i = 0; i < n; i++) ptr()[i] = T(ptr()[i] + o.ptr()[i]);
        return *this;
    }
    virtual Vec_& operator-=(double s) {
        for (int i = 0; i < m_length; i++) ptr()[i] = T(ptr()[i] - s);
        return *this;
    }
    virtual Vec_& operator-=(const Vec_& o) {
        int n = m_length < o.m_length ? m_length : o.m_length;
        for (int i = 0; i < n; i++) ptr()[i] = T(ptr()[i] - o.ptr()[i]);
        return *this;
    }
    virtual Vec_& operator*=(double s) {
        for (int i = 0; i < m_length; i++) ptr()[i] = T(ptr()[i] * s);
        return *this;
    }
    // Division by 0 leaves the vector unchanged.
    virtual Vec_& operator/=(double s) {
        if (s == 0) return *this;
        for (int i = 0; i < m_length; i++) ptr()[i] = T(ptr()[i] / s);
        return *this;
    }
    Vec_ operator/(double s) const {
        Vec_ r(*this);
        r /= s;
        return r;
    }

    // this = a + b / a - b element-wise; an empty this is first created with
    // a's length. This vector's length rules the loop (bounded by a and b).
    void eqSum(const Vec_& a, const Vec_& b) {
        if (m_length == 0) create(a.m_length);
        int n = m_length;
        if (a.m_length < n) n = a.m_length;
        if (b.m_length < n) n = b.m_length;
        for (int i = 0; i < n; i++) ptr()[i] = T(a.ptr()[i] + b.ptr()[i]);
    }
    void eqDiff(const Vec_& a, const Vec_& b) {
        if (m_length == 0) create(a.m_length);
        int n = m_length;
        if (a.m_length < n) n = a.m_length;
        if (b.m_length < n) n = b.m_length;
        for (int i = 0; i < n; i++) ptr()[i] = T(a.ptr()[i] - b.ptr()[i]);
    }
    // this = m * v into the existing storage (sums in double, stored as T).
    void eqProd(const Mat_<T>& m, const Vec_& v);
};

}  // namespace tarvo
