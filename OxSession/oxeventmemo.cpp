#include "oxeventmemo.h"

namespace {

// The memos of the events in hand in this thread, innermost first.
thread_local OxEventMemo* current = nullptr;

bool SameContext(const OxMsgContext& a, const OxMsgContext& b) {
    return a.accessLevel == b.accessLevel && a.lastLevel == b.lastLevel &&
           a.protocol == b.protocol && a.language == b.language && a.visit == b.visit &&
           a.classes == b.classes;
}

}  // namespace

OxEventMemo::OxEventMemo(const OXObject& object) : object(object), previous(current) {
    current = this;
}

OxEventMemo::~OxEventMemo() {
    current = previous;
}

OxEventMemo* OxEventMemo::For(const OXObject& object) {
    return current != nullptr && &current->object == &object ? current : nullptr;
}

const std::string* OxEventMemo::Find(const OxMsgContext& context) const {
    for (const Entry& entry : entries)
        if (SameContext(entry.context, context))
            return &entry.text;
    return nullptr;
}

void OxEventMemo::Keep(const OxMsgContext& context, const std::string& text) {
    entries.push_back({context, text});
}
