// Decoding of the XML-shaped text that clients send and that the
// configuration file holds.
//
// OxXmlParser is not an XML parser: it is a fixed chain of substring searches
// that picks the first known key occurring anywhere in a message, plus an
// attribute finder. The tolerance is part of the protocol: clients may wrap
// commands in <Message>...</Message> or not, use any attribute order and any
// amount of other text around them.
//
// The virtual handlers are the seam to the receivers: the client session and
// the configuration store derive from this class and override the handlers
// they serve. Every handler of the base does nothing.
#pragma once

#include <istream>
#include <list>
#include <string>
#include <vector>

// Who drives a device: the machine (release), or the client (off, on).
enum tagOverride { OV_RELEASE = 0, OV_OFF = 1, OV_ON = 2 };

// One <Email> element of the configuration: a mail account, as written.
struct OxEMailAccountCfg {
    std::string smtp;
    std::string name;
    std::string from;
    std::string to;  // receivers, each ended by ";"
    std::string subject;
    std::string message;
    std::string mapi;
    std::string alarmType;  // alarm types, each ended by ";"
    bool dialUp = false;
    bool active = false;
    bool status = false;  // emailType="Status"
    int updateTime = 0;   // minutes between status mails
    std::string accessLevel;
    bool groups = false;
    bool parameters = false;
    bool inputDevices = false;
    bool outputDevices = false;
    bool definitions = false;
};

class OxXmlParser {
  public:
    virtual ~OxXmlParser() = default;

    // Reads the stream to its end and parses it as one message.
    virtual void Parse(std::istream& in);
    // Runs the first row of the chain whose key occurs in text.
    virtual void Parse(const char* text);

    // Client messages.
    virtual void OxConnectMsg(unsigned /*port*/, const std::string& /*name*/) {}
    virtual void OxLogonMsg(const std::string& /*level*/, const std::string& /*userId*/,
                            const std::string& /*protocol*/, bool /*autoTypeInfo*/,
                            bool /*disableSerialNo*/, bool /*keepLast*/) {}
    virtual void OxDisconnectMsg() {}
    virtual void OxGetTypeMsg(int /*id*/) {}
    virtual void OxSaveParmsMsg(const std::string& /*destination*/, const std::string& /*file*/) {}
    virtual void OxRestoreParmsMsg(const std::string& /*file*/) {}
    virtual void OxChangeNumParmMsg(int /*id*/, double /*value*/) {}
    virtual void OxChangeEnumParmMsg(int /*id*/, int /*value*/) {}
    virtual void OxSetDeviceMsg(int /*id*/, tagOverride /*override*/, float /*value*/) {}
    virtual void OxForceUpdateMsg(int /*id*/) {}
    virtual void OxSetOutputMsg(int /*id*/, bool /*value*/) {}
    virtual void OxSetMotorMsg(int /*id*/, bool /*start*/, double /*value*/) {}
    virtual void OxExecuteFunctionMsg(int /*id*/, int /*action*/,
                                      const std::vector<double>& /*arguments*/) {}
    virtual void OxReplyAlarmMsg(int /*id*/, int /*replyId*/) {}
    virtual void OxAliveMsg() {}
    virtual void OxGetAlarmEventsMsg(int /*year*/, int /*month*/, int /*day*/) {}
    virtual void OxGetProcessorInfoMsg() {}
    virtual void OxGetUserInfoMsg() {}
    virtual void OxSetupSessionMsg(bool /*testPrint*/) {}
    virtual void OxCopyFileMsg(const std::string& /*file*/) {}
    virtual void OxDownloadMsg(const std::string& /*command*/) {}
    virtual void OxReadFileMsg(unsigned long /*position*/, unsigned long /*length*/,
                               const std::string& /*file*/, bool /*eof*/,
                               const std::string& /*data*/) {}
    virtual void OxGetConfigMsg() {}
    virtual void OxConfigMsg() {}
    virtual void OxLanguageMsg() {}
    virtual void OxSystemCommandMsg(const std::string& /*command*/, int /*timeout*/,
                                    char /*linefeed*/) {}
    virtual void OxGetIpConfigMsg() {}
    virtual void OxGetTimeMsg() {}
    virtual void OxTelnetCommandMsg(const std::string& /*command*/, const std::string& /*data*/) {}

