#include "gatewaytest.h"

#include <gtest/gtest.h>

#include <csignal>
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
    config_ += options.gway;
    config_ += options.extraConfig;
    config_ += "</Configuration>";
    if (options.writeConfig)
        box_.WriteFile("/etc/torc2/oxgwcfg.xml", config_);
    if (options.writeOmtaConf)
        box_.WriteFile("/etc/torc2/omta.conf", std::string(100, '#'));
}

std::unique_ptr<GatewayProcess> GatewayTestEnv::Start(
    const std::vector<std::string>& args, std::map<std::string, std::string> environment) {
    environment["OXGW_APPLICATION_IP"] = ip_;
    return std::make_unique<GatewayProcess>(box_.Root(), args, environment);
}

std::string Shown(const std::string& text) {
    return text.size() > 9 ? text.substr(9) : "";
}

std::string DebugLog(GatewayTestEnv& env) {
    return env.Box().ReadFile("/var/log/debug/oxgw.log");
}

bool WaitForLog(GatewayTestEnv& env, const std::string& text, int ms, int count) {
    return WaitUntil([&] { return CountOccurrences(DebugLog(env), text) >= count; }, ms);
}

std::unique_ptr<GatewayProcess> StartConnected(GatewayTestEnv& env, FakeController& ctl,
                                               const std::vector<std::string>& world) {
    EXPECT_TRUE(ctl.Listening());
    auto gw = env.Start();
    std::string why;
    EXPECT_TRUE(ctl.HandOver(world, 15000, why)) << why;
    EXPECT_TRUE(gw->WaitForStdout(Shown("COM 1: Connected\n"), 15000)) << gw->Stdout();
    return gw;
}

void StopGateway(GatewayProcess& gw) {
    EXPECT_TRUE(gw.Running()) << gw.Stderr();
    gw.Signal(SIGINT);
    EXPECT_EQ(0, gw.Wait(30000));
    std::string err = gw.Stderr();
    for (const char* mark : {"AddressSanitizer", "LeakSanitizer", "runtime error"}) {
        size_t at = err.find(mark);
        EXPECT_EQ(std::string::npos, at) << err.substr(at > 200 ? at - 200 : 0, 2000);
    }
}
