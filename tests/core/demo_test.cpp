// tarvo demo: its page names pictures that exist, and every command line on
// the page, run through the tool, makes the same file byte for byte.
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/tool_fixture.h"
#include "tarvo/mat.h"

#ifdef TARVO_TOOL_PATH

namespace {

using tooltest::slurp;
using tooltest::Tool;
using tooltest::ToolRun;

std::string unescape(std::string s) {
    const std::pair<const char*, const char*> entities[] = {
        {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&amp;", "&"}};
    for (const auto& e : entities)
        for (std::size_t at = 0; (at = s.find(e.first, at)) != std::string::npos; at++)
            s.replace(at, std::strlen(e.first), e.second);
    return s;
}

// The text between open and the next close after each open, unescaped.
std::vector<std::string> between(const std::string& html, const std::string& open,
                                 const std::string& close, const std::string& within) {
    std::vector<std::string> out;
    for (std::size_t at = 0; (at = html.find(within, at)) != std::string::npos;) {
        const std::size_t end = html.find("</figure>", at);
        const std::string fig = html.substr(at, end - at);
        const std::size_t b = fig.find(open);
        out.push_back(b == std::string::npos
                          ? std::string()
                          : unescape(fig.substr(b + open.size(), fig.find(close, b + open.size()) -
                                                                     b - open.size())));
        at = end;
    }
    return out;
}

using DemoPage = Tool;

TEST_F(DemoPage, EveryPictureExistsAndEveryCommandReproducesIt) {
    ToolRun r = tarvo("demo --out results");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(r.err.empty());
    const std::string html = slurp(dir + "/results/index.html");
    const std::vector<std::string> files = between(html, "<img src=\"", "\"", "<figure>");
    const std::vector<std::string> commands =
        between(html, "<code class=\"cmd\">", "</code>", "<figure>");
    ASSERT_EQ(files.size(), commands.size());
    ASSERT_GE(files.size(), 20u);
    // The commands run in a folder of their own that starts with the sample alone.
    std::filesystem::copy_file(dir + "/results/sample.png", dir + "/sample.png");
    int reproduced = 0;
    for (std::size_t k = 0; k < files.size(); k++) {
        SCOPED_TRACE(files[k]);
        tarvo::Mat m;
        ASSERT_TRUE(m.fromImage((dir + "/results/" + files[k]).c_str(), tarvo::IMG_UNCHANGED));
        EXPECT_EQ(slurp(dir + "/results/" + files[k]).compare(0, 4, "\x89PNG"), 0);
        EXPECT_NE(r.out.find(files[k]), std::string::npos) << "missing from the summary";
        EXPECT_NE(
            html.find(files[k] + ", " + std::to_string(m.cols()) + "x" + std::to_string(m.rows())),
            std::string::npos);
        if (commands[k].empty()) continue;  // the sample itself
        EXPECT_EQ(commands[k].substr(commands[k].size() - files[k].size() - 1), " " + files[k]);
        const ToolRun c = shell(commands[k]);  // in dir, where the outputs accumulate
        ASSERT_EQ(c.status, 0) << commands[k] << ": " << c.err;
        EXPECT_TRUE(slurp(dir + "/" + files[k]) == slurp(dir + "/results/" + files[k]))
            << commands[k];
        reproduced++;
    }
    EXPECT_EQ(reproduced + 1, int(files.size()));
    // The commands start from the sample, written beside the results.
    EXPECT_EQ(files[0], "sample.png");
    EXPECT_EQ(slurp(dir + "/results/sample.png"), slurp(tooltest::kSample));
    // Grey steps stay grey.
    tarvo::Mat g;
    ASSERT_TRUE(g.fromImage((dir + "/results/grey.png").c_str(), tarvo::IMG_UNCHANGED));
    EXPECT_EQ(g.channels(), 1);
}

}  // namespace

#endif  // TARVO_TOOL_PATH