    // Configuration elements.
    virtual void OxConnectCfg(unsigned /*port*/, const std::string& /*name*/,
                              unsigned /*maxAgeDays*/, bool /*logAlarms*/) {}
    virtual void OxNetworkCfg(unsigned /*port*/) {}
    virtual void OxConnectServerCfg(unsigned /*port*/, const std::string& /*ip*/) {}
    virtual void OxDebugLogCfg(unsigned long /*stdoutMask*/, unsigned long /*logFileMask*/,
                               unsigned long /*logFileMaxSize*/,
                               unsigned long /*logFileComMaxSize*/) {}
    virtual void OxEMailCfg(const OxEMailAccountCfg& /*account*/) {}
    virtual void OxDialUpCfg(const std::string& /*phoneBookEntry*/, const std::string& /*user*/,
                             const std::string& /*password*/) {}
    virtual void OxLinuxNetCfg(const std::string& /*domain*/, const std::string& /*nameserver*/) {}
    virtual void OxIpCfg(const std::string& /*ethaddr*/, const std::string& /*tftpip*/,
                         const std::string& /*ipaddr*/, const std::string& /*netmask*/,
                         const std::string& /*gatewayip*/, const std::string& /*dhcp*/,
                         const std::string& /*unused1*/, const std::string& /*unused2*/,
                         const std::string& /*unused3*/, const std::string& /*hostname*/,
                         const std::string& /*domain*/, const std::string& /*autoDns*/,
                         const std::string& /*primaryDns*/, const std::string& /*alternateDns*/) {}
    virtual void OxTimeMsg(const std::string& /*timezone*/, int /*year*/, int /*month*/,
                           int /*day*/, int /*hour*/, int /*min*/, int /*sec*/) {}

    // An unknown command, or a message whose row failed.
    virtual void ErrorUpdate(const std::string& /*text*/) {}
    // Number shown in the debug line of every parsed message.
    virtual int ClientRef() { return -2; }

    // The text of attribute name: the first "name=" anywhere in msg, with no
    // word boundary. The character behind "=" (normally the quote) is skipped
    // unseen, the value runs to the next double quote or the end. An absent
    // attribute gives "", a present empty one a single blank. With second,
    // the value of the next occurrence behind the first value is given.
    static std::string GetAttrib(const std::string& msg, const std::string& name,
                                 bool second = false);
    static int GetAttribAsInt(const std::string& msg, const std::string& name, bool second = false);
    static double GetAttribAsDouble(const std::string& msg, const std::string& name,
                                    bool second = false);
    // strtoul with base 0: "0x1f" and "017" work.
    static unsigned long GetAttribAsULong(const std::string& msg, const std::string& name,
                                          bool second = false);
    // True only for the exact text "true".
    static bool GetAttribAsBool(const std::string& msg, const std::string& name,
                                bool second = false);
    // Every value of a repeated attribute, in document order.
    static void GetAttribList(std::string msg, const std::string& name,
                              std::list<std::string>& values);

  private:
    struct Row {
        const char* key;
        void (OxXmlParser::*run)(const std::string& msg);
    };
    static const Row rows_[];

    void GetTypeRow(const std::string& msg);
    void GetProcessorInfoRow(const std::string& msg);
    void SaveParametersRow(const std::string& msg);
    void RestoreParametersRow(const std::string& msg);
    void GetConfigurationRow(const std::string& msg);
    void ChangeNumParameterRow(const std::string& msg);
    void ChangeEnumParameterRow(const std::string& msg);
    void SetOutputRow(const std::string& msg);
    void ForceUpdateRow(const std::string& msg);
    void SetMotorRow(const std::string& msg);
    void SetSensorRow(const std::string& msg);
    void SetTemperatureRow(const std::string& msg);
    void ExecuteFunctionRow(const std::string& msg);
    void ReplyAlarmRow(const std::string& msg);
    void ConnectRow(const std::string& msg);
    void LogonRow(const std::string& msg);
    void DisconnectRow(const std::string& msg);
    void GetLanguagesRow(const std::string& msg);
    void LanguageRow(const std::string& msg);
    void AlivePollRow(const std::string& msg);
    void GetAlarmEventsRow(const std::string& msg);
    void GetUserInfoRow(const std::string& msg);
    void SetupSessionRow(const std::string& msg);
    void DownloadRow(const std::string& msg);
    void CopyFileRow(const std::string& msg);
    void ConfigurationRow(const std::string& msg);
    void LinuxNetConfigRow(const std::string& msg);
    void TelnetRow(const std::string& msg);
    void SystemCommandRow(const std::string& msg);
    void GetIpConfigRow(const std::string& msg);
    void SetIpConfigRow(const std::string& msg);
    void GetServerTimeRow(const std::string& msg);
    void SetServerTimeRow(const std::string& msg);

    // Parts of the configuration row.
    void ConnectComBlocks(const std::string& msg);
    void EmailBlocks(const std::string& msg);
};
