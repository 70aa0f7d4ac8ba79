#include "oxemailalarm.h"

#include "oxconf.h"

#include <cstdio>
#include <ctime>
#include <unistd.h>

namespace {

// An alarm text can itself hold a placeholder ("!ALARMTEXT" in the text of
// the alarm would grow for ever): the passes and the length are bounded.
const int kMaxPasses = 1000;
const size_t kMaxLength = 65536;

bool ReplaceFirst(std::string& text, const std::string& key, const std::string& value) {
    size_t at = text.find(key);
    if (at == std::string::npos)
        return false;
    text.replace(at, key.size(), value);
    return true;
}

}  // namespace

std::string FormatString(const std::string& text, const OxEMailAlarm& alarm,
                         const std::string& serialNo) {
    time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    char timeText[16];
    snprintf(timeText, sizeof timeText, "%02d:%02d:%02d", local.tm_hour, local.tm_min,
             local.tm_sec);
    char type[16];
    snprintf(type, sizeof type, "%d", alarm.GetAlarmType());
    char host[256] = {0};
    gethostname(host, 255);

    const std::pair<const char*, std::string> placeholders[] = {
        {"!TIME", timeText},     {"!ALARMTEXT", alarm.GetAlarmText()},
        {"!ALARMTYPE", type},    {"!SERNO", serialNo},
        {"!VERSION", "2.02.05"}, {"!COMPUTERNAME", host},
        {"!NL", "\n"},
    };
    std::string result = text;
    for (int pass = 0; pass < kMaxPasses && result.size() < kMaxLength; ++pass) {
        bool replaced = false;
        for (const auto& [key, value] : placeholders)
            replaced = ReplaceFirst(result, key, value) || replaced;
        if (!replaced)
            break;
    }
    return result;
}

std::string OxEMailAlarm::GetSubject(int account) const {
    return FormatString(OxConfiguration::Instance()->GetEMailSubject(account), *this, serialNo);
}

std::string OxEMailAlarm::GetBody(int account) const {
    return FormatString(OxConfiguration::Instance()->GetEMailMessage(account), *this, serialNo);
}
