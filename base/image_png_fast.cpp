// The fastest PNG writing level. zlib's general matcher costs far more than
// the picture is worth at this level, so the image data stream is built here:
// rows take the Sub filter, and each band of rows becomes one deflate block
// with its own Huffman code over literals and runs of the previous byte
// (distance one, which after the Sub filter is where flat areas repeat). Bands
// are compressed independently, so they can run on every core; each ends
// byte-aligned with an empty stored block, the stream is closed by a final
// empty stored block, and the checksum is combined from the bands' checksums
// in order. The band size depends on the row size only, so the file is the
// same whatever the thread count. Chunk checksums and the zlib stream framing
// come from zlib itself.
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "detail/parallel_rows.h"
#include "image_io.h"

namespace tarvo {
namespace detail {
namespace {

// About this many filtered bytes per band: large enough that a band's code
// table (about 200 bytes) is noise, small enough for two cores to share a
// 1080p picture evenly.
constexpr size_t kBandBytes = size_t(1) << 18;

constexpr int kMaxBits = 15;     // literal/length code
constexpr int kMaxClenBits = 7;  // code-length code
constexpr int kLitCodes = 286;   // 0-255 literals, 256 end of block, 257-285 lengths
constexpr int kMinRun = 4;       // shorter runs cost more as a match than as literals
constexpr int kMaxRun = 258;

// Length symbol, extra-bit count and extra value of each match length 3..258.
struct LengthCode {
    uint16_t sym;
    uint8_t extraBits;
    uint8_t extra;
};

struct LengthTable {
    LengthCode code[kMaxRun + 1];
    LengthTable() {
        static const int base[29] = {3,  4,  5,  6,   7,   8,   9,   10,  11, 13,
                                     15, 17, 19, 23,  27,  31,  35,  43,  51, 59,
                                     67, 83, 99, 115, 131, 163, 195, 227, 258};
        static const int bits[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                     2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
        std::memset(code, 0, sizeof code);
        for (int s = 0; s < 29; s++) {
            const int end = s == 28 ? 259 : base[s + 1];
            for (int len = base[s]; len < end && len <= kMaxRun; len++)
                code[len] = LengthCode{uint16_t(257 + s), uint8_t(bits[s]), uint8_t(len - base[s])};
        }
        // 258 has its own symbol with no extra bits, not 227 + 31.
        code[258] = LengthCode{285, 0, 0};
    }
};

const LengthTable& lengthTable() {
    static const LengthTable t;
    return t;
}

// Huffman code lengths for freq (n symbols), no longer than maxBits. Every
// code built has at least two symbols, so it is complete, which every
// inflater requires. Lengths that come out too long are brought down by
// halving the counts (rare: it needs a very skewed histogram).
void huffmanLengths(const uint32_t* freqIn, int n, int maxBits, uint8_t* len) {
    std::vector<uint32_t> freq(freqIn, freqIn + n);
    int used = 0;
    for (int i = 0; i < n; i++) used += freq[i] != 0;
    for (int i = 0; used < 2 && i < n; i++)
        if (freq[i] == 0) freq[i] = 1, used++;
    struct Node {
        uint64_t weight;
        int left, right;
    };
    std::vector<Node> nodes;
    std::vector<int> order, depth;
    for (;;) {
        nodes.clear();
        order.clear();
        for (int i = 0; i < n; i++)
            if (freq[i]) {
                nodes.push_back(Node{freq[i], -1, i});
                order.push_back(int(nodes.size()) - 1);
            }
        // Two-queue construction over leaves sorted by weight (ties by symbol,
        // so the code is the same on every platform).
        std::stable_sort(order.begin(), order.end(),
                         [&](int a, int b) { return nodes[a].weight < nodes[b].weight; });
        std::vector<int> merged;
        size_t li = 0, mi = 0;
        auto take = [&]() {
            if (li < order.size() &&
                (mi >= merged.size() || nodes[order[li]].weight <= nodes[merged[mi]].weight))
                return order[li++];
            return merged[mi++];
        };
        const size_t leaves = order.size();
        for (size_t k = 1; k < leaves; k++) {
            const int a = take(), b = take();
            nodes.push_back(Node{nodes[a].weight + nodes[b].weight, a, b});
            merged.push_back(int(nodes.size()) - 1);
        }
        // Depths from the root down; internal nodes come after their children.
        depth.assign(nodes.size(), 0);
        int longest = 0;
        std::fill(len, len + n, uint8_t(0));
        for (int k = int(nodes.size()) - 1; k >= 0; k--) {
            if (nodes[k].left >= 0) {
                depth[nodes[k].left] = depth[k] + 1;
                depth[nodes[k].right] = depth[k] + 1;
            } else {
                len[nodes[k].right] = uint8_t(std::min(depth[k], 255));
                longest = std::max(longest, depth[k]);
            }
        }
        if (longest <= maxBits) return;
        for (int i = 0; i < n; i++)
            if (freq[i]) freq[i] = (freq[i] + 1) / 2;
    }
}

// Canonical codes for the lengths, bit-reversed for the LSB-first stream.
void canonicalCodes(const uint8_t* len, int n, uint16_t* code) {
    int count[16] = {0};
    for (int i = 0; i < n; i++) count[len[i]]++;
    count[0] = 0;
    int next[16] = {0};
    int c = 0;
    for (int b = 1; b < 16; b++) {
        c = (c + count[b - 1]) << 1;
        next[b] = c;
    }
    for (int i = 0; i < n; i++) {
        code[i] = 0;
        if (!len[i]) continue;
        int v = next[len[i]]++, r = 0;
        for (int b = 0; b < len[i]; b++) r = (r << 1) | ((v >> b) & 1);
        code[i] = uint16_t(r);
    }
}

// LSB-first bit writer into a buffer sized by the caller for the worst case.
class BitWriter {
public:
    explicit BitWriter(unsigned char* out) : m_out(out), m_pos(0) {}
    void put(uint32_t bits, int n) {
        m_acc |= uint64_t(bits) << m_n;
        m_n += n;
        if (m_n >= 32) {
            for (int k = 0; k < 4; k++) m_out[m_pos++] = (unsigned char)(m_acc >> (8 * k));
            m_acc >>= 32;
            m_n -= 32;
        }
    }
    // Pads to a byte boundary and returns the bytes written.
    size_t finish() {
        while (m_n > 0) {
            m_out[m_pos++] = (unsigned char)m_acc;
            m_acc >>= 8;
            m_n -= 8;
        }
        m_n = 0;
        return m_pos;
    }

private:
    unsigned char* m_out;
    size_t m_pos;
    uint64_t m_acc = 0;
    int m_n = 0;
};

// One band: its filtered bytes, compressed as one block, then aligned.
struct Band {
    std::vector<unsigned char> out;  // the band's IDAT chunk, framing and CRC included
    uLong adler = 1;
    size_t rawBytes = 0;
};

// Tokens: a literal byte (< 256) or a run length plus 256.
size_t tokenize(const unsigned char* p, size_t n, uint16_t* tok, uint32_t* freq) {
    const LengthTable& lt = lengthTable();
    size_t t = 0, i = 0;
    while (i < n) {
        if (i > 0 && i + kMinRun <= n && p[i] == p[i - 1] && p[i + 1] == p[i - 1] &&
            p[i + 2] == p[i - 1] && p[i + 3] == p[i - 1]) {
            const unsigned char v = p[i - 1];
            size_t run = kMinRun;
            const size_t lim = std::min<size_t>(kMaxRun, n - i);
            while (run < lim && p[i + run] == v) run++;
            tok[t++] = uint16_t(256 + run);
            freq[lt.code[run].sym]++;
            i += run;
        } else {
            tok[t++] = p[i];
            freq[p[i]]++;
            i++;
        }
    }
    return t;
}

// Working storage of one stripe of bands, allocated once and reused.
struct Scratch {
    std::vector<unsigned char> raw, out;
    std::vector<uint16_t> tok;
};

void encodeBand(const Mat& img, int r0, int r1, Band& band, Scratch& sc) {
    const int cn = img.channels();
    const size_t rowBytes = size_t(img.cols()) * size_t(cn) + 1;
    const size_t n = rowBytes * size_t(r1 - r0);
    if (sc.raw.size() < n) sc.raw.resize(n);
    std::vector<unsigned char>& raw = sc.raw;
    for (int r = r0; r < r1; r++) {
        const unsigned char* s = img.ptr<unsigned char>(r);
        unsigned char* d = raw.data() + rowBytes * size_t(r - r0);
        d[0] = 1;  // Sub: each byte minus the same channel one pixel to the left
        unsigned char* __restrict f = d + 1;
        const size_t m = rowBytes - 1;
        for (size_t i = 0; i < size_t(cn) && i < m; i++) f[i] = s[i];
        for (size_t i = size_t(cn); i < m; i++) f[i] = (unsigned char)(s[i] - s[i - size_t(cn)]);
    }
    band.rawBytes = n;
    band.adler = adler32_z(1, raw.data(), n);

    if (sc.tok.size() < n) sc.tok.resize(n);
    std::vector<uint16_t>& tok = sc.tok;
    uint32_t freq[kLitCodes] = {0};
    const size_t nt = tokenize(raw.data(), n, tok.data(), freq);
    freq[256] = 1;

    uint8_t len[kLitCodes + 1];
    uint16_t code[kLitCodes];
    huffmanLengths(freq, kLitCodes, kMaxBits, len);
    canonicalCodes(len, kLitCodes, code);
    len[kLitCodes] = 1;  // the one distance code (distance 1)

    // The code lengths themselves, sent with the 0-15 alphabet only.
    uint32_t cfreq[19] = {0};
    for (int i = 0; i <= kLitCodes; i++) cfreq[len[i]]++;
    uint8_t clen[19];
    uint16_t ccode[19];
    huffmanLengths(cfreq, 19, kMaxClenBits, clen);
    canonicalCodes(clen, 19, ccode);

    // Worst case: 15 bits a literal, headers, the aligning stored block; plus
    // the chunk framing (length, type, CRC).
    const size_t worst = 12 + (n * 15) / 8 + 1024;
    if (sc.out.size() < worst) sc.out.resize(worst);
    unsigned char* data = sc.out.data() + 8;
    BitWriter bw(data);
    bw.put(0, 1);                // not the last block
    bw.put(2, 2);                // dynamic Huffman codes
    bw.put(kLitCodes - 257, 5);  // HLIT
    bw.put(0, 5);                // HDIST: one distance code
    bw.put(19 - 4, 4);           // HCLEN: all 19 code-length codes
    static const int clOrder[19] = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                    11, 4,  12, 3, 13, 2, 14, 1, 15};
    for (int k = 0; k < 19; k++) bw.put(clen[clOrder[k]], 3);
    for (int i = 0; i <= kLitCodes; i++) bw.put(ccode[len[i]], clen[len[i]]);

