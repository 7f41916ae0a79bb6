// Runs the built tarvo binary as a separate process in a scratch folder.
#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "support/test_util.h"

#ifdef TARVO_TOOL_PATH

namespace tooltest {

struct ToolRun {
    int status = -1;
    std::string out, err;
};

inline std::string slurp(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

// The word s quoted for /bin/sh.
inline std::string quote(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

const std::string kSample = std::string(TARVO_TEST_DATA_DIR) + "/coffee.png";
const std::string kGreySample = std::string(TARVO_TEST_DATA_DIR) + "/camera.png";

class Tool : public ::testing::Test {
protected:
    void SetUp() override {
        dir = tarvo::test::tempDir();
        ASSERT_FALSE(dir.empty());
    }
    void TearDown() override {
        std::error_code ec;
        std::filesystem::permissions(dir, std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ec);
        std::filesystem::remove_all(dir, ec);
    }
    // Runs a shell command line in the scratch folder; "tarvo" at the start
    // and after "&&" stands for the built binary. args are already quoted.
    ToolRun shell(std::string line) {
        const std::string bin = quote(TARVO_TOOL_PATH);
        if (line.rfind("tarvo ", 0) == 0) line = bin + line.substr(5);
        for (std::size_t at = 0; (at = line.find("&& tarvo ", at)) != std::string::npos;)
            line.replace(at + 3, 5, bin), at += 3 + bin.size();
        ToolRun r;
        const std::string o = dir + "/.stdout", e = dir + "/.stderr";
        const std::string cmd =
            "cd " + quote(dir) + " && { " + line + " ; } >" + quote(o) + " 2>" + quote(e);
        const int s = std::system(cmd.c_str());
        r.status = WIFEXITED(s) ? WEXITSTATUS(s) : -1;
        r.out = slurp(o);
        r.err = slurp(e);
        return r;
    }
    ToolRun tarvo(const std::string& args) { return shell("tarvo " + args); }
    // A failure: status 2 and exactly one line on stderr containing `what`.
    void expectError(const ToolRun& r, const std::string& what) {
        EXPECT_EQ(r.status, 2) << what;
        EXPECT_NE(r.err.find(what), std::string::npos) << r.err;
        ASSERT_FALSE(r.err.empty()) << what;
        EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "more than one line: " << r.err;
    }
    // Loads a picture of the scratch folder as it is (grey stays one channel).
    tarvo::Mat load(const std::string& file) {
        tarvo::Mat m;
        EXPECT_TRUE(m.fromImage((dir + "/" + file).c_str(), tarvo::IMG_UNCHANGED)) << file;
        return m;
    }
    std::string dir;
};

}  // namespace tooltest

#endif  // TARVO_TOOL_PATH
