// Pointer containers and the intrusive list and tree links.
#include <vector>

#include <gtest/gtest.h>

#include "tarvo/containers.h"

using namespace tarvo;

namespace {

struct Item : ListNode {
    int v;
    explicit Item(int x) : v(x) {}
};

struct Node : Tree {
    int v;
    explicit Node(int x) : v(x) {}
};

// Every link of the list is consistent: parents, both directions, ends.
::testing::AssertionResult consistent(const List& l) {
    const ListNode* prev = nullptr;
    int n = 0;
    for (const ListNode* p = l.firstNode(); p; p = p->nextNode()) {
        if (p->parentList() != &l) return ::testing::AssertionFailure() << "parent at " << n;
        if (p->prevNode() != prev) return ::testing::AssertionFailure() << "prev at " << n;
        prev = p;
        if (++n > 10000) return ::testing::AssertionFailure() << "cycle";
    }
    if (l.lastNode() != prev) return ::testing::AssertionFailure() << "last";
    return ::testing::AssertionSuccess();
}

std::vector<int> values(const List& l) {
    std::vector<int> v;
    for (const ListNode* p = l.firstNode(); p; p = p->nextNode())
        v.push_back(static_cast<const Item*>(p)->v);
    return v;
}

bool detached(const ListNode& n) {
    return !n.parentList() && !n.prevNode() && !n.nextNode();
}

}  // namespace

TEST(PtrContainers, ArrayListQueueHash) {
    int a = 1, b = 2, c = 3;
    PtrArray arr;
    arr.add(&a);
    arr.add(&b);
    EXPECT_EQ(arr.find(&b), 1);
    EXPECT_EQ(arr.find(&c), -1);
    arr.removeAt(0);
    EXPECT_EQ(arr[0], &b);

    PtrList list;
    list.add(&a);
    list.add(&c);
    EXPECT_EQ(list.add(&b, 1), 1);
    EXPECT_EQ(list.data(1), &b);
    EXPECT_TRUE(list.setPosition(0, 2));
    EXPECT_EQ(list.data(2), &a);
    EXPECT_FALSE(list.remove(5));
    EXPECT_EQ(list.data(9), nullptr);
    list.release();
    EXPECT_EQ(list.count(), 0);

    PtrQueue q;
    q.push(&a);
    q.push(&b);
    EXPECT_EQ(q.pop(), &a);
    EXPECT_EQ(q.pop(), &b);
    EXPECT_EQ(q.pop(), nullptr);

    PtrHash h;
    h.set(&a, &c);
    EXPECT_EQ(h.get(&a), &c);
    EXPECT_EQ(h.get(&b), nullptr);
    EXPECT_TRUE(h.remove(&a));
    EXPECT_EQ(h.count(), 0);
}

TEST(IntrusiveList, EveryInsertCaseKeepsLinksConsistent) {
    List l;
    Item* a = new Item(1);
    l.addFirst(a);  // empty list
    EXPECT_TRUE(consistent(l));
    Item* b = new Item(2);
    l.addLast(b);  // one element, no neighbours
    Item* c = new Item(0);
    l.addFirst(c);
    Item* d = new Item(9);
    l.insertAfter(b, d);  // after the last
    Item* e = new Item(5);
    l.insertBefore(c, e);  // before the first
    Item* f = new Item(7);
    l.insertAfter(a, f);  // in the middle
    EXPECT_TRUE(consistent(l));
    EXPECT_EQ(values(l), (std::vector<int>{5, 0, 1, 7, 2, 9}));
    EXPECT_TRUE(l.hasChild(f));
    EXPECT_EQ(l.count(), 6);
}

TEST(IntrusiveList, EveryDetachCaseKeepsLinksConsistent) {
    List l;
    Item* n[5];
    for (int i = 0; i < 5; i++) l.addLast(n[i] = new Item(i));
    n[0]->detach();  // first
    EXPECT_TRUE(detached(*n[0]));
    n[4]->detach();  // last
    n[2]->detach();  // middle
    EXPECT_TRUE(consistent(l));
    EXPECT_EQ(values(l), (std::vector<int>{1, 3}));
    n[1]->detach();
    n[3]->detach();  // only element
    EXPECT_TRUE(l.isEmpty());
    EXPECT_EQ(l.lastNode(), nullptr);
    n[3]->detach();  // already detached: nothing happens
    for (Item* p : n) delete p;
}

TEST(IntrusiveList, MovingBetweenListsAndSorting) {
    List a, b;
    Item* x = new Item(3);
    a.addLast(x);
    b.addLast(x);  // moves, does not duplicate
    EXPECT_TRUE(a.isEmpty());
    EXPECT_TRUE(consistent(b));
    b.addLast(new Item(1));
    b.addLast(new Item(2));
    a.addLast(new Item(8));
    a.addListFirst(b);
    EXPECT_TRUE(b.isEmpty());
    EXPECT_EQ(values(a), (std::vector<int>{3, 1, 2, 8}));
    b.addLast(new Item(0));
    a.addListLast(b);
    EXPECT_EQ(values(a), (std::vector<int>{3, 1, 2, 8, 0}));
    a.sort([](const ListNode* p, const ListNode* q) {
        return static_cast<const Item*>(p)->v - static_cast<const Item*>(q)->v;
    });
    EXPECT_EQ(values(a), (std::vector<int>{0, 1, 2, 3, 8}));
    EXPECT_TRUE(consistent(a));
    // A node deleted while linked unlinks itself.
    delete a.firstNode()->nextNode();
    EXPECT_EQ(values(a), (std::vector<int>{0, 2, 3, 8}));
    EXPECT_TRUE(consistent(a));
}

TEST(Tree, ParentsSiblingsAndCycles) {
    Node root(0);
    Node* c1 = new Node(1);
    Node* c2 = new Node(2);
    root.addLast(c1);
    root.addLast(c2);
    Node* g = new Node(3);
    c1->addFirst(g);
    EXPECT_EQ(g->parent(), c1);
    EXPECT_EQ(c1->parent(), &root);
    EXPECT_EQ(root.parent(), nullptr);
    Node* s = new Node(4);
    c1->insertNext(s);
    EXPECT_EQ(c1->next(), s);
    EXPECT_EQ(s->next(), c2);
    EXPECT_EQ(c2->prev(), s);
    Node* p = new Node(5);
    c1->insertPrev(p);
    EXPECT_EQ(root.first(), p);
    EXPECT_TRUE(consistent(root));
    // No tree goes under itself or a descendant.
    g->addLast(&root);
    c1->addLast(c1);
    EXPECT_EQ(root.parent(), nullptr);
    EXPECT_EQ(c1->parent(), &root);
    root.insertNext(g);  // a root has no siblings
    EXPECT_EQ(g->parent(), c1);
    // Moving a subtree keeps the grandchild with its parent.
    c2->addLast(c1);
    EXPECT_EQ(c1->parent(), c2);
    EXPECT_EQ(g->parent(), c1);
    EXPECT_TRUE(consistent(root));
    EXPECT_TRUE(consistent(*c2));
    Node other(9);
    other.AddTreeLast(root);  // all of root's children move
    EXPECT_TRUE(root.isEmpty());
    EXPECT_EQ(p->parent(), &other);
    c2->AddTreeFirst(other);  // other is c2's parent: refused
    EXPECT_EQ(c2->parent(), &other);
}
