// The block-based sequence store: a MemStorage hands out memory from a list
// of large blocks; a Sequence is a growable list of fixed-size elements kept in
// a circular list of SeqBlocks carved from a storage; SeqWriter and SeqReader
// walk it without per-element calls; a Set adds elements and returns their
// addresses. Sequences also link into trees (siblings, parent, first child).
//
// Nothing here frees individual elements: memory returns to the storage as a
// whole (clear, restore of a saved position, release). Every size is checked
// before use; a request that cannot be met gives null or false, never a
// write past a block.
#pragma once

#include "tarvo/export.h"
#include "tarvo/types.h"

namespace tarvo {

// Flag word of a Sequence.
constexpr int SEQ_MAGIC_VAL = 0x42990000;  // upper 16 bits of every sequence's flags
constexpr int SEQ_MAGIC_MASK = (int)0xFFFF0000;
constexpr int SEQ_ELTYPE_MASK = 0x1FF;     // bits 0..8: element kind
constexpr int SEQ_ELTYPE_CODE = 0;         // one chain-code byte
constexpr int SEQ_ELTYPE_POINT = 12;       // Point2_<int>
constexpr int SEQ_ELTYPE_POINT2D32F = 13;  // Point2_<float>
constexpr int SEQ_KIND_MASK = 0xE00;       // bits 9..11: sequence kind
constexpr int SEQ_KIND_CURVE = 0x200;
constexpr int SEQ_FLAG_CLOSED = 1 << 12;
constexpr int SEQ_FLAG_HOLE = 1 << 15;
// A closed chain of code bytes (4608) and a closed polyline of int points (4620).
constexpr int SEQ_CHAIN_CONTOUR = SEQ_KIND_CURVE | SEQ_FLAG_CLOSED | SEQ_ELTYPE_CODE;
constexpr int SEQ_POLYGON = SEQ_KIND_CURVE | SEQ_FLAG_CLOSED | SEQ_ELTYPE_POINT;

// Block size used by createMemStorage(0), in bytes.
constexpr int MEM_STORAGE_DEFAULT_BLOCK = 65408;

struct MemBlock {
    MemBlock* prev;
    MemBlock* next;
};

// A storage: blocks from bottom to top are in use; blocks after top are free
// and reused before new ones are taken. A child storage takes its blocks from
// its parent and gives them back on clear or release.
struct MemStorage {
    int signature;
    MemBlock* bottom;
    MemBlock* top;
    MemStorage* parent;
    int block_size;  // bytes of each block, its MemBlock header included
    int free_space;  // bytes left in the top block
};

// A free position of a storage, for saveMemStoragePos / restoreMemStoragePos.
struct MemStoragePos {
    MemBlock* top;
    int free_space;
};

// One block of a sequence's elements; blocks form a circular list.
struct SeqBlock {
    SeqBlock* prev;
    SeqBlock* next;
    int start_index;  // index of the block's first element in the sequence
    int count;        // live elements in the block
    signed char* data;
    int capacity;  // bytes reserved from data on (only known for spare blocks)
};

// Sequence header. Tree links: h_prev / h_next are the previous and next
// siblings, v_prev the parent, v_next the first child; v_last (the last child)
// keeps appending a child O(1).
struct TARVO_BASE_EXPORTS Sequence {
    int flags;        // SEQ_MAGIC_VAL | kind | element kind | closed / hole bits
    int header_size;  // bytes of the whole header (a derived header included)
    Sequence* h_prev;
    Sequence* h_next;
    Sequence* v_prev;
    Sequence* v_next;
    int total;               // number of elements
    int elem_size;           // bytes of one element
    signed char* block_max;  // end of the room in the last block
    signed char* ptr;        // write position in the last block
    int delta_elems;         // elements per new block
    MemStorage* storage;
    SeqBlock* free_blocks;  // emptied blocks kept for reuse
    SeqBlock* first;        // first block, null while empty
    Sequence* v_last;       // last child

