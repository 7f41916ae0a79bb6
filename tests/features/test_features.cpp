// Features, sets, descriptors, their block files and the factory.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tarvo/ip/features.h"

using namespace tarvo;

namespace {

// A memory stream that, like a pipe, cannot tell its length.
class UnsizedMem : public XFileMem {
public:
    UnsizedMem(unsigned char* buf, unsigned size) : XFileMem(buf, size) {}
    long size() override { return -1; }
};

std::vector<unsigned char> bytesOf(XFileMem& f) {
    const long n = f.size();
    return std::vector<unsigned char>(f.getBuffer(), f.getBuffer() + n);
}

void put32(std::vector<unsigned char>& v, int32_t x) {
    for (int k = 0; k < 4; k++) v.push_back((unsigned char)(uint32_t(x) >> (8 * k)));
}
void putId(std::vector<unsigned char>& v, const char* id) {
    unsigned char buf[32] = {};
    std::memcpy(buf, id, std::strlen(id));
    v.insert(v.end(), buf, buf + 32);
}

FeatureVec* grayVec(int w, int h, float first) {
    FeatureVec* f = new FeatureVec();
    f->Vec::create(w * h, MAT_Tfloat);
    for (int i = 0; i < w * h; i++) f->data.fl[i] = first + float(i);
    f->width = w;
    f->height = h;
    return f;
}

FeatureABC* readBack(const std::vector<unsigned char>& bytes) {
    std::vector<unsigned char> copy(bytes);
    XFileMem in(copy.data(), unsigned(copy.size()));
    return FeatureFactory::Instance()->readFeature(&in);
}

}  // namespace

TEST(FeatureFiles, VectorsAndNestedSetsRoundTrip) {
    FeatureVec* v = grayVec(2, 3, 1.0f);
    XFileMem out;
    ASSERT_EQ(v->write(&out), 1);
    FeatureABC* back = readBack(bytesOf(out));
    ASSERT_NE(back, nullptr);
    FeatureVec* bv = dynamic_cast<FeatureVec*>(back);
    ASSERT_NE(bv, nullptr);
    EXPECT_EQ(bv->width, 2);
    EXPECT_EQ(bv->height, 3);
    ASSERT_EQ(bv->dimension(), 6);
    for (int i = 0; i < 6; i++) EXPECT_EQ(bv->data.fl[i], float(i + 1));
    EXPECT_FLOAT_EQ(v->dist(bv), 0.0f);
    delete back;

    // Three levels: {vec, {vec, {}}}.
    FeatureSet top;
    top.add(v);
    FeatureSet* mid = new FeatureSet();
    mid->add(grayVec(1, 2, 10.0f));
    mid->add(new FeatureSet());
    top.add(mid);
    EXPECT_EQ(top.dimension(), 8);
    XFileMem setOut;
    ASSERT_EQ(top.write(&setOut), 1);
    FeatureABC* s = readBack(bytesOf(setOut));
    ASSERT_NE(s, nullptr);
    ASSERT_TRUE(s->isMultiple());
    FeatureSet* rs = static_cast<FeatureSet*>(s);
    ASSERT_EQ(rs->getSize(), 2);
    FeatureSet* rmid = dynamic_cast<FeatureSet*>(rs->getAt(1));
    ASSERT_NE(rmid, nullptr);
    ASSERT_EQ(rmid->getSize(), 2);
    EXPECT_EQ(static_cast<FeatureVec*>(rmid->getAt(0))->data.fl[1], 11.0f);
    EXPECT_EQ(static_cast<FeatureSet*>(rmid->getAt(1))->getSize(), 0);
    // Equal features give equal files.
    XFileMem again;
    rs->write(&again);
    EXPECT_EQ(bytesOf(again), bytesOf(setOut));
    delete s;

    // Through a path.
    const std::string path = ::testing::TempDir() + "tarvo_features_set.bin";
    ASSERT_TRUE(top.write(path.c_str()));
    FeatureABC* fromDisk = FeatureFactory::Instance()->readFeature(path.c_str());
    ASSERT_NE(fromDisk, nullptr);
    EXPECT_EQ(fromDisk->dimension(), 8);
    delete fromDisk;
    std::remove(path.c_str());
    EXPECT_EQ(FeatureFactory::Instance()->readFeature("/nonexistent/x.bin"), nullptr);
}

