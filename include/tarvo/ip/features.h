// The feature framework: feature values, descriptors and sets, their files,
// the factory that reads them back, and the bases of the detectors.
//
// Ownership is by value: an object owns what it frees, and a copy owns copies
// of everything (a FeatureSet copies its elements, a FeatureVec its integral
// images, a FeatureDescriptor its values). Files are little-endian on any host;
// counts and sizes read from a file are checked against what the stream still
// holds before anything is allocated.
#pragma once

#include <mutex>

#include "tarvo/containers.h"
#include "tarvo/export.h"
#include "tarvo/mat.h"
#include "tarvo/matptrlist.h"
#include "tarvo/object.h"
#include "tarvo/pump.h"
#include "tarvo/tstring.h"

namespace tarvo {

// Sets nested deeper than this fail to read, write, clone or measure: a
// hostile file must not exhaust the stack.
constexpr int kFeatureSetMaxDepth = 64;

// Root of the features: an identifier of at most 31 characters (no '_') in a
// 32-byte buffer, and the operations every feature offers.
class TARVO_EXPORTS FeatureABC {
public:
    virtual ~FeatureABC();
    // A new feature of the same class holding a copy of this one (see each class).
    virtual FeatureABC* clone() const = 0;
    // Reads the block of this class; 1 on success, 0 on failure.
    virtual int read(XFile* file) = 0;
    // Writes the block of this class; 1 on success, 0 on failure.
    virtual int write(XFile* file) const = 0;
    // Frees what the feature holds; the identifier stays.
    virtual void release() = 0;
    // Raw data of the feature, null when it has none.
    virtual Vec* getBinData() { return nullptr; }
    // Ignores its argument and returns 1.
    virtual int setBinData(void* data) {
        (void)data;
        return 1;
    }
    // Distance to another feature (see each class).
    virtual float dist(const FeatureABC* other) const = 0;
    // Number of values the feature holds.
    virtual int dimension() const = 0;
    // Copies the feature's values into v where the class has some; else nothing.
    virtual void getData(Vec& v) { (void)v; }
    // True only for sets.
    virtual bool isMultiple() const { return false; }

    // Writes the feature to a new file at path; false when the file cannot be
    // opened (the result of the write itself is not reported).
    bool write(const char* path) const;
    // The identifier, a NUL-terminated string.
    const char* getID() const { return m_szID; }

protected:
    FeatureABC();
    FeatureABC(const FeatureABC& other);
    FeatureABC& operator=(const FeatureABC& other);
    // Sets the identifier (truncated to 31 characters, the rest zeroed).
    void setID(const char* id);

    char m_szID[32];
};

// A dense vector of floats holding an image of width x height row by row, with
// optional integral images of that image. Identifier "gray".
class TARVO_EXPORTS FeatureVec : public FeatureABC, public Vec {
public:
    FeatureVec();
    // Deep copies: vector, sizes and integral images.
    FeatureVec(const FeatureVec& other);
    FeatureVec& operator=(const FeatureVec& other);
    ~FeatureVec() override;

    // A new FeatureVec when id is exactly "gray", else null.
    static FeatureVec* createFromID(const char* id);

    // A new FeatureVec with a copy of the vector, width and height (no integral images).
    FeatureABC* clone() const override;
    // Reads identifier, width, height, then the vector record; the sizes are
    // stored before the identifier is checked. A vector that is not float fails.
    int read(XFile* file) override;
    int write(XFile* file) const override;
    using FeatureABC::write;
    // Frees the vector and the integral images; width and height become 0.
    void release() override;
    // 1 - correlation over this vector's length; 1 for null, another class, a
    // shorter or a non-float vector.
    float dist(const FeatureABC* other) const override;
    int dimension() const override { return length(); }
    using FeatureABC::getData;
    // Fills v with a copy of this vector.
    virtual void getData(Vec* v);

    // Builds the integral image of the width x height image the vector holds,
    // and with `tilted` / `squared` the tilted and squared ones. Values are
    // truncated to integers and cut to their low 8 bits (300 gives 44, NaN 0).
    // Nothing is made when a side is below 1 or the image needs more values
    // than the vector has; a second call frees the earlier tables.
    void calcIntegralImage(bool tilted, bool squared);

    int width = 0;
    int height = 0;
    Mat_<int>* integralImage = nullptr;
    Mat_<int>* tiltedIntegralImage = nullptr;
    Mat_<double>* squaredIntegralImage = nullptr;

private:
    void freeIntegrals();
};

// An owning list of features; sets nest. Identifier "FSet".
class TARVO_EXPORTS FeatureSet : public FeatureABC {
public:
    FeatureSet();
    // Deep copies: every element is copied.
    FeatureSet(const FeatureSet& other);
    FeatureSet& operator=(const FeatureSet& other);
    ~FeatureSet() override;

    // A new FeatureSet when id is exactly "FSet", else null.
    static FeatureSet* createFromID(const char* id);

