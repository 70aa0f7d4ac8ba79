#include "oxdownload.h"

#include "mdieditlink.h"
#include "oxconf.h"
#include "oxconn.h"
#include "testprint.h"

#include <cassert>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <unistd.h>

namespace {

// The parameters saved before an update and restored after it; once
// restored they are kept under the second name. The third is the snapshot
// taken at each connect outside an update.
const char* const kParamFile = "param.txt";
const char* const kRestoredParamFile = "param1.txt";
const char* const kSnapshotParamFile = "param2.txt";

const char* const kBinFiles[] = {"mpu.bin", "hpu.bin", "hcu.bin", "mmu.bin", "cvu.bin"};
const char* const kStateTexts[] = {
    "Ready",          "WaitConnected1", "SaveParms", "WaitBootload", "EraseEeprom", "Working",
    "WaitConnected2", "RestoreParms",   "Done",      "Error",        "None"};

}  // namespace

OxDownload::OxDownload(OxConnection& owner) : connection(owner) {}

// ---------------------------------------------------------------- texts

const char* OxDownload::GetBinFileName(int id) {
    // clang-format off
    assert(id >= 0 && id <=4);
    // clang-format on
    return kBinFiles[id];
}

const char* OxDownload::GetStateText(tagDownloadState state) {
    // clang-format off
    assert(state>=DLS_READY && state<=DLS_NONE);
    // clang-format on
    return kStateTexts[state];
}

// ---------------------------------------------------------------- states

void OxDownload::SetState(tagDownloadState _state) {
    // clang-format off
    assert(_state!=state);
    // clang-format on
    state = _state;
    connection.UpdateSessionDownload(state);
    TestPrintF(258, "Download, state change to %s\n", GetStateText(state));

    switch (state) {
        case DLS_WAITCONNECTED1:
            if (Connected())
                SetState(restoreParameters ? DLS_SAVEPARMS : DLS_WAITBOOTLOAD);
            else if (InBootload())
                DoDisconnect();
            break;
        case DLS_SAVEPARMS:
            SaveParamFile(kParamFile);
            SetState(DLS_WAITBOOTLOAD);
            break;
        case DLS_WAITBOOTLOAD:
            if (InBootload())
                SetState(eraseEeprom ? DLS_ERASEEEPROM : DLS_WORKING);
            else if (Connected())
                Boot();
            break;
        case DLS_WORKING:
            Download();
            break;
        case DLS_WAITCONNECTED2:
            if (InBootload())
                DoDisconnect();
            else if (Connected())
                SetState(restoreParameters ? DLS_RESTOREPARMS : DLS_DONE);
            break;
        case DLS_RESTOREPARMS:
            connection.RestoreParms(nullptr, ParamFilePath(kParamFile).c_str());
            break;
        case DLS_DONE:
            connection.ControlBootload(false);
            RenameParamFile(kParamFile, kRestoredParamFile);
            if (restoreParameters)
                Boot();
            break;
        default:
            break;
    }
}

void OxDownload::Download() {
    if (state == DLS_READY) {
        connection.ControlBootload(true);
        // A parameter file left by an earlier attempt is kept: no new save.
        if (restoreParameters && !ParamFileExists(kParamFile))
            SetState(DLS_WAITCONNECTED1);
        else
            SetState(DLS_WAITBOOTLOAD);
    }
    if (state != DLS_WORKING)
        return;
    OxDownloadBoard* board = &boards[boardIndex];
    if (board->progress == 100 || board->status == OXPackage::PS_FAILED_NEXT) {
        if (!SetNextCheckedBoard()) {
            SetState(DLS_WAITCONNECTED2);
            return;
        }
        board = &boards[boardIndex];
    }
    connection.UpdateSessionDownload(state);
    if (!board->fileDone || board->started)
        return;
    board->started = true;
    // The machine's controller takes the file from here; a socket link has
    // no transfer of its own to hand it to.
    std::string file =
        connection.GetBinFilePath(static_cast<OXPackage::tagPackageUnitId>(boardIndex));
    (void)file;
}

void OxDownload::DoneOk() {
    if (state == DLS_DONE)
        SetState(DLS_READY);
}

void OxDownload::Error() {
    if (boards[boardIndex].status == OXPackage::PS_FAILED_NEXT && state == DLS_WORKING)
        Download();
    else
        SetState(DLS_ERROR);
}

void OxDownload::RestoreParmsDone() {
    if (state == DLS_RESTOREPARMS)
        SetState(DLS_DONE);
    else
        TestPrintF(256, "OxDownload::RestoreParmsDone, wrong state!\n");
}

void OxDownload::EraseDone() {
    if (state == DLS_ERASEEEPROM)
        SetState(DLS_WORKING);
    else
        TestPrintF(256, "OxDownload::EraseDone, wrong state!\n");
}

