// The mail of one alarm of a machine. Subject and body are the account's
// templates with their placeholders filled in.
#pragma once

#include "oxemaildata.h"

#include <string>
#include <utility>

class OxEMailAlarm : public OxEMailData {
  public:
    OxEMailAlarm(int alarmType, std::string alarmText, std::string serialNo)
        : alarmType(alarmType), alarmText(std::move(alarmText)), serialNo(std::move(serialNo)) {}

    std::string GetSubject(int account) const override;
    std::string GetBody(int account) const override;

    int GetAlarmType() const { return alarmType; }
    const std::string& GetAlarmText() const { return alarmText; }
    const std::string& GetSerialNo() const { return serialNo; }

  private:
    int alarmType;
    std::string alarmText;
    std::string serialNo;
};

// Replaces the placeholders !TIME, !ALARMTEXT, !ALARMTYPE, !SERNO, !VERSION,
// !COMPUTERNAME and !NL, the first of each per pass, until a pass finds none.
std::string FormatString(const std::string& text, const OxEMailAlarm& alarm,
                         const std::string& serialNo);
