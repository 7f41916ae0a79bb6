// The operator frame: free function, process, pump path, parameters, library entry.
#include <cstring>

#include <gtest/gtest.h>

#include "core/test_operator.h"
#include "support/test_util.h"
#include "tarvo/ip/core.h"

using namespace tarvo;
using tarvo::test::ipTestInvert;

namespace {

Mat smallRgb() {
    Mat m(2, 3, MAT_Tuchar3);
    for (int r = 0; r < 2; r++)
        for (int c = 0; c < 9; c++) m.ptr<unsigned char>(r)[c] = (unsigned char)(r * 100 + c * 10);
    return m;
}

}  // namespace

TEST(LibraryInfo, WritesNameVersionAndLeavesTheRestOfTheFields) {
    tagLibraryInfo info;
    std::memset(&info, 0, sizeof(info));
    GettarvoIPInfo(&info);
    EXPECT_STREQ(info.szName, "tarvoip 2.2");
    EXPECT_EQ(info.nMajor, 2);
    EXPECT_EQ(info.nMinor, 2);
    EXPECT_EQ(info.nPatch, 2);
    EXPECT_GT(std::strlen(info.szCopyright), 0u);
    for (int i = 12; i < 64; i++) EXPECT_EQ(info.szName[i], 0) << "byte " << i;

    std::memset(&info, 'x', sizeof(info));
    GettarvoIPInfo(&info);
    EXPECT_EQ(info.szName[11], 0);
    EXPECT_EQ(info.szName[12], 'x');  // beyond the terminator nothing is written
    GettarvoIPInfo(nullptr);          // ignored
}

TEST(OperatorFrame, FreeFunctionFillsDestination) {
    Mat src = smallRgb(), dst;
    test::testInvert(src, dst);
    ASSERT_EQ(dst.rows(), 2);
    ASSERT_EQ(dst.cols(), 3);
    ASSERT_EQ(dst.type1(), MAT_Tuchar3);
    EXPECT_EQ(dst.ptr<unsigned char>(1)[4], 255 - 140);
    EXPECT_EQ(src.ptr<unsigned char>(1)[4], 140);  // source untouched
}

TEST(OperatorFrame, NullDestinationWorksInPlace) {
    Mat img = smallRgb();
    ipTestInvert op;
    EXPECT_TRUE(op.process(&img, nullptr));
    EXPECT_EQ(img.ptr<unsigned char>(0)[0], 255);
    EXPECT_EQ(img.ptr<unsigned char>(1)[8], 255 - 180);
}

TEST(OperatorFrame, RefusedInputLeavesDestinationUnchanged) {
    Mat src(2, 2, MAT_Tfloat);
    for (int r = 0; r < 2; r++) src.ptr<float>(r)[0] = src.ptr<float>(r)[1] = 1.0f;
    Mat dst = smallRgb();
    Mat before = dst;
    test::testInvert(src, dst);
    EXPECT_TRUE(test::matEqual(dst, before));

    Mat empty;
    test::testInvert(empty, dst);
    EXPECT_TRUE(test::matEqual(dst, before));

    ipCoreABC base;  // the base operator refuses everything
    EXPECT_FALSE(base.process(&dst, nullptr));
    EXPECT_TRUE(test::matEqual(dst, before));
}

TEST(OperatorFrame, OneMethodNoParameters) {
    ipTestInvert op;
    IParamABC& params = op;
    EXPECT_EQ(params.getMethodCount(), 1);
    EXPECT_EQ(params.getParamCount(0), 0);
    EXPECT_EQ(params.getParamInfo(0, 0), nullptr);
}

TEST(PumpPath, PumpProcessRegistersResultOnPinOne) {
    Mat src = smallRgb();
    ipTestInvert op;
    ASSERT_EQ(op.getParameterNum(), 2);
    EXPECT_EQ(op.getLinkType(0), LinkIn);
    EXPECT_EQ(op.getLinkType(1), LinkOut);
    op.regData(&src, "image");
    EXPECT_EQ(op.getData(), &src);
    EXPECT_EQ(op.pumpProcess(), 1);
    Mat* out = static_cast<Mat*>(op.getDataEx(1));
    ASSERT_NE(out, nullptr);
    EXPECT_NE(out, &src);
    EXPECT_EQ(op.getDataTypeEx(1).compare("image"), 0);
    EXPECT_EQ(out->ptr<unsigned char>(0)[3], 255 - 30);

    // Running again replaces (and frees) the previous result.
    op.offset = 1;
    EXPECT_EQ(op.pumpProcess(), 1);
    Mat* out2 = static_cast<Mat*>(op.getDataEx(1));
    ASSERT_NE(out2, nullptr);
    EXPECT_EQ(out2->ptr<unsigned char>(0)[3], 255 - 30 + 1);
    op.releaseData();
    EXPECT_EQ(op.getDataEx(1), nullptr);
    op.releaseData();  // nothing left to free
}

