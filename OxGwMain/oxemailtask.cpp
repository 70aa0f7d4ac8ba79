#include "oxemailtask.h"

namespace {
OxEMailTask* theMailTask = nullptr;
}

OxEMailTask* OxEMailTask::Instance() {
    if (theMailTask == nullptr)
        theMailTask = new OxEMailTask();
    return theMailTask;
}

void OxEMailTask::DeleteInstance() {
    delete theMailTask;
    theMailTask = nullptr;
}
