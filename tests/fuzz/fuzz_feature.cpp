// libFuzzer harness for feature files: every input is read through the
// factory from a memory stream of known length and from one that cannot tell
// its length, and what comes back is written out and measured again.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "tarvo/ip/features.h"

namespace {

class UnsizedMem : public tarvo::XFileMem {
public:
    UnsizedMem(unsigned char* buf, unsigned size) : tarvo::XFileMem(buf, size) {}
    long size() override { return -1; }
};

void exercise(tarvo::FeatureABC* f) {
    if (!f) return;
    tarvo::XFileMem out;
    f->write(&out);
    (void)f->dimension();
    tarvo::FeatureABC* c = f->clone();
    if (c != f) delete c;
    if (tarvo::FeatureVec* v = dynamic_cast<tarvo::FeatureVec*>(f))
        v->calcIntegralImage(true, true);
    delete f;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > (1u << 20)) return 0;
    std::vector<unsigned char> copy(data, data + size);
    tarvo::FeatureFactory* factory = tarvo::FeatureFactory::Instance();
    {
        tarvo::XFileMem in(copy.data(), unsigned(copy.size()));
        exercise(factory->readFeature(&in));
    }
    {
        UnsizedMem in(copy.data(), unsigned(copy.size()));
        exercise(factory->readFeature(&in));
    }
    {
        tarvo::XFileMem in(copy.data(), unsigned(copy.size()));
        tarvo::FeatureDescriptor d;
        d.read(&in);
    }
    return 0;
}
