// The tone and stylising rows of the tarvo tool, run as a separate process:
// results equal the library's, grey stays grey, seeds repeat, bad codes fail.
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/photo.h"
#include "tarvo/random.h"

#ifdef TARVO_TOOL_PATH

using namespace tarvo;

namespace {

class PhotoTool : public ::testing::Test {
protected:
    void SetUp() override {
        dir = test::tempDir();
        grey = test::randomMat(24, 31, MAT_Tuchar, 77);
        colour = test::randomMat(24, 31, MAT_Tuchar3, 78);
        ASSERT_TRUE(grey.toImage((dir + "/grey.png").c_str()));
        ASSERT_TRUE(colour.toImage((dir + "/colour.png").c_str()));
    }
    void TearDown() override {
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
        detail::pinClockSeed(false);
    }
    // Runs tarvo in the scratch folder; returns the exit status.
    int run(const std::string& args) {
        const std::string cmd =
            "cd '" + dir + "' && '" + TARVO_TOOL_PATH + "' " + args + " >/dev/null 2>&1";
        const int s = std::system(cmd.c_str());
        return WIFEXITED(s) ? WEXITSTATUS(s) : -1;
    }
    Mat load(const std::string& name, unsigned long flags = IMG_GRAY) {
        Mat m;
        m.fromImage((dir + "/" + name).c_str(), flags);
        return m;
    }
    std::string dir;
    Mat grey, colour;
};

}  // namespace

TEST_F(PhotoTool, RowsMatchTheLibrary) {
    Mat want;
    ASSERT_EQ(run("level --low 20 --high 230 --mode table colour.png level.png"), 0);
    want.create(colour, false);
    ip::level(colour, want, 20, 230, 2);
    EXPECT_TRUE(test::matEqual(load("level.png"), want));

    ASSERT_EQ(run("posterize --levels 3 colour.png post.png"), 0);
    ip::posterize(colour, want, 3);
    EXPECT_TRUE(test::matEqual(load("post.png"), want));

    ASSERT_EQ(run("circle-transform --mode twist --twist 5 colour.png c.png"), 0);
    ip::circleTransform(colour, want, 0, 5.0f, 2);
    EXPECT_TRUE(test::matEqual(load("c.png"), want));

    // Vintage gives colour from grey, the same whether the tool reads it as
    // grey or as three equal channels.
    ASSERT_EQ(run("vintage --amount 60 grey.png v.png"), 0);
    ip::vintage(grey, want, 60);
    EXPECT_TRUE(test::matEqual(load("v.png"), want));

    ASSERT_EQ(run("noise --amount 40 --seed 5 colour.png n.png"), 0);
    detail::pinClockSeed(true, 5);
    ip::noise(colour, want, 40);
    EXPECT_TRUE(test::matEqual(load("n.png"), want));
}

TEST_F(PhotoTool, UnknownCodesAreRefused) {
    EXPECT_EQ(run("level --mode 3 grey.png o.png"), 2);
    EXPECT_EQ(run("denoise --method 4 grey.png o.png"), 2);
    EXPECT_EQ(run("circle-transform --mode spin grey.png o.png"), 2);
    EXPECT_EQ(run("gamma --help"), 0);
}

#endif
