#include "oxgway_dialogvisitor.h"

#include "oxconf.h"
#include "oxgway_dataset.h"
#include "oxlanguage.h"
#include "oxobject.h"
#include "testprint.h"

#include <cstdio>
#include <fstream>
#include <sstream>

namespace {
constexpr unsigned kTaskBase = 29500;
// The machine object: a function under it belongs to the machine as a whole.
constexpr long kMachineId = 100;
}  // namespace

OXDialogVisitor::OXDialogVisitor(OxGWayDataSet& staticSet, OxGWayDataSet& measure,
                                 OXObjectManager& objects, const OxGWayRunningTasks* runningTasks,
                                 const std::string& serverIp, OxConnection* connection)
    : staticSet(staticSet),
      measure(measure),
      objects(objects),
      runningTasks(runningTasks),
      serverIp(serverIp),
      connection(connection) {
    std::ifstream in(OxConfiguration::Instance()->MakeAbsPath("/usr/torc2/gway_exclude.txt"),
                     std::ios::binary);
    if (!in.good()) {
        TestPrintF(4, "GWay(_): Unable to read exclude file\n");
        return;
    }
    std::ostringstream all;
    all << in.rdbuf();
    excluded = all.str();
}

bool OXDialogVisitor::ExcludeDialog(long id) const {
    char key[40];
    snprintf(key, sizeof key, ",%ld,", id);
    return excluded.find(key) != std::string::npos;
}

void OXDialogVisitor::Visit(OXComplexObject* object) {
    if (object == nullptr || object->GetClassName() != "Function")
        return;
    if (taskCount >= kMaxTasks) {
        TestPrintF(4, "GWay(_): Maximum number of tool/task definitions exceeded\n");
        return;
    }
    long id = object->GetObjectId();
    if (object->GetAttribute("WriteAccess") == nullptr)
        return;
    if (ExcludeDialog(id)) {
        TestPrintF(0x2000, "GWay(_): Dialog Excluded; %ld;%d\n", id, taskCount);
        return;
    }
    // A task the operator starts by itself hangs under no other object than
    // the machine.
    OXComplexObject* parent = object->GetReference("Parent");
    long parentId =
        parent != nullptr ? parent->GetObjectId() : OXToLong(object->GetNumber("Parent"));
    if (parentId != 0 && parentId != kMachineId)
        return;
    int actionState = object->GetEnum("DefaultActionState");
    bool canAbort = object->GetNumber("CanDefaultActionAbort") != 0;
    (void)actionState;

    const OxTextMap* map = OxGWayParLanguage::GetLanguageMap();
    unsigned base = kTaskBase + 5 * taskCount;
    int number = taskCount + 1;
    char name[40];
    snprintf(name, sizeof name, "Task %d Name", number);
    auto* title =
        new OxGWayParVariable(base, name, "-4.1", "", "0 chars", "100 chars", "ASCII String");
    title->SetValue(OxGWayParameter::GWayText(OxLanguageMap::getDialogText(id, map)));
    staticSet.Insert(*title);
    snprintf(name, sizeof name, "Task %d HelpUrl", number);
    auto* help =
        new OxGWayParVariable(base + 1, name, "-4.1", "", "0 chars", "200 chars", "ASCII String");
    help->SetValue(OxGWayParameter::GWayStringFmt(
        "http://%s/cgi-bin/objecthelp?client=gway&id=%d&lang=%s", serverIp.c_str(),
        static_cast<int>(id), OxGWayParLanguage::GetLangaugeDir().c_str()));
    staticSet.Insert(*help);

    snprintf(name, sizeof name, "Task %d Allowed", number);
    measure.Insert(*new OxGWayParTaskAllowed(base, name, "-4.1", object, objects, runningTasks));
    snprintf(name, sizeof name, "Task %d Actions", number);
    auto* actions =
        new OxGWayParVariable(base + 1, name, "-4.1", "", "0 chars", "100 chars", "ASCII String");
    actions->SetValue(canAbort ? "Start,Stop" : "Start");
    measure.Insert(*actions);
    snprintf(name, sizeof name, "Task %d State", number);
    auto* state = new OxGWayParTaskState(base + 2, name, "-4.1", object, objects);
    measure.Insert(*state);
    snprintf(name, sizeof name, "Task %d Execute", number);
    measure.Insert(*new OxGWayParTaskExecute(
        base + 3, name, "-4.4", id, object->GetAttribute("State") != nullptr, state, connection));
    ++taskCount;
}
