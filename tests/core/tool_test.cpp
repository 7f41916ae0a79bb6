// The tarvo tool, run as a separate process.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/tool_fixture.h"
#include "support/test_util.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/core.h"
#include "tarvo/ip/edges.h"
#include "tarvo/ip/gaussian.h"
#include "tarvo/ip/geometry.h"
#include "tarvo/ip/morphology.h"
#include "tarvo/ip/photo.h"
#include "tarvo/ip/segment.h"
#include "tarvo/mat.h"

#ifdef TARVO_TOOL_PATH

using tooltest::kGreySample;
using tooltest::kSample;
using tooltest::quote;
using tooltest::Tool;
using tooltest::ToolRun;

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
         {"copy", "crop", "grey", "colorize", "shift-rgb", "hsl", "color-temperature", "gaussian",
          "erode", "dilate", "opening", "closing", "resize", "demo", "threshold",
          "adaptive-threshold", "equalize", "stretch", "sobel-magnitude"})
        EXPECT_NE(r.out.find(name), std::string::npos) << name;
    ToolRun h = tarvo("crop --help");
    EXPECT_EQ(h.status, 0);
    EXPECT_NE(h.out.find("--width"), std::string::npos) << h.out;
    EXPECT_NE(h.out.find("default"), std::string::npos);
    EXPECT_NE(h.out.find("\nexample: tarvo crop "), std::string::npos) << h.out;
    ToolRun u = tarvo("--help");
    EXPECT_EQ(u.status, 0);
    EXPECT_NE(u.out.find("usage: tarvo"), std::string::npos) << u.out;
    EXPECT_EQ(tarvo("-h").out, u.out);
}

TEST_F(Tool, VersionIsTheLibrarysVersion) {
    tarvo::tagLibraryInfo info;
    std::memset(&info, 0, sizeof(info));
    GettarvoIPInfo(&info);
    const std::string want = std::to_string(info.nMajor) + "." + std::to_string(info.nMinor) + "." +
                             std::to_string(info.nPatch);
    ToolRun r = tarvo("--version");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.rfind("tarvo " + want + " ", 0), 0u) << r.out;
    EXPECT_TRUE(r.err.empty());
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
    expectError(tarvo("--bogus"), "unknown option '--bogus'");
    // Codes the library does not define are refused, named or numbered.
    expectError(tarvo("threshold --type 5 a.png b.png"), "takes one of binary, binary-inv");
    expectError(tarvo("threshold --type otsu-inv a.png b.png"), "got 'otsu-inv'");
    expectError(tarvo("sobel --ksize 4 a.png b.png"), "takes one of 1, 3, 5, 7");
    expectError(tarvo("erode --shape 3 a.png b.png"), "takes one of rect, cross, ellipse");
    expectError(tarvo("resize --interpolation 5 a.png b.png"), "takes one of auto");
    expectError(tarvo("copy --quality 0 a.png b.jpg"), "1..100");
    expectError(tarvo("copy --compression 10 a.png b.png"), "0..9");
    expectError(tarvo("copy --quality 50 a.png b.png"), "applies to JPEG output");
}

TEST_F(Tool, ReadErrorsNameTheirCause) {
    const std::string png = tooltest::slurp(kSample);
    tarvo::Mat colour;
    ASSERT_TRUE(colour.fromImage(kSample.c_str()));
    ASSERT_TRUE(colour.toImage((dir + "/whole.jpg").c_str()));
    const std::string jpg = tooltest::slurp(dir + "/whole.jpg");
    const auto write = [&](const std::string& name, const std::string& bytes) {
        std::ofstream(dir + "/" + name, std::ios::binary) << bytes;
    };
    write("zero.png", "");
    write("junk.png", "this is not a picture");
    write("cut.png", png.substr(0, png.size() / 2));
    write("cut.jpg", jpg.substr(0, jpg.size() / 2));
    write("cut.pgm", "P5\n64 64\n255\n" + std::string(100, 'x'));
    std::string broken = png;
    for (std::size_t k = 100; k < 4000; k++) broken[k] = char(k * 7);  // inside the first data
    write("broken.png", broken);

    expectError(tarvo("copy missing.png out.png"), "cannot read 'missing.png': no such file");
    expectError(tarvo("copy . out.png"), "it is a directory");
    expectError(tarvo("copy zero.png out.png"), "empty file");
    expectError(tarvo("copy junk.png out.png"), "unknown format");
    expectError(tarvo("copy cut.png out.png"), "truncated PNG");
    expectError(tarvo("copy cut.jpg out.png"), "truncated JPEG");
    expectError(tarvo("copy cut.pgm out.png"), "truncated PGM");
    expectError(tarvo("copy broken.png out.png"), "corrupt PNG");
    if (geteuid() != 0) {  // root reads whatever the mode says
        write("locked.png", png);
        std::filesystem::permissions(dir + "/locked.png", std::filesystem::perms::none);
        expectError(tarvo("copy locked.png out.png"), "permission denied");
    }
    EXPECT_FALSE(std::filesystem::exists(dir + "/out.png"));
}

