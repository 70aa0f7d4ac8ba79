// Base of every node of a parsed command, and the manager that holds the
// nodes of the parse that is running.
#pragma once

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

    void Add(OXParserNode& node);
    void Delete(OXParserNode& node);

    void StartTransaction();
    void Commit();
    void Rollback();

    size_t GetNodeCount() const { return nodes.size(); }

    OXParserNodeManager(const OXParserNodeManager&) = delete;
    OXParserNodeManager& operator=(const OXParserNodeManager&) = delete;

  private:
    std::vector<OXParserNode*> nodes;
};
