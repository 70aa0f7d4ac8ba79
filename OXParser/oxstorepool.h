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
// Bytes on the calling thread's free lists: taken from the heap, in no use,
// kept for the next block of their size. What the store holds is the heap in
// use less these.
size_t OXStoreFreeBytes();

// Base of the store's classes: their objects come from the pool. A class
// with a virtual destructor is given back with its own size.
class OXStorePooled {
  public:
    static void* operator new(size_t size) { return OXStoreAlloc(size); }
    static void operator delete(void* block, size_t size) { OXStoreFree(block, size); }
};
