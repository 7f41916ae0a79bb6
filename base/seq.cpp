// The sequence store: storages of large blocks, sequences of fixed-size
// elements in circular block lists, writers, readers, sets and tree links.
#include "tarvo/seq.h"

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace tarvo {

namespace {

constexpr int kStorageSignature = 0x4D535447;
constexpr int kAlign = 8;
// Bytes of the first block of a new sequence; later blocks double up to a
// quarter of a storage block, which keeps small sequences small and long ones
// in few blocks.
constexpr int kFirstSeqBlockBytes = 256;

int alignUp(int v) {
    return (v + kAlign - 1) & ~(kAlign - 1);
}
int blockHeader() {
    return alignUp((int)sizeof(MemBlock));
}
int seqBlockHeader() {
    return alignUp((int)sizeof(SeqBlock));
}
// Largest allocation a storage can serve.
int storageCapacity(const MemStorage* s) {
    return s->block_size - blockHeader();
}
signed char* freePtr(const MemStorage* s) {
    return s->top ? reinterpret_cast<signed char*>(s->top) + s->block_size - s->free_space
                  : nullptr;
}

// Makes the block after top the new top: a free block already linked, one
// borrowed from the parent, or a fresh allocation.
bool goNextMemBlock(MemStorage* s) {
    MemBlock* next = s->top ? s->top->next : s->bottom;
    if (!next) {
        MemStorage* parent = s->parent;
        if (parent) {
            MemBlock* spare = parent->top ? parent->top->next : parent->bottom;
            if (spare) {
                // unlink the parent's spare block
                if (spare->prev)
                    spare->prev->next = spare->next;
                else
                    parent->bottom = spare->next;
                if (spare->next) spare->next->prev = spare->prev;
                next = spare;
            }
        }
        if (!next) {
            next = static_cast<MemBlock*>(std::malloc((size_t)s->block_size));
            if (!next) return false;
        }
        next->prev = s->top;
        next->next = nullptr;
        if (s->top)
            s->top->next = next;
        else
            s->bottom = next;
    }
    s->top = next;
    s->free_space = storageCapacity(s);
    return true;
}

// Hands every block of a child storage back to its parent (as free blocks
// behind the parent's top) or frees them for a root storage.
void dropBlocks(MemStorage* s) {
    MemBlock* b = s->bottom;
    if (s->parent && b) {
        MemStorage* p = s->parent;
        MemBlock* last = b;
        while (last->next) last = last->next;
        MemBlock* after = p->top ? p->top->next : p->bottom;
        b->prev = p->top;
        last->next = after;
        if (after) after->prev = last;
        if (p->top)
            p->top->next = b;
        else
            p->bottom = b;
    } else {
        while (b) {
            MemBlock* n = b->next;
            std::free(b);
            b = n;
        }
    }
    s->bottom = s->top = nullptr;
    s->free_space = 0;
}

bool validSeq(const Sequence* seq) {
    return seq && (seq->flags & SEQ_MAGIC_MASK) == SEQ_MAGIC_VAL && seq->elem_size > 0;
}

void linkBlockAtEnd(Sequence* seq, SeqBlock* b) {
    if (!seq->first) {
        b->prev = b->next = b;
        seq->first = b;
        b->start_index = 0;
    } else {
        SeqBlock* last = seq->first->prev;
        b->prev = last;
        b->next = seq->first;
        last->next = b;
        seq->first->prev = b;
        b->start_index = last->start_index + last->count;
    }
    b->count = 0;
}

// Gives the sequence room for at least one more element at its end: the last
// block is extended in place when it ends where the storage's free space
// starts, a spare block is reused, or a new block is carved. False when no
// room can be made.
bool growSeq(Sequence* seq) {
    MemStorage* storage = seq->storage;
    const int esz = seq->elem_size;
    if (!storage || esz <= 0) return false;
    if (seq->total == INT_MAX) return false;
    const int cap = storageCapacity(storage);
    if (esz > cap - seqBlockHeader()) return false;

    if (seq->first && seq->block_max == freePtr(storage) && storage->free_space >= esz) {
        int n = storage->free_space / esz;
        if (n > seq->delta_elems) n = seq->delta_elems;
        seq->block_max += n * esz;
        storage->free_space -= alignUp(n * esz) > storage->free_space ? n * esz : alignUp(n * esz);
        return true;
    }

    SeqBlock* b = nullptr;
    int room = 0;
    if (seq->free_blocks && seq->free_blocks->capacity >= esz) {
        b = seq->free_blocks;
        seq->free_blocks = b->next;
        room = b->capacity;
    } else {
        int want = seq->delta_elems * esz + seqBlockHeader();
        if (storage->free_space < seqBlockHeader() + esz) {
            if (!goNextMemBlock(storage)) return false;
        }
        if (want > storage->free_space) want = storage->free_space;
        signed char* p = freePtr(storage);
        const int used = alignUp(want) > storage->free_space ? want : alignUp(want);
        storage->free_space -= used;
        b = reinterpret_cast<SeqBlock*>(p);
        b->data = p + seqBlockHeader();
        room = ((want - seqBlockHeader()) / esz) * esz;
        b->capacity = room;
        // the next new block is twice as large, up to a quarter of a storage block
        const int maxElems = (cap / 4) / esz > 0 ? (cap / 4) / esz : 1;
        if (seq->delta_elems < maxElems)
            seq->delta_elems = seq->delta_elems * 2 > maxElems ? maxElems : seq->delta_elems * 2;
    }
    linkBlockAtEnd(seq, b);
    seq->ptr = b->data;
    seq->block_max = b->data + room;
    return true;
}

// Unlinks an emptied block and keeps it as a spare. The first block's data
// pointer may have moved forward (pops from the front); its capacity follows.
void freeSeqBlock(Sequence* seq, SeqBlock* b, bool inFront) {
    if (b == b->next) {
        seq->first = nullptr;
    } else {
        b->prev->next = b->next;
        b->next->prev = b->prev;
        if (inFront) seq->first = b->next;
    }
    if (!inFront) {
        // the room of the last block ends at the sequence's block_max
        b->capacity = (int)(seq->block_max - b->data);
    }
    b->next = seq->free_blocks;
    seq->free_blocks = b;
    if (!seq->first) {
        seq->ptr = seq->block_max = nullptr;
    } else if (!inFront) {
        SeqBlock* last = seq->first->prev;
        seq->ptr = seq->block_max = last->data + (size_t)last->count * seq->elem_size;
    } else {
        seq->first->start_index = 0;
        for (SeqBlock* c = seq->first->next; c != seq->first; c = c->next)
            c->start_index = c->prev->start_index + c->prev->count;
    }
}

}  // namespace

Sequence::Sequence()
    : flags(SEQ_MAGIC_VAL),
      header_size((int)sizeof(Sequence)),
      h_prev(nullptr),
      h_next(nullptr),
      v_prev(nullptr),
      v_next(nullptr),
      total(0),
      elem_size(0),
      block_max(nullptr),
      ptr(nullptr),
      delta_elems(0),
      storage(nullptr),
      free_blocks(nullptr),
      first(nullptr),
      v_last(nullptr) {}

Set::Set() : active_count(0) {
    header_size = (int)sizeof(Set);
}

// ---- storages

MemStorage* createMemStorage(int blockSize) {
    if (blockSize < 0 || blockSize > (1 << 30)) return nullptr;
    if (blockSize == 0) blockSize = MEM_STORAGE_DEFAULT_BLOCK;
    blockSize = alignUp(blockSize < 512 ? 512 : blockSize);
    if (blockSize <= 0) return nullptr;
    MemStorage* s = static_cast<MemStorage*>(std::calloc(1, sizeof(MemStorage)));
    if (!s) return nullptr;
    s->signature = kStorageSignature;
    s->block_size = blockSize;
    return s;
}

MemStorage* createChildMemStorage(MemStorage* parent) {
    if (!parent || parent->signature != kStorageSignature) return nullptr;
    MemStorage* s = createMemStorage(parent->block_size);
    if (s) s->parent = parent;
    return s;
}

void clearMemStorage(MemStorage* storage) {
    if (!storage || storage->signature != kStorageSignature) return;
    if (storage->parent) {
        dropBlocks(storage);
    } else {
        storage->top = storage->bottom;
        storage->free_space = storage->bottom ? storageCapacity(storage) : 0;
    }
}

void releaseMemStorage(MemStorage** storage) {
    if (!storage || !*storage) return;
    MemStorage* s = *storage;
    *storage = nullptr;
    if (s->signature != kStorageSignature) return;
    dropBlocks(s);
    s->signature = 0;
    std::free(s);
}

void saveMemStoragePos(const MemStorage* storage, MemStoragePos* pos) {
    if (!storage || !pos) return;
    pos->top = storage->top;
    pos->free_space = storage->free_space;
}

void restoreMemStoragePos(MemStorage* storage, const MemStoragePos* pos) {
    if (!storage || !pos) return;
    if (!pos->top) {
        storage->top = storage->bottom;
        storage->free_space = storage->top ? storageCapacity(storage) : 0;
        return;
    }
    // the saved block must still belong to this storage
    for (MemBlock* b = storage->bottom; b; b = b->next) {
        if (b == pos->top) {
            storage->top = pos->top;
            storage->free_space = pos->free_space;
            return;
        }
    }
}

void* memStorageAlloc(MemStorage* storage, int size) {
    if (!storage || size < 0) return nullptr;
    if (size > storageCapacity(storage)) return nullptr;
    size = alignUp(size);
    if (size > storageCapacity(storage)) size = storageCapacity(storage);
    if (!storage->top || storage->free_space < size) {
        if (!goNextMemBlock(storage)) return nullptr;
    }
    signed char* p = freePtr(storage);
    storage->free_space -= size;
    return p;
}

// ---- sequences

Sequence* createSeq(int seqFlags, int headerSize, int elemSize, MemStorage* storage) {
    if (!storage || headerSize < (int)sizeof(Sequence) || elemSize <= 0) return nullptr;
    if (elemSize > storageCapacity(storage) - seqBlockHeader()) return nullptr;
    Sequence* seq = static_cast<Sequence*>(memStorageAlloc(storage, headerSize));
    if (!seq) return nullptr;
    std::memset(static_cast<void*>(seq), 0, (size_t)headerSize);
    seq->flags = (seqFlags & ~SEQ_MAGIC_MASK) | SEQ_MAGIC_VAL;
    seq->header_size = headerSize;
    seq->elem_size = elemSize;
    seq->storage = storage;
    seq->delta_elems = kFirstSeqBlockBytes / elemSize > 0 ? kFirstSeqBlockBytes / elemSize : 1;
    return seq;
}

signed char* seqPush(Sequence* seq, const void* element) {
    if (!validSeq(seq)) return nullptr;
    if (seq->ptr >= seq->block_max || !seq->first) {
        if (!growSeq(seq)) return nullptr;
    }
    signed char* p = seq->ptr;
    if (element)
        std::memcpy(p, element, (size_t)seq->elem_size);
    else
        std::memset(p, 0, (size_t)seq->elem_size);
    seq->ptr += seq->elem_size;
    seq->first->prev->count++;
    seq->total++;
    return p;
}

bool seqPop(Sequence* seq, void* element) {
    if (!validSeq(seq) || seq->total <= 0) return false;
    seqPopMulti(seq, element, 1, false);
    return true;
}

void seqPopMulti(Sequence* seq, void* elements, int count, bool inFront) {
    if (!validSeq(seq) || count <= 0 || seq->total <= 0) return;
    if (count > seq->total) count = seq->total;
    const int esz = seq->elem_size;
    signed char* out = static_cast<signed char*>(elements);
    if (!inFront) {
        // elements come off the end; copy each block's part to its final place
        int left = count;
        while (left > 0) {
            SeqBlock* last = seq->first->prev;
            const int k = last->count < left ? last->count : left;
            signed char* src = last->data + (size_t)(last->count - k) * esz;
            if (out) std::memcpy(out + (size_t)(left - k) * esz, src, (size_t)k * esz);
            last->count -= k;
            seq->total -= k;
            seq->ptr = src;
            left -= k;
            if (last->count == 0) freeSeqBlock(seq, last, false);
        }
    } else {
        int done = 0;
        while (done < count) {
            SeqBlock* b = seq->first;
            const int want = count - done;
            const int k = b->count < want ? b->count : want;
            if (out) std::memcpy(out + (size_t)done * esz, b->data, (size_t)k * esz);
            b->data += (size_t)k * esz;
            b->count -= k;
            seq->total -= k;
            done += k;
            if (b->count == 0) {
                if (b == b->next) {
                    // the only block: keep it, empty, as the write block
                    seq->ptr = b->data;
                    b->start_index = 0;
                    break;
                }
                b->capacity = 0;
                freeSeqBlock(seq, b, true);
            } else {
                b->start_index = 0;
                for (SeqBlock* c = b->next; c != b; c = c->next)
                    c->start_index = c->prev->start_index + c->prev->count;
            }
        }
        if (seq->total == 0 && seq->first && seq->first->count == 0) {
            // an empty sequence has no blocks; keep the block as a spare
            SeqBlock* b = seq->first;
            b->capacity = (int)(seq->block_max - b->data);
            seq->first = nullptr;
            b->next = seq->free_blocks;
            seq->free_blocks = b;
            seq->ptr = seq->block_max = nullptr;
        }
    }
}

signed char* getSeqElem(const Sequence* seq, int index) {
    if (!validSeq(seq)) return nullptr;
    const int total = seq->total;
    if (index < 0) {
        if (index < -total) return nullptr;
        index += total;
    }
    if (index >= total) return nullptr;
    SeqBlock* b = seq->first;
    if (index >= total / 2) {
        // walk from the end
        b = seq->first->prev;
        while (index < b->start_index) b = b->prev;
    } else {
        while (index >= b->start_index + b->count) b = b->next;
    }
    return b->data + (size_t)(index - b->start_index) * seq->elem_size;
}

int sliceLength(Slice slice, const Sequence* seq) {
    const int total = seq ? seq->total : 0;
    int start = slice.start, end = slice.end;
    if (start < 0) start += total;
    if (end < 0) end += total;
    if (start < 0) start = 0;
    if (start > total) start = total;
    if (end > total) end = total;
    const int len = end - start;
    return len < 0 ? 0 : len;
}

void* cvtSeqToArray(const Sequence* seq, void* dst) {
    if (!validSeq(seq) || !dst) return nullptr;
    signed char* out = static_cast<signed char*>(dst);
    if (!seq->first) return dst;
    const SeqBlock* b = seq->first;
    do {
        const size_t n = (size_t)b->count * seq->elem_size;
        std::memcpy(out, b->data, n);
        out += n;
        b = b->next;
    } while (b != seq->first);
    return dst;
}

// ---- writers and readers

void startWriteSeq(int seqFlags, int headerSize, int elemSize, MemStorage* storage,
                   SeqWriter* writer) {
    if (!writer) return;
    std::memset(writer, 0, sizeof(*writer));
    Sequence* seq = createSeq(seqFlags, headerSize, elemSize, storage);
    if (seq) startAppendToSeq(seq, writer);
}

void startAppendToSeq(Sequence* seq, SeqWriter* writer) {
    if (!writer) return;
    std::memset(writer, 0, sizeof(*writer));
    if (!validSeq(seq)) return;
    writer->header_size = seq->header_size;
    writer->seq = seq;
    writer->block = seq->first ? seq->first->prev : nullptr;
    writer->ptr = seq->ptr;
    writer->block_min = seq->ptr;
    writer->block_max = seq->block_max;
}

void flushSeqWriter(SeqWriter* writer) {
    if (!writer || !writer->seq) return;
    Sequence* seq = writer->seq;
    seq->ptr = writer->ptr;
    if (writer->block) {
        const int n = (int)((writer->ptr - writer->block_min) / seq->elem_size);
        writer->block->count += n;
        seq->total += n;
        writer->block_min = writer->ptr;
    }
}

bool createSeqBlock(SeqWriter* writer) {
    if (!writer || !writer->seq) return false;
    Sequence* seq = writer->seq;
    flushSeqWriter(writer);
    if (!growSeq(seq)) {
        // no room: the writer stays full so that nothing is written
        writer->block_max = writer->ptr;
        return false;
    }
    writer->block = seq->first->prev;
    writer->ptr = seq->ptr;
    writer->block_min = seq->ptr;
    writer->block_max = seq->block_max;
    return true;
}

Sequence* endWriteSeq(SeqWriter* writer) {
    if (!writer || !writer->seq) return nullptr;
    flushSeqWriter(writer);
    Sequence* seq = writer->seq;
    // unused room at the end of the storage's free pointer goes back to it
    MemStorage* storage = seq->storage;
    signed char* fp = freePtr(storage);
    if (seq->block_max && fp && seq->block_max == fp && seq->ptr < seq->block_max) {
        // keep the storage's free space a multiple of the alignment
        signed char* keep = reinterpret_cast<signed char*>(storage->top) +
                            alignUp((int)(seq->ptr - reinterpret_cast<signed char*>(storage->top)));
        if (keep < seq->block_max) {
            storage->free_space += (int)(seq->block_max - keep);
            seq->block_max = keep;
        }
    }
    writer->seq = nullptr;
    writer->block = nullptr;
    writer->ptr = writer->block_min = writer->block_max = nullptr;
    return seq;
}

void startReadSeq(const Sequence* seq, SeqReader* reader, bool reverse) {
    if (!reader) return;
    std::memset(reader, 0, sizeof(*reader));
    if (!validSeq(seq)) return;
    reader->header_size = seq->header_size;
    reader->seq = const_cast<Sequence*>(seq);
    if (!seq->first || seq->total <= 0) return;
    SeqBlock* first = seq->first;
    SeqBlock* last = first->prev;
    signed char* lastElem = last->data + (size_t)(last->count - 1) * seq->elem_size;
    if (!reverse) {
        reader->block = first;
        reader->ptr = first->data;
        reader->prev_elem = lastElem;
    } else {
        reader->block = last;
        reader->ptr = lastElem;
        reader->prev_elem = first->data;
    }
    reader->block_min = reader->block->data;
    reader->block_max = reader->block->data + (size_t)reader->block->count * seq->elem_size;
    reader->delta_index = reader->block->start_index;
}

void changeSeqBlock(SeqReader* reader, int direction) {
    if (!reader || !reader->block) return;
    SeqBlock* b = direction > 0 ? reader->block->next : reader->block->prev;
    const int esz = reader->seq->elem_size;
    reader->block = b;
    reader->block_min = b->data;
    reader->block_max = b->data + (size_t)b->count * esz;
    reader->ptr = direction > 0 ? b->data : reader->block_max - esz;
    reader->delta_index = b->start_index;
}

int getSeqReaderPos(const SeqReader* reader) {
    if (!reader || !reader->block) return 0;
    return (int)((reader->ptr - reader->block_min) / reader->seq->elem_size) + reader->delta_index;
}

void setSeqReaderPos(SeqReader* reader, int index, bool relative) {
    if (!reader || !reader->block) return;
    const int total = reader->seq->total;
    if (total <= 0) return;
    long long target = relative ? (long long)getSeqReaderPos(reader) + index : index;
    target %= total;
    if (target < 0) target += total;
    SeqBlock* b = reader->seq->first;
    while (target >= b->start_index + b->count) b = b->next;
    const int esz = reader->seq->elem_size;
    reader->block = b;
    reader->block_min = b->data;
    reader->block_max = b->data + (size_t)b->count * esz;
    reader->ptr = b->data + (size_t)(target - b->start_index) * esz;
    reader->delta_index = b->start_index;
}

// ---- sets and trees

Set* createSet(int setFlags, int headerSize, int elemSize, MemStorage* storage) {
    if (headerSize < (int)sizeof(Set)) return nullptr;
    Set* set = static_cast<Set*>(createSeq(setFlags, headerSize, elemSize, storage));
    return set;
}

void* setAdd(Set* set, const void* element) {
    if (!set || set->header_size < (int)sizeof(Set)) return nullptr;
    void* p = seqPush(set, element);
    if (p) set->active_count++;
    return p;
}

void insertNodeIntoTree(Sequence* node, Sequence* parent, Sequence* frame) {
    if (!node || !parent) return;
    node->v_prev = parent != frame ? parent : nullptr;
    node->h_next = nullptr;
    node->h_prev = parent->v_last;
    if (parent->v_last)
        parent->v_last->h_next = node;
    else
        parent->v_next = node;
    parent->v_last = node;
}

}  // namespace tarvo
