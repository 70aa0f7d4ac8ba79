// Base of every node of a parsed command, and the manager that holds the
// nodes of the parse that is running.
#pragma once

#include <cassert>
#include <cstddef>
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
