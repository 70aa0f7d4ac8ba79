// Parameter files of a machine port: saving the parameter values of the
// store as an HMP file (and moving it with the board's saveparams), and
// restoring one: the board's restoreparams puts the file in place, the
// machine is told to expect it, gets the checked values as one command and
// then boots.
#include "mdieditlink.h"
#include "oxconf.h"
#include "oxconn.h"
#include "oxobjectmanager.h"
#include "oxsaveparmsvisitor.h"
#include "oxsession.h"
#include "runprogram.h"
#include "testprint.h"
#include "xmltext.h"

#include <ace/Date_Time.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

constexpr unsigned kScriptSeconds = 5;

bool EndsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

}  // namespace

void OxConnection::SaveParms(const char* file) {
    if (state != OXCS_CONNECTED) {
        TestPrintF(16, "OxConnection::SaveParms(), wrong state!\n");
        return;
    }
    std::string path = OxConfiguration::Instance()->MakeAbsPath(file);
    {
        OXSaveParmsVisitor visitor(path.c_str());
        GetObjectManager().Visit(visitor);
    }
    TestPrintF(2, "COM %d: Parameters are saved to %.300s.\n", port, path.c_str());
}

void OxConnection::SaveParms(std::string name, std::string where, OxSocketSession* session) {
    if (state != OXCS_CONNECTED) {
        TestPrintF(16, "OxConnection::SaveParms(), wrong state!\n");
        return;
    }
    std::string source = connectionDir + "/save.hmp";
    {
        OXSaveParmsVisitor visitor(source.c_str());
        GetObjectManager().Visit(visitor);
    }
    TestPrintF(2, "COM %d: Parameters are saved to %.200s -> %.100s.\n", port, source.c_str(),
               where.c_str());

    std::string directory;
    if (where == "external")
        directory = "/mnt/usb";
    else if (where == "remote&external")
        directory = "/etc/torc2/params";

    if (name.empty()) {
        // platform_serial_YYMMDD-HHMM.hmp; the serial number of an unknown
        // machine ("0-0") is left out.
        ACE_Date_Time now;
        char stamp[32];
        snprintf(stamp, sizeof stamp, "%02d%02d%02d-%02d%02d", static_cast<int>(now.year() - 2000),
                 static_cast<int>(now.month()), static_cast<int>(now.day()),
                 static_cast<int>(now.hour()), static_cast<int>(now.minute()));
        const char* platform = getenv("platform");
        if (platform != nullptr)
            name += platform;
        name += "_";
        if (serialNo != "0-0")
            name += serialNo;
        name += "_";
        name += stamp;
        name += ".hmp";
    }

    if (where == "remote" && session != nullptr) {
        std::ifstream in(source);
        std::ostringstream text;
        text << in.rdbuf();
        session->Send("<Message><SaveParametersReply file=\"" + XmlEscape(name) + "\"/></Message>");
        session->Send("<Message><SaveParametersReply text=\"" + XmlEscape(text.str()) +
                      "\"/></Message>");
    }
    if (where == "remote&external" || where != "remote") {
        std::string target = OxConfiguration::Instance()->MakeAbsPath(directory + "/" + name);
        std::string command = "saveparams " + source + " " + target;
        long status = RunProgramAndWait(command.c_str(), kScriptSeconds);
        if (status < 0)
            TestPrintF(16, "OxConnection::SaveParms(), executing saveparams failed!\n");
        else if (status == 0)
            TestPrintF(2, "COM %d: %.300s Ok.\n", port, command.c_str());
        else
            TestPrintF(16, "OxConnection::SaveParms(), saveparams failed exit=%ld!\n", status);
    }
}

bool OxConnection::RestoreParms(OXObjectHandler* handler, const char* file) {
    TestPrintF(32, "::RestoreParms\n");
    if (state != OXCS_CONNECTING && state != OXCS_CONNECTED) {
        TestPrintF(16, "OxConnection::RestoreParms(), wrong state!\n");
        return false;
    }
    std::string command = std::string("restoreparams ") + file;
    long status = RunProgramAndWait(command.c_str(), kScriptSeconds);
    if (status < 0) {
        TestPrintF(16, "OxConnection::RestoreParms(), executing restoreparams failed!\n");
        return false;
    }
    if (status != 0) {
        TestPrintF(16, "OxConnection::RestoreParms(), restoreparams failed exit=%ld!\n", status);
        return false;
    }
    TestPrintF(2, "COM %d: %.300s Ok.\n", port, command.c_str());
    restoreFile = connectionDir + "/restore.hmp";
    // A prepared argument list goes to the machine as it stands.
    checkRestoreFile = !EndsWith(file, ".hmpar");
    restoreHandler = handler;
    restoreExeId = TransmitCommand(nullptr, "$ 100.110 (1);");
    return restoreExeId != 0;
}

bool OxConnection::RestoreParmsCommand(const char* file) {
    TestPrintF(32, "Restore parms. command\n");
    TestPrintF(0, "Restore parms. file = %.300s\n", file);
    std::ifstream in(file);
    if (!in.is_open() || !in.good()) {
        if (!in.is_open())
            TestPrintF(4, "restore parameters is_open() failed!\n");
        else
            TestPrintF(4, "restore parameters good() failed!\n");
        TestPrintF(4, "restore parameters failed!\n");
        return false;
    }
    std::ostringstream whole;
    whole << in.rdbuf();
    std::string text = whole.str();
    if (checkRestoreFile) {
        HMParCheckSumChecker checker(text);
        if (!checker.valid) {
            TestPrintF(8, "RestoreParmsCommand Check Sum Fail!\n");
            return false;
        }
        text = checker.commands;
    }
    serviceExeId = TransmitCommand(nullptr, "$ 100.107 (" + text + ");");
    if (serviceExeId == 0) {
        TestPrintF(8, "RestoreParmsCommand discarded!\n");
        TestPrintF(4, "restore parameters failed!\n");
        return false;
    }
    return true;
}

// The machine is ready for the values: send them. A client that asked for
// the restore hears of a failure.
void OxConnection::RestoreParmsResult(unsigned long, const OXObject&) {
    restoreExeId = 0;
    if (!RestoreParmsCommand(restoreFile.c_str())) {
        if (auto* session = dynamic_cast<OxSocketSession*>(restoreHandler))
            session->SendError("Restore data " + restoreFile + " failed!");
    }
}
