// The fastest PNG level writes its own image data stream (row bands in
// parallel, literals and runs): every picture must come back unchanged through
// the reader, the file must not depend on the thread count, and flat areas
// must actually shrink.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/all_paths.h"
#include "support/test_util.h"
#include "tarvo/mat.h"
#include "tarvo/parallel.h"

namespace tarvo {
namespace {

class PngFast : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = test::tempDir();
        ASSERT_FALSE(dir_.empty());
    }
    void TearDown() override {
        setNumThreads(0);
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }
    std::string path(const std::string& name) const { return dir_ + "/" + name; }
    std::vector<char> bytes(const std::string& p) const {
        std::ifstream f(p, std::ios::binary);
        return std::vector<char>(std::istreambuf_iterator<char>(f), {});
    }
    // Writes img at level 1 and requires the reader to give it back.
    void roundTrip(const Mat& img, const std::string& what) {
        const std::string p = path("rt.png");
        ASSERT_TRUE(img.toImage(p.c_str(), 95, 1)) << what;
        Mat back;
        ASSERT_TRUE(back.fromImage(p.c_str(), IMG_UNCHANGED)) << what;
        EXPECT_TRUE(test::sameBytes(img, back)) << what;
    }
    std::string dir_;
};

// Runs of every length around the match limits (3 is too short to be a run,
// 4 the shortest, 258 the longest one match holds), runs that cross rows and
// bands, and noise between them.
Mat runs(int rows, int cols, int cn, uint32_t seed) {
    Mat m = test::randomMat(rows, cols, MAKETYPE(MAT_Tuchar, cn), seed);
    const int lengths[] = {2, 3, 4, 5, 257, 258, 259, 260, 517, 1000, 5000};
    const size_t total = size_t(rows) * cols * cn;
    size_t pos = 0, k = 0;
    while (pos < total) {
        const size_t len = size_t(lengths[k % 11]) * (1 + k % 3);
        const unsigned char v = (unsigned char)(k * 37);
        for (size_t i = pos; i < pos + len && i < total; i++)
            m.data.ptr[i / (size_t(cols) * cn)][i % (size_t(cols) * cn)] = v;
        pos += len + 1 + k % 7;  // a few noisy bytes between runs
        k++;
    }
    return m;
}

TEST_F(PngFast, EveryShapeAndContentComesBack) {
    struct Shape {
        int rows, cols, cn;
    } shapes[] = {{1, 1, 1},   {1, 1, 4},     {1, 517, 3}, {613, 1, 4},
                  {37, 29, 1}, {211, 307, 3}, {97, 401, 4}};
    for (const Shape& s : shapes) {
        const std::string tag =
            std::to_string(s.rows) + "x" + std::to_string(s.cols) + "x" + std::to_string(s.cn);
        roundTrip(test::randomMat(s.rows, s.cols, MAKETYPE(MAT_Tuchar, s.cn), 3), "noise " + tag);
        roundTrip(runs(s.rows, s.cols, s.cn, 4), "runs " + tag);
        Mat flat(s.rows, s.cols, MAKETYPE(MAT_Tuchar, s.cn));
        flat = 200.0;
        roundTrip(flat, "flat " + tag);
    }
    // Bands of two rows and a last band of one (rows near the widest the
    // reader takes), and a constant picture whose only symbols are one
    // literal and one run length.
    Mat wide(5, 30000, MAT_Tuchar4);
    wide = 0.0;
    roundTrip(wide, "wide flat");
    roundTrip(runs(5, 30000, 4, 5), "wide runs");
    // Rows through a row table that is not contiguous.
    const Mat big = runs(300, 400, 3, 6);
    Mat part;
    big.subRefMat(Rect_<int>(13, 7, 301, 250), part);
    roundTrip(part, "sub-matrix");
}

TEST_F(PngFast, FileDoesNotDependOnTheThreadCount) {
    const Mat img = runs(900, 700, 3, 7);  // several bands
    const std::string a = path("a.png"), b = path("b.png");
    setNumThreads(1);
    ASSERT_TRUE(img.toImage(a.c_str(), 95, 1));
    setNumThreads(2);
    ASSERT_TRUE(img.toImage(b.c_str(), 95, 1));
    const std::vector<char> fa = bytes(a), fb = bytes(b);
    ASSERT_FALSE(fa.empty());
    EXPECT_TRUE(fa == fb);
}

TEST_F(PngFast, FlatAreasAndSmoothNoiseCompress) {
    // A flat picture is almost all runs; a gradient with a little noise has
    // small Sub residuals that the per-band code packs below 8 bits.
    Mat flat(600, 800, MAT_Tuchar3);
    flat = 90.0;
    Mat smooth(600, 800, MAT_Tuchar3);
    for (int r = 0; r < 600; r++)
        for (int i = 0; i < 2400; i++)
            smooth.ptr<unsigned char>(r)[i] = (unsigned char)((i / 3 + r) / 6 + (i * 7 + r) % 3);
    const size_t raw = size_t(600) * 800 * 3;
    const std::string pf = path("flat.png"), ps = path("smooth.png");
    ASSERT_TRUE(flat.toImage(pf.c_str(), 95, 1));
    ASSERT_TRUE(smooth.toImage(ps.c_str(), 95, 1));
    EXPECT_LT(std::filesystem::file_size(pf), raw / 50);
    EXPECT_LT(std::filesystem::file_size(ps), raw / 2);
    Mat back;
    ASSERT_TRUE(back.fromImage(ps.c_str(), IMG_UNCHANGED));
    EXPECT_TRUE(test::sameBytes(smooth, back));
}

TEST_F(PngFast, WriteErrorsAreReported) {
    const Mat img = test::randomMat(5, 5, MAT_Tuchar3, 1);
    EXPECT_FALSE(img.toImage((dir_ + "/no/such/dir/x.png").c_str(), 95, 1));
    std::filesystem::create_directory(path("d.png"));
    EXPECT_FALSE(img.toImage(path("d.png").c_str(), 95, 1));
}

}  // namespace
}  // namespace tarvo
