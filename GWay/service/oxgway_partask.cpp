#include "oxgway_partask.h"

#include "oxconn.h"
#include "oxlanguage.h"
#include "oxobject.h"
#include "oxobjectmanager.h"
#include "testprint.h"

#include <ace/Reactor.h>

#include <cstring>
#include <vector>

namespace {
// The one function whose state 2 is never shown as merely possible.
constexpr long kAlwaysOwnState = 28014;
// The dialog text shown when a task has been started.
constexpr int kStartedText = 99;
constexpr int kStateClearSeconds = 15;
}  // namespace

OXObject* LiveFunction(OXObject* function, long id, OXObjectManager& objects) {
    return function != nullptr && objects.Lookup(id) == function ? function : nullptr;
}

OxGWayParTaskAllowed::OxGWayParTaskAllowed(unsigned id, const std::string& name,
                                           const std::string& access, OXComplexObject* function,
                                           OXObjectManager& objects,
                                           const OxGWayRunningTasks* runningTasks)
    : OxGWayParVariable(id, name, access, "+0.0", "+0.0", "+2.0", "free"),
      function(function),
      functionId(function != nullptr ? function->GetObjectId() : 0),
      objects(objects),
      runningTasks(runningTasks) {
    if (function != nullptr) {
        function->Attach(this);
        UpdateValue();
    }
}

OxGWayParTaskAllowed::~OxGWayParTaskAllowed() {
    COMDisconnected();
}

OXObject* OxGWayParTaskAllowed::GetOXObject() {
    return function;
}

void OxGWayParTaskAllowed::COMDisconnected() {
    if (LiveFunction(function, functionId, objects) != nullptr)
        function->Detach(this);
    function = nullptr;
}

void OxGWayParTaskAllowed::ObjectGone(const OXObject& gone) {
    // Told before the deleted object goes: it can still be detached from.
    if (&gone == function) {
        function->Detach(this);
        function = nullptr;
    }
}

void OxGWayParTaskAllowed::Update(OXObject* subject) {
    if (subject != nullptr && subject == GetOXObject())
        UpdateValue();
}

void OxGWayParTaskAllowed::UpdateValue() {
    OXObject* object = GetOXObject();
    int enabled = static_cast<int>(object->GetNumber("Enabled"));
    int actionState = object->GetEnum("DefaultActionState");
    int next = enabled;
    switch (actionState) {
        case 1:
            next = enabled != 0;
            break;
        case 2:
            break;
        case 3:
            next = 2;
            break;
        default:
            next = 0;
    }
    if (next != state) {
        TestPrintF(0x2000, "GWay(_): Task Allowed: %ld, %u, %ld, %d, %d, %d\n", functionId, id,
                   functionId, state, next, actionState);
        state = next;
        value = GWayNumber(state);
    }
}

const std::string& OxGWayParTaskAllowed::GetValue() {
    static const std::string possible = "+1.0";
    if (state == 2 && functionId != kAlwaysOwnState && runningTasks != nullptr &&
        !runningTasks->empty() && runningTasks->count(functionId) == 0)
        return possible;
    return value;
}

OxGWayParTaskState::OxGWayParTaskState(unsigned id, const std::string& name,
                                       const std::string& access, OXComplexObject* function,
                                       OXObjectManager& objects)
    : OxGWayParVariable(id, name, access, "", "0 chars", "100 chars", "ASCII String"),
      function(function),
      functionId(function != nullptr ? function->GetObjectId() : 0),
      objects(objects) {
    if (function != nullptr)
        function->Attach(this);
}

OxGWayParTaskState::~OxGWayParTaskState() {
    CancelTimer();
    COMDisconnected();
}

void OxGWayParTaskState::CancelTimer() {
    if (timerId != -1)
        ACE_Reactor::instance()->cancel_timer(timerId);
    timerId = -1;
}

void OxGWayParTaskState::SetStateValue(const std::string& text) {
    value = GWayString(text);
    TestPrintF(2, "GWay(_): Task State: %ld, %u, %s\n", functionId, id, value.c_str());
    CancelTimer();
    timerId =
        ACE_Reactor::instance()->schedule_timer(this, nullptr, ACE_Time_Value(kStateClearSeconds));
    if (timerId == -1)
        TestPrintF(4, "GWay(_): Unable to schedule stopped timeout - 2: %ld, %u, %d\n", functionId,
                   id, -1);
}

void OxGWayParTaskState::Update(OXObject* subject) {
    // A function that reports a state shows it by its text.
    if (subject == nullptr || subject != function)
        return;
    OXObject* stateValue = subject->GetAttrValue("State");
    if (stateValue != nullptr)
        SetStateValue(stateValue->AsString());
}

int OxGWayParTaskState::handle_timeout(const ACE_Time_Value&, const void*) {
    timerId = -1;
    value.clear();
    TestPrintF(2, "GWay(_): Task State: %ld, %u, %s\n", functionId, id, "<Cleared>");
    return 0;
}

void OxGWayParTaskState::COMDisconnected() {
    if (LiveFunction(function, functionId, objects) != nullptr)
        function->Detach(this);
    function = nullptr;
}

void OxGWayParTaskState::ObjectGone(const OXObject& gone) {
    if (&gone == function) {
        function->Detach(this);
        function = nullptr;
    }
}

OxGWayParTaskExecute::OxGWayParTaskExecute(unsigned id, const std::string& name,
                                           const std::string& access, long functionId,
                                           bool ownAnswer, OxGWayParTaskState* state,
                                           OxConnection* connection)
    : OxGWayParVariable(id, name, access, "", "0 chars", "20 chars", "ASCII String"),
      functionId(functionId),
      ownAnswer(ownAnswer),
      state(state),
      connection(connection) {}

int OxGWayParTaskExecute::Unserialize(const char* text, char*&) {
    bool start = strstr(text, "Start") != nullptr;
    bool stop = strstr(text, "Stop") != nullptr;
    TestPrintF(2, "GWay(_): Task Execute: %ld, %u, %s, %s\n", functionId, id, text,
               start ? "Start" : (stop ? "Stop" : ""));
    std::vector<double> none;
    if (start) {
        if (connection != nullptr)
            connection->ExecuteFunction(static_cast<int>(functionId), -1, none);
        if (state != nullptr && !ownAnswer)
            state->SetStateValue(
                OxLanguageMap::getDialogText(kStartedText, OxGWayParLanguage::GetLanguageMap()));
    } else if (stop && connection != nullptr) {
        connection->ExecuteFunction(static_cast<int>(functionId), -2, none);
    }
    return 0;
}
