// The tool rows of the transforms and matching: each writes what the library
// call gives, match reports the best placement, and bad rectangles and block
// sizes are refused in one line.
#include <gtest/gtest.h>

#include "core/tool_fixture.h"
#include "tarvo/colorspace.h"
#include "tarvo/ip/filter.h"
#include "tarvo/ip/segment.h"

#ifdef TARVO_TOOL_PATH

namespace tooltest {
namespace {

TEST_F(Tool, MatchPrintsTheCutOutsPlaceAndFilter2dIsTheLibraryBlur) {
    ToolRun r = tarvo("match --x 300 --y 120 --width 40 --height 24 --mode sqdiff " +
                      quote(kSample) + " s.png");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("best placement: x 300 y 120"), std::string::npos) << r.out;
    tarvo::Mat scores = load("s.png");
    EXPECT_EQ(scores.channels(), 1);
    EXPECT_EQ(scores.cols(), 600 - 40 + 1);
    EXPECT_EQ(scores.value(120, 300), 0);  // the exact match is the darkest square difference
    expectError(tarvo("match --x 590 --width 40 " + quote(kSample) + " s.png"),
                "leaves the picture");
    expectError(tarvo("dct-blocks --block 7 " + quote(kSample) + " b.png"), "even");

    r = tarvo("filter2d --size 9 --shape box " + quote(kGreySample) + " b.png");
    ASSERT_EQ(r.status, 0) << r.err;
    tarvo::Mat src, want;
    ASSERT_TRUE(src.fromImage(kGreySample.c_str(), tarvo::IMG_UNCHANGED));
    tarvo::Mat k(9, 9, tarvo::MAT_Tfloat, tarvo::Point4_<double>(1.0f / 81, 0, 0, 0));
    tarvo::ip::filter2D(src, want, -1, k, tarvo::Point2_<int>(-1, -1), 0, tarvo::BorderMirror);
    EXPECT_TRUE(tarvo::test::matEqual(load("b.png"), want));
}

}  // namespace
}  // namespace tooltest

#endif
