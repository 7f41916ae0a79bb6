// Mat and Vec storage: the type word, ownership modes and what release frees,
// references into a parent, continuity, and the typed forms' contracts.
#include <cstdint>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/mat.h"

namespace tarvo {
namespace {

using test::at;
using test::matEqual;
using test::randomMat;

TEST(MatTypeWord, DerivedValuesFollowTheWord) {
    Mat m(2, 3, 0x1F9);  // byte, 64 channels
    ASSERT_TRUE(m.isValid());
    EXPECT_EQ(m.channels(), 64);
    EXPECT_EQ(m.type(), MAT_Tuchar);
    EXPECT_EQ(m.type1(), 0x1F9);
    EXPECT_EQ(m.elemSize(), 64);
    EXPECT_EQ(m.rowByteSize(), 3 * 64);

    Mat d(4, 5, MAT_Tdouble3);
    EXPECT_EQ(d.type(), MAT_Tdouble);
    EXPECT_EQ(d.type1(), 5 | (2 << 3));
    EXPECT_EQ(d.step(), 8);
    EXPECT_EQ(d.elemSize(), 24);
    EXPECT_EQ(d.rowByteSize(), 120);
    EXPECT_EQ(d.total(), 20);
    EXPECT_EQ(d.size(), Size_<int>(5, 4));

    Mat empty;
    EXPECT_FALSE(empty.isValid());
    EXPECT_EQ(empty.type1(), 1);
    EXPECT_EQ(empty.rows(), 0);
    EXPECT_FALSE(empty.isContinuous());
}

TEST(MatTypeWord, ShapeTestsCompareWhatTheySay) {
    Mat grey(4, 6, MAT_Tuchar), colour(4, 6, MAT_Tuchar3), wide(4, 7, MAT_Tuchar);
    EXPECT_TRUE(grey.isEqualSize(colour));
    EXPECT_FALSE(grey.isEqualMat(colour));
    EXPECT_TRUE(grey.isEqualSize(Size_<int>(6, 4)));
    EXPECT_FALSE(grey.isEqualSize(wide));
    EXPECT_TRUE(isSameShape(grey, colour));  // channels are not compared
    EXPECT_FALSE(isSameShape(grey, Mat(4, 6, MAT_Tfloat)));
    EXPECT_TRUE(isSameShape(&grey, nullptr));
    EXPECT_TRUE(grey.isInside(5, 3));
    EXPECT_FALSE(grey.isInside(6, 3));
    EXPECT_FALSE(grey.isInside(3, 4));
    EXPECT_FALSE(grey.isInside(-1, 0));
    grey.resizeRows(2);
    grey.resizeCols(3);
    EXPECT_EQ(grey.rows(), 2);
    EXPECT_EQ(grey.cols(), 3);
    grey.resizeRows(4);
    grey.resizeCols(6);
}

TEST(MatTypeWord, RefusedRequestsGiveEmptyMatrices) {
    EXPECT_FALSE(Mat(0, 5, MAT_Tuchar).isValid());
    EXPECT_FALSE(Mat(-3, 5, MAT_Tuchar).isValid());
    EXPECT_FALSE(Mat(5, 5, 6).isValid());  // depth 6 does not exist
    EXPECT_FALSE(Mat(5, 5, 0).isValid());  // depth 0 has no use
    EXPECT_FALSE(Mat(1 << 20, 1 << 20, MAT_Tuchar).isValid());
    EXPECT_FALSE(Mat(1 << 16, 1 << 15, 0x1F9).isValid());  // 2^37 elements
    Mat m(3, 3, MAT_Tfloat);
    EXPECT_EQ(m.create(-1, 3, MAT_Tfloat), -1);
    EXPECT_FALSE(m.isValid());
}

TEST(MatOwnership, CreateRowsAreContiguousAndPadded) {
    Mat m(5, 7, MAT_Tshort3);
    ASSERT_TRUE(m.isValid());
    EXPECT_EQ(m.m_mode, 0);
    EXPECT_EQ(m.m_refered, 0);
    for (int r = 0; r + 1 < m.rows(); r++)
        EXPECT_EQ(m.data.ptr[r + 1], m.data.ptr[r] + m.rowByteSize());
    EXPECT_TRUE(m.isContinuous());
    // The spare entry lies just past the last row, and one-row matrices
    // answer continuity from it.
    EXPECT_EQ(m.data.ptr[5], m.data.ptr[4] + m.rowByteSize());
    Mat one(1, 9, MAT_Tfloat);
    EXPECT_TRUE(one.isContinuous());
    // Create with the same shape keeps the pixels; another shape re-allocates.
    m.data.ptr[0][0] = 77;
    unsigned char* before = m.data.ptr[0];
    EXPECT_EQ(m.create(5, 7, MAT_Tshort3), 0);
    EXPECT_EQ(m.data.ptr[0], before);
    EXPECT_EQ(m.data.ptr[0][0], 77);
    EXPECT_EQ(m.create(5, 7, MAT_Tshort), 1);
    EXPECT_EQ(m.channels(), 1);
}

TEST(MatOwnership, ForeignPixelsInBothWrapModes) {
    // Mode 1: the row table goes behind the caller's pixels.
    std::vector<uint64_t> block(3 * 4 / 2 + 3);  // 3 x 4 floats, then three pointer words
    float* px = reinterpret_cast<float*>(block.data());
    for (int i = 0; i < 12; i++) px[i] = float(i);
    {
        Mat_<float> m(px, 3, 4, false);
        ASSERT_TRUE(m.isValid());
        EXPECT_EQ(m.m_mode, 1);
        EXPECT_EQ(reinterpret_cast<void*>(m.data.ptr), reinterpret_cast<void*>(px + 12));
        EXPECT_EQ(m[2][3], 11.0f);
        EXPECT_TRUE(m.isContinuous());
        m[1][1] = -5.0f;
    }
    EXPECT_EQ(px[5], -5.0f);  // written through, and release did not free the caller's block

    // A one-row wrap uses the caller's word behind the last element as its table.
    std::vector<uint64_t> oneRow(2 + 1);
    float* p1 = reinterpret_cast<float*>(oneRow.data());
    {
        Mat_<float> m(p1, 1, 4, false);
        ASSERT_TRUE(m.isValid());
        EXPECT_EQ(reinterpret_cast<void*>(m.data.ptr), reinterpret_cast<void*>(oneRow.data() + 2));
        EXPECT_EQ(oneRow[2], reinterpret_cast<uint64_t>(p1));
        EXPECT_TRUE(m.isContinuous());
    }

    // Mode 2: own table over foreign pixels.
    std::vector<double> pix(6, 2.5);
    {
        Mat m(pix.data(), 2, 3, MAT_Tdouble, true);
        EXPECT_EQ(m.m_mode, 2);
        EXPECT_EQ(m.ptr<double>(1)[2], 2.5);
        m.ptr<double>(0)[0] = 9.0;
        m.release();
        EXPECT_FALSE(m.isValid());
        EXPECT_EQ(m.rows(), 0);
    }
    EXPECT_EQ(pix[0], 9.0);  // the pixels survived release
    // A misaligned table address is refused rather than written.
    std::vector<unsigned char> bytes(64);
    Mat bad(bytes.data(), 1, 3, MAT_Tuchar, false);
    EXPECT_FALSE(bad.isValid());
    Mat none(nullptr, 2, 2, MAT_Tuchar, true);
    EXPECT_FALSE(none.isValid());
}

TEST(MatOwnership, DeepCopiesSwapAndMove) {
    Mat a = randomMat(4, 5, MAT_Tint3, 11);
    Mat b(a);
    EXPECT_TRUE(matEqual(a, b));
    EXPECT_NE(a.data.ptr[0], b.data.ptr[0]);
    Mat c;
    c = a;
    EXPECT_TRUE(matEqual(a, c));
    Mat d = a.clone();
    d.ptr<int>(0)[0] = a.ptr<int>(0)[0] + 1;
    EXPECT_NE(at(d, 0, 0), at(a, 0, 0));

    Mat e(2, 2, MAT_Tfloat);
    unsigned char* ap = a.data.ptr[0];
    e.swap(a);
    EXPECT_EQ(e.data.ptr[0], ap);
    EXPECT_EQ(a.rows(), 2);
    Mat f(std::move(e));
    EXPECT_EQ(f.data.ptr[0], ap);
    EXPECT_FALSE(e.isValid());
    // create(like, false) takes shape and type only.
    Mat g;
    EXPECT_EQ(g.create(f, false), 1);
    EXPECT_TRUE(g.isEqualMat(f));
    EXPECT_EQ(g.create(g, true), 0);  // from itself: nothing happens
    g.create(Mat(), true);
    EXPECT_FALSE(g.isValid());
}

TEST(MatReferences, SubMatricesWriteThroughToTheParent) {
    Mat parent = randomMat(6, 8, MAT_Tuchar3, 21);
    const Mat before = parent.clone();
    Mat ref;
    parent.subRefMat(Rect_<int>(2, 1, 4, 3), ref);
    ASSERT_TRUE(ref.isValid());
    EXPECT_TRUE(ref.isRefered());
    EXPECT_EQ(ref.rows(), 3);
    EXPECT_EQ(ref.cols(), 4);
    EXPECT_EQ(ref.data.ptr[0], parent.data.ptr[1] + 2 * 3);
    // A rectangle narrower than the parent leaves gaps between rows.
    EXPECT_FALSE(ref.isContinuous());
    ref = Point4_<double>(1, 2, 3, 0);
    EXPECT_EQ(at(parent, 1, 2, 0), 1.0);
    EXPECT_EQ(at(parent, 3, 5, 2), 3.0);
    for (int r = 0; r < 6; r++)
        for (int c = 0; c < 8; c++)
            if (r < 1 || r > 3 || c < 2 || c > 5) {
                for (int k = 0; k < 3; k++) ASSERT_EQ(at(parent, r, c, k), at(before, r, c, k));
            }
    // A one-row reference of the full width is continuous like its parent;
    // a full-width reference of several rows too.
    Mat rowRef, band;
    parent.subRefMat(Rect_<int>(0, 5, 8, 1), rowRef);
    EXPECT_TRUE(rowRef.isContinuous());
    parent.subRefMat(Rect_<int>(0, 2, 8, 3), band);
    EXPECT_TRUE(band.isContinuous());
    Mat narrowRow;
    parent.subRefMat(Rect_<int>(1, 5, 3, 1), narrowRow);
    EXPECT_FALSE(narrowRow.isContinuous());

    // Clipping, empty intersections, sharedTo and the row-range constructor.
    Mat clipped;
    parent.subRefMat(Rect_<int>(6, 4, 10, 10), clipped);
    EXPECT_EQ(clipped.cols(), 2);
    EXPECT_EQ(clipped.rows(), 2);
    parent.subRefMat(Rect_<int>(20, 20, 3, 3), clipped);
    EXPECT_FALSE(clipped.isValid());
    Mat shared;
    parent.sharedTo(shared);
    EXPECT_TRUE(shared.isRefered());
    EXPECT_EQ(shared.data.ptr[3], parent.data.ptr[3]);
    Mat rows(parent, Range(2, 4), false);
    EXPECT_TRUE(rows.isRefered());
    EXPECT_EQ(rows.data.ptr[0], parent.data.ptr[2]);
    Mat rowsCopy(parent, Range(2, 4), true);
    EXPECT_FALSE(rowsCopy.isRefered());
    EXPECT_TRUE(matEqual(rows, rowsCopy));
    // Releasing a reference leaves the parent intact.
    rows.release();
    EXPECT_TRUE(parent.isValid());
    EXPECT_EQ(at(parent, 1, 2, 0), 1.0);
}

TEST(MatReferences, CopiesOfRectanglesAreIndependent) {
    Mat parent = randomMat(5, 5, MAT_Tfloat, 31);
    Mat part(parent, Rect_<int>(1, 1, 3, 2));
    ASSERT_EQ(part.rows(), 2);
    EXPECT_FALSE(part.isRefered());
    EXPECT_TRUE(part.isContinuous());
    EXPECT_EQ(at(part, 1, 2), at(parent, 2, 3));
    part.zero();
    EXPECT_NE(at(parent, 2, 3), 0.0);
    Mat sub;
    parent.subMat(Rect_<int>(-5, -5, 2, 2), sub);
    EXPECT_FALSE(sub.isValid());
    // A reference to part of itself becomes a copy instead of dangling.
    Mat self = parent.clone();
    self.subRefMat(Rect_<int>(0, 0, 2, 2), self);
    EXPECT_FALSE(self.isRefered());
    EXPECT_EQ(self.rows(), 2);
    EXPECT_EQ(at(self, 1, 1), at(parent, 1, 1));
}

TEST(MatTyped, CreateKeepsPixelsOnTheSameShape) {
    Mat_<short> m(3, 4);
    m[2][3] = 1234;
    EXPECT_EQ(m.create(3, 4), 0);
    EXPECT_EQ(m[2][3], 1234);
    EXPECT_EQ(m.create(4, 3), 1);
    EXPECT_EQ(m.type1(), MAT_Tshort);
    Mat_<int> copy;
    Mat_<int> src(2, 2);
    src = 7.0;
    copy = src;
    EXPECT_EQ(copy[1][1], 7);
    Mat_<int> cc(src);
    EXPECT_EQ(cc[0][1], 7);
    src = 0.0;
    EXPECT_EQ(src[1][0], 0);
    EXPECT_EQ(cc[1][0], 7);
    // Mat_<double>(const Mat&) converts with rounding; an empty source stays empty.
    Mat f(1, 2, MAT_Tfloat);
    f.ptr<float>(0)[0] = 2.5f;
    f.ptr<float>(0)[1] = -1.25f;
    Mat_<double> d(f);
    EXPECT_EQ(d.type1(), MAT_Tdouble);
    EXPECT_EQ(d[0][0], 2.5);
    Mat_<unsigned char> b(f);
    EXPECT_EQ(b[0][0], 3);  // CT_Round: floor(2.5 + 0.5)
    EXPECT_EQ(b[0][1], 0);
    Mat_<double> e{Mat()};
    EXPECT_FALSE(e.isValid());
    EXPECT_EQ(e.type(), MAT_Tdouble);
}

TEST(VecTyped, ByteOrderComparisonAndExternalStorage) {
    // 1.0 = 00 00 00 00 00 00 F0 3F and 2.0 = 00 .. 00 00 40 in memory
    // order: byte 6 (F0 against 00) decides, against the numeric order.
    Vec_<double> one(1), two(1);
    one[0] = 1.0;
    two[0] = 2.0;
    EXPECT_FALSE(one < two);
    EXPECT_TRUE(two < one);
    // 0.5 (.. E0 3F) against 3.0 (.. 08 40): byte 6 is E0 vs 08.
    Vec_<double> half(1), three(1);
    half[0] = 0.5;
    three[0] = 3.0;
    EXPECT_FALSE(half < three);
    EXPECT_TRUE(three < half);
    // -1.0 differs from 1.0 only in the last byte (BF vs 3F).
    Vec_<double> minus(1);
    minus[0] = -1.0;
    EXPECT_TRUE(one < minus);
    // Lengths are compared first.
    Vec_<double> longer(2);
    longer[0] = longer[1] = 0.0;
    EXPECT_TRUE(three < longer);
    EXPECT_FALSE(longer < three);

    float buf[4] = {1, 2, 3, 4};
    Vec_<float> ext(buf, 4);
    EXPECT_TRUE(ext.isExternal());
    ext.resize(10);  // would have to grow: left as it is
    EXPECT_EQ(ext.length(), 4);
    EXPECT_EQ(ext.ptr(), buf);
    ext.resize(2);  // shrinking only changes the length
    EXPECT_EQ(ext.length(), 2);
    EXPECT_EQ(ext.ptr(), buf);
    ext.release();
    EXPECT_EQ(buf[3], 4.0f);

    Vec_<int> own(3);
    for (int i = 0; i < 3; i++) own[i] = i + 1;
    own.resize(6);
    EXPECT_EQ(own.length(), 6);
    EXPECT_EQ(own[2], 3);
    EXPECT_EQ(own.create(0), 0);
    EXPECT_FALSE(own.isValid());
}

TEST(VecTyped, ArithmeticAndEqForms) {
    Vec_<float> a(3), b(3);
    for (int i = 0; i < 3; i++) {
        a[i] = float(i + 1);
        b[i] = float(2 * i);
    }
    EXPECT_EQ(a * b, 0 + 4 + 12);
    Vec_<float> s = a + b, d = a - b, n = -a, m = a * 2.0, q = a / 2.0;
    EXPECT_EQ(s[2], 7.0f);
    EXPECT_EQ(d[2], -1.0f);
    EXPECT_EQ(n[1], -2.0f);
    EXPECT_EQ(m[2], 6.0f);
    EXPECT_EQ(q[0], 0.5f);
    Vec_<float> e;
    e.eqSum(a, b);  // empty: created with a's length
    ASSERT_EQ(e.length(), 3);
    EXPECT_EQ(e[1], 4.0f);
    EXPECT_EQ(e[2], 7.0f);
    e.eqDiff(a, b);
    EXPECT_EQ(e[0], 1.0f);
    EXPECT_EQ(e[2], -1.0f);
    a /= 0.0;  // refused
    EXPECT_EQ(a[0], 1.0f);
    a = 0.0f;
    EXPECT_EQ(a[2], 0.0f);
    a = 5.0f;
    EXPECT_EQ(a[1], 5.0f);
    Vec_<float> c(b);
    Vec_<float>& alias = c;  // self-assignment through an alias
    c = alias;
    EXPECT_EQ(c[2], 4.0f);
    Vec_<float> shorter(2);
    c = shorter;
    EXPECT_EQ(c.length(), 2);
    // Element values as doubles, checked against the range.
    Vec v(c);
    EXPECT_EQ(v.value(5), 0.0);
    EXPECT_EQ(v.value(-1), 0.0);
}

TEST(VecStorage, FromMatrices) {
    Mat m = randomMat(3, 4, MAT_Tfloat, 41);
    Vec copied(m, true), wrapped(m, false);
    ASSERT_EQ(copied.length(), 12);
    EXPECT_FALSE(copied.isExternal());
    EXPECT_TRUE(wrapped.isExternal());
    EXPECT_EQ(wrapped.data.ptr, m.data.ptr[0]);
    EXPECT_EQ(copied.value(7), at(m, 1, 3));
    // A reference with gaps cannot be wrapped: it is copied instead.
    Mat ref;
    m.subRefMat(Rect_<int>(1, 0, 2, 3), ref);
    Vec fromRef(ref, false);
    EXPECT_FALSE(fromRef.isExternal());
    EXPECT_EQ(fromRef.value(1), at(m, 0, 2));
    EXPECT_EQ(fromRef.value(2), at(m, 1, 1));
}

}  // namespace
}  // namespace tarvo
