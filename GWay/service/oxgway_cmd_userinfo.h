// Command 0x3007: the machine's active alarms for the host. The handler
// follows every object of class "Alarm" and gives each a message id and, while
// one is free, one of the 50 alarm slots of "measure", through which the
// host answers the alarm.
#pragma once

#include "observer.h"
#include "oxgway_cmd_handler.h"

#include <ctime>
#include <map>
#include <string>

class OXObject;
class OXObjectManager;
class OxGWayDataSet;
class OxGWayParameter;
class OxGWayParAlarmExe;
class OxGWaySession;

class OxGWayCommandCallUserInfo : public ListObserver<OXObjectManager, OXObject>,
                                  public OxGWayCommandHandler {
  public:
    static constexpr int kCode = 0x3007;

    struct AlarmInfo {
        const OXObject* alarm = nullptr;
        int type = 0;
        int priority = 0;
        std::string text;
        long context = 0;
        time_t timeSet = 0;
        OxGWayParameter* userId = nullptr;
        OxGWayParameter* actions = nullptr;
        OxGWayParameter* helpUrl = nullptr;
        OxGWayParAlarmExe* execute = nullptr;
    };

    OxGWayCommandCallUserInfo(OxGWayBlockTransmitter& transmitter, OxGWaySession& session,
                              OxGWayDataSet& measure)
        : OxGWayCommandHandler(transmitter, kCode), session(session), measure(measure) {}
    ~OxGWayCommandCallUserInfo() override;

    bool ExecuteCommand(char* data, unsigned length) override;
    void COMConnected() override;
    void COMDisconnected() override;
    void NewObject(const OXObject& object) override;
    void DeletedObject(const OXObject& object) override;

  private:
    // The section index of the alarm's owner, 6 for none of the session's.
    int SectionOf(const OXObject& alarm) const;
    unsigned MakeId(int section, int type) const;
    // Fills the first free slot; false if none is free.
    bool TakeSlot(AlarmInfo& info, unsigned messageId);

    OxGWaySession& session;
    OxGWayDataSet& measure;
    OXObjectManager* objects = nullptr;
    std::map<unsigned, AlarmInfo> alarms;
};
