#include "oxgway_session.h"

#include "oxconf.h"
#include "oxconn.h"
#include "oxgway_acceptor.h"
#include "oxgway_cmd_cancel.h"
#include "oxgway_cmd_statuscall.h"
#include "oxgway_table.h"
#include "oxgway_cmd_calldataset.h"
#include "oxgway_cmd_callident.h"
#include "oxgway_cmd_setdataset.h"
#include "oxgway_cmd_userinfo.h"
#include "oxobject.h"
#include "oxobjectmanager.h"
#include "testprint.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <unistd.h>

#include <ace/Reactor.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <sys/param.h>

namespace {
constexpr int kPorts = 10;
// Machine parameters cleared whenever the state with a host is thrown away.
constexpr int kHostParameter1 = 3911;
constexpr int kHostParameter2 = 3912;
}  // namespace

OxGWaySession::OxGWaySession()
    : outputBuffer(new char[OxGWayCommandHandler::kOutputSize]),
      receiver(*this, peer(), blockReceiver, transmitter),
      blockReceiver(interpreter, blockTransmitter),
      transmitter(peer(), *this, *ACE_Reactor::instance()),
      blockTransmitter(*this, transmitter),
      interpreter(*this, blockTransmitter, outputBuffer),
      application("application"),
      staticSet("static"),
      measure("measure"),
      action("action"),
      material("matetial") {
    for (OxGWayDataSet* set : {&application, &staticSet, &measure, &action, &material})
        dataSets[set->GetName()] = set;

    char host[100];
    if (gethostname(host, sizeof host) == 0) {
        host[sizeof host - 1] = '\0';
        hostent* entry = gethostbyname(host);
        if (entry != nullptr && entry->h_addr_list != nullptr && entry->h_addr_list[0] != nullptr) {
            in_addr address;
            memcpy(&address, entry->h_addr_list[0], sizeof address);
            serverIp = inet_ntoa(address);
            serverIpKnown = true;
            TestPrintF(0x2000, "GWay(%d): Server Ip: %s\n", sessionId, serverIp.c_str());
        }
    }
    if (!serverIpKnown)
        TestPrintF(4, "GWay(%d):  Error: Internal Error GS-0\n", sessionId);

    transmitter.SetSocketId(sessionId, "GWay");
    transmitter.SetBufferMax(100);
    transmitter.SetDebugMask(0x4000);
    transmitter.SetDetailMask(0x4000);
    receiver.SetSessionId(sessionId);
    blockReceiver.SetSessionId(sessionId);
    blockTransmitter.SetSessionId(sessionId);
    interpreter.SetSessionId(sessionId);

    factory = OxGWayTable::Factory();

    // The machine port of the gateway is the highest one configured.
    int port = 0;
    for (int i = 1; i <= kPorts; ++i)
        if (OxConfiguration::Instance()->GetConnectionCfg(i, true).used)
            port = i;
    if (port == 0) {
        TestPrintF(4, "GWay(%d): No Processor Definition Found\n", sessionId);
        return;
    }
    Connect(port);
    AddHandlers();
    if (comConnected)
        interpreter.COMConnected();
}

void OxGWaySession::AddHandlers() {
    // In the order of the protocol's command table.
    interpreter.AddHandler(new OxGWayCommandCancel(blockTransmitter, *this));
    interpreter.AddHandler(new OxGWayCommandStatusCall(blockTransmitter, *this, interpreter));
    interpreter.AddHandler(new OxGWayCommandCallIdentification(blockTransmitter, dataSets));
    interpreter.AddHandler(new OxGWayCommandCallUserInfo(blockTransmitter, *this, measure));
    static const struct {
        int code;
        const char* kind;
        const char* set;
    } calls[] = {{0x4010, "data", "application"}, {0x4012, "data", "action"},
                 {0x4014, "data", "matetial"},    {0x4016, "data", "static"},
                 {0x4018, "data", "measure"},     {0x4056, "defaults", "application"},
                 {0x4057, "defaults", "action"},  {0x4058, "defaults", "matetial"},
                 {0x4059, "defaults", "static"},  {0x4060, "defaults", "measure"}},
      sets[] = {{0x4011, "data", "application"}, {0x4013, "data", "action"},
                {0x4015, "data", "matetial"},    {0x4017, "data", "static"},
                {0x4019, "data", "measure"},     {0x4051, "defaults", "application"},
                {0x4052, "defaults", "action"},  {0x4053, "defaults", "matetial"},
                {0x4054, "defaults", "static"},  {0x4055, "defaults", "measure"}};
    for (const auto& call : calls)
        interpreter.AddHandler(new OxGWayCommandCallDataset(blockTransmitter, call.code, call.kind,
                                                            *dataSets.at(call.set)));
    OxConnection& connection = *GetConnection();
    for (const auto& set : sets) {
        OxGWayDataSet& dataSet = *dataSets.at(set.set);
        if (dataSet.GetName() == "application")
            interpreter.AddHandler(new OxGWayCommandSetApplicationDataset(
                blockTransmitter, set.code, set.kind, dataSet, connection,
                connection.GetObjectManager()));
        else
            interpreter.AddHandler(new OxGWayCommandSetDataset(blockTransmitter, set.code, set.kind,
                                                               dataSet, connection));
    }
}