TEST_F(Tool, WriteErrorsNameTheirCause) {
    const std::string in = quote(kSample), grey = quote(kGreySample);
    expectError(tarvo("copy " + in + " nodir/out.png"), "folder 'nodir' does not exist");
    std::filesystem::create_directory(dir + "/sub.png");
    expectError(tarvo("copy " + in + " sub.png"), "it is a directory");
    expectError(tarvo("copy " + in + " noextension"), "no extension");
    expectError(tarvo("copy " + in + " out.gif"), "unknown extension '.gif'");
    expectError(tarvo("copy " + in + " out.pgm"), "PGM cannot hold 3 channels");
    expectError(tarvo("copy " + grey + " out.ppm"), "PPM cannot hold 1 channel");
    std::filesystem::create_symlink("/dev/full", dir + "/full.png");
    expectError(tarvo("copy " + in + " full.png"), "disk full");
    if (geteuid() != 0) {
        std::filesystem::create_directory(dir + "/ro");
        std::filesystem::permissions(
            dir + "/ro", std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
        expectError(tarvo("copy " + in + " ro/out.png"), "not writable");
    }
}

TEST_F(Tool, GreyPicturesStayGreyAndColourStaysColour) {
    tarvo::Mat grey;
    ASSERT_TRUE(grey.fromImage(kGreySample.c_str(), tarvo::IMG_UNCHANGED));
    ASSERT_EQ(grey.channels(), 1);
    ASSERT_TRUE(grey.toImage((dir + "/g.pgm").c_str()));
    ASSERT_TRUE(grey.toImage((dir + "/g.png").c_str()));
    for (const char* in : {"g.png", "g.pgm"}) {
        for (const char* out : {"o.png", "o.pgm"}) {
            SCOPED_TRACE(std::string(in) + " -> " + out);
            ASSERT_EQ(tarvo(std::string("copy ") + in + " " + out).status, 0);
            EXPECT_TRUE(tarvo::test::matEqual(load(out), grey));
            ASSERT_EQ(tarvo(std::string("gaussian --sigma 2 ") + in + " " + out).status, 0);
            tarvo::Mat want;
            tarvo::ip::gaussian(grey, want, 2.0f);
            EXPECT_TRUE(tarvo::test::matEqual(load(out), want));
            ASSERT_EQ(tarvo(std::string("erode --shape cross ") + in + " " + out).status, 0);
            EXPECT_EQ(load(out).channels(), 1);
            ASSERT_EQ(tarvo(std::string("resize --width 200 ") + in + " " + out).status, 0);
            const tarvo::Mat r = load(out);
            EXPECT_EQ(r.channels(), 1);
            EXPECT_EQ(r.cols(), 200);
            EXPECT_EQ(r.rows(), 200);
        }
    }
    // A colour JPEG stays colour, through JPEG and PNG output alike.
    tarvo::Mat colour;
    ASSERT_TRUE(colour.fromImage(kSample.c_str()));
    ASSERT_TRUE(colour.toImage((dir + "/c.jpg").c_str()));
    ASSERT_EQ(tarvo("gaussian c.jpg o.jpg").status, 0);
    EXPECT_EQ(load("o.jpg").channels(), 3);
    ASSERT_EQ(tarvo("copy c.jpg o.png").status, 0);
    tarvo::Mat decoded;
    ASSERT_TRUE(decoded.fromImage((dir + "/c.jpg").c_str()));
    EXPECT_TRUE(tarvo::test::matEqual(load("o.png"), decoded));
    // Operations on colour alone say so for a grey picture.
    for (const char* op : {"colorize", "hsl", "shift-rgb", "color-temperature", "stretch"})
        expectError(tarvo(std::string(op) + " g.png o.png"),
                    std::string(op) + " needs a colour (three-channel) picture; 'g.png' is grey");
}

// Every example line runs, and so does every named choice of every option,
// given after the example's own options on a picture the operation takes.
TEST_F(Tool, EveryExampleAndNamedChoiceRuns) {
    tarvo::Mat colour, small, grey;
    ASSERT_TRUE(colour.fromImage(kSample.c_str()));
    colour.subMat(tarvo::Rect(100, 100, 240, 160), small);
    tarvo::ColorSpace::RGBtoGray(small, grey);
    ASSERT_TRUE(small.toImage((dir + "/c.png").c_str()));
    ASSERT_TRUE(grey.toImage((dir + "/g.png").c_str()));
    std::istringstream list(tarvo("list").out);
    std::string line;
    int runs = 0;
    while (std::getline(list, line)) {
        std::istringstream words(line);
        std::string op;
        if (line.rfind("  ", 0) != 0 || !(words >> op) || op == "demo") continue;
        const std::string help = tarvo(op + " --help").out;
        const std::size_t ex = help.find("\nexample: tarvo " + op);
        ASSERT_NE(ex, std::string::npos) << op << " has no example";
        std::vector<std::string> exWords;
        std::istringstream exLine(help.substr(ex + 10, help.find('\n', ex + 1) - ex - 10));
        for (std::string w; exLine >> w;) exWords.push_back(w);
        ASSERT_GE(exWords.size(), 4u) << op;
        std::string options;
        for (std::size_t k = 2; k + 2 < exWords.size(); k++) options += " " + exWords[k];
        const bool colourOnly = help.find("IN must be a colour picture") != std::string::npos;
        const std::string in = colourOnly ? " c.png" : " g.png";
        const ToolRun r = tarvo(op + options + in + " out.png");
        EXPECT_EQ(r.status, 0) << op << options << ": " << r.err;
        // Choice lines follow their option: "      name  (code)".
        std::istringstream h(help);
        std::string option;
        for (std::string l; std::getline(h, l);) {
            if (l.rfind("  --", 0) == 0) option = l.substr(2, l.find(' ', 2) - 2);
            if (l.rfind("      ", 0) != 0 || option.empty() || option == "--quality") continue;
            std::istringstream lw(l);
            std::string choice, code, more;
            lw >> choice >> code >> more;
            if (!more.empty() || (!code.empty() && code[0] != '(')) continue;  // wrapped help
            for (const std::string& pic : {in, colourOnly ? in : std::string(" c.png")}) {
                const ToolRun c =
                    tarvo(op + options + " " + option + " " + choice + pic + " o.png");
                EXPECT_EQ(c.status, 0)
                    << op << " " << option << " " << choice << pic << ": " << c.err;
                runs++;
            }
        }
    }
    EXPECT_GE(runs, 60);
}

TEST_F(Tool, OperationWritesAPictureThatLoadsBack) {
    ToolRun r = tarvo("crop --x 10 --y 20 --width 30 --height 40 " + quote(kSample) + " c.png");
    ASSERT_EQ(r.status, 0) << r.err;
    tarvo::Mat src, got, want;
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    ASSERT_TRUE(got.fromImage((dir + "/c.png").c_str()));
    src.subMat(tarvo::Rect(10, 20, 30, 40), want);
    EXPECT_TRUE(tarvo::test::matEqual(got, want));

    expectError(tarvo("crop --x 5000 " + quote(kSample) + " c2.png"), "outside the picture");
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
    tarvo::Mat src, want;
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    const char* names[] = {"scale-xy", "linear", "cubic", "area", "lanczos4"};
    for (int code = 0; code <= 4; code++) {
        ToolRun r = tarvo("resize --width 123 --height 77 --interpolation " +
                          std::string(names[code]) + " " + quote(kSample) + " r.png");
        ASSERT_EQ(r.status, 0) << r.err;
        tarvo::ip::resize(src, want, 123, 77, code);
        EXPECT_TRUE(tarvo::test::matEqual(load("r.png"), want)) << code;
    }
    // Shrinking by a factor picks area averaging; enlarging picks linear.
    ASSERT_EQ(tarvo("resize --scale 0.3 " + quote(kSample) + " s.png").status, 0);
    tarvo::ip::resize(src, want, 180, 120, tarvo::ip::ResizeArea);
    EXPECT_TRUE(tarvo::test::matEqual(load("s.png"), want));
    // One side keeps the aspect ratio (600x400: height 75 gives width 112.5 -> 113).
    ASSERT_EQ(tarvo("resize --height 75 " + quote(kSample) + " h.png").status, 0);
    tarvo::ip::resize(src, want, 113, 75, tarvo::ip::ResizeArea);
    EXPECT_TRUE(tarvo::test::matEqual(load("h.png"), want));
    ASSERT_EQ(tarvo("resize --width 700 --interpolation 2 " + quote(kSample) + " w.png").status, 0);
    tarvo::ip::resize(src, want, 700, 467, tarvo::ip::ResizeCubic);
    EXPECT_TRUE(tarvo::test::matEqual(load("w.png"), want));
    ASSERT_EQ(tarvo("resize --scale 1.5 " + quote(kSample) + " e.png").status, 0);
    tarvo::ip::resize(src, want, 900, 600, tarvo::ip::ResizeLinear);
    EXPECT_TRUE(tarvo::test::matEqual(load("e.png"), want));

    expectError(tarvo("resize " + quote(kSample) + " b.png"), "give --scale, --width or --height");
    expectError(tarvo("resize --scale 2 --width 5 " + quote(kSample) + " b.png"), "not both");
    expectError(tarvo("resize --scale 0.0001 " + quote(kSample) + " b.png"), "1..32768");
}

TEST_F(Tool, QualityAndCompressionReachTheWriters) {
    const std::string in = quote(kSample);
    ASSERT_EQ(tarvo("copy --quality 20 " + in + " low.jpg").status, 0);
    ASSERT_EQ(tarvo("copy " + in + " --quality=95 high.jpg").status, 0);
    const auto size = [&](const char* f) { return std::filesystem::file_size(dir + "/" + f); };
    EXPECT_LT(size("low.jpg") * 2, size("high.jpg"));
    ASSERT_EQ(tarvo("copy --compression 0 " + in + " raw.png").status, 0);
    ASSERT_EQ(tarvo("copy --compression 9 " + in + " small.png").status, 0);
    EXPECT_GT(size("raw.png"), 600u * 400u * 3u);  // stored, not deflated
    EXPECT_LT(size("small.png"), size("raw.png") * 3 / 4);
    tarvo::Mat src;
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    EXPECT_TRUE(tarvo::test::matEqual(load("raw.png"), src));
    EXPECT_TRUE(tarvo::test::matEqual(load("small.png"), src));
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
    expectError(tarvo("laplace --selector 2 " + quote(kSample) + " l2.png"), "takes one of");
    expectError(tarvo("sobel --dx 0 --dy 0 " + quote(kSample) + " s0.png"), "cannot both be 0");
}

TEST_F(Tool, ErodeAndDilateMatchTheLibraryCalls) {
    tarvo::Mat src;
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    ToolRun r = tarvo("erode --size 5 --shape ellipse --iterations 2 " + quote(kSample) + " e.png");
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
    // The tool's closing is dilation then erosion (the library's element form erodes first).
    const tarvo::Mat cross =
        tarvo::ip::getStructuringElement(tarvo::ip::MorphCross, tarvo::Size_<int>(5, 5));
    ASSERT_EQ(
        tarvo("closing --size 5 --shape cross --border clamp " + quote(kSample) + " c.png").status,
        0);
    tarvo::Mat dilated;
    tarvo::ip::dilate(src, dilated, cross, tarvo::Point2_<int>(-1, -1), 1, tarvo::BorderClamp);
    tarvo::ip::erode(dilated, want, cross, tarvo::Point2_<int>(-1, -1), 1, tarvo::BorderClamp);
    EXPECT_TRUE(tarvo::test::matEqual(load("c.png"), want));
    ASSERT_EQ(tarvo("opening --size 5 --shape cross " + quote(kSample) + " o.png").status, 0);
    tarvo::ip::opening(src, want, cross);
    EXPECT_TRUE(tarvo::test::matEqual(load("o.png"), want));
    expectError(tarvo("dilate --size 0 a.png b.png"), "must lie in");
}

TEST_F(Tool, ThresholdsAndHistogramOperatorsMatchTheLibrary) {
    tarvo::Mat src, g, got, want;
    ASSERT_TRUE(src.fromImage(kSample.c_str()));
    tarvo::ColorSpace::RGBtoGray(src, g);

    ASSERT_EQ(
        tarvo("threshold --value 100 --max 200 --type binary-inv " + quote(kSample) + " t.png")
            .status,
        0);
    ASSERT_TRUE(got.fromImage((dir + "/t.png").c_str(), tarvo::IMG_GRAY));
    tarvo::ip::Threshold(g, want, 100, 200, tarvo::ip::ThreshBinaryInv);
    EXPECT_TRUE(tarvo::test::matEqual(got, want));

    ASSERT_EQ(tarvo("threshold --type otsu " + quote(kSample) + " o.png").status, 0);
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

    ASSERT_EQ(tarvo("stretch --mode common " + quote(kSample) + " s.png").status, 0);
    ASSERT_TRUE(got.fromImage((dir + "/s.png").c_str()));
    tarvo::ip::histogramStretch(src, want, 1);
    EXPECT_TRUE(tarvo::test::matEqual(got, want));
    // The sample already spans 0..255 in each channel: per-channel stretching keeps it.
    ASSERT_EQ(tarvo("stretch --mode per-channel " + quote(kSample) + " p.png").status, 0);
    EXPECT_TRUE(tarvo::test::matEqual(load("p.png"), src));

    expectError(tarvo("adaptive-threshold --block 0 a.png b.png"), "must lie in");
}

#endif  // TARVO_TOOL_PATH
