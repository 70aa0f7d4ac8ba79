// A parser that writes down every handler call as one line of text, so a test
// can compare what a message dispatched to.
#pragma once

#include "oxxmlparser.h"

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

class RecordingParser : public OxXmlParser {
  public:
    std::vector<std::string> calls;
    // When set, the next handler call throws (to test the error path).
    bool throwInHandler = false;

    std::string Last() const { return calls.empty() ? "" : calls.back(); }
    // Parses one message and gives the calls it made, joined by " | ".
    std::string Run(const std::string& text) {
        calls.clear();
        Parse(text.c_str());
        std::string all;
        for (const std::string& c : calls)
            all += (all.empty() ? "" : " | ") + c;
        return all;
    }

    void OxConnectMsg(unsigned port, const std::string& name) override {
        Rec("Connect", port, name);
    }
    void OxLogonMsg(const std::string& level, const std::string& userId,
                    const std::string& protocol, bool autoTypeInfo, bool disableSerialNo,
                    bool keepLast) override {
        Rec("Logon", level, userId, protocol, autoTypeInfo, disableSerialNo, keepLast);
    }
    void OxDisconnectMsg() override { Rec("Disconnect"); }
    void OxGetTypeMsg(int id) override { Rec("GetType", id); }
    void OxSaveParmsMsg(const std::string& destination, const std::string& file) override {
        Rec("SaveParms", destination, file);
    }
    void OxRestoreParmsMsg(const std::string& file) override { Rec("RestoreParms", file); }
    void OxChangeNumParmMsg(int id, double value) override { Rec("ChangeNum", id, value); }
    void OxChangeEnumParmMsg(int id, int value) override { Rec("ChangeEnum", id, value); }
    void OxSetDeviceMsg(int id, tagOverride ov, float value) override {
        Rec("SetDevice", id, static_cast<int>(ov), value);
    }
    void OxForceUpdateMsg(int id) override { Rec("ForceUpdate", id); }
    void OxSetOutputMsg(int id, bool value) override { Rec("SetOutput", id, value); }
    void OxSetMotorMsg(int id, bool start, double value) override {
        Rec("SetMotor", id, start, value);
    }
    void OxExecuteFunctionMsg(int id, int action, const std::vector<double>& args) override {
        std::ostringstream s;
        for (double a : args)
            s << (s.tellp() > 0 ? " " : "") << a;
        Rec("ExecuteFunction", id, action, "[" + s.str() + "]");
    }
    void OxReplyAlarmMsg(int id, int replyId) override { Rec("ReplyAlarm", id, replyId); }
    void OxAliveMsg() override { Rec("Alive"); }
    void OxGetAlarmEventsMsg(int year, int month, int day) override {
        Rec("GetAlarmEvents", year, month, day);
    }
    void OxGetProcessorInfoMsg() override { Rec("GetProcessorInfo"); }
    void OxGetUserInfoMsg() override { Rec("GetUserInfo"); }
    void OxSetupSessionMsg(bool testPrint) override { Rec("SetupSession", testPrint); }
    void OxCopyFileMsg(const std::string& file) override { Rec("CopyFile", file); }
    void OxDownloadMsg(const std::string& command) override { Rec("Download", command); }
    void OxReadFileMsg(unsigned long position, unsigned long length, const std::string& file,
                       bool eof, const std::string& data) override {
        Rec("ReadFile", position, length, file, eof, data);
    }
    void OxGetConfigMsg() override { Rec("GetConfig"); }
    void OxConfigMsg() override { Rec("Config"); }
    void OxLanguageMsg() override { Rec("Languages"); }
    void OxSystemCommandMsg(const std::string& command, int timeout, char linefeed) override {
        Rec("SystemCommand", command, timeout, static_cast<int>(linefeed));
    }
    void OxGetIpConfigMsg() override { Rec("GetIpConfig"); }
    void OxGetTimeMsg() override { Rec("GetTime"); }
    void OxTelnetCommandMsg(const std::string& command, const std::string& data) override {
        Rec("Telnet", command, data);
    }
    void OxConnectCfg(unsigned port, const std::string& name, unsigned maxAgeDays,
                      bool logAlarms) override {
        Rec("ConnectCfg", port, name, maxAgeDays, logAlarms);
    }
    void OxNetworkCfg(unsigned port) override { Rec("NetworkCfg", port); }
    void OxConnectServerCfg(unsigned port, const std::string& ip) override {
        Rec("ConnectServerCfg", port, ip);
    }
    void OxDebugLogCfg(unsigned long a, unsigned long b, unsigned long c,
                       unsigned long d) override {
        Rec("DebugLogCfg", a, b, c, d);
    }
    void OxEMailCfg(const OxEMailAccountCfg& a) override {
        Rec("EMailCfg", a.smtp, a.name, a.from, a.to, a.subject, a.message, a.mapi, a.alarmType,
            a.dialUp, a.active, a.status, a.updateTime, a.accessLevel, a.groups, a.parameters,
            a.inputDevices, a.outputDevices, a.definitions);
    }
    void OxDialUpCfg(const std::string& entry, const std::string& user,
                     const std::string& password) override {
        Rec("DialUpCfg", entry, user, password);
    }
    void OxLinuxNetCfg(const std::string& domain, const std::string& nameserver) override {
        Rec("LinuxNetCfg", domain, nameserver);
    }
    void OxIpCfg(const std::string& a, const std::string& b, const std::string& c,
                 const std::string& d, const std::string& e, const std::string& f,
                 const std::string& g, const std::string& h, const std::string& i,
                 const std::string& j, const std::string& k, const std::string& l,
                 const std::string& m, const std::string& n) override {
        Rec("IpCfg", a, b, c, d, e, f, g, h, i, j, k, l, m, n);
    }
    void OxTimeMsg(const std::string& tz, int year, int month, int day, int hour, int min,
                   int sec) override {
        Rec("TimeMsg", tz, year, month, day, hour, min, sec);
    }
    void ErrorUpdate(const std::string& text) override { calls.push_back("Error:" + text); }

  private:
    static void Put(std::ostringstream& s, bool v) { s << (v ? "T" : "F"); }
    static void Put(std::ostringstream& s, const std::string& v) { s << "'" << v << "'"; }
    static void Put(std::ostringstream& s, const char* v) { s << v; }
    template <class T>
    static void Put(std::ostringstream& s, const T& v) {
        s << v;
    }

    template <class... Args>
    void Rec(const char* what, const Args&... args) {
        if (throwInHandler) {
            throwInHandler = false;
            throw std::runtime_error("handler failed");
        }
        std::ostringstream s;
        s << what << "(";
        bool first = true;
        ((s << (first ? "" : ","), Put(s, args), first = false), ...);
        s << ")";
        calls.push_back(s.str());
    }
};
