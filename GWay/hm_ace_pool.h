// A fixed pool of equal blocks with a ceiling on the blocks in use. The free
// list is guarded by the allocator's mutex; the count in use is kept by the
// one thread that owns the pool (the reactor thread of a gateway session).
#pragma once

#include <ace/Malloc_T.h>
#include <ace/Thread_Mutex.h>

#include <cstddef>

template <class T>
class HM_ACE_Pool : public ACE_Cached_Allocator<T, ACE_Thread_Mutex> {
    using Base = ACE_Cached_Allocator<T, ACE_Thread_Mutex>;

  public:
    // Bytes of one node: the block rounded up to the allocator's alignment.
    static constexpr size_t NODE_SIZE = ACE_MALLOC_ROUNDUP(sizeof(T), ACE_MALLOC_ALIGN);

    explicit HM_ACE_Pool(size_t max = 100) : Base(max), max(max) {}

    // A node, or null when all are in use or n does not fit in one.
    void* malloc(size_t n = sizeof(T)) override {
        if (inUse >= max || n > NODE_SIZE)
            return nullptr;
        void* node = Base::malloc(n > sizeof(T) ? sizeof(T) : n);
        if (node != nullptr)
            ++inUse;
        return node;
    }
    void free(void* node) override {
        if (node == nullptr)
            return;
        Base::free(node);
        --inUse;
    }
    size_t GetInUse() const { return inUse; }
    size_t GetMax() const { return max; }

  private:
    size_t max;
    size_t inUse = 0;
};
