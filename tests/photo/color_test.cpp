// Colour adjustment operators. Expected values follow the integer and
// single-precision arithmetic of each conversion step by step.
#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/photo.h"

using namespace tarvo;

namespace {

Mat pixels3(std::initializer_list<int> v, int cols) {
    Mat m(1, cols, MAT_Tuchar3);
    int i = 0;
    for (int x : v) m.ptr<unsigned char>(0)[i++] = (unsigned char)x;
    return m;
}

Mat pixels1(std::initializer_list<int> v) {
    Mat m(1, int(v.size()), MAT_Tuchar);
    int i = 0;
    for (int x : v) m.ptr<unsigned char>(0)[i++] = (unsigned char)x;
    return m;
}

std::vector<int> bytes(const Mat& m) {
    std::vector<int> out;
    for (int r = 0; r < m.rows(); r++)
        for (int i = 0; i < m.rowByteSize(); i++) out.push_back(m.ptr<unsigned char>(r)[i]);
    return out;
}

struct HslCase {
    int r, g, b, h, s, l;
};

}  // namespace

TEST(ColorConvert, RGBtoHSLIntegerSteps) {
    const HslCase cases[] = {
        {128, 128, 128, 170, 0, 128},  // grey: hue 170
        {0, 0, 0, 170, 0, 0},          {255, 255, 255, 170, 0, 255}, {255, 0, 0, 0, 255, 128},
        {0, 255, 0, 85, 255, 128},     {0, 0, 255, 170, 255, 128},   {200, 100, 50, 14, 153, 125},
        {200, 50, 100, 242, 153, 125},  // bc - gc = -14 wraps to 242
        {200, 200, 50, 42, 153, 125},   // red and green tie: red's formula
        {1, 0, 0, 0, 255, 1},
    };
    for (const HslCase& c : cases) {
        unsigned char h, s, l;
        ip::RGBtoHSL((unsigned char)c.r, (unsigned char)c.g, (unsigned char)c.b, h, s, l);
        EXPECT_EQ(h, c.h) << c.r << "," << c.g << "," << c.b;
        EXPECT_EQ(s, c.s) << c.r << "," << c.g << "," << c.b;
        EXPECT_EQ(l, c.l) << c.r << "," << c.g << "," << c.b;
    }
}

TEST(ColorConvert, HSLtoRGBSinglePrecision) {
    const HslCase cases[] = {
        // (r, g, b) here is the expected output of HSLtoRGB(h, s, l).
        {100, 100, 100, 0, 0, 100},  // 100 / 255 * 255 truncates to 100
        {128, 128, 128, 170, 0, 128},
        {200, 0, 0, 0, 255, 100},  // m2 = 2L, m1 = 0
        {102, 0, 0, 0, 255, 51},
        {254, 1, 1, 0, 255, 128},  // L > 0.5: m2 = L + S - LS, truncation loses one
        {1, 254, 1, 85, 255, 128},
        {200, 99, 49, 14, 153, 125},
        {86, 83, 83, 0, 3, 85},       // double arithmetic would give (85, 84, 84)
        {179, 127, 127, 0, 65, 153},  // a fused multiply-add would give 126 for green
    };
    for (const HslCase& c : cases) {
        unsigned char r, g, b;
        ip::HSLtoRGB((unsigned char)c.h, (unsigned char)c.s, (unsigned char)c.l, r, g, b);
        EXPECT_EQ(r, c.r) << c.h << "," << c.s << "," << c.l;
        EXPECT_EQ(g, c.g) << c.h << "," << c.s << "," << c.l;
        EXPECT_EQ(b, c.b) << c.h << "," << c.s << "," << c.l;
    }
    // Greys survive the round trip exactly.
    for (int v = 0; v < 256; v++) {
        unsigned char h, s, l, r, g, b;
        ip::RGBtoHSL((unsigned char)v, (unsigned char)v, (unsigned char)v, h, s, l);
        ip::HSLtoRGB(h, s, l, r, g, b);
        EXPECT_EQ(r, v);
        EXPECT_EQ(b, v);
    }
}

