// The socket to the machine controller and the parser of what it says.
//
// The link connects to TCP 2000 + port and reconnects for ever, frames text
// with a zero byte in both directions, asks for complete information when the
// store loses step, and sends the boot command on a timer.
#pragma once

#include "charbuffer.h"
#include "oxcommandparser.h"
#include "oxlink.h"
#include "observer.h"
#include "timer.h"

#include <ace/Connector.h>
#include <ace/Reactor.h>
#include <ace/SOCK_Connector.h>
#include <ace/SOCK_Stream.h>
#include <ace/Svc_Handler.h>

#include <list>
#include <string>

class MDIEditLink;
class OxConnection;

// Something that takes a received command text.
class RemoteCommandExecuter {
  public:
    virtual ~RemoteCommandExecuter() = default;
    virtual void ExecuteCommand(char* text) = 0;
};

// The socket's event handler: reads, frames and reconnects.
class mySvcHandler : public ACE_Svc_Handler<ACE_SOCK_STREAM, ACE_NULL_SYNCH> {
  public:
    static constexpr int kReadSize = 200;

    mySvcHandler();
    ~mySvcHandler() override;

    int open(void* args) override;
    void connect();
    int handle_input(ACE_HANDLE handle) override;
    int handle_close(ACE_HANDLE handle, ACE_Reactor_Mask mask) override;
    int handle_timeout(const ACE_Time_Value& now, const void* act) override;
    void sendCommand(const char* data, int length);
    void setMdiEditLink(MDIEditLink* link) { link_ = link; }

    // Frames bytes of one read: hands each zero-ended text to the link and
    // keeps an unfinished one for the next read.
    void ProcessReceived(const char* data, size_t length);
    const std::string& PendingCommand() const { return command_; }

  private:
    char* rxBuffer_;
    std::string command_;
    bool discarding_ = false;  // skipping the rest of an over-long command
    MDIEditLink* link_ = nullptr;
};

class MDIEditLink : public Observer<Timer>, public RemoteCommandExecuter {
  public:
    MDIEditLink(ACE_Reactor& reactor, int port, OxConnection* connection);
    ~MDIEditLink() override;

    bool TransmitCommand(std::string text);
    void RequestCompleteInfo(bool reset);
    // Empties the store on purpose, ahead of a complete transfer: the empty
    // store is then not taken for one that lost step.
    void ResetParser();
    void Synchronise();
    char RequestAllInfo();
    void Boot(bool now);
    void DoDisconnect() { Boot(true); }
    void ExecuteCommand(char* text) override;

    int socketConnect();
    void socketClose();

    void Update(Timer* timer) override;

    OXCommandParser& GetParser() { return parser_; }
    OXObjectManager& GetObjectManager() { return parser_.GetObjectManager(); }
    OXClassManager& GetClassManager() { return parser_.GetClassManager(); }
    int GetTcpPort() const { return tcpPort_; }
    OxConnection* GetConnection() const { return pConnection_; }
    bool WaitingForSync() const { return waitingForSync_; }
    size_t BufferedCommands() const { return transmitBuffer_.size(); }

    // Links that have no machine controller between them and the board would
    // use these; on a socket link they do nothing.
    void StartDownload() {}
    void EraseEeprom() {}
    void AbortDownload() {}

  private:
    CharBuffer transmit_;
    OXCommandParser parser_;
    OxConnection* pConnection_;
    int tcpPort_;
    unsigned char requestCount_ = 0;
    bool requestAllowed_ = true;
    Timer requestAllInfoTimer_;
    Timer bootTimer_;
    bool waitingForSync_ = true;
    std::list<std::string> transmitBuffer_;
    mySvcHandler* socketHandler_;
    ACE_Connector<mySvcHandler, ACE_SOCK_CONNECTOR>* connector_;
};
