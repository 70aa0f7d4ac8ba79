#include "oxconf.h"

#include "testprint.h"

#include <ace/Thread_Mutex.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

OxConfiguration* theConfiguration = nullptr;
OxStatusMailTimers* theStatusMailTimers = nullptr;

// A range in an alarm type list expands to at most this many numbers, so a
// text like "1-2000000000" cannot exhaust the memory.
const size_t MAX_ALARM_TYPES = 10000;

ACE_Thread_Mutex& ClassMutex() {
    static ACE_Thread_Mutex mutex;
    return mutex;
}

// Guard over the class mutex, or nothing when the caller holds it already.
// Releasing restores errno, so a caller that reports a failed call after
// reading the configuration still sees the error of that call.
class Lock {
  public:
    explicit Lock(bool take) : taken_(take) {
        if (taken_)
            ClassMutex().acquire();
    }
    ~Lock() {
        if (!taken_)
            return;
        int saved = errno;
        ClassMutex().release();
        errno = saved;
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

  private:
    bool taken_;
};

bool ValidPort(unsigned port) {
    return port >= 1 && port <= OxConfiguration::MAX_PORTS;
}

// Digits from text[i] on, as atoi reads them but held at INT_MAX instead of
// wrapping; i ends on the first non-digit.
int ReadNumber(const std::string& text, size_t& i) {
    long value = 0;
    while (i < text.size() && isdigit(static_cast<unsigned char>(text[i]))) {
        if (value <= INT_MAX)
            value = value * 10 + (text[i] - '0');
        ++i;
    }
    return value > INT_MAX ? INT_MAX : static_cast<int>(value);
}

}  // namespace

// ---------------------------------------------------------------- B64Convert

size_t B64Convert::B64Encode(const unsigned char* src, char* dst, size_t n, unsigned char offset) {
    size_t out = 0;
    for (size_t i = 0; i < n; i += 3) {
        unsigned b0 = src[i];
        unsigned b1 = i + 1 < n ? src[i + 1] : 0;
        unsigned b2 = i + 2 < n ? src[i + 2] : 0;
        dst[out++] = static_cast<char>(((b0 >> 2) + offset) & 0xff);
        dst[out++] = static_cast<char>(((((b0 & 0x03) << 4) | (b1 >> 4)) + offset) & 0xff);
        dst[out++] = static_cast<char>(((((b1 & 0x0f) << 2) | (b2 >> 6)) + offset) & 0xff);
        dst[out++] = static_cast<char>(((b2 & 0x3f) + offset) & 0xff);
    }
    return out;
}

size_t B64Convert::B64Decode(const char* src, unsigned char* dst, size_t n, unsigned char offset) {
    size_t out = 0;
    for (size_t i = 0; i < n; i += 4) {
        unsigned v[4] = {0, 0, 0, 0};
        for (size_t k = 0; k < 4 && i + k < n; ++k)
            v[k] = (static_cast<unsigned char>(src[i + k]) - offset) & 0x3f;
        dst[out++] = static_cast<unsigned char>((v[0] << 2) | (v[1] >> 4));
        dst[out++] = static_cast<unsigned char>(((v[1] & 0x0f) << 4) | (v[2] >> 2));
        dst[out++] = static_cast<unsigned char>(((v[2] & 0x03) << 6) | v[3]);
    }
    return out;
}

// ---------------------------------------------------------------- singleton

OxConfiguration* OxConfiguration::Instance() {
    Lock lock(true);
    if (theConfiguration == nullptr)
        theConfiguration = new OxConfiguration();
    return theConfiguration;
}

void OxConfiguration::DeleteInstance() {
    OxConfiguration* old;
    {
        Lock lock(true);
        old = theConfiguration;
        theConfiguration = nullptr;
    }
    delete old;
}

void OxConfiguration::SetStatusMailTimers(OxStatusMailTimers* timers) {
    Lock lock(true);
    theStatusMailTimers = timers;
}

OxConfiguration::OxConfiguration() {
    for (EMailAccount& a : accounts_)
        a.accessLevel = "User";
}

// ---------------------------------------------------------------- handlers

