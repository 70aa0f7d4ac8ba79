// The board's own settings, which a client reads and changes: network
// settings in the boot environment, name servers in resolv.conf, the dial-up
// files and the clock. Every file path goes through MakeAbsPath.
//
// Values that a client sends end up on a shell command line or in a system
// file, so each is checked for its form before anything is changed.
#include "fileutil.h"
#include "oxconf.h"
#include "runprogram.h"
#include "testprint.h"
#include "ubenv.h"
#include "xmltext.h"

#include <arpa/inet.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

const unsigned int NETWORK_PROGRAM_SECONDS = 30;
const size_t MAX_HOSTNAME = 63;
const size_t MAX_DOMAIN = 253;
const size_t MAX_TIMEZONE = 64;

// An empty value, or a single blank, leaves a setting as it is.
bool Given(const std::string& value) {
    return !value.empty() && value != " ";
}

bool ValidIp(const std::string& text) {
    in_addr addr;
    return inet_pton(AF_INET, text.c_str(), &addr) == 1;
}

// Six pairs of hex digits joined by colons.
bool ValidMac(const std::string& text) {
    if (text.size() != 17)
        return false;
    for (size_t i = 0; i < text.size(); ++i)
        if (i % 3 == 2 ? text[i] != ':' : !isxdigit(static_cast<unsigned char>(text[i])))
            return false;
    return true;
}

// Letters, digits, "-" and ".", not starting with "-" or ".".
bool ValidName(const std::string& text, size_t max) {
    if (text.empty() || text.size() > max || text[0] == '-' || text[0] == '.')
        return false;
    for (unsigned char c : text)
        if (!isalnum(c) && c != '-' && c != '.')
            return false;
    return true;
}

// A zone name ("Europe/Berlin") or a POSIX rule ("CET-1CEST,M3.5.0,M10.5.0/3",
// "<+03>-3"); it is quoted on the settime command line.
bool ValidZone(const std::string& text) {
    if (text.size() > MAX_TIMEZONE)
        return false;
    for (unsigned char c : text)
        if (!isalnum(c) && strchr("/_+-:.,<>", c) == nullptr)
            return false;
    return true;
}

bool ValidDate(int year, int month, int day, int hour, int min, int sec) {
    static const int days[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (year < 1970 || year > 9999 || month < 1 || month > 12 || day < 1 || day > days[month - 1])
        return false;
    bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    if (month == 2 && day == 29 && !leap)
        return false;
    return hour >= 0 && hour <= 23 && min >= 0 && min <= 59 && sec >= 0 && sec <= 59;
}

// Prints the refusal of a malformed value; false, so a check reads as
// "Check(ok, ...) || return".
bool Check(bool ok, const char* what, const std::string& value) {
    if (!ok)
        TestPrintF(4, "Refused %s: %.100s\n", what, value.c_str());
    return ok;
}

bool Readable(const std::string& file) {
    std::vector<std::string> lines;
    if (FileUtil::ReadLines(file.c_str(), lines))
        return true;
    TestPrintF(4, "File open error: %.400s\n", file.c_str());
    return false;
}

// Sets the value behind tag in the n-th line that holds it. A file with one
// line fewer gets the line "tag value" at its end when append is set.
void SetFileValue(const std::string& file, const char* tag, const std::string& value, int n,
                  bool append) {
    std::string line;
    if (FileUtil::GetLine(line, file.c_str(), tag, n)) {
        FileUtil::ModifyLine(file.c_str(), tag, value.c_str(), nullptr, n);
        return;
    }
    if (!append || access(file.c_str(), F_OK) != 0)
        return;
    if (n > 1 && !FileUtil::GetLine(line, file.c_str(), tag, n - 1))
        return;
    line = std::string(tag) + " " + value;
    FileUtil::AppendLine(line, file.c_str());
}

void Attribute(std::ostringstream& out, const char* name, const std::string& value) {
    out << name << "=\"" << XmlEscape(value) << "\" ";
}

int ExitCode(long status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : static_cast<int>(status);
}

}  // namespace

