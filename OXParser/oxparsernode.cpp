#include "oxparsernode.h"

#include <algorithm>
#include <utility>

OXParserNode::OXParserNode(OXParserNodeManager* manager) : pNodeManager(manager) {
    if (pNodeManager != nullptr)
        pNodeManager->Add(*this);
}

OXParserNode::~OXParserNode() {
    if (pNodeManager != nullptr)
        pNodeManager->Delete(*this);
}

OXParserNodeManager::~OXParserNodeManager() {
    // Nodes of an unfinished parse must not outlive their manager.
    Rollback();
}

void OXParserNodeManager::Add(OXParserNode& node) {
    nodes.push_back(&node);
}

void OXParserNodeManager::Delete(OXParserNode& node) {
    // Nodes of a committed tree are no longer listed; a node dropped during a
    // parse is usually one of the latest, so search from the back.
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