    // Appends f (the set takes ownership) and returns the new count. When
    // memory runs out the count is returned unchanged and f stays the caller's.
    int add(FeatureABC* f);
    // Element i; null outside the set.
    FeatureABC* getAt(int i);
    const FeatureABC* getAt(int i) const;
    // Replaces element i without freeing the old one; ignored outside the set.
    void setAt(int i, FeatureABC* f);
    FeatureABC** getFeatures() { return m_features; }
    int getSize() const { return m_count; }
    // Frees element i and closes the gap; ignored outside the set.
    void removeAt(int i);

    // A new set holding copies of the elements; null beyond the nesting limit.
    FeatureABC* clone() const override;
    // Reads a set block. The old content is freed first. A negative count, or
    // one the stream cannot hold, fails; an element that cannot be read is
    // stored as null.
    int read(XFile* file) override;
    // Writes the header and every element; 0 on a short header write or beyond
    // the nesting limit.
    int write(XFile* file) const override;
    using FeatureABC::write;
    void release() override;
    // Always 1.
    float dist(const FeatureABC* other) const override {
        (void)other;
        return 1.0f;
    }
    // Sum of the elements' dimensions; -1 beyond the nesting limit.
    int dimension() const override;
    bool isMultiple() const override { return true; }

private:
    bool copyFrom(const FeatureSet& other);
    FeatureABC** m_features = nullptr;
    int m_count = 0;
};

// Root of the detected regions.
class TARVO_EXPORTS BlobABC {
public:
    virtual ~BlobABC() {}
    virtual void release() = 0;
    // A representative point of the region.
    virtual Point2_<int> Point(int i) = 0;
    virtual Rect_<int> getBoundRect() = 0;
    // Does nothing in the base class.
    virtual void setBoundRect(const Rect_<int>& r) { (void)r; }
};

// A located, oriented and scaled descriptor. Its block carries no identifier,
// so a descriptor stored inside a set is written but read back as null.
class TARVO_EXPORTS FeatureDescriptor : public BlobABC, public FeatureABC {
public:
    // Identifier "descriptor", every field 0, no data.
    FeatureDescriptor();
    // Identifier "descriptor n" and n values set to 0 (no values for n <= 0).
    explicit FeatureDescriptor(int n);
    // Deep copies of the fields and values; the second buffer is not copied.
    FeatureDescriptor(const FeatureDescriptor& other);
    FeatureDescriptor& operator=(const FeatureDescriptor& other);
    ~FeatureDescriptor() override;

    // Returns this object itself (no copy): the caller must not delete it separately.
    FeatureABC* clone() const override;
    // Reads x, y, d, scale, orientation, response and d values. A negative d,
    // or more values than the stream holds, fails with nothing allocated; the
    // old values are freed in any case.
    int read(XFile* file) override;
    // Writes the fields and values; 0 when d > 0 but there are no values.
    int write(XFile* file) const override;
    using FeatureABC::write;
    // Frees the values and the second buffer.
    void release() override;
    // Always 0.
    float dist(const FeatureABC* other) const override {
        (void)other;
        return 0.0f;
    }
    int dimension() const override { return m_dimension; }
    // (round(x), round(y)) whatever the index.
    Point2_<int> Point(int i) override;
    // The all-zero rectangle.
    Rect_<int> getBoundRect() override { return Rect_<int>(0, 0, 0, 0); }

    float x = 0;
    float y = 0;
    float* data = nullptr;
    int m_dimension = 0;
    float scale = 0;
    float orientation = 0;
    float response = 0;
    void* m_pExtra = nullptr;  // second buffer: always null here, freed when set
    int m_reserved = 0;
};

// A prototype registry: names in registration order and one prototype each.
template <class T>
class FactoryTemplate {
public:
    FactoryTemplate() {}
    FactoryTemplate(const FactoryTemplate&) = delete;
    FactoryTemplate& operator=(const FactoryTemplate&) = delete;
    virtual ~FactoryTemplate() {}
    virtual void init() {}
    virtual void release() {}
    // Registers prototype p under name; the factory takes ownership.
    void add(T* p, const String& name) {
        if (!p) return;
        const int n = m_prototypes.getSize();
        m_prototypes.add(p);
        if (m_prototypes.getSize() != n + 1) {
            delete p;
            return;
        }
        m_names.add(name);
    }
    // Index of the first prototype whose name equals the text of name before
    // its first '_', or -1.
    int find(const String& name) const {
        const int cut = name.find('_');
        const String key = cut >= 0 ? name.substr(0, cut) : name;
        for (int i = 0; i < m_names.getSize(); i++)
            if (m_names[i].compare(key) == 0) return i;
        return -1;
    }
    // Prototype i, null outside the registry.
    T* getPrototype(int i) {
        if (i < 0 || i >= m_prototypes.getSize()) return nullptr;
        return static_cast<T*>(m_prototypes.getAt(i));
    }

protected:
    StringArray m_names;
    int m_nReserved1 = 0;
    int m_nReserved2 = 0;
    PtrArray m_prototypes;
};

// Reads features back by the identifier stored in front of them. One instance
// per process, made on first use (thread-safe); deleting it clears
// m_pFeatureFactory, and the next Instance() builds a new one.
class TARVO_EXPORTS FeatureFactory : public FactoryTemplate<FeatureABC> {
public:
    FeatureFactory();
    ~FeatureFactory() override;
    static FeatureFactory* Instance();
    // Registers a FeatureVec and a FeatureSet prototype ("gray", "FSet").
    void init() override;
    // Frees the prototypes; the names stay (reads then give null until init).
    void release() override;
    // Registers one more prototype under its identifier; the factory owns it.
    void addFeature(FeatureABC* f);
    // Reads one feature: null on a short stream (the position stays behind
    // what was read), on an unknown identifier (the position is back at the
    // start) or when the feature's own read fails.
    FeatureABC* readFeature(XFile* file);
    FeatureABC* readFeature(const char* path);

