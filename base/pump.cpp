// Pumps, their pins and connections, and the Pipe that runs a graph of them.
#include "tarvo/pump.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "tarvo/mat.h"

namespace tarvo {

namespace {

// The pins at the other end of one pin's connections.
typedef std::vector<Pin*> LinkList;

LinkList* linksOf(const PumpData& d) {
    return static_cast<LinkList*>(d.links);
}

int indexOf(const std::vector<PumpABC*>& v, const PumpABC* p) {
    for (size_t i = 0; i < v.size(); i++)
        if (v[i] == p) return int(i);
    return -1;
}

int indexOf(const PtrArray& a, const void* p) {
    for (int i = 0; i < a.getSize(); i++)
        if (a.getAt(i) == p) return i;
    return -1;
}

// The working pumps of a list of pumps (RequestAdd of each), without repeats.
std::vector<PumpABC*> workingPumps(const PtrArray& pumps) {
    std::vector<PumpABC*> out;
    for (int i = 0; i < pumps.getSize(); i++) {
        PumpABC* p = static_cast<PumpABC*>(pumps.getAt(i));
        if (!p) continue;
        PtrArray list;
        p->RequestAdd(list);
        for (int k = 0; k < list.getSize(); k++) {
            PumpABC* w = static_cast<PumpABC*>(list.getAt(k));
            if (w && indexOf(out, w) < 0) out.push_back(w);
        }
    }
    return out;
}

// Kahn's algorithm over the connections between the given pumps: each pump
// after every pump that feeds one of its inputs. Ties keep the list order, so
// the result is deterministic. False when a cycle leaves pumps unordered.
bool topoOrder(const std::vector<PumpABC*>& pumps, std::vector<PumpABC*>& order) {
    const size_t n = pumps.size();
    std::vector<std::vector<int>> next(n);
    std::vector<int> indeg(n, 0);
    for (size_t i = 0; i < n; i++) {
        PumpABC* p = pumps[i];
        for (int pin = 0; pin < p->getParameterNum(); pin++) {
            Pin* own = p->getPin(pin);
            if (!own || !own->isInput()) continue;
            for (int k = 0; k < p->getLinkCount(pin); k++) {
                Pin* up = p->getLinkedPin(pin, k);
                int j = up ? indexOf(pumps, up->pump()) : -1;
                if (j < 0) continue;  // fed from outside the set
                next[size_t(j)].push_back(int(i));
                indeg[i]++;
            }
        }
    }
    order.clear();
    std::vector<bool> done(n, false);
    // n is small (a handful of pumps): a quadratic scan keeps ties in list order.
    for (size_t round = 0; round < n; round++) {
        size_t pick = n;
        for (size_t i = 0; i < n; i++)
            if (!done[i] && indeg[i] == 0) {
                pick = i;
                break;
            }
        if (pick == n) {
            order.clear();
            return false;
        }
        done[pick] = true;
        order.push_back(pumps[pick]);
        for (int j : next[pick]) indeg[size_t(j)]--;
    }
    return true;
}

// Re-creates, among clones, the connections that the originals have between
// themselves. originals[i] was cloned into clones[i] (null when it could not be).
void copyLinks(const std::vector<PumpABC*>& originals, const std::vector<PumpABC*>& clones) {
    for (size_t i = 0; i < originals.size(); i++) {
        PumpABC* o = originals[i];
        if (!clones[i]) continue;
        for (int pin = 0; pin < o->getParameterNum(); pin++) {
            Pin* own = o->getPin(pin);
            if (!own || !own->isInput() || own->pump() != o) continue;
            for (int k = 0; k < o->getLinkCount(pin); k++) {
                Pin* up = o->getLinkedPin(pin, k);
                int j = up ? indexOf(originals, up->pump()) : -1;
                if (j >= 0 && clones[size_t(j)])
                    clones[i]->connect(pin, clones[size_t(j)], up->index());
            }
        }
    }
}

}  // namespace

// ---------------------------------------------------------------- Pin

Pin::Pin() : m_index(0), m_type(""), m_data(nullptr), m_pump(nullptr), m_link(LinkFree) {}

Pin::~Pin() {}

// ---------------------------------------------------------------- PumpABC

PumpABC::PumpABC() : m_nParam(0) {
    for (int i = 0; i < PUMP_MAX_PINS; i++) {
        m_linkType[i] = LinkNone;
        m_data[i].pin = nullptr;
        m_data[i].links = nullptr;
    }
}

PumpABC::PumpABC(const PumpABC& other) : m_nParam(other.m_nParam) {
    for (int i = 0; i < PUMP_MAX_PINS; i++) {
        m_linkType[i] = other.m_linkType[i];
        m_data[i].pin = nullptr;
        m_data[i].links = nullptr;
    }
    resetLinks();
}

PumpABC::~PumpABC() {
    PumpRelease();
}

void PumpABC::PumpRelease() {
    // Owned results live on the pins: free them before the pins go. Inside a
    // destructor this reaches the class being destroyed, whose own destructor
    // has already released its data, so nothing is freed twice.
    releaseData();
    // Drop the far ends first so no pump keeps a pointer to a pin freed here.
    for (int i = 0; i < PUMP_MAX_PINS; i++) {
        LinkList* l = linksOf(m_data[i]);
        if (!l || !m_data[i].pin) continue;
        for (Pin* peer : *l)
            if (peer && peer->pump()) peer->pump()->removeLink(peer->index(), m_data[i].pin);
        l->clear();
    }
    for (int i = 0; i < PUMP_MAX_PINS; i++) {
        delete m_data[i].pin;
        delete linksOf(m_data[i]);
        m_data[i].pin = nullptr;
        m_data[i].links = nullptr;
    }
}

void PumpABC::resetLinks() {
    PumpRelease();
    if (m_nParam < 0) m_nParam = 0;
    if (m_nParam > PUMP_MAX_PINS) m_nParam = PUMP_MAX_PINS;
    for (int i = 0; i < m_nParam; i++) {
        Pin* p = new (std::nothrow) Pin();
        if (!p) continue;
        p->setPump(this, i);
        p->setLink(LinkType(m_linkType[i]));
        m_data[i].pin = p;
    }
}

void PumpABC::setPins(int n, const int* types) {
    m_nParam = n < 0 ? 0 : (n > PUMP_MAX_PINS ? PUMP_MAX_PINS : n);
    for (int i = 0; i < PUMP_MAX_PINS; i++) m_linkType[i] = i < m_nParam ? types[i] : LinkNone;
    resetLinks();
}

Pin* PumpABC::getPin(int pin) {
    if (pin < 0 || pin >= m_nParam || pin >= PUMP_MAX_PINS) return nullptr;
    return m_data[pin].pin;
}

LinkType PumpABC::getLinkType(int pin) const {
    if (pin < 0 || pin >= m_nParam || pin >= PUMP_MAX_PINS) return LinkNone;
    return LinkType(m_linkType[pin]);
}

int PumpABC::getLinkCount(int pin) {
    Pin* p = getPin(pin);
    if (!p || !p->pump()) return 0;
    PumpABC* owner = p->pump();
    LinkList* l = linksOf(owner->m_data[p->index()]);
    return l ? int(l->size()) : 0;
}

Pin* PumpABC::getLinkedPin(int pin, int i) {
    Pin* p = getPin(pin);
    if (!p || !p->pump()) return nullptr;
    LinkList* l = linksOf(p->pump()->m_data[p->index()]);
    if (!l || i < 0 || size_t(i) >= l->size()) return nullptr;
    return (*l)[size_t(i)];
}

bool PumpABC::isConnected(int pin, LinkType t) {
    Pin* p = getPin(pin);
    return p && p->link() == t && getLinkCount(pin) > 0;
}

bool PumpABC::isConnected(int pin) {
    return getLinkCount(pin) > 0;
}

void PumpABC::addLink(int pin, Pin* peer) {
    LinkList* l = linksOf(m_data[pin]);
    if (!l) {
        l = new LinkList();
        m_data[pin].links = l;
    }
    l->push_back(peer);
}

void PumpABC::removeLink(int pin, const Pin* peer) {
    LinkList* l = linksOf(m_data[pin]);
    if (!l) return;
    for (size_t i = 0; i < l->size(); i++)
        if ((*l)[i] == peer) {
            l->erase(l->begin() + long(i));
            return;
        }
}

bool PumpABC::connect(int pin, PumpABC* other, int otherPin) {
    if (!other) return false;
    Pin* a = getPin(pin);
    Pin* b = other->getPin(otherPin);
    if (!a || !b || a == b || !a->pump() || !b->pump()) return false;
    Pin* in = a->isInput() ? a : (b->isInput() ? b : nullptr);
    Pin* out = a->link() == LinkOut ? a : (b->link() == LinkOut ? b : nullptr);
    if (!in || !out || in == out) return false;
    PumpABC* inPump = in->pump();
    PumpABC* outPump = out->pump();
    // An input takes one upstream: replace what it had.
    inPump->PumpABC::disconnect(in->index());
    inPump->addLink(in->index(), out);
    outPump->addLink(out->index(), in);
    return true;
}

bool PumpABC::disconnect(int pin) {
    Pin* p = getPin(pin);
    if (!p || !p->pump()) return false;
    PumpABC* owner = p->pump();
    LinkList* l = linksOf(owner->m_data[p->index()]);
    if (!l) return true;
    for (Pin* peer : *l)
        if (peer && peer->pump()) peer->pump()->removeLink(peer->index(), p);
    l->clear();
    return true;
}

bool PumpABC::RequestJoin(int& pin, PumpABC* other) {
    pin = -1;
    if (!other || other == this) return false;
    int in = -1, out = -1;
    for (int i = 0; i < getParameterNum() && in < 0; i++) {
        Pin* p = getPin(i);
        if (p && p->isInput() && getLinkCount(i) == 0) in = i;
    }
    for (int i = 0; i < other->getParameterNum() && out < 0; i++) {
        Pin* p = other->getPin(i);
        if (p && p->link() == LinkOut) out = i;
    }
    if (in < 0 || out < 0 || !connect(in, other, out)) return false;
    pin = in;
    return true;
}

int PumpABC::RequestAdd(PtrArray& list) {
    list.add(this);
    return 1;
}

void* PumpABC::getDataEx(int pin) {
    Pin* p = getPin(pin);
    if (!p) return nullptr;
    if (p->isInput()) {
        Pin* up = getLinkedPin(pin, 0);
        if (up) return up->data();
    }
    return p->data();
}

String PumpABC::getDataTypeEx(int pin) {
    Pin* p = getPin(pin);
    if (!p) return String("");
    if (p->isInput()) {
        Pin* up = getLinkedPin(pin, 0);
        if (up) return up->type();
    }
    return p->type();
}

void PumpABC::regDataEx(int pin, void* data, const String& type) {
    Pin* p = getPin(pin);
    if (!p) return;
    p->setData(data);
    p->setType(type);
}

// ---------------------------------------------------------------- BranchPump

BranchPump::BranchPump() {
    static const int kTypes[3] = {LinkIn, LinkOut, LinkOut};
    setPins(3, kTypes);
}

BranchPump::~BranchPump() {
    PumpRelease();
}

PumpABC* BranchPump::New() {
    return new (std::nothrow) BranchPump();
}

PumpABC* BranchPump::clone() const {
    return new (std::nothrow) BranchPump(*this);
}

PumpRet BranchPump::pumpProcess() {
    void* d = getDataEx(0);
    String t = getDataTypeEx(0);
    for (int i = 1; i < getParameterNum(); i++) regDataEx(i, d, t);
    return 1;
}

bool BranchPump::connect(int pin, PumpABC* other, int otherPin) {
    return PumpABC::connect(pin, other, otherPin);
}

bool BranchPump::RequestJoin(int& pin, PumpABC* other) {
    return PumpABC::RequestJoin(pin, other);
}

// ---------------------------------------------------------------- MatToImagePump

MatToImagePump::MatToImagePump() {
    static const int kTypes[2] = {LinkIn, LinkOut};
    setPins(2, kTypes);
}

MatToImagePump::~MatToImagePump() {
    MatToImagePump::releaseData();
    PumpRelease();
}

PumpABC* MatToImagePump::New() {
    return new (std::nothrow) MatToImagePump();
}

PumpABC* MatToImagePump::clone() const {
    return new (std::nothrow) MatToImagePump(*this);
}

PumpRet MatToImagePump::pumpProcess() {
    const Mat* in = static_cast<const Mat*>(getDataEx(0));
    Mat* out = new (std::nothrow) Mat();
    if (!out) return 1;
    if (in && in != out) out->create(*in, true);
    releaseData();
    regDataEx(1, out, String("image"));
    return 1;
}

void MatToImagePump::releaseData() {
    Pin* p = getPin(1);
    if (!p || !p->data()) return;
    delete static_cast<Mat*>(p->data());
    p->setData(nullptr);
}

// ---------------------------------------------------------------- CompoundPump

CompoundPump::CompoundPump() : m_flag(0) {}

CompoundPump::CompoundPump(const CompoundPump& other) : PumpABC(), m_flag(0) {
    std::vector<PumpABC*> originals, clones;
    for (int i = 0; i < other.getPumpCount(); i++) {
        PumpABC* o = other.getAt(i);
        PumpABC* c = o ? o->clone() : nullptr;
        originals.push_back(o);
        clones.push_back(c);
        m_arrays[0].add(c);  // keeps indices aligned; a null entry is skipped everywhere
    }
    copyLinks(originals, clones);
    for (int i = 0; i < other.m_nParam; i++) {
        int idx = indexOf(other.m_arrays[0], other.m_arrays[2].getAt(i));
        int innerPin = int(reinterpret_cast<intptr_t>(other.m_arrays[3].getAt(i)));
        if (idx >= 0) exportPin(idx, innerPin);
    }
}

CompoundPump::~CompoundPump() {
    // Inner connections to pumps outside go first, then the inner pumps.
    for (int i = 0; i < m_arrays[0].getSize(); i++)
        delete static_cast<PumpABC*>(m_arrays[0].getAt(i));
    for (auto& a : m_arrays) a.removeAll();
    m_nParam = 0;
    PumpRelease();
}

PumpABC* CompoundPump::New() {
    return new (std::nothrow) CompoundPump();
}

PumpABC* CompoundPump::clone() const {
    return new (std::nothrow) CompoundPump(*this);
}

int CompoundPump::add(PumpABC* pump) {
    if (!pump || pump == this || indexOf(m_arrays[0], pump) >= 0) return -1;
    m_flag = 0;
    return m_arrays[0].add(pump);
}

int CompoundPump::exportPin(int index, int innerPin) {
    PumpABC* inner = getAt(index);
    if (!inner || !inner->getPin(innerPin) || m_nParam >= PUMP_MAX_PINS) return -1;
    m_arrays[2].add(inner);
    m_arrays[3].add(reinterpret_cast<void*>(intptr_t(innerPin)));
    m_linkType[m_nParam] = inner->getLinkType(innerPin);
    return m_nParam++;
}

PumpABC* CompoundPump::getAt(int i) const {
    if (i < 0 || i >= m_arrays[0].getSize()) return nullptr;
    return static_cast<PumpABC*>(m_arrays[0].getAt(i));
}

int CompoundPump::getPumpCount() const {
    return m_arrays[0].getSize();
}

bool CompoundPump::resolve(int pin, PumpABC*& inner, int& innerPin) const {
    if (pin < 0 || pin >= m_nParam || pin >= m_arrays[2].getSize()) return false;
    inner = static_cast<PumpABC*>(m_arrays[2].getAt(pin));
    innerPin = int(reinterpret_cast<intptr_t>(m_arrays[3].getAt(pin)));
    return inner != nullptr;
}

PumpRet CompoundPump::pumpProcess() {
    std::vector<PumpABC*> order;
    if (!topoOrder(workingPumps(m_arrays[0]), order)) {
        m_flag = 0;
        return 0;
    }
    m_arrays[1].removeAll();
    for (PumpABC* p : order) m_arrays[1].add(p);
    m_flag = 1;
    for (PumpABC* p : order) p->pumpProcess();
    return 1;
}

Pin* CompoundPump::getPin(int pin) {
    PumpABC* inner;
    int ip;
    return resolve(pin, inner, ip) ? inner->getPin(ip) : nullptr;
}

bool CompoundPump::isConnected(int pin, LinkType t) {
    PumpABC* inner;
    int ip;
    return resolve(pin, inner, ip) && inner->isConnected(ip, t);
}

bool CompoundPump::isConnected(int pin) {
    PumpABC* inner;
    int ip;
    return resolve(pin, inner, ip) && inner->isConnected(ip);
}

bool CompoundPump::connect(int pin, PumpABC* other, int otherPin) {
    PumpABC* inner;
    int ip;
    return resolve(pin, inner, ip) && inner->connect(ip, other, otherPin);
}

bool CompoundPump::disconnect(int pin) {
    PumpABC* inner;
    int ip;
    return resolve(pin, inner, ip) && inner->disconnect(ip);
}

void CompoundPump::releaseData() {
    for (int i = 0; i < getPumpCount(); i++)
        if (PumpABC* p = getAt(i)) p->releaseData();
}

bool CompoundPump::RequestJoin(int& pin, PumpABC* other) {
    return PumpABC::RequestJoin(pin, other);
}

int CompoundPump::RequestAdd(PtrArray& list) {
    int n = 0;
    for (int i = 0; i < getPumpCount(); i++)
        if (PumpABC* p = getAt(i)) n += p->RequestAdd(list);
    return n;
}

// ---------------------------------------------------------------- Pipe

Pipe::Pipe() : m_flag(0) {}

Pipe::Pipe(const Pipe& other) : m_flag(0) {
    std::vector<PumpABC*> originals, clones;
    for (int i = 0; i < other.getPumpCount(); i++) {
        PumpABC* o = other.getAt(i);
        PumpABC* c = o ? o->clone() : nullptr;
        originals.push_back(o);
        clones.push_back(c);
    }
    copyLinks(originals, clones);
    for (PumpABC* c : clones)
        if (c) m_arrays[0].add(c);
}

Pipe::~Pipe() {
    for (int i = 0; i < m_arrays[0].getSize(); i++)
        delete static_cast<PumpABC*>(m_arrays[0].getAt(i));
    for (auto& a : m_arrays) a.removeAll();
}

bool Pipe::buildOrder() {
    for (int i = 1; i < 4; i++) m_arrays[i].removeAll();
    std::vector<PumpABC*> work = workingPumps(m_arrays[0]);
    std::vector<PumpABC*> order;
    if (!topoOrder(work, order)) {
        m_flag = PipeCycle;
        return false;
    }
    for (PumpABC* p : order) {
        m_arrays[1].add(p);
        bool fed = false, feeds = false;
        for (int pin = 0; pin < p->getParameterNum(); pin++) {
            Pin* own = p->getPin(pin);
            if (!own) continue;
            for (int k = 0; k < p->getLinkCount(pin); k++) {
                Pin* peer = p->getLinkedPin(pin, k);
                if (!peer || indexOf(work, peer->pump()) < 0) continue;
                if (own->isInput()) fed = true;
                if (own->link() == LinkOut) feeds = true;
            }
        }
        if (!fed) m_arrays[2].add(p);
        if (!feeds) m_arrays[3].add(p);
    }
    m_flag = PipeOrdered;
    return true;
}

int Pipe::add(PumpABC* pump) {
    if (!pump || indexOf(m_arrays[0], pump) >= 0) return -1;
    m_flag = 0;
    return m_arrays[0].add(pump);
}

bool Pipe::append(PumpABC* pump) {
    PumpABC* last = getAt(getPumpCount() - 1);
    if (add(pump) < 0) return false;
    if (!last) return true;
    int pin;
    return pump->RequestJoin(pin, last);
}

bool Pipe::run() {
    // Connections may have changed since the last run: order again every time.
    if (!buildOrder()) return false;
    for (int i = 0; i < m_arrays[1].getSize(); i++)
        static_cast<PumpABC*>(m_arrays[1].getAt(i))->pumpProcess();
    return true;
}

void Pipe::releaseData() {
    std::vector<PumpABC*> work = workingPumps(m_arrays[0]);
    for (PumpABC* p : work) p->releaseData();
}

PumpABC* Pipe::getAt(int i) const {
    if (i < 0 || i >= m_arrays[0].getSize()) return nullptr;
    return static_cast<PumpABC*>(m_arrays[0].getAt(i));
}

int Pipe::getPumpCount() const {
    return m_arrays[0].getSize();
}

PumpABC* Pipe::getOrderAt(int i) const {
    if (i < 0 || i >= m_arrays[1].getSize()) return nullptr;
    return static_cast<PumpABC*>(m_arrays[1].getAt(i));
}

PumpABC* Pipe::detachAt(int i) {
    PumpABC* p = getAt(i);
    if (!p) return nullptr;
    m_arrays[0].removeAt(i, 1);
    for (int k = 1; k < 4; k++) m_arrays[k].removeAll();
    m_flag = 0;
    return p;
}

void Pipe::detachAll() {
    for (auto& a : m_arrays) a.removeAll();
    m_flag = 0;
}

// ---------------------------------------------------------------- Algorithm

namespace {
void copyText(char (&dst)[256], const char* src) {
    std::memset(dst, 0, sizeof(dst));
    if (!src) return;
    size_t n = std::strlen(src);
    if (n > sizeof(dst) - 1) n = sizeof(dst) - 1;
    std::memcpy(dst, src, n);
}
}  // namespace

Algorithm::Algorithm(const char* id, const char* description) {
    copyText(m_szID, id);
    copyText(m_szDesc, description);
}

Algorithm::Algorithm(const Algorithm& other) : Object(other) {
    std::memcpy(m_szID, other.m_szID, sizeof(m_szID));
    std::memcpy(m_szDesc, other.m_szDesc, sizeof(m_szDesc));
    for (int i = 0; i < other.m_params.getSize(); i++) m_params.add(other.m_params.getAt(i));
}

Algorithm& Algorithm::operator=(const Algorithm& other) {
    if (this == &other) return *this;
    std::memcpy(m_szID, other.m_szID, sizeof(m_szID));
    std::memcpy(m_szDesc, other.m_szDesc, sizeof(m_szDesc));
    m_params.removeAll();
    for (int i = 0; i < other.m_params.getSize(); i++) m_params.add(other.m_params.getAt(i));
    return *this;
}

}  // namespace tarvo
