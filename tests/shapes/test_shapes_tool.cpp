// The tarvo tool rows of the region and distance operations, run as a separate process.
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/mat.h"

#ifdef TARVO_TOOL_PATH

namespace {

using tarvo::Mat;

class ShapesTool : public ::testing::Test {
protected:
    void SetUp() override {
        dir = tarvo::test::tempDir();
        // Dark picture with a bright 20 x 10 block and a bright dot.
        Mat img(40, 60, tarvo::MAT_Tuchar, tarvo::Point4_<double>(10, 10, 10, 10));
        for (int y = 10; y < 20; y++)
            for (int x = 20; x < 40; x++) img.ptr<unsigned char>(y)[x] = 240;
        img.ptr<unsigned char>(35)[5] = 250;
        ASSERT_TRUE(img.toImage((dir + "/in.pgm").c_str()));
    }
    void TearDown() override {
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    }
    int run(const std::string& args) {
        const std::string cmd =
            "cd '" + dir + "' && '" + TARVO_TOOL_PATH + "' " + args + " >out.txt 2>err.txt";
        const int s = std::system(cmd.c_str());
        std::ifstream f(dir + "/out.txt");
        std::stringstream ss;
        ss << f.rdbuf();
        out = ss.str();
        return WIFEXITED(s) ? WEXITSTATUS(s) : -1;
    }
    Mat load(const char* name) {
        Mat m;
        m.fromImage((dir + "/" + name).c_str(), tarvo::IMG_UNCHANGED);
        return m;
    }
    std::string dir, out;
};

TEST_F(ShapesTool, DistanceThinningAndMoments) {
    ASSERT_EQ(run("distance --type l1 --mask 3x3 --threshold 100 in.pgm d.pgm"), 0) << out;
    // Farthest dark-to-bright distance: the centre row of the block, 5 steps in.
    EXPECT_NE(out.find("largest distance: 5"), std::string::npos) << out;
    Mat d = load("d.pgm");
    ASSERT_EQ(d.channels(), 1);
    EXPECT_EQ(d.ptr<unsigned char>(0)[0], 0);
    EXPECT_EQ(d.ptr<unsigned char>(14)[29], 255);

    ASSERT_EQ(run("thinning --threshold 100 in.pgm t.pgm"), 0);
    Mat t = load("t.pgm");
    EXPECT_EQ(t.ptr<unsigned char>(35)[5], 255);
    EXPECT_EQ(t.ptr<unsigned char>(10)[20], 0);
    EXPECT_GT(t.countNonZero(), 5);

    // Every pixel of the picture is non-zero: the binary centroid is the middle.
    ASSERT_EQ(run("moments --binary 1 in.pgm m.png"), 0);
    EXPECT_NE(out.find("m00 "), std::string::npos) << out;
    EXPECT_NE(out.find("centroid 29.5000 19.5000"), std::string::npos) << out;
    EXPECT_EQ(load("m.png").channels(), 3);
    EXPECT_EQ(run("distance --type l3 in.pgm x.pgm"), 2);
}

TEST_F(ShapesTool, ComponentsAndFloodfill) {
    ASSERT_EQ(run("components --threshold 100 in.pgm c.png"), 0);
    EXPECT_NE(out.find("regions: 2"), std::string::npos) << out;
    ASSERT_EQ(run("components --threshold 100 --min-count 2 in.pgm c.png"), 0);
    EXPECT_NE(out.find("regions: 1"), std::string::npos) << out;

    ASSERT_EQ(run("floodfill --x 25 --y 12 --tolerance 5 --red 77 in.pgm f.png"), 0);
    EXPECT_NE(out.find("filled pixels: 200"), std::string::npos) << out;
    Mat f = load("f.png");
    EXPECT_EQ(f.ptr<unsigned char>(19)[39 * f.channels()], 77);
    EXPECT_EQ(f.ptr<unsigned char>(20)[39 * f.channels()], 10);

    ASSERT_EQ(run("select --x 25 --y 12 --tolerance 5 in.pgm s.png"), 0);
    EXPECT_NE(out.find("holes: 0, seed inside: yes"), std::string::npos) << out;
    EXPECT_EQ(run("select --x 99 --y 12 in.pgm s.png"), 2);  // seed outside: nothing selected
}

}  // namespace

#endif
