// The filter engine against a slow padded reference: every border mode,
// kernel sizes 1..7 with off-centre anchors, regions of interest, images
// smaller than the kernel, byte / short / float with 1 and 3 channels, the
// streaming interface and striped parallel runs.
#include <climits>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_util.h"
#include "tarvo/ip/filter.h"
#include "tarvo/parallel.h"

using namespace tarvo;
using namespace tarvo::ip;

namespace {

// Independent statement of the border rules as periodic extensions.
int refBorder(int p, int len, int mode) {
    if (p >= 0 && p < len) return p;
    auto mod = [](long long a, long long m) { return int(((a % m) + m) % m); };
    switch (mode) {
        case BorderFill:
            return -1;
        case BorderClamp:
            return p < 0 ? 0 : len - 1;
        case BorderWrap:
            return mod(p, len);
        case BorderMirror: {
            const int q = mod(p, 2LL * len);
            return q < len ? q : 2 * len - 1 - q;
        }
        case BorderMirrorNoEdge: {
            if (len == 1) return 0;
            const int q = mod(p, 2LL * len - 2);
            return q < len ? q : 2 * len - 2 - q;
        }
    }
    return p;
}

// Weights that make every tap position visible in the result.
double rowWeight(int k) {
    return k + 1;
}
double colWeight(int k) {
    return 2 * k + 1;
}
double weight2D(int x, int y) {
    return 1 + x + 3 * y;
}

template <typename T>
class WeightedRow : public BaseRowFilter {
public:
    WeightedRow(int k, int a) {
        ksize = k;
        anchor = a;
    }
    void operator()(const unsigned char* src, unsigned char* dst, int width, int cn) override {
        const T* s = reinterpret_cast<const T*>(src);
        double* d = reinterpret_cast<double*>(dst);
        for (int i = 0; i < width * cn; i++) {
            double acc = 0;
            for (int k = 0; k < ksize; k++) acc += rowWeight(k) * double(s[i + k * cn]);
            d[i] = acc;
        }
    }
};

class WeightedColumn : public BaseColumnFilter {
public:
    WeightedColumn(int k, int a) {
        ksize = k;
        anchor = a;
    }
    void operator()(const unsigned char** src, unsigned char* dst, int dststep, int count,
                    int width) override {
        for (int r = 0; r < count; r++, src++, dst += dststep) {
            double* d = reinterpret_cast<double*>(dst);
            for (int i = 0; i < width; i++) {
                double acc = 0;
                for (int k = 0; k < ksize; k++)
                    acc += colWeight(k) * reinterpret_cast<const double*>(src[k])[i];
                d[i] = acc;
            }
        }
    }
};

template <typename T>
class Weighted2D : public BaseFilter {
public:
    Weighted2D(Size_<int> k, Point2_<int> a) {
        ksize = k;
        anchor = a;
    }
    void operator()(const unsigned char** src, unsigned char* dst, int dststep, int count,
                    int width, int cn) override {
        for (int r = 0; r < count; r++, src++, dst += dststep) {
            double* d = reinterpret_cast<double*>(dst);
            for (int i = 0; i < width * cn; i++) {
                double acc = 0;
                for (int y = 0; y < ksize.height; y++)
                    for (int x = 0; x < ksize.width; x++)
                        acc +=
                            weight2D(x, y) * double(reinterpret_cast<const T*>(src[y])[i + x * cn]);
                d[i] = acc;
            }
        }
    }
};

const Point4_<double> kFill(7, 8, 9, 10);

// dst(y, x, c) for the output pixel of source position (y, x) of the whole image.
double reference(const Mat& src, int y, int x, int c, Size_<int> k, Point2_<int> a, int mode,
                 bool separable) {
    double acc = 0;
    for (int j = 0; j < k.height; j++) {
        for (int i = 0; i < k.width; i++) {
            const int sy = refBorder(y + j - a.y, src.rows(), mode);
            const int sx = refBorder(x + i - a.x, src.cols(), mode);
            double v;
            if (sy < 0 || sx < 0)
                v = saturate_cast<double>(kFill[c & 3]);
            else
                v = test::at(src, sy, sx, c);
            if (src.type() == MAT_Tuchar && (sy < 0 || sx < 0))
                v = saturate_cast<unsigned char>(kFill[c & 3]);
            if (src.type() == MAT_Tshort && (sy < 0 || sx < 0))
                v = saturate_cast<short>(kFill[c & 3]);
            acc += (separable ? rowWeight(i) * colWeight(j) : weight2D(i, j)) * v;
        }
    }
    return acc;
}

template <typename T>
Ptr<FilterEngine> makeEngine(int depth, int cn, Size_<int> k, Point2_<int> a, int mode,
                             bool separable) {
    const int st = MAKETYPE(depth, cn), dt = MAKETYPE(MAT_Tdouble, cn);
    if (separable)
        return Ptr<FilterEngine>(new FilterEngine(
            Ptr<BaseFilter>(), Ptr<BaseRowFilter>(new WeightedRow<T>(k.width, a.x)),
            Ptr<BaseColumnFilter>(new WeightedColumn(k.height, a.y)), st, dt, dt, mode, -1, kFill));
    return Ptr<FilterEngine>(new FilterEngine(Ptr<BaseFilter>(new Weighted2D<T>(k, a)),
                                              Ptr<BaseRowFilter>(), Ptr<BaseColumnFilter>(), st, dt,
                                              st, mode, -1, kFill));
}

::testing::AssertionResult checkAgainstReference(const Mat& src, const Mat& dst,
                                                 const Rect_<int>& r, Size_<int> k, Point2_<int> a,
                                                 int mode, bool separable) {
    for (int y = 0; y < r.height; y++)
        for (int x = 0; x < r.width; x++)
            for (int c = 0; c < src.channels(); c++) {
                const double want = reference(src, r.y + y, r.x + x, c, k, a, mode, separable);
                const double got = test::at(dst, y, x, c);
                if (want != got)
                    return ::testing::AssertionFailure()
                           << "at (" << y << "," << x << "," << c << "): " << got << " != " << want;
            }
    return ::testing::AssertionSuccess();
}

template <typename T>
void runSweep(int depth) {
    const int modes[] = {BorderFill, BorderClamp, BorderMirror, BorderWrap, BorderMirrorNoEdge};
    struct Shape {
        int w, h;
        Rect_<int> roi;
    };
    const Shape shapes[] = {
        {9, 8, Rect_<int>(0, 0, -1, -1)},  // whole image
        {13, 11, Rect_<int>(3, 2, 6, 5)},  // ROI inside: borders from real pixels
        {11, 9, Rect_<int>(1, 4, 10, 5)},  // ROI touching right and bottom
        {3, 2, Rect_<int>(0, 0, -1, -1)},  // smaller than the kernel
        {1, 1, Rect_<int>(0, 0, -1, -1)},  // single pixel
    };
    for (int cn : {1, 3})
        for (bool separable : {false, true})
            for (int mode : modes)
                for (const Shape& sh : shapes)
                    for (int kw = 1; kw <= 7; kw += 2)
                        for (int kh : {1, 2, 4, 7})
                            for (int ac = 0; ac < 3; ac++) {
                                const Size_<int> k(kw, kh);
                                Point2_<int> a(kw / 2, kh / 2);
                                if (ac == 1) a = Point2_<int>(0, kh - 1);
                                if (ac == 2) a = Point2_<int>(kw - 1, 0);
                                Mat src = test::randomMat(sh.h, sh.w, MAKETYPE(depth, cn),
                                                          unsigned(kw * 131 + kh * 7 + ac));
                                if (depth == MAT_Tfloat)
                                    for (int y = 0; y < sh.h; y++)
                                        for (int i = 0; i < sh.w * cn; i++)
                                            src.ptr<float>(y)[i] = float(int(src.ptr<float>(y)[i]));
                                Rect_<int> r = sh.roi;
                                if (r.width < 0) r = Rect_<int>(0, 0, sh.w, sh.h);
                                Ptr<FilterEngine> e =
                                    makeEngine<T>(depth, cn, k, a, mode, separable);
                                Mat dst(r.height, r.width, MAKETYPE(MAT_Tdouble, cn));
                                dst = -12345.0;
                                e->apply(src, dst, sh.roi, Point2_<int>(0, 0), false);
                                ASSERT_TRUE(
                                    checkAgainstReference(src, dst, r, k, a, mode, separable))
                                    << "depth " << depth << " cn " << cn << " sep " << separable
                                    << " mode " << mode << " image " << sh.w << "x" << sh.h
                                    << " roi " << r.x << "," << r.y << " k " << kw << "x" << kh
                                    << " anchor " << a.x << "," << a.y;
                            }
}

}  // namespace

