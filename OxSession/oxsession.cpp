#include "oxsession.h"

#include "testprint.h"

int OxSocketSession::sessCount = 0;

OxSocketSession::OxSocketSession() : sessionId_(sessCount++) {}

OxSocketSession::~OxSocketSession() {
    peer_.close();
}

int OxSocketSession::handle_input(ACE_HANDLE) {
    char buffer[1024];
    ssize_t n = peer_.recv(buffer, sizeof buffer);
    return n > 0 ? 0 : -1;
}

int OxSocketSession::handle_close(ACE_HANDLE, ACE_Reactor_Mask) {
    delete this;
    return 0;
}

void OxSocketSession::Send(const std::string& text) {
    std::string line = text + "\r\n";
    peer_.send_n(line.data(), line.size());
}

void OxSocketSession::SendError(const std::string& text) {
    TestPrintF(0, "Client(%d)::SendError;%.200s\n", sessionId_, text.c_str());
    Send("<Message><CommandError description=\"" + text + "\"/></Message>");
}

void OxSocketSession::HistoricAlarmEvent(std::string& line) {
    Send(line);
}

OxSessionManager* OxSessionManager::Instance() {
    static OxSessionManager manager;
    return &manager;
}
