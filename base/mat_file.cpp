// The library's own binary records for Mat ("TMAT") and Vec ("TVEC").
//
// Mat record, all integers little-endian:
//   0  4 bytes  "TMAT"
//   4  uint32   version, 1
//   8  int32    type word (depth | (channels - 1) << 3)
//  12  int32    rows
//  16  int32    cols
//  20  rows * cols * channels elements of the depth, row after row, each
//      element little-endian, no padding between rows.
// Vec record: "TVEC", uint32 version 1, int32 depth, int32 length, then
// length little-endian elements.
// An empty matrix is written with rows = cols = 0 and no elements (an empty
// vector with length 0); reading such a record gives an empty object and succeeds.
#include <cstdint>
#include <cstring>
#include <vector>

#include "tarvo/mat.h"

namespace tarvo {
namespace {

constexpr uint32_t RECORD_VERSION = 1;
// Largest block handed to XFile::read/write at once (its counts are unsigned).
constexpr size_t IO_CHUNK = size_t(1) << 24;

bool hostIsLittleEndian() {
    const uint16_t probe = 1;
    unsigned char b;
    std::memcpy(&b, &probe, 1);
    return b == 1;
}

void put32(unsigned char* p, uint32_t v) {
    p[0] = (unsigned char)v;
    p[1] = (unsigned char)(v >> 8);
    p[2] = (unsigned char)(v >> 16);
    p[3] = (unsigned char)(v >> 24);
}
uint32_t get32(const unsigned char* p) {
    return (uint32_t)p[0] | ((uint32_t)p[1] << 8) | ((uint32_t)p[2] << 16) | ((uint32_t)p[3] << 24);
}
int32_t gets32(const unsigned char* p) {
    const uint32_t u = get32(p);
    int32_t s;
    std::memcpy(&s, &u, 4);
    return s;
}

// Reverses the bytes of each element in place (big-endian hosts only).
void swapElements(unsigned char* p, size_t count, int elemBytes) {
    if (elemBytes <= 1) return;
    for (size_t i = 0; i < count; i++, p += elemBytes)
        for (int a = 0, b = elemBytes - 1; a < b; a++, b--) {
            const unsigned char t = p[a];
            p[a] = p[b];
            p[b] = t;
        }
}

bool readAll(XFile* f, unsigned char* dst, size_t n) {
    while (n > 0) {
        const size_t part = n < IO_CHUNK ? n : IO_CHUNK;
        if (f->read(dst, 1, (unsigned)part) != part) return false;
        dst += part;
        n -= part;
    }
    return true;
}

bool writeAll(XFile* f, const unsigned char* src, size_t n) {
    while (n > 0) {
        const size_t part = n < IO_CHUNK ? n : IO_CHUNK;
        if (f->write(src, 1, (unsigned)part) != part) return false;
        src += part;
        n -= part;
    }
    return true;
}

// Writes n elements of elemBytes each, little-endian.
bool writeElements(XFile* f, const unsigned char* src, size_t n, int elemBytes) {
    if (hostIsLittleEndian() || elemBytes == 1) return writeAll(f, src, n * (size_t)elemBytes);
    std::vector<unsigned char> buf;
    const size_t perChunk = IO_CHUNK / (size_t)elemBytes;
    while (n > 0) {
        const size_t k = n < perChunk ? n : perChunk;
        buf.assign(src, src + k * (size_t)elemBytes);
        swapElements(buf.data(), k, elemBytes);
        if (!writeAll(f, buf.data(), buf.size())) return false;
        src += k * (size_t)elemBytes;
        n -= k;
    }
    return true;
}

// Payload of `bytes` bytes. When the stream knows its length the request is
// checked against what remains and read straight into the destination;
// otherwise it is read in bounded chunks, so memory only grows as data
// actually arrives. On success `sink` receives the bytes.
class Payload {
public:
    // True when a stream of known length holds at least `bytes` more bytes, or
    // when its length is unknown (the chunked read decides then).
    static bool plausible(XFile* f, unsigned long long bytes, bool& known) {
        const long sz = f->size();
        const long pos = f->tell();
        known = sz >= 0 && pos >= 0;
        if (!known) return true;
        if (pos > sz) return false;
        return bytes <= (unsigned long long)(sz - pos);
    }
    // Reads everything into a buffer of its own when the length is unknown.
    static bool readChunked(XFile* f, size_t bytes, std::vector<unsigned char>& buf) {
        try {
            buf.clear();
            while (buf.size() < bytes) {
                const size_t part = bytes - buf.size() < IO_CHUNK ? bytes - buf.size() : IO_CHUNK;
                const size_t old = buf.size();
                buf.resize(old + part);
                if (f->read(buf.data() + old, 1, (unsigned)part) != part) return false;
            }
        } catch (...) {
            return false;
        }
        return true;
    }
};

}  // namespace

int Mat::toFile(XFile* file) const {
    if (!file) return 0;
    const bool empty = !isValid() || m_rows <= 0 || m_cols <= 0;
    unsigned char head[20];
    std::memcpy(head, "TMAT", 4);
    put32(head + 4, RECORD_VERSION);
    put32(head + 8, (uint32_t)type1());
    put32(head + 12, empty ? 0u : (uint32_t)m_rows);
    put32(head + 16, empty ? 0u : (uint32_t)m_cols);
    if (file->write(head, 1, 20) != 20) return 0;
    if (empty) return 1;
    const size_t perRow = (size_t)m_cols * (size_t)channels();
    for (int r = 0; r < m_rows; r++)
        if (!writeElements(file, data.ptr[r], perRow, m_step)) return 0;
    return 1;
}

int Mat::fromFile(XFile* file) {
    release();
    if (!file) return 0;
    unsigned char head[20];
    if (file->read(head, 1, 20) != 20 || std::memcmp(head, "TMAT", 4) != 0 ||
        get32(head + 4) != RECORD_VERSION)
        return 0;
    const int32_t typeWord = gets32(head + 8);
    const int32_t rows = gets32(head + 12);
    const int32_t cols = gets32(head + 16);
    const int depth = typeWord & MAT_DEPTH_MASK;
    if ((typeWord & ~MAT_TYPE_MASK) != 0 || depth < MAT_Tuchar || depth > MAT_Tdouble) return 0;
    if (rows < 0 || cols < 0 || ((rows == 0) != (cols == 0))) return 0;
    if (rows == 0) {
        m_type = typeWord;  // an empty matrix that remembers its type
        return 1;
    }
    const int cn = MAT_CN(typeWord);
    const int esz = depthSize(depth);
    const unsigned long long elems = (unsigned long long)rows * (unsigned long long)cols * cn;
    if (elems > (unsigned long long)MAT_MAX_ELEMENTS) return 0;
    const unsigned long long bytes = elems * (unsigned long long)esz;
    bool known = false;
    if (!Payload::plausible(file, bytes, known)) return 0;

    std::vector<unsigned char> staged;
    if (!known && !Payload::readChunked(file, (size_t)bytes, staged)) return 0;

    if (create(rows, cols, typeWord) < 0) {
        release();
        return 0;
    }
    const size_t rowBytes = (size_t)cols * (size_t)cn * (size_t)esz;
    for (int r = 0; r < rows; r++) {
        unsigned char* dst = data.ptr[r];
        if (known) {
            if (!readAll(file, dst, rowBytes)) {
                release();
                return 0;
            }
        } else {
            std::memcpy(dst, staged.data() + (size_t)r * rowBytes, rowBytes);
        }
        if (!hostIsLittleEndian()) swapElements(dst, (size_t)cols * cn, esz);
    }
    return 1;
}

int Vec::toFile(XFile* file) const {
    if (!file) return 0;
    const bool empty = !isValid() || m_length <= 0;
    unsigned char head[16];
    std::memcpy(head, "TVEC", 4);
    put32(head + 4, RECORD_VERSION);
    put32(head + 8, (uint32_t)m_type);
    put32(head + 12, empty ? 0u : (uint32_t)m_length);
    if (file->write(head, 1, 16) != 16) return 0;
    if (empty) return 1;
    return writeElements(file, data.ptr, (size_t)m_length, m_step) ? 1 : 0;
}

int Vec::fromFile(XFile* file) {
    release();
    if (!file) return 0;
    unsigned char head[16];
    if (file->read(head, 1, 16) != 16 || std::memcmp(head, "TVEC", 4) != 0 ||
        get32(head + 4) != RECORD_VERSION)
        return 0;
    const int32_t depth = gets32(head + 8);
    const int32_t length = gets32(head + 12);
    if (depth < MAT_Tuchar || depth > MAT_Tdouble || length < 0) return 0;
    if (length == 0) {
        m_type = depth;
        m_step = depthSize(depth);
        return 1;
    }
    const int esz = depthSize(depth);
    const unsigned long long bytes = (unsigned long long)length * (unsigned long long)esz;
    bool known = false;
    if (!Payload::plausible(file, bytes, known)) return 0;
    std::vector<unsigned char> staged;
    if (!known && !Payload::readChunked(file, (size_t)bytes, staged)) return 0;
    if (create(length, depth) != 1) {
        release();
        return 0;
    }
    if (known) {
        if (!readAll(file, data.ptr, (size_t)bytes)) {
            release();
            return 0;
        }
    } else {
        std::memcpy(data.ptr, staged.data(), (size_t)bytes);
    }
    if (!hostIsLittleEndian()) swapElements(data.ptr, (size_t)length, esz);
    return 1;
}

}  // namespace tarvo
