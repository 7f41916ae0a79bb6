// Depth conversions and fills: saturation at both ends for every depth pair,
// the two cast rules, scale and shift, and the fill forms.
#include <cfloat>
#include <climits>
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/mat.h"

namespace tarvo {
namespace {

using test::at;

const int kDepths[] = {MAT_Tuchar, MAT_Tshort, MAT_Tint, MAT_Tfloat, MAT_Tdouble};

double lowest(int depth) {
    switch (depth) {
        case MAT_Tuchar:
            return 0;
        case MAT_Tshort:
            return SHRT_MIN;
        case MAT_Tint:
            return INT_MIN;
        case MAT_Tfloat:
            return -FLT_MAX;
        default:
            return -DBL_MAX;
    }
}

double highest(int depth) {
    switch (depth) {
        case MAT_Tuchar:
            return 255;
        case MAT_Tshort:
            return SHRT_MAX;
        case MAT_Tint:
            return INT_MAX;
        case MAT_Tfloat:
            return FLT_MAX;
        default:
            return DBL_MAX;
    }
}

bool isInt(int depth) {
    return depth <= MAT_Tint;
}

void put(Mat& m, int i, double v) {
    switch (m.type()) {
        case MAT_Tuchar:
            m.ptr<unsigned char>(0)[i] = (unsigned char)v;
            break;
        case MAT_Tshort:
            m.ptr<short>(0)[i] = (short)v;
            break;
        case MAT_Tint:
            m.ptr<int>(0)[i] = (int)v;
            break;
        case MAT_Tfloat:
            m.ptr<float>(0)[i] = (float)v;
            break;
        default:
            m.ptr<double>(0)[i] = v;
    }
}

// The expected result of converting v (representable in the source depth)
// to `to`: clamped to the target range; integer targets truncate (CT_Cast)
// or round half up (CT_Round) floating sources.
double expected(double v, int from, int to, CASTTYPE cast) {
    if (!isInt(to)) return to == MAT_Tfloat ? double(float(v)) : v;
    if (!isInt(from)) v = cast == CT_Round ? std::floor(v + 0.5) : std::trunc(v);
    return std::min(std::max(v, lowest(to)), highest(to));
}

TEST(MatConvert, EveryDepthPairSaturatesAtBothEnds) {
    for (int from : kDepths) {
        // The source extremes, values just inside each target range and
        // fractions that the two cast rules treat differently.
        std::vector<double> vals = {lowest(from), highest(from), 0, 1, -1};
        for (int to : kDepths)
            if (lowest(to) >= lowest(from) && highest(to) <= highest(from)) {
                vals.push_back(lowest(to));
                vals.push_back(highest(to));
                if (isInt(to) && to != MAT_Tint) {
                    vals.push_back(lowest(to) - 1);
                    vals.push_back(highest(to) + 1);
                }
            }
        if (!isInt(from)) {
            for (double f : {2.5, -2.5, 2.49, -0.5, 254.7, 255.5, -0.4, 32767.6, -32768.6})
                vals.push_back(f);
        }
        std::vector<double> keep;
        for (double v : vals)
            if (v >= lowest(from) && v <= highest(from)) keep.push_back(v);
        Mat src(1, int(keep.size()), MAKETYPE(from, 1));
        for (size_t i = 0; i < keep.size(); i++) put(src, int(i), keep[i]);

        for (int to : kDepths) {
            for (CASTTYPE cast : {CT_Cast, CT_Round}) {
                Mat dst;
                src.convertTo(dst, to, cast);
                ASSERT_EQ(dst.type1(), to);
                ASSERT_EQ(dst.cols(), src.cols());
                for (int i = 0; i < src.cols(); i++) {
                    const double v = at(src, 0, i);
                    EXPECT_EQ(at(dst, 0, i), expected(v, from, to, cast))
                        << "from " << from << " to " << to << " cast " << cast << " value " << v;
                }
            }
        }
    }
}

TEST(MatConvert, CastRulesDifferOnlyForFractions) {
    Mat f(1, 6, MAT_Tdouble);
    const double v[6] = {2.5, -2.5, 1.7, -1.7, 3.0, -0.5};
    for (int i = 0; i < 6; i++) f.ptr<double>(0)[i] = v[i];
    Mat c, r;
    f.convertTo(c, MAT_Tint, CT_Cast);
    f.convertTo(r, MAT_Tint, CT_Round);
    const int cast[6] = {2, -2, 1, -1, 3, 0}, round[6] = {3, -2, 2, -2, 3, 0};
    for (int i = 0; i < 6; i++) {
        EXPECT_EQ(c.ptr<int>(0)[i], cast[i]) << i;
        EXPECT_EQ(r.ptr<int>(0)[i], round[i]) << i;
    }
    // NaN and infinities are defined: NaN gives 0, infinities clamp.
    Mat odd(1, 3, MAT_Tfloat);
    odd.ptr<float>(0)[0] = std::nanf("");
    odd.ptr<float>(0)[1] = INFINITY;
    odd.ptr<float>(0)[2] = -INFINITY;
    Mat s;
    odd.convertTo(s, MAT_Tshort, CT_Cast);
    EXPECT_EQ(s.ptr<short>(0)[0], 0);
    EXPECT_EQ(s.ptr<short>(0)[1], SHRT_MAX);
    EXPECT_EQ(s.ptr<short>(0)[2], SHRT_MIN);
}

TEST(MatConvert, InPlaceChannelsAndReferences) {
    Mat m = test::randomMat(3, 4, MAT_Tfloat3, 5, -300, 300);
    const Mat orig = m.clone();
    m.convert(MAT_Tshort);
    ASSERT_EQ(m.type1(), MAT_Tshort3);
    for (int r = 0; r < 3; r++)
        for (int c = 0; c < 4; c++)
            for (int k = 0; k < 3; k++) EXPECT_EQ(at(m, r, c, k), std::trunc(at(orig, r, c, k)));
    // A reference with gaps converts its own elements only.
    Mat parent = test::randomMat(4, 6, MAT_Tuchar, 6), ref, out;
    parent.subRefMat(Rect_<int>(1, 1, 3, 2), ref);
    ref.convertTo(out, MAT_Tdouble);
    ASSERT_EQ(out.rows(), 2);
    EXPECT_EQ(at(out, 1, 2), at(parent, 2, 3));
    // Same depth is a copy; a bad depth or an empty source leaves dst alone
    // (an empty source empties it).
    Mat same;
    parent.convertTo(same, MAT_Tuchar);
    EXPECT_TRUE(test::matEqual(same, parent));
    parent.convertTo(same, 7);
    EXPECT_TRUE(test::matEqual(same, parent));
    Mat().convertTo(same, MAT_Tfloat);
    EXPECT_FALSE(same.isValid());
}

TEST(MatConvert, ScaleAndShiftRoundAndSaturate) {
    Mat b(1, 4, MAT_Tuchar);
    const unsigned char v[4] = {0, 10, 100, 255};
    for (int i = 0; i < 4; i++) b.ptr<unsigned char>(0)[i] = v[i];
    Mat f;
    b.convertTo(f, MAT_Tfloat, 1.0 / 255.0, 0.0);
    EXPECT_EQ(f.ptr<float>(0)[3], 1.0f);
    EXPECT_FLOAT_EQ(f.ptr<float>(0)[1], 10.0f / 255.0f);
    Mat back;
    f.convertTo(back, MAT_Tuchar, 255.0, 0.0);
    EXPECT_TRUE(test::matEqual(back, b));  // rounding recovers every byte
    Mat s;
    b.convertTo(s, MAT_Tuchar, 2.0,
                -15.25);  // 0 -> -15 -> 0, 10 -> 4.75 -> 5, 100 -> 185, 255 -> 255
    EXPECT_EQ(s.ptr<unsigned char>(0)[0], 0);
    EXPECT_EQ(s.ptr<unsigned char>(0)[1], 5);
    EXPECT_EQ(s.ptr<unsigned char>(0)[2], 185);
    EXPECT_EQ(s.ptr<unsigned char>(0)[3], 255);
    Mat sh;
    b.convertTo(sh, MAT_Tshort, -200.0, 0.5);  // 255 * -200 saturates at -32768
    EXPECT_EQ(sh.ptr<short>(0)[3], SHRT_MIN);
    EXPECT_EQ(sh.ptr<short>(0)[1], -1999);  // -1999.5 rounds half up
    // Round trip byte -> float -> byte in place through the same matrix.
    Mat img = test::randomMat(5, 7, MAT_Tuchar3, 8);
    Mat work = img.clone();
    work.convertTo(work, MAT_Tfloat, 1.0, 0.0);
    work.convertTo(work, MAT_Tuchar, 1.0, 0.0);
    EXPECT_TRUE(test::matEqual(work, img));
}

TEST(MatFill, ScalarsZerosEyeAndValue) {
    Mat m(2, 3, MAT_Tshort3, Point4_<double>(1.6, -40000, 70000, 0));
    EXPECT_EQ(at(m, 1, 2, 0), 2);  // rounded
    EXPECT_EQ(at(m, 1, 2, 1), SHRT_MIN);
    EXPECT_EQ(at(m, 0, 0, 2), SHRT_MAX);
    m = 0.0;
    EXPECT_EQ(m.countNonZero(), 0);
    m = 3.0;
    EXPECT_EQ(m.countNonZero(), 18);
    EXPECT_EQ(at(m, 1, 1, 2), 3);
    // Channels past four take the fourth component.
    Mat wide(1, 2, MAKETYPE(MAT_Tuchar, 6));
    wide = Point4_<double>(1, 2, 3, 4);
    EXPECT_EQ(at(wide, 0, 1, 5), 4);
    Mat z = Mat::zeros(Size_<int>(4, 3), MAT_Tfloat);
    EXPECT_EQ(z.rows(), 3);
    EXPECT_EQ(z.countNonZero(), 0);
    Mat e = Mat::eye(3, 4, MAT_Tdouble);
    EXPECT_EQ(e.countNonZero(), 3);
    EXPECT_EQ(at(e, 2, 2), 1.0);
    EXPECT_EQ(at(e, 2, 3), 0.0);
    EXPECT_EQ(e.value(1, 1), 1.0);
    EXPECT_EQ(e.value(3, 0), 0.0);     // outside
    EXPECT_EQ(e.value(0, 0, 1), 0.0);  // no such channel
    // Fills of a reference stay inside it.
    Mat parent(3, 3, MAT_Tuchar, Point4_<double>(9)), ref;
    parent.subRefMat(Rect_<int>(1, 1, 1, 1), ref);
    ref = 0.0;
    EXPECT_EQ(parent.countNonZero(), 8);
    // Fills of an empty matrix do nothing.
    Mat empty;
    empty = 5.0;
    empty.identity();
    EXPECT_FALSE(empty.isValid());
}

}  // namespace
}  // namespace tarvo