    const LengthTable& lt = lengthTable();
    for (size_t k = 0; k < nt; k++) {
        const unsigned t = tok[k];
        if (t < 256) {
            bw.put(code[t], len[t]);
        } else {
            const LengthCode& lc = lt.code[t - 256];
            bw.put(code[lc.sym], len[lc.sym]);
            bw.put(lc.extra, lc.extraBits);
            bw.put(0, 1);  // distance code 0 (distance 1), one bit
        }
    }
    bw.put(code[256], len[256]);
    // An empty stored block brings the band to a byte boundary.
    bw.put(0, 1);
    bw.put(0, 2);
    size_t size = bw.finish();
    const unsigned char stored[4] = {0x00, 0x00, 0xFF, 0xFF};
    std::memcpy(data + size, stored, 4);
    size += 4;

    unsigned char* c = sc.out.data();
    c[0] = (unsigned char)(size >> 24), c[1] = (unsigned char)(size >> 16);
    c[2] = (unsigned char)(size >> 8), c[3] = (unsigned char)size;
    std::memcpy(c + 4, "IDAT", 4);
    const uLong crc = crc32_z(crc32(0, nullptr, 0), c + 4, size + 4);
    unsigned char* e = data + size;
    e[0] = (unsigned char)(crc >> 24), e[1] = (unsigned char)(crc >> 16);
    e[2] = (unsigned char)(crc >> 8), e[3] = (unsigned char)crc;
    // Only the band's own bytes are kept until the file is written.
    band.out.assign(c, c + size + 12);
}

void put32(std::vector<unsigned char>& v, uint32_t x) {
    const unsigned char b[4] = {(unsigned char)(x >> 24), (unsigned char)(x >> 16),
                                (unsigned char)(x >> 8), (unsigned char)x};
    v.insert(v.end(), b, b + 4);
}

// Appends a whole chunk: length, type, data, CRC of type and data.
void putChunk(std::vector<unsigned char>& v, const char* type, const unsigned char* d, size_t n) {
    put32(v, uint32_t(n));
    const size_t start = v.size();
    v.insert(v.end(), type, type + 4);
    v.insert(v.end(), d, d + n);
    put32(v, uint32_t(crc32_z(crc32(0, nullptr, 0), v.data() + start, n + 4)));
}

}  // namespace

bool encodePngFast(const Mat& img, const char* path) {
    const int cn = img.channels();
    if (img.empty() || img.type() != MAT_Tuchar || (cn != 1 && cn != 3 && cn != 4)) return false;
    const size_t rowBytes = size_t(img.cols()) * size_t(cn) + 1;
    const int bandRows =
        int(std::max<size_t>(1, std::min<size_t>(kBandBytes / rowBytes, size_t(img.rows()))));
    const int nBands = (img.rows() + bandRows - 1) / bandRows;
    std::vector<Band> bands(static_cast<size_t>(nBands));
    parallelRows(nBands, double(rowBytes) * img.rows(), [&](int b0, int b1) {
        Scratch sc;
        for (int b = b0; b < b1; b++)
            encodeBand(img, b * bandRows, std::min(img.rows(), (b + 1) * bandRows),
                       bands[size_t(b)], sc);
    });

    std::vector<unsigned char> head;
    static const unsigned char sig[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    head.insert(head.end(), sig, sig + 8);
    unsigned char ihdr[13];
    const uint32_t w = uint32_t(img.cols()), h = uint32_t(img.rows());
    for (int k = 0; k < 4; k++) {
        ihdr[k] = (unsigned char)(w >> (24 - 8 * k));
        ihdr[4 + k] = (unsigned char)(h >> (24 - 8 * k));
    }
    ihdr[8] = 8;                              // bit depth
    ihdr[9] = cn == 1 ? 0 : cn == 3 ? 2 : 6;  // grey, RGB, RGBA
    ihdr[10] = ihdr[11] = ihdr[12] = 0;       // deflate, adaptive filters, no interlace
    putChunk(head, "IHDR", ihdr, 13);
    const unsigned char zhead[2] = {0x78, 0x01};  // deflate, 32K window, fastest
    putChunk(head, "IDAT", zhead, 2);

    uLong adler = 1;
    for (const Band& b : bands) adler = adler32_combine(adler, b.adler, z_off_t(b.rawBytes));
    const unsigned char tail[9] = {0x01,
                                   0x00,
                                   0x00,
                                   0xFF,
                                   0xFF,  // last, empty, stored
                                   (unsigned char)(adler >> 24),
                                   (unsigned char)(adler >> 16),
                                   (unsigned char)(adler >> 8),
                                   (unsigned char)adler};
    std::vector<unsigned char> end;
    putChunk(end, "IDAT", tail, 9);
    putChunk(end, "IEND", nullptr, 0);

    FILE* fp = std::fopen(path, "wb");
    if (!fp) return false;
    bool ok = std::fwrite(head.data(), 1, head.size(), fp) == head.size();
    for (const Band& b : bands)
        ok = ok && std::fwrite(b.out.data(), 1, b.out.size(), fp) == b.out.size();
    ok = ok && std::fwrite(end.data(), 1, end.size(), fp) == end.size();
    if (std::fclose(fp) != 0) ok = false;
    if (!ok) std::remove(path);
    return ok;
}

}  // namespace detail
}  // namespace tarvo
