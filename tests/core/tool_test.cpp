// The tarvo tool, run as a separate process.
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/edges.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/ip/morphology.h"
#include "tarvo/ip/photo.h"
#include "tarvo/ip/segment.h"
#include "tarvo/mat.h"

#ifdef TARVO_TOOL_PATH

namespace {

struct ToolRun {
    int status = -1;
    std::string out, err;
};

std::string slurp(const std::string& path) {
    std::ifstream f(path);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

std::string quote(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

class Tool : public ::testing::Test {
protected:
    void SetUp() override { dir = tarvo::test::tempDir(); }
    void TearDown() override {
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    }
    // Runs tarvo with the given argument string (already quoted) in the scratch folder.
    ToolRun tarvo(const std::string& args) {
        ToolRun r;
        std::string o = dir + "/stdout.txt", e = dir + "/stderr.txt";
        std::string cmd = "cd " + quote(dir) + " && " + quote(TARVO_TOOL_PATH) + " " + args + " >" +
                          quote(o) + " 2>" + quote(e);
        int s = std::system(cmd.c_str());
        r.status = WIFEXITED(s) ? WEXITSTATUS(s) : -1;
        r.out = slurp(o);
        r.err = slurp(e);
        return r;
    }
    // A failure: status 2 and exactly one line on stderr containing `what`.
    void expectError(const ToolRun& r, const std::string& what) {
        EXPECT_EQ(r.status, 2);
        EXPECT_NE(r.err.find(what), std::string::npos) << r.err;
        ASSERT_FALSE(r.err.empty());
        EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "more than one line: " << r.err;
    }
    std::string dir;
};

const std::string kSample = std::string(TARVO_TEST_DATA_DIR) + "/coffee.png";

}  // namespace

TEST_F(Tool, InfoNamesLibraryTargetsAndThreads) {
    ToolRun r = tarvo("info");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("tarvoip 2.2"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("2.2.2"), std::string::npos);
    EXPECT_NE(r.out.find("vector targets:"), std::string::npos);
    EXPECT_NE(r.out.find("vector paths:"), std::string::npos);
    EXPECT_NE(r.out.find("threads:"), std::string::npos);
    EXPECT_TRUE(r.err.empty());
}

TEST_F(Tool, ListShowsEveryOperationWithItsHelp) {
    ToolRun r = tarvo("list");
    EXPECT_EQ(r.status, 0);
    for (const char* name :
         {"copy", "crop", "colorize", "shift-rgb", "hsl", "color-temperature", "gaussian", "demo",
          "threshold", "adaptive-threshold", "equalize", "stretch"})
        EXPECT_NE(r.out.find(name), std::string::npos) << name;
    ToolRun h = tarvo("crop --help");
    EXPECT_EQ(h.status, 0);
    EXPECT_NE(h.out.find("--width"), std::string::npos) << h.out;
    EXPECT_NE(h.out.find("default"), std::string::npos);
}

TEST_F(Tool, BadArgumentsGiveOneLineAndStatusTwo) {
    expectError(tarvo(""), "usage");
    expectError(tarvo("frobnicate a.png b.png"), "unknown operation 'frobnicate'");
    expectError(tarvo("crop --bogus 1 a.png b.png"), "unknown option '--bogus'");
    expectError(tarvo("crop --x abc a.png b.png"), "needs a number");
    expectError(tarvo("crop --x 1.5 a.png b.png"), "whole number");
    expectError(tarvo("crop --x -3 a.png b.png"), "must lie in");
    expectError(tarvo("crop --x"), "needs a value");
    expectError(tarvo("crop a.png"), "needs an input and an output");
    expectError(tarvo("copy a.png b.png c.png"), "unexpected argument");
    expectError(tarvo("info extra"), "takes no arguments");
    expectError(tarvo("demo --bogus"), "unknown argument");
}

TEST_F(Tool, MissingOrUnreadableInputIsReported) {
    expectError(tarvo("copy missing.png out.png"), "cannot open 'missing.png'");
    {
        std::ofstream junk(dir + "/junk.png", std::ios::binary);
        junk << "this is not a picture";
    }
    expectError(tarvo("copy junk.png out.png"), "cannot read 'junk.png'");
    expectError(tarvo("copy . out.png"), "directory");
    EXPECT_FALSE(std::filesystem::exists(dir + "/out.png"));
}

TEST_F(Tool, OperationWritesAPictureThatLoadsBack) {
    ToolRun r = tarvo("crop --x 10 --y 20 --width 30 --height 40 " + quote(kSample) + " c.png");
    ASSERT_EQ(r.status, 0) << r.err;
    tarvo::Mat src, got, want;
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    ASSERT_TRUE(got.fromImage((dir + "/c.png").c_str()));
    src.subMat(tarvo::Rect(10, 20, 30, 40), want);
    EXPECT_TRUE(tarvo::test::matEqual(got, want));

    expectError(tarvo("crop --x 5000 " + quote(kSample) + " c2.png"), "refused");
    expectError(tarvo("copy " + quote(kSample) + " noextension"), "cannot write");
}

TEST_F(Tool, ColourOperationMatchesTheLibraryCall) {
    ToolRun r =
        tarvo("colorize --hue 20 --saturation=200 --blend 0.7 " + quote(kSample) + " t.png");
    ASSERT_EQ(r.status, 0) << r.err;
    tarvo::Mat src, got, want;
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    ASSERT_TRUE(got.fromImage((dir + "/t.png").c_str()));
    tarvo::ip::colorize(src, want, 20, 200, 0.7f);
    EXPECT_TRUE(tarvo::test::matEqual(got, want));
    expectError(tarvo("colorize --blend 2 a.png b.png"), "must lie in 0..1");
    expectError(tarvo("color-temperature --kelvin 500 a.png b.png"), "must lie in");
}

TEST_F(Tool, GaussianMatchesTheLibraryCall) {
    ToolRun r = tarvo("gaussian --sigma 2.5 " + quote(kSample) + " g.png");
    ASSERT_EQ(r.status, 0) << r.err;
    tarvo::Mat src, got, want;
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    ASSERT_TRUE(got.fromImage((dir + "/g.png").c_str()));
    tarvo::ip::gaussian(src, want, 2.5f);
    EXPECT_TRUE(tarvo::test::matEqual(got, want));
    expectError(tarvo("gaussian --sigma -1 a.png b.png"), "must lie in");
}

TEST_F(Tool, ResizeMatchesTheLibraryCall) {
    tarvo::Mat src;
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    for (int code = 0; code <= 4; code++) {
        const std::string name = "r" + std::to_string(code) + ".png";
        ToolRun r = tarvo("resize --width 123 --height 77 --interpolation " + std::to_string(code) +
                          " " + quote(kSample) + " " + name);
        ASSERT_EQ(r.status, 0) << r.err;
        tarvo::Mat got, want;
        ASSERT_TRUE(got.fromImage((dir + "/" + name).c_str()));
        tarvo::ip::resize(src, want, 123, 77, code);
        EXPECT_EQ(got.cols(), 123);
        EXPECT_TRUE(tarvo::test::matEqual(got, want)) << code;
    }
    expectError(tarvo("resize --width 0 a.png b.png"), "must lie in");
    expectError(tarvo("resize --interpolation 5 a.png b.png"), "must lie in");
}

TEST_F(Tool, CannyAfterGaussianOnTheSamplePicture) {
    ToolRun r = tarvo("canny --low 40 --high 120 --sigma 1.5 " + quote(kSample) + " e.png");
    ASSERT_EQ(r.status, 0) << r.err;
    tarvo::Mat src, smooth, got, want;
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    ASSERT_TRUE(got.fromImage((dir + "/e.png").c_str(), tarvo::IMG_GRAY));
    tarvo::ip::gaussian(src, smooth, 1.5f);
    tarvo::ip::canny(smooth, want, 40, 120);
    ASSERT_TRUE(tarvo::test::matEqual(got, want));
    // A binary map with a clear frame; the cup, saucer and spoon outlines give
    // a few percent of edge pixels, neither noise everywhere nor nothing.
    long edges = 0;
    for (int y = 0; y < got.rows(); y++)
        for (int x = 0; x < got.cols(); x++) {
            const int v = got.ptr<unsigned char>(y)[x];
            ASSERT_TRUE(v == 0 || v == 255);
            if (y == 0 || x == 0 || y == got.rows() - 1 || x == got.cols() - 1) {
                ASSERT_EQ(v, 0);
            }
            edges += v != 0;
        }
    const double share = double(edges) / double(got.rows() * got.cols());
    EXPECT_GT(share, 0.02);
    EXPECT_LT(share, 0.12);
}

TEST_F(Tool, DerivativesAreSavedAsAbsoluteBytes) {
    ASSERT_EQ(tarvo("sobel --dx 1 --dy 0 " + quote(kSample) + " s.png").status, 0);
    tarvo::Mat src, got, d(1, 1, tarvo::MAT_Tshort);
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    ASSERT_TRUE(got.fromImage((dir + "/s.png").c_str()));
    tarvo::ip::sobel(src, d, 1, 0, 3);
    ASSERT_TRUE(got.isEqualSize(src));
    ASSERT_EQ(got.channels(), src.channels());
    for (int y = 0; y < got.rows(); y += 7)
        for (int x = 0; x < got.cols() * got.channels(); x += 5) {
            const int v = std::abs(int(d.ptr<short>(y)[x]));
            ASSERT_EQ(int(got.ptr<unsigned char>(y)[x]), v > 255 ? 255 : v) << y << "," << x;
        }
    ASSERT_EQ(tarvo("laplace --selector 3 " + quote(kSample) + " l.png").status, 0);
    expectError(tarvo("laplace --selector 2 " + quote(kSample) + " l2.png"), "refused");
    expectError(tarvo("sobel --dx 0 --dy 0 " + quote(kSample) + " s0.png"), "refused");
}

TEST_F(Tool, ErodeAndDilateMatchTheLibraryCalls) {
    tarvo::Mat src;
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    ToolRun r = tarvo("erode --size 5 --shape 2 --iterations 2 " + quote(kSample) + " e.png");
    ASSERT_EQ(r.status, 0) << r.err;
    tarvo::Mat got, want;
    ASSERT_TRUE(got.fromImage((dir + "/e.png").c_str()));
    tarvo::ip::erode(
        src, want,
        tarvo::ip::getStructuringElement(tarvo::ip::MorphEllipse, tarvo::Size_<int>(5, 5)),
        tarvo::Point2_<int>(-1, -1), 2);
    EXPECT_TRUE(tarvo::test::matEqual(got, want));

    ASSERT_EQ(tarvo("dilate " + quote(kSample) + " d.png").status, 0);
    ASSERT_TRUE(got.fromImage((dir + "/d.png").c_str()));
    tarvo::ip::dilate(src, want, tarvo::Mat());
    EXPECT_TRUE(tarvo::test::matEqual(got, want));
    expectError(tarvo("erode --shape 3 a.png b.png"), "must lie in");
    expectError(tarvo("dilate --size 0 a.png b.png"), "must lie in");
}

TEST_F(Tool, DemoWritesPicturesThatLoadBack) {
    ToolRun r = tarvo("demo --out results");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("results"), std::string::npos) << r.out;
    int pictures = 0;
    for (const auto& e : std::filesystem::directory_iterator(dir + "/results")) {
        if (e.path().extension() != ".png") continue;
        tarvo::Mat m;
        EXPECT_TRUE(m.fromImage(e.path().c_str())) << e.path();
        EXPECT_FALSE(m.empty());
        EXPECT_NE(r.out.find(e.path().filename().string()), std::string::npos);
        pictures++;
    }
    EXPECT_GE(pictures, 8);  // original, six single steps and the pump pipeline
    EXPECT_TRUE(std::filesystem::exists(dir + "/results/pipeline.png"));
    EXPECT_TRUE(std::filesystem::exists(dir + "/results/colour-panel.png"));
    tarvo::Mat original;
    ASSERT_TRUE(original.fromImage((dir + "/results/original.png").c_str()));
    EXPECT_EQ(original.cols(), 600);
    EXPECT_EQ(original.rows(), 400);
}

TEST_F(Tool, ThresholdsAndHistogramOperatorsMatchTheLibrary) {
    tarvo::Mat src, g, got, want;
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    tarvo::ColorSpace::RGBtoGray(src, g);

    ASSERT_EQ(tarvo("threshold --value 100 --max 200 --type 1 " + quote(kSample) + " t.png").status,
              0);
    ASSERT_TRUE(got.fromImage((dir + "/t.png").c_str(), tarvo::IMG_GRAY));
    tarvo::ip::Threshold(g, want, 100, 200, tarvo::ip::ThreshBinaryInv);
    EXPECT_TRUE(tarvo::test::matEqual(got, want));

    // Otsu through the flag value of --type.
    ASSERT_EQ(tarvo("threshold --type 8 " + quote(kSample) + " o.png").status, 0);
    ASSERT_TRUE(got.fromImage((dir + "/o.png").c_str(), tarvo::IMG_GRAY));
    tarvo::ip::Threshold(g, want, 0, 255, tarvo::ip::ThreshOtsuBit);
    EXPECT_TRUE(tarvo::test::matEqual(got, want));

    ASSERT_EQ(tarvo("adaptive-threshold --block 15 --delta 4 " + quote(kSample) + " a.png").status,
              0);
    ASSERT_TRUE(got.fromImage((dir + "/a.png").c_str()));
    tarvo::ip::adaptiveThreshold(src, want, 255, 0, 0, 15, 4);
    EXPECT_TRUE(tarvo::test::matEqual(got, want));

    ASSERT_EQ(tarvo("equalize " + quote(kSample) + " e.png").status, 0);
    ASSERT_TRUE(got.fromImage((dir + "/e.png").c_str()));
    tarvo::ip::histogramEqualize(src, want);
    EXPECT_TRUE(tarvo::test::matEqual(got, want));

    ASSERT_EQ(tarvo("stretch --mode 1 " + quote(kSample) + " s.png").status, 0);
    ASSERT_TRUE(got.fromImage((dir + "/s.png").c_str()));
    tarvo::ip::histogramStretch(src, want, 1);
    EXPECT_TRUE(tarvo::test::matEqual(got, want));

    expectError(tarvo("threshold --type 13 a.png b.png"), "must lie in");
    expectError(tarvo("adaptive-threshold --block 0 a.png b.png"), "must lie in");
}

#endif  // TARVO_TOOL_PATH