TEST(BorderInterpolate, MatchesPeriodicDefinitionsNearTheLine) {
    for (int mode = BorderFill; mode <= BorderMirrorNoEdge; mode++)
        for (int len : {1, 2, 3, 5, 8})
            for (int p = -4 * len - 3; p < 5 * len + 3; p++)
                ASSERT_EQ(borderInterpolate(p, len, mode), refBorder(p, len, mode))
                    << "mode " << mode << " len " << len << " p " << p;
}

TEST(BorderInterpolate, KnownValuesAndOddInputs) {
    EXPECT_EQ(borderInterpolate(-1, 5, BorderWrap), 4);
    EXPECT_EQ(borderInterpolate(11, 5, BorderWrap), 1);
    EXPECT_EQ(borderInterpolate(-2, 5, BorderMirrorNoEdge), 2);
    EXPECT_EQ(borderInterpolate(-2, 5, BorderMirror), 1);
    EXPECT_EQ(borderInterpolate(5, 5, BorderMirrorNoEdge), 3);
    EXPECT_EQ(borderInterpolate(5, 5, BorderMirror), 4);
    EXPECT_EQ(borderInterpolate(-1, 5, BorderFill), -1);
    EXPECT_EQ(borderInterpolate(3, 5, BorderFill), 3);
    // Unknown modes hand the coordinate back, inside or out.
    EXPECT_EQ(borderInterpolate(9, 5, 7), 9);
    EXPECT_EQ(borderInterpolate(-3, 5, 7), -3);
    EXPECT_EQ(borderInterpolate(2, 5, 7), 2);
    // A one-sample line maps everything to 0 in every sampling mode.
    for (int mode : {BorderClamp, BorderMirror, BorderWrap, BorderMirrorNoEdge})
        for (int p : {-1000, -1, 1, 2, 77})
            EXPECT_EQ(borderInterpolate(p, 1, mode), 0) << mode << " " << p;
    // Far-away coordinates stay in range and agree with the periodic rule.
    for (int mode : {BorderClamp, BorderMirror, BorderWrap, BorderMirrorNoEdge})
        for (int len : {1, 2, 7, 1000003})
            for (int p : {INT_MIN, INT_MIN + 1, -1000000007, 1000000007, INT_MAX - 1, INT_MAX}) {
                const int q = borderInterpolate(p, len, mode);
                ASSERT_GE(q, 0);
                ASSERT_LT(q, len);
                ASSERT_EQ(q, refBorder(p, len, mode)) << mode << " " << len << " " << p;
            }
    // An empty line has no sample.
    EXPECT_EQ(borderInterpolate(-1, 0, BorderMirror), -1);
    EXPECT_EQ(borderInterpolate(3, 0, BorderWrap), -1);
}