TEST(FeatureFiles, EmptySetIsThirtySixBytes) {
    FeatureSet empty;
    EXPECT_EQ(empty.dimension(), 0);
    XFileMem out;
    ASSERT_EQ(empty.write(&out), 1);
    std::vector<unsigned char> want;
    putId(want, "FSet");
    put32(want, 0);
    EXPECT_EQ(bytesOf(out), want);
    FeatureABC* back = readBack(want);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(static_cast<FeatureSet*>(back)->getSize(), 0);
    delete back;
}

TEST(FeatureFiles, DescriptorsRoundTripOnlyByTheirOwnRead) {
    FeatureDescriptor d(128);
    EXPECT_STREQ(d.getID(), "descriptor 128");
    d.x = 2.5f;
    d.y = -1.5f;
    d.scale = 3.0f;
    d.orientation = -0.5f;
    d.response = 7.0f;
    for (int i = 0; i < 128; i++) d.data[i] = float(i) * 0.25f;
    XFileMem out;
    ASSERT_EQ(d.write(&out), 1);
    EXPECT_EQ(out.size(), 24 + 4 * 128);
    std::vector<unsigned char> bytes = bytesOf(out);
    XFileMem in(bytes.data(), unsigned(bytes.size()));
    FeatureDescriptor r;
    ASSERT_EQ(r.read(&in), 1);
    EXPECT_EQ(r.dimension(), 128);
    EXPECT_EQ(r.x, 2.5f);
    EXPECT_EQ(r.orientation, -0.5f);
    EXPECT_EQ(r.response, 7.0f);
    EXPECT_EQ(r.data[127], 127 * 0.25f);
    EXPECT_EQ(r.Point(5).x, 3);
    EXPECT_EQ(r.Point(0).y, -1);

    // Inside a set it is written but cannot be read back.
    FeatureSet s;
    s.add(new FeatureDescriptor(d));
    XFileMem setOut;
    ASSERT_EQ(s.write(&setOut), 1);
    FeatureABC* back = readBack(bytesOf(setOut));
    ASSERT_NE(back, nullptr);
    ASSERT_EQ(static_cast<FeatureSet*>(back)->getSize(), 1);
    EXPECT_EQ(static_cast<FeatureSet*>(back)->getAt(0), nullptr);
    delete back;

    // No values but a dimension: nothing written.
    FeatureDescriptor hollow;
    hollow.m_dimension = 4;
    XFileMem none;
    EXPECT_EQ(hollow.write(&none), 0);
    EXPECT_EQ(none.size(), 0);
    hollow.m_dimension = 0;
}

TEST(FeatureFiles, HostileBlocksAreRefused) {
    // Too short, unknown identifier (position back at the start), suffixed
    // identifiers that find a prototype but fail its read, no NUL at all.
    std::vector<unsigned char> shortId(31, 'g');
    EXPECT_EQ(readBack(shortId), nullptr);
    std::vector<unsigned char> unknown;
    putId(unknown, "lbp");
    put32(unknown, 0);
    XFileMem in(unknown.data(), unsigned(unknown.size()));
    EXPECT_EQ(FeatureFactory::Instance()->readFeature(&in), nullptr);
    EXPECT_EQ(in.tell(), 0);
    for (const char* id : {"FSet_x", "gray_x"}) {
        std::vector<unsigned char> b;
        putId(b, id);
        put32(b, 0);
        put32(b, 0);
        EXPECT_EQ(readBack(b), nullptr) << id;
    }
    std::vector<unsigned char> noNul(40, 'x');
    EXPECT_EQ(readBack(noNul), nullptr);

    // Set counts: negative, huge, lying (more than the bytes left).
    for (int32_t count : {-1, INT32_MAX, 3}) {
        std::vector<unsigned char> b;
        putId(b, "FSet");
        put32(b, count);
        putId(b, "FSet");
        put32(b, 0);
        EXPECT_EQ(readBack(b), nullptr) << count;
    }
    // On a stream that cannot tell its length the lying count fails at the
    // first missing element.
    {
        std::vector<unsigned char> b;
        putId(b, "FSet");
        put32(b, 1000000);
        putId(b, "FSet");
        put32(b, 0);
        UnsizedMem u(b.data(), unsigned(b.size()));
        FeatureSet s;
        EXPECT_EQ(s.read(&u), 0);
    }
    // Descriptor dimensions: negative, huge, and lying on an unsized stream.
    for (int32_t d : {-5, INT32_MAX}) {
        std::vector<unsigned char> b(8, 0);
        put32(b, d);
        b.resize(24 + 16, 0);
        XFileMem m(b.data(), unsigned(b.size()));
        FeatureDescriptor r(4);
        EXPECT_EQ(r.read(&m), 0) << d;
        EXPECT_EQ(r.data, nullptr);
        UnsizedMem u(b.data(), unsigned(b.size()));
        EXPECT_EQ(r.read(&u), 0) << d;
    }
    // A vector whose record announces more values than the file holds, and a
    // stored vector that is not float.
    {
        FeatureVec* v = grayVec(2, 2, 0.0f);
        XFileMem out;
        v->write(&out);
        std::vector<unsigned char> b = bytesOf(out);
        b[40 + 12] = 0xff;  // record length low byte
        b[40 + 13] = 0xff;
        EXPECT_EQ(readBack(b), nullptr);
        delete v;
        FeatureVec ints;
        ints.Vec::create(4, MAT_Tint);
        ints.Vec::zero();
        XFileMem io;
        ints.write(&io);
        EXPECT_EQ(readBack(bytesOf(io)), nullptr);
    }
}

