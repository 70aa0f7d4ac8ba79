// Clients of the XML protocol.
//
// OxSession is what a machine connection sees of a client: the observer
// interface through which it reports objects, results and mode changes.
// OxSocketSession is one client on a TCP socket: it cuts the byte stream into
// lines, decodes each with the substring dispatcher (OxXmlParser) and writes
// its messages back through a non-blocking SocketWriter. OxSessionManager
// holds every session.
//
// OxSocketSession's member functions span files: oxsession.cpp holds the
// session core (framing, connect, logon, alive, events) and the client
// commands are grouped by family in oxsession_params.cpp (parameters, type
// information, the shared checks), oxsession_devices.cpp (devices, outputs,
// motors), oxsession_functions.cpp (functions, alarm replies, the alarm
// events of a day), oxsession_files.cpp (parameter files,
// configuration), oxsession_setup.cpp (users, processors, session setup,
// languages) and oxsession_transfer.cpp (file upload, system commands, the
// telnet relay).
#pragma once

#include "oxconn.h"
#include "oxobjecthandler.h"
#include "oxxmlparser.h"
#include "socketwriter.h"

#include <ace/Event_Handler.h>
#include <ace/SOCK_Stream.h>

#include <fstream>
#include <list>
#include <sstream>
#include <string>
#include <vector>

class OxActiveSessionMan;
class Telnet;

class OxSession : public OXObjectHandler {
  public:
    OxSession();
    ~OxSession() override;

    // Ends the session (all sessions end before any connection goes).
    virtual void Destroy() {}
    // The state of the connection, at attaching and at every change.
    virtual void CommModeChange(tagOxConnState /*state*/) {}
    // A test print text of the machine.
    virtual void TestPrintReceived(const std::string& /*text*/) {}
    // An object met by a walk over the store at logon; typeInfo: the pass
    // that sends type information, else the pass that sends events.
    virtual void VisitedObject(const OXObject& /*object*/, bool /*typeInfo*/) {}
    // The download of the connection moved, or was told again.
    virtual void DownloadProgress(OxDownload::tagDownloadState /*state*/) {}

    // Attaches to the connection of a machine port (made if needed).
    void Connect(int port);
    void DisConnect();

    // "Guest", "User", "Admin", "3", "Service", "RAD"; empty above 5.
    static const char* GetAccessLevelText(int level);

    int GetSessionId() const { return sessionId; }
    OxConnection* GetConnection() const { return connection; }
    int GetAccessLevel() const { return accessLevel; }
    const std::string& GetUser() const { return user; }
    int GetLastLevel() const { return lastLevel; }
    bool IsConnected() const { return connected; }

  protected:
    OxConnection* connection = nullptr;
    std::string user;
    int accessLevel = -1;
    // The access level for which this client already holds all objects.
    int lastLevel = -1;
    bool connected = false;
    int sessionId;
    const OxTextMap* language = nullptr;

  private:
    static int sessCount;
};

class OxSocketSession : public OxSession, public ACE_Event_Handler, public OxXmlParser {
  public:
    OxSocketSession();
    ~OxSocketSession() override;

    ACE_SOCK_Stream& peer() { return peer_; }
    ACE_HANDLE get_handle() const override { return peer_.get_handle(); }
    int handle_input(ACE_HANDLE handle) override;
    int handle_close(ACE_HANDLE handle, ACE_Reactor_Mask mask) override;
    int handle_timeout(const ACE_Time_Value& now, const void* act) override;
    void Destroy() override;

    // One message line to the client; dropped once the session is closing.
    void Send(const std::string& text);
    void Send(const std::ostringstream& text);
    // <Message><CommandError description="text"/></Message>
    void SendError(const std::string& text);
    // A line of today's event log.
    void HistoricAlarmEvent(std::string& line);

    void CommModeChange(tagOxConnState state) override;
    // What the connection reports, as events to a logged-on client.
    void NewObject(const OXObject& object) override;
    void UpdatedObject(const OXObject& object) override;
    void DeletedObject(const OXObject& object) override;
    void VisitedObject(const OXObject& object, bool typeInfo) override;
    void TestPrintReceived(const std::string& text) override;
    // The download state of the connection, as a client sees it at connect
    // and at every move of the download.
    void SendDownloadMsg();
    void DownloadProgress(OxDownload::tagDownloadState state) override;
    // <Download command="..."/> other than a file copy (oxsession_download.cpp).
    void OxDownloadMsg(const std::string& command) override;
    // Each message goes out at once: without this, the second of two small
    // messages waits for the client's delayed acknowledgement of the first.
    void SendWithoutDelay();

    // Client messages of this part of the protocol.
    void OxConnectMsg(unsigned port, const std::string& name) override;
    void OxLogonMsg(const std::string& level, const std::string& userId,
                    const std::string& protocol, bool autoTypeInfo, bool disableSerialNo,
                    bool keepLast) override;
    void OxAliveMsg() override;
    void OxGetAlarmEventsMsg(int year, int month, int day) override;

