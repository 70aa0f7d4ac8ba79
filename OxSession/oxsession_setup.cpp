// Client commands of the session's setup: who is logged on, which machine
// ports there are, the debug print wish and the language files. Connect,
// logon and alive are the session core, in oxsession.cpp.
#include "oxconf.h"
#include "oxsession.h"
#include "testprint.h"
#include "xmltext.h"

#include <cstdlib>
#include <dirent.h>
#include <sstream>
#include <string>

void OxSocketSession::OxGetUserInfoMsg() {
    if (IsClosing() || !CheckConnectedAndLogon())
        return;
    std::ostringstream out;
    out << "<Message><UserInfo>";
    for (unsigned i = 0; OxSession* session = connection->GetSession(i); ++i)
        out << "<User id=\"" << XmlEscape(session->GetUser()) << "\" level=\""
            << GetAccessLevelText(session->GetAccessLevel()) << "\"/>";
    out << "</UserInfo></Message>";
    Send(out);
}

void OxSocketSession::OxGetProcessorInfoMsg() {
    TestPrintF(0, "Client(%d)::OxGetProcessorInfoMsg\n", sessionId);
    OxConfiguration* cfg = OxConfiguration::Instance();
    const char* platform = getenv("platform");
    std::ostringstream out;
    out << "<Message><ProcessorInfo>";
    for (int i = 0; i < cfg->ProcessorInfo_Count(true); ++i)
        out << "<Processor name=\"" << XmlEscape(cfg->GetProcessorName(i, true)) << "\" port=\""
            << cfg->GetProcessorPort(i, true) << "\" platform=\""
            << XmlEscape(platform ? platform : "") << "\" server=\"oxgw\"/>";
    out << "</ProcessorInfo></Message>";
    Send(out);
}

void OxSocketSession::OxSetupSessionMsg(bool testPrint) {
    testPrintWanted = testPrint;
    Send(std::string("<Message><SetupSession testPrint=\"") + (testPrint ? "true" : "false") +
         "\"/></Message>");
}

void OxSocketSession::OxLanguageMsg() {
    // The language files of the working directory: "oxgw_xx_" ... ".ucs" gives
    // the name between the first eight and the last four characters.
    std::string text;
    if (DIR* dir = opendir(".")) {
        while (dirent* entry = readdir(dir)) {
            std::string name = entry->d_name;
            if (name.find(".ucs") != std::string::npos && name.size() >= 12)
                text += "<Language name=\"" + XmlEscape(name.substr(8, name.size() - 12)) + "\"/>";
        }
        closedir(dir);
    }
    Send(text);
}
