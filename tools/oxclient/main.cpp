// oxclient: a command-line client of the gateway's XML client port, for
// diagnosis and scripts. It connects, opens a machine port with Connect,
// logs on as soon as the machine is in Connected mode, sends the lines it was
// given, and prints every line the gateway sends, each with the milliseconds
// since start in front. It polls the gateway every five seconds. At the end
// (time over, Ctrl-C or SIGTERM) it says goodbye with a Disconnect.
//
// Every send has a time limit, so a gateway that stops reading cannot hang
// the client; connecting has the same limit.
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

enum ExitCode {
    kDone = 0,
    kNoConnection = 1,
    kBadOptions = 2,
    kClosedByGateway = 3,
    kSendFailed = 4,
};

// A line longer than this without a line end is printed in pieces, so that
// a gateway that never ends its line cannot make the client grow without end.
constexpr size_t kMaxLine = 1 << 20;
constexpr int kAlivePollMs = 5000;
// The longest sleep in one poll; a stop signal that comes just before a
// poll is seen after this at the latest.
constexpr int kMaxSleepMs = 250;

volatile std::sig_atomic_t stopSignals = 0;

void OnStopSignal(int) {
    stopSignals = stopSignals + 1;
}

struct Options {
    std::string host = "127.0.0.1";
    long port = 2000;
    long machine = 1;
    std::string language;
    bool haveLanguage = false;
    std::string level = "Service";
    std::string user;
    bool haveUser = false;
    long protocol = 0;
    bool haveProtocol = false;
    double seconds = 0;  // 0: until stopped or closed
    double timeout = 5;
    std::vector<std::string> sends;
};

void Usage(FILE* out) {
    std::fprintf(
        out,
        "usage: oxclient [--host H] [--port P] [--machine N] [--language L] [--level LEVEL]\n"
        "                [--user U] [--protocol N] [--seconds S] [--timeout S]\n"
        "                [--send TEXT]... [--send-file FILE]...\n"
        "Connects to the gateway's XML client port, opens a machine port, logs on when\n"
        "the machine is in Connected mode and prints every line received as\n"
        "'<ms since start> <line>'. Ctrl-C (or SIGTERM) sends a Disconnect and ends.\n"
        "  --host H      gateway address (default 127.0.0.1)\n"
        "  --port P      the gateway's client port (default 2000)\n"
        "  --machine N   machine port to connect to (default 1)\n"
        "  --language L  language of the texts (default: the gateway's own)\n"
        "  --level LEVEL access level of the logon: Guest, User, Admin, 3, Service, RAD\n"
        "                (default Service)\n"
        "  --user U      user id of the logon (default none)\n"
        "  --protocol N  protocol number of the logon (default none)\n"
        "  --seconds S   stop after S seconds (default: run until stopped)\n"
        "  --timeout S   time limit of connecting and of each send (default 5)\n"
        "  --send TEXT   one more line to send after the first logon, e.g.\n"
        "                '<Message><GetUserInfo/></Message>'; may repeat\n"
        "  --send-file FILE  the same for each line of FILE that is not empty\n"
        "Messages of the client itself go to stderr, starting 'oxclient: '.\n"
        "Exit codes: 0 done, 1 no connection to the gateway, 2 bad options,\n"
        "3 the gateway closed the connection, 4 a send failed or timed out.\n");
}

bool ParseLong(const std::string& text, long low, long high, long& value) {
    if (text.empty())
        return false;
    errno = 0;
    char* end = nullptr;
    long v = std::strtol(text.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || v < low || v > high)
        return false;
    value = v;
    return true;
}

bool ParseSeconds(const std::string& text, double& value) {
    if (text.empty())
        return false;
    errno = 0;
    char* end = nullptr;
    double v = std::strtod(text.c_str(), &end);
    if (errno != 0 || *end != '\0' || !std::isfinite(v) || v <= 0 || v > 1e7)
        return false;
    value = v;
    return true;
}

bool OneLine(const std::string& text) {
    return text.find_first_of("\r\n") == std::string::npos;
}