    static FeatureFactory* m_pFeatureFactory;

private:
    static std::mutex& instanceLock();
};

// An array of FeatureDescriptor*. Copies copy the pointers; the array never
// frees its elements by itself.
class TARVO_EXPORTS FeatureDescriptorArray : public PtrArray {
public:
    FeatureDescriptorArray() {}
    FeatureDescriptorArray(const FeatureDescriptorArray& o) : PtrArray(o) {}
    FeatureDescriptorArray& operator=(const FeatureDescriptorArray& o) {
        PtrArray::operator=(o);
        return *this;
    }
    ~FeatureDescriptorArray() override;
    // Draws a red cross of size 2 at each descriptor's rounded position.
    void drawTo(Mat& img);
    // Deletes every element and empties the array.
    void releaseAllMemory();
};

// Parameters of a blob detector; no data.
class TARVO_EXPORTS BlobDetectorParamABC {
public:
    virtual ~BlobDetectorParamABC() {}
    virtual void copy(const BlobDetectorParamABC* other) = 0;
};

// Extension point for descriptor extractors' parameters; unused by the library.
class TARVO_EXPORTS FeatureExtractorParamABC : public ParamABC {
public:
    virtual void copy(const FeatureExtractorParamABC* other) = 0;
    virtual bool isValid() const = 0;
};

// Extension point for descriptor extractors; unused by the library.
class TARVO_EXPORTS FeatureExtractorABC : public Algorithm {
public:
    virtual int compute(const Mat& img, FeatureDescriptorArray& out) = 0;
    virtual int getDescriptorSize() const = 0;
    virtual int getDescriptorType() const = 0;
};

// Base of the region detectors. They are pumps only so that a pipeline or a
// registry can create and hold them; work goes through extract.
class TARVO_EXPORTS BlobDetectorABC : public Algorithm, public PumpABC {
public:
    virtual int create(const BlobDetectorParamABC* param) = 0;
    virtual void release() = 0;
    // Detects regions of img and appends them (as BlobABC*) to out; returns the count.
    virtual int extract(const Mat& img, PtrList& out) = 0;
    // Releases and deletes every region of a list filled by extract.
    virtual void freePtrList(PtrList& list) = 0;
    virtual int getDetectLayer(const Mat& img, int a, int b, Size_<int> s, float* out) {
        (void)img, (void)a, (void)b, (void)s, (void)out;
        return 0;
    }
    virtual int getDetectLayer(const Mat& img, int a, int b, int c, int d, Size_<int> s) {
        (void)img, (void)a, (void)b, (void)c, (void)d, (void)s;
        return 0;
    }
    virtual float getConf(const Mat& img, const Rect_<int>* r) const {
        (void)img, (void)r;
        return 0.0f;
    }
    virtual float getStageConf(const Mat& img, int a, int b, int c, Size_<int> s) const {
        (void)img, (void)a, (void)b, (void)c, (void)s;
        return 0.0f;
    }
    virtual int getTotalLayer(int i) const {
        (void)i;
        return 0;
    }
};

// Base of the interest-region extractors.
class TARVO_EXPORTS IRExtractorABC : public BlobDetectorABC {
public:
    // Nothing to set up: returns 1.
    int create(const BlobDetectorParamABC* param) override {
        (void)param;
        return 1;
    }
    void release() override {}
    // Runs extract(img, FeatureDescriptorArray&), then starts out afresh and
    // appends every descriptor (out takes them over); returns out's count.
    int extract(const Mat& img, PtrList& out) override;
    void freePtrList(PtrList& list) override;
    virtual int extract(MatPtrList& frames, FeatureDescriptorArray& out) = 0;
    virtual int extract(const Mat& img, FeatureDescriptorArray& out) = 0;
};

// A 24-byte record with a heap pointer after four 32-bit words.
struct _tagInterestRegion {
    int value[4];
    void* data;
};

// Appends n records of src to the list (grown with realloc). Nothing changes
// for a null src, n <= 0, null list or count pointers, a count that would
// overflow, or a failing allocation.
TARVO_EXPORTS void addInterestRegions(const _tagInterestRegion* src, int n,
                                      _tagInterestRegion** list, int* count);
// Frees each record's heap pointer and the list, and zeroes both; nothing for null arguments.
TARVO_EXPORTS void releaseInterestRegions(_tagInterestRegion** list, int* count);

}  // namespace tarvo
