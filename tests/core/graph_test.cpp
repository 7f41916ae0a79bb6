// Pump graphs: connections, ordering, cycles, compound pumps and running a chain.
#include <gtest/gtest.h>

#include "core/test_operator.h"
#include "support/test_util.h"
#include "tarvo/pump.h"

using namespace tarvo;
using tarvo::test::ipTestInvert;

namespace {

Mat grey(int rows, int cols, unsigned char start) {
    Mat m(rows, cols, MAT_Tuchar);
    for (int r = 0; r < rows; r++)
        for (int c = 0; c < cols; c++)
            m.ptr<unsigned char>(r)[c] = (unsigned char)(start + r * cols + c);
    return m;
}

int positionOf(const Pipe& p, const PumpABC* pump) {
    for (int i = 0; i < p.getOrderCount(); i++)
        if (p.getOrderAt(i) == pump) return i;
    return -1;
}

// A pump that adds its two inputs (pins 0, 1) into a Mat of its own on pin 2.
struct AddPump : PumpABC {
    AddPump() {
        static const int kTypes[3] = {LinkIn, LinkIn, LinkOut};
        setPins(3, kTypes);
    }
    ~AddPump() override {
        AddPump::releaseData();
        PumpRelease();
    }
    PumpRet pumpProcess() override {
        releaseData();
        Mat* a = static_cast<Mat*>(getDataEx(0));
        Mat* b = static_cast<Mat*>(getDataEx(1));
        Mat* out = new Mat();
        if (a && b && isSameShape(a, b) && !a->empty()) {
            out->create(*a, false);
            for (int r = 0; r < a->rows(); r++)
                for (int c = 0; c < a->cols(); c++)
                    out->ptr<unsigned char>(r)[c] =
                        (unsigned char)(a->ptr<unsigned char>(r)[c] + b->ptr<unsigned char>(r)[c]);
        }
        regDataEx(2, out, "image");
        return 1;
    }
    void releaseData() override {
        if (Pin* p = getPin(2)) {
            delete static_cast<Mat*>(p->data());
            p->setData(nullptr);
        }
    }
};

}  // namespace

TEST(Connect, RolesAndBadPinsAreChecked) {
    ipTestInvert a, b;
    EXPECT_FALSE(a.connect(0, &b, 0));  // two inputs
    EXPECT_FALSE(a.connect(1, &b, 1));  // two outputs
    EXPECT_FALSE(a.connect(5, &b, 1));  // no such pin
    EXPECT_FALSE(a.connect(0, nullptr, 1));
    EXPECT_FALSE(a.connect(-1, &b, 1));
    EXPECT_FALSE(a.disconnect(9));
    EXPECT_TRUE(b.connect(0, &a, 1));  // b reads a's output
    EXPECT_TRUE(a.isConnected(1, LinkOut));
    EXPECT_FALSE(a.isConnected(1, LinkIn));
    EXPECT_TRUE(b.isConnected(0, LinkIn));
    // Either side may start the connection.
    ipTestInvert c;
    EXPECT_TRUE(a.connect(1, &c, 0));
    EXPECT_EQ(a.getLinkCount(1), 2);  // outputs fan out
    // An input takes one upstream: connecting again replaces the old link.
    EXPECT_TRUE(c.connect(0, &b, 1));
    EXPECT_EQ(a.getLinkCount(1), 1);
    EXPECT_EQ(c.getLinkedPin(0, 0), b.getPin(1));
    EXPECT_TRUE(a.disconnect(1));
    EXPECT_FALSE(b.isConnected(0));
}

TEST(Connect, InputReadsUpstreamDataOrItsOwn) {
    Mat m = grey(1, 2, 5), own = grey(1, 2, 9);
    ipTestInvert a, b;
    b.regData(&own, "image");
    EXPECT_EQ(b.getData(), &own);
    a.regDataEx(1, &m, "mat");
    ASSERT_TRUE(b.connect(0, &a, 1));
    EXPECT_EQ(b.getData(), &m);
    EXPECT_EQ(b.getDataType().compare("mat"), 0);
    b.disconnect(0);
    EXPECT_EQ(b.getData(), &own);
    a.regDataEx(1, nullptr, "");  // not owned by a: do not let a free it
}

TEST(Pipe, ChainProducesTheFinalImage) {
    Mat src = grey(2, 3, 10);
    Pipe pipe;
    PumpABC* entry = MatToImagePump::New();
    ipTestInvert* inv1 = new ipTestInvert();
    ipTestInvert* inv2 = new ipTestInvert();
    inv2->offset = 3;
    ASSERT_TRUE(pipe.append(entry));
    ASSERT_TRUE(pipe.append(inv1));
    ASSERT_TRUE(pipe.append(inv2));
    entry->regData(&src, "mat");
    ASSERT_TRUE(pipe.run());
    EXPECT_EQ(pipe.getFlag(), Pipe::PipeOrdered);
    Mat* out = static_cast<Mat*>(inv2->getDataEx(1));
    ASSERT_NE(out, nullptr);
    ASSERT_EQ(out->rows(), 2);
    for (int r = 0; r < 2; r++)
        for (int c = 0; c < 3; c++)
            EXPECT_EQ(out->ptr<unsigned char>(r)[c], src.ptr<unsigned char>(r)[c] + 3);
    // The entry copies: the source itself is never written.
    EXPECT_EQ(src.ptr<unsigned char>(0)[0], 10);
    // Running twice gives the same result and leaks nothing.
    ASSERT_TRUE(pipe.run());
    out = static_cast<Mat*>(inv2->getDataEx(1));
    EXPECT_EQ(out->ptr<unsigned char>(1)[2], 15 + 3);
    pipe.releaseData();
    EXPECT_EQ(inv2->getDataEx(1), nullptr);
}

