#include "oxparsernode.h"

#include <algorithm>
#include <new>
#include <utility>

// Under AddressSanitizer every node goes to the general heap, so that the
// sanitizer still sees each block's use after its end.
#if defined(__SANITIZE_ADDRESS__)
#define OX_NODE_POOL 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define OX_NODE_POOL 0
#endif
#endif
#ifndef OX_NODE_POOL
#define OX_NODE_POOL 1
#endif

namespace {

#if OX_NODE_POOL
// Free blocks by size in steps of 16 bytes, up to the largest node; each
// thread keeps its own, so no lock is needed. A block freed by another thread
// than the one that made it simply joins that thread's lists.
constexpr size_t kStep = 16;
constexpr size_t kClasses = 16;  // blocks up to 256 bytes

struct FreeBlock {
    FreeBlock* next;
};

thread_local FreeBlock* freeBlocks[kClasses];

size_t ClassOf(size_t size) {
    return (size + kStep - 1) / kStep - 1;
}
#endif

}  // namespace

void* OXParserNode::operator new(size_t size) {
#if OX_NODE_POOL
    size_t c = ClassOf(size);
    if (c < kClasses) {
        if (FreeBlock* block = freeBlocks[c]) {
            freeBlocks[c] = block->next;
            return block;
        }
        return ::operator new((c + 1) * kStep);
    }
#endif
    return ::operator new(size);
}

void OXParserNode::operator delete(void* block, size_t size) {
    if (block == nullptr)
        return;
#if OX_NODE_POOL
    size_t c = ClassOf(size);
    if (c < kClasses) {
        auto* freed = static_cast<FreeBlock*>(block);
        freed->next = freeBlocks[c];
        freeBlocks[c] = freed;
        return;
    }
#else
    (void)size;
#endif
    ::operator delete(block);
}

OXParserNodeManager::~OXParserNodeManager() {
    // Nodes of an unfinished parse must not outlive their manager.
    Rollback();
}

void OXParserNodeManager::Forget(OXParserNode& node) {
    // A node dropped during a parse is usually one of the latest, so search
    // from the back.
    auto it = std::find(nodes.rbegin(), nodes.rend(), &node);
    if (it != nodes.rend())
        nodes.erase(std::next(it).base());
}

void OXParserNodeManager::StartTransaction() {
    nodes.clear();
}

void OXParserNodeManager::Commit() {
    nodes.clear();
}

void OXParserNodeManager::Rollback() {
    // Moved aside, so that the destructors (which call Delete) do not change
    // the list being walked.
    std::vector<OXParserNode*> failed;
    failed.swap(nodes);
    for (OXParserNode* node : failed)
        node->Rollback();
    for (OXParserNode* node : failed)
        delete node;
}
