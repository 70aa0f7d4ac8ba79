#include "omtamailer.h"

#include "oxconf.h"
#include "runprogram.h"
#include "testprint.h"

#include <cstdio>

namespace {
const int kQueueLimitKBytes = 300;
}

OmtaMailer::OmtaMailer()
    : queueDirectory(OxConfiguration::Instance()->MakeAbsPath("/var/spool/omtaqueue") + "/") {
    TrimQueue();
}

void OmtaMailer::TrimQueue() {
    if (!deleteFiles.IsRunning())
        deleteFiles.Run(queueDirectory, DeleteFilesArg::SIZE, kQueueLimitKBytes);
}

bool OmtaMailer::AddToQueue(const char* mailText) {
    TestPrintF(0, " OmtaMailer::AddToQueue...\n");
    RunProgram omta(false);
    if (!omta.Run("omta")) {
        TestPrintF(4, "OmtaMailer::AddToQueue: Run omta failed!\n");
        return false;
    }
    if (!omta.WriteStdin(mailText)) {
        TestPrintF(4, "OmtaMailer::AddToQueue: WriteStdin failed!\n");
        omta.Terminate();
        return false;
    }
    int exitCode = 0;
    if (!omta.WaitForTermination(10, &exitCode)) {
        TestPrintF(4, "OmtaMailer::AddToQueue: WaitForTermination failed!\n");
        return false;
    }
    if (exitCode != 0) {
        TestPrintF(4, "OmtaMailer::AddToQueue: Failed exitcode = %d,\n", exitCode);
        return false;
    }
    return true;
}

bool OmtaMailer::SendQueue() {
    return RunProgramAndWait("omta -q", 25) == 0;
}

bool OmtaMailer::Mail(const char* mailText) {
    if (mailText != nullptr && !AddToQueue(mailText))
        return false;
    if (SendQueue())
        return true;
    TrimQueue();
    RepareQueue();
    return true;
}

bool OmtaMailer::RepareQueue() {
    std::string program = OxConfiguration::Instance()->MakeAbsPath("/usr/bin/repareQueue");
    return RunProgramAndWait(program.c_str(), 10) == 0;
}

bool OmtaMailer::QueueState() {
    long exitCode = RunProgramAndWait("omta -bp", 25);
    printf("omta -bp: %ld\n", exitCode);
    if (exitCode == 0) {
        printf("Queuestate is OK\n");
        return true;
    }
    printf("Queuestate is NOT OK\n");
    return false;
}
