// The sequence store: storages, sequences across blocks, writers, readers,
// sets and tree links.
#include <vector>

#include <gtest/gtest.h>

#include "tarvo/seq.h"

namespace {

using namespace tarvo;

// A storage with small blocks, so that a few hundred ints span many blocks.
struct Store {
    MemStorage* s = createMemStorage(1024);
    ~Store() { releaseMemStorage(&s); }
};

std::vector<int> contents(const Sequence* seq) {
    std::vector<int> v((size_t)seq->total);
    if (!v.empty()) cvtSeqToArray(seq, v.data());
    return v;
}

int blockCount(const Sequence* seq) {
    if (!seq->first) return 0;
    int n = 0;
    const SeqBlock* b = seq->first;
    do {
        n++;
        b = b->next;
    } while (b != seq->first);
    return n;
}

TEST(SeqStore, PushPopAndIndexAcrossBlocks) {
    Store st;
    Sequence* seq = createSeq(0, sizeof(Sequence), sizeof(int), st.s);
    ASSERT_NE(seq, nullptr);
    EXPECT_EQ(seq->flags & SEQ_MAGIC_MASK, SEQ_MAGIC_VAL);
    for (int i = 0; i < 1000; i++) ASSERT_NE(seqPush(seq, &i), nullptr);
    ASSERT_EQ(seq->total, 1000);
    EXPECT_GT(blockCount(seq), 3);
    for (int i = 0; i < 1000; i += 37) EXPECT_EQ(*(int*)getSeqElem(seq, i), i);
    EXPECT_EQ(*(int*)getSeqElem(seq, -1), 999);
    EXPECT_EQ(*(int*)getSeqElem(seq, -1000), 0);
    EXPECT_EQ(getSeqElem(seq, -1001), nullptr);
    EXPECT_EQ(getSeqElem(seq, 1000), nullptr);

    int v = -1;
    for (int i = 999; i >= 500; i--) {
        ASSERT_TRUE(seqPop(seq, &v));
        ASSERT_EQ(v, i);
    }
    // pushing again after pops that emptied blocks keeps the order intact
    for (int i = 500; i < 800; i++) seqPush(seq, &i);
    std::vector<int> c = contents(seq);
    ASSERT_EQ(c.size(), 800u);
    for (int i = 0; i < 800; i++) ASSERT_EQ(c[i], i);
    for (int i = 0; i < 800; i++) ASSERT_TRUE(seqPop(seq));
    EXPECT_FALSE(seqPop(seq, &v));
    EXPECT_EQ(seq->first, nullptr);
    EXPECT_EQ(getSeqElem(seq, 0), nullptr);
}

TEST(SeqStore, PopMultiSpansBlocksAtBothEnds) {
    Store st;
    Sequence* seq = createSeq(0, sizeof(Sequence), sizeof(int), st.s);
    for (int i = 0; i < 600; i++) seqPush(seq, &i);
    std::vector<int> out(300, -1);
    seqPopMulti(seq, out.data(), 250, false);
    for (int i = 0; i < 250; i++) ASSERT_EQ(out[i], 350 + i);
    seqPopMulti(seq, out.data(), 200, true);
    for (int i = 0; i < 200; i++) ASSERT_EQ(out[i], i);
    ASSERT_EQ(seq->total, 150);
    std::vector<int> c = contents(seq);
    for (int i = 0; i < 150; i++) ASSERT_EQ(c[i], 200 + i);
    for (int i = 0; i < 150; i++) ASSERT_EQ(*(int*)getSeqElem(seq, i), 200 + i);
    // more than there is: clipped
    seqPopMulti(seq, nullptr, 1000, true);
    EXPECT_EQ(seq->total, 0);
    seqPopMulti(seq, nullptr, -3, false);
    int x = 7;
    ASSERT_NE(seqPush(seq, &x), nullptr);
    EXPECT_EQ(*(int*)getSeqElem(seq, 0), 7);
}

TEST(SeqStore, WriterAndReadersBothWays) {
    Store st;
    SeqWriter w;
    startWriteSeq(0, sizeof(Sequence), sizeof(int), st.s, &w);
    ASSERT_NE(w.seq, nullptr);
    for (int i = 0; i < 700; i++) ASSERT_TRUE(writeSeqElem(&w, &i));
    Sequence* seq = endWriteSeq(&w);
    ASSERT_EQ(seq->total, 700);
    EXPECT_GT(blockCount(seq), 1);

    SeqReader r;
    startReadSeq(seq, &r);
    EXPECT_EQ(*(int*)r.prev_elem, 699);  // the previous element starts at the last one
    for (int i = 0; i < 700; i++) {
        ASSERT_EQ(getSeqReaderPos(&r), i);
        ASSERT_EQ(*(int*)r.ptr, i);
        nextSeqElem(&r);
    }
    EXPECT_EQ(*(int*)r.ptr, 0);  // wrapped round
    startReadSeq(seq, &r, true);
    for (int i = 699; i >= 0; i--) {
        ASSERT_EQ(*(int*)r.ptr, i);
        prevSeqElem(&r);
    }
    EXPECT_EQ(*(int*)r.ptr, 699);
    setSeqReaderPos(&r, 345);
    EXPECT_EQ(*(int*)r.ptr, 345);
    setSeqReaderPos(&r, -5, true);
    EXPECT_EQ(*(int*)r.ptr, 340);
    setSeqReaderPos(&r, -1);
    EXPECT_EQ(*(int*)r.ptr, 699);

    // appending continues the same sequence
    startAppendToSeq(seq, &w);
    for (int i = 700; i < 710; i++) writeSeqElem(&w, &i);
    endWriteSeq(&w);
    EXPECT_EQ(seq->total, 710);
    EXPECT_EQ(*(int*)getSeqElem(seq, 705), 705);
}

TEST(SeqStore, RestoreDropsHalfWrittenSequence) {
    Store st;
    Sequence* keep = createSeq(0, sizeof(Sequence), sizeof(int), st.s);
    for (int i = 0; i < 50; i++) seqPush(keep, &i);
    MemStoragePos pos;
    saveMemStoragePos(st.s, &pos);
    SeqWriter w;
    startWriteSeq(0, sizeof(Sequence), sizeof(int), st.s, &w);
    for (int i = 0; i < 2000; i++) writeSeqElem(&w, &i);  // several storage blocks
    restoreMemStoragePos(st.s, &pos);
    EXPECT_EQ(st.s->top, pos.top);
    EXPECT_EQ(st.s->free_space, pos.free_space);
    // the space is reused and the earlier sequence is intact
    Sequence* next = createSeq(0, sizeof(Sequence), sizeof(int), st.s);
    for (int i = 0; i < 2000; i++) seqPush(next, &i);
    std::vector<int> c = contents(keep);
    for (int i = 0; i < 50; i++) ASSERT_EQ(c[i], i);
    c = contents(next);
    for (int i = 0; i < 2000; i++) ASSERT_EQ(c[i], i);
}

TEST(SeqStore, ChildStoragesGiveBlocksBack) {
    Store st;
    MemStorage* child = createChildMemStorage(st.s);
    ASSERT_NE(child, nullptr);
    Sequence* seq = createSeq(0, sizeof(Sequence), sizeof(int), child);
    for (int i = 0; i < 2000; i++) seqPush(seq, &i);
    int childBlocks = 0;
    for (MemBlock* b = child->bottom; b; b = b->next) childBlocks++;
    EXPECT_GT(childBlocks, 3);
    EXPECT_EQ(st.s->bottom, nullptr);  // the parent holds nothing yet
    clearMemStorage(child);
    int parentBlocks = 0;
    for (MemBlock* b = st.s->bottom; b; b = b->next) parentBlocks++;
    EXPECT_EQ(parentBlocks, childBlocks);
    // a second child borrows the returned blocks instead of new ones
    MemStorage* child2 = createChildMemStorage(st.s);
    Sequence* seq2 = createSeq(0, sizeof(Sequence), sizeof(int), child2);
    for (int i = 0; i < 2000; i++) seqPush(seq2, &i);
    int left = 0;
    for (MemBlock* b = st.s->bottom; b; b = b->next) left++;
    EXPECT_LT(left, parentBlocks);
    releaseMemStorage(&child2);
    EXPECT_EQ(child2, nullptr);
    releaseMemStorage(&child);
    EXPECT_EQ(createChildMemStorage(nullptr), nullptr);
}

TEST(SeqStore, RefusesImpossibleSizes) {
    Store st;
    EXPECT_EQ(createMemStorage(-1), nullptr);
    EXPECT_EQ(createSeq(0, sizeof(Sequence) - 1, 4, st.s), nullptr);
    EXPECT_EQ(createSeq(0, sizeof(Sequence), 0, st.s), nullptr);
    EXPECT_EQ(createSeq(0, sizeof(Sequence), 4, nullptr), nullptr);
    EXPECT_EQ(createSeq(0, sizeof(Sequence), 4096, st.s), nullptr);  // over a block
    EXPECT_EQ(memStorageAlloc(st.s, 4096), nullptr);
    EXPECT_EQ(memStorageAlloc(st.s, -8), nullptr);
    EXPECT_EQ(sliceLength(Slice(0, Slice::WHOLE_SEQ_END), nullptr), 0);
    Sequence* seq = createSeq(0, sizeof(Sequence), 4, st.s);
    for (int i = 0; i < 10; i++) seqPush(seq);
    EXPECT_EQ(sliceLength(Slice(0, Slice::WHOLE_SEQ_END), seq), 10);
    EXPECT_EQ(sliceLength(Slice(2, 5), seq), 3);
    EXPECT_EQ(sliceLength(Slice(-3, 10), seq), 3);
    EXPECT_EQ(sliceLength(Slice(5, 2), seq), 0);
    EXPECT_EQ(getSeqElem(nullptr, 0), nullptr);
    seqPopMulti(nullptr, nullptr, 3, false);
    EXPECT_FALSE(seqPop(nullptr));
}

TEST(SeqStore, SetsAndTreeLinks) {
    Store st;
    Set* set = createSet(0, sizeof(Set), 20, st.s);
    ASSERT_NE(set, nullptr);
    std::vector<char*> addr;
    for (int i = 0; i < 200; i++) {
        char e[20] = {};
        e[0] = (char)i;
        char* p = static_cast<char*>(setAdd(set, e));
        ASSERT_NE(p, nullptr);
        addr.push_back(p);
    }
    EXPECT_EQ(set->active_count, 200);
    for (int i = 0; i < 200; i++) EXPECT_EQ(addr[i][0], (char)i);  // addresses stay valid
    EXPECT_EQ(createSet(0, sizeof(Sequence), 20, st.s), nullptr);

    Sequence frame;
    Sequence* a = createSeq(0, sizeof(Sequence), 4, st.s);
    Sequence* b = createSeq(0, sizeof(Sequence), 4, st.s);
    Sequence* c = createSeq(0, sizeof(Sequence), 4, st.s);
    Sequence* d = createSeq(0, sizeof(Sequence), 4, st.s);
    insertNodeIntoTree(a, &frame, &frame);
    insertNodeIntoTree(b, &frame, &frame);
    insertNodeIntoTree(c, a, &frame);
    insertNodeIntoTree(d, a, &frame);
    // siblings in insertion order; top-level nodes have no parent link
    EXPECT_EQ(frame.v_next, a);
    EXPECT_EQ(a->h_next, b);
    EXPECT_EQ(b->h_prev, a);
    EXPECT_EQ(b->h_next, nullptr);
    EXPECT_EQ(a->v_prev, nullptr);
    EXPECT_EQ(a->v_next, c);
    EXPECT_EQ(c->h_next, d);
    EXPECT_EQ(d->h_prev, c);
    EXPECT_EQ(c->v_prev, a);
    EXPECT_EQ(d->v_prev, a);
}

}  // namespace