// The gateway reads an attribute up to the next double quote and decodes no
// entities, so a value must not hold one and is sent as it is.
bool AttributeValue(const std::string& text) {
    return OneLine(text) && text.find('"') == std::string::npos;
}

// Appends the lines of a file that are not empty, without their line ends.
bool ReadLines(const std::string& path, std::vector<std::string>& lines) {
    std::ifstream in(path, std::ios::binary);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (!line.empty())
            lines.push_back(line);
    }
    return in.eof() && !in.bad();
}

// Returns 0 when the options are good, -1 for --help, otherwise the exit code.
int ParseOptions(int argc, char** argv, Options& o) {
    for (int i = 1; i < argc; ++i) {
        std::string name = argv[i];
        if (name == "--help" || name == "-h")
            return -1;
        std::string value;
        size_t eq = name.find('=');
        if (name.compare(0, 2, "--") == 0 && eq != std::string::npos) {
            value = name.substr(eq + 1);
            name.erase(eq);
        } else if (i + 1 < argc) {
            value = argv[++i];
        } else {
            std::fprintf(stderr, "oxclient: %s needs a value\n", name.c_str());
            return kBadOptions;
        }
        bool ok = true;
        if (name == "--host") {
            o.host = value;
            ok = !value.empty();
        } else if (name == "--port") {
            ok = ParseLong(value, 1, 65535, o.port);
        } else if (name == "--machine") {
            ok = ParseLong(value, -999999, 999999, o.machine);
        } else if (name == "--language") {
            o.language = value;
            o.haveLanguage = true;
            ok = AttributeValue(value);
        } else if (name == "--level") {
            o.level = value;
            ok = AttributeValue(value);
        } else if (name == "--user") {
            o.user = value;
            o.haveUser = true;
            ok = AttributeValue(value);
        } else if (name == "--protocol") {
            ok = ParseLong(value, 0, 999999, o.protocol);
            o.haveProtocol = true;
        } else if (name == "--seconds") {
            ok = ParseSeconds(value, o.seconds);
        } else if (name == "--timeout") {
            ok = ParseSeconds(value, o.timeout) && o.timeout <= 3600;
        } else if (name == "--send") {
            ok = !value.empty() && OneLine(value);
            o.sends.push_back(value);
        } else if (name == "--send-file") {
            ok = ReadLines(value, o.sends);
        } else {
            std::fprintf(stderr, "oxclient: unknown option %s\n", name.c_str());
            return kBadOptions;
        }
        if (!ok) {
            std::fprintf(stderr, "oxclient: bad value for %s: %s\n", name.c_str(), value.c_str());
            return kBadOptions;
        }
    }
    return 0;
}

// Control bytes (a NUL, an escape sequence, ...) are shown as \xNN, so that
// whatever the gateway sends, each received line is one printed line.
std::string Printable(const std::string& line) {
    std::string out;
    for (unsigned char c : line) {
        if (c < 0x20 || c == 0x7f || c == '\\') {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02x", c);
            out += hex;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

int MsLeft(Clock::time_point deadline) {
    auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0)
        return 0;
    return left > kMaxSleepMs ? kMaxSleepMs : static_cast<int>(left) + 1;
}

Clock::duration Seconds(double s) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(s));
}

// Connects one address within the time limit; returns the socket, which
// stays non-blocking, or -1 with errno set.
int ConnectOne(const addrinfo& a, double timeout) {
    int fd = socket(a.ai_family, a.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, a.ai_protocol);
    if (fd < 0)
        return -1;
    if (connect(fd, a.ai_addr, a.ai_addrlen) == 0)
        return fd;
    int error = errno;
    if (error == EINPROGRESS) {
        auto deadline = Clock::now() + Seconds(timeout);
        error = ETIMEDOUT;
        while (Clock::now() < deadline) {
            if (stopSignals != 0) {
                error = EINTR;
                break;
            }
            pollfd p{fd, POLLOUT, 0};
            int n = poll(&p, 1, MsLeft(deadline));
            if (n < 0 && errno != EINTR) {
                error = errno;
                break;
            }
            if (n > 0) {
                socklen_t size = sizeof error;
                if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) != 0)
                    error = errno;
                break;
            }
        }
        if (error == 0)
            return fd;
    }
    close(fd);
    errno = error;
    return -1;
}

