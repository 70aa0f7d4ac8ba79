// Starts the built gateway binary as a child process in a sandbox root, with
// stdout and stderr captured to files, and waits for what it prints.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

class GatewayProcess {
  public:
    // program: path of the binary (default build/oxgw); env: extra variables.
    GatewayProcess(const std::string& root, const std::vector<std::string>& args,
                   const std::map<std::string, std::string>& env = {},
                   const std::string& program = std::string(OXGW_BUILD_DIR) + "/oxgw");
    ~GatewayProcess();
    GatewayProcess(const GatewayProcess&) = delete;
    GatewayProcess& operator=(const GatewayProcess&) = delete;

    int Pid() const { return pid_; }
    std::string Stdout() const;
    std::string Stderr() const;
    // Waits until stdout (or stderr) holds the text; false on timeout or exit.
    bool WaitForStdout(const std::string& text, int timeoutMs) const;
    // Counts occurrences of text in stdout.
    int CountStdout(const std::string& text) const;
    void Signal(int sig) const;
    // Waits for the child to end; returns its exit code, -signal if killed
    // by a signal, or -1000 on timeout.
    int Wait(int timeoutMs);
    bool Running();

  private:
    std::string outPath_;
    std::string errPath_;
    int pid_ = -1;
    bool reaped_ = false;
    int status_ = 0;
};

// Counts occurrences of needle in haystack.
int CountOccurrences(const std::string& haystack, const std::string& needle);

// The machine simulator (build/torcsim) on machine port 1 of ip, playing the
// sample world of an etching line unless another world file is given; more
// arguments, such as a script, go behind. Returned once it listens; null if
// it does not within the time.
std::unique_ptr<GatewayProcess> StartSimulator(const std::string& root, const std::string& ip,
                                               const std::vector<std::string>& more = {},
                                               const std::string& world = "");
