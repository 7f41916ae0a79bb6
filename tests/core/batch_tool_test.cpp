// tarvo batch: a chain over a folder, run as a separate process.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "core/tool_fixture.h"
#include "support/test_util.h"
#include "tarvo/mat.h"

#ifdef TARVO_TOOL_PATH

extern char** environ;

namespace fs = std::filesystem;
using tooltest::kGreySample;
using tooltest::kSample;
using tooltest::quote;
using tooltest::slurp;
using tooltest::Tool;
using tooltest::ToolRun;

namespace {

class Batch : public Tool {
protected:
    // in/ holds a colour and a grey picture, a subfolder with one more, a
    // truncated PNG and a text file.
    void makeMixedFolder() {
        fs::create_directories(dir + "/in/sub");
        fs::copy_file(kSample, dir + "/in/coffee.png");
        fs::copy_file(kGreySample, dir + "/in/camera.png");
        fs::copy_file(kGreySample, dir + "/in/sub/deep.png");
        const std::string png = slurp(kSample);
        std::ofstream(dir + "/in/broken.png", std::ios::binary) << png.substr(0, 300);
        std::ofstream(dir + "/in/notes.txt") << "not a picture\n";
    }
    // Every file below folder, relative to it, sorted.
    std::vector<std::string> listing(const std::string& folder) {
        std::vector<std::string> names;
        for (const auto& e : fs::recursive_directory_iterator(dir + "/" + folder))
            if (e.is_regular_file())
                names.push_back(e.path().lexically_relative(dir + "/" + folder).string());
        std::sort(names.begin(), names.end());
        return names;
    }
    void expectSameFiles(const std::string& a, const std::string& b) {
        const std::vector<std::string> la = listing(a), lb = listing(b);
        ASSERT_EQ(la, lb);
        for (const std::string& f : la)
            EXPECT_TRUE(slurp(dir + "/" + a + "/" + f) == slurp(dir + "/" + b + "/" + f)) << f;
    }
};

TEST_F(Batch, ListsUnreadableFilesAndWritesTheRest) {
    makeMixedFolder();
    ToolRun r = tarvo("batch --quiet in out -- gaussian --sigma 2");
    EXPECT_EQ(r.status, 1) << r.err;
    EXPECT_NE(r.err.find("2 of 4 failed"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("broken.png: cannot read"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("truncated"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("notes.txt: cannot read"), std::string::npos) << r.err;
    // Without --recursive the subfolder is left alone.
    EXPECT_EQ(listing("out"), (std::vector<std::string>{"camera.png", "coffee.png"}));

    r = tarvo("batch --recursive in out2 -- grey");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(listing("out2"),
              (std::vector<std::string>{"camera.png", "coffee.png", "sub/deep.png"}));
    EXPECT_EQ(load("out2/coffee.png").channels(), 1);
    // Progress lines go to stderr when it is not a terminal, the last at 100%.
    EXPECT_NE(r.err.find("5/5 pictures (100%)"), std::string::npos) << r.err;

    // A folder of good pictures succeeds.
    fs::remove(dir + "/in/broken.png");
    fs::remove(dir + "/in/notes.txt");
    EXPECT_EQ(tarvo("batch --quiet --recursive in out3 -- copy").status, 0);
}

TEST_F(Batch, ChainEqualsSingleRunsAndJobsDoNotChangeBytes) {
    fs::create_directories(dir + "/in");
    for (int i = 0; i < 6; i++)
        fs::copy_file(i % 2 ? kSample : kGreySample, dir + "/in/p" + std::to_string(i) + ".png");
    ToolRun r = tarvo(
        "batch --jobs 1 --quiet in one -- gaussian --sigma 2.5 -- sobel --dx 1 "
        "--ksize 5");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(r.err.empty()) << r.err;
    r = tarvo("batch --jobs 2 --quiet in two -- gaussian --sigma 2.5 -- sobel --dx 1 --ksize 5");
    ASSERT_EQ(r.status, 0) << r.err;
    expectSameFiles("one", "two");

    for (int i = 0; i < 2; i++) {
        const std::string p = "p" + std::to_string(i) + ".png";
        r = shell("tarvo gaussian --sigma 2.5 in/" + p +
                  " g.png && tarvo sobel --dx 1 --ksize 5 "
                  "g.png single.png");
        ASSERT_EQ(r.status, 0) << r.err;
        const tarvo::Mat a = load("single.png"), b = load("one/" + p);
        EXPECT_TRUE(tarvo::test::matEqual(a, b)) << p;
    }
}

TEST_F(Batch, RefusesBadCommandLines) {
    fs::create_directories(dir + "/in");
    expectError(tarvo("batch in out"), "no operation given");
    expectError(tarvo("batch in -- gaussian"), "an input and an output folder");
    expectError(tarvo("batch in out -- blur"), "unknown operation 'blur'");
    expectError(tarvo("batch in out -- gaussian --sigma -3"), "sigma");
    expectError(tarvo("batch in out -- gaussian x.png"), "takes no file names");
    expectError(tarvo("batch --jobs 0 in out -- copy"), "--jobs");
    expectError(tarvo("batch missing out -- copy"), "not a folder");
    expectError(tarvo("batch in in -- copy"), "must differ");
    // --help lists every operation with its reach.
    ToolRun r = tarvo("batch --help");
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("gaussian               stencil, radius 3"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("canny                  whole picture: hysteresis"), std::string::npos);
    EXPECT_NE(r.out.find("colorize               point"), std::string::npos);
}

// SIGINT lets the pictures in hand finish and leaves no temporary behind:
// every file in the output folder is a complete result.
TEST_F(Batch, InterruptLeavesOnlyCompleteFiles) {
    const int total = 40;
    fs::create_directories(dir + "/in");
    for (int i = 0; i < total; i++)
        fs::copy_file(kSample, dir + "/in/p" + std::to_string(100 + i) + ".png");
    const std::string in = dir + "/in", out = dir + "/out";
    std::vector<std::string> words = {TARVO_TOOL_PATH, "batch",   "--jobs", "2",
                                      "--quiet",       in,        out,      "--",
                                      "gaussian",      "--sigma", "12"};
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(&w[0]);
    argv.push_back(nullptr);
    pid_t pid = 0;
    ASSERT_EQ(posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ), 0);
    // Interrupt once the first result exists.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (std::chrono::steady_clock::now() < deadline) {
        std::error_code ec;
        if (fs::is_directory(out, ec) && !listing("out").empty()) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    kill(pid, SIGINT);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 130);
    std::vector<std::string> files;
    for (const auto& e : fs::directory_iterator(out)) files.push_back(e.path().filename().string());
    ASSERT_FALSE(files.empty());
    EXPECT_LT(files.size(), size_t(total)) << "the run ended before the interrupt";
    ASSERT_EQ(tarvo("gaussian --sigma 12 " + quote(kSample) + " ref.png").status, 0);
    for (const std::string& f : files) {
        EXPECT_NE(f[0], '.') << "temporary left: " << f;
        EXPECT_TRUE(slurp(out + "/" + f) == slurp(dir + "/ref.png")) << f;
    }
}

}  // namespace

#endif  // TARVO_TOOL_PATH
