// Process-wide configuration store.
//
// Filled from the configuration file at start, and again from the file a
// client sends. The file has the shape of a client message and goes through
// the same substring dispatcher; this class overrides the handlers that a
// <Configuration> document reaches. Every other part reads the settings
// through the accessors below.
//
// One mutex guards the fields of all instances (the service builds a second,
// temporary instance to compare a newly read file with the live one).
// Getters with a lock parameter can be called by a holder of that mutex.
#pragma once

#include "oxxmlparser.h"

#include <ace/INET_Addr.h>

#include <sstream>
#include <string>
#include <vector>

// Per machine port: does the port stand in the file, and the settings of its
// event log.
struct OxConnectionCfg {
    bool used = false;
    int maxAgeDays = 0;
    bool logAlarms = false;
};

// The status mail timers live in the e-mail task; the configuration starts or
// stops them when it reads a status account. The task registers itself here.
class OxStatusMailTimers {
  public:
    virtual ~OxStatusMailTimers() = default;
    virtual void StartStatusTimer(int account) = 0;
    virtual void StopStatusTimer(int account) = 0;
};

// Base64 with a character offset instead of an alphabet.
class B64Convert {
  public:
    static size_t B64EncodeGetLength(size_t n) { return ((n + 2) / 3) * 4; }
    static size_t B64DecodeGetLength(size_t n) { return ((n + 3) / 4) * 3; }
    // Four characters per three bytes, each 6-bit value plus offset (in 8
    // bits). A short last group is filled with zero bits. No terminator.
    static size_t B64Encode(const unsigned char* src, char* dst, size_t n, unsigned char offset);
    // The inverse; a short last group counts its missing characters as zero.
    static size_t B64Decode(const char* src, unsigned char* dst, size_t n, unsigned char offset);
};

class OxConfiguration : public OxXmlParser {
  public:
    enum { MAX_PORTS = 10, MAX_EMAIL_ACCOUNTS = 10 };

    static OxConfiguration* Instance();
    static void DeleteInstance();

    // Where status accounts start and stop their timers (null: nowhere).
    static void SetStatusMailTimers(OxStatusMailTimers* timers);

    // Defaults only; the file is read by whoever owns the instance.
    OxConfiguration();

    // Handlers of the configuration elements.
    void OxConnectCfg(unsigned port, const std::string& name, unsigned maxAgeDays,
                      bool logAlarms) override;
    void OxNetworkCfg(unsigned port) override;
    void OxConnectServerCfg(unsigned port, const std::string& ip) override;
    void OxDebugLogCfg(unsigned long stdoutMask, unsigned long logFileMask,
                       unsigned long logFileMaxSize, unsigned long logFileComMaxSize) override;
    void OxEMailCfg(const OxEMailAccountCfg& account) override;
    void OxDialUpCfg(const std::string& phoneBookEntry, const std::string& user,
                     const std::string& password) override;
    void ErrorUpdate(const std::string& text) override;

    // Settings of the board itself, kept outside the configuration file: the
    // boot environment, resolv.conf, the dial-up files and the clock. The
    // readers write one message and are false when a needed value cannot be
    // had; the writers check every value first and change nothing if one is
    // malformed, and leave a debug line when a step fails.
    bool ReadIpConfig(std::ostringstream& out);
    bool ReadLinuxNetConfig(std::ostringstream& out);
    bool GetTime(std::ostringstream& out);
    void OxIpCfg(const std::string& ethaddr, const std::string& tftpip, const std::string& ipaddr,
                 const std::string& netmask, const std::string& gatewayip, const std::string& dhcp,
                 const std::string& unused1, const std::string& unused2, const std::string& unused3,
                 const std::string& hostname, const std::string& domain, const std::string& autoDns,
                 const std::string& primaryDns, const std::string& alternateDns) override;
    void OxLinuxNetCfg(const std::string& domain, const std::string& nameserver) override;
    void OxTimeMsg(const std::string& timezone, int year, int month, int day, int hour, int min,
                   int sec) override;

    // Empties the mail accounts before a new set is applied.
    void ClearEmail();
    // Empties the processor list and marks all ports unused.
    void ClearConnectionCfg();
    // Adds a port to the processor list, or renames it if listed already.
    void UpdateProcessorInfo(unsigned port, const std::string& name);
    void SetProcessorName(unsigned port, const std::string& name) {
        UpdateProcessorInfo(port, name);
    }

