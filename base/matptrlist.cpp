#include "tarvo/matptrlist.h"

#include <new>

namespace tarvo {

MatPtrList::MatPtrList(const MatPtrList& other) : Array<Mat*>() {
    *this = other;
}

// Every frame is copied (a null frame stays null); when memory runs out the
// list ends up with the frames copied so far.
MatPtrList& MatPtrList::operator=(const MatPtrList& other) {
    if (this == &other) return *this;
    release();
    m_reserved1 = other.m_reserved1;
    m_reserved2 = other.m_reserved2;
    for (int i = 0; i < other.getSize(); i++) {
        const Mat* f = other.getAt(i);
        Mat* copy = nullptr;
        if (f) {
            copy = new (std::nothrow) Mat();
            if (!copy) break;
            copy->create(*f, true);
        }
        if (addFrame(copy, other.getScale(i)) < 0) break;
    }
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
