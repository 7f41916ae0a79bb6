// Features, feature sets, descriptors and their block files.
#include "tarvo/ip/features.h"

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "tarvo/bitops.h"
#include "tarvo/ip/integral.h"
#include "tarvo/saturate.h"
#include "tarvo/tarvoutil.h"

namespace tarvo {

namespace {

constexpr int kIdBytes = 32;
// The smallest block a set element can have: an identifier and a count.
constexpr long long kSmallestBlock = 36;

void put32(unsigned char* p, uint32_t v) {
    p[0] = (unsigned char)v;
    p[1] = (unsigned char)(v >> 8);
    p[2] = (unsigned char)(v >> 16);
    p[3] = (unsigned char)(v >> 24);
}
uint32_t get32(const unsigned char* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
int32_t gets32(const unsigned char* p) {
    const uint32_t u = get32(p);
    int32_t v;
    std::memcpy(&v, &u, 4);
    return v;
}
uint32_t floatBits(float f) {
    uint32_t u;
    std::memcpy(&u, &f, 4);
    return u;
}
float bitsFloat(uint32_t u) {
    float f;
    std::memcpy(&f, &u, 4);
    return f;
}

// True when the identifier in a 32-byte buffer, read up to its NUL, equals id.
bool idEquals(const unsigned char* buf, const char* id) {
    char text[kIdBytes + 1];
    std::memcpy(text, buf, kIdBytes);
    text[kIdBytes] = 0;
    return std::strcmp(text, id) == 0;
}

// Bytes the stream still holds, or -1 when it cannot tell.
long long bytesLeft(XFile* file) {
    const long size = file->size(), pos = file->tell();
    if (size < 0 || pos < 0) return -1;
    return size > pos ? (long long)size - pos : 0;
}

// Nesting depth of set operations on this thread; a guard counts one level.
thread_local int t_setDepth = 0;
struct DepthGuard {
    DepthGuard() { ++t_setDepth; }
    ~DepthGuard() { --t_setDepth; }
    bool ok() const { return t_setDepth <= kFeatureSetMaxDepth; }
};

// A copy of one set element that the copy owns alone: a descriptor's clone is
// the descriptor itself, so descriptors are copied by their copy constructor.
FeatureABC* copyElement(const FeatureABC* f) {
    if (!f) return nullptr;
    if (const FeatureDescriptor* d = dynamic_cast<const FeatureDescriptor*>(f))
        return new (std::nothrow) FeatureDescriptor(*d);
    return f->clone();
}

}  // namespace

// ---- FeatureABC

FeatureABC::FeatureABC() {
    std::memset(m_szID, 0, sizeof(m_szID));
}

FeatureABC::FeatureABC(const FeatureABC& other) {
    std::memcpy(m_szID, other.m_szID, sizeof(m_szID));
}

FeatureABC& FeatureABC::operator=(const FeatureABC& other) {
    std::memcpy(m_szID, other.m_szID, sizeof(m_szID));
    return *this;
}

FeatureABC::~FeatureABC() {}

void FeatureABC::setID(const char* id) {
    std::memset(m_szID, 0, sizeof(m_szID));
    if (id) std::strncpy(m_szID, id, sizeof(m_szID) - 1);
}

bool FeatureABC::write(const char* path) const {
    if (!path) return false;
    XFileDisk f;
    if (!f.open(path, "wb")) return false;
    write(&f);
    f.close();
    return true;
}

// ---- FeatureVec

FeatureVec::FeatureVec() {
    setID("gray");
}

FeatureVec::FeatureVec(const FeatureVec& other) : FeatureABC(other), Vec(other) {
    width = other.width;
    height = other.height;
    auto copyMat = [](const auto* m) {
        using M = std::remove_cv_t<std::remove_pointer_t<decltype(m)>>;
        M* c = nullptr;
        if (m) {
            c = new (std::nothrow) M();
            if (c) c->Mat::create(*m, true);
        }
        return c;
    };
    integralImage = copyMat(other.integralImage);
    tiltedIntegralImage = copyMat(other.tiltedIntegralImage);
    squaredIntegralImage = copyMat(other.squaredIntegralImage);
}

FeatureVec& FeatureVec::operator=(const FeatureVec& other) {
    if (this == &other) return *this;
    FeatureVec copy(other);
    release();
    FeatureABC::operator=(copy);
    Vec::operator=(copy);
    width = copy.width;
    height = copy.height;
    std::swap(integralImage, copy.integralImage);
    std::swap(tiltedIntegralImage, copy.tiltedIntegralImage);
    std::swap(squaredIntegralImage, copy.squaredIntegralImage);
    return *this;
}

FeatureVec::~FeatureVec() {
    release();
}

FeatureVec* FeatureVec::createFromID(const char* id) {
    if (!id || std::strcmp(id, "gray") != 0) return nullptr;
    return new (std::nothrow) FeatureVec();
}

FeatureABC* FeatureVec::clone() const {
    FeatureVec* c = new (std::nothrow) FeatureVec();
    if (!c) return nullptr;
    if (isValid()) c->Vec::create(*this, true);
    c->width = width;
    c->height = height;
    return c;
}

void FeatureVec::freeIntegrals() {
    delete integralImage;
    delete tiltedIntegralImage;
    delete squaredIntegralImage;
    integralImage = nullptr;
    tiltedIntegralImage = nullptr;
    squaredIntegralImage = nullptr;
}

void FeatureVec::release() {
    Vec::release();
    freeIntegrals();
    width = 0;
    height = 0;
}

int FeatureVec::read(XFile* file) {
    if (!file) return 0;
    unsigned char id[kIdBytes], size[8];
    if (file->read(id, kIdBytes, 1) != 1) return 0;
    if (file->read(size, 8, 1) != 1) return 0;
    // The sizes land before the identifier is checked: a caller that reads a
    // foreign block sees them, as the block layout puts them there.
    width = gets32(size);
    height = gets32(size + 4);
    if (!idEquals(id, "gray")) return 0;
    freeIntegrals();
    if (Vec::fromFile(file) <= 0) return 0;
    if (type() != MAT_Tfloat) {
        Vec::release();
        return 0;
    }
    return 1;
}

int FeatureVec::write(XFile* file) const {
    if (!file) return 0;
    if (file->write(m_szID, kIdBytes, 1) != 1) return 0;
    unsigned char size[8];
    put32(size, (uint32_t)width);
    put32(size + 4, (uint32_t)height);
    if (file->write(size, 8, 1) != 1) return 0;
    Vec::toFile(file);
    return 1;
}

float FeatureVec::dist(const FeatureABC* other) const {
    const FeatureVec* o = dynamic_cast<const FeatureVec*>(other);
    if (!o || type() != MAT_Tfloat || o->type() != MAT_Tfloat || o->length() < length() ||
        !isValid() || !o->isValid())
        return 1.0f;
    return Distance::distanceCorrelation(data.fl, o->data.fl, length());
}

void FeatureVec::getData(Vec* v) {
    if (v) v->create(*this, true);
}

void FeatureVec::calcIntegralImage(bool tilted, bool squared) {
    freeIntegrals();
    if (width < 1 || height < 1 || !isValid()) return;
    if ((long long)width * height > (long long)length()) return;
    Mat_<unsigned char> img(height, width);
    if (img.empty()) return;
    for (int y = 0; y < height; y++) {
        unsigned char* row = img.ptr<unsigned char>(y);
        for (int x = 0; x < width; x++)
            row[x] = (unsigned char)(truncInt(value(y * width + x)) & 0xFF);
    }
    integralImage = new (std::nothrow) Mat_<int>(height + 1, width + 1);
    if (tilted) tiltedIntegralImage = new (std::nothrow) Mat_<int>(height + 1, width + 1);
    if (squared) squaredIntegralImage = new (std::nothrow) Mat_<double>(height + 1, width + 1);
    if (!integralImage || (tilted && !tiltedIntegralImage) || (squared && !squaredIntegralImage)) {
        freeIntegrals();
        return;
    }
    if (tilted && squared)
        ip::integralImage(img, *integralImage, *tiltedIntegralImage, *squaredIntegralImage);
    else if (tilted)
        ip::integralTiltedImage(img, *integralImage, *tiltedIntegralImage);
    else if (squared)
        ip::integralImage(img, *integralImage, *squaredIntegralImage);
    else
        ip::integralImage(img, *integralImage);
}

// ---- FeatureSet

FeatureSet::FeatureSet() {
    setID("FSet");
}

FeatureSet::FeatureSet(const FeatureSet& other) : FeatureABC(other) {
    copyFrom(other);
}

FeatureSet& FeatureSet::operator=(const FeatureSet& other) {
    if (this == &other) return *this;
    FeatureSet copy(other);
    release();
    FeatureABC::operator=(copy);
    std::swap(m_features, copy.m_features);
    std::swap(m_count, copy.m_count);
    return *this;
}

FeatureSet::~FeatureSet() {
    release();
}

bool FeatureSet::copyFrom(const FeatureSet& other) {
    DepthGuard depth;
    if (!depth.ok()) return false;
    for (int i = 0; i < other.m_count; i++) {
        FeatureABC* c = copyElement(other.m_features[i]);
        if (other.m_features[i] && !c) return false;
        if (add(c) != i + 1) {
            delete c;
            return false;
        }
    }
    return true;
}

FeatureSet* FeatureSet::createFromID(const char* id) {
    if (!id || std::strcmp(id, "FSet") != 0) return nullptr;
    return new (std::nothrow) FeatureSet();
}

int FeatureSet::add(FeatureABC* f) {
    if (m_count == INT_MAX) return m_count;
    void* grown = std::realloc(m_features, sizeof(FeatureABC*) * (size_t(m_count) + 1));
    if (!grown) return m_count;
    m_features = static_cast<FeatureABC**>(grown);
    m_features[m_count++] = f;
    return m_count;
}

FeatureABC* FeatureSet::getAt(int i) {
    return i >= 0 && i < m_count ? m_features[i] : nullptr;
}

const FeatureABC* FeatureSet::getAt(int i) const {
    return i >= 0 && i < m_count ? m_features[i] : nullptr;
}

void FeatureSet::setAt(int i, FeatureABC* f) {
    if (i >= 0 && i < m_count) m_features[i] = f;
}

void FeatureSet::removeAt(int i) {
    if (i < 0 || i >= m_count) return;
    if (m_features[i]) {
        m_features[i]->release();
        delete m_features[i];
    }
    std::memmove(m_features + i, m_features + i + 1, sizeof(FeatureABC*) * size_t(m_count - i - 1));
    m_count--;
}

void FeatureSet::release() {
    if (!m_features) {
        m_count = 0;
        return;
    }
    for (int i = 0; i < m_count; i++)
        if (m_features[i]) {
            m_features[i]->release();
            delete m_features[i];
        }
    std::free(m_features);
    m_features = nullptr;
    m_count = 0;
}

FeatureABC* FeatureSet::clone() const {
    FeatureSet* c = new (std::nothrow) FeatureSet();
    if (!c) return nullptr;
    if (!c->copyFrom(*this)) {
        delete c;
        return nullptr;
    }
    return c;
}

int FeatureSet::dimension() const {
    DepthGuard depth;
    if (!depth.ok()) return -1;
    int sum = 0;
    for (int i = 0; i < m_count; i++) {
        if (!m_features[i]) continue;
        const int d = m_features[i]->dimension();
        if (d < 0) return -1;
        sum = d > INT_MAX - sum ? INT_MAX : sum + d;
    }
    return sum;
}

int FeatureSet::read(XFile* file) {
    release();
    if (!file) return 0;
    DepthGuard depth;
    if (!depth.ok()) return 0;
    unsigned char id[kIdBytes], cnt[4];
    if (file->read(id, kIdBytes, 1) != 1) return 0;
    if (!idEquals(id, "FSet")) return 0;
    if (file->read(cnt, 4, 1) != 1) return 0;
    const int32_t count = gets32(cnt);
    if (count < 0) return 0;
    const long long left = bytesLeft(file);
    FeatureFactory* factory = FeatureFactory::Instance();
    if (left >= 0) {
        // The stream knows its length: the count must fit in what is left.
        if ((long long)count * kSmallestBlock > left) return 0;
        if (count > 0) {
            m_features = static_cast<FeatureABC**>(std::calloc(size_t(count), sizeof(FeatureABC*)));
            if (!m_features) return 0;
        }
        m_count = count;
        for (int i = 0; i < count; i++) {
            const long before = file->tell();
            m_features[i] = factory ? factory->readFeature(file) : nullptr;
            // A failure that did not move the stream would repeat for every
            // later slot: those stay null at once.
            if (!m_features[i] && file->tell() == before) break;
        }
        return 1;
    }
    // Unknown length: slots grow as elements arrive; the first failure ends the read.
    for (int i = 0; i < count; i++) {
        FeatureABC* f = factory ? factory->readFeature(file) : nullptr;
        if (!f || add(f) != i + 1) {
            delete f;
            return 0;
        }
    }
    return 1;
}

int FeatureSet::write(XFile* file) const {
    if (!file) return 0;
    DepthGuard depth;
    if (!depth.ok()) return 0;
    if (file->write(m_szID, kIdBytes, 1) != 1) return 0;
    unsigned char cnt[4];
    put32(cnt, (uint32_t)m_count);
    if (file->write(cnt, 4, 1) != 1) return 0;
    for (int i = 0; i < m_count; i++)
        if (m_features[i]) m_features[i]->write(file);
    return 1;
}

// ---- FeatureDescriptor

FeatureDescriptor::FeatureDescriptor() {
    setID("descriptor");
}

FeatureDescriptor::FeatureDescriptor(int n) {
    char id[kIdBytes];
    std::snprintf(id, sizeof(id), "descriptor %d", n);
    setID(id);
    if (n > 0) {
        data = static_cast<float*>(std::calloc(size_t(n), sizeof(float)));
        if (data) m_dimension = n;
    }
}

FeatureDescriptor::FeatureDescriptor(const FeatureDescriptor& other)
    : BlobABC(other), FeatureABC(other) {
    x = other.x;
    y = other.y;
    scale = other.scale;
    orientation = other.orientation;
    response = other.response;
    m_reserved = other.m_reserved;
    if (other.data && other.m_dimension > 0) {
        data = static_cast<float*>(std::malloc(sizeof(float) * size_t(other.m_dimension)));
        if (data) {
            std::memcpy(data, other.data, sizeof(float) * size_t(other.m_dimension));
            m_dimension = other.m_dimension;
        }
    }
}

FeatureDescriptor& FeatureDescriptor::operator=(const FeatureDescriptor& other) {
    if (this == &other) return *this;
    FeatureDescriptor copy(other);
    release();
    FeatureABC::operator=(copy);
    x = copy.x;
    y = copy.y;
    scale = copy.scale;
    orientation = copy.orientation;
    response = copy.response;
    m_reserved = copy.m_reserved;
    std::swap(data, copy.data);
    std::swap(m_dimension, copy.m_dimension);
    return *this;
}

FeatureDescriptor::~FeatureDescriptor() {
    release();
}

FeatureABC* FeatureDescriptor::clone() const {
    return const_cast<FeatureDescriptor*>(this);
}

void FeatureDescriptor::release() {
    std::free(data);
    std::free(m_pExtra);
    data = nullptr;
    m_pExtra = nullptr;
}

int FeatureDescriptor::read(XFile* file) {
    std::free(data);
    data = nullptr;
    if (!file) return 0;
    unsigned char f[24];
    for (int k = 0; k < 6; k++)
        if (file->read(f + 4 * k, 4, 1) != 1) return 0;
    const int32_t d = gets32(f + 8);
    if (d < 0) return 0;
    const long long left = bytesLeft(file);
    if (left >= 0 && (long long)d * 4 > left) return 0;
    x = bitsFloat(get32(f));
    y = bitsFloat(get32(f + 4));
    scale = bitsFloat(get32(f + 12));
    orientation = bitsFloat(get32(f + 16));
    response = bitsFloat(get32(f + 20));
    m_dimension = d;
    if (d == 0) return 1;
    // A stream of unknown length is read in bounded chunks, so a lying count
    // costs no more memory than the data that really arrives.
    const size_t chunk = size_t(1) << 16;
    size_t have = 0, cap = 0;
    float* buf = nullptr;
    while (have < size_t(d)) {
        const size_t want = size_t(d) - have < chunk ? size_t(d) - have : chunk;
        if (have + want > cap) {
            const size_t ncap = left >= 0 ? size_t(d) : have + want;
            float* grown = static_cast<float*>(std::realloc(buf, ncap * sizeof(float)));
            if (!grown) break;
            buf = grown;
            cap = ncap;
        }
        unsigned char raw[4 * 1024];
        size_t done = 0;
        while (done < want) {
            const size_t n = want - done < 1024 ? want - done : 1024;
            if (file->read(raw, 4, (unsigned)n) != n) break;
            for (size_t i = 0; i < n; i++) buf[have + done + i] = bitsFloat(get32(raw + 4 * i));
            done += n;
        }
        if (done != want) break;
        have += want;
    }
    if (have != size_t(d)) {
        std::free(buf);
        m_dimension = 0;
        return 0;
    }
    data = buf;
    return 1;
}

int FeatureDescriptor::write(XFile* file) const {
    if (!file) return 0;
    if (m_dimension > 0 && !data) return 0;
    unsigned char f[24];
    put32(f, floatBits(x));
    put32(f + 4, floatBits(y));
    put32(f + 8, (uint32_t)m_dimension);
    put32(f + 12, floatBits(scale));
    put32(f + 16, floatBits(orientation));
    put32(f + 20, floatBits(response));
    file->write(f, 24, 1);
    unsigned char raw[4 * 1024];
    for (int i = 0; i < m_dimension; i += 1024) {
        const int n = m_dimension - i < 1024 ? m_dimension - i : 1024;
        for (int k = 0; k < n; k++) put32(raw + 4 * k, floatBits(data[i + k]));
        file->write(raw, 4, (unsigned)n);
    }
    return 1;
}

Point2_<int> FeatureDescriptor::Point(int i) {
    (void)i;
    return Point2_<int>(tarvoutil::round(x), tarvoutil::round(y));
}

// ---- FeatureFactory

FeatureFactory* FeatureFactory::m_pFeatureFactory = nullptr;

std::mutex& FeatureFactory::instanceLock() {
    static std::mutex lock;
    return lock;
}

FeatureFactory::FeatureFactory() {
    m_nReserved1 = 0;
    m_nReserved2 = 0;
}

FeatureFactory::~FeatureFactory() {
    release();
    std::lock_guard<std::mutex> hold(instanceLock());
    if (m_pFeatureFactory == this) m_pFeatureFactory = nullptr;
}

FeatureFactory* FeatureFactory::Instance() {
    std::lock_guard<std::mutex> hold(instanceLock());
    if (!m_pFeatureFactory) {
        FeatureFactory* f = new (std::nothrow) FeatureFactory();
        if (!f) return nullptr;
        m_pFeatureFactory = f;
        f->init();
    }
    return m_pFeatureFactory;
}

void FeatureFactory::init() {
    addFeature(new (std::nothrow) FeatureVec());
    addFeature(new (std::nothrow) FeatureSet());
}

void FeatureFactory::release() {
    for (int i = 0; i < m_prototypes.getSize(); i++) {
        FeatureABC* p = static_cast<FeatureABC*>(m_prototypes.getAt(i));
        if (p) {
            p->release();
            delete p;
        }
    }
    m_prototypes.removeAll();
    m_nReserved1 = 0;
    m_nReserved2 = -1;
}

void FeatureFactory::addFeature(FeatureABC* f) {
    if (f) add(f, String(f->getID()));
}

FeatureABC* FeatureFactory::readFeature(XFile* file) {
    if (!file) return nullptr;
    const long start = file->tell();
    unsigned char id[kIdBytes + 1];
    if (file->read(id, kIdBytes, 1) != 1) return nullptr;
    id[kIdBytes] = 0;
    if (start < 0 || !file->seek(int(start), SEEK_SET)) return nullptr;
    const int index = find(String(reinterpret_cast<const char*>(id)));
    FeatureABC* proto = getPrototype(index);
    if (!proto) return nullptr;
    FeatureABC* f = proto->clone();
    if (!f) return nullptr;
    if (f->read(file) == 0) {
        delete f;
        return nullptr;
    }
    return f;
}

FeatureABC* FeatureFactory::readFeature(const char* path) {
    if (!path) return nullptr;
    XFileDisk f;
    if (!f.open(path, "rb")) return nullptr;
    FeatureABC* r = readFeature(&f);
    f.close();
    return r;
}

// ---- FeatureDescriptorArray

FeatureDescriptorArray::~FeatureDescriptorArray() {}

void FeatureDescriptorArray::drawTo(Mat& img) {
    for (int i = 0; i < getSize(); i++) {
        const FeatureDescriptor* d = static_cast<const FeatureDescriptor*>(getAt(i));
        if (!d) continue;
        img.drawCross(Point2_<int>(tarvoutil::round(d->x), tarvoutil::round(d->y)), 2,
                      Point4_<unsigned char>(255, 0, 0, 0), 3, 0.8f);
    }
}

void FeatureDescriptorArray::releaseAllMemory() {
    for (int i = 0; i < getSize(); i++) delete static_cast<FeatureDescriptor*>(getAt(i));
    removeAll();
}

// ---- IRExtractorABC

int IRExtractorABC::extract(const Mat& img, PtrList& out) {
    FeatureDescriptorArray found;
    extract(img, found);
    out.create();
    for (int i = 0; i < found.getSize(); i++) {
        // The list stores regions as BlobABC*: freePtrList deletes them through that base.
        BlobABC* b = static_cast<FeatureDescriptor*>(found.getAt(i));
        if (out.add(b) < 0) delete b;
    }
    found.removeAll();
    return out.count();
}

void IRExtractorABC::freePtrList(PtrList& list) {
    while (list.count() > 0) {
        BlobABC* b = static_cast<BlobABC*>(list.data(0));
        if (b) {
            b->release();
            delete b;
        }
        list.remove(0);
    }
    list.release();
}

// ---- interest regions

void addInterestRegions(const _tagInterestRegion* src, int n, _tagInterestRegion** list,
                        int* count) {
    if (!src || n <= 0 || !list || !count || *count < 0) return;
    if (*count > INT_MAX - n) return;
    const size_t total = size_t(*count) + size_t(n);
    void* grown = *count == 0 ? std::malloc(total * sizeof(_tagInterestRegion))
                              : std::realloc(*list, total * sizeof(_tagInterestRegion));
    if (!grown) return;
    if (*count == 0 && *list) std::free(*list);
    *list = static_cast<_tagInterestRegion*>(grown);
    std::memcpy(*list + *count, src, size_t(n) * sizeof(_tagInterestRegion));
    *count += n;
}

void releaseInterestRegions(_tagInterestRegion** list, int* count) {
    if (!list || !count) return;
    if (*list)
        for (int i = 0; i < *count; i++) std::free((*list)[i].data);
    std::free(*list);
    *list = nullptr;
    *count = 0;
}

}  // namespace tarvo