TEST(PumpPath, RefusedInputStillRegistersAnUnfilledMat) {
    Mat src(3, 4, MAT_Tshort);
    ipTestInvert op;
    op.regData(&src, "image");
    EXPECT_EQ(op.pumpProcess(), 1);
    Mat* out = static_cast<Mat*>(op.getDataEx(1));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->rows(), 3);
    EXPECT_EQ(out->cols(), 4);
    EXPECT_EQ(out->type1(), MAT_Tshort);

    // No input at all: an empty result, no crash.
    ipTestInvert lone;
    EXPECT_EQ(lone.pumpProcess(), 1);
    Mat* none = static_cast<Mat*>(lone.getDataEx(1));
    ASSERT_NE(none, nullptr);
    EXPECT_TRUE(none->empty());
}

TEST(PumpPath, PumpProcessOfMatHandsOwnershipToCaller) {
    Mat src = smallRgb();
    ipTestInvert op;
    Mat* out = op.pumpProcess(&src);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->ptr<unsigned char>(1)[0], 255 - 100);
    EXPECT_EQ(op.getDataEx(1), nullptr);  // pins untouched
    delete out;

    PumpABC plain;
    EXPECT_EQ(plain.pumpProcess(&src), &src);
    EXPECT_EQ(plain.pumpProcess(), 1);
    EXPECT_EQ(plain.clone(), nullptr);
    EXPECT_EQ(plain.getPin(0), nullptr);
}

TEST(PumpPath, CloneCopiesParametersNotData) {
    Mat src = smallRgb();
    ipTestInvert op;
    op.offset = 7;
    op.regData(&src, "image");
    op.pumpProcess();
    PumpABC* c = op.clone();
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(static_cast<ipTestInvert*>(c)->offset, 7);
    EXPECT_EQ(c->getDataEx(1), nullptr);
    EXPECT_EQ(c->getParameterNum(), 2);
    delete c;

    ipCorePump base;
    base.regData(&src, "image");
    PumpABC* bc = base.clone();
    ASSERT_NE(bc, nullptr);
    EXPECT_EQ(bc->getData(), nullptr);  // a copy has pins of its own
    EXPECT_EQ(bc->getLinkType(1), LinkOut);
    delete bc;
}

TEST(PumpPath, ReleaseIsSafeToRepeat) {
    Mat src = smallRgb();
    ipTestInvert* a = new ipTestInvert();
    ipTestInvert b;
    ASSERT_TRUE(b.connect(0, a, 1));
    a->regData(&src, "image");
    a->pumpProcess();
    a->PumpRelease();
    a->PumpRelease();
    EXPECT_EQ(a->getPin(0), nullptr);
    EXPECT_FALSE(b.isConnected(0));  // the far end forgot the link
    EXPECT_EQ(b.getDataEx(0), nullptr);
    delete a;  // the destructors release once more

    // Deleting a pump that is still connected unlinks the far end too.
    ipTestInvert* c = new ipTestInvert();
    ASSERT_TRUE(b.connect(0, c, 1));
    EXPECT_TRUE(b.isConnected(0, LinkIn));
    delete c;
    EXPECT_FALSE(b.isConnected(0));
    EXPECT_EQ(b.getDataEx(0), nullptr);
}

TEST(FeaturePump, RunsProcessThenDrawAndReturnsImage) {
    struct Marker : ipCoreFeaturePump {
        int calls = 0;
        bool process(Mat* image) override {
            calls = calls * 10 + 1;
            return image != nullptr;
        }
        bool draw(Mat* image) override {
            calls = calls * 10 + 2;
            if (image && !image->empty()) image->ptr<unsigned char>(0)[0] = 42;
            return true;
        }
    };
    Mat img = smallRgb();
    Marker m;
    EXPECT_EQ(m.pumpProcess(&img), &img);
    EXPECT_EQ(m.calls, 12);
    EXPECT_EQ(img.ptr<unsigned char>(0)[0], 42);
    ipCoreFeaturePump plain;
    EXPECT_FALSE(plain.process(&img));
    EXPECT_EQ(plain.pumpProcess(nullptr), nullptr);
}

TEST(Params, AlgorithmCopiesTextAndSharesParameters) {
    Algorithm a("detector", "finds things");
    EXPECT_STREQ(a.getID(), "detector");
    Algorithm b(a);
    EXPECT_STREQ(b.getID(), "detector");
    EXPECT_STREQ(b.getDescription(), "finds things");
    std::string longId(400, 'a');
    Algorithm c(longId.c_str());
    EXPECT_EQ(std::strlen(c.getID()), 255u);
    Algorithm d(nullptr);
    EXPECT_STREQ(d.getID(), "");

    float v = 1.5f;
    ParamRange range = {"gain", 0, 10, 1};
    ParamInfo info(&v, &range);
    info.value() = 2.5f;
    EXPECT_EQ(v, 2.5f);
    EXPECT_EQ(info.range(), &range);
    ipCoreRegist reg, copy(reg);
    copy = reg;
}
