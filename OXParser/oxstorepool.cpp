#include "oxstorepool.h"

#include <cstdint>
#include <new>

// Under AddressSanitizer every block goes to the general heap, so that the
// sanitizer still sees each block's use after its end.
#if defined(__SANITIZE_ADDRESS__)
#define OX_STORE_POOL 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define OX_STORE_POOL 0
#endif
#endif
#ifndef OX_STORE_POOL
#define OX_STORE_POOL 1
#endif

#if OX_STORE_POOL
namespace {

// Sizes in steps of 8 bytes up to 256; each thread keeps its own lists, so no
// lock is needed. A block freed by another thread than the one that cut it
// joins that thread's list of its size. Slabs are never given back: the store
// that made them is refilled at the next connect.
constexpr size_t kStep = 8;
constexpr size_t kClasses = 32;
constexpr size_t kSlabBytes = 32 * 1024;

struct FreeBlock {
    FreeBlock* next;
};

struct SizeClass {
    FreeBlock* free = nullptr;
    char* next = nullptr;  // the untouched rest of the newest slab
    char* end = nullptr;
};

thread_local SizeClass sizeClasses[kClasses];
thread_local size_t freeBytes = 0;

size_t ClassOf(size_t size) {
    return size == 0 ? 0 : (size + kStep - 1) / kStep - 1;
}

}  // namespace
#endif

void* OXStoreAlloc(size_t size) {
#if OX_STORE_POOL
    size_t c = ClassOf(size);
    if (c < kClasses) {
        SizeClass& sizeClass = sizeClasses[c];
        if (FreeBlock* block = sizeClass.free) {
            sizeClass.free = block->next;
            freeBytes -= (c + 1) * kStep;
            return block;
        }
        size_t blockBytes = (c + 1) * kStep;
        if (sizeClass.next == nullptr ||
            static_cast<size_t>(sizeClass.end - sizeClass.next) < blockBytes) {
            sizeClass.next = static_cast<char*>(::operator new(kSlabBytes));
            sizeClass.end = sizeClass.next + kSlabBytes / blockBytes * blockBytes;
        }
        void* block = sizeClass.next;
        sizeClass.next += blockBytes;
        return block;
    }
#endif
    return ::operator new(size);
}

void OXStoreFree(void* block, size_t size) {
    if (block == nullptr)
        return;
#if OX_STORE_POOL
    size_t c = ClassOf(size);
    if (c < kClasses) {
        auto* freed = static_cast<FreeBlock*>(block);
        freed->next = sizeClasses[c].free;
        sizeClasses[c].free = freed;
        freeBytes += (c + 1) * kStep;
        return;
    }
#else
    (void)size;
#endif
    ::operator delete(block);
}

size_t OXStoreFreeBytes() {
#if OX_STORE_POOL
    return freeBytes;
#else
    return 0;
#endif
}
