// The mail task.
// Placeholder until mail lands: it has no thread and nothing to end. A mail
// job handed over is counted and the last one kept; nothing is sent.
#pragma once

#include <memory>
#include <string>
#include <utility>

// A mail job.
class OxEMailData {
  public:
    virtual ~OxEMailData() = default;
    virtual std::string GetSubject(int /*account*/) const { return std::string(); }
    virtual std::string GetBody(int /*account*/) const { return std::string(); }
};

// The mail of one alarm of a machine.
class OxEMailAlarm : public OxEMailData {
  public:
    OxEMailAlarm(int alarmType, std::string alarmText, std::string serialNo)
        : alarmType_(alarmType), alarmText_(std::move(alarmText)), serialNo_(std::move(serialNo)) {}
    int GetAlarmType() const { return alarmType_; }
    const std::string& GetAlarmText() const { return alarmText_; }
    const std::string& GetSerialNo() const { return serialNo_; }

  private:
    int alarmType_;
    std::string alarmText_;
    std::string serialNo_;
};

class OxEMailTask {
  public:
    static OxEMailTask* Instance();
    static void DeleteInstance();
    void end_event_loop() {}

    // Takes ownership of the job.
    void SendMail(const OxEMailData* data);
    int JobsReceived() const { return jobsReceived_; }
    const OxEMailData* LastJob() const { return lastJob_.get(); }

  private:
    int jobsReceived_ = 0;
    std::unique_ptr<const OxEMailData> lastJob_;
};
