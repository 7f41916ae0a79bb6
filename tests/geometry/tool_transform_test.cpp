// The tarvo rows of the transformation operators, run as a separate process.
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/geometry.h"

#ifdef TARVO_TOOL_PATH

namespace {

using tarvo::Mat;

class TransformTool : public ::testing::Test {
protected:
    void SetUp() override { dir = tarvo::test::tempDir(); }
    void TearDown() override {
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    }
    // Runs tarvo with `args` in the scratch folder; returns the exit status.
    int run(const std::string& args, std::string* out = nullptr) {
        const std::string o = dir + "/stdout.txt";
        const std::string cmd = "cd '" + dir + "' && '" + TARVO_TOOL_PATH + "' " + args + " >'" +
                                o + "' 2>'" + dir + "/stderr.txt'";
        const int s = std::system(cmd.c_str());
        if (out) {
            std::ifstream f(o);
            std::stringstream ss;
            ss << f.rdbuf();
            *out = ss.str();
        }
        return WIFEXITED(s) ? WEXITSTATUS(s) : -1;
    }
    Mat load(const std::string& name) {
        Mat m;
        m.fromImage((dir + "/" + name).c_str());
        return m;
    }
    std::string dir;
    const std::string sample = "'" + std::string(TARVO_TEST_DATA_DIR) + "/coffee.png'";
};

}  // namespace

TEST_F(TransformTool, RowsMatchTheLibraryCalls) {
    Mat src;
    ASSERT_TRUE(src.fromImage((std::string(TARVO_TEST_DATA_DIR) + "/coffee.png").c_str()));
    Mat want;

    ASSERT_EQ(run("rotate --quarter left " + sample + " q.png"), 0);
    tarvo::ip::rotate(src, want, tarvo::RotateLeft90);
    EXPECT_TRUE(tarvo::test::matEqual(load("q.png"), want));

    ASSERT_EQ(run("crop --x 40 --y 30 --width 60 --height 40 --angle 12 " + sample + " c.png"), 0);
    tarvo::ip::crop(src, want, 40, 30, 60, 40, 12.0f);
    EXPECT_TRUE(tarvo::test::matEqual(load("c.png"), want));

    ASSERT_EQ(run("resample --width 101 --height 77 --interpolation lanczos --overflow mirror " +
                  sample + " r.png"),
              0);
    tarvo::ip::resample(src, want, 101, 77, tarvo::InterpLanczos, tarvo::OverflowMirror, false);
    EXPECT_TRUE(tarvo::test::matEqual(load("r.png"), want));

    ASSERT_EQ(run("thumbnail --width 64 --height 64 --green 255 " + sample + " t.png"), 0);
    const Mat t = load("t.png");
    EXPECT_EQ(t.rows(), 64);
    EXPECT_EQ(t.cols(), 64);

    ASSERT_EQ(run("expand --left 3 --bottom 5 " + sample + " e.png"), 0);
    EXPECT_EQ(load("e.png").cols(), src.cols() + 3);
    ASSERT_EQ(run("skew --slope-x 0.25 --interpolate 0 " + sample + " s.png"), 0);
    EXPECT_EQ(load("s.png").rows(), src.rows());
}

TEST_F(TransformTool, ChoicesAreNamedAndExplained) {
    std::string help;
    ASSERT_EQ(run("resample --help", &help), 0);
    for (const char* word : {"catmull-rom", "lanczos", "mirror", "first channel", "example"})
        EXPECT_NE(help.find(word), std::string::npos) << word;
    EXPECT_EQ(run("resample --interpolation cubic " + sample + " x.png"), 2);
    EXPECT_EQ(run("rotate --quarter 4 " + sample + " x.png"), 2);
    // A turned crop whose corners leave the picture is refused.
    EXPECT_NE(run("crop --x 0 --y 0 --width 50 --height 50 --angle 30 " + sample + " x.png"), 0);
}

TEST_F(TransformTool, WarpRows) {
    Mat src;
    ASSERT_TRUE(src.fromImage((std::string(TARVO_TEST_DATA_DIR) + "/coffee.png").c_str()));
    // The turn goes in with the rotation's rows exchanged and inverted.
    ASSERT_EQ(run("warp-affine --angle 30 --scale 1.2 " + sample + " a.png"), 0);
    const Mat r = tarvo::ip::getRotationMatrix2D(
        tarvo::Point2_<float>(src.cols() / 2.0f, src.rows() / 2.0f), 30, 1.2);
    Mat t(2, 3, tarvo::MAT_Tdouble), want(src.rows(), src.cols(), src.type1());
    for (int c = 0; c < 3; c++) {
        t.ptr<double>(0)[c] = r.value(1, c);
        t.ptr<double>(1)[c] = r.value(0, c);
    }
    tarvo::ip::warpAffine(src, want, t, true);
    EXPECT_TRUE(tarvo::test::matEqual(load("a.png"), want));
    ASSERT_EQ(run("warp-perspective --tilt 25 " + sample + " p.png"), 0);
    EXPECT_EQ(load("p.png").cols(), src.cols());
    // Fixed-point maps from convertMaps sample exactly like the float maps.
    for (const char* interp : {"linear", "lanczos"}) {
        const std::string opts = std::string("remap --effect ripple --strength 6 --border wrap ") +
                                 "--interpolation " + interp;
        ASSERT_EQ(run(opts + " --fixed 0 " + sample + " f.png"), 0);
        ASSERT_EQ(run(opts + " --fixed 1 " + sample + " g.png"), 0);
        EXPECT_TRUE(tarvo::test::matEqual(load("f.png"), load("g.png"))) << interp;
    }
    EXPECT_EQ(run("remap --interpolation 3 " + sample + " x.png"), 2);
}

#endif  // TARVO_TOOL_PATH