TEST(ColorConvert, RampPieces) {
    EXPECT_FLOAT_EQ(ip::ramp(0.0f, 1.0f, 30.0f), 0.5f);
    EXPECT_FLOAT_EQ(ip::ramp(0.0f, 1.0f, 100.0f), 1.0f);
    EXPECT_FLOAT_EQ(ip::ramp(0.0f, 1.0f, 210.0f), 0.5f);
    EXPECT_FLOAT_EQ(ip::ramp(0.0f, 1.0f, 300.0f), 0.0f);
    EXPECT_FLOAT_EQ(ip::ramp(0.0f, 1.0f, 390.0f), 0.5f);  // wrapped once
    EXPECT_FLOAT_EQ(ip::ramp(0.0f, 1.0f, -330.0f), 0.5f);
    EXPECT_FLOAT_EQ(ip::ramp(0.2f, 0.6f, 360.0f), 0.2f);  // 360 is not wrapped
}

TEST(Colorize, BlendZeroKeepsSourceAndHalfBlendMixes) {
    Mat src = pixels3({200, 100, 50, 0, 0, 0}, 2), dst;
    ip::colorize(src, dst, 0, 0, 0.0f);
    EXPECT_TRUE(test::matEqual(dst, src));
    // hue 0, saturation 0: the new colour is the grey of the pixel's lightness
    // (125); weight 128: (200 * 128 + 125 * 128) >> 8 = 162, ...
    ip::colorize(src, dst, 0, 0, 0.5f);
    EXPECT_EQ(bytes(dst), (std::vector<int>{162, 112, 87, 0, 0, 0}));
}

TEST(Colorize, FullBlendAndClamp) {
    Mat src = pixels3({200, 100, 50, 128, 128, 128}, 2), dst;
    ipColorize op;
    op.hue = 0;
    op.saturation = 255;
    op.blend = 2.0f;
    EXPECT_TRUE(op.process(&src, &dst));
    EXPECT_EQ(op.blend, 1.0f);  // clamped in the object
    // Lightness 125 and 128 with hue 0, saturation 255.
    unsigned char r, g, b;
    ip::HSLtoRGB(0, 255, 125, r, g, b);
    EXPECT_EQ(bytes(dst), (std::vector<int>{r, g, b, 254, 1, 1}));
    op.blend = -3.0f;
    EXPECT_TRUE(op.process(&src, &dst));
    EXPECT_EQ(op.blend, 0.0f);
    EXPECT_TRUE(test::matEqual(dst, src));
}

TEST(Colorize, OneChannelFullStoresTheBlueResult) {
    // v = 100: lightness 100; HSLtoRGB(0, 255, 100) = (200, 0, 0).
    Mat src = pixels1({100}), dst;
    ip::colorize(src, dst, 0, 255, 1.0f);
    EXPECT_EQ(bytes(dst), (std::vector<int>{0}));
    ip::colorize(src, dst, 0, 255, 0.5f);  // blended with the red result
    EXPECT_EQ(bytes(dst), (std::vector<int>{(100 * 128 + 200 * 128) >> 8}));
}

TEST(Colorize, InPlaceFormAndMismatchedDestination) {
    Mat src = test::randomMat(5, 7, MAT_Tuchar3, 11);
    Mat ref;
    ip::colorize(src, ref, 30, 180, 0.7f);
    Mat img = src;
    ip::colorize(img, 30, 180, 0.7f);
    EXPECT_TRUE(test::matEqual(img, ref));
    Mat wrong(2, 2, MAT_Tuchar);  // other shape and channels: replaced
    ip::colorize(src, wrong, 30, 180, 0.7f);
    EXPECT_TRUE(test::matEqual(wrong, ref));
    // Null destination means in place.
    ipColorize op;
    op.hue = 30;
    op.saturation = 180;
    op.blend = 0.7f;
    Mat again = src;
    EXPECT_TRUE(op.process(&again, nullptr));
    EXPECT_TRUE(test::matEqual(again, ref));
    EXPECT_FALSE(op.process(nullptr, &again));
}

