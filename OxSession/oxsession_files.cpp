// Client commands on files and configuration: save and restore parameter
// files, read the configuration file, and the elements of a <Configuration>
// message, which go to the configuration store.
#include "oxconf.h"
#include "oxsession.h"
#include "testprint.h"

#include <fstream>
#include <sstream>

void OxSocketSession::OxSaveParmsMsg(const std::string& destination, const std::string& file) {
    if (!CheckConnected())
        return;
    TestPrintF(0, "<SaveParameters to %.200s, %.200s.\n", destination.c_str(), file.c_str());
    connection->SaveParms(file, destination, this);
}

void OxSocketSession::OxRestoreParmsMsg(const std::string& file) {
    if (!CheckConnected())
        return;
    if (!connection->RestoreParms(this, file.c_str()))
        SendError("RestoreParameters command failed!");
}

void OxSocketSession::OxGetConfigMsg() {
    if (IsClosing())
        return;
    TestPrintF(0, "OxSocketSession::OxGetConfigMsg\n");
    // The board's network and dial-up settings go first; without them the
    // configuration is not sent either.
    std::ostringstream net;
    if (!OxConfiguration::Instance()->ReadLinuxNetConfig(net)) {
        SendError("Cannot send Linux network configuration!");
        return;
    }
    Send(net);
    std::ifstream in(OxConfiguration::Instance()->MakeAbsPath("/etc/torc2/oxgwcfg.xml"));
    if (!in.is_open()) {
        SendError("Cannot open configuration!");
        return;
    }
    std::ostringstream text;
    text << in.rdbuf();
    Send(text.str());
}

void OxSocketSession::OxConnectCfg(unsigned port, const std::string& name, unsigned, bool) {
    // The rest of the port's settings take effect through the restart.
    if (port >= 1 && port <= 10)
        OxConfiguration::Instance()->SetProcessorName(port, name);
}

void OxSocketSession::OxDebugLogCfg(unsigned long stdoutMask, unsigned long logFileMask,
                                    unsigned long logFileMaxSize, unsigned long logFileComMaxSize) {
    OxConfiguration::Instance()->OxDebugLogCfg(stdoutMask, logFileMask, logFileMaxSize,
                                               logFileComMaxSize);
}

void OxSocketSession::OxEMailCfg(const OxEMailAccountCfg& account) {
    OxConfiguration::Instance()->OxEMailCfg(account);
}

void OxSocketSession::OxDialUpCfg(const std::string& phoneBookEntry, const std::string& user,
                                  const std::string& password) {
    // <DialUp> stands before the <Email> elements and clears the old accounts.
    OxConfiguration::Instance()->ClearEmail();
    OxConfiguration::Instance()->OxDialUpCfg(phoneBookEntry, user, password);
}