    // Client commands that drive the machine and answer questions
    // (oxsession_commands.cpp).
    void OxChangeNumParmMsg(int id, double value) override;
    void OxChangeEnumParmMsg(int id, int value) override;
    void OxSetDeviceMsg(int id, tagOverride override, float value) override;
    void OxForceUpdateMsg(int id) override;
    void OxSetOutputMsg(int id, bool value) override;
    void OxSetMotorMsg(int id, bool start, double value) override;
    void OxExecuteFunctionMsg(int id, int action, const std::vector<double>& arguments) override;
    void OxReplyAlarmMsg(int id, int replyId) override;
    void OxGetTypeMsg(int id) override;
    void OxGetUserInfoMsg() override;
    void OxGetProcessorInfoMsg() override;
    void OxSetupSessionMsg(bool testPrint) override;
    void OxLanguageMsg() override;
    void OxSaveParmsMsg(const std::string& destination, const std::string& file) override;
    void OxRestoreParmsMsg(const std::string& file) override;
    void OxGetConfigMsg() override;
    // The board's own settings (oxsession_board.cpp).
    void OxGetIpConfigMsg() override;
    void OxGetTimeMsg() override;
    void OxIpCfg(const std::string& ethaddr, const std::string& tftpip, const std::string& ipaddr,
                 const std::string& netmask, const std::string& gatewayip, const std::string& dhcp,
                 const std::string& unused1, const std::string& unused2, const std::string& unused3,
                 const std::string& hostname, const std::string& domain, const std::string& autoDns,
                 const std::string& primaryDns, const std::string& alternateDns) override;
    void OxLinuxNetCfg(const std::string& domain, const std::string& nameserver) override;
    void OxTimeMsg(const std::string& timezone, int year, int month, int day, int hour, int min,
                   int sec) override;
    // Configuration elements of a client's <Configuration> message.
    void OxConnectCfg(unsigned port, const std::string& name, unsigned maxAgeDays,
                      bool logAlarms) override;
    void OxDebugLogCfg(unsigned long stdoutMask, unsigned long logFileMask,
                       unsigned long logFileMaxSize, unsigned long logFileComMaxSize) override;
    void OxEMailCfg(const OxEMailAccountCfg& account) override;
    void OxDialUpCfg(const std::string& phoneBookEntry, const std::string& user,
                     const std::string& password) override;
    // File upload, system commands and the telnet relay
    // (oxsession_transfer.cpp).
    void OxCopyFileMsg(const std::string& file) override;
    void OxReadFileMsg(unsigned long position, unsigned long length, const std::string& file,
                       bool eof, const std::string& data) override;
    void OxSystemCommandMsg(const std::string& command, int timeout, char linefeed) override;
    void OxTelnetCommandMsg(const std::string& command, const std::string& data) override;
    // <Message><Telnet name="text" ></Message>, straight to the writer: the
    // relay's worker thread calls it.
    void SendTelnetData(const char* name, const char* text);

    // The type information of one parameter, for a client's request.
    void SendTypeInfo(int id);
    void OxDisconnectMsg() override { disconnectRequested = true; }
    void OxConfigMsg() override { configReceived = true; }
    void ErrorUpdate(const std::string& text) override { SendError(text); }
    int ClientRef() override { return sessionId; }

    // The guards of the commands: each sends its error and gives false.
    bool CheckConnected();
    bool CheckStateIsConnected();
    bool CheckStateIsBootload();
    bool CheckClientDidLogon();

    static void StreamListMessage(std::ostringstream& out, bool start, const std::string& name,
                                  bool reset);

    bool IsClosing() const { return deleteTimerId != -1; }
    bool IsLoggedOn() const { return loggedOn; }
    int GetProtocol() const { return protocol; }
    SocketWriter& Writer() { return writer; }

    static constexpr int kInputSize = 10000;

  private:
    void Command(char* line);
    // G of the commands: connected, then logged on.
    bool CheckConnectedAndLogon() { return CheckConnected() && CheckClientDidLogon(); }
    // The object of the connection's store, or null after the error.
    OXObject* LookupObject(int id);
    // The machine is in mode 7, Service; otherwise the error goes to the
    // client and the answer is false.
    bool CheckServiceMode(const char* error);
    // The value lies within the object's Minimum and Maximum; otherwise the
    // error goes to the client and the answer is false.
    bool CheckInRange(const OXObject& object, double value,
                      const char* error = "The value is out of range");
    // The session's values for the message writers.
    struct OxMsgContext MessageContext(bool visit) const;

    ACE_SOCK_Stream peer_;
    int protocol = 0;
    SocketWriter writer;
    char* input;
    char* writePos;
    bool loggedOn = false;
    bool connectedMode = false;
    bool logonValid = false;
    int connectionState = OXCS_NONE;
    bool testPrintWanted = false;
    bool bootloadMode = false;
    bool configReceived = false;
    bool disconnectRequested = false;
    bool disconnectPending = false;  // a <Disconnect> in the read being run
    // Nothing in the program sets it; it is read before every send and read.
    bool fatalError = false;
    long deleteTimerId = -1;
    bool serialNoEnabled = true;
    // The upload in progress (null when none) and its name.
    std::ofstream* copyFile = nullptr;
    std::string copyFileName;
    Telnet* telnet = nullptr;
    // Relays replaced by a new "run": no command reaches them any more, but
    // they are stopped before the session goes.
    std::vector<Telnet*> oldRelays;
    // Stops every relay and drops the upload; before the session goes.
    void EndTransfers();
};

// The session on a connection that this program opened itself.
class OxActiveSocketSession : public OxSocketSession {
  public:
    explicit OxActiveSocketSession(OxActiveSessionMan* manager) : manager(manager) {}
    // Whatever way the session ends (its own close, or a service restart
    // that destroys every session), its slot is released and polling goes on.
    ~OxActiveSocketSession() override;
    int handle_close(ACE_HANDLE handle, ACE_Reactor_Mask mask) override;
    void SendConnectedMsg();

  private:
    OxActiveSessionMan* manager;
};

class OxSessionManager {
  public:
    static OxSessionManager* Instance();
    void Add(OxSession* session);
    void Remove(OxSession* session);
    // Ends every client session.
    void DestroyAll();
    size_t Count() const { return sessions.size(); }

  private:
    OxSessionManager();
    std::list<OxSession*> sessions;
};
