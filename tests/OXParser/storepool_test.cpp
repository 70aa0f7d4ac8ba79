// The store's small-object pool: blocks of every size are cut one after
// another, freed blocks are reused by size, and once every block a thread cut
// is free again it starts over at the beginning. Each case runs on threads of
// its own, so that it starts with an empty pool.
#include "oxstorepool.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

namespace {

void OnFreshThread(const std::function<void()>& body) {
    std::thread(body).join();
}

TEST(StorePoolTest, BlocksLieInOrderAndCuttingStartsOverWhenAllAreFree) {
    OnFreshThread([] {
        auto* a = static_cast<char*>(OXStoreAlloc(24));
        if (OXStoreMark() == nullptr) {
            OXStoreFree(a, 24);
            GTEST_SKIP() << "the pool is off under AddressSanitizer";
        }
        // Sizes of different classes follow each other, rounded to 8 bytes.
        auto* b = static_cast<char*>(OXStoreAlloc(100));
        auto* c = static_cast<char*>(OXStoreAlloc(8));
        EXPECT_EQ(b, a + 24);
        EXPECT_EQ(c, b + 104);
        EXPECT_EQ(OXStoreMark(), c + 8);
        // A freed block is the next of its size; the mark stays.
        OXStoreFree(b, 100);
        EXPECT_EQ(OXStoreUsedBytes(), 32u);
        EXPECT_EQ(OXStoreAlloc(97), b);
        EXPECT_EQ(OXStoreMark(), c + 8);
        OXStoreFree(a, 24);
        OXStoreFree(c, 8);
        EXPECT_EQ(OXStoreUsedBytes(), 104u);
        OXStoreFree(b, 100);
        EXPECT_EQ(OXStoreUsedBytes(), 0u);
        // All free: the next block is the first again, whatever its size.
        EXPECT_EQ(OXStoreAlloc(200), a);
        EXPECT_EQ(OXStoreMark(), a + 200);
    });
}

TEST(StorePoolTest, BlocksOfAnotherThreadDoNotMakeItStartOver) {
    // A block that one thread cut and another frees goes on the second's
    // list but is not its own: the second, with a block of its own of the
    // same size in use, must not take itself for empty and cut over it.
    void* other = nullptr;
    OnFreshThread([&] { other = OXStoreAlloc(16); });
    OnFreshThread([&] {
        auto* own = static_cast<char*>(OXStoreAlloc(16));
        bool poolOn = OXStoreMark() != nullptr;
        OXStoreFree(other, 16);
        if (!poolOn) {
            OXStoreFree(own, 16);
            GTEST_SKIP() << "the pool is off under AddressSanitizer";
        }
        EXPECT_EQ(OXStoreUsedBytes(), 16u);
        EXPECT_EQ(OXStoreMark(), own + 16);
        EXPECT_EQ(OXStoreAlloc(16), other);
        EXPECT_EQ(OXStoreAlloc(16), own + 16);
    });
}

}  // namespace
