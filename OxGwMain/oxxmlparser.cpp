#include "oxxmlparser.h"

#include "oxgwaycfg.h"
#include "testprint.h"

#include <cstdlib>
#include <iterator>

// The chain, searched top to bottom; the first key that occurs anywhere in
// the message wins and nothing further is tested. The order matters:
// "<GetConfiguration" must come before the bare "Configuration", and
// "<GetLanguages" before "<Language".
const OxXmlParser::Row OxXmlParser::rows_[] = {
    {"<GetType", &OxXmlParser::GetTypeRow},
    {"<GetProcessorInfo", &OxXmlParser::GetProcessorInfoRow},
    {"<SaveParameters", &OxXmlParser::SaveParametersRow},
    {"<RestoreParameters", &OxXmlParser::RestoreParametersRow},
    {"<GetConfiguration", &OxXmlParser::GetConfigurationRow},
    {"<ChangeNumParameter", &OxXmlParser::ChangeNumParameterRow},
    {"<ChangeEnumParameter", &OxXmlParser::ChangeEnumParameterRow},
    {"<SetOutput", &OxXmlParser::SetOutputRow},
    {"<ForceUpdate", &OxXmlParser::ForceUpdateRow},
    {"<SetMotor", &OxXmlParser::SetMotorRow},
    {"<SetSensor", &OxXmlParser::SetSensorRow},
    {"<SetTemperature", &OxXmlParser::SetTemperatureRow},
    {"<ExecuteFunction", &OxXmlParser::ExecuteFunctionRow},
    {"<ActionRequestAlarm", &OxXmlParser::ReplyAlarmRow},
    {"<ReplyAlarm", &OxXmlParser::ReplyAlarmRow},
    {"<Connect>", &OxXmlParser::ConnectRow},
    {"<Logon", &OxXmlParser::LogonRow},
    {"<Disconnect", &OxXmlParser::DisconnectRow},
    {"<GetLanguages", &OxXmlParser::GetLanguagesRow},
    {"<Language", &OxXmlParser::LanguageRow},
    {"<AlivePoll", &OxXmlParser::AlivePollRow},
    {"<GetAlarmEvents", &OxXmlParser::GetAlarmEventsRow},
    {"<GetUserInfo", &OxXmlParser::GetUserInfoRow},
    {"SetupSession", &OxXmlParser::SetupSessionRow},
    {"<Download", &OxXmlParser::DownloadRow},
    {"<CopyFile", &OxXmlParser::CopyFileRow},
    {"Configuration", &OxXmlParser::ConfigurationRow},
    {"LinuxNetConfig", &OxXmlParser::LinuxNetConfigRow},
    {"<Telnet", &OxXmlParser::TelnetRow},
    {"<SystemCommand", &OxXmlParser::SystemCommandRow},
    {"<GetIpConfig", &OxXmlParser::GetIpConfigRow},
    {"<SetIpConfig", &OxXmlParser::SetIpConfigRow},
    {"<GetServerTime", &OxXmlParser::GetServerTimeRow},
    {"<SetServerTime", &OxXmlParser::SetServerTimeRow},
};

void OxXmlParser::Parse(std::istream& in) {
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    Parse(text.c_str());
}

void OxXmlParser::Parse(const char* text) {
    std::string msg(text != nullptr ? text : "");
    if (msg.empty())
        return;
    // The text is padded to five characters: the console form of the log
    // drops the first nine characters of a line and treats a shorter line as
    // fatal, and a client's line may be as short as one character.
    TestPrintF(0, "#%d;%-5.65s\n", ClientRef(), msg.c_str());
    try {
        for (const Row& row : rows_) {
            if (msg.find(row.key) != std::string::npos) {
                (this->*row.run)(msg);
                return;
            }
        }
        ErrorUpdate("Unknown command: " + msg);
    } catch (...) {
        // A handler's failure must not end the session: report and go on.
        ErrorUpdate("Error in message: " + msg);
    }
}

// ---------------------------------------------------------------- attributes

std::string OxXmlParser::GetAttrib(const std::string& msg, const std::string& name, bool second) {
    size_t hit = msg.find(name + "=");
    if (hit == std::string::npos)
        return "";
    // One character behind "=" (normally the opening quote) is skipped unseen.
    size_t begin = hit + name.size() + 2;
    if (begin > msg.size())
        begin = msg.size();
    size_t end = msg.find('"', begin);
    if (end == std::string::npos)
        end = msg.size();
    if (second)
        return GetAttrib(msg.substr(end), name, false);
    if (end == begin)
        return " ";  // present but empty
    return msg.substr(begin, end - begin);
}

