// Client commands on the board's own settings: network, name servers and
// clock. They work before a connect. The configuration store reads and
// changes the settings; a change that fails leaves a debug line and no reply.
#include "oxconf.h"
#include "oxsession.h"

#include <sstream>

void OxSocketSession::OxGetIpConfigMsg() {
    if (IsClosing())
        return;
    std::ostringstream out;
    if (OxConfiguration::Instance()->ReadIpConfig(out))
        Send(out);
    else
        SendError("Get ip configuration failed!");
}

void OxSocketSession::OxGetTimeMsg() {
    if (IsClosing())
        return;
    std::ostringstream out;
    if (OxConfiguration::Instance()->GetTime(out))
        Send(out);
    else
        SendError("Get Time failed!");
}

void OxSocketSession::OxIpCfg(const std::string& ethaddr, const std::string& tftpip,
                              const std::string& ipaddr, const std::string& netmask,
                              const std::string& gatewayip, const std::string& dhcp,
                              const std::string& unused1, const std::string& unused2,
                              const std::string& unused3, const std::string& hostname,
                              const std::string& domain, const std::string& autoDns,
                              const std::string& primaryDns, const std::string& alternateDns) {
    OxConfiguration::Instance()->OxIpCfg(ethaddr, tftpip, ipaddr, netmask, gatewayip, dhcp, unused1,
                                         unused2, unused3, hostname, domain, autoDns, primaryDns,
                                         alternateDns);
}

void OxSocketSession::OxLinuxNetCfg(const std::string& domain, const std::string& nameserver) {
    OxConfiguration::Instance()->OxLinuxNetCfg(domain, nameserver);
}

void OxSocketSession::OxTimeMsg(const std::string& timezone, int year, int month, int day, int hour,
                                int min, int sec) {
    OxConfiguration::Instance()->OxTimeMsg(timezone, year, month, day, hour, min, sec);
}
