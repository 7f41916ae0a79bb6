// The horizontal vector passes (bytes, shorts, floats) on thin and narrow
// pictures, where their loads meet the row ends: every path gives the scalar
// one-thread bytes.
#include <gtest/gtest.h>

#include "support/all_paths.h"
#include "support/test_util.h"
#include "tarvo/ip/geometry.h"

namespace tarvo {
namespace {

TEST(ResizeRows, HorizontalTapsNearTheRowEnds) {
    struct Case {
        int sw, sh, dw, dh;
    } cases[] = {{37, 1, 23, 1},  {37, 1, 61, 1},   {1, 41, 1, 17},      {5, 9, 3, 4},
                 {16, 7, 11, 5},  {17, 7, 29, 6},   {19, 3, 12, 3},      {23, 5, 46, 9},
                 {67, 13, 45, 9}, {131, 11, 87, 7}, {301, 150, 200, 100}};
    for (int depth : {MAT_Tuchar, MAT_Tshort, MAT_Tfloat})
        for (int cn : {1, 3, 4})
            for (int code : {ip::ResizeLinear, ip::ResizeCubic, ip::ResizeLanczos4})
                for (const Case& c : cases) {
                    const Mat src = test::randomMat(c.sh, c.sw, MAKETYPE(depth, cn), 5u + c.sw,
                                                    -1000.0, 1000.0);
                    test::onEveryPath([&](Mat& d) { ip::resize(src, d, c.dw, c.dh, code); },
                                      "depth " + std::to_string(depth) + " cn " +
                                          std::to_string(cn) + " code " + std::to_string(code) +
                                          " " + std::to_string(c.sw) + "x" + std::to_string(c.sh) +
                                          " -> " + std::to_string(c.dw) + "x" +
                                          std::to_string(c.dh));
                }
}

TEST(ResizeRows, StrongShrinksSplitBySourcePixels) {
    // Few output rows from many source rows: the stripes follow the source.
    struct Case {
        int sw, sh, dw, dh;
    } cases[] = {{1001, 403, 250, 100}, {960, 540, 240, 135}, {1203, 301, 301, 75}};
    for (int depth : {MAT_Tuchar, MAT_Tshort, MAT_Tfloat})
        for (int cn : {1, 3, 4})
            for (int code : {ip::ResizeArea, ip::ResizeLinear})
                for (const Case& c : cases) {
                    const Mat src =
                        test::randomMat(c.sh, c.sw, MAKETYPE(depth, cn), 8u + c.sw, -500.0, 500.0);
                    test::onEveryPath([&](Mat& d) { ip::resize(src, d, c.dw, c.dh, code); },
                                      "depth " + std::to_string(depth) + " cn " +
                                          std::to_string(cn) + " code " + std::to_string(code) +
                                          " " + std::to_string(c.sw) + "x" + std::to_string(c.sh));
                }
}

}  // namespace
}  // namespace tarvo
