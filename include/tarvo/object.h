// Object, the root of the serialisable classes, and XFile, the byte stream
// they read from and write to (a disk file or a block of memory).
#pragma once

#include <cstdio>

#include "tarvo/export.h"

namespace tarvo {

// Abstract byte stream. read/write follow fread/fwrite: they return the number
// of whole items transferred, never more than the stream can give.
class TARVO_BASE_EXPORTS XFile {
public:
    virtual ~XFile() {}
    // Closes the stream; true on success.
    virtual bool close() = 0;
    // Reads up to count items of size bytes into buffer; returns items read.
    virtual size_t read(void* buffer, unsigned size, unsigned count) = 0;
    // Writes count items of size bytes; returns items written.
    virtual size_t write(const void* buffer, unsigned size, unsigned count) = 0;
    // Moves the position (origin SEEK_SET, SEEK_CUR or SEEK_END); true on success.
    virtual bool seek(int offset, int origin) = 0;
    // Current position in bytes, -1 when unknown.
    virtual long tell() = 0;
    // Total size in bytes, -1 when unknown.
    virtual long size() = 0;
    virtual bool flush() = 0;
    // True at or past the end of the data.
    virtual bool eof() = 0;
    // Non-zero after an error.
    virtual long error() = 0;
    // Writes one byte through write(); true when write() transferred it.
    virtual bool putC(unsigned char c) { return write(&c, 1, 1) == 1; }
    // Reads one byte, EOF (-1) at the end.
    virtual long getC() = 0;
};

// XFile over a C stream. Owns the stream it opened itself with open().
class TARVO_BASE_EXPORTS XFileDisk : public XFile {
public:
    // Wraps an open stream (not owned, not closed by the destructor); null gives a closed file.
    explicit XFileDisk(FILE* fp = nullptr);
    ~XFileDisk() override;
    // Opens a file with fopen modes; closes any stream it owned before. False on failure.
    bool open(const char* filename, const char* mode);
    bool close() override;
    size_t read(void* buffer, unsigned size, unsigned count) override;
    size_t write(const void* buffer, unsigned size, unsigned count) override;
    bool seek(int offset, int origin) override;
    long tell() override;
    long size() override;
    bool flush() override;
    bool eof() override;
    long error() override;
    long getC() override;
    // The underlying stream, null when closed.
    FILE* getFP() const { return m_fp; }

private:
    FILE* m_fp;
    bool m_owned;
};

// XFile over a memory block. Reads never go past the block; a block supplied
// by the caller is never grown or freed. With no block, writes grow an owned one.
class TARVO_BASE_EXPORTS XFileMem : public XFile {
public:
    // Wraps buffer of size bytes (not owned); a null buffer starts an owned, growing block.
    XFileMem(unsigned char* buffer = nullptr, unsigned size = 0);
    ~XFileMem() override;
    bool close() override;
    size_t read(void* buffer, unsigned size, unsigned count) override;
    size_t write(const void* buffer, unsigned size, unsigned count) override;
    bool seek(int offset, int origin) override;
    long tell() override;
    long size() override;
    bool flush() override;
    bool eof() override;
    long error() override;
    long getC() override;
    // The block (owned or wrapped) and its length in bytes.
    unsigned char* getBuffer() const { return m_buf; }

private:
    bool grow(size_t need);
    unsigned char* m_buf;
    size_t m_size;      // bytes of valid data
    size_t m_capacity;  // bytes allocated
    size_t m_pos;
    bool m_owned;
    bool m_fixed;  // wraps a caller's block: never grows
};

// Root of the serialisable classes. Each operation returns non-zero on success.
class TARVO_BASE_EXPORTS Object {
public:
    virtual ~Object() {}
    virtual int fromFile(XFile* file) {
        (void)file;
        return 0;
    }
    // Opens the file for binary reading and calls fromFile(XFile*).
    virtual int fromFile(const char* filename);
    virtual int toFile(XFile* file) const {
        (void)file;
        return 0;
    }
    // Opens the file for binary writing and calls toFile(XFile*).
    virtual int toFile(const char* filename) const;
};

}  // namespace tarvo
