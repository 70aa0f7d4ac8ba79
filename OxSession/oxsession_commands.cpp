// The commands of a client that drive the machine and answer questions. Each
// checks its guards, finds the object, checks the value and calls one
// operation of the connection; errors go back as <CommandError>, and a bad
// command never changes state. Commands do not wait for the machine: the
// answer is the event that follows when the object changes.
#include "oxattribute.h"
#include "oxclassmanager.h"
#include "oxconf.h"
#include "oxdefinition.h"
#include "oxobject.h"
#include "oxobjectmanager.h"
#include "oxobjectmsg.h"
#include "oxsession.h"
#include "testprint.h"

#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <sstream>

namespace {

constexpr int kServiceMode = 7;

// Minimum and Maximum both belong to the range.
bool InRange(const OXObject& object, double value) {
    return value >= object.GetNumber("Minimum") && value <= object.GetNumber("Maximum");
}

}  // namespace

OXObject* OxSocketSession::LookupObject(int id) {
    OXObject* object = connection->GetObjectManager().Lookup(id);
    if (object == nullptr)
        SendError("The object was not found");
    return object;
}

bool OxSocketSession::InServiceMode() const {
    return connection != nullptr && connection->GetSystemStateRemote() == kServiceMode;
}

void OxSocketSession::OxChangeNumParmMsg(int id, double value) {
    if (!CheckConnectedAndLogon())
        return;
    OXObject* object = LookupObject(id);
    if (object == nullptr)
        return;
    if (!InRange(*object, value)) {
        SendError("The value is out of range");
        return;
    }
    connection->ChangeParm(value, id);
}

void OxSocketSession::OxChangeEnumParmMsg(int id, int value) {
    if (!CheckConnectedAndLogon())
        return;
    OXObject* object = LookupObject(id);
    if (object == nullptr)
        return;
    // The values of the enumeration that the attribute Value is of.
    const OXEnumDefinition* enumeration = nullptr;
    if (OXAttribute* attribute = object->GetEnumAttr("Value"))
        enumeration = dynamic_cast<const OXEnumDefinition*>(
            connection->GetClassManager().Lookup(attribute->GetClassName()));
    if (enumeration == nullptr || enumeration->LookupEnumStr(value) == nullptr) {
        SendError("The value is not legal for this parameter");
        return;
    }
    connection->ChangeParm(static_cast<double>(value), id);
}

void OxSocketSession::OxSetDeviceMsg(int id, tagOverride override, float value) {
    if (!CheckConnectedAndLogon())
        return;
    OXObject* object = LookupObject(id);
    if (object == nullptr)
        return;
    double sent = value;
    if (object->IsClass("Motor") || object->IsClass("Indicator") || object->IsClass("Heater") ||
        object->IsClass("Dose")) {
        if (!InServiceMode()) {
            SendError("Outputs/Motors can only be set in Service Mode");
            return;
        }
    }
    if (object->IsClass("Motor")) {
        if (override != OV_RELEASE) {
            if (!InRange(*object, value)) {
                SendError("The speed is out of range");
                return;
            }
            // Reversed against SetMotor: the machine takes the override in
            // its own scale this way.
            double mul = object->GetNumber("UnitMul");
            sent = mul != 0 ? value * object->GetNumber("UnitDiv") / mul : value;
        }
    } else if (object->IsClass("Temperature")) {
        sent = value * 10;  // tenths of a degree
    }
    connection->SetDevice(id, override, sent);
}

void OxSocketSession::OxForceUpdateMsg(int id) {
    if (!CheckConnectedAndLogon())
        return;
    if (LookupObject(id) != nullptr)
        connection->ForceUpdate(id);
}

void OxSocketSession::OxSetOutputMsg(int id, bool value) {
    if (!CheckConnectedAndLogon())
        return;
    if (!InServiceMode()) {
        SendError("<SetOutput> can only be used in Service Mode");
        return;
    }
    if (LookupObject(id) != nullptr)
        connection->SetOutput(value, id);
}

void OxSocketSession::OxSetMotorMsg(int id, bool start, double value) {
    if (!CheckConnectedAndLogon())
        return;
    if (!InServiceMode()) {
        SendError("<SetMotor> can only be used in Service Mode");
        return;
    }
    OXObject* object = LookupObject(id);
    if (object == nullptr)
        return;
    if (!InRange(*object, value)) {
        SendError("The value is out of range");
        return;
    }
    double div = object->GetNumber("UnitDiv");
    int speed = static_cast<int>(div != 0 ? value * object->GetNumber("UnitMul") / div : value);
    connection->SetMotor(start, id, speed);
}

void OxSocketSession::OxExecuteFunctionMsg(int id, int action,
                                           const std::vector<double>& arguments) {
    if (!CheckConnectedAndLogon())
        return;
    if (LookupObject(id) == nullptr)
        return;
    std::vector<double> args = arguments;
    connection->ExecuteFunction(id, action, args);
}

void OxSocketSession::OxReplyAlarmMsg(int id, int replyId) {
    if (!CheckConnectedAndLogon())
        return;
    if (LookupObject(id) != nullptr)
        connection->ReplyAlarm(id, replyId);
}

void OxSocketSession::OxGetTypeMsg(int id) {
    if (!CheckConnectedAndLogon())
        return;
    SendTypeInfo(id);
}

void OxSocketSession::SendTypeInfo(int id) {
    OXObject* object = connection != nullptr ? connection->GetObjectManager().Lookup(id) : nullptr;
    if (object == nullptr)
        return;
    TestPrintF(0, "Client(%d)::Type info: %.100s of type %.100s\n", sessionId,
               object->GetString("Name").c_str(), object->GetClassName().c_str());
    std::ostringstream out;
    if (OxParameterTypeInfo_ToXml(out, MessageContext(false), *object))
        Send(out);
}

void OxSocketSession::OxGetUserInfoMsg() {
    if (IsClosing() || !CheckConnectedAndLogon())
        return;
    std::ostringstream out;
    out << "<Message><UserInfo>";
    for (unsigned i = 0; OxSession* session = connection->GetSession(i); ++i)
        out << "<User id=\"" << session->GetUser() << "\" level=\""
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
        out << "<Processor name=\"" << cfg->GetProcessorName(i, true) << "\" port=\""
            << cfg->GetProcessorPort(i, true) << "\" platform=\"" << (platform ? platform : "")
            << "\" server=\"oxgw\"/>";
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
            if (name.find(".ucs") != std::string::npos && name.size() > 12)
                text += "<Language name=\"" + name.substr(8, name.size() - 12) + "\"/>";
        }
        closedir(dir);
    }
    Send(text);
}

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
    // The board's network settings go first once the board settings exist.
    std::ifstream in(OxConfiguration::Instance()->MakeAbsPath("/etc/torc2/oxgwcfg.xml"));
    if (!in.is_open()) {
        SendError("Cannot open configuration!");
        return;
    }
    std::ostringstream text;
    text << in.rdbuf();
    Send(text.str());
}

// The board's network and time settings are not read yet: the client gets
// the failure reply of each.
void OxSocketSession::OxGetIpConfigMsg() {
    if (!IsClosing())
        SendError("Get ip configuration failed!");
}

void OxSocketSession::OxGetTimeMsg() {
    if (!IsClosing())
        SendError("Get Time failed!");
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
