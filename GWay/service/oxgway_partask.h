// Table parameters of the machine's tasks (its function objects that the
// operator may start): whether a task may run, its state text, and the
// start and stop written by the host.
#pragma once

#include "observer.h"
#include "oxgway_parameter.h"

#include <ace/Event_Handler.h>

#include <map>
#include <string>

class OXComplexObject;
class OXObjectManager;

// The function object while the store still holds it under its id (a store
// that fell out of step is emptied before the machine's state changes).
OXObject* LiveFunction(OXObject* function, long id, OXObjectManager& objects);

// The tasks the session has started and that have not ended yet, by
// function id.
using OxGWayRunningTasks = std::map<long, OXObject*>;

class OxGWayParTaskAllowed : public OxGWayParVariable, public Observer<OXObject> {
  public:
    // runningTasks may be null where no session is at hand.
    OxGWayParTaskAllowed(unsigned id, const std::string& name, const std::string& access,
                         OXComplexObject* function, OXObjectManager& objects,
                         const OxGWayRunningTasks* runningTasks);
    ~OxGWayParTaskAllowed() override;
    void Update(OXObject* subject) override;
    const std::string& GetValue() override;
    OXObject* GetOXObject() override;
    void COMDisconnected() override;
    void ObjectGone(const OXObject& gone) override;

  private:
    void UpdateValue();

    OXObject* function;
    long functionId;
    OXObjectManager& objects;
    int state = -1;
    const OxGWayRunningTasks* runningTasks;
};

class OxGWayParTaskState : public OxGWayParVariable,
                           public Observer<OXObject>,
                           public ACE_Event_Handler {
  public:
    OxGWayParTaskState(unsigned id, const std::string& name, const std::string& access,
                       OXComplexObject* function, OXObjectManager& objects);
    ~OxGWayParTaskState() override;
    // Shows the text, and clears it again 15 seconds after the last change.
    void SetStateValue(const std::string& text);
    void Update(OXObject* subject) override;
    int handle_timeout(const ACE_Time_Value& now, const void* act) override;
    void COMDisconnected() override;
    void ObjectGone(const OXObject& gone) override;

  private:
    void CancelTimer();

    OXObject* function;
    long functionId;
    OXObjectManager& objects;
    long timerId = -1;
};

class OxGWayParTaskExecute : public OxGWayParVariable {
  public:
    // connection may be null where no machine is at hand.
    OxGWayParTaskExecute(unsigned id, const std::string& name, const std::string& access,
                         long functionId, bool ownAnswer, OxGWayParTaskState* state,
                         OxConnection* connection);
    // "Start" or "Stop" in the value starts or stops the task at once; the
    // dataset's command carries nothing of it.
    int Unserialize(const char* value, char*& output) override;

  private:
    long functionId;
    bool ownAnswer;
    OxGWayParTaskState* state;
    OxConnection* connection;
};