TEST(ShiftRGB, BytesClampPerChannel) {
    Mat src = pixels3({250, 5, 100, 0, 255, 7}, 2);
    Mat dst(1, 2, MAT_Tuchar3);
    ip::shiftRGB(src, dst, 10, -10, 0);
    EXPECT_EQ(bytes(dst), (std::vector<int>{255, 0, 100, 10, 245, 7}));

    Mat rgba(1, 1, MAT_Tuchar4);
    unsigned char* p = rgba.ptr<unsigned char>(0);
    p[0] = 10, p[1] = 20, p[2] = 30, p[3] = 40;
    ip::shiftRGB(rgba, rgba, 1, 2, 3);
    EXPECT_EQ(bytes(rgba), (std::vector<int>{11, 22, 33, 40}));  // alpha untouched

    Mat grey = pixels1({3, 250});
    ip::shiftRGB(grey, grey, 5, 100, 100);  // one channel: only the first shift
    EXPECT_EQ(bytes(grey), (std::vector<int>{8, 255}));
}

TEST(ShiftRGB, RefusesAMismatchedDestination) {
    Mat src = pixels3({1, 2, 3}, 1), fresh;
    ip::shiftRGB(src, fresh, 1, 1, 1);
    EXPECT_TRUE(fresh.empty());
    Mat narrow = pixels1({9});  // same depth and size, one channel
    ipShiftRGB op;
    EXPECT_FALSE(op.process(&src, &narrow));
    EXPECT_EQ(bytes(narrow), (std::vector<int>{9}));
}

TEST(ShiftRGB, FloatPathsAndOtherDepths) {
    Mat src(1, 2, MAT_Tfloat3), dst(1, 2, MAT_Tfloat3);
    for (int i = 0; i < 6; i++) {
        src.ptr<float>(0)[i] = float(i + 1);
        dst.ptr<float>(0)[i] = -1.0f;
    }
    ip::shiftRGB(src, dst, 10, 20, 30);
    // Per column, not per channel: the last shift stays, the rest is untouched.
    const float want[6] = {31, 32, -1, -1, -1, -1};
    for (int i = 0; i < 6; i++) EXPECT_EQ(dst.ptr<float>(0)[i], want[i]) << i;
    ip::shiftRGB(src, src, 10, 20, 30);  // in place the shifts add up
    EXPECT_EQ(src.ptr<float>(0)[0], 61.0f);
    EXPECT_EQ(src.ptr<float>(0)[2], 3.0f);

    Mat f1(1, 1, MAT_Tfloat);
    f1.ptr<float>(0)[0] = 0.5f;
    ip::shiftRGB(f1, f1, 2, 9, 9);
    EXPECT_EQ(f1.ptr<float>(0)[0], 2.5f);

    Mat s(1, 1, MAT_Tshort), sd(1, 1, MAT_Tshort);
    s.ptr<short>(0)[0] = 5;
    sd.ptr<short>(0)[0] = 77;
    ipShiftRGB op;
    op.shift[0] = 1;
    EXPECT_TRUE(op.process(&s, &sd));
    EXPECT_EQ(sd.ptr<short>(0)[0], 77);  // nothing written
}

TEST(HSL, GreyPixelsAndHueRotation) {
    Mat grey = pixels3({128, 128, 128}, 1);
    Mat g1 = grey;
    ip::hsl(g1, g1, 10, 0, 20);  // a hue shift leaves greys alone
    EXPECT_EQ(bytes(g1), bytes(grey));
    Mat g2 = grey;
    ip::hsl(g2, g2, 0, 0, 10);  // L 50 -> 60: 0.6 * 255 = 153
    EXPECT_EQ(bytes(g2), (std::vector<int>{153, 153, 153}));

    Mat red = pixels3({255, 0, 0}, 1);
    Mat r1 = red;
    ip::hsl(r1, r1, 120, 0, 0);
    EXPECT_EQ(bytes(r1), (std::vector<int>{0, 255, 0}));
    Mat r2 = red;
    ip::hsl(r2, r2, -120, 0, 0);  // -120 wraps to 240
    EXPECT_EQ(bytes(r2), (std::vector<int>{0, 0, 255}));
    Mat r3 = red;
    ip::hsl(r3, r3, 0, -100, 0);  // fully desaturated, hue 0: left as it was
    EXPECT_EQ(bytes(r3), bytes(red));
    Mat r4 = red;
    ip::hsl(r4, r4, 0, 0, 50);  // lightness clamps at 100: white
    EXPECT_EQ(bytes(r4), (std::vector<int>{255, 255, 255}));
}

