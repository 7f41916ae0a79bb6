// Value templates, strings, double-byte helpers, bit operations, tarvoutil.
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "tarvo/bitops.h"
#include "tarvo/cbs.h"
#include "tarvo/geom3d.h"
#include "tarvo/saturate.h"
#include "tarvo/tarvoutil.h"
#include "tarvo/tstring.h"
#include "tarvo/types.h"

using namespace tarvo;

TEST(Values, PointScalingTruncatesTowardsZero) {
    Point2_<int> p(3, -3);
    p *= 0.5;
    EXPECT_EQ(p, Point2_<int>(1, -1));
    EXPECT_DOUBLE_EQ(Point2_<int>(0, 0).distTo(Point2_<int>(3, 4)), 5.0);
    EXPECT_EQ(Point2_<float>(3, 4).sq_norm(), 25.0f);
    Rect_<int> r(10, 20, 30, 40);
    EXPECT_EQ(r.scale(0.5f, 0.25f), Rect_<int>(5, 5, 15, 10));
    EXPECT_EQ(r.limx(), 40);
    EXPECT_EQ(r.area(), 1200);
}

TEST(Values, IntersectRectKeepsZeroWidthOnSharedEdge) {
    Rect_<float> a(0, 0, 10, 10), b(10, 2, 5, 5), c(20, 20, 1, 1);
    Rect_<float> i = a.intersectRect(b);
    EXPECT_EQ(i, Rect_<float>(10, 2, 0, 5));
    EXPECT_EQ(a.intersectRect(c), Rect_<float>());
    EXPECT_EQ(a.intersectRect(Rect_<float>(2, 3, 4, 4)), Rect_<float>(2, 3, 4, 4));
    EXPECT_DOUBLE_EQ(Rect_<float>(0, 0, 1.5f, 3).area(), 4.5);
    Point2_<float> ctr = Rect_<float>(1, 2, 4, 6).center();
    EXPECT_EQ(ctr, Point2_<float>(3, 5));
}

TEST(Values, RangeAndSliceConversions) {
    Slice whole = Range::all();
    EXPECT_EQ(whole, Slice(0, 0x3FFFFFFF));
    EXPECT_EQ(Range(whole), Range::all());
    EXPECT_EQ(Range(Slice(0, 0x3FFFFFFF)), Range::all());
    EXPECT_EQ(Range(Slice(3, 9)), Range(3, 9));
    EXPECT_EQ(Slice(Range(3, 9)), Slice(3, 9));
    EXPECT_EQ(Range(2, 7).size(), 5);
    EXPECT_TRUE(Range(4, 4).empty());
    TermCriteria t;
    EXPECT_EQ(t.type, 1);
    EXPECT_EQ(t.maxCount, 0);
}

TEST(Values, ScalarsAndColours) {
    Point4_<double> s = Point4_<double>::All(2.5);
    EXPECT_EQ(s, Point4_<double>(2.5, 2.5, 2.5, 2.5));
    EXPECT_NE(s, Point4_<double>(2.5, 2.5, 2.5, 2.0));
    Point4_<unsigned char> c(1, 2, 3, 4);
    Point3_<unsigned char> p = toPoint3(c);
    EXPECT_EQ(p.z, 3);
}

TEST(Conversions, TruncationAndRoundingAreDefinedEverywhere) {
    EXPECT_EQ(truncInt(std::nan("")), 0);
    EXPECT_EQ(truncInt(1e300), INT_MAX);
    EXPECT_EQ(truncInt(-std::numeric_limits<double>::infinity()), INT_MIN);
    EXPECT_EQ(truncInt(-2.7), -2);
    EXPECT_EQ(tarvoutil::round(2.5), 3);
    EXPECT_EQ(tarvoutil::round(-2.5), -2);
    EXPECT_EQ(tarvoutil::floor(-0.5), -1);
    EXPECT_EQ(tarvoutil::ceil(-0.5), 0);
    EXPECT_EQ(saturate_cast<unsigned char>(255.5), 255);
    EXPECT_EQ(saturate_cast<unsigned char>(-0.6), 0);
    EXPECT_EQ(saturate_cast<unsigned char>(127.5), 128);
    EXPECT_EQ(saturate_cast<short>(-40000.0), -32768);
    EXPECT_EQ(saturate_trunc<unsigned char>(254.9), 254);
    EXPECT_EQ(saturate_trunc<short>(1e9), 32767);
}

TEST(Strings, ComparisonsAndConcatenation) {
    String a("apple"), b("banana");
    EXPECT_TRUE(a < b);
    EXPECT_TRUE(a <= "apple");
    EXPECT_TRUE(b > "apple");
    // With the C string on the left the sense is turned round.
    EXPECT_TRUE("apple" < b);
    EXPECT_TRUE("cherry" > b);
    EXPECT_TRUE("banana" == b);
    EXPECT_TRUE("banana" >= b);
    EXPECT_FALSE("apple" >= b);
    EXPECT_EQ(String("a") + String("b"), "ab");
    EXPECT_EQ(a + '!', "apple!");
    EXPECT_EQ('>' + a, ">apple");
    EXPECT_EQ("x" + a + "y", "xappley");
    String e;
    EXPECT_STREQ(e.str(), "");
    EXPECT_EQ(e.length(), 0);
    e += e;
    e += a;
    e += e;
    EXPECT_EQ(e, "appleapple");
    EXPECT_EQ(e.substr(3, 4), "leap");
    EXPECT_EQ(tarvoutil::getFilename("dir/sub\\file.png"), "file.png");
    EXPECT_EQ(tarvoutil::getFilename("plain"), "plain");
}

