// Client commands on functions and alarms: execute a function with its
// arguments, answer an alarm with one of its replies. The request for the
// alarm events of a day is answered from the event log, in oxsession.cpp.
#include "oxsession.h"

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