int OxXmlParser::GetAttribAsInt(const std::string& msg, const std::string& name, bool second) {
    return atoi(GetAttrib(msg, name, second).c_str());
}

double OxXmlParser::GetAttribAsDouble(const std::string& msg, const std::string& name,
                                      bool second) {
    return atof(GetAttrib(msg, name, second).c_str());
}

unsigned long OxXmlParser::GetAttribAsULong(const std::string& msg, const std::string& name,
                                            bool second) {
    return strtoul(GetAttrib(msg, name, second).c_str(), nullptr, 0);
}

bool OxXmlParser::GetAttribAsBool(const std::string& msg, const std::string& name, bool second) {
    return GetAttrib(msg, name, second) == "true";
}

void OxXmlParser::GetAttribList(std::string msg, const std::string& name,
                                std::list<std::string>& values) {
    const std::string key = name + "=";
    std::string value = GetAttrib(msg, name);
    while (!value.empty()) {
        values.push_back(value);
        // A value was found, so the key is there: go on behind it.
        msg.erase(0, msg.find(key) + key.size());
        value = GetAttrib(msg, name);
    }
}

// ---------------------------------------------------------------- rows

namespace {
// "on" is on, "off" is off, anything else gives the device back.
tagOverride OnOffOverride(const std::string& text) {
    if (text == "on")
        return OV_ON;
    if (text == "off")
        return OV_OFF;
    return OV_RELEASE;
}
}  // namespace

void OxXmlParser::GetTypeRow(const std::string& msg) {
    OxGetTypeMsg(GetAttribAsInt(msg, "id"));
}

void OxXmlParser::GetProcessorInfoRow(const std::string&) {
    OxGetProcessorInfoMsg();
}

void OxXmlParser::SaveParametersRow(const std::string& msg) {
    OxSaveParmsMsg(GetAttrib(msg, "destination"), GetAttrib(msg, "file"));
}

void OxXmlParser::RestoreParametersRow(const std::string& msg) {
    OxRestoreParmsMsg(GetAttrib(msg, "file"));
}

void OxXmlParser::GetConfigurationRow(const std::string&) {
    OxGetConfigMsg();
}

void OxXmlParser::ChangeNumParameterRow(const std::string& msg) {
    OxChangeNumParmMsg(GetAttribAsInt(msg, "id"), GetAttribAsDouble(msg, "value"));
}

void OxXmlParser::ChangeEnumParameterRow(const std::string& msg) {
    OxChangeEnumParmMsg(GetAttribAsInt(msg, "id"), GetAttribAsInt(msg, "value"));
}

// With a value the output is switched; without one, "output" overrides it.
void OxXmlParser::SetOutputRow(const std::string& msg) {
    int id = GetAttribAsInt(msg, "id");
    if (!GetAttrib(msg, "value").empty()) {
        OxSetOutputMsg(id, GetAttribAsBool(msg, "value"));
    } else {
        OxSetDeviceMsg(id, OnOffOverride(GetAttrib(msg, "output")), 0);
    }
}

void OxXmlParser::ForceUpdateRow(const std::string& msg) {
    OxForceUpdateMsg(GetAttribAsInt(msg, "id"));
}

// With a value the motor is started or stopped; without one, "speed"
// overrides it, or gives it back when it is "release" or absent.
void OxXmlParser::SetMotorRow(const std::string& msg) {
    int id = GetAttribAsInt(msg, "id");
    if (!GetAttrib(msg, "value").empty()) {
        OxSetMotorMsg(id, GetAttribAsBool(msg, "start"), GetAttribAsDouble(msg, "value"));
        return;
    }
    std::string speed = GetAttrib(msg, "speed");
    if (speed == "release" || speed.empty()) {
        OxSetDeviceMsg(id, OV_RELEASE, 0);
    } else {
        tagOverride ov = GetAttrib(msg, "start") == "true" ? OV_ON : OV_OFF;
        OxSetDeviceMsg(id, ov, static_cast<float>(atof(speed.c_str())));
    }
}

void OxXmlParser::SetSensorRow(const std::string& msg) {
    OxSetDeviceMsg(GetAttribAsInt(msg, "id"), OnOffOverride(GetAttrib(msg, "sensor")), 0);
}

void OxXmlParser::SetTemperatureRow(const std::string& msg) {
    int id = GetAttribAsInt(msg, "id");
    std::string temperature = GetAttrib(msg, "temperature");
    if (temperature == "release" || temperature.empty()) {
        OxSetDeviceMsg(id, OV_RELEASE, 0);
    } else {
        OxSetDeviceMsg(id, OV_ON, static_cast<float>(atof(temperature.c_str())));
    }
}

