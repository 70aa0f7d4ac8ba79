#include "oxemailtask.h"

#include "testprint.h"

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

void OxEMailTask::SendMail(const OxEMailData* data) {
    TestPrintF(0, "SendMail...\n");
    ++jobsReceived_;
    lastJob_.reset(data);
}
