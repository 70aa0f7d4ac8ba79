// Makes one OxGWaySession per host connection and keeps the list of live
// sessions, so that closing the port closes every host with it.
#pragma once

#include "oxgway_session.h"

#include <ace/Acceptor.h>
#include <ace/INET_Addr.h>
#include <ace/SOCK_Acceptor.h>

#include <list>

class OxGWayAcceptor : public ACE_Acceptor<OxGWaySession, ACE_SOCK_Acceptor> {
  public:
    OxGWayAcceptor();
    // Closes every session still on the list.
    ~OxGWayAcceptor() override;

    // Listens on addr through the singleton reactor; 0 on success. May be
    // called again after a failure.
    int Open(const ACE_INET_Addr& addr);
    // The port this acceptor is meant to listen on.
    unsigned GetPort() const { return port; }
    ACE_INET_Addr GetAddr();
    // A dying session leaves the list.
    void Destroying(OxGWaySession& session);
    size_t SessionCount() const { return sessions.size(); }

  protected:
    int make_svc_handler(OxGWaySession*& session) override;

  private:
    std::list<OxGWaySession*> sessions;
    unsigned port = 0;
};
