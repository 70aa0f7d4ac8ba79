// Base of every node of a parsed command, and the manager that holds the
// nodes of the parse that is running.
#pragma once

#include <cassert>
#include <cstddef>
#include <new>
#include <vector>

class OXParserNodeManager;

class OXParserNode {
  public:
    // Registers the node with the manager, if there is one. Nodes made after
    // parsing (clones, specialisations) have none and are tracked by nobody.
    explicit OXParserNode(OXParserNodeManager* manager);
    virtual ~OXParserNode();
    // Forgets the children without destroying them: after a failed parse the
    // manager destroys every node by itself, so no node may be destroyed twice.
    virtual void Rollback() {}

    OXParserNodeManager* GetNodeManager() const { return pNodeManager; }

    // Nodes are made and destroyed by the dozen for every command; freed
    // blocks are kept by size for the next ones instead of going back to the
    // general heap each time.
    static void* operator new(size_t size);
    static void operator delete(void* block, size_t size);

    OXParserNode(const OXParserNode&) = delete;
    OXParserNode& operator=(const OXParserNode&) = delete;

  protected:
    OXParserNodeManager* pNodeManager;
};

// The nodes of the running parse. A successful parse commits them (they now
// belong to their tree); a failed one is rolled back (they are all destroyed).
class OXParserNodeManager {
  public:
    OXParserNodeManager() = default;
    ~OXParserNodeManager();

    void Add(OXParserNode& node) { nodes.push_back(&node); }
    void Delete(OXParserNode& node) {
        // Nodes of a committed tree are no longer listed.
        if (!nodes.empty())
            Forget(node);
    }

    void StartTransaction();
    void Commit();
    void Rollback();

    size_t GetNodeCount() const { return nodes.size(); }

    OXParserNodeManager(const OXParserNodeManager&) = delete;
    OXParserNodeManager& operator=(const OXParserNodeManager&) = delete;

  private:
    void Forget(OXParserNode& node);

    std::vector<OXParserNode*> nodes;
};

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

#if OX_NODE_POOL
// Free blocks by size in steps of 16 bytes, up to the largest node; each
// thread keeps its own, so no lock is needed. A block freed by another thread
// than the one that made it simply joins that thread's lists. Inline, as the
// nodes' constructors are: a parse makes dozens of nodes per command.
namespace oxnodepool {
constexpr size_t kStep = 16;
constexpr size_t kClasses = 16;  // blocks up to 256 bytes

struct FreeBlock {
    FreeBlock* next;
};

inline thread_local FreeBlock* freeBlocks[kClasses];

inline size_t ClassOf(size_t size) {
    return (size + kStep - 1) / kStep - 1;
}
}  // namespace oxnodepool
#endif

namespace oxnodepool {
// A block of at least size bytes: from the free lists where the size has a
// class, from the general heap otherwise. Also used for the element arrays
// of expression lists, which come and go with their nodes.
inline void* Allocate(size_t size) {
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

// Gives back a block of Allocate, with the size it was asked for.
inline void Free(void* block, size_t size) {
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
}  // namespace oxnodepool

inline void* OXParserNode::operator new(size_t size) {
    return oxnodepool::Allocate(size);
}

inline void OXParserNode::operator delete(void* block, size_t size) {
    oxnodepool::Free(block, size);
}

// Inline: nodes are made and destroyed by the dozen for every command.
inline OXParserNode::OXParserNode(OXParserNodeManager* manager) : pNodeManager(manager) {
    if (pNodeManager != nullptr)
        pNodeManager->Add(*this);
}

inline OXParserNode::~OXParserNode() {
    if (pNodeManager != nullptr)
        pNodeManager->Delete(*this);
}

// A node that owns one child: the child is destroyed with it and let go by
// Rollback. The Constant and Symbol forms of units, factors, access rights
// and value expressions are such nodes.
template <class Base, class Child>
class OXOwningNode : public Base {
  public:
    OXOwningNode(OXParserNodeManager* manager, Child* child) : Base(manager), pChild(child) {
        assert(pChild);
    }
    ~OXOwningNode() override { delete pChild; }
    void Rollback() override {
        pChild = nullptr;
        Base::Rollback();
    }

  protected:
    Child* pChild;
};

// A vector of owned nodes, for the list nodes of the grammar.
template <class T>
class OXNodeVector : public OXParserNode {
  public:
    explicit OXNodeVector(OXParserNodeManager* manager, T* first = nullptr)
        : OXParserNode(manager) {
        Add(first);
    }
    ~OXNodeVector() override {
        for (T* node : items)
            delete node;
    }
    void Rollback() override {
        items.clear();
        OXParserNode::Rollback();
    }
    // A null pointer is ignored.
    void Add(T* node) {
        if (node != nullptr)
            items.push_back(node);
    }
    void Reserve(size_t count) { items.reserve(count); }
    int Count() const { return static_cast<int>(items.size()); }
    bool IsEmpty() const { return items.empty(); }
    T* Get(int index) const {
        return index >= 0 && index < Count() ? items[static_cast<size_t>(index)] : nullptr;
    }

  protected:
    std::vector<T*> items;
};
