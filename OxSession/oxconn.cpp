#include "oxconn.h"

#include "eventlog.h"
#include "mdieditlink.h"
#include "oxalarmlogvisitor.h"
#include "oxconf.h"
#include "oxemailtask.h"
#include "oxeventmemo.h"
#include "oxlanguage.h"
#include "oxobject.h"
#include "oxservice.h"
#include "oxsession.h"
#include "testprint.h"

#include <ace/Reactor.h>

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <sstream>

namespace {

const char* const kStateTexts[] = {"No connection", "Bootload", "Connecting", "Connected"};

const char* const kCompleteInfo = "exe 1 $ 100.101 (-1);";
const char* const kDateTime = "exe 11 $ 100.109();";
// The blanks are the machine's own spelling of this command; it goes out as is.
const char* const kAttach = "exe 2  $   100 . 102 (5);";
const char* const kReset = "exe 3 $ 100.100();";

// Machine objects read here.
constexpr long kSerialHighId = 124;
constexpr long kSerialLowId = 125;
constexpr long kSystemStateId = 134;
constexpr long kConfigStateId = 401;

// Exe ids handed out for awaited results.
constexpr unsigned long kFirstExeId = 1000;
constexpr unsigned long kLastExeId = 2000;

}  // namespace

// ---------------------------------------------------------------- texts

const char* GetOxConnStateText(tagOxConnState state) {
    // clang-format off
    assert(state>=OXCS_NONE && state<OXCS_MAX);
    // clang-format on
    return kStateTexts[state];
}

// ---------------------------------------------------------------- OxConnection

OxConnection::OxConnection(int port)
    : port(port),
      connectionDir(OxConfiguration::Instance()->MakeAbsPath("/var/log/debug") + "/"),
      download(*this) {
    link = new MDIEditLink(*ACE_Reactor::instance(), port, this);
    TestPrintF(1, "COM %d: Open\n", port);
}

OxConnection::~OxConnection() {
    TestPrintF(0, "COM %d: Close\n", port);
    if (eventLog != nullptr) {
        std::ostringstream out;
        OxHistoricServerStateMsg_ToXml(out, SS_STOPPED);
        out << "\n";
        eventLog->Log(out.str());
        delete eventLog;
        eventLog = nullptr;
    }
    delete link;
    link = nullptr;
}

OXObjectManager& OxConnection::GetObjectManager() {
    return link->GetObjectManager();
}

OXClassManager& OxConnection::GetClassManager() {
    return link->GetClassManager();
}

void OxConnection::IncRefCount() {
    ++refCount;
    TestPrintF(32, "Connection referenced %d times\n", refCount);
}

int OxConnection::DecRefCount() {
    if (refCount > 0)
        --refCount;
    TestPrintF(32, "Connection referenced %d times\n", refCount);
    return refCount;
}

void OxConnection::Connect(OxSession* session) {
    sessions.push_back(session);
    session->CommModeChange(state);
}

void OxConnection::DisConnect(OxSession* session) {
    TestPrintF(0, "Disconnect session %p\n", static_cast<void*>(session));
    auto it = std::find(sessions.begin(), sessions.end(), session);
    if (it != sessions.end())
        sessions.erase(it);
    // A result or an exception may still come for a command the session
    // gave: it is consumed as before, but nobody is told any more.
    OXObjectHandler* handler = session;
    for (auto& waiting : handlers)
        if (waiting.second == handler)
            waiting.second = nullptr;
    if (restoreHandler == handler)
        restoreHandler = nullptr;
}

void OxConnection::NotifySessions(tagOxConnState newState) {
    // By index: a session may leave while it is told.
    for (size_t i = 0; i < sessions.size(); ++i)
        sessions[i]->CommModeChange(newState);
}

void OxConnection::TestPrintReceived(const std::string& text) {
    for (size_t i = 0; i < sessions.size(); ++i)
        sessions[i]->TestPrintReceived(text);
}

void OxConnection::LinkDisconnect() {
    link->DoDisconnect();
}

// ---------------------------------------------------------------- link and state

void OxConnection::LinkModeChange(OXLink::tagLinkMode mode) {
    if (mode == linkMode)
        return;
    TestPrintF(32, "Port %d, link mode changed to %d\n", port, static_cast<int>(mode));
    linkMode = mode;
    switch (mode) {
        case OXLink::OXLM_NONE:
            SetState(OXCS_NONE);
            break;
        case OXLink::OXLM_BOOTLOAD:
            SetState(OXCS_BOOTLOAD);
            break;
        case OXLink::OXLM_TORC:
            SetState(OXCS_CONNECTING);
            // A restore of parameters asks for the objects itself once it is done.
            if (download.GetState() != OxDownload::DLS_RESTOREPARMS) {
                TestPrintF(32, "OxConnection::LinkModeChange request complete info\n");
                link->RequestCompleteInfo(true);
            }
            break;
        default:
            assert(false);
    }
}