void OxConfiguration::OxConnectCfg(unsigned port, const std::string& name, unsigned maxAgeDays,
                                   bool logAlarms) {
    TestPrintF(8, "OxConfiguration::Update(OxConnectCfg& cfg), port=%d logAlarms=%d\n", port,
               logAlarms);
    if (!ValidPort(port))
        return;
    {
        Lock lock(true);
        OxConnectionCfg& cfg = connectionCfg_[port - 1];
        cfg.used = true;
        cfg.maxAgeDays = static_cast<int>(maxAgeDays);
        cfg.logAlarms = logAlarms;
    }
    UpdateProcessorInfo(port, name);
}

void OxConfiguration::UpdateProcessorInfo(unsigned port, const std::string& name) {
    if (!ValidPort(port))
        return;
    Lock lock(true);
    for (size_t i = 0; i < processorPorts_.size(); ++i) {
        if (processorPorts_[i] == port) {
            processorNames_[i] = name;
            return;
        }
    }
    processorNames_.push_back(name);
    processorPorts_.push_back(port);
}

void OxConfiguration::OxNetworkCfg(unsigned port) {
    if (port == 0)
        return;
    Lock lock(true);
    networkPort_ = static_cast<int>(port);
}

void OxConfiguration::OxConnectServerCfg(unsigned port, const std::string& ip) {
    Lock lock(true);
    serverPort_ = port & 0xffff;
    serverHost_ = ip;
    connectToServer_ = true;
}

void OxConfiguration::OxDebugLogCfg(unsigned long stdoutMask, unsigned long logFileMask,
                                    unsigned long logFileMaxSize, unsigned long logFileComMaxSize) {
    {
        Lock lock(true);
        stdoutMask_ = stdoutMask;
        logFileMask_ = logFileMask;
        logFileMaxSize_ = logFileMaxSize;
        logFileComMaxSize_ = logFileComMaxSize;
    }
    TestPrintSetMask(stdoutMask, logFileMask);
    TestPrintSetLogFileMaxSize(logFileMaxSize);
}

void OxConfiguration::OxEMailCfg(const OxEMailAccountCfg& account) {
    int slot;
    OxStatusMailTimers* timers;
    {
        Lock lock(true);
        slot = accountCount_;
        if (slot >= MAX_EMAIL_ACCOUNTS) {
            // Reported once until the accounts are cleared: a damaged
            // document can repeat an account many times.
            if (!accountsRejected_) {
                TestPrintF(4,
                           "OxConfiguration::OxEMailCfg, more than %d e-mail accounts, "
                           "further accounts rejected\n",
                           static_cast<int>(MAX_EMAIL_ACCOUNTS));
            }
            accountsRejected_ = true;
            return;
        }
        EMailAccount& a = accounts_[slot];
        static_cast<OxEMailAccountCfg&>(a) = account;
        a.receivers = SplitReceivers(account.to);
        a.alarmTypes = SplitAlarmTypes(account.alarmType);
        ++accountCount_;
        timers = theStatusMailTimers;
    }
    // The timers belong to the e-mail task: called without the lock.
    if (account.status && timers != nullptr) {
        if (account.active) {
            timers->StartStatusTimer(slot);
        } else {
            timers->StopStatusTimer(slot);
        }
    }
}

void OxConfiguration::OxDialUpCfg(const std::string& phoneBookEntry, const std::string& user,
                                  const std::string& password) {
    Lock lock(true);
    dialUpEntry_ = phoneBookEntry;
    dialUpUser_ = user;
    dialUpPassword_ = password;
}

void OxConfiguration::ErrorUpdate(const std::string& text) {
    TestPrintF(4, "OxConfiguration::ErrorUpdate\n");
    TestPrintF(4, "%.400s\n", text.c_str());
}

void OxConfiguration::ClearEmail() {
    Lock lock(true);
    for (EMailAccount& a : accounts_) {
        a.active = false;
        a.status = false;
        a.updateTime = 0;
        a.receivers.clear();
        a.alarmTypes.clear();
        a.accessLevel = "User";
        a.groups = a.parameters = a.inputDevices = a.outputDevices = a.definitions = false;
    }
    accountCount_ = 0;
    accountsRejected_ = false;
}

void OxConfiguration::ClearConnectionCfg() {
    Lock lock(true);
    processorNames_.clear();
    processorPorts_.clear();
    for (OxConnectionCfg& cfg : connectionCfg_)
        cfg = OxConnectionCfg();
}