TEST(DoubleByte, StepsAndSearches) {
    const unsigned char s[] = {'a', 0x81, 0x41, 'b', 0x80, 'c', 0};
    const unsigned char* p = cbsinc(s);
    EXPECT_EQ(p, s + 1);
    EXPECT_EQ(cbsinc(p), s + 3);      // lead 0x81 > 128: two bytes
    EXPECT_EQ(cbsinc(s + 4), s + 5);  // 0x80 is not above 128: one byte
    EXPECT_EQ(cbschr(s, 'b'), s + 3);
    EXPECT_EQ(cbschr(s, 0x8141), s + 1);
    // cbschr treats 0x80 as a lead: 'c' is its trail and not found alone.
    EXPECT_EQ(cbschr(s, 'c'), nullptr);
    EXPECT_EQ(cbschr(s, 0x8063), s + 4);
    const unsigned char sub[] = {'b', 0};
    const unsigned char empty[] = {0};
    EXPECT_EQ(cbsstr(s, sub), s + 3);
    EXPECT_EQ(cbsstr(s, empty), nullptr);
    EXPECT_EQ(cbsstr(nullptr, sub), nullptr);
}

TEST(BitOperations, CountsTransitionsAndRotations) {
    EXPECT_EQ(BitOperation::oneCount(0xFF, 4), 4);
    EXPECT_EQ(BitOperation::oneCount(0xFFFFFFFFu, 32), 32);
    EXPECT_EQ(BitOperation::transitions(0x0F, 8), 2);
    EXPECT_EQ(BitOperation::transitions(0x55, 8), 8);
    EXPECT_EQ(BitOperation::transitions(0xFF, 8), 0);
    EXPECT_EQ(BitOperation::rotMin(0x80, 8), 1u);
    EXPECT_EQ(BitOperation::rotMin(0xC1, 8), 7u);
    const float a[3] = {1, 2, 3}, twice[3] = {2, 4, 6}, reversed[3] = {3, 2, 1};
    const float flat[2] = {1, 1}, rising[2] = {1, 2};
    EXPECT_FLOAT_EQ(Distance::distanceCorrelation(a, twice, 3), 0.0f);
    EXPECT_FLOAT_EQ(Distance::distanceCorrelation(a, reversed, 3), 2.0f);
    EXPECT_FLOAT_EQ(Distance::distanceCorrelation(flat, rising, 2), 1.0f);
}

TEST(Sorting, StableIndicesInBothOrders) {
    int v[6] = {5, 1, 4, 1, 5, 0};
    int idx[6];
    tarvoutil::sortIdx(v, 6, idx, 6, SORT_ASCENDING);
    EXPECT_EQ(std::vector<int>(idx, idx + 6), (std::vector<int>{5, 1, 3, 2, 0, 4}));
    tarvoutil::sortIdx(v, 6, idx, 6, SORT_DESCENDING);
    EXPECT_EQ(std::vector<int>(idx, idx + 6), (std::vector<int>{0, 4, 2, 1, 3, 5}));
    float f[4] = {2.0f, std::nanf(""), -1.0f, 2.0f};
    int fi[4];
    tarvoutil::sortIdx(f, 4, fi, 4, SORT_ASCENDING);
    EXPECT_EQ(std::vector<int>(fi, fi + 4), (std::vector<int>{2, 0, 3, 1}));  // NaN last
    int keep[2] = {-7, -7};
    tarvoutil::sortIdx(v, 6, keep, 2, SORT_ASCENDING);  // too little room: untouched
    EXPECT_EQ(keep[0], -7);
    tarvoutil::sort(v, 6, SORT_DESCENDING);
    EXPECT_EQ(v[0], 5);
    EXPECT_EQ(v[5], 0);
}

TEST(Geometry3D, ConstantsAndQuaternionRoundTrip) {
    EXPECT_EQ(mat4Bias(0, 0), 0.5f);
    EXPECT_EQ(mat4Bias(3, 3), 1.0f);
    EXPECT_EQ(mat4Bias(1, 3), 0.5f);
    EXPECT_EQ(mat4Bias(3, 1), 0.0f);
    EXPECT_EQ(mat4Zero(2, 2), 0.0f);
    EXPECT_EQ(quatIdentity.w, 1.0f);
    // A rotation of 90 degrees about z survives MatR -> MatQ -> MatR.
    MatR r;
    r.r(0, 0) = 0;
    r.r(0, 1) = -1;
    r.r(1, 0) = 1;
    r.r(1, 1) = 0;
    r.SetTranslate(Point3_<float>(1, 2, 3));
    MatQ q;
    q.set(r);
    MatR back;
    back.set(q);
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) EXPECT_NEAR(back.r(i, j), r.r(i, j), 1e-6f);
    EXPECT_EQ(back.t.z, 3.0f);
    Point3_<float> v = r.r * Point3_<float>(1, 0, 0);
    EXPECT_NEAR(v.y, 1.0f, 1e-6f);
}