TEST(FeatureFiles, NestingIsBounded) {
    auto nested = [](int depth) {
        std::vector<unsigned char> b;
        for (int i = 0; i < depth; i++) {
            putId(b, "FSet");
            put32(b, i + 1 < depth ? 1 : 0);
        }
        return b;
    };
    FeatureABC* ok = readBack(nested(64));
    ASSERT_NE(ok, nullptr);
    EXPECT_EQ(ok->dimension(), 0);
    delete ok;
    // 65 levels: the innermost set is refused, so its parent holds null.
    FeatureABC* deep = readBack(nested(65));
    ASSERT_NE(deep, nullptr);
    const FeatureSet* s = static_cast<FeatureSet*>(deep);
    for (int i = 0; i < 63; i++) s = static_cast<const FeatureSet*>(s->getAt(0));
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->getSize(), 1);
    EXPECT_EQ(s->getAt(0), nullptr);
    delete deep;

    // Built in memory beyond the limit: write, clone and measure refuse.
    FeatureSet* root = new FeatureSet();
    FeatureSet* cur = root;
    for (int i = 0; i < 70; i++) {
        FeatureSet* next = new FeatureSet();
        cur->add(next);
        cur = next;
    }
    XFileMem out;
    root->write(&out);
    EXPECT_EQ(root->dimension(), -1);
    EXPECT_EQ(root->clone(), nullptr);
    delete root;
}

TEST(FeatureSets, OwnershipAddRemoveAndCopies) {
    FeatureSet s;
    EXPECT_EQ(s.add(grayVec(1, 1, 1.0f)), 1);
    EXPECT_EQ(s.add(grayVec(1, 2, 2.0f)), 2);
    EXPECT_EQ(s.add(new FeatureDescriptor(3)), 3);
    s.removeAt(-1);
    s.removeAt(3);
    EXPECT_EQ(s.getSize(), 3);
    EXPECT_EQ(s.getAt(3), nullptr);
    EXPECT_EQ(s.getAt(-1), nullptr);
    s.setAt(7, nullptr);  // ignored
    EXPECT_EQ(s.dimension(), 6);
    EXPECT_EQ(s.dist(nullptr), 1.0f);

    // Copies are independent; destroying both frees everything once.
    FeatureSet copy(s);
    ASSERT_EQ(copy.getSize(), 3);
    EXPECT_NE(copy.getAt(0), s.getAt(0));
    EXPECT_NE(copy.getAt(2), s.getAt(2));
    static_cast<FeatureVec*>(copy.getAt(1))->data.fl[0] = 99.0f;
    EXPECT_EQ(static_cast<FeatureVec*>(s.getAt(1))->data.fl[0], 2.0f);
    s.removeAt(0);
    EXPECT_EQ(s.getSize(), 2);
    EXPECT_EQ(copy.getSize(), 3);
    FeatureABC* c = copy.clone();
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->dimension(), 6);
    delete c;
    copy = s;
    EXPECT_EQ(copy.getSize(), 2);

    // Clone rules: a descriptor is its own clone; a vector's clone has no integral images.
    FeatureDescriptor d;
    EXPECT_EQ(d.clone(), &d);
    EXPECT_EQ(d.dist(nullptr), 0.0f);
    FeatureVec* v = grayVec(2, 2, 1.0f);
    v->calcIntegralImage(true, true);
    ASSERT_NE(v->integralImage, nullptr);
    FeatureABC* vc = v->clone();
    EXPECT_EQ(static_cast<FeatureVec*>(vc)->integralImage, nullptr);
    EXPECT_EQ(vc->dimension(), 4);
    FeatureVec vcopy(*v);
    ASSERT_NE(vcopy.integralImage, nullptr);
    EXPECT_NE(vcopy.integralImage, v->integralImage);
    delete vc;
    delete v;
}