void OxDownload::SetConnectionState(tagConnectionState cs) {
    if (cs == connectionState)
        return;
    connectionState = cs;

    if (cs == CS_BOOTLOAD) {
        if (state == DLS_WAITBOOTLOAD) {
            SetState(eraseEeprom ? DLS_ERASEEEPROM : DLS_WORKING);
            return;
        }
        if (state == DLS_WAITCONNECTED1 || state == DLS_WAITCONNECTED2) {
            DoDisconnect();
            return;
        }
    }
    if (cs == CS_CONNECTING && state == DLS_WAITCONNECTED2) {
        SetState(restoreParameters ? DLS_RESTOREPARMS : DLS_DONE);
        return;
    }
    if (cs == CS_CONNECTED) {
        // Outside an update every connect leaves a fresh snapshot of the
        // parameters behind.
        if (state == DLS_READY || state == DLS_DONE) {
            if (connection.GetConfigValid())
                SaveParamFile(kSnapshotParamFile);
            else
                TestPrintF(256,
                           "Parameters are not saved to %s because the machine is not "
                           "configurated.\n",
                           kSnapshotParamFile);
        }
        if (state == DLS_WAITCONNECTED1) {
            SetState(restoreParameters ? DLS_SAVEPARMS : DLS_WAITBOOTLOAD);
            return;
        }
        if (state == DLS_DONE)
            return;
        if (state == DLS_WAITBOOTLOAD) {
            Boot();
            return;
        }
    }

    if (state != DLS_READY)
        TestPrintF(256, "OxDownload::SetConnectionState, connection:%d, state:%s\n",
                   static_cast<int>(cs), GetStateText(state));
    // A lost connection steps back one wait state, so that the work goes on
    // when the machine returns.
    if (state == DLS_SAVEPARMS) {
        SetState(DLS_WAITCONNECTED1);
    } else if (state == DLS_ERASEEEPROM) {
        SetState(DLS_WAITBOOTLOAD);
    } else if (state == DLS_WORKING || state == DLS_ERROR) {
        boards[boardIndex].started = false;
        SetState(DLS_WAITBOOTLOAD);
    } else if (state == DLS_RESTOREPARMS) {
        SetState(DLS_WAITCONNECTED2);
    }
}

void OxDownload::Clear() {
    TestPrintF(256, "OxDownload::Clear()\n");
    DeleteParamFile(kRestoredParamFile);
    boardIndex = 0;
    state = DLS_READY;
    restoreParameters = false;
    eraseEeprom = false;
    for (OxDownloadBoard& board : boards)
        board.Clear();
    connection.ControlBootload(false);
    if (InBootload())
        DoDisconnect();
}

void OxDownload::SaveParms() {
    assert(false);
}

void OxDownload::RestoreParms() {
    assert(false);
}

// ---------------------------------------------------------------- boards and files

bool OxDownload::SetFirstCheckedBoard() {
    boardIndex = 0;
    return boards[0].checked || SetNextCheckedBoard();
}

bool OxDownload::SetNextCheckedBoard() {
    if (boardIndex > 3)
        return false;
    for (int i = boardIndex + 1; i < kBoards; ++i) {
        if (boards[i].checked) {
            boardIndex = i;
            return true;
        }
    }
    return false;
}

bool OxDownload::SetFirstCheckedFile() {
    fileIndex = 0;
    return (boards[0].checked && !boards[0].fileDone) || SetNextCheckedFile();
}

bool OxDownload::SetNextCheckedFile() {
    if (fileIndex > 3)
        return false;
    for (int i = fileIndex + 1; i < kBoards; ++i) {
        if (boards[i].checked && !boards[i].fileDone) {
            fileIndex = i;
            return true;
        }
    }
    return false;
}

// ---------------------------------------------------------------- link and files

void OxDownload::Boot() {
    if (MDIEditLink* link = connection.GetLink())
        link->Boot(true);
}

void OxDownload::DoDisconnect() {
    if (MDIEditLink* link = connection.GetLink())
        link->DoDisconnect();
}

std::string OxDownload::ParamFilePath(const char* name) const {
    return connection.GetConnectionDir() + name;
}

void OxDownload::SaveParamFile(const char* name) {
    // The connection writes below the application path; its directory
    // already holds that path.
    std::string path = ParamFilePath(name);
    std::string appPath = OxConfiguration::Instance()->GetAppPath();
    if (path.compare(0, appPath.size(), appPath) == 0)
        path.erase(0, appPath.size());
    connection.SaveParms(path.c_str());
}

void OxDownload::DeleteParamFile(const char* name) {
    std::string path = ParamFilePath(name);
    if (unlink(path.c_str()) != 0)
        TestPrintF(256, "Download delete %s failed!\n", path.c_str());
}

bool OxDownload::ParamFileExists(const char* name) const {
    std::ifstream file(ParamFilePath(name).c_str());
    return file.is_open();
}

void OxDownload::RenameParamFile(const char* from, const char* to) {
    std::string source = ParamFilePath(from);
    std::string target = ParamFilePath(to);
    unlink(target.c_str());
    if (rename(source.c_str(), target.c_str()) != 0)
        TestPrintF(8, "Download rename %s to %s, failed errno=%d!\n", source.c_str(),
                   target.c_str(), errno);
}
