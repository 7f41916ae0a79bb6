// Pointer containers (PtrArray, PtrList, PtrQueue, PtrHash) and the
// intrusive doubly-linked family (ListNode, List, Tree). None of them owns
// what its void* elements point to.
#pragma once

#include "tarvo/array.h"
#include "tarvo/export.h"
#include "tarvo/tstring.h"

namespace tarvo {

// An array of void* with the growth rule of Array.
class TARVO_BASE_EXPORTS PtrArray : public Array<void*, void*> {
public:
    PtrArray() {}
    PtrArray(const PtrArray& o) : Array<void*, void*>(o) {}
    PtrArray& operator=(const PtrArray& o) {
        Array<void*, void*>::operator=(o);
        return *this;
    }
    ~PtrArray() override;
    // Index of the first element equal to p, or -1.
    int find(const void* p) const;
};

// A list of void* kept in insertion order.
class TARVO_BASE_EXPORTS PtrList {
public:
    PtrList();
    ~PtrList();
    PtrList(const PtrList& o);
    PtrList& operator=(const PtrList& o);
    // Starts an empty list (releasing any content).
    void create();
    // Inserts p at index pos (clamped; -1 appends); returns its index.
    int add(const void* p, int pos = -1);
    int count() const;
    // Element i, null outside the list.
    void* data(int i) const;
    // Moves the element at index from to index to (both clamped); false when from is outside.
    bool setPosition(int from, int to);
    // Removes element i; false when outside.
    bool remove(int i);
    // Empties the list.
    void release();

private:
    struct Impl;
    Impl* m_impl;
};

// First-in first-out queue of void*.
class TARVO_BASE_EXPORTS PtrQueue {
public:
    PtrQueue();
    ~PtrQueue();
    PtrQueue(const PtrQueue&) = delete;
    PtrQueue& operator=(const PtrQueue&) = delete;
    void push(const void* p);
    // Removes and returns the front, null when empty.
    void* pop();
    void* front() const;
    int count() const;
    bool isEmpty() const { return count() == 0; }
    void release();

private:
    struct Impl;
    Impl* m_impl;
};

// Hash map from void* keys to void* values.
class TARVO_BASE_EXPORTS PtrHash {
public:
    PtrHash();
    ~PtrHash();
    PtrHash(const PtrHash&) = delete;
    PtrHash& operator=(const PtrHash&) = delete;
    void set(const void* key, const void* value);
    // The value stored under key, null when absent.
    void* get(const void* key) const;
    bool contains(const void* key) const;
    bool remove(const void* key);
    int count() const;
    void release();

private:
    struct Impl;
    Impl* m_impl;
};

class List;

// A node of an intrusive doubly-linked list: parent list, previous and next
// node, all null while detached. The destructor detaches.
class TARVO_BASE_EXPORTS ListNode {
public:
    ListNode() : m_parent(nullptr), m_prev(nullptr), m_next(nullptr) {}
    virtual ~ListNode();
    ListNode(const ListNode&) = delete;
    ListNode& operator=(const ListNode&) = delete;
    // Unlinks the node from its list (nothing when detached).
    void detach();
    List* parentList() const { return m_parent; }
    ListNode* prevNode() const { return m_prev; }
    ListNode* nextNode() const { return m_next; }

protected:
    friend class List;
    List* m_parent;
    ListNode* m_prev;
    ListNode* m_next;
};

// The list: first and last node. Linking a node first detaches it from any
// list it is in. The destructor deletes the nodes (they must come from new).
class TARVO_BASE_EXPORTS List {
public:
    List() : m_first(nullptr), m_last(nullptr) {}
    virtual ~List();
    List(const List&) = delete;
    List& operator=(const List&) = delete;
    void addFirst(ListNode* node);
    void addLast(ListNode* node);
    // Links node directly after (before) pos, which must be in this list.
    void insertAfter(ListNode* pos, ListNode* node);
    void insertBefore(ListNode* pos, ListNode* node);
    bool hasChild(const ListNode* node) const { return node && node->m_parent == this; }
    bool isEmpty() const { return m_first == nullptr; }
    int count() const;
    ListNode* firstNode() const { return m_first; }
    ListNode* lastNode() const { return m_last; }
    // Detaches and deletes every node.
    void deleteAll();
    // Detaches every node without deleting it.
    void detachAll();
    // Stable sort by a comparison returning negative, zero or positive.
    void sort(int (*cmp)(const ListNode*, const ListNode*));
    // Moves all nodes of other to the front (back) of this list, in order.
    void addListFirst(List& other);
    void addListLast(List& other);

protected:
    friend class ListNode;
    void unlink(ListNode* node);
    ListNode* m_first;
    ListNode* m_last;
};

// A node in its parent's child list and a list of its own children.
class TARVO_BASE_EXPORTS Tree : public ListNode, public List {
public:
    Tree() {}
    ~Tree() override;
    // The owning tree, null for a root.
    Tree* parent() const;
    Tree* first() const { return static_cast<Tree*>(m_first); }
    Tree* last() const { return static_cast<Tree*>(m_last); }
    Tree* next() const { return static_cast<Tree*>(m_next); }
    Tree* prev() const { return static_cast<Tree*>(m_prev); }
    // Links child first (last) among the children; a tree is never linked
    // under itself or one of its descendants.
    void addFirst(Tree* child);
    void addLast(Tree* child);
    // Links node as the next (previous) sibling of this tree; nothing for a root.
    void insertNext(Tree* node);
    void insertPrev(Tree* node);
    // Moves the children of other to the front (back) of this tree's children.
    void AddTreeFirst(Tree& other) {
        if (!isSelfOrAncestor(&other)) List::addListFirst(other);
    }
    void AddTreeLast(Tree& other) {
        if (!isSelfOrAncestor(&other)) List::addListLast(other);
    }
    void sort(int (*cmp)(const ListNode*, const ListNode*)) { List::sort(cmp); }

private:
    // True when node is this tree or one of its ancestors.
    bool isSelfOrAncestor(const Tree* node) const;
};

}  // namespace tarvo
