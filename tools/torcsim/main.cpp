// torcsim: plays the machine controller's side of the link, so that the gateway
// can be shown and tested without a machine. It listens on TCP 2000 + port,
// hands over a world read from a file, answers the gateway's exe commands and
// follows a script. Everything it sends and receives is printed, a line each.
#include "controller.h"
#include "script.h"
#include "world.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <fstream>
#include <netinet/in.h>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

using namespace torcsim;
using Clock = std::chrono::steady_clock;

namespace {

// A frame longer than this is no command; the rest of it is passed over.
constexpr size_t kMaxFrame = 1 << 20;
// Received texts kept for "wait recv".
constexpr size_t kMaxUnread = 10000;
constexpr int kSendTimeoutMs = 5000;
constexpr size_t kMaxShown = 4000;

volatile sig_atomic_t stopSignal = 0;

void OnSignal(int sig) {
    stopSignal = sig;
}

void Usage(FILE* out) {
    std::fprintf(out,
                 "usage: torcsim --world FILE [--address IP] [--port N] [--script FILE|-]\n"
                 "       torcsim --check --world FILE\n"
                 "Plays the machine controller on TCP port 2000+N (default N=1) of IP\n"
                 "(default 127.0.0.1) with the world of FILE; see README.md.\n");
}

// A text as one readable line: control bytes are shown as \xNN.
std::string Shown(const std::string& text) {
    std::string out;
    size_t n = text.size() < kMaxShown ? text.size() : kMaxShown;
    for (size_t i = 0; i < n; ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c < 32 || c == 127) {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02x", c);
            out += hex;
        } else {
            out += static_cast<char>(c);
        }
    }
    if (n < text.size())
        out += " ... (" + std::to_string(text.size()) + " bytes)";
    return out;
}

void Say(const std::string& line) {
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void Info(const std::string& line) {
    Say("torcsim: " + line);
}

struct Options {
    std::string address = "127.0.0.1";
    long port = 1;
    std::string world;
    std::string script;
    bool check = false;
};

bool ParseOptions(int argc, char** argv, Options& o) {
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        auto value = [&](std::string& out) {
            if (i + 1 >= argc)
                return false;
            out = argv[++i];
            return true;
        };
        std::string v;
        if (a == "--address") {
            if (!value(o.address))
                return false;
        } else if (a == "--port") {
            if (!value(v))
                return false;
            char* end = nullptr;
            o.port = std::strtol(v.c_str(), &end, 10);
            if (*end != '\0' || o.port < 0 || o.port > 63535)
                return false;
        } else if (a == "--world") {
            if (!value(o.world))
                return false;
        } else if (a == "--script") {
            if (!value(o.script))
                return false;
        } else if (a == "--check") {
            o.check = true;
        } else {
            return false;
        }
    }
    return !o.world.empty();
}

class Simulator {
  public:
    Simulator(World& world, const Options& options)
        : world_(world), controller_(world), options_(options) {}

    int Run();

  private:
    bool Listen();
    void AcceptGateway();
    void ReadGateway();
    void CloseLink(const std::string& why);
    bool Send(const std::string& text);
    void Received(const std::string& text);
    void ReadScript();
    void QueueScriptText(const std::string& text);
    // Runs script commands until one has to wait; false to end the program.
    bool RunScript();
    bool Execute(const ScriptCommand& c, int line);
    bool WaitOver();
    int PollTimeout() const;

    World& world_;
    Controller controller_;
    Options options_;
    int listenFd_ = -1;
    int linkFd_ = -1;
    std::string pending_;
    bool discarding_ = false;
    bool attached_ = false;

    int scriptFd_ = -1;  // stdin while lines may still come
    std::string scriptPartial_;
    std::deque<std::pair<int, std::string>> scriptLines_;
    int scriptLineNo_ = 0;
    ScriptCommand waiting_;  // kind None when not waiting
    int waitingLine_ = 0;
    Clock::time_point sleepUntil_;
    Clock::time_point waitDeadline_;
    bool waitHasDeadline_ = false;
    long timeoutMs_ = 0;
    std::deque<std::string> unread_;
    bool quit_ = false;
    int exitCode_ = 0;
};

