// The operator frame: ipCorePump's pump path, ipCoreFeaturePump, ipCoreRegist.
#include <cstring>
#include <new>

#include "tarvo/ip/core.h"
#include "tarvo/mat.h"

namespace tarvo {

// ---------------------------------------------------------------- ipCorePump

ipCorePump::ipCorePump() {
    m_nParam = 2;
    for (int i = 0; i < PUMP_MAX_PINS; i++) {
        m_linkType[i] = LinkNone;
        m_data[i].pin = nullptr;
        m_data[i].links = nullptr;
    }
    m_linkType[0] = LinkIn;
    m_linkType[1] = LinkOut;
    resetLinks();
}

// The pump base gives the copy pins of its own (no data, no connections);
// derived operators copy their parameter members.
ipCorePump::ipCorePump(const ipCorePump& other) : ipCoreABC(other), PumpABC(other), IParamABC() {}

ipCorePump::~ipCorePump() {
    ipCorePump::releaseData();
    PumpRelease();
}

PumpABC* ipCorePump::clone() const {
    return new (std::nothrow) ipCorePump(*this);
}

PumpRet ipCorePump::pumpProcess() {
    Mat* input = static_cast<Mat*>(getDataEx(0));
    Mat* result = new (std::nothrow) Mat();
    if (!result) return 1;
    // No input leaves the result empty: the operator sees an empty source.
    // The pixels are cleared so that an operator that refuses the input, or
    // one that works over what its destination holds, gives defined values.
    if (input && result->create(*input, false) >= 0 && !result->empty()) {
        const int bytes = result->rowByteSize();
        for (int r = 0; r < result->rows(); r++) std::memset(result->data.ptr[r], 0, size_t(bytes));
    }
    process(input, result);
    // The previous result would otherwise be lost when the pump runs again.
    if (getDataEx(1) != result) releaseData();
    regDataEx(1, result, String("image"));
    return 1;
}

Mat* ipCorePump::pumpProcess(Mat* input) {
    Mat* result = new (std::nothrow) Mat();
    if (!result) return nullptr;
    process(input, result);
    return result;
}

void ipCorePump::releaseData() {
    Pin* p = getPin(1);
    if (!p || !p->data()) return;
    delete static_cast<Mat*>(p->data());
    p->setData(nullptr);
}

// ---------------------------------------------------------------- ipCoreFeaturePump

ipCoreFeaturePump::ipCoreFeaturePump() {
    static const int kTypes[2] = {LinkIn, LinkOut};
    setPins(2, kTypes);
}

ipCoreFeaturePump::ipCoreFeaturePump(const ipCoreFeaturePump& other)
    : ipBaseCore(other), PumpABC(other) {}

ipCoreFeaturePump::~ipCoreFeaturePump() {
    PumpRelease();
}

PumpABC* ipCoreFeaturePump::clone() const {
    return new (std::nothrow) ipCoreFeaturePump(*this);
}

Mat* ipCoreFeaturePump::pumpProcess(Mat* image) {
    process(image);
    draw(image);
    return image;
}

// ---------------------------------------------------------------- ipCoreRegist

ipCoreRegist::ipCoreRegist() {}

ipCoreRegist::ipCoreRegist(const ipCoreRegist& other) : m_names(other.m_names) {}

ipCoreRegist& ipCoreRegist::operator=(const ipCoreRegist& other) {
    if (this != &other) m_names = other.m_names;
    return *this;
}

ipCoreRegist::~ipCoreRegist() {}

}  // namespace tarvo