TEST(FeatureVecs, IntegralImagesAndDistances) {
    FeatureVec v;
    v.Vec::create(4, MAT_Tfloat);
    v.data.fl[0] = 300.0f;  // low 8 bits: 44
    v.data.fl[1] = -1.0f;   // 255
    v.data.fl[2] = std::nanf("");
    v.data.fl[3] = 2.9f;
    v.width = 2;
    v.height = 2;
    v.calcIntegralImage(false, true);
    ASSERT_NE(v.integralImage, nullptr);
    ASSERT_NE(v.squaredIntegralImage, nullptr);
    EXPECT_EQ(v.tiltedIntegralImage, nullptr);
    EXPECT_EQ(v.integralImage->ptr<int>(1)[1], 44);
    EXPECT_EQ(v.integralImage->ptr<int>(2)[2], 44 + 255 + 0 + 2);
    v.calcIntegralImage(true, false);
    EXPECT_NE(v.tiltedIntegralImage, nullptr);
    EXPECT_EQ(v.squaredIntegralImage, nullptr);
    // Sizes the vector cannot hold: nothing made.
    v.width = 3;
    v.calcIntegralImage(true, true);
    EXPECT_EQ(v.integralImage, nullptr);
    v.width = 0;
    v.calcIntegralImage(false, false);
    EXPECT_EQ(v.integralImage, nullptr);

    FeatureVec* a = grayVec(2, 2, 1.0f);
    FeatureVec* shorter = grayVec(1, 1, 1.0f);
    FeatureSet other;
    EXPECT_EQ(a->dist(nullptr), 1.0f);
    EXPECT_EQ(a->dist(&other), 1.0f);
    EXPECT_EQ(a->dist(shorter), 1.0f);
    Vec out;
    a->getData(&out);
    EXPECT_EQ(out.length(), 4);
    a->release();
    EXPECT_EQ(a->width, 0);
    EXPECT_EQ(a->dimension(), 0);
    delete a;
    delete shorter;
}

TEST(FeatureFactoryTest, InstanceLookupReleaseAndRebuild) {
    FeatureFactory* f = FeatureFactory::Instance();
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(FeatureFactory::Instance(), f);
    EXPECT_EQ(f->find("gray"), 0);
    EXPECT_EQ(f->find("FSet"), 1);
    EXPECT_EQ(f->find("gray_anything"), 0);
    EXPECT_EQ(f->find("x"), -1);
    EXPECT_EQ(f->getPrototype(2), nullptr);

    std::vector<unsigned char> b;
    putId(b, "FSet");
    put32(b, 0);
    f->release();
    EXPECT_EQ(readBack(b), nullptr);  // no prototypes after release
    f->init();  // names again behind the kept ones; the first ones find the new prototypes
    FeatureABC* r = readBack(b);
    ASSERT_NE(r, nullptr);
    delete r;
    delete f;
    EXPECT_EQ(FeatureFactory::m_pFeatureFactory, nullptr);
    FeatureFactory* g = FeatureFactory::Instance();
    ASSERT_NE(g, nullptr);
    r = readBack(b);
    ASSERT_NE(r, nullptr);
    delete r;
}

TEST(InterestRegions, AppendAndRelease) {
    _tagInterestRegion* list = nullptr;
    int count = 0;
    _tagInterestRegion src[2] = {};
    addInterestRegions(nullptr, 3, &list, &count);
    addInterestRegions(src, 0, &list, &count);
    addInterestRegions(src, -2, &list, &count);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(list, nullptr);
    for (int round = 0; round < 2; round++) {
        src[0].value[0] = 10 * round;
        src[1].value[0] = 10 * round + 1;
        src[0].data = std::malloc(8);
        src[1].data = nullptr;
        addInterestRegions(src, 2, &list, &count);
    }
    ASSERT_EQ(count, 4);
    EXPECT_EQ(list[0].value[0], 0);
    EXPECT_EQ(list[1].value[0], 1);
    EXPECT_EQ(list[2].value[0], 10);
    EXPECT_EQ(list[3].value[0], 11);
    releaseInterestRegions(&list, &count);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(count, 0);
    releaseInterestRegions(nullptr, &count);
}