void OxConnection::SetState(tagOxConnState newState) {
    TestPrintF(1, "COM %d: %s\n", port, GetOxConnStateText(newState));
    state = newState;

    if (newState == OXCS_CONNECTED) {
        connValidFrom.update();
        bool hadLog = eventLog != nullptr;
        UpdateSerialNo();
        // The alarms already active on the machine enter a new log once.
        if (!hadLog && eventLog != nullptr) {
            OXAlarmLogVisitor visitor(*this);
            link->GetObjectManager().Visit(visitor);
        }
        configValid = true;
        const OXObject* configState = link->GetObjectManager().Lookup(kConfigStateId);
        if (configState != nullptr) {
            const OXEnumObject* value = configState->GetEnumObject("Value");
            if (value != nullptr && value->GetValue() == 0)
                configValid = false;
        }
    } else {
        // Waiting handlers hear nothing across a lost link.
        configValid = false;
        serialNo.clear();
        handlers.clear();
    }

    OxDownload::tagConnectionState downloadState = OxDownload::CS_NONE;
    switch (newState) {
        case OXCS_NONE:
            OxLanguageMap::Instance()->ResetTextMapping();
            downloadState = OxDownload::CS_NONE;
            break;
        case OXCS_BOOTLOAD:
            downloadState = OxDownload::CS_BOOTLOAD;
            break;
        case OXCS_CONNECTING:
            OxLanguageMap::Instance()->PerformTextMapping();
            downloadState = OxDownload::CS_CONNECTING;
            break;
        case OXCS_CONNECTED:
            downloadState = OxDownload::CS_CONNECTED;
            break;
        default:
            break;
    }
    download.SetConnectionState(downloadState);
    NotifySessions(newState);

    // The mail task starts with the first connected machine.
    if (newState == OXCS_CONNECTED)
        OxEMailTask::Instance();
}

void OxConnection::UpdateSerialNo() {
    OXObjectManager& objects = link->GetObjectManager();
    const OXObject* high = objects.Lookup(kSerialHighId);
    const OXObject* low = objects.Lookup(kSerialLowId);
    if (high == nullptr || low == nullptr)
        return;

    char text[64];
    snprintf(text, sizeof text, "%lu-%lu",
             static_cast<unsigned long>(OXToLong(high->GetNumber("Value"))),
             static_cast<unsigned long>(OXToLong(low->GetNumber("Value"))));
    serialNo = text;
    TestPrintF(32, "Serial Number: %s\n", serialNo.c_str());

    if (OxConfiguration::Instance()->GetConnectionCfg(port, true).logAlarms &&
        eventLog == nullptr) {
        eventLog = new EventLog();
        eventLog->Open(serialNo);
        std::ostringstream out;
        OxHistoricServerStateMsg_ToXml(out, SS_STARTED);
        out << "\n";
        eventLog->Log(out.str());
    }
}

bool OxConnection::DuplicatedSerialNo() {
    if (serialNo.empty())
        return false;
    OxConnectionMan* manager = OxConnectionMan::Instance();
    int holders = 0;
    bool self = false;
    for (size_t i = 0; i < manager->Count();) {
        OxConnection* other = manager->At(i);
        other->IncRefCount();
        if (other == this)
            self = true;
        if (other->GetSerialNo() == serialNo)
            ++holders;
        size_t before = manager->Count();
        // A connection that nobody else holds any more goes here.
        manager->Release(other);
        if (manager->Count() == before)
            ++i;
    }
    // This connection counts as a holder even if the manager does not list it.
    if (!self)
        ++holders;
    return holders > 1;
}

// ---------------------------------------------------------------- objects

void OxConnection::NewObject(const OXObject& object) {
    if (object.GetClassName() == "Alarm") {
        LogAlarm(object, AET_ACTIVATED);
        if (state == OXCS_CONNECTED) {
            OxEMailTask::Instance()->SendMail(
                new OxEMailAlarm(static_cast<int>(OXToLong(object.GetNumber("AlarmType"))),
                                 object.GetString("Text"), serialNo));
        }
    }
    for (size_t i = 0; i < sessions.size(); ++i)
        sessions[i]->NewObject(object);
}

void OxConnection::UpdatedObject(const OXObject& object) {
    long id = object.GetObjectId();
    if (state == OXCS_CONNECTED && (id == kSerialHighId || id == kSerialLowId))
        UpdateSerialNo();
    if (id == kSystemStateId) {
        const OXObject* systemState = link->GetObjectManager().Lookup(kSystemStateId);
        if (systemState != nullptr) {
            const OXEnumObject* value = systemState->GetEnumObject("Value");
            systemStateRemote = value != nullptr
                                    ? value->GetValue()
                                    : static_cast<int>(OXToLong(systemState->GetNumber("Value")));
            TestPrintF(0, "SystemStateRemote = %d\n", systemStateRemote);
        }
    }
    // Sessions alike in level, protocol and language share one formatting.
    OxEventMemo memo(object);
    for (size_t i = 0; i < sessions.size(); ++i)
        sessions[i]->UpdatedObject(object);
}

