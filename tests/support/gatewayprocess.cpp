#include "gatewayprocess.h"

#include "sandbox.h"

#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
int counter = 0;
}

int CountOccurrences(const std::string& haystack, const std::string& needle) {
    int count = 0;
    for (size_t pos = haystack.find(needle); pos != std::string::npos;
         pos = haystack.find(needle, pos + needle.size()))
        ++count;
    return count;
}

GatewayProcess::GatewayProcess(const std::string& root, const std::vector<std::string>& args,
                               const std::map<std::string, std::string>& env,
                               const std::string& program) {
    ++counter;
    outPath_ = root + "/stdout." + std::to_string(counter) + ".txt";
    errPath_ = root + "/stderr." + std::to_string(counter) + ".txt";
    pid_ = fork();
    if (pid_ == 0) {
        int out = open(outPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int err = open(errPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int in = open("/dev/null", O_RDONLY);
        dup2(in, 0);
        dup2(out, 1);
        dup2(err, 2);
        setenv("OXGW_ROOT", root.c_str(), 1);
        // The sandbox is the working directory too (language files are
        // listed from there).
        if (chdir(root.c_str()) != 0)
            _exit(126);
        // The stand-ins for the board's programs (saveparams, ...) come first.
        std::string path = std::string(OXGW_SOURCE_DIR) + "/tools/board";
        if (const char* old = getenv("PATH"))
            path += std::string(":") + old;
        setenv("PATH", path.c_str(), 1);
        for (const auto& [k, v] : env)
            setenv(k.c_str(), v.c_str(), 1);
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>(program.c_str()));
        for (const auto& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
}

GatewayProcess::~GatewayProcess() {
    if (pid_ > 0 && !reaped_) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

std::string GatewayProcess::Stdout() const {
    return ReadWholeFile(outPath_);
}
std::string GatewayProcess::Stderr() const {
    return ReadWholeFile(errPath_);
}

int GatewayProcess::CountStdout(const std::string& text) const {
    return CountOccurrences(Stdout(), text);
}

bool GatewayProcess::WaitForStdout(const std::string& text, int timeoutMs) const {
    return WaitUntil([&] { return Stdout().find(text) != std::string::npos; }, timeoutMs);
}

void GatewayProcess::Signal(int sig) const {
    if (pid_ > 0 && !reaped_)
        kill(pid_, sig);
}

bool GatewayProcess::Running() {
    if (reaped_)
        return false;
    if (waitpid(pid_, &status_, WNOHANG) == pid_)
        reaped_ = true;
    return !reaped_;
}

int GatewayProcess::Wait(int timeoutMs) {
    if (!WaitUntil([&] { return reaped_ || (reaped_ = waitpid(pid_, &status_, WNOHANG) == pid_); },
                   timeoutMs))
        return -1000;
    if (WIFEXITED(status_))
        return WEXITSTATUS(status_);
    if (WIFSIGNALED(status_))
        return -WTERMSIG(status_);
    return -1001;
}

std::unique_ptr<GatewayProcess> StartSimulator(const std::string& root, const std::string& ip,
                                               const std::vector<std::string>& more,
                                               const std::string& world) {
    std::vector<std::string> args{
        "--address",
        ip,
        "--port",
        "1",
        "--world",
        world.empty() ? std::string(OXGW_SOURCE_DIR) + "/tools/torcsim/worlds/line.oxw" : world};
    args.insert(args.end(), more.begin(), more.end());
    auto sim = std::make_unique<GatewayProcess>(root, args, std::map<std::string, std::string>{},
                                                std::string(OXGW_BUILD_DIR) + "/torcsim");
    if (!sim->WaitForStdout("torcsim: listening", 8000))
        return nullptr;
    return sim;
}
