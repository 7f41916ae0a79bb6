// MatPtrList: the frames of an image pyramid with the reduction factor of
// each frame.
#pragma once

#include "tarvo/array.h"
#include "tarvo/export.h"
#include "tarvo/mat.h"

namespace tarvo {

// An array of owned Mat* frames with a parallel array of scales: frame i is the
// source reduced by getScale(i) (1 for the full-size frame).
// Copies are deep: a copy holds its own copies of the frames, so each list
// frees only what it owns.
class TARVO_BASE_EXPORTS MatPtrList : public Array<Mat*> {
public:
    MatPtrList() = default;
    MatPtrList(const MatPtrList& other);
    MatPtrList& operator=(const MatPtrList& other);
    // Deletes the frames (see release).
    ~MatPtrList() override;

    // Appends a frame (the list takes ownership) with its scale; returns its index,
    // or -1 when memory runs out (the frame is then deleted).
    int addFrame(Mat* frame, float scale);
    // Scale of frame i; 0 for an index outside the list.
    float getScale(int i) const;
    // Sets the scale of frame i; ignored for an index outside the list.
    void setScale(int i, float scale);
    // Deletes every non-null frame and empties both arrays.
    void release();
    // Empties both arrays without deleting the frames (the caller takes them over).
    void detachAll() {
        removeAll();
        m_scales.removeAll();
    }
    // Number of frames.
    int count() const { return getSize(); }

    int m_reserved1 = 0;
    int m_reserved2 = 0;
    Array<float> m_scales;
};

}  // namespace tarvo