int ConnectTo(const Options& o) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    int rc = getaddrinfo(o.host.c_str(), std::to_string(o.port).c_str(), &hints, &found);
    if (rc != 0) {
        std::fprintf(stderr, "oxclient: cannot connect to %s:%ld: %s\n", o.host.c_str(), o.port,
                     gai_strerror(rc));
        return -1;
    }
    int fd = -1;
    int lastError = 0;
    for (addrinfo* a = found; a != nullptr && fd < 0; a = a->ai_next) {
        fd = ConnectOne(*a, o.timeout);
        if (fd < 0)
            lastError = errno;
    }
    freeaddrinfo(found);
    if (fd < 0)
        std::fprintf(stderr, "oxclient: cannot connect to %s:%ld: %s\n", o.host.c_str(), o.port,
                     std::strerror(lastError));
    return fd;
}

class Client {
  public:
    Client(int fd, const Options& o) : fd_(fd), options_(o), start_(Clock::now()) {}
    ~Client() { close(fd_); }

    int Run() {
        std::fprintf(stderr, "oxclient: connected to %s:%ld\n", options_.host.c_str(),
                     options_.port);
        std::string connect =
            "<Message><Connect><CommParm port=\"" + std::to_string(options_.machine) + "\"";
        if (options_.haveLanguage)
            connect += " name=\"" + options_.language + "\"";
        Send(connect + "/></Connect></Message>");

        bool limited = options_.seconds > 0;
        auto end = start_ + Seconds(options_.seconds);
        auto nextPoll = start_ + std::chrono::milliseconds(kAlivePollMs);
        while (open_ && stopSignals == 0 && !(limited && Clock::now() >= end)) {
            if (Clock::now() >= nextPoll) {
                Send("<Message><AlivePoll/></Message>");
                nextPoll += std::chrono::milliseconds(kAlivePollMs);
                continue;
            }
            pollfd p{fd_, POLLIN, 0};
            int n = poll(&p, 1, MsLeft(limited && end < nextPoll ? end : nextPoll));
            if (n < 0 && errno != EINTR) {
                Fail(kClosedByGateway, std::string("poll: ") + std::strerror(errno));
                break;
            }
            if (n > 0)
                Receive();
        }
        if (open_)
            Goodbye();
        if (!pending_.empty())
            Print(pending_);
        return code_;
    }

  private:
    // Sends the Disconnect, then reads until the gateway closes, so that the
    // goodbye is not lost to a reset of a socket closed with unread input.
    void Goodbye() {
        Send("<Message><Disconnect/></Message>");
        if (!open_)
            return;
        shutdown(fd_, SHUT_WR);
        auto deadline = Clock::now() + Seconds(options_.timeout);
        int signals = stopSignals;
        while (open_ && Clock::now() < deadline && stopSignals == signals) {
            pollfd p{fd_, POLLIN, 0};
            if (poll(&p, 1, MsLeft(deadline)) > 0)
                Receive(true);
        }
    }

    void Fail(int code, const std::string& why) {
        if (open_)
            std::fprintf(stderr, "oxclient: %s\n", why.c_str());
        open_ = false;
        code_ = code;
    }

