#include "oxactivesessionman.h"

#include <ace/Reactor.h>

OxActiveSessionMan::OxActiveSessionMan() {
    for (auto& s : sessions_)
        s = nullptr;
}

OxActiveSessionMan::~OxActiveSessionMan() {
    ACE_Reactor::instance()->cancel_timer(this);
}

void OxActiveSessionMan::SetPollTimer(int seconds) {
    ACE_Reactor::instance()->schedule_timer(this, nullptr, ACE_Time_Value(seconds),
                                            ACE_Time_Value::zero);
}

int OxActiveSessionMan::handle_timeout(const ACE_Time_Value&, const void*) {
    // Polling is dormant while a session lives.
    if (sessions_[0] != nullptr)
        return 1;
    // The outgoing connection needs the connect-server configuration and the
    // client sessions; until they land, polling ends here.
    return 1;
}

void OxActiveSessionMan::SessionClosed(OxActiveSocketSession* session) {
    for (auto& s : sessions_) {
        if (s == session) {
            s = nullptr;
            SetPollTimer(10);
        }
    }
}