bool Simulator::Listen() {
    listenFd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listenFd_ < 0) {
        Info(std::string("socket: ") + std::strerror(errno));
        return false;
    }
    int on = 1;
    setsockopt(listenFd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(2000 + options_.port));
    if (inet_pton(AF_INET, options_.address.c_str(), &addr.sin_addr) != 1) {
        Info("not an IPv4 address: " + options_.address);
        return false;
    }
    if (bind(listenFd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
        listen(listenFd_, 4) != 0) {
        Info("cannot listen on " + options_.address + ":" + std::to_string(2000 + options_.port) +
             ": " + std::strerror(errno));
        return false;
    }
    return true;
}

void Simulator::AcceptGateway() {
    sockaddr_in peer{};
    socklen_t len = sizeof peer;
    int fd = accept4(listenFd_, reinterpret_cast<sockaddr*>(&peer), &len, SOCK_CLOEXEC);
    if (fd < 0)
        return;
    if (linkFd_ >= 0)
        CloseLink("a new connection replaces it");
    linkFd_ = fd;
    pending_.clear();
    discarding_ = false;
    attached_ = false;
    char ip[INET_ADDRSTRLEN] = "?";
    inet_ntop(AF_INET, &peer.sin_addr, ip, sizeof ip);
    Info(std::string("gateway connected from ") + ip + ":" + std::to_string(ntohs(peer.sin_port)));
}

void Simulator::CloseLink(const std::string& why) {
    if (linkFd_ < 0)
        return;
    if (!pending_.empty() && !discarding_)
        Say("<- " + Shown(pending_) + "   (unterminated, dropped)");
    close(linkFd_);
    linkFd_ = -1;
    pending_.clear();
    attached_ = false;
    Info("link closed: " + why);
}