TEST(NormalizeAnchor, MinusOneIsTheCentreOtherValuesPass) {
    EXPECT_EQ(normalizeAnchor(Point2_<int>(-1, -1), Size_<int>(5, 4)), Point2_<int>(2, 2));
    EXPECT_EQ(normalizeAnchor(Point2_<int>(-2, 3), Size_<int>(5, 4)), Point2_<int>(-2, 3));
    EXPECT_EQ(normalizeAnchor(Point2_<int>(9, -1), Size_<int>(5, 7)), Point2_<int>(9, 3));
}

TEST(FilterEngine, ByteSweepMatchesPaddedReference) {
    runSweep<unsigned char>(MAT_Tuchar);
}

TEST(FilterEngine, ShortSweepMatchesPaddedReference) {
    runSweep<short>(MAT_Tshort);
}

TEST(FilterEngine, FloatSweepMatchesPaddedReference) {
    runSweep<float>(MAT_Tfloat);
}

TEST(FilterEngine, DefaultEngineIsSeparableAndInert) {
    FilterEngine e;
    EXPECT_TRUE(e.isSeparable());
    EXPECT_EQ(e.rowBorderType, BorderClamp);
    EXPECT_EQ(e.columnBorderType, BorderClamp);
    EXPECT_EQ(e.wholeSize, Size_<int>(-1, -1));
    Mat src = test::randomMat(4, 4, MAT_Tuchar, 1), dst(4, 4, MAT_Tdouble);
    dst = 5.0;
    e.apply(src, dst);
    EXPECT_EQ(test::at(dst, 2, 2), 5.0);
}

