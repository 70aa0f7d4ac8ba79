#include "oxactivesessionman.h"

#include "oxconf.h"
#include "oxsession.h"
#include "testprint.h"

#include <ace/Reactor.h>
#include <ace/SOCK_Connector.h>

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
    // Only with machine port 1 active and a server configured; otherwise the
    // timer is not armed again, and polling ends until a session closes.
    OxConfiguration* cfg = OxConfiguration::Instance();
    if (!cfg->GetConnectionCfg(1, true).used || !cfg->ConnectToServer(true))
        return 1;
    auto* session = new OxActiveSocketSession(this);
    TestPrintF(64, "OxActiveSessionMan::handle_timeout\n");
    ACE_INET_Addr server = cfg->GetServerAddress();
    ACE_SOCK_Connector connector;
    // Blocking, no time-out: the reactor waits for the server's answer.
    if (connector.connect(session->peer(), server) == -1) {
        TestPrintF(1, "Connection could not be made to server !\n");
        delete session;
        SetPollTimer(10);
        return 1;
    }
    session->SendWithoutDelay();
    ACE_Reactor::instance()->register_handler(session, ACE_Event_Handler::READ_MASK);
    session->SendConnectedMsg();
    session->Connect(1);
    sessions_[0] = session;
    SetPollTimer(1);
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