void OxXmlParser::ExecuteFunctionRow(const std::string& msg) {
    std::list<std::string> texts;
    GetAttribList(msg, "argument", texts);
    std::vector<double> arguments;
    arguments.reserve(texts.size());
    for (const std::string& t : texts)
        arguments.push_back(atof(t.c_str()));
    OxExecuteFunctionMsg(GetAttribAsInt(msg, "id"), GetAttribAsInt(msg, "action"), arguments);
}

void OxXmlParser::ReplyAlarmRow(const std::string& msg) {
    OxReplyAlarmMsg(GetAttribAsInt(msg, "id"), GetAttribAsInt(msg, "replyId"));
}

void OxXmlParser::ConnectRow(const std::string& msg) {
    OxConnectMsg(static_cast<unsigned>(GetAttribAsInt(msg, "port")), GetAttrib(msg, "name"));
}

void OxXmlParser::LogonRow(const std::string& msg) {
    OxLogonMsg(GetAttrib(msg, "level"), GetAttrib(msg, "userId"), GetAttrib(msg, "protocol"),
               GetAttribAsBool(msg, "autoTypeInfo"), GetAttribAsBool(msg, "disableSerialNo"),
               GetAttribAsBool(msg, "keepLast"));
}

void OxXmlParser::DisconnectRow(const std::string&) {
    OxDisconnectMsg();
}

void OxXmlParser::GetLanguagesRow(const std::string&) {
    OxLanguageMsg();
}

// Accepted and dropped: no handler, no reply, no error.
void OxXmlParser::LanguageRow(const std::string&) {}

void OxXmlParser::AlivePollRow(const std::string&) {
    OxAliveMsg();
}

void OxXmlParser::GetAlarmEventsRow(const std::string& msg) {
    OxGetAlarmEventsMsg(GetAttribAsInt(msg, "year"), GetAttribAsInt(msg, "month"),
                        GetAttribAsInt(msg, "day"));
}

void OxXmlParser::GetUserInfoRow(const std::string&) {
    OxGetUserInfoMsg();
}

void OxXmlParser::SetupSessionRow(const std::string& msg) {
    OxSetupSessionMsg(GetAttribAsBool(msg, "testPrint"));
}

void OxXmlParser::DownloadRow(const std::string& msg) {
    std::string command = GetAttrib(msg, "command");
    if (command == "CopyFile") {
        OxCopyFileMsg(GetAttrib(msg, "file"));
    } else {
        OxDownloadMsg(command);
    }
}

void OxXmlParser::CopyFileRow(const std::string& msg) {
    OxReadFileMsg(GetAttribAsULong(msg, "position"), GetAttribAsULong(msg, "length"),
                  GetAttrib(msg, "file"), GetAttribAsBool(msg, "eof"), GetAttrib(msg, "data"));
}

// A configuration document. Every test is over the whole text and none
// excludes another.
void OxXmlParser::ConfigurationRow(const std::string& msg) {
    if (msg.find("<DebugLogSetup") != std::string::npos) {
        OxDebugLogCfg(GetAttribAsULong(msg, "stdoutMask"), GetAttribAsULong(msg, "logFileMask"),
                      GetAttribAsULong(msg, "logFileMaxSize"),
                      GetAttribAsULong(msg, "logFileComMaxSize"));
    }
    if (msg.find("<Network") != std::string::npos) {
        // Exactly one blank, and port as the first attribute.
        OxNetworkCfg(static_cast<unsigned>(GetAttribAsInt(msg, "<Network port")));
    }
    size_t gway = msg.find("<GWay");
    if (gway != std::string::npos) {
        std::string behind = msg.substr(gway + 5);
        OxGWayCfg::Instance().SetAll(static_cast<unsigned>(GetAttribAsInt(behind, "port")),
                                     GetAttribAsBool(behind, "enabled"), true);
    }
    if (msg.find("<DialUp") != std::string::npos) {
        // The file holds no user name and password: those are always cleared.
        OxDialUpCfg(GetAttrib(msg, "phoneBookEntry"), "", "");
    }
    if (msg.find("<ConnectServer") != std::string::npos) {
        // Both from the whole document: the first port= anywhere wins.
        OxConnectServerCfg(static_cast<unsigned>(GetAttribAsInt(msg, "port")),
                           GetAttrib(msg, "ip"));
    }
    ConnectComBlocks(msg);
    EmailBlocks(msg);
    OxConfigMsg();
}

