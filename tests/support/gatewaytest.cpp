#include "gatewaytest.h"

#include <cstdio>

GatewayTestEnv::GatewayTestEnv(const GatewayOptions& options)
    : ip_(UniqueLoopbackIp()), clientPort_(FreeTcpPort()) {
    char masks[200];
    snprintf(masks, sizeof masks,
             "<DebugLogSetup stdoutMask=\"0x%lx\" logFileMask=\"0x%lx\" "
             "logFileMaxSize=\"20000000\" logFileComMaxSize=\"20000000\"/>",
             options.stdoutMask, options.logFileMask);
    config_ = "<Configuration version=\"1\">" + options.leadingConfig;
    config_ += masks;
    config_ += "<Network port=\"" + std::to_string(clientPort_) + "\"/>";
    for (int port : options.ports)
        config_ += "<ConnectCom port=\"" + std::to_string(port) +
                   "\"><EventLog maxAgeDays=\"30\" logAlarms=\"true\"/></ConnectCom>";
    config_ += options.extraConfig;
    config_ += "</Configuration>";
    if (options.writeConfig)
        box_.WriteFile("/etc/torc2/oxgwcfg.xml", config_);
    if (options.writeOmtaConf)
        box_.WriteFile("/etc/torc2/omta.conf", std::string(100, '#'));
}

std::unique_ptr<GatewayProcess> GatewayTestEnv::Start(const std::vector<std::string>& args) {
    return std::make_unique<GatewayProcess>(
        box_.Root(), args, std::map<std::string, std::string>{{"OXGW_APPLICATION_IP", ip_}});
}

std::string Shown(const std::string& text) {
    return text.size() > 9 ? text.substr(9) : "";
}
