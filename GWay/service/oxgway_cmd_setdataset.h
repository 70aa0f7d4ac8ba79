// Commands 0x4011-0x4019 and 0x4051-0x4055: the host writes a dataset. Every
// entry is checked first; the changes go to the machine as one command, and
// the host hears twice: XMode 2 when the command has left, then 1 or 16 when
// the machine has answered (or the wait is over).
#pragma once

#include "observer.h"
#include "oxgway_cmd_handler.h"
#include "oxobjecthandler.h"

#include <ace/Event_Handler.h>

#include <string>

class OXObject;
class OXObjectManager;
class OxConnection;
class OxGWayDataSet;

class OxGWayCommandSetDataset : public OxGWayCommandHandler,
                                public ACE_Event_Handler,
                                public Observer<OXObject>,
                                public OXObjectHandler {
  public:
    OxGWayCommandSetDataset(OxGWayBlockTransmitter& transmitter, int code, const char* name,
                            OxGWayDataSet& dataSet, OxConnection& connection);
    ~OxGWayCommandSetDataset() override;

    bool ExecuteCommand(char* data, unsigned length) override;
    void Reset() override { ResetTimers(); }
    // The machine's objects are gone: the watched one is not touched.
    void COMDisconnected() override { watched = nullptr; }
    void ResultReceived(unsigned long id, const OXObject& object) override;
    void ExceptionReceived(unsigned long id, const OXObject& object) override;
    void Update(OXObject* object) override;
    int handle_timeout(const ACE_Time_Value& now, const void* arg) override;

    // Seconds the machine has for the command, and then for the change of
    // the watched object.
    static constexpr int kTimeoutSeconds = 40;

  protected:
    bool Run(char* data, unsigned length);
    void ResetTimers();
    void DropWatched();

    std::string name;
    OxGWayDataSet& dataSet;
    bool useFirstLog = true;
    std::string logFile;
    std::string logFile1;
    OxConnection& connection;
    unsigned long commandId = 0;
    long executeTimerId = -1;
    long updateTimerId = -1;
    OXObject* watched = nullptr;
    long watchedId = 0;
};

// The set of the "application" dataset: after the write it raises the
// machine's flag (object 2005) for it to take the new application data.
class OxGWayCommandSetApplicationDataset : public OxGWayCommandSetDataset {
  public:
    static constexpr long kApplicationFlagId = 2005;
    OxGWayCommandSetApplicationDataset(OxGWayBlockTransmitter& transmitter, int code,
                                       const char* name, OxGWayDataSet& dataSet,
                                       OxConnection& connection, OXObjectManager& objects)
        : OxGWayCommandSetDataset(transmitter, code, name, dataSet, connection), objects(objects) {}
    bool ExecuteCommand(char* data, unsigned length) override;
    void COMConnected() override;
    void COMDisconnected() override {
        OxGWayCommandSetDataset::COMDisconnected();
        flag = nullptr;
    }

  private:
    OXObjectManager& objects;
    OXObject* flag = nullptr;
};
