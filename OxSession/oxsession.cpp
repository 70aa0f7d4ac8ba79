#include "oxsession.h"

#include "oxactivesessionman.h"
#include "oxconf.h"
#include "oxeventmemo.h"
#include "eventlog.h"
#include "oxgwmain.h"
#include "oxlanguage.h"
#include "oxobjectmsg.h"
#include "oxobject.h"
#include "oxobjectmanager.h"
#include "oxobjectvisitor.h"
#include "oxservice.h"
#include "testprint.h"
#include "xmltext.h"

#include <netinet/in.h>
#include <netinet/tcp.h>

#include <ace/ACE.h>
#include <ace/Reactor.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>

namespace {

const char* const kAccessLevels[] = {"Guest", "User", "Admin", "3", "Service", "RAD"};

// Walks the store of the connection at logon and hands each object to the
// session, in one of two passes.
class OXObjVisitor : public OXObjectVisitor {
  public:
    OXObjVisitor(OxSession& session, bool typeInfo) : session(session), typeInfo(typeInfo) {}
    void Visit(OXComplexObject* object) override {
        if (object != nullptr)
            session.VisitedObject(*object, typeInfo);
    }
    void Visit(OXListObject*) override {}
    void Visit(OXEnumObject*) override {}
    void Visit(OXNumberObject*) override {}
    void Visit(OXStringObject*) override {}

  private:
    OxSession& session;
    bool typeInfo;
};

}  // namespace

// ---------------------------------------------------------------- OxSession

int OxSession::sessCount = 0;

OxSession::OxSession() : sessionId(sessCount++) {
    TestPrintF(0, "Client(%d)::Create\n", sessionId);
    OxSessionManager::Instance()->Add(this);
}

OxSession::~OxSession() {
    TestPrintF(0, "Client(%d)::Close\n", sessionId);
    if (language != nullptr)
        OxLanguageMap::RemoveLanguage(language);
    DisConnect();
    OxSessionManager::Instance()->Remove(this);
}

const char* OxSession::GetAccessLevelText(int level) {
    return level >= 0 && level <= 5 ? kAccessLevels[level] : "";
}

void OxSession::Connect(int port) {
    if (connected)
        return;
    TestPrintF(0x42, "Client(%d)::Connect(%d)\n", sessionId, port);
    connection = OxConnectionMan::Instance()->OxGetConnection(port, true);
    connection->Connect(this);
    connected = true;
}

void OxSession::DisConnect() {
    if (!connected)
        return;
    TestPrintF(0x42, "Client(%d)::Disconnect\n", sessionId);
    connection->DisConnect(this);
    connected = false;
    OxConnectionMan::Instance()->Release(connection);
    connection = nullptr;
}

// ---------------------------------------------------------------- OxSocketSession

OxSocketSession::OxSocketSession()
    : writer(peer_, *this, *ACE_Reactor::instance(), 30, 0),
      input(new char[kInputSize]),
      writePos(input) {
    writer.SetSocketId(sessionId, "Client");
}

OxSocketSession::~OxSocketSession() {
    // The relay's worker writes through this session's writer.
    EndTransfers();
    if (deleteTimerId != -1)
        ACE_Reactor::instance()->cancel_timer(deleteTimerId);
    delete[] input;
    peer_.close();
}

void OxSocketSession::Send(const std::string& text) {
    if (deleteTimerId != -1 || fatalError)
        return;
    writer.Send(text + "\r\n");
}

void OxSocketSession::Send(const std::ostringstream& text) {
    Send(text.str());
}

void OxSocketSession::SendError(const std::string& text) {
    if (deleteTimerId != -1)
        return;
    TestPrintF(0, "Client(%d)::SendError;%.200s\n", sessionId, text.c_str());
    Send("<Message><CommandError description=\"" + XmlEscape(text) + "\"/></Message>");
}

void OxSocketSession::HistoricAlarmEvent(std::string& line) {
    // The description is filled from the session's language.
    OxHistoricAlarmEvent_Fill(line, language);
    Send(line);
}