TEST(FilterEngine, RefusedSetupsLeaveTheDestinationUntouched) {
    Mat src = test::randomMat(6, 6, MAT_Tuchar, 2), dst(6, 6, MAT_Tdouble);
    dst = 5.0;
    // Anchor outside the kernel, unknown border mode, type mismatch, empty rectangle.
    FilterEngine bad1(
        Ptr<BaseFilter>(new Weighted2D<unsigned char>(Size_<int>(3, 3), Point2_<int>(3, 0))),
        Ptr<BaseRowFilter>(), Ptr<BaseColumnFilter>(), MAT_Tuchar, MAT_Tdouble, MAT_Tuchar);
    bad1.apply(src, dst);
    FilterEngine bad2(
        Ptr<BaseFilter>(new Weighted2D<unsigned char>(Size_<int>(3, 3), Point2_<int>(1, 1))),
        Ptr<BaseRowFilter>(), Ptr<BaseColumnFilter>(), MAT_Tuchar, MAT_Tdouble, MAT_Tuchar, 9);
    bad2.apply(src, dst);
    EXPECT_EQ(bad2.start(src), 0);
    Ptr<FilterEngine> ok = makeEngine<unsigned char>(MAT_Tuchar, 1, Size_<int>(3, 3),
                                                     Point2_<int>(1, 1), BorderClamp, false);
    Mat wrongSrc = test::randomMat(6, 6, MAT_Tshort, 3);
    ok->apply(wrongSrc, dst);
    ok->apply(src, dst, Rect_<int>(2, 2, 0, 3));
    ok->apply(src, dst, Rect_<int>(2, 2, 5, 3));                      // outside src
    ok->apply(src, dst, Rect_<int>(0, 0, 6, 6), Point2_<int>(1, 0));  // outside dst
    // A separable engine missing its column stage.
    FilterEngine bad3(Ptr<BaseFilter>(), Ptr<BaseRowFilter>(new WeightedRow<unsigned char>(3, 1)),
                      Ptr<BaseColumnFilter>(), MAT_Tuchar, MAT_Tdouble, MAT_Tdouble);
    bad3.apply(src, dst);
    for (int y = 0; y < 6; y++)
        for (int x = 0; x < 6; x++) ASSERT_EQ(test::at(dst, y, x), 5.0);
}