TEST(Pipe, DiamondRunsEachPumpAfterItsInputs) {
    Mat src = grey(2, 2, 1);
    Pipe pipe;
    // Added in a scrambled order on purpose.
    AddPump* join = new AddPump();
    ipTestInvert* left = new ipTestInvert();
    BranchPump* split = static_cast<BranchPump*>(BranchPump::New());
    ipTestInvert* right = new ipTestInvert();
    PumpABC* entry = MatToImagePump::New();
    right->offset = 1;
    for (PumpABC* p : std::initializer_list<PumpABC*>{join, left, split, right, entry})
        ASSERT_GE(pipe.add(p), 0);
    EXPECT_EQ(pipe.add(join), -1);  // held already
    ASSERT_TRUE(split->connect(0, entry, 1));
    ASSERT_TRUE(left->connect(0, split, 1));
    ASSERT_TRUE(right->connect(0, split, 2));
    ASSERT_TRUE(join->connect(0, left, 1));
    ASSERT_TRUE(join->connect(1, right, 1));
    entry->regData(&src, "mat");

    ASSERT_TRUE(pipe.buildOrder());
    ASSERT_EQ(pipe.getOrderCount(), 5);
    EXPECT_EQ(positionOf(pipe, entry), 0);
    EXPECT_LT(positionOf(pipe, split), positionOf(pipe, left));
    EXPECT_LT(positionOf(pipe, split), positionOf(pipe, right));
    EXPECT_EQ(positionOf(pipe, join), 4);

    ASSERT_TRUE(pipe.run());
    Mat* out = static_cast<Mat*>(join->getDataEx(2));
    ASSERT_NE(out, nullptr);
    ASSERT_FALSE(out->empty());
    // (255 - v) + (255 - v + 1) = 511 - 2v, wrapped to a byte.
    for (int i = 0; i < 4; i++)
        EXPECT_EQ(out->ptr<unsigned char>(i / 2)[i % 2], (unsigned char)(511 - 2 * (1 + i)));
}

TEST(Pipe, CycleIsRefused) {
    Pipe pipe;
    ipTestInvert* a = new ipTestInvert();
    ipTestInvert* b = new ipTestInvert();
    ipTestInvert* c = new ipTestInvert();
    pipe.add(a);
    pipe.add(b);
    pipe.add(c);
    ASSERT_TRUE(b->connect(0, a, 1));
    ASSERT_TRUE(c->connect(0, b, 1));
    ASSERT_TRUE(a->connect(0, c, 1));
    EXPECT_FALSE(pipe.buildOrder());
    EXPECT_EQ(pipe.getOrderCount(), 0);
    EXPECT_EQ(pipe.getFlag(), Pipe::PipeCycle);
    EXPECT_FALSE(pipe.run());
    EXPECT_EQ(a->getDataEx(1), nullptr);  // nothing ran

    // A pump feeding itself is a cycle too.
    Pipe self;
    ipTestInvert* s = new ipTestInvert();
    self.add(s);
    ASSERT_TRUE(s->connect(0, s, 1));
    EXPECT_FALSE(self.buildOrder());

    // Breaking the ring makes it orderable.
    a->disconnect(0);
    ASSERT_TRUE(pipe.buildOrder());
    EXPECT_EQ(pipe.getOrderAt(0), a);
    EXPECT_EQ(pipe.getOrderAt(2), c);
}

TEST(Pipe, DisconnectMidChain) {
    Mat src = grey(2, 2, 50);
    Pipe pipe;
    PumpABC* entry = MatToImagePump::New();
    ipTestInvert* a = new ipTestInvert();
    ipTestInvert* b = new ipTestInvert();
    pipe.append(entry);
    pipe.append(a);
    pipe.append(b);
    entry->regData(&src, "mat");
    ASSERT_TRUE(pipe.run());
    ASSERT_FALSE(static_cast<Mat*>(b->getDataEx(1))->empty());

    EXPECT_TRUE(a->disconnect(0));
    EXPECT_FALSE(entry->isConnected(1));
    ASSERT_TRUE(pipe.run());  // a now starts a chain of its own with no input
    Mat* out = static_cast<Mat*>(b->getDataEx(1));
    ASSERT_NE(out, nullptr);
    EXPECT_TRUE(out->empty());
    EXPECT_TRUE(static_cast<Mat*>(a->getDataEx(1))->empty());
}