bool OxConfiguration::RestartNeeded(OxConfiguration& fresh) {
    Lock lock(true);
    if (fresh.GetNetworkPort(false) != networkPort_)
        return true;
    for (int port = 1; port <= MAX_PORTS; ++port)
        if (fresh.GetConnectionCfg(port, false).used != connectionCfg_[port - 1].used)
            return true;
    return false;
}

// ---------------------------------------------------------------- accessors

bool OxConfiguration::ConnectToServer(bool lock) const {
    Lock guard(lock);
    return connectToServer_;
}

ACE_INET_Addr OxConfiguration::GetServerAddress() const {
    std::string host;
    unsigned port;
    {
        Lock lock(true);
        host = serverHost_;
        port = serverPort_;
    }
    return ACE_INET_Addr(static_cast<u_short>(port), host.c_str());
}

std::string OxConfiguration::GetServerHost(bool lock) const {
    Lock guard(lock);
    return serverHost_;
}

unsigned OxConfiguration::GetServerPort(bool lock) const {
    Lock guard(lock);
    return serverPort_;
}

int OxConfiguration::GetNetworkPort(bool lock) const {
    Lock guard(lock);
    return networkPort_;
}

OxConnectionCfg OxConfiguration::GetConnectionCfg(int port, bool lock) const {
    if (!(port >= 1 && port <= 10)) {
        fprintf(stderr, "Assertion failed: port >= 1 && port <= 10 (port=%d)\n", port);
        abort();
    }
    Lock guard(lock);
    return connectionCfg_[port - 1];
}

unsigned long OxConfiguration::GetStdoutMask(bool lock) const {
    Lock guard(lock);
    return stdoutMask_;
}

unsigned long OxConfiguration::GetLogFileMask(bool lock) const {
    Lock guard(lock);
    return logFileMask_;
}

unsigned long OxConfiguration::GetLogFileMaxSize(bool lock) const {
    Lock guard(lock);
    return logFileMaxSize_;
}

unsigned long OxConfiguration::GetLogFileComMaxSize(bool lock) const {
    Lock guard(lock);
    return logFileComMaxSize_;
}

int OxConfiguration::ProcessorInfo_Count(bool lock) const {
    Lock guard(lock);
    return static_cast<int>(processorPorts_.size());
}

std::string OxConfiguration::GetProcessorName(int i, bool lock) const {
    Lock guard(lock);
    if (i < 0 || i >= static_cast<int>(processorNames_.size()))
        return "";
    return processorNames_[i];
}

unsigned OxConfiguration::GetProcessorPort(int i, bool lock) const {
    Lock guard(lock);
    if (i < 0 || i >= static_cast<int>(processorPorts_.size()))
        return 0;
    return processorPorts_[i];
}

const OxConfiguration::EMailAccount* OxConfiguration::Account(int i) const {
    if (i < 0 || i >= MAX_EMAIL_ACCOUNTS)
        return nullptr;
    return &accounts_[i];
}

int OxConfiguration::GetEMailAccounts(bool lock) const {
    Lock guard(lock);
    return accountCount_;
}

// Reads one column of an account under the lock; a slot outside the table
// gives the empty value of the column's type.
#define OX_EMAIL_GETTER(Type, Getter, field)               \
    Type OxConfiguration::Getter(int i, bool lock) const { \
        Lock guard(lock);                                  \
        const EMailAccount* a = Account(i);                \
        return a != nullptr ? Type(a->field) : Type();     \
    }

