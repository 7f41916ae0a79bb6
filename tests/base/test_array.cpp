// Array growth, ownership and element operations; AutoBuffer; Ptr.
#include <gtest/gtest.h>

#include "tarvo/array.h"
#include "tarvo/autobuffer.h"
#include "tarvo/ptr.h"
#include "tarvo/types.h"

using namespace tarvo;

TEST(ArrayGrowth, FreshAddTakesOneSlotThenStepsByFour) {
    Array<int> a;
    a.setSize(3);
    a.setSize(0);
    EXPECT_EQ(a.getCapacity(), 0);
    EXPECT_EQ(a.getData(), nullptr);
    a.add(7);
    EXPECT_EQ(a.getCapacity(), 1);
    a.add(8);
    EXPECT_EQ(a.getCapacity(), 5);
    EXPECT_EQ(a[0], 7);
    EXPECT_EQ(a[1], 8);
}

TEST(ArrayGrowth, AutomaticStepIsAnEighthClampedTo4And1024) {
    struct Case {
        int size, step;
    } cases[] = {{3, 4}, {8000, 1000}, {16000, 1024}, {40, 5}};
    for (const Case& c : cases) {
        Array<int> a;
        a.setSize(c.size);
        ASSERT_EQ(a.getCapacity(), c.size);
        a.add(1);
        EXPECT_EQ(a.getCapacity(), c.size + c.step) << c.size;
        EXPECT_EQ(a.getSize(), c.size + 1);
    }
}

TEST(ArrayGrowth, ExplicitStepSticksUntilZeroRestoresTheRule) {
    Array<int> a;
    a.setSize(10, 100);
    a.add(1);
    EXPECT_EQ(a.getCapacity(), 110);
    a.setSize(110);
    a.add(2);
    EXPECT_EQ(a.getCapacity(), 210);
    a.setSize(210, 0);
    a.add(3);
    EXPECT_EQ(a.getCapacity(), 210 + 210 / 8);
    // A request beyond capacity + step takes exactly what was asked.
    Array<int> b;
    b.setSize(2);
    b.setSize(50);
    EXPECT_EQ(b.getCapacity(), 50);
}

TEST(ArrayGrowth, ShrinkingKeepsTheBlockAndNewSlotsAreZero) {
    Array<int> a;
    a.setSize(20);
    for (int i = 0; i < 20; i++) a[i] = i + 1;
    int* block = a.getData();
    a.setSize(5);
    EXPECT_EQ(a.getCapacity(), 20);
    EXPECT_EQ(a.getData(), block);
    a.setSize(8);
    EXPECT_EQ(a[4], 5);
    EXPECT_EQ(a[5], 0);
    EXPECT_EQ(a[7], 0);
}

TEST(ArrayOps, AppendAddRemoveAndCopy) {
    Array<int> a;
    EXPECT_EQ(a.add(1), 0);
    EXPECT_EQ(a.add(2), 1);
    int more[3] = {3, 4, 5};
    EXPECT_EQ(a.append(more, 3), 2);
    Array<int> b(a);
    EXPECT_EQ(b.append(a), 5);
    EXPECT_EQ(b.getSize(), 10);
    b.removeAt(1, 3);
    EXPECT_EQ(b.getSize(), 7);
    EXPECT_EQ(b[0], 1);
    EXPECT_EQ(b[1], 5);
    EXPECT_EQ(b[2], 1);
    b.removeAt(5, 100);  // clipped to the end
    EXPECT_EQ(b.getSize(), 5);
    b.setAtGrow(9, 42);
    EXPECT_EQ(b.getSize(), 10);
    EXPECT_EQ(b[8], 0);
    EXPECT_EQ(b[9], 42);
    Array<int> c;
    c.copyFrom(a);
    EXPECT_EQ(c.getSize(), 5);
    EXPECT_EQ(c[4], 5);
    // Self-append doubles the array even though the source moves while growing.
    c.append(c);
    EXPECT_EQ(c.getSize(), 10);
    EXPECT_EQ(c[9], 5);
    // Adding an element of the array itself survives the relocation.
    Array<int> d;
    d.add(11);
    for (int i = 0; i < 40; i++) d.add(d[0]);
    EXPECT_EQ(d[40], 11);
}

TEST(ArrayOps, ResizeFillsWithValueAndKeepsGrowBy) {
    Array<float> a(3, 1.5f);
    EXPECT_EQ(a.getSize(), 3);
    EXPECT_EQ(a[2], 1.5f);
    a.setSize(3, 50);
    a.resize(10, 2.5f);
    EXPECT_EQ(a.getGrowBy(), 50);
    EXPECT_EQ(a[2], 1.5f);
    EXPECT_EQ(a[9], 2.5f);
    a.resize(4, 0.0f);
    EXPECT_EQ(a.getSize(), 4);
}