// Each pass takes the first <EventLog and <Processor still in the working
// copy (an absent <EventLog keeps the values of the previous block), then the
// copy moves behind the next closing tag, or five characters on without one.
void OxXmlParser::ConnectComBlocks(const std::string& msg) {
    static const std::string closing = "</ConnectCom>";
    std::string copy = msg;
    unsigned maxAgeDays = 0;
    bool logAlarms = false;
    while (copy.find("<ConnectCom") != std::string::npos) {
        size_t eventLog = copy.find("<EventLog");
        if (eventLog != std::string::npos) {
            std::string element = copy.substr(eventLog);
            maxAgeDays = static_cast<unsigned>(GetAttribAsInt(element, "maxAgeDays"));
            logAlarms = GetAttribAsBool(element, "logAlarms");
        }
        std::string name;
        size_t processor = copy.find("<Processor");
        if (processor != std::string::npos)
            name = GetAttrib(copy.substr(processor), "name");
        unsigned port = static_cast<unsigned>(GetAttribAsInt(copy, "ConnectCom port"));
        OxConnectCfg(port, name, maxAgeDays, logAlarms);
        size_t end = copy.find(closing);
        copy.erase(0, end != std::string::npos ? end + closing.size() : 5);
    }
}

// One account per pass, all attributes from the front of the working copy,
// which then moves behind the next "/>", or five characters on without one.
void OxXmlParser::EmailBlocks(const std::string& msg) {
    size_t first = msg.find("<Email");
    if (first == std::string::npos)
        return;
    std::string copy = msg.substr(first);
    while (copy.find("<Email") != std::string::npos) {
        OxEMailAccountCfg account;
        account.smtp = GetAttrib(copy, "SMTP");
        account.name = GetAttrib(copy, "Name");
        account.from = GetAttrib(copy, "From");
        account.to = GetAttrib(copy, "To");
        account.subject = GetAttrib(copy, "Subject");
        account.message = GetAttrib(copy, "Message");
        account.mapi = GetAttrib(copy, "MAPI");
        account.alarmType = GetAttrib(copy, "AlarmType");
        account.dialUp = GetAttribAsBool(copy, "dialUp");
        account.active = GetAttribAsBool(copy, "active");
        account.status = GetAttrib(copy, "emailType") == "Status";
        account.updateTime = GetAttribAsInt(copy, "updateTime");
        account.accessLevel = GetAttrib(copy, "accessLevel");
        account.groups = GetAttribAsBool(copy, "groups");
        account.parameters = GetAttribAsBool(copy, "parameters");
        account.inputDevices = GetAttribAsBool(copy, "inputDevices");
        account.outputDevices = GetAttribAsBool(copy, "outputDevices");
        account.definitions = GetAttribAsBool(copy, "definitions");
        OxEMailCfg(account);
        size_t end = copy.find("/>");
        copy.erase(0, end != std::string::npos ? end + 2 : 5);
    }
}

void OxXmlParser::LinuxNetConfigRow(const std::string& msg) {
    OxLinuxNetCfg(GetAttrib(msg, "domain"), GetAttrib(msg, "nameserver"));
}

void OxXmlParser::TelnetRow(const std::string& msg) {
    OxTelnetCommandMsg(GetAttrib(msg, "cmd"), GetAttrib(msg, "data"));
}

void OxXmlParser::SystemCommandRow(const std::string& msg) {
    std::string timeout = GetAttrib(msg, "timeout");
    std::string linefeed = GetAttrib(msg, "linefeed");
    OxSystemCommandMsg(GetAttrib(msg, "cmd"), timeout.empty() ? 0 : atoi(timeout.c_str()),
                       linefeed.empty() ? '\0' : linefeed[0]);
}

void OxXmlParser::GetIpConfigRow(const std::string&) {
    OxGetIpConfigMsg();
}

void OxXmlParser::SetIpConfigRow(const std::string& msg) {
    OxIpCfg(GetAttrib(msg, "ethaddr"), GetAttrib(msg, "tftpip"), GetAttrib(msg, "ipaddr"),
            GetAttrib(msg, "netmask"), GetAttrib(msg, "gatewayip"), GetAttrib(msg, "DHCP"), "", "",
            "", GetAttrib(msg, "hostname"), GetAttrib(msg, "domain"), GetAttrib(msg, "autoDNS"),
            GetAttrib(msg, "primaryDNS"), GetAttrib(msg, "alternateDNS"));
}

void OxXmlParser::GetServerTimeRow(const std::string&) {
    OxGetTimeMsg();
}

void OxXmlParser::SetServerTimeRow(const std::string& msg) {
    OxTimeMsg(GetAttrib(msg, "timezone"), GetAttribAsInt(msg, "year"), GetAttribAsInt(msg, "month"),
              GetAttribAsInt(msg, "day"), GetAttribAsInt(msg, "hour"), GetAttribAsInt(msg, "min"),
              GetAttribAsInt(msg, "sec"));
}