TEST(FilterEngine, StartSizesTheRingAndCountsRows) {
    Ptr<FilterEngine> e = makeEngine<unsigned char>(MAT_Tuchar, 1, Size_<int>(3, 5),
                                                    Point2_<int>(1, 1), BorderMirror, true);
    // Too small a ring is raised to 2 * max(anchor, k - anchor - 1) + 1.
    EXPECT_EQ(e->start(Size_<int>(20, 30), Rect_<int>(2, 10, 8, 6), 1), 9);
    EXPECT_EQ(e->rows.size(), size_t(2 * 3 + 1));
    EXPECT_EQ(e->remainingInputRows(), 6 + 5 - 1);
    EXPECT_EQ(e->remainingOutputRows(), 6);
    EXPECT_EQ(e->dx1, 0);
    EXPECT_EQ(e->dx2, 0);
    // Default ring height; ROI at the top-left corner needs invented columns.
    EXPECT_EQ(e->start(Size_<int>(20, 30), Rect_<int>(0, 0, 20, 4)), 0);
    EXPECT_EQ(e->rows.size(), size_t(5 + 3));
    EXPECT_EQ(e->dx1, 1);
    EXPECT_EQ(e->dx2, 1);
    EXPECT_EQ(e->endY, 4 + 5 - 1 - 1);
    // Same region and ring again: the buffers are kept.
    const unsigned char* ring = e->ringBuf.data();
    const unsigned char* srow = e->srcRow.data();
    e->start(Size_<int>(20, 30), Rect_<int>(0, 0, 20, 4));
    EXPECT_EQ(e->ringBuf.data(), ring);
    EXPECT_EQ(e->srcRow.data(), srow);
    // A narrower ROI keeps the widest width seen.
    e->start(Size_<int>(20, 30), Rect_<int>(3, 3, 5, 4));
    EXPECT_EQ(e->maxWidth, 20);
    EXPECT_EQ(e->ringBuf.data(), ring);
    // ROI outside the whole size is refused.
    EXPECT_EQ(e->start(Size_<int>(20, 30), Rect_<int>(15, 0, 6, 4)), 0);
    EXPECT_EQ(e->proceed(nullptr, 0, 10, nullptr, 0), 0);
}

TEST(FilterEngine, ProceedInChunksEqualsApply) {
    const int modes[] = {BorderFill, BorderClamp, BorderMirror, BorderMirrorNoEdge};
    for (bool separable : {false, true})
        for (int mode : modes)
            for (int chunk : {1, 2, 5, 100}) {
                const int W = 23, H = 19, cn = 3;
                Mat src = test::randomMat(H, W, MAKETYPE(MAT_Tuchar, cn), 11);
                const Rect_<int> r(2, 1, 17, 16);
                Ptr<FilterEngine> e = makeEngine<unsigned char>(
                    MAT_Tuchar, cn, Size_<int>(5, 7), Point2_<int>(1, 4), mode, separable);
                Mat whole(r.height, r.width, MAKETYPE(MAT_Tdouble, cn));
                e->apply(src, whole, r);

                // Stream the rows of a contiguous copy, a few at a time.
                const int sstep = src.rowByteSize();
                std::vector<unsigned char> flat(size_t(sstep) * H);
                for (int y = 0; y < H; y++)
                    std::memcpy(&flat[size_t(y) * sstep], src.data.ptr[y], size_t(sstep));
                const int dstep = r.width * cn * 8;
                std::vector<unsigned char> out(size_t(dstep) * r.height, 0);
                int y = e->start(src.size(), r);
                int produced = 0;
                while (e->remainingInputRows() > 0) {
                    const int n = std::min(chunk, e->remainingInputRows());
                    const int got = e->proceed(&flat[size_t(y) * sstep + size_t(r.x) * cn], sstep,
                                               n, &out[size_t(produced) * dstep], dstep);
                    y += n;
                    produced += got;
                }
                ASSERT_EQ(produced, r.height);
                ASSERT_EQ(e->remainingOutputRows(), 0);
                for (int yy = 0; yy < r.height; yy++)
                    ASSERT_EQ(
                        0, std::memcmp(&out[size_t(yy) * dstep], whole.data.ptr[yy], size_t(dstep)))
                        << "sep " << separable << " mode " << mode << " chunk " << chunk << " row "
                        << yy;
            }
}

TEST(FilterEngine, StreamingWrapServesTheFarRowsAsClamp) {
    Mat src = test::randomMat(12, 10, MAT_Tuchar, 5);
    Ptr<FilterEngine> wrap = makeEngine<unsigned char>(MAT_Tuchar, 1, Size_<int>(1, 3),
                                                       Point2_<int>(0, 1), BorderWrap, false);
    std::vector<double> out(12 * 10);
    wrap->start(src.size(), Rect_<int>(0, 0, 10, 12));
    for (int y = 0; y < 12; y++)
        wrap->proceed(src.data.ptr[y], 0, 1,
                      reinterpret_cast<unsigned char*>(&out[0]) + size_t(wrap->dstY) * 80, 80);
    // The two rows that need the far side use the edge row instead.
    for (int x = 0; x < 10; x++) {
        EXPECT_EQ(out[x],
                  1 * test::at(src, 0, x) + 4 * test::at(src, 0, x) + 7 * test::at(src, 1, x));
        EXPECT_EQ(out[110 + x],
                  1 * test::at(src, 10, x) + 4 * test::at(src, 11, x) + 7 * test::at(src, 11, x));
    }
}