    Sequence();
};

// A set: a sequence whose additions return the element's address.
struct TARVO_BASE_EXPORTS Set : public Sequence {
    int active_count;
    Set();
};

struct SeqWriter {
    int header_size;
    Sequence* seq;
    SeqBlock* block;
    signed char* ptr;        // next element goes here
    signed char* block_min;  // first element written into the current block since the last flush
    signed char* block_max;  // end of the current block's room
};

struct SeqReader {
    int header_size;
    Sequence* seq;
    SeqBlock* block;
    signed char* ptr;  // current element
    signed char* block_min;
    signed char* block_max;
    int delta_index;         // start_index of the current block
    signed char* prev_elem;  // element read before the current one (the last one at start)
};

// ---- storages

// A new storage with blocks of blockSize bytes (MEM_STORAGE_DEFAULT_BLOCK for
// 0; at least a few hundred bytes). Null for a negative size or no memory.
TARVO_BASE_EXPORTS MemStorage* createMemStorage(int blockSize = 0);
// A storage that takes its blocks from parent and returns them there. Null
// for a null parent.
TARVO_BASE_EXPORTS MemStorage* createChildMemStorage(MemStorage* parent);
// Makes every block free again; a child storage gives its blocks back to its parent.
TARVO_BASE_EXPORTS void clearMemStorage(MemStorage* storage);
// Frees the storage (a child returns its blocks to the parent) and clears *storage.
TARVO_BASE_EXPORTS void releaseMemStorage(MemStorage** storage);
TARVO_BASE_EXPORTS void saveMemStoragePos(const MemStorage* storage, MemStoragePos* pos);
// Returns to a saved position: everything allocated since is free again.
TARVO_BASE_EXPORTS void restoreMemStoragePos(MemStorage* storage, const MemStoragePos* pos);
// size bytes (rounded up to 8) from the storage; null when size is negative or
// larger than a block can hold.
TARVO_BASE_EXPORTS void* memStorageAlloc(MemStorage* storage, int size);

// ---- sequences

// An empty sequence with header_size bytes of header (at least sizeof(Sequence),
// the rest zeroed) and elements of elemSize bytes. Null for a null storage, a
// too small header, a non-positive element size or one that does not fit a block.
TARVO_BASE_EXPORTS Sequence* createSeq(int seqFlags, int headerSize, int elemSize,
                                       MemStorage* storage);
// Appends one element (copied from element, or zeroed when null); returns its
// address, or null when the sequence cannot grow.
TARVO_BASE_EXPORTS signed char* seqPush(Sequence* seq, const void* element = nullptr);
// Removes the last element, copying it to element when that is not null. False when empty.
TARVO_BASE_EXPORTS bool seqPop(Sequence* seq, void* element = nullptr);
// Removes count elements from the end (inFront false) or the start, copying
// them in sequence order into elements when that is not null. count is clipped
// to the total; a negative count does nothing.
TARVO_BASE_EXPORTS void seqPopMulti(Sequence* seq, void* elements, int count, bool inFront = false);
// Element at index; negative indices count from the end (-1 is the last). Null outside.
TARVO_BASE_EXPORTS signed char* getSeqElem(const Sequence* seq, int index);
// Number of elements of the slice, clipped to the sequence (negative ends count from the end).
TARVO_BASE_EXPORTS int sliceLength(Slice slice, const Sequence* seq);
// Copies all elements into dst (total * elem_size bytes); returns dst, null for a null argument.
TARVO_BASE_EXPORTS void* cvtSeqToArray(const Sequence* seq, void* dst);

// ---- writers and readers

// Creates a sequence and starts writing into it. writer->seq is null on failure.
TARVO_BASE_EXPORTS void startWriteSeq(int seqFlags, int headerSize, int elemSize,
                                      MemStorage* storage, SeqWriter* writer);
// Starts appending to an existing sequence.
TARVO_BASE_EXPORTS void startAppendToSeq(Sequence* seq, SeqWriter* writer);
// Gives the writer room for more elements; false when the sequence cannot grow.
TARVO_BASE_EXPORTS bool createSeqBlock(SeqWriter* writer);
// Brings the sequence's total and blocks up to date with the writer.
TARVO_BASE_EXPORTS void flushSeqWriter(SeqWriter* writer);
// Closes the sequence, returns unused room to the storage and returns the sequence.
TARVO_BASE_EXPORTS Sequence* endWriteSeq(SeqWriter* writer);
// Writes one element; false (nothing written) when the sequence cannot grow.
inline bool writeSeqElem(SeqWriter* w, const void* elem) {
    if (w->ptr >= w->block_max && !createSeqBlock(w)) return false;
    const int n = w->seq->elem_size;
    const signed char* s = static_cast<const signed char*>(elem);
    for (int i = 0; i < n; i++) w->ptr[i] = s[i];
    w->ptr += n;
    return true;
}

// Starts reading at the first element (reverse false) or the last one. An empty
// sequence leaves ptr null.
TARVO_BASE_EXPORTS void startReadSeq(const Sequence* seq, SeqReader* reader, bool reverse = false);
// Moves to the next block (direction > 0: at its first element) or the
// previous one (at its last element), wrapping around the circle.
TARVO_BASE_EXPORTS void changeSeqBlock(SeqReader* reader, int direction);
// Index of the reader's current element.
TARVO_BASE_EXPORTS int getSeqReaderPos(const SeqReader* reader);
// Moves the reader to index (absolute, or relative to the current element),
// taken modulo the total, so negative values count from the end.
TARVO_BASE_EXPORTS void setSeqReaderPos(SeqReader* reader, int index, bool relative = false);
// Steps to the next element, wrapping from the last to the first.
inline void nextSeqElem(SeqReader* r) {
    r->prev_elem = r->ptr;
    if ((r->ptr += r->seq->elem_size) >= r->block_max) changeSeqBlock(r, 1);
}
// Steps to the previous element, wrapping from the first to the last.
inline void prevSeqElem(SeqReader* r) {
    r->prev_elem = r->ptr;
    if ((r->ptr -= r->seq->elem_size) < r->block_min) changeSeqBlock(r, -1);
}

// ---- sets and trees

// An empty set of elemSize-byte elements (headerSize at least sizeof(Set)).
TARVO_BASE_EXPORTS Set* createSet(int setFlags, int headerSize, int elemSize, MemStorage* storage);
// Adds an element (a copy of element, or zeroes) and returns its address; null on failure.
TARVO_BASE_EXPORTS void* setAdd(Set* set, const void* element = nullptr);
// Appends node as the last child of parent. A parent equal to frame makes the
// node top-level (its parent link stays null). Null node or parent: nothing.
TARVO_BASE_EXPORTS void insertNodeIntoTree(Sequence* node, Sequence* parent, Sequence* frame);

}  // namespace tarvo