bool OxConfiguration::ReadIpConfig(std::ostringstream& out) {
    std::string ethaddr, ipaddr, netmask, gatewayip, serverip, dhcp, autodns, hostname;
    if (!GetUbVar("ethaddr", ethaddr) || !GetUbVar("ipaddr", ipaddr) ||
        !GetUbVar("netmask", netmask) || !GetUbVar("gatewayip", gatewayip) ||
        !GetUbVar("serverip", serverip) || !GetUbVar("dhcp", dhcp) ||
        !GetUbVar("autodns", autodns) || !GetUbVar("hostname", hostname))
        return false;
    bool dhcpOn = dhcp == "yes";
    std::string lease = MakeAbsPath("/etc/dhcpc/dhcpcd-eth0.info");
    std::string leaseIp, leaseMask, leaseGateway;
    if (dhcpOn && (!FileUtil::GetTag(leaseIp, lease.c_str(), "IPADDR=", 1) ||
                   !FileUtil::GetTag(leaseMask, lease.c_str(), "NETMASK=", 1) ||
                   !FileUtil::GetTag(leaseGateway, lease.c_str(), "GATEWAY=", 1)))
        return false;
    std::string resolv = MakeAbsPath("/etc/resolv.conf");
    if (!Readable(resolv))
        return false;
    std::string domain, primary, alternate;
    if (!FileUtil::GetTag(domain, resolv.c_str(), "domain ", 1) && dhcpOn)
        FileUtil::GetTag(domain, lease.c_str(), "DOMAIN=", 1);
    FileUtil::GetTag(primary, resolv.c_str(), "nameserver ", 1);
    FileUtil::GetTag(alternate, resolv.c_str(), "nameserver ", 2);

    out << "<Message><IpConfig ";
    Attribute(out, "ethaddr", ethaddr);
    if (dhcpOn) {
        Attribute(out, "dhcpIpaddr", leaseIp);
        Attribute(out, "dhcpNetmask", leaseMask);
        Attribute(out, "dhcpGatewayip", leaseGateway);
    }
    Attribute(out, "ipaddr", ipaddr);
    Attribute(out, "netmask", netmask);
    Attribute(out, "gatewayip", gatewayip);
    Attribute(out, "tftpip", serverip);
    Attribute(out, "hostname", hostname);
    Attribute(out, "domain", domain);
    Attribute(out, "DHCP", dhcpOn ? "true" : "false");
    Attribute(out, "autoDNS", autodns == "yes" ? "true" : "false");
    Attribute(out, "primaryDNS", primary);
    Attribute(out, "alternateDNS", alternate);
    out << "/></Message>";
    return true;
}

void OxConfiguration::OxIpCfg(const std::string& ethaddr, const std::string& tftpip,
                              const std::string& ipaddr, const std::string& netmask,
                              const std::string& gatewayip, const std::string& dhcp,
                              const std::string&, const std::string&, const std::string&,
                              const std::string& hostname, const std::string& domain,
                              const std::string& autoDns, const std::string& primaryDns,
                              const std::string& alternateDns) {
    // Boot variables in the order they are written; serverip comes from
    // the client's tftpip.
    const std::pair<const char*, const std::string*> addresses[] = {
        {"ipaddr", &ipaddr},   {"netmask", &netmask},       {"gatewayip", &gatewayip},
        {"serverip", &tftpip}, {"primaryDNS", &primaryDns}, {"alternateDNS", &alternateDns}};
    for (const auto& a : addresses)
        if (Given(*a.second) && !Check(ValidIp(*a.second), a.first, *a.second))
            return;
    if ((Given(ethaddr) && !Check(ValidMac(ethaddr), "ethaddr", ethaddr)) ||
        (Given(hostname) && !Check(ValidName(hostname, MAX_HOSTNAME), "hostname", hostname)) ||
        (Given(domain) && !Check(ValidName(domain, MAX_DOMAIN), "domain", domain)))
        return;

    // A failed write ends the change before the network goes down; what was
    // written stays.
    if (Given(ethaddr) && !SetUbVar("ethaddr", ethaddr))
        return;
    if (!SetUbVar("dhcp", dhcp == "true" ? "yes" : "no"))
        return;
    for (int i = 0; i < 4; ++i)
        if (Given(*addresses[i].second) && !SetUbVar(addresses[i].first, *addresses[i].second))
            return;
    if (Given(hostname) && !SetUbVar("hostname", hostname))
        return;

    TestPrintF(0, "stop-network...\n");
    long status = RunProgramAndWait("stop-network", NETWORK_PROGRAM_SECONDS);
    if (status != 0)
        TestPrintF(0, "stop-network?\n");

    // From here on the network is down: every step runs, whatever failed
    // before it, and the network is started again.
    std::string resolv = MakeAbsPath("/etc/resolv.conf");
    if (Given(domain)) {
        SetFileValue(resolv, "domain", domain, 1, true);
        SetFileValue(resolv, "search", domain, 1, false);
    }
    if (SetUbVar("autodns", autoDns == "true" ? "yes" : "no") && autoDns == "false") {
        if (Given(primaryDns))
            SetFileValue(resolv, "nameserver", primaryDns, 1, true);
        if (Given(alternateDns))
            SetFileValue(resolv, "nameserver", alternateDns, 2, true);
    }

    TestPrintF(0, "start-network...\n");
    status = RunProgramAndWait("start-network", NETWORK_PROGRAM_SECONDS);
    if (status == -1)
        TestPrintF(0, "start-network failed?\n");
    else
        TestPrintF(0, "start-network ExitCode = %d\n", ExitCode(status));
}