bool Simulator::Send(const std::string& text) {
    if (linkFd_ < 0) {
        Info("not sent, no gateway: " + Shown(text));
        return false;
    }
    Say("-> " + Shown(text));
    std::string frame = text;
    frame.push_back('\0');
    size_t done = 0;
    while (done < frame.size()) {
        pollfd p{linkFd_, POLLOUT, 0};
        int ready = poll(&p, 1, kSendTimeoutMs);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0) {
            CloseLink("the gateway takes no data");
            return false;
        }
        ssize_t n =
            send(linkFd_, frame.data() + done, frame.size() - done, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
            continue;
        if (n <= 0) {
            CloseLink(std::string("send failed: ") + std::strerror(errno));
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

void Simulator::ReadGateway() {
    char buffer[4096];
    ssize_t n = recv(linkFd_, buffer, sizeof buffer, MSG_DONTWAIT);
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
        return;
    if (n <= 0) {
        CloseLink(n == 0 ? "the gateway closed it" : std::string("recv: ") + std::strerror(errno));
        return;
    }
    for (ssize_t i = 0; i < n && linkFd_ >= 0; ++i) {
        char c = buffer[i];
        if (c != '\0') {
            if (discarding_)
                continue;
            pending_.push_back(c);
            if (pending_.size() > kMaxFrame) {
                Info("a text of more than " + std::to_string(kMaxFrame) +
                     " bytes without end; passed over up to its zero byte");
                pending_.clear();
                discarding_ = true;
            }
            continue;
        }
        if (discarding_) {
            discarding_ = false;
            continue;
        }
        std::string text;
        text.swap(pending_);
        Received(text);
    }
}

void Simulator::Received(const std::string& text) {
    Say("<- " + Shown(text));
    if (text.empty()) {
        Info("empty text passed over");
        return;
    }
    unread_.push_back(text);
    if (unread_.size() > kMaxUnread)
        unread_.pop_front();
    Reply reply = controller_.Handle(text);
    if (!reply.note.empty())
        Info(reply.note);
    for (const std::string& t : reply.texts)
        if (!Send(t))
            return;
    if (reply.attached)
        attached_ = true;
    if (reply.detached)
        attached_ = false;
    if (reply.restart)
        CloseLink("the machine restarts");
}

void Simulator::QueueScriptText(const std::string& text) {
    scriptPartial_ += text;
    size_t nl;
    while ((nl = scriptPartial_.find('\n')) != std::string::npos) {
        scriptLines_.emplace_back(++scriptLineNo_, scriptPartial_.substr(0, nl));
        scriptPartial_.erase(0, nl + 1);
    }
}

void Simulator::ReadScript() {
    char buffer[4096];
    ssize_t n = read(scriptFd_, buffer, sizeof buffer);
    if (n < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (n <= 0) {
        scriptFd_ = -1;
        if (!scriptPartial_.empty())
            QueueScriptText("\n");
        return;
    }
    QueueScriptText(std::string(buffer, static_cast<size_t>(n)));
}

bool Simulator::WaitOver() {
    switch (waiting_.kind) {
        case ScriptCommand::Sleep:
            return Clock::now() >= sleepUntil_;
        case ScriptCommand::WaitConnected:
            return linkFd_ >= 0;
        case ScriptCommand::WaitAttached:
            return linkFd_ >= 0 && attached_;
        case ScriptCommand::WaitDisconnected:
            return linkFd_ < 0;
        case ScriptCommand::WaitRecv:
            // Texts before the one that matches are passed over, so that a
            // later wait looks only at what came after.
            while (!unread_.empty()) {
                bool match = unread_.front().find(waiting_.text) != std::string::npos;
                unread_.pop_front();
                if (match)
                    return true;
            }
            return false;
        default:
            return true;
    }
}

bool Simulator::Execute(const ScriptCommand& c, int line) {
    std::string text, error;
    bool ok = true;
    switch (c.kind) {
        case ScriptCommand::None:
            return true;
        case ScriptCommand::WaitConnected:
        case ScriptCommand::WaitAttached:
        case ScriptCommand::WaitDisconnected:
        case ScriptCommand::WaitRecv:
        case ScriptCommand::Sleep:
            waiting_ = c;
            waitingLine_ = line;
            sleepUntil_ = Clock::now() + std::chrono::milliseconds(c.number);
            waitHasDeadline_ = c.kind != ScriptCommand::Sleep && timeoutMs_ > 0;
            waitDeadline_ = Clock::now() + std::chrono::milliseconds(timeoutMs_);
            return true;
        case ScriptCommand::Timeout:
            timeoutMs_ = c.number;
            return true;
        case ScriptCommand::Set:
            ok = controller_.Set(c.id, c.attr, c.text, text, error);
            if (ok && text.empty())
                Info("object " + std::to_string(c.id) + " changed; not part of the world now");
            break;
        case ScriptCommand::Update:
            ok = controller_.Update(c.id, text, error);
            break;
        case ScriptCommand::Raise:
            ok = controller_.Raise(c.id, text, error);
            break;
        case ScriptCommand::Clear:
            ok = controller_.Clear(c.id, text, error);
            break;
        case ScriptCommand::Send:
            text = c.text;
            break;
        case ScriptCommand::Drop:
            if (linkFd_ < 0)
                Info("drop: no gateway connected");
            CloseLink("dropped by the script");
            return true;
        case ScriptCommand::Echo:
            Say(c.text);
            return true;
        case ScriptCommand::Quit:
            quit_ = true;
            exitCode_ = static_cast<int>(c.number);
            return true;
    }
    if (!ok) {
        Say("script: line " + std::to_string(line) + ": " + error);
        return true;
    }
    // A change while no gateway is connected reaches it with the next transfer.
    if (!text.empty() && linkFd_ >= 0)
        Send(text);
    else if (!text.empty())
        Info("no gateway connected; the change waits for the next transfer");
    return true;
}

bool Simulator::RunScript() {
    for (;;) {
        if (quit_)
            return false;
        if (waiting_.kind != ScriptCommand::None) {
            if (!WaitOver()) {
                if (waitHasDeadline_ && Clock::now() >= waitDeadline_) {
                    Say("script: line " + std::to_string(waitingLine_) + ": wait timed out");
                    quit_ = true;
                    exitCode_ = 3;
                    return false;
                }
                return true;
            }
            waiting_ = ScriptCommand();
        }
        if (scriptLines_.empty())
            return true;
        auto [line, text] = scriptLines_.front();
        scriptLines_.pop_front();
        ScriptCommand c;
        std::string error;
        if (!ParseScriptLine(text, c, error)) {
            Say("script: line " + std::to_string(line) + ": " + error);
            continue;
        }
        if (c.kind == ScriptCommand::None)
            continue;
        Say("script: " + Shown(text.substr(text.find_first_not_of(" \t"))));
        Execute(c, line);
    }
}

int Simulator::PollTimeout() const {
    if (waiting_.kind == ScriptCommand::None)
        return -1;
    Clock::time_point next = Clock::now() + std::chrono::seconds(1);
    if (waiting_.kind == ScriptCommand::Sleep && sleepUntil_ < next)
        next = sleepUntil_;
    if (waitHasDeadline_ && waitDeadline_ < next)
        next = waitDeadline_;
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(next - Clock::now()).count();
    return ms < 0 ? 0 : static_cast<int>(ms) + 1;
}

int Simulator::Run() {
    if (!Listen())
        return 1;
    if (options_.script == "-") {
        scriptFd_ = STDIN_FILENO;
    } else if (!options_.script.empty()) {
        std::ifstream in(options_.script, std::ios::binary);
        if (!in) {
            Info("cannot read script " + options_.script);
            return 1;
        }
        std::ostringstream all;
        all << in.rdbuf();
        QueueScriptText(all.str());
        QueueScriptText("\n");
    }
    Info("listening on " + options_.address + ":" + std::to_string(2000 + options_.port) +
         ", world " + options_.world + " (" + std::to_string(world_.Definitions().size()) +
         " definitions, " + std::to_string(world_.ActiveCount()) + " of " +
         std::to_string(world_.Objects().size()) + " objects active)");

    while (stopSignal == 0) {
        if (!RunScript())
            break;
        pollfd fds[3];
        nfds_t n = 0;
        fds[n++] = pollfd{listenFd_, POLLIN, 0};
        int linkIndex = -1, scriptIndex = -1;
        if (linkFd_ >= 0) {
            linkIndex = static_cast<int>(n);
            fds[n++] = pollfd{linkFd_, POLLIN, 0};
        }
        if (scriptFd_ >= 0) {
            scriptIndex = static_cast<int>(n);
            fds[n++] = pollfd{scriptFd_, POLLIN, 0};
        }
        int ready = poll(fds, n, PollTimeout());
        if (ready < 0) {
            if (errno == EINTR)
                continue;
            Info(std::string("poll: ") + std::strerror(errno));
            return 1;
        }
        if (linkIndex >= 0 && fds[linkIndex].revents != 0)
            ReadGateway();
        if (fds[0].revents & POLLIN)
            AcceptGateway();
        if (scriptIndex >= 0 && fds[scriptIndex].revents != 0)
            ReadScript();
    }
    if (stopSignal != 0)
        Info(std::string("stopped by ") + (stopSignal == SIGINT ? "SIGINT" : "SIGTERM"));
    CloseLink("end of the simulation");
    close(listenFd_);
    return exitCode_;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        Usage(stdout);
        return 0;
    }
    if (!ParseOptions(argc, argv, options)) {
        Usage(stderr);
        return 1;
    }
    std::signal(SIGPIPE, SIG_IGN);
    struct sigaction sa {};
    sa.sa_handler = OnSignal;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);

    World world;
    std::string errors;
    bool loaded = world.Load(options.world, errors);
    for (const std::string& w : world.Warnings())
        std::fprintf(stderr, "warning: %s\n", w.c_str());
    if (!loaded) {
        std::fputs(errors.c_str(), stderr);
        return 2;
    }
    if (options.check) {
        Info("world " + options.world + ": " + std::to_string(world.Definitions().size()) +
             " definitions, " + std::to_string(world.Objects().size()) + " objects, " +
             std::to_string(world.ActiveCount()) + " active");
        return 0;
    }
    Simulator simulator(world, options);
    return simulator.Run();
}
