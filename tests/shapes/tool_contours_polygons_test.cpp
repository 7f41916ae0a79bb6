// The shapes rows of the tarvo tool, run as a separate process.
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/edges.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/shapes.h"
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

class ContourPolygonTool : public ::testing::Test {
protected:
    void SetUp() override { dir = tarvo::test::tempDir(); }
    void TearDown() override {
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    }
    ToolRun tarvo(const std::string& args) {
        ToolRun r;
        const std::string o = dir + "/stdout.txt", e = dir + "/stderr.txt";
        const std::string cmd =
            "cd '" + dir + "' && '" + TARVO_TOOL_PATH + "' " + args + " >'" + o + "' 2>'" + e + "'";
        const int s = std::system(cmd.c_str());
        r.status = WIFEXITED(s) ? WEXITSTATUS(s) : -1;
        r.out = slurp(o);
        r.err = slurp(e);
        return r;
    }
    std::string dir;
};

const std::string kSample = std::string(TARVO_TEST_DATA_DIR) + "/coffee.png";

// Two filled rectangles and a ring with a hole: four borders.
tarvo::Mat shapesMask() {
    tarvo::Mat m(30, 40, tarvo::MAT_Tuchar, tarvo::Point4_<double>(0.0));
    for (int y = 0; y < 30; y++)
        for (int x = 0; x < 40; x++) {
            unsigned char& p = m.ptr<unsigned char>(y)[x];
            if (y >= 3 && y < 10 && x >= 3 && x < 12) p = 255;
            if (y >= 14 && y < 25 && x >= 5 && x < 9) p = 255;
            if (y >= 5 && y < 26 && x >= 20 && x < 36 && !(y >= 9 && y < 20 && x >= 24 && x < 31))
                p = 255;
        }
    return m;
}

}  // namespace

TEST_F(ContourPolygonTool, ContoursDrawsEachBorderAndCountsThem) {
    ASSERT_TRUE(shapesMask().toImage((dir + "/mask.png").c_str()));
    ToolRun r = tarvo("contours --mode tree --method changes --binarise nonzero mask.png c.png");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.rfind("4 contours", 0), 0u) << r.out;
    tarvo::Mat got;
    ASSERT_TRUE(got.fromImage((dir + "/c.png").c_str()));
    ASSERT_EQ(got.channels(), 3);
    ASSERT_EQ(got.rows(), 30);
    // a border pixel is coloured; an inner pixel is the dimmed picture
    const unsigned char* corner = got.ptr<unsigned char>(3) + 3 * 3;
    EXPECT_FALSE(corner[0] == corner[1] && corner[1] == corner[2]);
    const unsigned char* inner = got.ptr<unsigned char>(6) + 3 * 6;
    EXPECT_EQ(inner[0], 255 / 3);
    EXPECT_EQ(inner[1], 255 / 3);

    ToolRun outer = tarvo("contours --mode external --binarise nonzero mask.png e.png");
    ASSERT_EQ(outer.status, 0) << outer.err;
    EXPECT_EQ(outer.out.rfind("3 contours", 0), 0u) << outer.out;
    ToolRun codes = tarvo("contours --method 0 --binarise nonzero mask.png k.png");
    ASSERT_EQ(codes.status, 0) << codes.err;
    EXPECT_NE(codes.out.find("chain codes"), std::string::npos) << codes.out;

    EXPECT_EQ(tarvo("contours --mode 7 mask.png x.png").status, 2);
    EXPECT_EQ(tarvo("contours --method bogus mask.png x.png").status, 2);
}

TEST_F(ContourPolygonTool, ContoursOfTheCannyMapMatchTheLibrary) {
    ToolRun r =
        tarvo("contours --binarise canny --low 40 --high 120 --sigma 1.5 '" + kSample + "' c.png");
    ASSERT_EQ(r.status, 0) << r.err;
    tarvo::Mat src, grey, smooth, edges;
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    tarvo::ColorSpace::RGBtoGray(src, grey);
    tarvo::ip::gaussian(grey, smooth, 1.5f);
    tarvo::ip::canny(smooth, edges, 40, 120);
    tarvo::Matrix<tarvo::Point2_<int>, const tarvo::Point2_<int>&> c;
    tarvo::ip::findContours(edges, c, 1, 2);
    EXPECT_GT(c.getSize(), 10);
    EXPECT_EQ(r.out.rfind(std::to_string(c.getSize()) + " contours", 0), 0u) << r.out;
}

TEST_F(ContourPolygonTool, ShapesSimplifiesTheOutlines) {
    tarvo::Mat sq(90, 120, tarvo::MAT_Tuchar, tarvo::Point4_<double>(30.0));
    for (int y = 30; y < 70; y++)
        for (int x = 20; x < 80; x++) sq.ptr<unsigned char>(y)[x] = 220;
    ASSERT_TRUE(sq.toImage((dir + "/sq.png").c_str()));
    ToolRun r = tarvo("shapes --sigma 0 --draw hull,ellipse sq.png s.png");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("shape 0: "), std::string::npos) << r.out;
    EXPECT_NE(r.out.find(" 4 vertices, hull "), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("1 shapes of 1 outer contours"), std::string::npos) << r.out;
    r = tarvo("shapes --sigma 0 --edges canny sq.png s1.png");
    EXPECT_NE(r.out.find(" 4 vertices, hull 4,"), std::string::npos) << r.out;
    tarvo::Mat got;
    ASSERT_TRUE(got.fromImage((dir + "/s.png").c_str()));
    EXPECT_EQ(got.channels(), 3);
    EXPECT_EQ(tarvo("shapes --draw 9 sq.png s2.png").status, 0);
    EXPECT_EQ(tarvo("shapes --draw ellipse,hull sq.png s3.png").status, 2);  // canonical order only
    EXPECT_EQ(tarvo("shapes --draw 16 sq.png s4.png").status, 2);
}

#endif  // TARVO_TOOL_PATH