bool OxConfiguration::ReadLinuxNetConfig(std::ostringstream& out) {
    std::string resolv = MakeAbsPath("/etc/resolv.conf");
    std::string wvdial = MakeAbsPath("/etc/wvdial.conf");
    std::string secrets = MakeAbsPath("/etc/ppp/pap-secrets");
    if (!Readable(resolv) || !Readable(wvdial) || !Readable(secrets))
        return false;
    std::string domain, nameserver, user, password, prefix, phone, line;
    FileUtil::GetTag(domain, resolv.c_str(), "domain ", 1);
    FileUtil::GetTag(nameserver, resolv.c_str(), "nameserver ", 1);
    FileUtil::GetTag(user, wvdial.c_str(), "Username = ", 1);
    FileUtil::GetTag(password, wvdial.c_str(), "Password = ", 1);
    FileUtil::GetTag(prefix, wvdial.c_str(), "Dial Prefix = ", 1);
    FileUtil::GetTag(phone, wvdial.c_str(), "Phone = ", 1);
    // The dial-in line: client, server ("remote"), the secret, then the
    // board's and the caller's PPP address.
    std::string client, server, secret, boardIp, remoteIp;
    if (FileUtil::GetLine(line, secrets.c_str(), "remote", 1)) {
        std::istringstream words(line);
        words >> client >> server >> secret >> boardIp >> remoteIp;
        if (secret.size() >= 2 && secret.front() == '"' && secret.back() == '"')
            secret = secret.substr(1, secret.size() - 2);
    }

    out << "<Message><LinuxNetConfig ";
    Attribute(out, "domain", domain);
    Attribute(out, "nameserver", nameserver);
    Attribute(out, "blackBoxUserName", user);
    Attribute(out, "blackBoxPassword", Encode(password));
    Attribute(out, "dialPrefix", prefix);
    Attribute(out, "phone", phone);
    Attribute(out, "dialInPassword", Encode(secret));
    Attribute(out, "blackBoxPppIpAdr", boardIp);
    Attribute(out, "remotePppIpAdr", remoteIp);
    out << "/></Message>";
    return true;
}

void OxConfiguration::OxLinuxNetCfg(const std::string& domain, const std::string& nameserver) {
    if ((Given(domain) && !Check(ValidName(domain, MAX_DOMAIN), "domain", domain)) ||
        (Given(nameserver) && !Check(ValidIp(nameserver), "nameserver", nameserver)))
        return;
    std::string resolv = MakeAbsPath("/etc/resolv.conf");
    if (Given(domain)) {
        SetFileValue(resolv, "domain", domain, 1, true);
        SetFileValue(resolv, "search", domain, 1, false);
    }
    if (Given(nameserver))
        SetFileValue(resolv, "nameserver", nameserver, 1, true);
}

bool OxConfiguration::GetTime(std::ostringstream& out) {
    time_t now = time(nullptr);
    struct tm local;
    if (now == static_cast<time_t>(-1) || localtime_r(&now, &local) == nullptr)
        return false;
    // The zone that settime left for the board; none is no error.
    std::vector<std::string> zone;
    FileUtil::ReadLines(MakeAbsPath("/etc/timezone").c_str(), zone);
    out << "<Message><ServerTime timezone=\"" << XmlEscape(zone.empty() ? "" : zone[0])
        << "\" year=\"" << local.tm_year + 1900 << "\" month=\"" << local.tm_mon + 1 << "\" day=\""
        << local.tm_mday << "\" hour=\"" << local.tm_hour << "\" min=\"" << local.tm_min
        << "\" sec=\"" << local.tm_sec << "\"/></Message>";
    return true;
}

void OxConfiguration::OxTimeMsg(const std::string& timezone, int year, int month, int day, int hour,
                                int min, int sec) {
    char date[80];
    snprintf(date, sizeof date, "%04d-%02d-%02d %02d:%02d:%02d", year, month, day, hour, min, sec);
    if (!Check(ValidDate(year, month, day, hour, min, sec), "time", date) ||
        !Check(ValidZone(timezone), "timezone", timezone))
        return;
    char command[160];
    snprintf(command, sizeof command, "settime %02d%02d%02d%02d%04d.%02d '%s'", month, day, hour,
             min, year, sec, timezone.c_str());
    long status = RunProgramAndWait(command, UBENV_PROGRAM_SECONDS);
    if (status != 0)
        TestPrintF(4, "%s failed (%ld)\n", command, status);
}