TEST(Pipe, DetachHandsPumpsBackAndClearsTheOrder) {
    Pipe pipe;
    ipTestInvert* a = new ipTestInvert();
    ipTestInvert* b = new ipTestInvert();
    pipe.append(a);
    pipe.append(b);
    ASSERT_TRUE(pipe.buildOrder());
    EXPECT_EQ(pipe.detachAt(0), a);
    EXPECT_EQ(pipe.getFlag(), 0);
    EXPECT_EQ(pipe.getOrderCount(), 0);
    EXPECT_EQ(pipe.getPumpCount(), 1);
    EXPECT_EQ(pipe.detachAt(5), nullptr);
    delete a;  // b's input link goes with it
    EXPECT_FALSE(b->isConnected(0));
    pipe.detachAll();
    EXPECT_EQ(pipe.getPumpCount(), 0);
    delete b;
}

TEST(Pipe, CopyClonesPumpsAndTheirLinks) {
    Mat src = grey(1, 3, 0);
    Pipe pipe;
    PumpABC* entry = MatToImagePump::New();
    ipTestInvert* a = new ipTestInvert();
    a->offset = -5;
    pipe.append(entry);
    pipe.append(a);
    Pipe copy(pipe);
    ASSERT_EQ(copy.getPumpCount(), 2);
    EXPECT_NE(copy.getAt(1), a);
    EXPECT_TRUE(copy.getAt(1)->isConnected(0));
    EXPECT_EQ(copy.getAt(1)->getLinkedPin(0, 0)->pump(), copy.getAt(0));
    copy.getAt(0)->regData(&src, "mat");
    ASSERT_TRUE(copy.run());
    Mat* out = static_cast<Mat*>(copy.getAt(1)->getDataEx(1));
    EXPECT_EQ(out->ptr<unsigned char>(0)[2], 255 - 2 - 5);
    EXPECT_EQ(a->getDataEx(1), nullptr);  // the original did not run
}

TEST(CompoundPump, ForwardsPinsToInnerPumps) {
    Mat src = grey(2, 2, 20);
    CompoundPump* comp = static_cast<CompoundPump*>(CompoundPump::New());
    ipTestInvert* first = new ipTestInvert();
    ipTestInvert* second = new ipTestInvert();
    second->offset = 2;
    ASSERT_EQ(comp->add(first), 0);
    ASSERT_EQ(comp->add(second), 1);
    EXPECT_EQ(comp->add(nullptr), -1);
    ASSERT_TRUE(second->connect(0, first, 1));
    EXPECT_EQ(comp->exportPin(0, 0), 0);
    EXPECT_EQ(comp->exportPin(1, 1), 1);
    EXPECT_EQ(comp->exportPin(7, 0), -1);
    EXPECT_EQ(comp->getParameterNum(), 2);
    EXPECT_EQ(comp->getPin(0), first->getPin(0));
    EXPECT_EQ(comp->getPin(1), second->getPin(1));
    EXPECT_EQ(comp->getLinkType(1), LinkOut);

    // Standalone: data registered on the compound reaches the inner input.
    comp->regData(&src, "image");
    EXPECT_EQ(first->getData(), &src);
    EXPECT_EQ(comp->pumpProcess(), 1);
    Mat* out = static_cast<Mat*>(comp->getDataEx(1));
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->ptr<unsigned char>(1)[1], 23 + 2);
    comp->regData(nullptr, "");

    // Inside a pipe, connections made through the compound land on inner pins
    // and the compound's inner pumps are ordered with everything else.
    Pipe pipe;
    PumpABC* entry = MatToImagePump::New();
    ipTestInvert* tail = new ipTestInvert();
    pipe.add(tail);
    pipe.add(comp);
    pipe.add(entry);
    ASSERT_TRUE(comp->connect(0, entry, 1));
    ASSERT_TRUE(tail->connect(0, comp, 1));
    EXPECT_TRUE(comp->isConnected(0, LinkIn));
    EXPECT_TRUE(first->isConnected(0));
    entry->regData(&src, "mat");
    ASSERT_TRUE(pipe.run());
    ASSERT_EQ(pipe.getOrderCount(), 4);
    EXPECT_EQ(pipe.getOrderAt(0), entry);
    EXPECT_EQ(pipe.getOrderAt(1), first);
    EXPECT_EQ(pipe.getOrderAt(2), second);
    EXPECT_EQ(pipe.getOrderAt(3), tail);
    out = static_cast<Mat*>(tail->getDataEx(1));
    // invert, invert + 2, invert: 255 - (v + 2)
    EXPECT_EQ(out->ptr<unsigned char>(0)[1], 255 - (21 + 2));

    PumpABC* copy = comp->clone();
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->getParameterNum(), 2);
    EXPECT_NE(copy->getPin(0), first->getPin(0));
    EXPECT_FALSE(copy->isConnected(0));  // links to the outside are not copied
    CompoundPump* cc = static_cast<CompoundPump*>(copy);
    EXPECT_TRUE(cc->getAt(1)->isConnected(0));
    delete copy;

    EXPECT_TRUE(comp->disconnect(0));
    EXPECT_FALSE(entry->isConnected(1));
}
