// The mesh-warp row of the tarvo tool, run as a separate process.
#include <gtest/gtest.h>

#include "core/tool_fixture.h"
#include "support/test_util.h"

#ifdef TARVO_TOOL_PATH

namespace {

using tarvo::Mat;
using tooltest::Tool;

TEST_F(Tool, MeshWarpWithoutMovesCopiesTheCoveredPicture) {
    // 65 x 33 with an 8 x 8 grid: cells of 8 x 4 pixels, so the regular mesh
    // maps every pixel onto itself exactly.
    const Mat src = tarvo::test::randomMat(33, 65, tarvo::MAT_Tuchar | (2 << 3), 4);
    ASSERT_TRUE(src.toImage((dir + "/in.png").c_str()));
    const tooltest::ToolRun r = tarvo("mesh-warp --grid 8 --amount 0 in.png out.png");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("128 triangles, written box x 0 y 0 width 63 height 31"),
              std::string::npos)
        << r.out;
    const Mat out = load("out.png");
    ASSERT_EQ(out.channels(), 3);
    for (int y = 0; y < 33; y++)
        for (int x = 0; x < 65 * 3; x++) {
            // The last row and column have no right or lower neighbour to blend with.
            const int want = y < 32 && x < 64 * 3 ? src.ptr<unsigned char>(y)[x] : 0;
            ASSERT_EQ(out.ptr<unsigned char>(y)[x], want) << x << "," << y;
        }

    // Moves keep the picture's shape and channels and repeat with the seed.
    ASSERT_EQ(tarvo("mesh-warp --grid 4 --amount 5 --seed 9 in.png a.png").status, 0);
    ASSERT_EQ(tarvo("mesh-warp --grid 4 --amount 5 --seed 9 in.png b.png").status, 0);
    EXPECT_TRUE(tarvo::test::matEqual(load("a.png"), load("b.png")));
    expectError(tarvo("mesh-warp --grid 40 in.png c.png"), "--grid");
}

}  // namespace

#endif  // TARVO_TOOL_PATH