int OxSocketSession::handle_input(ACE_HANDLE) {
    if (deleteTimerId != -1)
        return -1;
    if (fatalError) {
        TestPrintF(0, "OxSocketSession(%d)::Command fatalError\n", sessionId);
        return -1;
    }
    const size_t capacity = kInputSize - 1;  // 9999
    size_t held = static_cast<size_t>(writePos - input);
    ssize_t n = ACE::recv(peer_.get_handle(), writePos, capacity - held);
    if (n <= 0) {
        TestPrintF(64, "Client(%d):OxSocketSession, broken socket connection\n", sessionId);
        return -1;
    }
    if (static_cast<size_t>(n) == capacity) {
        const char* text = "internal! (socket input buffer size to small)";
        SendError(text);
        TestPrintF(4, "Client(%d):%s\n", sessionId, text);
        return -1;
    }
    writePos[n] = '\0';
    // The line end is looked for in every byte held, not only up to the
    // first zero byte: a client that sends a zero must not make the session
    // deaf until its buffer is full.
    char* end = writePos + n;
    if (std::find_if(input, end, [](char c) { return c == '\r' || c == '\n'; }) == end) {
        writePos = end;  // no line end yet: wait for more
        return 0;
    }
    // Cut into lines; empty lines vanish, and a tail without a line end is
    // a line of its own. A zero byte ends the text of its line.
    std::vector<char*> lines;
    char* p = input;
    while (p < end) {
        while (p < end && (*p == '\r' || *p == '\n'))
            *p++ = '\0';
        if (p >= end)
            break;
        lines.push_back(p);
        while (p < end && *p != '\r' && *p != '\n')
            ++p;
    }
    writePos = input;
    for (char* line : lines) {
        if (deleteTimerId != -1)
            break;
        Command(line);
        if (fatalError)
            break;
    }
    // A <Disconnect> closes the session once the whole read has run: the
    // lines behind it in the same read are still the client's commands.
    if (disconnectPending && deleteTimerId == -1) {
        disconnectPending = false;
        ACE_Reactor::instance()->remove_handler(this, ACE_Event_Handler::READ_MASK);
    }
    return 0;
}

void OxSocketSession::Command(char* line) {
    int len = static_cast<int>(strlen(line));
    if (len < 200)
        TestPrintF(64, "Session(%d)::command(len=%d) %s\n", sessionId, len, line);
    else
        TestPrintF(64, "Session(%d)::command (len=%d) %.79s\n", sessionId, len, line);
    configReceived = false;
    disconnectRequested = false;
    Parse(line);
    if (configReceived) {
        std::string path = OxConfiguration::Instance()->MakeAbsPath("/etc/torc2/oxgwcfg.xml");
        mode_t old = umask(0);
        int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0664);
        umask(old);
        if (fd >= 0)
            ::close(fd);
        std::ofstream out(path, std::ios::out | std::ios::trunc);
        out << line;
        out.close();
        OxService::Instance()->RestartOxService();
    }
    if (disconnectRequested)
        disconnectPending = true;
}

int OxSocketSession::handle_close(ACE_HANDLE, ACE_Reactor_Mask) {
    if (deleteTimerId != -1)
        return -1;
    TestPrintF(0, "OxSocketSession(%d)::handle_close\n", sessionId);
    // One second's delay: the reactor finishes this dispatch and the
    // connection its walk over the observers before the object goes.
    deleteTimerId = ACE_Reactor::instance()->schedule_timer(this, nullptr, ACE_Time_Value(1),
                                                            ACE_Time_Value::zero);
    return -1;
}

int OxSocketSession::handle_timeout(const ACE_Time_Value&, const void*) {
    TestPrintF(0, "OxSocketSession(%d)::delete %p\n", sessionId, static_cast<void*>(this));
    deleteTimerId = -1;
    Destroy();
    return 0;
}

void OxSocketSession::Destroy() {
    ACE_Reactor::instance()->remove_handler(
        this, ACE_Event_Handler::READ_MASK | ACE_Event_Handler::DONT_CALL);
    ACE_Reactor::instance()->cancel_timer(this);
    peer_.close();
    OxSession::Destroy();
    delete this;
}

bool OxSocketSession::CheckConnected() {
    if (connected)
        return true;
    SendError("The command is not legal when a Connect has not been made!");
    return false;
}

bool OxSocketSession::CheckStateIsConnected() {
    if (connectedMode)
        return true;
    SendError("The command is not legal when not in \"Connected\" mode!");
    return false;
}

bool OxSocketSession::CheckStateIsBootload() {
    if (bootloadMode)
        return true;
    SendError("The command is not legal when not in \"Bootload\" mode!");
    return false;
}

