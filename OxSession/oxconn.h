// One machine port: its link, its state and the sessions attached to it.
//
// The connection follows the link through its states, receives every object
// and result that the link's parser produces, hands them on to the client
// sessions of this port, logs alarms, and carries out the fixed conversation
// by which a freshly connected machine controller hands over its objects:
//
//   link mode TORC -> "exe 1 $ 100.101 (-1);"   (all classes and objects)
//   result of 1    -> "exe 11 $ 100.109();"     (date and time)
//   result of 11   -> "exe 2  $   100 . 102 (5);" and Connected
//   result of 2    -> attached to the objects
//
// OxConnection's member functions span files: oxconn.cpp holds the state,
// the start conversation and what the parser reports, oxconn_commands.cpp
// the commands to the machine, oxconn_params.cpp the parameter files and
// oxconn_download.cpp the software download.
#pragma once

#include "eventlog.h"
#include "oxalarm.h"
#include "oxdownload.h"
#include "oxlanguage.h"
#include "oxlink.h"
#include "oxobjecthandler.h"
#include "oxxmlparser.h"

#include <ace/Date_Time.h>

#include <map>
#include <ostream>
#include <string>
#include <vector>

class MDIEditLink;
class OXClassManager;
class OXObjectManager;
class OxSession;
class OxSocketSession;

enum tagOxConnState : int {
    OXCS_NONE = 0,
    OXCS_BOOTLOAD = 1,
    OXCS_CONNECTING = 2,
    OXCS_CONNECTED = 3,
    OXCS_MAX
};

const char* GetOxConnStateText(tagOxConnState state);

class OxConnection : public OXObjectHandler {
  public:
    // Fixed exe ids of the start conversation and of the link.
    enum : unsigned long {
        EXE_COMPLETE_INFO = 1,
        EXE_ATTACH = 2,
        EXE_RESET = 3,
        EXE_SYNCHRONISE = 4,
        EXE_DATE_TIME = 11,
    };

    explicit OxConnection(int port);
    ~OxConnection() override;
    OxConnection(const OxConnection&) = delete;
    OxConnection& operator=(const OxConnection&) = delete;

    // What the link's parser reports.
    void NewObject(const OXObject& object) override;
    void UpdatedObject(const OXObject& object) override;
    void DeletedObject(const OXObject& object) override;
    void ResultReceived(unsigned long exeId, const OXObject& result) override;
    void ExceptionReceived(unsigned long exeId, const OXObject& result) override;

    int GetPort() const { return port; }
    const std::string& GetSerialNo() const { return serialNo; }
    const std::string& GetConnectionDir() const { return connectionDir; }
    bool GetConfigValid() const { return configValid; }
    int GetSystemStateRemote() const { return systemStateRemote; }
    const ACE_Date_Time& GetConnValidFrom() const { return connValidFrom; }
    OXObjectManager& GetObjectManager();
    OXClassManager& GetClassManager();
    OxDownload& GetDownload() { return download; }
    OxSession* GetSession(unsigned i) const { return i < sessions.size() ? sessions[i] : nullptr; }
    tagOxConnState GetState() const { return state; }
    OXLink::tagLinkMode GetLinkMode() const { return linkMode; }
    MDIEditLink* GetLink() const { return link; }
    EventLog* GetEventLog() const { return eventLog; }
    size_t WaitingHandlers() const { return handlers.size(); }

    void IncRefCount();
    int DecRefCount();
    int GetRefCount() const { return refCount; }

    // Attaches a session; it hears the present state at once.
    void Connect(OxSession* session);
    void DisConnect(OxSession* session);

    // Called by the link when its mode changes.
    void LinkModeChange(OXLink::tagLinkMode mode);
    void LinkDisconnect();

    // Sends "exe <id>l " and the body with the next exe id of 1000 to 2000;
    // the handler, if any, receives the result. 0 if nothing was sent.
    unsigned long TransmitCommand(OXObjectHandler* handler, const std::string& body);
    void TransmitCommandRemoveHandler(unsigned long exeId);

    // Commands to the machine (oxconn_commands.cpp). Each builds its exe
    // text and sends it; one that cannot be sent is lost, with a debug line.
    void ChangeParm(double value, int id);
    void SetDevice(int id, tagOverride override, double value);
    void SetOutput(bool on, int id);
    void ForceUpdate(int id);
    void SetMotor(bool start, int id, int speed);
    void ExecuteFunction(int id, int action, std::vector<double>& args);
    void ReplyAlarm(int id, int reply);

    // Parameter files (oxconn_params.cpp). Saving writes the HMP file from
    // the store; restoring sends a checked file to the machine and boots it.
    void SaveParms(const char* file);
    void SaveParms(std::string name, std::string where, OxSocketSession* session);
    bool RestoreParms(OXObjectHandler* handler, const char* file);
    bool RestoreParmsCommand(const char* file);

    // The software download (oxconn_download.cpp). A board's report goes to
    // the board the download is working on; every move of the download is
    // told to each session. The link of a socket has no part in the transfer:
    // its bootload control and stop do nothing.
    void DownloadProgress(int progress, OXPackage::tagPackageUnitId unit,
                          OXPackage::tagPackageStatus status);
    void Download();
    void UpdateSessionDownload(OxDownload::tagDownloadState downloadState);
    std::string GetBinFilePath(OXPackage::tagPackageUnitId unit) const;
    void ControlBootload(bool on);
    void StopDownload();

    void SetAutoAttachOnConnect(bool on) { autoAttachOnConnect = on; }
    void SetTestMode(bool on) { testMode = on; }

    // Sends today's alarm log to one client; false when there is none.
    bool RequestHistoricAlarms(OxSocketSession* session);
    void NotifySessions(tagOxConnState newState);
    void TestPrintReceived(const std::string& text);

    // Writes one alarm event line to the event log, if one is open.
    void LogAlarm(const OXObject& object, tagAlarmEventType type);
    // True if another open connection holds the same serial number.
    bool DuplicatedSerialNo();

  private:
    void SetState(tagOxConnState newState);
    void UpdateSerialNo();
    // The result of the parameter restore command; taken over by the
    // parameter files. Until then the result is only acknowledged.
    void RestoreParmsResult(unsigned long exeId, const OXObject& result);

    int refCount = 0;
    int port;
    MDIEditLink* link = nullptr;
    std::vector<OxSession*> sessions;
    std::map<unsigned long, OXObjectHandler*> handlers;
    unsigned long exeId = 2000;
    OXLink::tagLinkMode linkMode = OXLink::OXLM_NONE;
    tagOxConnState state = OXCS_NONE;
    int systemStateRemote = 0;
    bool autoAttachOnConnect = true;
    bool testMode = false;
    ACE_Date_Time connValidFrom;
    EventLog* eventLog = nullptr;
    std::string serialNo;
    std::string connectionDir;
    bool configValid = false;
    OxDownload download;
    unsigned long restoreExeId = 0;
    unsigned long serviceExeId = 0;
    std::string restoreFile;
    bool checkRestoreFile = true;
    OXObjectHandler* restoreHandler = nullptr;
};
