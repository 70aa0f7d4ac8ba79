#include "oxstorepool.h"

#include <atomic>
#include <cstdint>
#include <new>

#include <sys/mman.h>

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
// joins that thread's list of its size.
constexpr size_t kStep = 8;
constexpr size_t kClasses = 32;
// New blocks of every size are cut one after another from chunks of this
// size at this alignment, which the kernel may back with one large page each.
// The parts of an object made in one go then lie together, in the order they
// were made, and an update that touches one object of the store at random
// finds them in a few lines of one page (see OXStoreMark). Chunks are never
// given back: the store that made them is refilled at the next connect. When
// every block is free again (the store was reset), cutting starts over at the
// first chunk, so that a new transfer lies in order as the first did instead
// of being scattered over the blocks the last one left.
constexpr size_t kChunkBytes = 2 * 1024 * 1024;

struct FreeBlock {
    FreeBlock* next;
};

// The first bytes of each chunk: the chunk after it, and the thread that
// cuts it.
struct ChunkHeader {
    char* next;
    unsigned long owner;
};

// A number of its own for each thread that cuts blocks, never reused.
std::atomic<unsigned long> threadCount{0};
thread_local const unsigned long thisThread = ++threadCount;

// A block freed here that another thread cut joins this thread's lists, as
// any block, but only this thread's own count towards all being free: a
// thread's blocks in use are those it cut less its own that are free. Such
// a block on the lists at a rewind is left unused.
bool IsOwn(const void* block) {
    auto chunk = reinterpret_cast<uintptr_t>(block) & ~(kChunkBytes - 1);
    return reinterpret_cast<const ChunkHeader*>(chunk)->owner == thisThread;
}

thread_local FreeBlock* freeLists[kClasses];
thread_local size_t freeBytes = 0;
thread_local size_t cutBytes = 0;
thread_local char* firstChunk = nullptr;
thread_local char* currentChunk = nullptr;
thread_local char* streamNext = nullptr;
thread_local char* streamEnd = nullptr;

// A chunk aligned to its size: mapped at twice the size, less the ends.
char* NewChunk() {
    void* mapped =
        mmap(nullptr, 2 * kChunkBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED)
        throw std::bad_alloc();
    auto start = reinterpret_cast<uintptr_t>(mapped);
    uintptr_t aligned = (start + kChunkBytes - 1) & ~(kChunkBytes - 1);
    if (aligned != start)
        munmap(mapped, aligned - start);
    uintptr_t tail = aligned + kChunkBytes;
    if (start + 2 * kChunkBytes != tail)
        munmap(reinterpret_cast<void*>(tail), start + 2 * kChunkBytes - tail);
    // Only a wish: a kernel without large pages maps small ones as they are
    // touched.
    madvise(reinterpret_cast<void*>(aligned), kChunkBytes, MADV_HUGEPAGE);
    return reinterpret_cast<char*>(aligned);
}

// Moves the stream to the chunk after the current one, made if there is none.
void NextChunk() {
    char* chunk =
        currentChunk != nullptr ? reinterpret_cast<ChunkHeader*>(currentChunk)->next : firstChunk;
    if (chunk == nullptr) {
        chunk = NewChunk();
        *reinterpret_cast<ChunkHeader*>(chunk) = ChunkHeader{nullptr, thisThread};
        if (currentChunk != nullptr)
            reinterpret_cast<ChunkHeader*>(currentChunk)->next = chunk;
        else
            firstChunk = chunk;
    }
    currentChunk = chunk;
    streamNext = chunk + sizeof(ChunkHeader);
    streamEnd = chunk + kChunkBytes;
}

// All blocks are free: the free lists are dropped and cutting starts over.
void Rewind() {
    for (FreeBlock*& list : freeLists)
        list = nullptr;
    freeBytes = cutBytes = 0;
    currentChunk = nullptr;
    streamNext = streamEnd = nullptr;
}

size_t ClassOf(size_t size) {
    return size == 0 ? 0 : (size + kStep - 1) / kStep - 1;
}

}  // namespace
#endif

void* OXStoreAlloc(size_t size) {
#if OX_STORE_POOL
    size_t c = ClassOf(size);
    if (c < kClasses) {
        size_t blockBytes = (c + 1) * kStep;
        if (FreeBlock* block = freeLists[c]) {
            freeLists[c] = block->next;
            if (IsOwn(block))
                freeBytes -= blockBytes;
            return block;
        }
        // The rest of a chunk, less than the largest block, is left.
        if (static_cast<size_t>(streamEnd - streamNext) < blockBytes)
            NextChunk();
        void* block = streamNext;
        streamNext += blockBytes;
        cutBytes += blockBytes;
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
        freed->next = freeLists[c];
        freeLists[c] = freed;
        if (IsOwn(block)) {
            freeBytes += (c + 1) * kStep;
            if (freeBytes == cutBytes)
                Rewind();
        }
        return;
    }
#else
    (void)size;
#endif
    ::operator delete(block);
}

const char* OXStoreMark() {
#if OX_STORE_POOL
    return streamNext;
#else
    return nullptr;
#endif
}

size_t OXStoreUsedBytes() {
#if OX_STORE_POOL
    return cutBytes - freeBytes;
#else
    return 0;
#endif
}
