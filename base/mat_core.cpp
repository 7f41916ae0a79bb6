// Mat and Vec storage: allocation, ownership modes, copies and references.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "detail/aliasing.h"
#include "detail/checked.h"
#include "tarvo/mat.h"

namespace tarvo {

namespace {

// Pixel blocks start on a 64-byte boundary and end with this many zeroed
// bytes, so vector loads and documented one-past-the-row reads stay inside
// memory the matrix owns.
constexpr size_t kAlign = 64;
constexpr size_t kPad = 64;

bool validDepth(int type) {
    int d = type & 7;
    return d >= 1 && d <= 5;
}

// Bytes of one row, or 0 when the request is refused: non-positive sizes, more
// elements than MAT_MAX_ELEMENTS, or a row of more than MAT_MAX_ROW_BYTES (so
// rowByteSize(), total() and every row offset stay exact in int).
size_t rowBytesFor(int rows, int cols, int type) {
    if (rows <= 0 || cols <= 0 || !validDepth(type)) return 0;
    int64_t elems, rowBytes;
    if (!detail::checkedMul(rows, cols, MAT_CN(type), elems) || elems > MAT_MAX_ELEMENTS) return 0;
    if (!detail::checkedMul(cols, MAT_CN(type), depthSize(type & 7), rowBytes) ||
        rowBytes > MAT_MAX_ROW_BYTES)
        return 0;
    return (size_t)rowBytes;
}

size_t alignUp(size_t v, size_t a) {
    return (v + a - 1) & ~(a - 1);
}

#ifdef TARVO_DEBUG_FILL
// The byte fresh blocks start with (-1: none). Not zero by default, so that a
// result that happens to need zeros does not pass by luck.
int g_freshFill = 0xA5;
#endif

// Gives a fresh block its debug fill; nothing in ordinary builds.
inline void freshFill([[maybe_unused]] void* p, [[maybe_unused]] size_t n) {
#ifdef TARVO_DEBUG_FILL
    if (g_freshFill >= 0 && n > 0) std::memset(p, g_freshFill, n);
#endif
}

}  // namespace

namespace detail {
bool setFreshFill([[maybe_unused]] int value) {
#ifdef TARVO_DEBUG_FILL
    if (value < -1 || value > 255) return false;
    g_freshFill = value;
    return true;
#else
    return false;
#endif
}
}  // namespace detail

void Mat::initEmpty() {
    data.ptr = nullptr;
    m_type = MAT_Tuchar;
    m_rows = m_cols = 0;
    m_step = 1;
    m_mode = 0;
    m_refered = 0;
}

Mat::Mat() {
    initEmpty();
}

Mat::Mat(int rows, int cols, int type) {
    initEmpty();
    create(rows, cols, type);
}

Mat::Mat(const Size_<int>& size, int type) {
    initEmpty();
    create(size.height, size.width, type);
}

Mat::Mat(int rows, int cols, int type, const Point4_<double>& fill) {
    initEmpty();
    if (create(rows, cols, type) >= 0) *this = fill;
}

Mat::Mat(void* pixels, int rows, int cols, int type, bool ownTable) {
    initEmpty();
    create(pixels, rows, cols, type, ownTable);
}

Mat::Mat(const Mat& other) : Object() {
    initEmpty();
    create(other, true);
}

Mat::Mat(Mat&& other) noexcept : Object() {
    initEmpty();
    swap(other);
}

Mat::Mat(const Mat& other, const Rect_<int>& rect) : Object() {
    initEmpty();
    other.subMat(rect, *this);
}

Mat::Mat(const Mat& other, const Range& rowRange, bool copyData) : Object() {
    initEmpty();
    if (!other.isValid()) return;
    int r0 = std::max(rowRange.start, 0), r1 = std::min(rowRange.end, other.m_rows);
    if (rowRange == Range::all()) r0 = 0, r1 = other.m_rows;
    if (r1 <= r0) return;
    Rect_<int> rect(0, r0, other.m_cols, r1 - r0);
    if (copyData)
        other.subMat(rect, *this);
    else
        other.subRefMat(rect, *this);
}

Mat::~Mat() {
    release();
}

Mat& Mat::operator=(const Mat& other) {
    if (&other != this) create(other, true);
    return *this;
}

Mat& Mat::operator=(Mat&& other) noexcept {
    if (&other == this) return *this;
    if (other.isRefered() && detail::sharesMemory(other, *this)) {
        // `other` refers into this matrix's own block, which release() would
        // free: keep a copy of its pixels instead of the dangling reference.
        Mat copy(other);
        release();
        swap(copy);
        return *this;
    }
    release();
    swap(other);
    return *this;
}

int Mat::create(int rows, int cols, int type) {
    type &= MAT_TYPE_MASK;
    if (data.ptr && rows == m_rows && cols == m_cols && type == (m_type & MAT_TYPE_MASK)) return 0;
    release();
    size_t rowBytes = rowBytesFor(rows, cols, type);
    if (rowBytes == 0) {
        if (validDepth(type)) m_type = type;
        return -1;
    }
    // One block: the row table (rows + 1 entries, the last pointing just past
    // the final row) followed by the aligned, padded pixels.
    size_t tableBytes = alignUp(sizeof(unsigned char*) * ((size_t)rows + 1), kAlign);
    size_t pixBytes = rowBytes * (size_t)rows;
    void* block = nullptr;
    if (posix_memalign(&block, kAlign, tableBytes + pixBytes + kPad) != 0 || !block) return -1;
    unsigned char** table = static_cast<unsigned char**>(block);
    unsigned char* pix = static_cast<unsigned char*>(block) + tableBytes;
    freshFill(pix, pixBytes);
    std::memset(pix + pixBytes, 0, kPad);
    for (int r = 0; r <= rows; r++) table[r] = pix + rowBytes * (size_t)r;
    data.ptr = table;
    m_type = type;
    m_rows = rows;
    m_cols = cols;
    m_step = depthSize(type & 7);
    m_mode = 0;
    m_refered = 0;
    return 1;
}

int Mat::create(const Mat& like, bool copyData) {
    if (&like == this) return 0;
    if (!like.isValid()) {
        release();
        return -1;
    }
    if (detail::sharesMemory(like, *this) &&
        !(isEqualMat(like) && like.data.ptr[0] == data.ptr[0])) {
        // `like` lies inside this matrix's block, which re-creating would free:
        // work from a copy. (A full reference to the same rows needs nothing.)
        Mat copy;
        if (copy.create(like, true) < 0) return -1;
        return create(copy, copyData);
    }
    int ret = create(like.m_rows, like.m_cols, like.m_type);
    if (ret < 0 || !copyData) return ret;
    size_t rb = (size_t)like.rowByteSize();
    for (int r = 0; r < m_rows; r++) std::memmove(data.ptr[r], like.data.ptr[r], rb);
    return ret;
}

int Mat::create(void* pixels, int rows, int cols, int type, bool ownTable) {
    release();
    type &= MAT_TYPE_MASK;
    size_t rowBytes = rowBytesFor(rows, cols, type);
    if (!pixels || rowBytes == 0) return -1;
    unsigned char* pix = static_cast<unsigned char*>(pixels);
    unsigned char** table;
    if (ownTable) {
        table =
            static_cast<unsigned char**>(std::malloc(sizeof(unsigned char*) * ((size_t)rows + 1)));
        if (!table) return -1;
        m_mode = 2;
    } else {
        // The caller's block holds the table right behind the pixels.
        uintptr_t at = reinterpret_cast<uintptr_t>(pix + rowBytes * (size_t)rows);
        if (at % alignof(unsigned char*) != 0) return -1;
        table = reinterpret_cast<unsigned char**>(at);
        m_mode = 1;
    }
    // The table of a wrapped block has rows entries behind the pixels when
    // the caller provided only that; the spare entry goes in our own tables.
    int entries = ownTable ? rows + 1 : rows;
    for (int r = 0; r < entries; r++) table[r] = pix + rowBytes * (size_t)r;
    data.ptr = table;
    m_type = type;
    m_rows = rows;
    m_cols = cols;
    m_step = depthSize(type & 7);
    m_refered = 0;
    return 1;
}

void Mat::release() {
    if (data.ptr) {
        if (m_mode == 0 || m_mode == 2) std::free(data.ptr);
    }
    int type = m_type;
    initEmpty();
    // An emptied matrix keeps its type word so typed matrices stay typed.
    if (validDepth(type)) m_type = type & MAT_TYPE_MASK;
}

void Mat::swap(Mat& o) {
    std::swap(data, o.data);
    std::swap(m_type, o.m_type);
    std::swap(m_rows, o.m_rows);
    std::swap(m_cols, o.m_cols);
    std::swap(m_step, o.m_step);
    std::swap(m_mode, o.m_mode);
    std::swap(m_refered, o.m_refered);
}

void Mat::sharedTo(Mat& target) const {
    if (&target == this) return;
    subRefMat(Rect_<int>(0, 0, m_cols, m_rows), target);
}

void Mat::subRefMat(const Rect_<int>& rect, Mat& target) const {
    if (&target == this || detail::sharesMemory(*this, target)) {
        // A reference to a part of itself, or into the target's own block,
        // would dangle once the target is released; take a copy.
        subMat(rect, target);
        return;
    }
    target.release();
    if (!isValid()) return;
    Rect_<int> r = rect.intersectRect(Rect_<int>(0, 0, m_cols, m_rows));
    if (r.width <= 0 || r.height <= 0) return;
    unsigned char** table =
        static_cast<unsigned char**>(std::malloc(sizeof(unsigned char*) * ((size_t)r.height + 1)));
    if (!table) return;
    size_t off = (size_t)r.x * elemSize();
    for (int i = 0; i < r.height; i++) table[i] = data.ptr[r.y + i] + off;
    // The spare entry continues the parent's spacing so that a one-row
    // reference reports continuity like its parent does.
    table[r.height] = data.ptr[r.y + r.height - 1] + off + (size_t)rowByteSize();
    target.data.ptr = table;
    target.m_type = m_type;
    target.m_rows = r.height;
    target.m_cols = r.width;
    target.m_step = m_step;
    target.m_mode = 2;
    target.m_refered = 1;
}

void Mat::subMat(const Rect_<int>& rect, Mat& target) const {
    if (!isValid()) {
        if (&target != this) target.release();
        return;
    }
    Rect_<int> r = rect.intersectRect(Rect_<int>(0, 0, m_cols, m_rows));
    if (r.width <= 0 || r.height <= 0) {
        if (&target != this) target.release();
        return;
    }
    Mat out(r.height, r.width, m_type);
    if (!out.isValid()) return;
    size_t off = (size_t)r.x * elemSize(), rb = (size_t)out.rowByteSize();
    for (int i = 0; i < r.height; i++) std::memcpy(out.data.ptr[i], data.ptr[r.y + i] + off, rb);
    target.release();
    target.swap(out);
}

bool Mat::isContinuous() const {
    if (!data.ptr || m_rows <= 0) return false;
    // Entry 1 exists for every matrix: one-row matrices read the spare entry.
    // A one-row wrap with the table behind the caller's pixels has no spare
    // entry, and a single row is trivially continuous.
    if (m_rows == 1 && m_mode == 1) return true;
    return data.ptr[1] == data.ptr[0] + (size_t)elemSize() * m_cols;
}

// ---------------------------------------------------------------- Vec

void Vec::initEmpty(int type) {
    data.ptr = nullptr;
    m_type = validDepth(type) ? (type & 7) : MAT_Tdouble;
    m_step = depthSize(m_type);
    m_external = 0;
    m_length = 0;
    m_capacity = 0;
}

Vec::Vec() {
    initEmpty(MAT_Tdouble);
}

Vec::Vec(int n, int type) {
    initEmpty(type);
    create(n, type);
}

Vec::Vec(const Vec& other) : Object() {
    initEmpty(other.m_type);
    create(other, true);
}

Vec::Vec(const Mat& m, bool copy) : Object() {
    initEmpty(m.type());
    if (!m.isValid()) return;
    long long n = (long long)m.total() * m.channels();
    if (!copy && m.isContinuous()) {
        data.ptr = m.data.ptr[0];
        m_external = 1;
        m_length = m_capacity = (int)n;
        return;
    }
    if (create((int)n, m.type()) != 1) return;
    size_t rb = (size_t)m.rowByteSize();
    for (int r = 0; r < m.rows(); r++) std::memcpy(data.ptr + rb * (size_t)r, m.data.ptr[r], rb);
}

Vec::~Vec() {
    release();
}

Vec& Vec::operator=(const Vec& other) {
    if (&other != this) create(other, true);
    return *this;
}

int Vec::create(int n, int type) {
    release();
    if (validDepth(type)) {
        m_type = type & 7;
        m_step = depthSize(m_type);
    }
    if (n < 1) return 0;
    void* p = std::malloc((size_t)n * (size_t)m_step);
    if (!p) return 0;
    freshFill(p, (size_t)n * (size_t)m_step);
    data.ptr = static_cast<unsigned char*>(p);
    m_length = m_capacity = n;
    m_external = 0;
    return 1;
}

int Vec::create(const Vec& v, bool copy) {
    if (&v == this) return 1;
    if (v.m_length < 1) {
        release();
        m_type = v.m_type;
        m_step = v.m_step;
        return 0;
    }
    if (!create(v.m_length, v.m_type)) return 0;
    if (copy) std::memcpy(data.ptr, v.data.ptr, (size_t)m_length * (size_t)m_step);
    return 1;
}

void Vec::release() {
    if (data.ptr && !m_external) std::free(data.ptr);
    data.ptr = nullptr;
    m_external = 0;
    m_length = m_capacity = 0;
}

void Vec::zero() {
    if (data.ptr && m_length > 0) std::memset(data.ptr, 0, (size_t)m_length * (size_t)m_step);
}

}  // namespace tarvo
