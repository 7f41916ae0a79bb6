// Vector and threaded paths of the Mat element loops give the bytes of the
// scalar one-thread loop, on shapes that leave vector tails and stripe edges.
#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "support/vector_targets.h"
#include "support/all_paths.h"
#include "support/test_util.h"
#include "tarvo/colorspace.h"
#include "tarvo/mat.h"
#include "tarvo/saturate.h"

namespace tarvo {
namespace {

const int kDepths[] = {MAT_Tuchar, MAT_Tshort, MAT_Tint, MAT_Tfloat, MAT_Tdouble};

// Random values with the awkward ones sprinkled in: NaN, infinities, exact
// halves (ties), values a hair either side of a half, huge and tiny values.
Mat awkward(int rows, int cols, int type, uint32_t seed) {
    Mat m = test::randomMat(rows, cols, type, seed, -40000.0, 40000.0);
    const double specials[] = {std::numeric_limits<double>::quiet_NaN(),
                               std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity(),
                               0.5,
                               -0.5,
                               1.5,
                               2.5,
                               254.5,
                               255.5,
                               -127.5,
                               0.49999997,
                               0.50000006,
                               0.49999999999999994,  // v + 0.5 rounds up to 1 in double
                               -1e-10,
                               1e30,
                               -1e30,
                               32767.5,
                               -32768.5,
                               32766.5,
                               3e9,
                               -3e9};
    const int n = cols * m.channels();
    int k = 0;
    for (int r = 0; r < rows; r++) {
        for (int i = (r * 7) % 5; i < n; i += 3) {
            const double v = specials[k++ % (sizeof(specials) / sizeof(specials[0]))];
            if (m.type() == MAT_Tfloat)
                m.ptr<float>(r)[i] = float(v);
            else if (m.type() == MAT_Tdouble)
                m.ptr<double>(r)[i] = v;
            else if (i % 2)
                m.ptr<unsigned char>(r)[0] = 0;  // integers keep their random values
        }
        // A stretch of small values so the byte destinations see every level.
        if (m.type() == MAT_Tfloat)
            for (int i = 1; i < n; i += 4)
                m.ptr<float>(r)[i] = float((r * 31 + i) % 600) * 0.5f - 20.f;
    }
    return m;
}

TEST(MatPaths, ConvertToEveryPairAndCastRule) {
    struct Shape {
        int rows, cols, cn;
    } shapes[] = {{1, 37, 1}, {29, 1, 1}, {7, 19, 3}, {5, 13, 4}, {263, 517, 1}, {131, 301, 3}};
    for (const Shape& sh : shapes) {
        for (int from : kDepths) {
            const Mat src = awkward(sh.rows, sh.cols, from | ((sh.cn - 1) << 3), 11u + from);
            for (int to : kDepths) {
                for (int cast : {int(CT_Cast), int(CT_Round)}) {
                    const Mat out = test::onEveryPath(
                        [&](Mat& d) { src.convertTo(d, to, CASTTYPE(cast)); },
                        "convertTo " + std::to_string(from) + "->" + std::to_string(to));
                    ASSERT_EQ(out.rows(), sh.rows);
                    // The reference itself follows the element rule.
                    if (from == MAT_Tfloat && to == MAT_Tuchar) {
                        for (int r = 0; r < sh.rows; r++)
                            for (int i = 0; i < sh.cols * sh.cn; i++) {
                                const double v = src.ptr<float>(r)[i];
                                const unsigned char want = cast == CT_Round
                                                               ? saturate_cast<unsigned char>(v)
                                                               : saturate_trunc<unsigned char>(v);
                                ASSERT_EQ(out.ptr<unsigned char>(r)[i], want) << v;
                            }
                    }
                }
                // Scaled form: a plain factor, exact ties, overflow to
                // infinity, and a NaN factor (every element NaN).
                const double scales[][2] = {{0.37, -3.25},
                                            {0.5, 0.0},
                                            {1e300, -1.0},
                                            {std::numeric_limits<double>::quiet_NaN(), 0.0}};
                for (const auto& a : scales) {
                    const Mat out =
                        test::onEveryPath([&](Mat& d) { src.convertTo(d, to, a[0], a[1]); },
                                          "scaled convertTo " + std::to_string(from) + "->" +
                                              std::to_string(to) + " by " + std::to_string(a[0]));
                    // Spot-check the reference against the element rule.
                    if (to == MAT_Tuchar && !out.empty()) {
                        const int i = sh.cols * sh.cn - 1, r = sh.rows - 1;
                        const double v = test::at(src, r, sh.cols - 1, sh.cn - 1) * a[0] + a[1];
                        ASSERT_EQ(out.ptr<unsigned char>(r)[i], saturate_cast<unsigned char>(v));
                    }
                }
            }
        }
    }
}

TEST(MatPaths, RoundingRuleOnTiesAndNeighbours) {
    // Every float tie k + 0.5 from -40000 to 40000 and its two neighbours,
    // to shorts and bytes, checked against floor(v + 0.5) with clamping.
    const int n = 3 * 80001;
    Mat f(1, n, MAT_Tfloat);
    for (int k = 0; k < 80001; k++) {
        const float t = float(k - 40000) + 0.5f;
        f.ptr<float>(0)[3 * k] = std::nextafter(t, -1e9f);
        f.ptr<float>(0)[3 * k + 1] = t;
        f.ptr<float>(0)[3 * k + 2] = std::nextafter(t, 1e9f);
    }
    const Mat s = test::onEveryPath([&](Mat& d) { f.convertTo(d, MAT_Tshort, CT_Round); });
    const Mat b = test::onEveryPath([&](Mat& d) { f.convertTo(d, MAT_Tuchar, CT_Round); });
    for (int i = 0; i < n; i++) {
        const double v = f.ptr<float>(0)[i];
        const double want = std::floor(v + 0.5);
        ASSERT_EQ(s.ptr<short>(0)[i], short(std::min(32767.0, std::max(-32768.0, want)))) << v;
        ASSERT_EQ(b.ptr<unsigned char>(0)[i], (unsigned char)std::min(255.0, std::max(0.0, want)))
            << v;
    }
}

TEST(MatPaths, ColourConversionsOnStripes) {
    struct Shape {
        int rows, cols, cn;
    } shapes[] = {{1, 41, 3}, {37, 1, 4}, {283, 509, 3}, {171, 397, 4}};
    for (const Shape& sh : shapes) {
        for (int depth : kDepths) {
            const Mat src =
                test::randomMat(sh.rows, sh.cols, MAKETYPE(depth, sh.cn), 5u + depth, -0.25, 1.25);
            const std::string tag =
                "depth " + std::to_string(depth) + " cn " + std::to_string(sh.cn);
            test::onEveryPath([&](Mat& d) { ColorSpace::RGBtoGray(src, d, BMP_RGB); },
                              "grey " + tag);
            test::onEveryPath([&](Mat& d) { ColorSpace::RGBtoGray(src, d, BMP_BGR); },
                              "grey " + tag);
            test::onEveryPath([&](Mat& d) { ColorSpace::RGBtoYUV(src, d); }, "yuv " + tag);
            test::onEveryPath([&](Mat& d) { ColorSpace::YUVtoRGB(src, d); }, "rgb " + tag);
            test::onEveryPath([&](Mat& d) { ColorSpace::RGBtoLab(src, d); }, "lab " + tag);
            test::onEveryPath([&](Mat& d) { ColorSpace::extractChannel(src, d, 2); },
                              "chan " + tag);
            Mat grey;
            ColorSpace::extractChannel(src, grey, 1);
            test::onEveryPath([&](Mat& d) { ColorSpace::GraytoRGB(grey, d); }, "to rgb " + tag);
        }
    }
}

TEST(MatPaths, EveryCompiledVectorTargetMatchesScalar) {
    // The processor picks one target; mock the others it can run so that each
    // compiled conversion and grey kernel is checked against the scalar loops.
    struct Restore {
        ~Restore() { detail::setUseOptimized(true); }
    } restore;
    std::vector<std::function<void(Mat&)>> ops;
    std::vector<Mat> srcs;
    srcs.reserve(32);  // the operations hold references into it
    for (int from : kDepths) srcs.push_back(awkward(7, 45, MAKETYPE(from, 3), 30u + from));
    for (const Mat& src : srcs)
        for (int to : kDepths) {
            ops.push_back([&src, to](Mat& d) { src.convertTo(d, to, 0.37, -3.25); });
            ops.push_back([&src, to](Mat& d) { src.convertTo(d, to, CT_Round); });
            ops.push_back([&src, to](Mat& d) { src.convertTo(d, to, CT_Cast); });
        }
    for (int depth : kDepths)
        for (int cn : {3, 4}) {
            srcs.push_back(test::randomMat(5, 53, MAKETYPE(depth, cn), 40u + depth, -0.25, 1.25));
            const Mat& src = srcs.back();
            ops.push_back([&src](Mat& d) { ColorSpace::RGBtoGray(src, d, BMP_BGR); });
        }
    std::vector<Mat> refs(ops.size());
    detail::setUseOptimized(false);
    for (size_t i = 0; i < ops.size(); i++) ops[i](refs[i]);
    detail::setUseOptimized(true);
    const int tried = test::onEveryVectorTarget([&](const char* target) {
        for (size_t i = 0; i < ops.size(); i++) {
            Mat out;
            ops[i](out);
            EXPECT_TRUE(test::sameBytes(out, refs[i])) << target << " op " << i;
        }
    });
    EXPECT_GT(tried, 0);
}

}  // namespace
}  // namespace tarvo