    // True when fresh differs in a way only a restart of the service can
    // take over: the network port, or which machine ports are used.
    bool RestartNeeded(OxConfiguration& fresh);

    bool ConnectToServer(bool lock = true) const;
    // Resolves the configured host; done outside the lock.
    ACE_INET_Addr GetServerAddress() const;
    std::string GetServerHost(bool lock = true) const;
    unsigned GetServerPort(bool lock = true) const;
    int GetNetworkPort(bool lock = true) const;
    // port must be 1 to 10; anything else is a programming error and aborts.
    OxConnectionCfg GetConnectionCfg(int port, bool lock = true) const;

    unsigned long GetStdoutMask(bool lock = true) const;
    unsigned long GetLogFileMask(bool lock = true) const;
    unsigned long GetLogFileMaxSize(bool lock = true) const;
    unsigned long GetLogFileComMaxSize(bool lock = true) const;

    int ProcessorInfo_Count(bool lock = true) const;
    std::string GetProcessorName(int i, bool lock = true) const;
    unsigned GetProcessorPort(int i, bool lock = true) const;

    // Mail accounts, by slot 0 .. GetEMailAccounts() - 1. A slot outside
    // the table gives empty values.
    int GetEMailAccounts(bool lock = true) const;
    std::string GetEMailSMTPServer(int i, bool lock = true) const;
    std::string GetEMailSenderName(int i, bool lock = true) const;
    std::string GetEMailSender(int i, bool lock = true) const;
    std::vector<std::string> GetEMailReceiver(int i, bool lock = true) const;
    std::string GetEMailSubject(int i, bool lock = true) const;
    std::string GetEMailMessage(int i, bool lock = true) const;
    std::vector<int> GetEMailAlarmType(int i, bool lock = true) const;
    std::string GetEMailMapiProfile(int i, bool lock = true) const;
    bool GetEMailDialUp(int i, bool lock = true) const;
    bool GetEMailActive(int i, bool lock = true) const;
    bool IsStatusEMail(int i, bool lock = true) const;
    int GetEMailStatusInterval(int i, bool lock = true) const;
    std::string GetEMailAccessLevel(int i, bool lock = true) const;
    bool GetEMailGroups(int i, bool lock = true) const;
    bool GetEMailParameters(int i, bool lock = true) const;
    bool GetEMailInputDevices(int i, bool lock = true) const;
    bool GetEMailOutputDevices(int i, bool lock = true) const;
    bool GetEMailDefinitions(int i, bool lock = true) const;

    void GetDialUpCfg(std::string* phoneBookEntry, std::string* user, std::string* password,
                      bool lock = true) const;

    // The application path goes in front of every file path of the program,
    // joined without a separator, so all files can live under another root.
    void SetAppPath(const std::string& path, bool lock = true);
    std::string GetAppPath(bool lock = true) const;
    std::string MakeAbsPath(const std::string& path, bool lock = true) const;

    // A password as text that survives inside an XML attribute: base64 of
    // the text with its NUL, every character offset by 0x3f (0x3f .. 0x7e).
    static std::string Encode(const std::string& s);
    // The inverse; the text up to the first NUL.
    static std::string Decode(const std::string& s);

    // "3,5-7" gives 3, 5, 6, 7; any non-digit between numbers separates.
    static std::vector<int> SplitAlarmTypes(const std::string& text);
    // "a;b;" gives a and b; an empty text gives none.
    static std::vector<std::string> SplitReceivers(const std::string& text);

  private:
    // An account as written in the configuration, with its receivers and
    // alarm types split into lists.
    struct EMailAccount : OxEMailAccountCfg {
        std::vector<std::string> receivers;
        std::vector<int> alarmTypes;
    };

    const EMailAccount* Account(int i) const;

    int networkPort_ = 2000;
    std::string serverHost_ = "localhost";
    unsigned serverPort_ = 2001;
    bool connectToServer_ = false;
    OxConnectionCfg connectionCfg_[MAX_PORTS];
    unsigned long stdoutMask_ = 7;
    unsigned long logFileMask_ = 7;
    unsigned long logFileMaxSize_ = 20000000;
    unsigned long logFileComMaxSize_ = 20000000;
    EMailAccount accounts_[MAX_EMAIL_ACCOUNTS];
    int accountCount_ = 0;
    bool accountsRejected_ = false;
    std::string dialUpEntry_;
    std::string dialUpUser_;
    std::string dialUpPassword_;
    std::string appPath_;
    std::vector<std::string> processorNames_;
    std::vector<unsigned> processorPorts_;
};
