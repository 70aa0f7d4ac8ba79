#include "oxgway_acceptor.h"

#include "testprint.h"

#include <ace/Reactor.h>

#include <algorithm>

OxGWayAcceptor::OxGWayAcceptor() : ACE_Acceptor<OxGWaySession, ACE_SOCK_Acceptor>(nullptr, 1) {}

OxGWayAcceptor::~OxGWayAcceptor() {
    TestPrintF(0x4000, "GWay(_): ~OxGWayAcceptor()\n");
    while (!sessions.empty()) {
        OxGWaySession* session = sessions.front();
        sessions.pop_front();
        session->close(0);
    }
}

int OxGWayAcceptor::Open(const ACE_INET_Addr& addr) {
    port = addr.get_port_number();
    // Host sockets are non-blocking: the reactor thread never waits on one.
    return open(addr, ACE_Reactor::instance(), ACE_NONBLOCK, 1, 1);
}

ACE_INET_Addr OxGWayAcceptor::GetAddr() {
    ACE_INET_Addr addr;
    acceptor().get_local_addr(addr);
    return addr;
}

void OxGWayAcceptor::Destroying(OxGWaySession& session) {
    sessions.remove(&session);
}

int OxGWayAcceptor::make_svc_handler(OxGWaySession*& session) {
    int result = ACE_Acceptor<OxGWaySession, ACE_SOCK_Acceptor>::make_svc_handler(session);
    if (result == 0 && session != nullptr)
        sessions.push_back(session);
    return result;
}
