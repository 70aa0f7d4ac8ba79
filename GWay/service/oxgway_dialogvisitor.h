// Walks the machine's objects and makes the task parameters of a gateway
// session: for each function object that the operator may start by itself,
// its name and help address in "static", and whether it may run, its
// actions, its state and its start and stop in "measure". Functions whose
// ids stand between commas in gway_exclude.txt are left out.
#pragma once

#include "oxgway_partask.h"
#include "oxobjectvisitor.h"

#include <string>

class OxGWayDataSet;
class OxConnection;

class OXDialogVisitor : public OXObjectVisitor {
  public:
    // The most tasks a table holds.
    static constexpr int kMaxTasks = 30;

    OXDialogVisitor(OxGWayDataSet& staticSet, OxGWayDataSet& measure, OXObjectManager& objects,
                    const OxGWayRunningTasks* runningTasks, const std::string& serverIp,
                    OxConnection* connection);
    void Visit(OXComplexObject* object) override;
    void Visit(OXListObject*) override {}
    void Visit(OXEnumObject*) override {}
    void Visit(OXNumberObject*) override {}
    void Visit(OXStringObject*) override {}

    bool ExcludeDialog(long id) const;
    int GetTaskCount() const { return taskCount; }

  private:
    OxGWayDataSet& staticSet;
    OxGWayDataSet& measure;
    OXObjectManager& objects;
    const OxGWayRunningTasks* runningTasks;
    std::string serverIp;
    OxConnection* connection;
    std::string excluded;
    int taskCount = 0;
};