OX_EMAIL_GETTER(std::string, GetEMailSMTPServer, smtp)
OX_EMAIL_GETTER(std::string, GetEMailSenderName, name)
OX_EMAIL_GETTER(std::string, GetEMailSender, from)
OX_EMAIL_GETTER(std::vector<std::string>, GetEMailReceiver, receivers)
OX_EMAIL_GETTER(std::string, GetEMailSubject, subject)
OX_EMAIL_GETTER(std::string, GetEMailMessage, message)
OX_EMAIL_GETTER(std::vector<int>, GetEMailAlarmType, alarmTypes)
OX_EMAIL_GETTER(std::string, GetEMailMapiProfile, mapi)
OX_EMAIL_GETTER(bool, GetEMailDialUp, dialUp)
OX_EMAIL_GETTER(bool, GetEMailActive, active)
OX_EMAIL_GETTER(bool, IsStatusEMail, status)
OX_EMAIL_GETTER(int, GetEMailStatusInterval, updateTime)
OX_EMAIL_GETTER(std::string, GetEMailAccessLevel, accessLevel)
OX_EMAIL_GETTER(bool, GetEMailGroups, groups)
OX_EMAIL_GETTER(bool, GetEMailParameters, parameters)
OX_EMAIL_GETTER(bool, GetEMailInputDevices, inputDevices)
OX_EMAIL_GETTER(bool, GetEMailOutputDevices, outputDevices)
OX_EMAIL_GETTER(bool, GetEMailDefinitions, definitions)

#undef OX_EMAIL_GETTER

void OxConfiguration::GetDialUpCfg(std::string* phoneBookEntry, std::string* user,
                                   std::string* password, bool lock) const {
    Lock guard(lock);
    if (phoneBookEntry != nullptr)
        *phoneBookEntry = dialUpEntry_;
    if (user != nullptr)
        *user = dialUpUser_;
    if (password != nullptr)
        *password = dialUpPassword_;
}

void OxConfiguration::SetAppPath(const std::string& path, bool lock) {
    Lock guard(lock);
    appPath_ = path;
    // The debug print task's log lies under the application path too.
    if (this == theConfiguration)
        TestPrintSetLogFile(appPath_ + "/var/log/debug/oxgw.log",
                            appPath_ + "/var/log/debug/oxgw.log.1");
}

std::string OxConfiguration::GetAppPath(bool lock) const {
    Lock guard(lock);
    return appPath_;
}

std::string OxConfiguration::MakeAbsPath(const std::string& path, bool lock) const {
    Lock guard(lock);
    return appPath_ + path;
}

// ---------------------------------------------------------------- texts

std::string OxConfiguration::Encode(const std::string& s) {
    size_t n = s.length() + 1;  // with the terminating NUL
    size_t length = B64Convert::B64EncodeGetLength(n);
    std::vector<char> out(length);
    size_t written = B64Convert::B64Encode(reinterpret_cast<const unsigned char*>(s.c_str()),
                                           out.data(), n, 0x3f);
    if (written != length) {
        fprintf(stderr, "Assertion failed: B64Encode length\n");
        abort();
    }
    return std::string(out.data(), written);
}

std::string OxConfiguration::Decode(const std::string& s) {
    if (s.empty())
        return "";
    std::vector<unsigned char> out(B64Convert::B64DecodeGetLength(s.length()));
    size_t written = B64Convert::B64Decode(s.data(), out.data(), s.length(), 0x3f);
    const char* text = reinterpret_cast<const char*>(out.data());
    return std::string(text, strnlen(text, written));
}

std::vector<int> OxConfiguration::SplitAlarmTypes(const std::string& text) {
    std::vector<int> types;
    size_t i = 0;
    const size_t n = text.size();
    while (i < n) {
        if (!isdigit(static_cast<unsigned char>(text[i]))) {
            ++i;
            continue;
        }
        int first = ReadNumber(text, i);
        if (types.size() < MAX_ALARM_TYPES)
            types.push_back(first);
        if (i + 1 < n && text[i] == '-' && isdigit(static_cast<unsigned char>(text[i + 1]))) {
            ++i;
            int last = ReadNumber(text, i);
            for (long v = static_cast<long>(first) + 1; v <= last; ++v) {
                if (types.size() >= MAX_ALARM_TYPES) {
                    TestPrintF(4, "OxConfiguration: alarm type list cut at %d numbers\n",
                               static_cast<int>(MAX_ALARM_TYPES));
                    break;
                }
                types.push_back(static_cast<int>(v));
            }
        }
    }
    return types;
}

std::vector<std::string> OxConfiguration::SplitReceivers(const std::string& text) {
    std::vector<std::string> receivers;
    size_t begin = 0;
    size_t semicolon;
    while ((semicolon = text.find(';', begin)) != std::string::npos) {
        receivers.push_back(text.substr(begin, semicolon - begin));
        begin = semicolon + 1;
    }
    if (begin < text.size())
        receivers.push_back(text.substr(begin));
    return receivers;
}
