// One plant host on the gateway port. The session is at once a client of
// the machine connection (like an XML client session) and the owner of the
// host's socket with its frame and block layers, its command interpreter and
// its five datasets. It follows the machine's state: on Connected it builds
// its table and serves commands, on any other state it throws its state away
// and tells the host with command 0x1018; the TCP connection stays.
#pragma once

#include "observer.h"
#include "oxgway_block_receiver.h"
#include "oxgway_block_transmitter.h"
#include "oxgway_cmd_interpreter.h"
#include "oxgway_dataset.h"
#include "oxgway_links.h"
#include "oxgway_receiver.h"
#include "oxgway_transmitter.h"
#include "oxsession.h"

#include <ace/INET_Addr.h>
#include <ace/SOCK_Stream.h>
#include <ace/Svc_Handler.h>

#include <map>
#include <string>
#include <vector>

class OXObject;
class OXObjectManager;
class OXClassManager;
class OxGWayAcceptor;
class OxGWayParameter;

class OxGWaySession : public OxSession,
                      public Observer<OXObject>,
                      public ACE_Svc_Handler<ACE_SOCK_Stream, ACE_NULL_SYNCH>,
                      public OxGWayMStateSource {
  public:
    // Makes one table parameter from the text of its map line.
    typedef OxGWayParameter* (*CreateParameter)(const char* line, OXObjectManager& objects,
                                                OXClassManager& classes);

    // Object ids the session reads or observes.
    static constexpr long kSystemStateId = 130;
    static constexpr long kSystemState2Id = 134;
    static constexpr long kInputSensor1Id = 7701;
    static constexpr long kInputSensor2Id = 7702;

    OxGWaySession();
    ~OxGWaySession() override;

    void CommModeChange(tagOxConnState state) override;
    void VisitedObject(const OXObject&, bool) override {}
    // The table's parameters let go of a deleted object.
    void DeletedObject(const OXObject& object) override;
    int open(void* acceptor) override;
    int close(u_long flags) override;
    // The socket failed or the host closed it: the session goes once the
    // reactor has finished the dispatch that found it.
    int handle_close(ACE_HANDLE handle, ACE_Reactor_Mask mask) override;
    int handle_timeout(const ACE_Time_Value& now, const void* act) override;
    void destroy() override;
    void Update(OXObject* object) override;

    // The MState of every reply: 1 and 2 for the system state's enum 0 and
    // 1, otherwise, or without that object, 4.
    int GetMState() override;
    OxConnection* GetConnection() const { return OxSession::GetConnection(); }
    // The machine is connected and the table stands.
    bool IsConnected() const { return comConnected; }
    // Forgets partial frames, joined data and queued output, and clears the
    // host's machine parameters 3911 and 3912 while connected.
    void Reset();
    void COMConnected();
    // machineLost: the machine's objects are gone (else the session ends
    // and they are still there).
    void COMDisconnected(bool machineLost);
    bool CreateGWayParameters();

    std::map<long, OXObject*>& GetRunningTasks() { return runningTasks; }
    const std::string& GetServerIp() const { return serverIp; }
    // The ids of the enabled section types, in section order.
    const std::vector<unsigned>& GetSectionIds() const { return sectionIds; }
    OxGWayDataSet* GetDataSet(const std::string& name);
    OxGWayCommandInterpreter& GetInterpreter() { return interpreter; }

  private:
    void AddHandlers();
    // The object if the machine's store still holds it under its id.
    OXObject* Live(OXObject* object, long id) const;

    OxGWayAcceptor* acceptor = nullptr;
    ACE_INET_Addr peerAddress;
    char* outputBuffer;
    OxGWayReceiver receiver;
    OxGWayBlockReceiver blockReceiver;
    OxGWayTransmitter transmitter;
    OxGWayBlockTransmitter blockTransmitter;
    OxGWayCommandInterpreter interpreter;
    OxGWayDataSet application;
    OxGWayDataSet staticSet;
    OxGWayDataSet measure;
    OxGWayDataSet action;
    OxGWayDataSet material;
    std::map<std::string, OxGWayDataSet*> dataSets;
    std::vector<unsigned> sectionIds;
    std::map<std::string, CreateParameter> factory;
    OXObject* systemState = nullptr;
    bool comConnected = false;
    OXObject* systemState2 = nullptr;
    OXObject* inputSensor1 = nullptr;
    OXObject* inputSensor2 = nullptr;
    std::map<long, OXObject*> runningTasks;
    std::string serverIp;
    bool serverIpKnown = false;
    // The timer that destroys the session after its close; -1 if none.
    long closeTimerId = -1;
};

// The version of a gateway table file: the token behind "#Version "; empty
// when the file cannot be read or has none.
std::string GetCfgVersion(const std::string& file);
