// Common set-up for tests that run the real gateway binary: a sandbox root
// with a configuration file, a loopback address of its own and a free client
// port.
#pragma once

#include "fakecontroller.h"
#include "gatewayprocess.h"
#include "sandbox.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

struct GatewayOptions {
    std::vector<int> ports{1};  // active machine ports
    // Debug print masks in the configuration. Mask 4096 would echo every
    // machine text on the console, where a text under nine characters is fatal.
    unsigned long stdoutMask = 0xefff;
    unsigned long logFileMask = 0xffff;
    // The gateway element, as an installed machine has it (disabled); empty:
    // none, so that the gateway service adds its default to the file.
    std::string gway = "<GWay port=\"59355\" enabled=\"false\"/>";
    std::string extraConfig;  // more elements inside <Configuration>
    // Elements at the very start of <Configuration>: an element whose port=
    // must win over the others' stands there.
    std::string leadingConfig;
    bool writeConfig = true;
    bool writeOmtaConf = true;  // a 100-byte omta.conf, so start copies nothing
};

class GatewayTestEnv {
  public:
    explicit GatewayTestEnv(const GatewayOptions& options = {});

    Sandbox& Box() { return box_; }
    const std::string& Ip() const { return ip_; }
    int ClientPort() const { return clientPort_; }
    std::string ConfigText() const { return config_; }

    // Starts the gateway on the test's address, with more environment.
    std::unique_ptr<GatewayProcess> Start(const std::vector<std::string>& args = {},
                                          std::map<std::string, std::string> environment = {});

  private:
    Sandbox box_;
    std::string ip_;
    int clientPort_;
    std::string config_;
};

// The console form of a debug line: the first nine characters are dropped.
std::string Shown(const std::string& text);

// The gateway's debug log in the sandbox.
std::string DebugLog(GatewayTestEnv& env);
// Waits until the debug log holds the text count times.
bool WaitForLog(GatewayTestEnv& env, const std::string& text, int ms = 5000, int count = 1);
// Starts the gateway and hands the world over through the fake controller,
// up to "COM 1: Connected" on the console.
std::unique_ptr<GatewayProcess> StartConnected(GatewayTestEnv& env, FakeController& ctl,
                                               const std::vector<std::string>& world);
// Stops the gateway with SIGINT: it must still run, end with 0 and leave no
// sanitizer report on stderr.
void StopGateway(GatewayProcess& gw);
