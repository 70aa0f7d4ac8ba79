// The store's small-object pool: blocks of every size are cut one after
// another, freed blocks are reused by size, and once every block a thread cut
// is free again it starts over at the beginning. Each case runs on a thread
// of its own, so that it starts with an empty pool.
#include "oxstorepool.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

template <class Body>
void OnFreshThread(Body body) {
    std::thread thread(body);
    thread.join();
}

bool PoolIsOn() {
    bool on = false;
    OnFreshThread([&] {
        void* block = OXStoreAlloc(8);
        on = OXStoreMark() != nullptr;
        OXStoreFree(block, 8);
    });
    return on;
}

TEST(StorePoolTest, BlocksLieInOrderAndCuttingStartsOverWhenAllAreFree) {
    if (!PoolIsOn())
        GTEST_SKIP() << "the pool is off under AddressSanitizer";
    OnFreshThread([] {
        // Sizes of different classes follow each other, rounded to 8 bytes.
        auto* a = static_cast<char*>(OXStoreAlloc(24));
        auto* b = static_cast<char*>(OXStoreAlloc(100));
        auto* c = static_cast<char*>(OXStoreAlloc(8));
        EXPECT_EQ(b, a + 24);
        EXPECT_EQ(c, b + 104);
        EXPECT_EQ(OXStoreMark(), c + 8);
        EXPECT_EQ(OXStoreUsedBytes(), 136u);

        // A freed block is the next of its size; the mark stays.
        OXStoreFree(b, 100);
        EXPECT_EQ(OXStoreUsedBytes(), 32u);
        EXPECT_EQ(OXStoreAlloc(97), b);
        EXPECT_EQ(OXStoreMark(), c + 8);

        // Sizes above the pool's largest come from the heap and do not count.
        void* large = OXStoreAlloc(4096);
        EXPECT_EQ(OXStoreUsedBytes(), 136u);
        OXStoreFree(large, 4096);

        OXStoreFree(a, 24);
        OXStoreFree(c, 8);
        EXPECT_EQ(OXStoreUsedBytes(), 104u);
        OXStoreFree(b, 100);
        EXPECT_EQ(OXStoreUsedBytes(), 0u);
        // All free: the next block is the first again, whatever its size.
        EXPECT_EQ(OXStoreAlloc(200), a);
        EXPECT_EQ(OXStoreMark(), a + 200);
        OXStoreFree(a, 200);
    });
}

TEST(StorePoolTest, BlocksOfAnotherThreadDoNotMakeItStartOver) {
    if (!PoolIsOn())
        GTEST_SKIP() << "the pool is off under AddressSanitizer";
    // A block that thread A cut and thread B frees goes on B's list but is
    // not B's: B, with a block of its own of the same size in use, must not
    // take itself for empty and cut over its block.
    void* fromA = nullptr;
    std::thread a([&] { fromA = OXStoreAlloc(16); });
    a.join();
    OnFreshThread([&] {
        auto* own = static_cast<char*>(OXStoreAlloc(16));
        OXStoreFree(fromA, 16);
        EXPECT_EQ(OXStoreUsedBytes(), 16u);
        EXPECT_EQ(OXStoreMark(), own + 16);
        // B reuses the block it was given, then cuts past its own.
        EXPECT_EQ(OXStoreAlloc(16), fromA);
        EXPECT_EQ(OXStoreAlloc(16), own + 16);
    });
}

}  // namespace
