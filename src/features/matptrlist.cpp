#include "tarvo/ip/matptrlist.h"

namespace tarvo {

MatPtrList::MatPtrList(const MatPtrList& other)
    : Array<Mat*>(other),
      m_reserved1(other.m_reserved1),
      m_reserved2(other.m_reserved2),
      m_scales(other.m_scales) {}

MatPtrList& MatPtrList::operator=(const MatPtrList& other) {
    if (this == &other) return *this;
    Array<Mat*>::operator=(other);
    m_reserved1 = other.m_reserved1;
    m_reserved2 = other.m_reserved2;
    m_scales = other.m_scales;
    return *this;
}

MatPtrList::~MatPtrList() {
    release();
}

int MatPtrList::addFrame(Mat* frame, float scale) {
    const int n = getSize();
    m_scales.add(scale);
    if (m_scales.getSize() != n + 1) {
        delete frame;
        return -1;
    }
    add(frame);
    if (getSize() != n + 1) {
        m_scales.setSize(n);
        delete frame;
        return -1;
    }
    return n;
}

float MatPtrList::getScale(int i) const {
    return i >= 0 && i < m_scales.getSize() ? m_scales[i] : 0.0f;
}

void MatPtrList::setScale(int i, float scale) {
    if (i >= 0 && i < m_scales.getSize()) m_scales[i] = scale;
}

void MatPtrList::release() {
    for (int i = 0; i < getSize(); i++) delete getAt(i);
    removeAll();
    m_scales.removeAll();
}

}  // namespace tarvo
