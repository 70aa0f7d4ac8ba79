#include "oxcommandparser.h"

bool OXCommandParser::Create(OXObjectHandler* handler) {
    handler_ = handler;
    errorStr_.clear();
    initialized_ = true;
    return true;
}

int OXCommandParser::Parse(char* text) {
    (void)text;
    return initialized_ ? 0 : 1;
}

void OXCommandParser::Reset() {
    objectManager_.Reset();
    classManager_.Reset();
}
