// Small-object storage for the object store. A machine's world is some
// hundred thousand values, attributes and tables of a few dozen bytes each;
// from the general heap each would carry a block header and be rounded up to
// the heap's size steps. Here blocks of one size are cut from larger slabs
// and kept on a free list of their size when they are given back.
#pragma once

#include <cstddef>

// A block of size bytes; sizes above the pool's largest go to the heap.
// Freed with the same size.
void* OXStoreAlloc(size_t size);
void OXStoreFree(void* block, size_t size);
// Bytes of the calling thread's slabs less those on its free lists: what the
// pool holds in use. The slabs come from memory mapped apart from the heap,
// so the store's whole memory is the heap in use plus these.
size_t OXStoreUsedBytes();
// Where the calling thread's next new block will be cut: the blocks made
// between two marks lie between them, as long as no free block of their size
// was at hand and no new chunk began. Null where the pool is off.
const char* OXStoreMark();

// Base of the store's classes: their objects come from the pool. A class
// with a virtual destructor is given back with its own size.
class OXStorePooled {
  public:
    static void* operator new(size_t size) { return OXStoreAlloc(size); }
    static void operator delete(void* block, size_t size) { OXStoreFree(block, size); }
};
