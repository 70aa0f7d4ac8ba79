#include "oxparsernode.h"

#include <algorithm>
#include <new>
#include <utility>

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
