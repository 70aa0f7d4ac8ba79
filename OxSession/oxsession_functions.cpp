// Client commands on functions and alarms: execute a function with its
// arguments, answer an alarm with one of its replies, and list the alarm
// events of a day from the connection's memory and the event log.
#include "eventlog.h"
#include "oxsession.h"

#include <ace/Date_Time.h>
#include <ace/OS_NS_sys_time.h>

#include <sstream>
#include <vector>

void OxSocketSession::OxExecuteFunctionMsg(int id, int action,
                                           const std::vector<double>& arguments) {
    if (!CheckConnectedAndLogon())
        return;
    if (LookupObject(id) == nullptr)
        return;
    std::vector<double> args = arguments;
    connection->ExecuteFunction(id, action, args);
}

void OxSocketSession::OxReplyAlarmMsg(int id, int replyId) {
    if (!CheckConnectedAndLogon())
        return;
    if (LookupObject(id) != nullptr)
        connection->ReplyAlarm(id, replyId);
}

void OxSocketSession::OxGetAlarmEventsMsg(int year, int month, int day) {
    if (IsClosing() || !CheckConnectedAndLogon())
        return;
    std::ostringstream list;
    StreamListMessage(list, true, "HistoricAlarmEvents", false);
    Send(list);
    ACE_Date_Time today(ACE_OS::gettimeofday());
    bool sent = false;
    if (year == today.year() && month == today.month() && day == today.day())
        sent = connection->RequestHistoricAlarms(this);
    // Another day from its file; today's only if the connection had no log
    // open to send it from (reading it again would send every line twice).
    if (!sent && !connection->GetSerialNo().empty()) {
        EventLog log;
        if (log.OpenForRead(connection->GetSerialNo(), year, month, day)) {
            std::string line;
            while (deleteTimerId == -1 && log.ReadNextLine(line))
                HistoricAlarmEvent(line);
            if (deleteTimerId != -1)
                return;
        }
    }
    StreamListMessage(list, false, "HistoricAlarmEvents", true);
    Send(list);
}