TEST(FilterEngine, SubMatrixSourceAndOffsetDestination) {
    Mat big = test::randomMat(40, 50, MAT_Tuchar3, 8);
    Mat part;
    big.subRefMat(Rect_<int>(7, 5, 20, 16), part);  // rows are not contiguous
    Mat copy = part.clone();
    for (int mode : {BorderClamp, BorderWrap, BorderFill}) {
        Ptr<FilterEngine> e = makeEngine<unsigned char>(MAT_Tuchar, 3, Size_<int>(3, 5),
                                                        Point2_<int>(1, 2), mode, true);
        Mat a(16, 20, MAKETYPE(MAT_Tdouble, 3)), b(20, 30, MAKETYPE(MAT_Tdouble, 3));
        b = 0.0;
        e->apply(part, a);
        e->apply(copy, b, Rect_<int>(0, 0, -1, -1), Point2_<int>(4, 3));
        for (int y = 0; y < 16; y++)
            ASSERT_EQ(0, std::memcmp(a.data.ptr[y], b.data.ptr[y + 3] + 4 * 24, 20 * 24))
                << "mode " << mode << " row " << y;
        EXPECT_EQ(test::at(b, 0, 0), 0.0);
        EXPECT_EQ(test::at(b, 19, 29, 2), 0.0);
    }
}

TEST(FilterEngine, StripedRunEqualsStreamingRun) {
    // Large enough for several stripes; compare with one engine fed row by row.
    const int W = 700, H = 400;
    for (bool separable : {false, true})
        for (int mode : {BorderWrap, BorderMirrorNoEdge, BorderFill}) {
            Mat src = test::randomMat(H, W, MAT_Tfloat, 21, -50, 50);
            Ptr<FilterEngine> e = makeEngine<float>(MAT_Tfloat, 1, Size_<int>(3, 5),
                                                    Point2_<int>(1, 3), mode, separable);
            Mat striped(H, W, MAT_Tdouble), serial(H, W, MAT_Tdouble);
            e->apply(src, striped);
            FilterEngine one(*e);
            one.start(src);
            int produced = 0;
            for (int y = one.startY; one.remainingInputRows() > 0; y++)
                produced += one.proceed(src.data.ptr[y], 0, 1,
                                        serial.data.ptr[0] + size_t(produced) * W * 8, W * 8);
            ASSERT_EQ(produced, H);
            ASSERT_TRUE(test::matEqual(striped, serial)) << "sep " << separable << " mode " << mode;
        }
}

TEST(FilterEngine, InPlaceEqualsOutOfPlace) {
    // A float to float 2-D stage writing over its own source.
    class Box3 : public BaseFilter {
    public:
        Box3() {
            ksize = Size_<int>(3, 3);
            anchor = Point2_<int>(1, 1);
        }
        void operator()(const unsigned char** src, unsigned char* dst, int dststep, int count,
                        int width, int cn) override {
            for (int r = 0; r < count; r++, src++, dst += dststep)
                for (int i = 0; i < width * cn; i++) {
                    float acc = 0;
                    for (int y = 0; y < 3; y++)
                        for (int x = 0; x < 3; x++)
                            acc += reinterpret_cast<const float*>(src[y])[i + x * cn] *
                                   float(1 + x + 3 * y);
                    reinterpret_cast<float*>(dst)[i] = acc;
                }
        }
    };
    Mat src = test::randomMat(420, 500, MAT_Tfloat, 4, 0, 10);
    FilterEngine e(Ptr<BaseFilter>(new Box3), Ptr<BaseRowFilter>(), Ptr<BaseColumnFilter>(),
                   MAT_Tfloat, MAT_Tfloat, MAT_Tfloat, BorderWrap);
    Mat out(420, 500, MAT_Tfloat);
    e.apply(src, out);
    e.apply(src, src);
    EXPECT_TRUE(test::matEqual(out, src));
}