void OxConnection::DeletedObject(const OXObject& object) {
    TestPrintF(32, "Port %d, deleted object: %s of type %s\n", port,
               std::to_string(object.GetObjectId()).c_str(), object.GetClassName().c_str());
    if (object.GetClassName() == "Alarm")
        LogAlarm(object, AET_DEACTIVATED);
    for (size_t i = 0; i < sessions.size(); ++i)
        sessions[i]->DeletedObject(object);
}

void OxConnection::LogAlarm(const OXObject& object, tagAlarmEventType type) {
    if (eventLog == nullptr)
        return;
    std::ostringstream out;
    OxAlarmEvent_ToXml(out, object, "HistoricAlarmEvent", type, nullptr);
    out << "\n";
    eventLog->Log(out.str());
}

bool OxConnection::RequestHistoricAlarms(OxSocketSession* session) {
    if (eventLog == nullptr)
        return false;
    ACE_Date_Time today;
    if (today.year() != eventLog->GetYear() || today.month() != eventLog->GetMonth() ||
        today.day() != eventLog->GetDay())
        return false;
    eventLog->SeekToStart();
    std::string line;
    while (eventLog->ReadNextLine(line))
        session->HistoricAlarmEvent(line);
    return true;
}

// ---------------------------------------------------------------- commands and results

unsigned long OxConnection::TransmitCommand(OXObjectHandler* handler, const std::string& body) {
    if (link == nullptr)
        return 0;
    ++exeId;
    if (exeId > kLastExeId)
        exeId = kFirstExeId;
    // The "l" behind the number is part of the wire text; the machine reads it
    // as a suffix of the number.
    std::string text = "exe " + std::to_string(exeId) + "l " + body;
    if (!link->TransmitCommand(text))
        return 0;
    // An id still awaited from 1001 commands ago keeps its handler.
    if (handler != nullptr)
        handlers.insert(std::make_pair(exeId, handler));
    return exeId;
}

void OxConnection::TransmitCommandRemoveHandler(unsigned long id) {
    handlers.erase(id);
}

void OxConnection::ResultReceived(unsigned long id, const OXObject& result) {
    TestPrintF(32, "OxConnection::ResultReceived exeId=%d restore=%d service=%d\n",
               static_cast<int>(id), static_cast<int>(serviceExeId),
               static_cast<int>(restoreExeId));

    switch (id) {
        case EXE_COMPLETE_INFO:
            TestPrintF(32, "Port %d, Requesting Date and Time\n", port);
            link->TransmitCommand(kDateTime);
            break;
        case EXE_DATE_TIME:
            TestPrintF(32, "Time not handled!");
            TestPrintF(32, "Port %d, All objects received\n", port);
            if (autoAttachOnConnect)
                link->TransmitCommand(kAttach);
            if (state == OXCS_CONNECTING)
                SetState(OXCS_CONNECTED);
            break;
        case EXE_ATTACH:
            TestPrintF(32, "Port %d, attached to objects\n", port);
            if (testMode) {
                TestPrintF(32, "Reseting\n");
                link->ResetParser();
                link->TransmitCommand(kReset);
            }
            break;
        case EXE_RESET:
            TestPrintF(32, "Port %d, connection is Reset\n", port);
            if (testMode) {
                link->TransmitCommand(kCompleteInfo);
                TestPrintF(32, "Port %d, requesting complete information.\n", port);
            }
            break;
        case EXE_SYNCHRONISE:
            TestPrintF(32, "Port %d, requesting complete information to synchronise.\n", port);
            SetState(OXCS_CONNECTING);
            link->RequestCompleteInfo(false);
            break;
        default:
            break;
    }

    // Ids 0 stand for nothing awaited.
    if (restoreExeId != 0 && id == restoreExeId)
        RestoreParmsResult(id, result);
    if (serviceExeId != 0 && id == serviceExeId) {
        serviceExeId = 0;
        link->Boot(true);
    }

    auto it = handlers.find(id);
    if (it != handlers.end()) {
        OXObjectHandler* handler = it->second;
        handlers.erase(it);
        if (handler != nullptr)
            handler->ResultReceived(id, result);
    }
}

void OxConnection::ExceptionReceived(unsigned long id, const OXObject& result) {
    TestPrintF(4, "internal! (OxConnection::ExceptionReceived exeId=%d)\n", static_cast<int>(id));
    auto it = handlers.find(id);
    if (it == handlers.end())
        return;
    OXObjectHandler* handler = it->second;
    handlers.erase(it);
    if (handler == nullptr)
        return;

    auto* session = dynamic_cast<OxSocketSession*>(handler);
    if (session == nullptr) {
        handler->ExceptionReceived(id, result);
        return;
    }
    bool restore =
        (restoreExeId != 0 && id == restoreExeId) || (serviceExeId != 0 && id == serviceExeId);
    std::string text = restore ? "RestoreParameters " : "Unknown Command ";
    text += " failed!";
    text += " - Exception: ";
    text += result.GetString("Text");
    session->SendError(text);
}