TEST(HSL, WorksOnTheDestinationsPixels) {
    Mat src = pixels3({255, 0, 0}, 1);
    Mat dst = pixels3({0, 255, 0}, 1);  // adjusted, src is not read
    ip::hsl(src, dst, 120, 0, 0);
    EXPECT_EQ(bytes(dst), (std::vector<int>{0, 0, 255}));
    EXPECT_EQ(bytes(src), (std::vector<int>{255, 0, 0}));
    Mat fresh;  // re-created with cleared pixels
    ip::hsl(src, fresh, 120, 0, 0);
    EXPECT_EQ(bytes(fresh), (std::vector<int>{0, 0, 0}));
    Mat narrow = pixels1({200, 100});  // a one-channel row holds no more than its bytes
    ip::hsl(narrow, narrow, 0, 0, 10);
    EXPECT_EQ(narrow.cols(), 2);
}

TEST(ColorTemperature, OffsetsAndNeutralPoint) {
    Mat src = pixels3({150, 150, 150, 10, 250, 200}, 2), dst;
    ip::colorTemperature(src, dst, 6600);
    EXPECT_TRUE(test::matEqual(dst, src));
    ip::colorTemperature(src, dst, 4000);  // k = 1: (-100, -59, 72)
    EXPECT_EQ(bytes(dst), (std::vector<int>{50, 91, 222, 0, 191, 255}));
    ip::colorTemperature(src, dst, 12000);  // k = 1: (100, 82, -86)
    EXPECT_EQ(bytes(dst), (std::vector<int>{250, 232, 64, 110, 255, 114}));
    ip::colorTemperature(src, dst, 5300);  // k = 0.5: (-50, -29.5, 36)
    EXPECT_EQ(bytes(dst), (std::vector<int>{100, 120, 186, 0, 220, 236}));

    Mat grey = pixels1({150, 20});  // one channel: the first offset only
    ip::colorTemperature(grey, dst, 4000);
    EXPECT_EQ(bytes(dst), (std::vector<int>{50, 0}));

    ipColorTemperature op(4000);
    Mat img = src;
    EXPECT_TRUE(op.process(&img, nullptr));
    EXPECT_EQ(bytes(img)[0], 50);
    Mat empty, out = src;
    ip::colorTemperature(empty, out, 4000);
    EXPECT_TRUE(out.empty());
}

TEST(ColorPumps, ChainInAPipeMatchesFreeFunctions) {
    Mat src = test::randomMat(6, 5, MAT_Tuchar3, 3);
    Pipe pipe;
    PumpABC* entry = MatToImagePump::New();
    ipColorize* tint = new ipColorize();
    tint->hue = 20;
    tint->saturation = 200;
    tint->blend = 0.7f;
    ipShiftRGB* shift = new ipShiftRGB();
    shift->shift[0] = 15;
    shift->shift[2] = -15;
    ipColorTemperature* warm = new ipColorTemperature(5000);
    ASSERT_TRUE(pipe.append(entry));
    ASSERT_TRUE(pipe.append(tint));
    ASSERT_TRUE(pipe.append(shift));
    ASSERT_TRUE(pipe.append(warm));
    entry->regData(&src, "mat");
    ASSERT_TRUE(pipe.run());

    Mat a, b(6, 5, MAT_Tuchar3), c;
    ip::colorize(src, a, 20, 200, 0.7f);
    ip::shiftRGB(a, b, 15, 0, -15);
    ip::colorTemperature(b, c, 5000);
    Mat* out = static_cast<Mat*>(warm->getDataEx(1));
    ASSERT_NE(out, nullptr);
    EXPECT_TRUE(test::matEqual(*out, c));
    EXPECT_EQ(warm->getDataTypeEx(1).compare("image"), 0);

    PumpABC* copy = tint->clone();
    ipColorize* cc = dynamic_cast<ipColorize*>(copy);
    ASSERT_NE(cc, nullptr);
    EXPECT_EQ(cc->hue, 20);
    EXPECT_EQ(cc->saturation, 200);
    EXPECT_EQ(cc->blend, 0.7f);
    EXPECT_EQ(cc->getParamCount(0), 0);
    delete copy;
    PumpABC* w2 = warm->clone();
    EXPECT_EQ(static_cast<ipColorTemperature*>(w2)->temperature, 5000);
    delete w2;
    PumpABC* h2 = ipHSL().clone();
    EXPECT_NE(dynamic_cast<ipHSL*>(h2), nullptr);
    delete h2;
}
