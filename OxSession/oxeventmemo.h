// One machine event as the sessions of a connection write it. While an
// OxEventMemo lives (the connection holds one around its loop over the
// sessions), sessions with the same message context send the same text: the
// first of them formats it and the others take it from here. Only texts that
// were written are kept; a context that gives no message is formatted again
// for each session, so that whatever that logs is logged as before.
#pragma once

#include "oxobjectmsg.h"

#include <string>
#include <vector>

class OXObject;

class OxEventMemo {
  public:
    explicit OxEventMemo(const OXObject& object);
    ~OxEventMemo();
    OxEventMemo(const OxEventMemo&) = delete;
    OxEventMemo& operator=(const OxEventMemo&) = delete;

    // The memo of the event in hand when it is about this object, else null.
    static OxEventMemo* For(const OXObject& object);
    // The text kept for this context, or null.
    const std::string* Find(const OxMsgContext& context) const;
    void Keep(const OxMsgContext& context, const std::string& text);

  private:
    struct Entry {
        OxMsgContext context;
        std::string text;
    };

    const OXObject& object;
    OxEventMemo* previous;
    std::vector<Entry> entries;
};