TEST(ArrayOwnership, WrappingUntilRemoveAllOrAssignment) {
    int foreign[4] = {1, 2, 3, 4};
    {
        Array<int> w(foreign, 4, false);
        EXPECT_FALSE(w.isOwner());
        EXPECT_EQ(w.getData(), foreign);
        EXPECT_EQ(w.getCapacity(), 4);
        w[0] = 9;  // writes through
        w.removeAll();
        EXPECT_TRUE(w.isOwner());
        EXPECT_EQ(w.getData(), nullptr);
    }  // destruction frees nothing foreign
    EXPECT_EQ(foreign[0], 9);
    Array<int> w(foreign, 4, false), src(3, 7);
    w = src;
    EXPECT_TRUE(w.isOwner());
    EXPECT_NE(w.getData(), foreign);
    EXPECT_EQ(w.getSize(), 3);
    Array<int> copied(foreign, 4, true);
    EXPECT_TRUE(copied.isOwner());
    EXPECT_NE(copied.getData(), foreign);
    EXPECT_EQ(copied[3], 4);
    // Growing a wrapping array moves it into a block of its own.
    Array<int> grow(foreign, 4, false);
    grow.add(5);
    EXPECT_TRUE(grow.isOwner());
    EXPECT_EQ(foreign[3], 4);
    Array<int>& wAlias = w;  // self-assignment through an alias
    w = wAlias;
    EXPECT_EQ(w.getSize(), 3);
}

TEST(ArrayOwnership, NestedArraysAreReleased) {
    Array<Array<Point2_<int>>, const Array<Point2_<int>>&> rows;
    Array<Point2_<int>> row;
    for (int i = 0; i < 30; i++) row.add(Point2_<int>(i, -i));
    for (int i = 0; i < 50; i++) rows.add(row);  // relocated by raw copy many times
    EXPECT_EQ(rows[49][29].y, -29);
    rows.removeAt(3, 10);
    EXPECT_EQ(rows.getSize(), 40);
    rows.resize(5, row);
    rows.setSize(0);
}

TEST(AutoBuffer, AllocateAndResizeTransitions) {
    AutoBuffer<int, 1032> a;
    EXPECT_EQ(a.size(), 1032u);
    a.allocate(1000);
    EXPECT_EQ(a.size(), 1000u);
    int* fixed = a;

    AutoBuffer<int, 1032> b;
    b.resize(2000);
    int* heap = b;
    EXPECT_NE(heap, (int*)nullptr);
    EXPECT_EQ(b.size(), 2000u);
    b.resize(500);  // shrinking keeps the heap block
    EXPECT_EQ((int*)b, heap);
    b.allocate(1000);  // beyond 500: back to the fixed array with size N
    EXPECT_EQ(b.size(), 1032u);
    EXPECT_NE((int*)b, heap);
    (void)fixed;

    AutoBuffer<int, 8> c;
    for (int i = 0; i < 8; i++) c[i] = i + 1;
    c.resize(20);  // moves to the heap keeping the first 8 and zeroing the rest
    EXPECT_EQ(c[7], 8);
    EXPECT_EQ(c[8], 0);
    EXPECT_EQ(c[19], 0);
    AutoBuffer<int, 8> d(100);
    EXPECT_EQ(d.size(), 100u);
    AutoBuffer<int, 8> e(4);
    EXPECT_EQ(e.size(), 8u);
}

TEST(AutoBuffer, RangeElementsStartValueInitialised) {
    AutoBuffer<Range, 520> r;
    EXPECT_EQ(r[519].start, 0);  // value-initialised fixed elements
}

namespace {
struct Counted {
    static int alive;
    Counted() { alive++; }
    ~Counted() { alive--; }
};
int Counted::alive = 0;
}  // namespace

TEST(Ptr, CountsAndSelfAssignment) {
    {
        Ptr<Counted> p(new Counted);
        EXPECT_EQ(p.useCount(), 1);
        Ptr<Counted> q(p);
        EXPECT_EQ(p.useCount(), 2);
        Ptr<Counted>& pAlias = p;  // self-assignment through an alias
        p = pAlias;
        EXPECT_EQ(Counted::alive, 1);
        EXPECT_EQ(p.useCount(), 2);
        q.release();
        EXPECT_TRUE(q.empty());
        EXPECT_EQ(p.useCount(), 1);
        Ptr<Counted> r;
        r = p;
        p = Ptr<Counted>();
        EXPECT_EQ(Counted::alive, 1);
        EXPECT_EQ(r.useCount(), 1);
    }
    EXPECT_EQ(Counted::alive, 0);
    Ptr<Counted> none(nullptr);
    EXPECT_TRUE(none.empty());
    EXPECT_EQ(none.useCount(), 0);
}
