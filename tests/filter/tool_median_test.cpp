// The median and direct convolution rows of the tarvo tool, run as a process
// and compared with the library calls they stand for.
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/filter.h"

#ifdef TARVO_TOOL_PATH

namespace {

const std::string kSample = std::string(TARVO_TEST_DATA_DIR) + "/coffee.png";

class MedianTool : public ::testing::Test {
protected:
    void SetUp() override { dir = tarvo::test::tempDir(); }
    void TearDown() override {
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    }
    // Exit status of tarvo with args (already quoted), run in the scratch folder.
    int run(const std::string& args) {
        const std::string cmd =
            "cd '" + dir + "' && '" + TARVO_TOOL_PATH + "' " + args + " >/dev/null 2>stderr.txt";
        const int s = std::system(cmd.c_str());
        return WIFEXITED(s) ? WEXITSTATUS(s) : -1;
    }
    tarvo::Mat load(const std::string& name) {
        tarvo::Mat m;
        EXPECT_TRUE(m.fromImage((dir + "/" + name).c_str()));
        return m;
    }
    std::string dir;
};

}  // namespace

TEST_F(MedianTool, RowsMatchTheLibraryCalls) {
    tarvo::Mat src;
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    ASSERT_EQ(run("median --window 5 --kind square '" + kSample + "' m.png"), 0);
    tarvo::Mat want;
    tarvo::ip::median(src, want, 5);
    EXPECT_TRUE(tarvo::test::matEqual(load("m.png"), want));

    ASSERT_EQ(run("convolve --size 3 --offset 4 --kind horizontal '" + kSample + "' c.png"), 0);
    const int k[3] = {1, 1, 1};
    tarvo::ip::convolve2(src, want, k, 3, 3, 4, tarvo::FilterHorizontal);
    EXPECT_TRUE(tarvo::test::matEqual(load("c.png"), want));

    ASSERT_EQ(run("convolve-sep --size 3 '" + kSample + "' s.png"), 0);
    tarvo::ip::convolve2sep(src, want, k, 3, 3);
    EXPECT_TRUE(tarvo::test::matEqual(load("s.png"), want));

    // Kind 1 is not a picture filter; a colour picture has no line median.
    EXPECT_EQ(run("convolve --kind 1 '" + kSample + "' x.png"), 2);
    // The line kinds filter a colour picture channel by channel.
    ASSERT_EQ(run("median --kind vertical '" + kSample + "' x.png"), 0);
    EXPECT_EQ(load("x.png").channels(), 3);
}

#endif  // TARVO_TOOL_PATH
