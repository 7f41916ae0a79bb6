// MatND storage and the matrix lists.
#include <cstdlib>
#include <cstring>

#include "mat_internal.h"
#include "tarvo/matlist.h"
#include "tarvo/matnd.h"
#include "tarvo/saturate.h"

namespace tarvo {

namespace {
constexpr int kMaxDims = 32;
}

bool MatND::MSize::operator==(const MSize& o) const {
    const int d = p[-1];
    if (d != o.p[-1]) return false;
    if (d == 2) return p[0] == o.p[0] && p[1] == o.p[1];
    for (int i = 0; i < d; i++)
        if (p[i] != o.p[i]) return false;
    return true;
}

void MatND::initEmpty() {
    data = nullptr;
    m_block = nullptr;
    m_empty[0] = m_empty[1] = m_empty[2] = 0;
    size.p = m_empty + 1;
    step = MStep();
    m_type = MAT_Tdouble;
    m_dims = 0;
    m_bytes = 0;
}

MatND::MatND() : size(nullptr) {
    initEmpty();
}

MatND::MatND(int dims, const int* sizes, int type, bool clear) : size(nullptr) {
    initEmpty();
    create(dims, sizes, type, nullptr, clear);
}

MatND::MatND(const MatND& o) : size(nullptr) {
    initEmpty();
    *this = o;
}

MatND& MatND::operator=(const MatND& o) {
    if (&o == this) return *this;
    if (!o.isValid()) {
        release();
        m_type = o.m_type;
        return *this;
    }
    if (create(o.m_dims, o.size.p, o.m_type, o.step.p, false) == 1)
        std::memcpy(data, o.data, m_bytes);
    return *this;
}

MatND::~MatND() {
    release();
}

void MatND::release() {
    std::free(data);
    std::free(m_block);
    const int t = m_type;
    initEmpty();
    m_type = t;
}

int MatND::create(int dims, const int* sizes, int type, const int* steps, bool clear) {
    const int depth = type & MAT_DEPTH_MASK;
    if (dims < 1 || dims > kMaxDims || !sizes || !detail::validDepth(depth)) {
        release();
        return -1;
    }
    long long total = 1;
    for (int d = 0; d < dims; d++) {
        if (sizes[d] < 1) {
            release();
            return -1;
        }
        total *= sizes[d];
        if (total > MAT_MAX_ELEMENTS) {
            release();
            return -1;
        }
    }
    const int es = depthSize(depth);
    // Dense strides unless the caller's strides each hold the next dimension.
    long long st[kMaxDims];
    st[dims - 1] = es;
    for (int d = dims - 2; d >= 0; d--) st[d] = st[d + 1] * sizes[d + 1];
    if (steps) {
        bool ok = steps[dims - 1] >= es;
        for (int d = 0; d + 1 < dims && ok; d++)
            ok = steps[d] >= (long long)steps[d + 1] * sizes[d + 1];
        if (ok && (long long)steps[0] * sizes[0] <= MAT_MAX_ELEMENTS * 8)
            for (int d = 0; d < dims; d++) st[d] = steps[d];
    }
    const long long bytes = st[0] * sizes[0];
    // Strides are stored as int.
    if (bytes > (long long)MAT_MAX_ELEMENTS * 8 || st[0] > 0x7FFFFFFFLL) {
        release();
        return -1;
    }
    // Sizes and steps: at least two words each, so size() and a two-word
    // step read memory of ours.
    const int words = dims < 2 ? 2 : dims;
    int* block = static_cast<int*>(std::malloc(sizeof(int) * size_t(1 + 2 * words)));
    unsigned char* mem = static_cast<unsigned char*>(clear ? std::calloc(size_t(bytes), 1)
                                                           : std::malloc(size_t(bytes)));
    if (!block || !mem) {
        std::free(block);
        std::free(mem);
        release();
        return -1;
    }
    // Fill the new block before releasing: sizes may point into the old one.
    block[0] = dims;
    for (int i = 0; i < words; i++) {
        block[1 + i] = i < dims ? sizes[i] : 1;
        block[1 + words + i] = i < dims ? int(st[i]) : es;
    }
    release();
    m_block = block;
    data = mem;
    size.p = block + 1;
    step.p = block + 1 + words;
    m_type = depth;
    m_dims = dims;
    m_bytes = size_t(bytes);
    return 1;
}

long long MatND::total() const {
    if (!data) return 0;
    long long t = 1;
    for (int d = 0; d < m_dims; d++) t *= size.p[d];
    return t;
}

void MatND::zero() {
    if (data) std::memset(data, 0, m_bytes);
}

void MatND::convert(int depth, CASTTYPE cast) {
    depth &= MAT_DEPTH_MASK;
    if (!data || !detail::validDepth(depth)) return;
    MatND out;
    if (out.create(m_dims, size.p, depth, nullptr, false) != 1) return;
    // Walk every index of the source in order; the output is dense.
    const long long n = total();
    int idx[kMaxDims] = {0};
    detail::withDepth(m_type, [&](auto s) {
        using S = decltype(s);
        detail::withDepth(depth, [&](auto d) {
            using D = decltype(d);
            D* o = reinterpret_cast<D*>(out.data);
            for (long long i = 0; i < n; i++) {
                const double v = double(at<S>(idx));
                if constexpr (std::is_floating_point<D>::value)
                    o[i] = D(v);
                else
                    o[i] = cast == CT_Round ? saturate_cast<D>(v) : saturate_trunc<D>(v);
                for (int k = m_dims - 1; k >= 0; k--) {
                    if (++idx[k] < size.p[k]) break;
                    idx[k] = 0;
                }
            }
        });
    });
    release();
    // Take over out's storage.
    data = out.data;
    m_block = out.m_block;
    size.p = out.size.p;
    step.p = out.step.p;
    m_type = out.m_type;
    m_dims = out.m_dims;
    m_bytes = out.m_bytes;
    out.data = nullptr;
    out.m_block = nullptr;
}

// ---------------------------------------------------------------- lists

ImagePtrList::~ImagePtrList() {
    ImagePtrList::release();
}

void ImagePtrList::release() {
    for (int i = 0; i < getSize(); i++) delete getAt(i);
    removeAll();
}

void ImagePtrList::detachAll() {
    removeAll();
}

MatDescPtrList::~MatDescPtrList() {}

ImageDescPtrList::~ImageDescPtrList() {
    release();
}

int ImageDescPtrList::add(Mat* image, const String& desc) {
    m_descs.add(desc);
    return m_images.add(image);
}

String ImageDescPtrList::getDesc(int i) const {
    if (i < 0 || i >= m_descs.getSize()) return String();
    return m_descs[i];
}

Mat* ImageDescPtrList::getImage(int i) const {
    if (i < 0 || i >= m_images.getSize()) return nullptr;
    return m_images[i];
}

void ImageDescPtrList::detachAll() {
    m_images.detachAll();
    m_descs.removeAll();
}

void ImageDescPtrList::release() {
    m_images.release();
    m_descs.removeAll();
}

ImageList::ImageList(unsigned count, unsigned rows, unsigned cols, int type)
    : m_count(0), m_list(nullptr) {
    if (count == 0 || count > (1u << 24)) return;
    m_list = new Mat[count];
    m_count = count;
    if (rows > 0x7FFFFFFFu || cols > 0x7FFFFFFFu) return;
    for (unsigned i = 0; i < count; i++) m_list[i].create(int(rows), int(cols), type);
}

ImageList::~ImageList() {
    for (unsigned i = 0; i < m_count; i++) m_list[i].release();
    delete[] m_list;
}

void ImageList::swapList(ImageList& o) {
    std::swap(m_count, o.m_count);
    std::swap(m_list, o.m_list);
}

}  // namespace tarvo
