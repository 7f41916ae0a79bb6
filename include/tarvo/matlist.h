// Lists of matrices: owning pointer lists, pointer lists with descriptions,
// and a fixed array of matrices.
#pragma once

#include "tarvo/array.h"
#include "tarvo/export.h"
#include "tarvo/mat.h"
#include "tarvo/tstring.h"

namespace tarvo {

// An Array<Mat*> that owns its matrices: release() and the destructor delete
// each non-null entry, then empty the array. Not copyable.
class TARVO_BASE_EXPORTS ImagePtrList : public Array<Mat*> {
public:
    ImagePtrList() {}
    ImagePtrList(const ImagePtrList&) = delete;
    ImagePtrList& operator=(const ImagePtrList&) = delete;
    ~ImagePtrList() override;
    // Deletes every matrix and empties the list.
    virtual void release();
    // Empties the list without deleting (the matrices now belong to the caller).
    virtual void detachAll();
};

// Same as ImagePtrList; the name used by the matrix-descriptor code.
class TARVO_BASE_EXPORTS MatDescPtrList : public ImagePtrList {
public:
    MatDescPtrList() {}
    ~MatDescPtrList() override;
};

// Owning list of matrices, each with a description.
class TARVO_BASE_EXPORTS ImageDescPtrList {
public:
    ImageDescPtrList() {}
    ImageDescPtrList(const ImageDescPtrList&) = delete;
    ImageDescPtrList& operator=(const ImageDescPtrList&) = delete;
    ~ImageDescPtrList();
    // Appends the matrix (the list takes it over) and its description; returns the index.
    int add(Mat* image, const String& desc);
    // Description / matrix at i; an empty string / null outside the list.
    String getDesc(int i) const;
    Mat* getImage(int i) const;
    int count() const { return m_images.getSize(); }
    // Empties both lists without deleting the matrices.
    void detachAll();
    // Deletes the matrices and empties both lists.
    void release();

private:
    ImagePtrList m_images;
    StringArray m_descs;
};

// A fixed number of matrices in one array. Not copyable; swapList exchanges.
class TARVO_BASE_EXPORTS ImageList {
public:
    ImageList() : m_count(0), m_list(nullptr) {}
    // count matrices of rows x cols of the whole type word `type` (pixels
    // uninitialised). Refused sizes give empty matrices; count 0 an empty list.
    ImageList(unsigned count, unsigned rows, unsigned cols, int type);
    ImageList(const ImageList&) = delete;
    ImageList& operator=(const ImageList&) = delete;
    // Releases each matrix, then frees the array.
    ~ImageList();
    // Unchecked access.
    Mat& operator[](unsigned i) { return m_list[i]; }
    const Mat& operator[](unsigned i) const { return m_list[i]; }
    // Checked access: null outside the list.
    Mat* operator()(unsigned i) { return i < m_count ? &m_list[i] : nullptr; }
    unsigned count() const { return m_count; }
    bool empty() const { return m_count == 0; }
    void swapList(ImageList& o);

private:
    unsigned m_count;
    Mat* m_list;
};

}  // namespace tarvo
