// The fast and harris rows of the tarvo tool, run as a process: the printed
// count and the drawn crosses against the library calls on the grey picture.
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/edges.h"

#ifdef TARVO_TOOL_PATH

namespace {

using tarvo::Mat;
typedef tarvo::Array<tarvo::Point2_<int>, const tarvo::Point2_<int>&> Points;

const std::string kSample = std::string(TARVO_TEST_DATA_DIR) + "/coffee.png";

class CornerTool : public ::testing::Test {
protected:
    void SetUp() override { dir = tarvo::test::tempDir(); }
    void TearDown() override {
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    }
    // Exit status of tarvo with args; its standard output lands in `out`.
    int run(const std::string& args) {
        const std::string cmd =
            "cd '" + dir + "' && '" + TARVO_TOOL_PATH + "' " + args + " >stdout.txt 2>stderr.txt";
        const int s = std::system(cmd.c_str());
        std::ifstream f(dir + "/stdout.txt");
        std::stringstream ss;
        ss << f.rdbuf();
        out = ss.str();
        return WIFEXITED(s) ? WEXITSTATUS(s) : -1;
    }
    Mat load(const std::string& name) {
        Mat m;
        EXPECT_TRUE(m.fromImage((dir + "/" + name).c_str(), tarvo::IMG_GRAY));
        return m;
    }
    std::string dir, out;
};

// The centre of every cross is red on the colour picture.
void expectCrosses(const Mat& drawn, const Points& pts) {
    ASSERT_EQ(drawn.channels(), 3);
    for (int i = 0; i < pts.getSize(); i++) {
        const unsigned char* p = drawn.ptr<unsigned char>(pts[i].y) + 3 * pts[i].x;
        EXPECT_EQ(p[0], 255);
        EXPECT_EQ(p[1], 0);
        EXPECT_EQ(p[2], 0);
    }
}

}  // namespace

TEST_F(CornerTool, CountsAndCrossesMatchTheLibrary) {
    Mat src, grey;
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    ASSERT_EQ(src.channels(), 3);
    tarvo::ColorSpace::RGBtoGray(src, grey);

    Points fast;
    tarvo::ip::cornerFast(grey, 20, 9, 1, fast);
    ASSERT_GT(fast.getSize(), 0);
    ASSERT_EQ(run("fast --threshold 20 --arc 9 --suppress 1 '" + kSample + "' f.png"), 0);
    EXPECT_NE(out.find("fast: " + std::to_string(fast.getSize()) + " corners"), std::string::npos)
        << out;
    expectCrosses(load("f.png"), fast);

    Points harris;
    tarvo::ip::cornerHarris(grey, Mat(), harris, 0, 0.0f, 5, 1000.0f);
    ASSERT_GT(harris.getSize(), 0);
    ASSERT_EQ(run("harris --window 5 --threshold 1000 --subpix 0 '" + kSample + "' h.png"), 0);
    EXPECT_NE(out.find("harris: " + std::to_string(harris.getSize()) + " corners"),
              std::string::npos)
        << out;
    expectCrosses(load("h.png"), harris);
    // Refinement moves corners, not their number.
    ASSERT_EQ(run("harris --window 5 --threshold 1000 --subpix 1 '" + kSample + "' s.png"), 0);
    EXPECT_NE(out.find("harris: " + std::to_string(harris.getSize()) + " corners"),
              std::string::npos);

    // A grey picture stays grey; an arc length outside 9..12 is refused.
    ASSERT_TRUE(grey.toImage((dir + "/g.png").c_str()));
    ASSERT_EQ(run("fast g.png gf.png"), 0);
    EXPECT_EQ(load("gf.png").channels(), 1);
    EXPECT_EQ(run("fast --arc 8 g.png x.png"), 2);
}

#endif  // TARVO_TOOL_PATH
