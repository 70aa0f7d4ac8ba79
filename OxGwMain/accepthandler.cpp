#include "accepthandler.h"

#include "crash.h"
#include "oxgwmain.h"
#include "oxsession.h"
#include "testprint.h"

#include <ace/Reactor.h>

#include <csignal>

int Accept_Handler::handle_input(ACE_HANDLE) {
    TestPrintF(64, "Connect request from Client\n");
    OxSocketSession* session = new OxSocketSession();
    if (acceptor_.accept(session->peer(), nullptr, nullptr, 1) == -1) {
        // The acceptor leaves the reactor on this path: no more clients until
        // the process restarts.
        TestPrintF(4, "Socket error (connection)!\n");
        return -1;
    }
    TestPrintF(64, "Connection to Client established\n");
    session->SendWithoutDelay();
    ACE_Reactor::instance()->register_handler(session, ACE_Event_Handler::READ_MASK);
    return 0;
}

int Accept_Handler::handle_exception(ACE_HANDLE) {
    TestPrintF(4, "Reactor exception\n");
    return -1;
}

int Accept_Handler::handle_signal(int signum, siginfo_t*, ucontext_t*) {
    if (signum == SIGINT) {
        // Only the first one counts; a later SIGINT is ignored.
        if (!shuttingDown_) {
            shuttingDown_ = true;
            TestPrintF(8, "SIGINT received, shutting down!\n");
            ACE_Reactor::instance()->end_reactor_event_loop();
            OxInterruptTaken();
        }
        return 0;
    }
    // A crash signal does not come back from here.
    if (!CrashSignal(signum))
        TestPrintF(4, "Unhandled signal received: %d\n", signum);
    return 0;
}
