// Reading pictures into matrices that already hold something: storage that
// fits is decoded into, anything else is replaced, and the result is always
// the one a fresh matrix gets. Also the file reader around a buffer boundary.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/all_paths.h"
#include "support/test_util.h"
#include "tarvo/mat.h"

namespace tarvo {
namespace {

class ImageReuse : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = test::tempDir();
        ASSERT_FALSE(dir_.empty());
    }
    void TearDown() override {
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }
    std::string path(const std::string& name) const { return dir_ + "/" + name; }
    std::string dir_;
};

const unsigned long kFlags[] = {IMG_GRAY, IMG_COLOR, IMG_GRAYSCALE, IMG_UNCHANGED};

TEST_F(ImageReuse, EveryDestinationGetsTheFreshResult) {
    const Mat grey = test::randomMat(37, 53, MAT_Tuchar, 1);
    const Mat rgb = test::randomMat(37, 53, MAT_Tuchar3, 2);
    const Mat rgba = test::randomMat(29, 61, MAT_Tuchar4, 3);
    struct File {
        const Mat* img;
        std::string name;
    } files[] = {{&grey, "g.png"}, {&rgb, "c.png"}, {&rgba, "a.png"}, {&rgb, "c.jpg"},
                 {&grey, "g.jpg"}, {&rgb, "c.bmp"}, {&rgb, "c.ppm"},  {&grey, "g.pgm"}};
    for (const File& f : files) {
        const std::string p = path(f.name);
        ASSERT_TRUE(f.img->toImage(p.c_str(), 90, 6)) << f.name;
        for (unsigned long flags : kFlags) {
            const std::string what = f.name + " flags " + std::to_string(flags);
            Mat fresh;
            ASSERT_TRUE(fresh.fromImage(p.c_str(), flags)) << what;

            // The same matrix twice: the second read lands in the first one's storage.
            Mat same;
            ASSERT_TRUE(same.fromImage(p.c_str(), flags));
            const unsigned char* block = same.data.ptr[0];
            same = 77.0;
            ASSERT_TRUE(same.fromImage(p.c_str(), flags));
            if (fresh.channels() == f.img->channels()) {
                EXPECT_EQ(same.data.ptr[0], block) << what << ": storage not reused";
            }
            EXPECT_TRUE(test::sameBytes(fresh, same)) << what;

            // Another shape and type.
            Mat other(5, 300, MAT_Tfloat3);
            other = 3.0;
            ASSERT_TRUE(other.fromImage(p.c_str(), flags));
            EXPECT_TRUE(test::sameBytes(fresh, other)) << what;

            // A reference into a bigger matrix of the right shape: the parent's
            // pixels stay untouched.
            Mat parent(fresh.rows() + 4, fresh.cols() + 6, fresh.type1());
            parent = 9.0;
            Mat view(parent, Rect_<int>(3, 2, fresh.cols(), fresh.rows()));
            ASSERT_TRUE(view.fromImage(p.c_str(), flags));
            EXPECT_TRUE(test::sameBytes(fresh, view)) << what;
            for (int r = 0; r < parent.rows(); r++)
                for (int i = 0; i < parent.cols() * parent.channels(); i++)
                    ASSERT_EQ(parent.ptr<unsigned char>(r)[i], 9) << what;
        }
    }
}

TEST_F(ImageReuse, TruncatedFilesLeaveTheReusedDestinationEmpty) {
    const Mat rgb = test::randomMat(40, 48, MAT_Tuchar3, 4);
    for (const char* name : {"t.png", "t.jpg", "t.bmp", "t.ppm"}) {
        const std::string p = path(name);
        ASSERT_TRUE(rgb.toImage(p.c_str(), 90, 1));
        Mat m;
        ASSERT_TRUE(m.fromImage(p.c_str(), IMG_COLOR));
        const auto size = std::filesystem::file_size(p);
        std::filesystem::resize_file(p, size * 2 / 3);
        EXPECT_FALSE(m.fromImage(p.c_str(), IMG_COLOR)) << name;
        EXPECT_TRUE(m.empty()) << name;
    }
}

TEST_F(ImageReuse, LargeFilesAndCompressionLevelsRoundTrip) {
    // Larger than the reader's 1 MiB step, written at every level the writer
    // takes (the fast levels change the row filter and the matcher).
    const Mat big = test::randomMat(700, 600, MAT_Tuchar3, 5);
    for (int level : {-1, 0, 1, 2, 3, 9}) {
        const std::string p = path("big" + std::to_string(level + 1) + ".png");
        ASSERT_TRUE(big.toImage(p.c_str(), 95, level));
        Mat back;
        ASSERT_TRUE(back.fromImage(p.c_str(), IMG_UNCHANGED)) << level;
        EXPECT_TRUE(test::sameBytes(big, back)) << level;
    }
    const std::string ppm = path("big.ppm");
    ASSERT_TRUE(big.toImage(ppm.c_str()));
    ASSERT_GT(std::filesystem::file_size(ppm), size_t(1) << 20);
    Mat back;
    ASSERT_TRUE(back.fromImage(ppm.c_str(), IMG_UNCHANGED));
    EXPECT_TRUE(test::sameBytes(big, back));
}

}  // namespace
}  // namespace tarvo