OxGWaySession::~OxGWaySession() {
    TestPrintF(0x4000, "GWay(%d): ~OxGWaySession()\n", sessionId);
    COMDisconnected(false);
    if (acceptor != nullptr)
        acceptor->Destroying(*this);
    delete[] outputBuffer;
    outputBuffer = nullptr;
    if (comConnected && GetConnection() != nullptr) {
        GetConnection()->ChangeParm(0.0, kHostParameter1);
        GetConnection()->ChangeParm(0.0, kHostParameter2);
    }
    // The receiver goes before the socket: the reactor must not keep it.
    if (reactor() != nullptr && peer().get_handle() != ACE_INVALID_HANDLE)
        reactor()->remove_handler(
            &receiver, ACE_Event_Handler::ALL_EVENTS_MASK | ACE_Event_Handler::DONT_CALL);
}

int OxGWaySession::open(void* owner) {
    acceptor = static_cast<OxGWayAcceptor*>(owner);
    ACE_INET_Addr local;
    peer().get_local_addr(local);
    if (peer().get_remote_addr(peerAddress) == 0) {
        char ip[INET6_ADDRSTRLEN] = "";
        char name[MAXHOSTNAMELEN + 1] = "";
        peerAddress.get_host_addr(ip, sizeof ip);
        if (peerAddress.get_host_name(name, sizeof name) != 0)
            snprintf(name, sizeof name, "%s", ip);
        TestPrintF(1, "GWay(%d): Connection accepted from %.80s (%s:%d) on port %d\n", sessionId,
                   name, ip, peerAddress.get_port_number(), local.get_port_number());
    } else {
        TestPrintF(1, "GWay(%d): Connection accepted from unknown host\n", sessionId);
    }
    int on = 1;
    if (peer().set_option(IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == -1)
        TestPrintF(4, "GWay(%d): Warn: Unable to disable TCP Nagle algoritme\n", sessionId);
    return receiver.open();
}

int OxGWaySession::close(u_long) {
    TestPrintF(1, "GWay(%d): Client Closing Connection\n", sessionId);
    destroy();
    return 0;
}

int OxGWaySession::handle_close(ACE_HANDLE, ACE_Reactor_Mask) {
    // The close may come from deep inside this session's own input (a reply
    // that overflows the writer's queue), with the receiver still working
    // through its buffer: the object must outlive that dispatch.
    if (closeTimerId == -1)
        closeTimerId = reactor()->schedule_timer(this, nullptr, ACE_Time_Value::zero);
    if (closeTimerId == -1)
        destroy();
    return 0;
}

int OxGWaySession::handle_timeout(const ACE_Time_Value&, const void*) {
    closeTimerId = -1;
    destroy();
    return 0;
}

void OxGWaySession::destroy() {
    delete this;
}

void OxGWaySession::CommModeChange(tagOxConnState state) {
    TestPrintF(0x2000, "GWay(%d): P State; %s\n", sessionId, GetOxConnStateText(state));
    if (state != OXCS_CONNECTED) {
        TestPrintF(0x2000, "GWay(%d): Cancel Connection\n", sessionId);
        COMDisconnected(true);
        blockTransmitter.SendCommand(GWay::GWAY_COMMAND_CANCEL_CONNECTION);
        return;
    }
    if (!CreateGWayParameters())
        return;
    COMConnected();
}

void OxGWaySession::COMConnected() {
    interpreter.COMConnected();
    OXObjectManager& objects = GetConnection()->GetObjectManager();
    systemState = objects.Lookup(kSystemStateId);
    if (systemState == nullptr)
        TestPrintF(4, "GWay(%d): System State Parameter Missing in Configuration\n", sessionId);
    systemState2 = objects.Lookup(kSystemState2Id);
    inputSensor1 = objects.Lookup(kInputSensor1Id);
    inputSensor2 = objects.Lookup(kInputSensor2Id);
    for (OXObject* observed : {systemState2, inputSensor1, inputSensor2})
        if (observed != nullptr)
            observed->Attach(this);
    comConnected = true;
}

void OxGWaySession::COMDisconnected(bool machineLost) {
    comConnected = false;
    runningTasks.clear();
    if (!machineLost) {
        const std::pair<OXObject*, long> observed[] = {{systemState2, kSystemState2Id},
                                                       {inputSensor1, kInputSensor1Id},
                                                       {inputSensor2, kInputSensor2Id}};
        for (const auto& entry : observed)
            if (OXObject* object = Live(entry.first, entry.second))
                object->Detach(this);
    } else {
        for (auto& entry : dataSets)
            entry.second->COMDisconnected();
        interpreter.COMDisconnected();
    }
    systemState = systemState2 = inputSensor1 = inputSensor2 = nullptr;
    Reset();
    for (auto& entry : dataSets)
        entry.second->Clear();
    sectionIds.clear();
}

void OxGWaySession::Reset() {
    receiver.Reset();
    blockReceiver.Reset();
    blockTransmitter.Reset();
    transmitter.Reset();
    interpreter.Reset();
    if (comConnected) {
        GetConnection()->ChangeParm(0.0, kHostParameter1);
        GetConnection()->ChangeParm(0.0, kHostParameter2);
    }
}

OXObject* OxGWaySession::Live(OXObject* object, long id) const {
    // A store that fell out of step is emptied before the connection leaves
    // the state Connected: a pointer kept since then may name a gone object.
    if (object == nullptr || GetConnection() == nullptr)
        return nullptr;
    return GetConnection()->GetObjectManager().Lookup(id) == object ? object : nullptr;
}

int OxGWaySession::GetMState() {
    OXObject* state = Live(systemState, kSystemStateId);
    if (state == nullptr)
        return 4;
    switch (state->GetEnum("Value")) {
        case 0:
            return 1;
        case 1:
            return 2;
        default:
            return 4;
    }
}

void OxGWaySession::Update(OXObject* object) {
    if (object == nullptr)
        return;
    if (object == systemState2)
        TestPrintF(0x2000, "GWay(%d): System State Changed: %d\n", sessionId,
                   object->GetEnum("Value"));
    else if (object == inputSensor1)
        TestPrintF(0x2000, "GWay(%d): Input Sensor 1 Changed: %d\n", sessionId,
                   static_cast<int>(object->GetNumber("Value")));
    else if (object == inputSensor2)
        TestPrintF(0x2000, "GWay(%d): Input Sensor 2 Changed: %d\n", sessionId,
                   static_cast<int>(object->GetNumber("Value")));
}

bool OxGWaySession::CreateGWayParameters() {
    // A table left from an earlier entry into Connected goes first.
    for (auto& entry : dataSets)
        entry.second->Clear();
    OxGWayTable table(sessionId, dataSets, GetConnection()->GetObjectManager(),
                      GetConnection()->GetClassManager(), GetConnection());
    if (!table.CreateParametersFromFile(OxGWayTable::ChooseMapFile()))
        return false;
    sectionIds = table.CollectSectionIds();
    table.CreateAlarmParameters();
    table.CreateFunctionParameters(&runningTasks, serverIp);
    return true;
}

void OxGWaySession::DeletedObject(const OXObject& object) {
    for (auto& entry : dataSets)
        entry.second->ObjectGone(object);
}

OxGWayDataSet* OxGWaySession::GetDataSet(const std::string& name) {
    auto it = dataSets.find(name);
    return it == dataSets.end() ? nullptr : it->second;
}

std::string GetCfgVersion(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in.good())
        return "";
    std::ostringstream all;
    all << in.rdbuf();
    std::string text = all.str();
    if (text.empty())
        return "";
    // The last byte is not part of the text (the file's final line end).
    text.pop_back();
    size_t mark = text.find("#Version ");
    if (mark == std::string::npos)
        return "";
    size_t blank = text.find(' ', mark);
    size_t start = text.find_first_not_of(" \r\n", blank);
    if (start == std::string::npos)
        return "";
    size_t end = text.find_first_of(" \r\n", start);
    std::string version =
        text.substr(start, end == std::string::npos ? std::string::npos : end - start);
    TestPrintF(0x4000, "GWay(_); F;%s;V;%s\n", file.c_str(), version.c_str());
    return version;
}