bool OxSocketSession::CheckClientDidLogon() {
    if (logonValid)
        return true;
    SendError("The command is not legal when a logon has not been made!");
    return false;
}

void OxSocketSession::StreamListMessage(std::ostringstream& out, bool start,
                                        const std::string& name, bool reset) {
    if (reset)
        out.str("");
    out << "<Message><List position=\"" << (start ? "start" : "end") << "\" name=\"" << name
        << "\"></List></Message>";
}

void OxSocketSession::CommModeChange(tagOxConnState state) {
    if (deleteTimerId != -1)
        return;
    lastLevel = -1;
    connectionState = state;
    if (state == OXCS_CONNECTED) {
        connectedMode = true;
        serialNoEnabled = true;
        // Room for the burst of a logon: every object, twice.
        long objects = connection != nullptr ? connection->GetObjectManager().GetObjectCount() : 0;
        writer.SetBufferMax(static_cast<unsigned>(std::max(1000L, 2 * objects)));
    } else {
        connectedMode = false;
        loggedOn = false;
        logonValid = false;
    }
    bootloadMode = state == OXCS_BOOTLOAD;
    std::ostringstream out;
    out << "<Message><OxMode mode=\"" << GetOxConnStateText(state) << "\">";
    if (connectedMode && connection != nullptr) {
        ACE_Date_Time validFrom = connection->GetConnValidFrom();
        OxTimeMsg_ToXml(out, &validFrom, false);
    }
    out << "</OxMode></Message>";
    Send(out);
}

void OxSocketSession::OxConnectMsg(unsigned port, const std::string& name) {
    if (deleteTimerId != -1)
        return;
    if (connection != nullptr) {
        SendError("Connection was already made");
        return;
    }
    if (port < 1 || port > 8) {
        SendError("CommParm port must be 1 - 8");
        return;
    }
    Send("<Message><Connected protocolVersion=\"" + std::string(kOxGwVersion) + "\"/></Message>");
    if (deleteTimerId != -1)
        return;
    TestPrintF(0, "Client(%d) connects to port %d\n", sessionId, static_cast<int>(port));
    Connect(static_cast<int>(port));
    SendDownloadMsg();
    if (!name.empty() && language == nullptr)
        language = OxLanguageMap::Instance(name);
}

