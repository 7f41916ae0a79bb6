// Pointer containers and the intrusive list family.
#include "tarvo/containers.h"

#include <algorithm>
#include <deque>
#include <new>
#include <unordered_map>
#include <vector>

namespace tarvo {

PtrArray::~PtrArray() {}

int PtrArray::find(const void* p) const {
    for (int i = 0; i < getSize(); i++)
        if (getAt(i) == p) return i;
    return -1;
}

// ---------------------------------------------------------------- PtrList

struct PtrList::Impl {
    std::vector<void*> items;
};

PtrList::PtrList() : m_impl(new Impl) {}
PtrList::~PtrList() {
    delete m_impl;
}
PtrList::PtrList(const PtrList& o) : m_impl(new Impl(*o.m_impl)) {}
PtrList& PtrList::operator=(const PtrList& o) {
    if (&o != this) m_impl->items = o.m_impl->items;
    return *this;
}
void PtrList::create() {
    m_impl->items.clear();
}
int PtrList::add(const void* p, int pos) {
    int n = (int)m_impl->items.size();
    if (pos < 0 || pos > n) pos = n;
    m_impl->items.insert(m_impl->items.begin() + pos, const_cast<void*>(p));
    return pos;
}
int PtrList::count() const {
    return (int)m_impl->items.size();
}
void* PtrList::data(int i) const {
    return i >= 0 && i < count() ? m_impl->items[(size_t)i] : nullptr;
}
bool PtrList::setPosition(int from, int to) {
    int n = count();
    if (from < 0 || from >= n) return false;
    to = std::max(0, std::min(to, n - 1));
    void* p = m_impl->items[(size_t)from];
    m_impl->items.erase(m_impl->items.begin() + from);
    m_impl->items.insert(m_impl->items.begin() + to, p);
    return true;
}
bool PtrList::remove(int i) {
    if (i < 0 || i >= count()) return false;
    m_impl->items.erase(m_impl->items.begin() + i);
    return true;
}
void PtrList::release() {
    m_impl->items.clear();
}

// ---------------------------------------------------------------- PtrQueue

struct PtrQueue::Impl {
    std::deque<void*> items;
};

PtrQueue::PtrQueue() : m_impl(new Impl) {}
PtrQueue::~PtrQueue() {
    delete m_impl;
}
void PtrQueue::push(const void* p) {
    m_impl->items.push_back(const_cast<void*>(p));
}
void* PtrQueue::pop() {
    if (m_impl->items.empty()) return nullptr;
    void* p = m_impl->items.front();
    m_impl->items.pop_front();
    return p;
}
void* PtrQueue::front() const {
    return m_impl->items.empty() ? nullptr : m_impl->items.front();
}
int PtrQueue::count() const {
    return (int)m_impl->items.size();
}
void PtrQueue::release() {
    m_impl->items.clear();
}

// ---------------------------------------------------------------- PtrHash

struct PtrHash::Impl {
    std::unordered_map<const void*, void*> map;
};

PtrHash::PtrHash() : m_impl(new Impl) {}
PtrHash::~PtrHash() {
    delete m_impl;
}
void PtrHash::set(const void* key, const void* value) {
    m_impl->map[key] = const_cast<void*>(value);
}
void* PtrHash::get(const void* key) const {
    auto it = m_impl->map.find(key);
    return it == m_impl->map.end() ? nullptr : it->second;
}
bool PtrHash::contains(const void* key) const {
    return m_impl->map.count(key) != 0;
}
bool PtrHash::remove(const void* key) {
    return m_impl->map.erase(key) != 0;
}
int PtrHash::count() const {
    return (int)m_impl->map.size();
}
void PtrHash::release() {
    m_impl->map.clear();
}

// ---------------------------------------------------------------- ListNode / List

ListNode::~ListNode() {
    detach();
}

void ListNode::detach() {
    if (m_parent) m_parent->unlink(this);
}

List::~List() {
    deleteAll();
}

void List::unlink(ListNode* node) {
    if (!node || node->m_parent != this) return;
    if (node->m_prev)
        node->m_prev->m_next = node->m_next;
    else
        m_first = node->m_next;
    if (node->m_next)
        node->m_next->m_prev = node->m_prev;
    else
        m_last = node->m_prev;
    node->m_parent = nullptr;
    node->m_prev = node->m_next = nullptr;
}

void List::addFirst(ListNode* node) {
    if (!node) return;
    node->detach();
    node->m_parent = this;
    node->m_prev = nullptr;
    node->m_next = m_first;
    if (m_first)
        m_first->m_prev = node;
    else
        m_last = node;
    m_first = node;
}

void List::addLast(ListNode* node) {
    if (!node) return;
    node->detach();
    node->m_parent = this;
    node->m_next = nullptr;
    node->m_prev = m_last;
    if (m_last)
        m_last->m_next = node;
    else
        m_first = node;
    m_last = node;
}

void List::insertAfter(ListNode* pos, ListNode* node) {
    if (!pos || !node || pos == node || pos->m_parent != this) return;
    node->detach();
    node->m_parent = this;
    node->m_prev = pos;
    node->m_next = pos->m_next;
    if (pos->m_next)
        pos->m_next->m_prev = node;
    else
        m_last = node;
    pos->m_next = node;
}

void List::insertBefore(ListNode* pos, ListNode* node) {
    if (!pos || !node || pos == node || pos->m_parent != this) return;
    node->detach();
    node->m_parent = this;
    node->m_next = pos;
    node->m_prev = pos->m_prev;
    if (pos->m_prev)
        pos->m_prev->m_next = node;
    else
        m_first = node;
    pos->m_prev = node;
}

int List::count() const {
    int n = 0;
    for (ListNode* p = m_first; p; p = p->m_next) n++;
    return n;
}

void List::deleteAll() {
    while (m_first) {
        ListNode* p = m_first;
        unlink(p);
        delete p;
    }
}

void List::detachAll() {
    while (m_first) unlink(m_first);
}

void List::sort(int (*cmp)(const ListNode*, const ListNode*)) {
    if (!cmp || !m_first) return;
    std::vector<ListNode*> nodes;
    for (ListNode* p = m_first; p; p = p->m_next) nodes.push_back(p);
    std::stable_sort(nodes.begin(), nodes.end(),
                     [cmp](const ListNode* a, const ListNode* b) { return cmp(a, b) < 0; });
    for (size_t i = 0; i < nodes.size(); i++) {
        nodes[i]->m_prev = i ? nodes[i - 1] : nullptr;
        nodes[i]->m_next = i + 1 < nodes.size() ? nodes[i + 1] : nullptr;
    }
    m_first = nodes.front();
    m_last = nodes.back();
}

void List::addListFirst(List& other) {
    if (&other == this) return;
    // Walk backwards so the moved nodes keep their order.
    while (other.m_last) addFirst(other.m_last);
}

void List::addListLast(List& other) {
    if (&other == this) return;
    while (other.m_first) addLast(other.m_first);
}

// ---------------------------------------------------------------- Tree

Tree::~Tree() {
    deleteAll();
    detach();
}

Tree* Tree::parent() const {
    return m_parent ? dynamic_cast<Tree*>(m_parent) : nullptr;
}

bool Tree::isSelfOrAncestor(const Tree* node) const {
    for (const Tree* t = this; t; t = t->parent())
        if (t == node) return true;
    return false;
}

void Tree::addFirst(Tree* child) {
    if (child && !isSelfOrAncestor(child)) List::addFirst(child);
}

void Tree::addLast(Tree* child) {
    if (child && !isSelfOrAncestor(child)) List::addLast(child);
}

void Tree::insertNext(Tree* node) {
    Tree* p = parent();
    if (m_parent && node && node != this && !(p && p->isSelfOrAncestor(node)))
        m_parent->insertAfter(this, node);
}

void Tree::insertPrev(Tree* node) {
    Tree* p = parent();
    if (m_parent && node && node != this && !(p && p->isSelfOrAncestor(node)))
        m_parent->insertBefore(this, node);
}

}  // namespace tarvo