    // Sends one line; on failure the connection counts as closed and the
    // exit code says why.
    void Send(const std::string& text) {
        if (!open_)
            return;
        if (text.find("<Disconnect") != std::string::npos)
            saidGoodbye_ = true;
        std::string line = text + "\r\n";
        auto deadline = Clock::now() + Seconds(options_.timeout);
        size_t done = 0;
        while (done < line.size()) {
            ssize_t n =
                send(fd_, line.data() + done, line.size() - done, MSG_NOSIGNAL | MSG_DONTWAIT);
            if (n > 0) {
                done += static_cast<size_t>(n);
                continue;
            }
            if (n < 0 && errno == EINTR)
                continue;
            if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
                Fail(kSendFailed,
                     std::string("cannot send to the gateway: ") + std::strerror(errno));
                return;
            }
            if (Clock::now() >= deadline) {
                char why[160];
                std::snprintf(why, sizeof why,
                              "send timed out after %g s: the gateway does not read "
                              "(%zu of %zu bytes sent)",
                              options_.timeout, done, line.size());
                Fail(kSendFailed, why);
                return;
            }
            pollfd p{fd_, POLLOUT, 0};
            poll(&p, 1, MsLeft(deadline));
        }
    }

    void Receive(bool closing = false) {
        char buffer[65536];
        ssize_t n = recv(fd_, buffer, sizeof buffer, MSG_DONTWAIT);
        if (n < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK))
            return;
        if (n <= 0 && closing) {
            open_ = false;
            return;
        }
        if (n < 0) {
            Fail(saidGoodbye_ ? kDone : kClosedByGateway,
                 std::string("connection to the gateway lost: ") + std::strerror(errno));
            return;
        }
        if (n == 0) {
            if (saidGoodbye_) {
                Fail(kDone, "the gateway closed the connection after the Disconnect");
            } else {
                Fail(kClosedByGateway, "the gateway closed the connection");
            }
            return;
        }
        pending_.append(buffer, static_cast<size_t>(n));
        size_t from = 0;
        for (;;) {
            size_t cut = pending_.find_first_of("\r\n", from);
            if (cut == std::string::npos)
                break;
            if (cut > from)
                Take(pending_.substr(from, cut - from), closing);
            from = cut + 1;
        }
        pending_.erase(0, from);
        while (pending_.size() > kMaxLine) {
            Print(pending_.substr(0, kMaxLine));
            pending_.erase(0, kMaxLine);
        }
    }

    // Prints a line and answers the change to Connected with the logon.
    void Take(const std::string& line, bool closing) {
        Print(line);
        if (closing || line.find("<OxMode ") == std::string::npos)
            return;
        bool connected = line.find("<OxMode mode=\"Connected\"") != std::string::npos;
        if (connected && !loggedOn_) {
            loggedOn_ = true;
            std::string logon = "<Message><Logon level=\"" + options_.level + "\"";
            if (options_.haveUser)
                logon += " userId=\"" + options_.user + "\"";
            if (options_.haveProtocol)
                logon += " protocol=\"" + std::to_string(options_.protocol) + "\"";
            Send(logon + " autoTypeInfo=\"true\"/></Message>");
            if (!sent_) {
                sent_ = true;
                for (const std::string& text : options_.sends)
                    Send(text);
            }
        } else if (!connected) {
            // The gateway forgets the logon when the machine leaves
            // Connected; the next Connected gets a new one.
            loggedOn_ = false;
        }
    }

    void Print(const std::string& line) {
        long long ms =
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start_).count();
        std::printf("%lld %s\n", ms, Printable(line).c_str());
        std::fflush(stdout);
    }

    int fd_;
    const Options& options_;
    Clock::time_point start_;
    std::string pending_;
    bool open_ = true;
    int code_ = kDone;
    bool loggedOn_ = false;
    bool sent_ = false;
    bool saidGoodbye_ = false;
};

}  // namespace

int main(int argc, char** argv) {
    Options options;
    int bad = ParseOptions(argc, argv, options);
    if (bad < 0) {
        Usage(stdout);
        return kDone;
    }
    if (bad > 0) {
        Usage(stderr);
        return bad;
    }
    // No SA_RESTART: a stop signal wakes the poll at once.
    struct sigaction stop {};
    stop.sa_handler = OnStopSignal;
    sigemptyset(&stop.sa_mask);
    sigaction(SIGINT, &stop, nullptr);
    sigaction(SIGTERM, &stop, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    int fd = ConnectTo(options);
    if (fd < 0)
        return stopSignals != 0 ? kDone : kNoConnection;
    return Client(fd, options).Run();
}