void OxSocketSession::SendWithoutDelay() {
    int on = 1;
    peer().set_option(IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void OxSocketSession::SendDownloadMsg() {
    if (connection == nullptr)
        return;
    const OxDownload& download = connection->GetDownload();
    std::ostringstream out;
    out << "<Message><Download state=\"" << OxDownload::GetStateText(download.GetState())
        << "\" restoreParameters=\"" << (download.GetRestoreParameters() ? "true" : "false")
        << "\" eraseEeprom=\"" << (download.GetEraseEeprom() ? "true" : "false")
        << "\"></Download></Message>";
    Send(out);
}

void OxSocketSession::OxLogonMsg(const std::string& level, const std::string& userId,
                                 const std::string& protocolText, bool autoTypeInfo,
                                 bool disableSerialNo, bool keepLast) {
    if (deleteTimerId != -1) {
        TestPrintF(0, "Client(%d): Logon while closing\n", sessionId);
        return;
    }
    if (!connectedMode) {
        SendError("Logon can only be done in \"connected\" mode");
        return;
    }
    user = userId;
    logonValid = false;
    for (int i = 0; i <= 5; ++i) {
        if (level == GetAccessLevelText(i)) {
            accessLevel = i;
            logonValid = true;
            TestPrintF(0x40, "Client(%d): Logon. Access level=%s\n", sessionId,
                       GetAccessLevelText(i));
            break;
        }
    }
    if (!logonValid) {
        SendError("Logon failed, unmatched level");
        return;
    }
    if (!protocolText.empty())
        protocol = atoi(protocolText.c_str());
    if (disableSerialNo)
        serialNoEnabled = false;
    Send("<Message><Logon/></Message>");
    std::ostringstream list;
    StreamListMessage(list, true, "TypeInfo", false);
    Send(list);
    if (!keepLast)
        lastLevel = -1;
    OXObjectManager& objects = connection->GetObjectManager();
    if (lastLevel == -1) {
        OxMsgContext context = MessageContext(false);
        for (long id : {401L, 405L}) {
            std::ostringstream out;
            if (OXObject* object = objects.Lookup(id)) {
                OxEnumParameterEvent_ToXml(out, context, *object);
                Send(out);
            }
        }
    }
    if (autoTypeInfo) {
        OXObjVisitor typeInfo(*this, true);
        objects.Visit(typeInfo);
    }
    OXObjVisitor events(*this, false);
    objects.Visit(events);
    loggedOn = true;
    lastLevel = accessLevel;
    StreamListMessage(list, false, "TypeInfo", true);
    Send(list);
}

void OxSocketSession::OxAliveMsg() {
    if (deleteTimerId != -1)
        return;
    Send(std::string("<Message><AliveAck mode=\"") +
         GetOxConnStateText(static_cast<tagOxConnState>(connectionState)) +
         "\"></AliveAck></Message>");
}

OxMsgContext OxSocketSession::MessageContext(bool visit) const {
    OxMsgContext context;
    context.accessLevel = accessLevel;
    context.lastLevel = lastLevel;
    context.protocol = protocol;
    context.language = language;
    context.visit = visit;
    context.classes = connection != nullptr ? &connection->GetClassManager() : nullptr;
    return context;
}

void OxSocketSession::NewObject(const OXObject& object) {
    if (!loggedOn || deleteTimerId != -1)
        return;
    std::ostringstream out;
    if (OxNewObjectEvent_ToXml(out, MessageContext(false), object))
        Send(out);
}

void OxSocketSession::UpdatedObject(const OXObject& object) {
    if (!loggedOn || deleteTimerId != -1)
        return;
    OxMsgContext context = MessageContext(false);
    // Other sessions with the same context may have written this event.
    OxEventMemo* memo = OxEventMemo::For(object);
    if (memo != nullptr) {
        if (const std::string* text = memo->Find(context)) {
            Send(*text);
            return;
        }
    }
    std::ostringstream out;
    if (OxObjectEvent_ToXml(out, context, object)) {
        std::string text = out.str();
        if (memo != nullptr)
            memo->Keep(context, text);
        Send(text);
    }
}

void OxSocketSession::DeletedObject(const OXObject& object) {
    if (!loggedOn || deleteTimerId != -1)
        return;
    std::ostringstream out;
    if (OxDeletedObjectEvent_ToXml(out, MessageContext(false), object))
        Send(out);
}

void OxSocketSession::VisitedObject(const OXObject& object, bool typeInfo) {
    if (deleteTimerId != -1)
        return;
    std::ostringstream out;
    if (OxVisitedObject_ToXml(out, MessageContext(true), object, typeInfo))
        Send(out);
}

void OxSocketSession::TestPrintReceived(const std::string& text) {
    if (!testPrintWanted || deleteTimerId != -1)
        return;
    std::ostringstream out;
    OxTestPrintMsg_ToXml(out, text);
    Send(out);
}

// ---------------------------------------------------------------- active session

int OxActiveSocketSession::handle_close(ACE_HANDLE handle, ACE_Reactor_Mask mask) {
    if (!IsClosing()) {
        TestPrintF(64, "SessionTerminates, start polling for a new.\n");
        if (manager != nullptr)
            manager->SessionClosed(this);
    }
    return OxSocketSession::handle_close(handle, mask);
}

OxActiveSocketSession::~OxActiveSocketSession() {
    if (manager != nullptr)
        manager->SessionClosed(this);
}

void OxActiveSocketSession::SendConnectedMsg() {
    Send("<Message><Connected protocolVersion=\"" + std::string(kOxGwVersion) + "\"/></Message>");
}

// ---------------------------------------------------------------- manager

OxSessionManager::OxSessionManager() {
    srandom(static_cast<unsigned>(time(nullptr)));
}

OxSessionManager* OxSessionManager::Instance() {
    static OxSessionManager manager;
    return &manager;
}

void OxSessionManager::Add(OxSession* session) {
    sessions.push_back(session);
}

void OxSessionManager::Remove(OxSession* session) {
    sessions.remove(session);
}

void OxSessionManager::DestroyAll() {
    // Destroy takes each session out of the list itself.
    std::list<OxSession*> copy = sessions;
    for (OxSession* session : copy)
        session->Destroy();
}
