// Enters the alarms that are already active on the machine into the event
// log of its connection, when that log opens.
#pragma once

#include "oxobjectvisitor.h"

class OxConnection;

class OXAlarmLogVisitor : public OXObjectVisitor {
  public:
    explicit OXAlarmLogVisitor(OxConnection& connection) : connection_(connection) {}

    // Logs an object of class "Alarm" as activated; null is passed over.
    void Visit(OXComplexObject* object) override;
    void Visit(OXListObject*) override {}
    void Visit(OXEnumObject*) override {}
    void Visit(OXNumberObject*) override {}
    void Visit(OXStringObject*) override {}

  private:
    OxConnection& connection_;
};
