#include "oxsession.h"

OxSocketSession::~OxSocketSession() { peer_.close(); }

int OxSocketSession::handle_input(ACE_HANDLE) {
    char buffer[1024];
    ssize_t n = peer_.recv(buffer, sizeof buffer);
    return n > 0 ? 0 : -1;
}

int OxSocketSession::handle_close(ACE_HANDLE, ACE_Reactor_Mask) {
    delete this;
    return 0;
}

OxSessionManager* OxSessionManager::Instance() {
    static OxSessionManager manager;
    return &manager;
}
