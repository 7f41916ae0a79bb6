// Object file helpers and the disk and memory byte streams.
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "tarvo/object.h"

namespace tarvo {

int Object::fromFile(const char* filename) {
    if (!filename) return 0;
    XFileDisk f;
    if (!f.open(filename, "rb")) return 0;
    return fromFile(&f);
}

int Object::toFile(const char* filename) const {
    if (!filename) return 0;
    XFileDisk f;
    if (!f.open(filename, "wb")) return 0;
    int ok = toFile(&f);
    if (!f.close()) return 0;
    return ok;
}

// ---------------------------------------------------------------- XFileDisk

XFileDisk::XFileDisk(FILE* fp) : m_fp(fp), m_owned(false) {}

XFileDisk::~XFileDisk() {
    close();
}

bool XFileDisk::open(const char* filename, const char* mode) {
    close();
    if (!filename || !mode) return false;
    m_fp = std::fopen(filename, mode);
    m_owned = m_fp != nullptr;
    return m_fp != nullptr;
}

bool XFileDisk::close() {
    bool ok = true;
    if (m_fp && m_owned) ok = std::fclose(m_fp) == 0;
    m_fp = nullptr;
    m_owned = false;
    return ok;
}

size_t XFileDisk::read(void* buffer, unsigned size, unsigned count) {
    if (!m_fp || !buffer || size == 0) return 0;
    return std::fread(buffer, size, count, m_fp);
}

size_t XFileDisk::write(const void* buffer, unsigned size, unsigned count) {
    if (!m_fp || !buffer || size == 0) return 0;
    return std::fwrite(buffer, size, count, m_fp);
}

bool XFileDisk::seek(int offset, int origin) {
    return m_fp && std::fseek(m_fp, offset, origin) == 0;
}

long XFileDisk::tell() {
    return m_fp ? std::ftell(m_fp) : -1;
}

long XFileDisk::size() {
    if (!m_fp) return -1;
    long pos = std::ftell(m_fp);
    if (pos < 0 || std::fseek(m_fp, 0, SEEK_END) != 0) return -1;
    long end = std::ftell(m_fp);
    std::fseek(m_fp, pos, SEEK_SET);
    return end;
}

bool XFileDisk::flush() {
    return m_fp && std::fflush(m_fp) == 0;
}

bool XFileDisk::eof() {
    return !m_fp || std::feof(m_fp) != 0;
}

long XFileDisk::error() {
    return m_fp ? std::ferror(m_fp) : 1;
}

long XFileDisk::getC() {
    return m_fp ? std::fgetc(m_fp) : EOF;
}

// ---------------------------------------------------------------- XFileMem

XFileMem::XFileMem(unsigned char* buffer, unsigned size)
    : m_buf(buffer),
      m_size(buffer ? size : 0),
      m_capacity(buffer ? size : 0),
      m_pos(0),
      m_owned(buffer == nullptr),
      m_fixed(buffer != nullptr) {}

XFileMem::~XFileMem() {
    close();
}

bool XFileMem::close() {
    if (m_owned) std::free(m_buf);
    m_buf = nullptr;
    m_size = m_capacity = m_pos = 0;
    m_owned = true;
    m_fixed = false;
    return true;
}

bool XFileMem::grow(size_t need) {
    if (need <= m_capacity) return true;
    if (m_fixed) return false;
    size_t cap = m_capacity ? m_capacity : 4096;
    while (cap < need) {
        if (cap > (SIZE_MAX >> 1)) return false;
        cap <<= 1;
    }
    void* p = std::realloc(m_buf, cap);
    if (!p) return false;
    m_buf = static_cast<unsigned char*>(p);
    m_capacity = cap;
    return true;
}

size_t XFileMem::read(void* buffer, unsigned size, unsigned count) {
    if (!buffer || size == 0 || count == 0 || m_pos >= m_size) return 0;
    size_t avail = (m_size - m_pos) / size;
    size_t n = count < avail ? count : avail;
    std::memcpy(buffer, m_buf + m_pos, n * size);
    m_pos += n * size;
    return n;
}

size_t XFileMem::write(const void* buffer, unsigned size, unsigned count) {
    if (!buffer || size == 0 || count == 0) return 0;
    unsigned long long bytes = (unsigned long long)size * count;
    if (bytes > SIZE_MAX - m_pos) return 0;
    size_t n = count;
    if (!grow(m_pos + (size_t)bytes)) {
        // A caller's block takes what fits; an owned one that cannot grow takes nothing.
        if (!m_fixed || m_pos >= m_capacity) return 0;
        n = (m_capacity - m_pos) / size;
    }
    std::memcpy(m_buf + m_pos, buffer, n * size);
    m_pos += n * size;
    if (m_pos > m_size) m_size = m_pos;
    return n;
}

bool XFileMem::seek(int offset, int origin) {
    long long base = origin == SEEK_SET   ? 0
                     : origin == SEEK_CUR ? (long long)m_pos
                     : origin == SEEK_END ? (long long)m_size
                                          : -1;
    if (base < 0) return false;
    long long to = base + offset;
    if (to < 0 || (unsigned long long)to > m_size) return false;
    m_pos = (size_t)to;
    return true;
}

long XFileMem::tell() {
    return (long)m_pos;
}

long XFileMem::size() {
    return (long)m_size;
}

bool XFileMem::flush() {
    return true;
}

bool XFileMem::eof() {
    return m_pos >= m_size;
}

long XFileMem::error() {
    return 0;
}

long XFileMem::getC() {
    if (m_pos >= m_size) return EOF;
    return m_buf[m_pos++];
}

}  // namespace tarvo
