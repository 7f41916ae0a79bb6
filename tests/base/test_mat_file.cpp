// The TMAT and TVEC records: exact byte layout, round trips for every depth,
// streams with and without a known length, and records that lie about their size.
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/mat.h"

using namespace tarvo;
using Bytes = std::vector<unsigned char>;

namespace {

// A read-only stream that does not know its length or position, like a pipe:
// the readers must fall back to bounded chunks.
class UnsizedStream : public XFile {
public:
    explicit UnsizedStream(Bytes b) : bytes_(std::move(b)) {}
    bool close() override { return true; }
    size_t read(void* buffer, unsigned size, unsigned count) override {
        if (size == 0) return 0;
        size_t n = std::min<size_t>(count, (bytes_.size() - pos_) / size);
        std::memcpy(buffer, bytes_.data() + pos_, n * size);
        pos_ += n * size;
        maxRequest_ = std::max<size_t>(maxRequest_, (size_t)size * count);
        return n;
    }
    size_t write(const void*, unsigned, unsigned) override { return 0; }
    bool seek(int, int) override { return false; }
    long tell() override { return -1; }
    long size() override { return -1; }
    bool flush() override { return true; }
    bool eof() override { return pos_ >= bytes_.size(); }
    long error() override { return 0; }
    long getC() override {
        unsigned char c;
        return read(&c, 1, 1) == 1 ? c : -1;
    }
    size_t maxRequest_ = 0;

private:
    Bytes bytes_;
    size_t pos_ = 0;
};

Bytes contents(XFileMem& f) {
    return Bytes(f.getBuffer(), f.getBuffer() + f.size());
}

void put32le(Bytes& b, uint32_t v) {
    for (int i = 0; i < 4; i++) b.push_back((unsigned char)(v >> (8 * i)));
}

Bytes matHeader(const char* magic, uint32_t version, int32_t type, int32_t rows, int32_t cols) {
    Bytes b(magic, magic + 4);
    put32le(b, version);
    put32le(b, (uint32_t)type);
    put32le(b, (uint32_t)rows);
    put32le(b, (uint32_t)cols);
    return b;
}

TEST(MatFile, RecordLayoutIsLittleEndianByteForByte) {
    Mat_<short> m(2, 3);
    const short v[6] = {1, -2, 0x1234, 300, -32768, 32767};
    for (int i = 0; i < 6; i++) m.ptr<short>(i / 3)[i % 3] = v[i];
    XFileMem f;
    ASSERT_EQ(m.toFile(&f), 1);
    Bytes expect = matHeader("TMAT", 1, MAT_Tshort, 2, 3);
    for (short s : v) {
        expect.push_back((unsigned char)(s & 0xFF));
        expect.push_back((unsigned char)((unsigned short)s >> 8));
    }
    EXPECT_EQ(contents(f), expect);

    Vec_<double> vec(2);
    vec[0] = 1.0;
    vec[1] = -2.5;
    XFileMem g;
    ASSERT_EQ(vec.toFile(&g), 1);
    Bytes vexpect = {'T', 'V', 'E', 'C', 1, 0, 0, 0, 5, 0, 0, 0, 2, 0, 0, 0};
    // IEEE-754 binary64, little-endian: 1.0 = 0x3FF0..., -2.5 = 0xC004...
    const Bytes one = {0, 0, 0, 0, 0, 0, 0xF0, 0x3F}, m25 = {0, 0, 0, 0, 0, 0, 0x04, 0xC0};
    vexpect.insert(vexpect.end(), one.begin(), one.end());
    vexpect.insert(vexpect.end(), m25.begin(), m25.end());
    EXPECT_EQ(contents(g), vexpect);
}

TEST(MatFile, EveryDepthAndSeveralChannelCountsRoundTrip) {
    for (int depth = MAT_Tuchar; depth <= MAT_Tdouble; depth++)
        for (int cn : {1, 2, 3, 4, 7}) {
            const int type = MAKETYPE(depth, cn);
            const Mat src = test::randomMat(9, 13, type, (uint32_t)(depth * 10 + cn));
            XFileMem f;
            ASSERT_EQ(src.toFile(&f), 1);
            EXPECT_EQ((size_t)f.size(), 20 + (size_t)9 * 13 * cn * depthSize(depth));
            // Through the memory stream (length known) ...
            ASSERT_TRUE(f.seek(0, SEEK_SET));
            Mat back;
            ASSERT_EQ(back.fromFile(&f), 1) << "depth " << depth << " cn " << cn;
            EXPECT_TRUE(test::matEqual(src, back));
            // ... and through a stream that knows neither length nor position.
            UnsizedStream u(contents(f));
            Mat back2;
            ASSERT_EQ(back2.fromFile(&u), 1);
            EXPECT_TRUE(test::matEqual(src, back2));
        }
    for (int depth = MAT_Tuchar; depth <= MAT_Tdouble; depth++) {
        Mat asMat = test::randomMat(1, 17, depth, (uint32_t)depth);
        const Vec src(asMat, true);
        XFileMem f;
        ASSERT_EQ(src.toFile(&f), 1);
        ASSERT_TRUE(f.seek(0, SEEK_SET));
        Vec back;
        ASSERT_EQ(back.fromFile(&f), 1);
        ASSERT_EQ(back.length(), 17);
        ASSERT_EQ(back.type(), depth);
        EXPECT_EQ(std::memcmp(back.data.ptr, src.data.ptr, 17 * (size_t)depthSize(depth)), 0);
    }
}

TEST(MatFile, SubMatricesEmptyObjectsAndConsecutiveRecords) {
    // A reference writes only its own rectangle; records follow each other in
    // one stream, as other files embed them.
    const Mat big = test::randomMat(20, 30, MAT_Tfloat3, 3);
    Mat part;
    big.subRefMat(Rect_<int>(4, 6, 11, 5), part);
    const Mat second = test::randomMat(3, 2, MAT_Tint, 4);
    XFileMem f;
    ASSERT_EQ(part.toFile(&f), 1);
    ASSERT_EQ(Mat().toFile(&f), 1);
    ASSERT_EQ(second.toFile(&f), 1);
    ASSERT_TRUE(f.seek(0, SEEK_SET));
    Mat a, e(4, 4, MAT_Tuchar), b;
    ASSERT_EQ(a.fromFile(&f), 1);
    EXPECT_TRUE(test::matEqual(part, a));
    EXPECT_EQ(e.fromFile(&f), 1);
    EXPECT_TRUE(e.empty());
    ASSERT_EQ(b.fromFile(&f), 1);
    EXPECT_TRUE(test::matEqual(second, b));
    EXPECT_EQ(f.tell(), f.size());

    // Through a file on disk as well.
    const std::string dir = test::tempDir();
    const std::string p = dir + "/m.tmat";
    ASSERT_EQ(second.toFile(p.c_str()), 1);
    Mat c;
    ASSERT_EQ(c.fromFile(p.c_str()), 1);
    EXPECT_TRUE(test::matEqual(second, c));
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
}

TEST(MatFile, RecordsThatLieAreRefusedAndLeaveTheObjectEmpty) {
    const Bytes pixels(64, 7);
    struct Case {
        Bytes bytes;
        const char* what;
    };
    std::vector<Case> cases;
    auto with = [&](Bytes h) {
        h.insert(h.end(), pixels.begin(), pixels.end());
        return h;
    };
    cases.push_back({with(matHeader("TMAX", 1, 1, 2, 2)), "magic"});
    cases.push_back({with(matHeader("TMAT", 2, 1, 2, 2)), "version"});
    cases.push_back({with(matHeader("TMAT", 1, 6, 2, 2)), "depth 6"});
    cases.push_back({with(matHeader("TMAT", 1, 0, 2, 2)), "depth 0"});
    cases.push_back({with(matHeader("TMAT", 1, 1 | 0x200, 2, 2)), "bits above the type"});
    cases.push_back({with(matHeader("TMAT", 1, 1, -2, 2)), "negative rows"});
    cases.push_back({with(matHeader("TMAT", 1, 1, 0, 2)), "zero rows, some cols"});
    cases.push_back({with(matHeader("TMAT", 1, 1, 9, 8)), "one byte more than present"});
    cases.push_back({with(matHeader("TMAT", 1, MAT_Tdouble3, 46340, 46340)), "48 GiB claimed"});
    cases.push_back({with(matHeader("TMAT", 1, 1, 0x7FFFFFFF, 0x7FFFFFFF)), "2^62 claimed"});
    cases.push_back({matHeader("TMAT", 1, 1, 2, 2), "no pixels"});
    cases.push_back({Bytes{'T', 'M', 'A', 'T', 1, 0}, "cut header"});
    for (const Case& c : cases) {
        Bytes copy = c.bytes;
        XFileMem f(copy.data(), (unsigned)copy.size());
        Mat m(2, 2, MAT_Tuchar);
        EXPECT_EQ(m.fromFile(&f), 0) << c.what;
        EXPECT_TRUE(m.empty()) << c.what;
        UnsizedStream u(c.bytes);
        Mat m2(2, 2, MAT_Tuchar);
        EXPECT_EQ(m2.fromFile(&u), 0) << c.what;
        EXPECT_TRUE(m2.empty()) << c.what;
        // Without a known length the reader asks for bounded pieces only.
        EXPECT_LE(u.maxRequest_, size_t(1) << 24) << c.what;
    }

    Bytes vecLie = {'T', 'V', 'E', 'C', 1, 0, 0, 0, 4, 0, 0, 0};
    put32le(vecLie, 1000000);
    vecLie.insert(vecLie.end(), pixels.begin(), pixels.end());
    XFileMem vf(vecLie.data(), (unsigned)vecLie.size());
    Vec v(3, MAT_Tfloat);
    EXPECT_EQ(v.fromFile(&vf), 0);
    EXPECT_FALSE(v.isValid());
    UnsizedStream vu(vecLie);
    Vec v2(3, MAT_Tfloat);
    EXPECT_EQ(v2.fromFile(&vu), 0);
    EXPECT_FALSE(v2.isValid());
    EXPECT_EQ(Mat().fromFile((XFile*)nullptr), 0);
}

}  // namespace
