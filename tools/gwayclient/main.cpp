// gwayclient: a host of the gateway's GWay port, for diagnosis. It connects,
// sends one command with its data (in flagged blocks, each after the
// server's request for the next one), pulls every block of the reply and
// prints the reply's header and data. With -w it stays and prints every
// frame the server sends until the server closes or Ctrl-C. The server's
// ACK bytes are skipped; the client itself never acks.
#include "gwayframe.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

enum ExitCode {
    kDone = 0,
    kNoConnection = 1,
    kBadOptions = 2,
    kClosedByServer = 3,
    kTimeout = 4,
};

volatile std::sig_atomic_t stopped = 0;

void OnStop(int) {
    stopped = 1;
}

struct Options {
    std::string host = "127.0.0.1";
    long port = 59355;
    long code = -1;
    std::string data;
    bool wait = false;
    double timeout = 5;
};

void Usage(FILE* out) {
    std::fprintf(
        out,
        "usage: gwayclient [-h host] [-p port] [-c code] [-d data | -f file] [-w] [-t seconds]\n"
        "Sends one command to the gateway's GWay port and prints the reply: its code,\n"
        "XMode and MState, then the data in hex and as text. Data longer than one\n"
        "block go in flagged blocks, each after the server asks for the next; the\n"
        "reply is pulled block by block with 0x1010.\n"
        "  -h host     gateway address (default 127.0.0.1)\n"
        "  -p port     GWay port (default 59355)\n"
        "  -c code     command code, decimal or 0x hex (e.g. 0x1011)\n"
        "  -d data     command data as text\n"
        "  -f file     command data from a file\n"
        "  -w          stay attached and print every frame the server sends\n"
        "              (e.g. a 0x1018 cancel notice) until it closes or Ctrl-C\n"
        "  -t seconds  time to wait for each answer (default 5)\n"
        "  --help      this text\n"
        "Exit status: 0 done, 1 no connection, 2 bad options, 3 closed by the\n"
        "server, 4 no answer in time.\n");
}

bool ParseNumber(const char* text, long& out) {
    char* end = nullptr;
    errno = 0;
    out = std::strtol(text, &end, 0);
    return errno == 0 && end != text && *end == '\0';
}

// 0: parsed; otherwise the exit status.
int ParseOptions(int argc, char** argv, Options& o) {
    bool haveData = false;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--help") {
            Usage(stdout);
            std::exit(kDone);
        }
        if (a == "-w") {
            o.wait = true;
            continue;
        }
        if (i + 1 >= argc) {
            std::fprintf(stderr, "gwayclient: %s needs a value\n", a.c_str());
            return kBadOptions;
        }
        const char* v = argv[++i];
        long n = 0;
        if (a == "-h") {
            o.host = v;
        } else if (a == "-p" && ParseNumber(v, n) && n > 0 && n < 65536) {
            o.port = n;
        } else if (a == "-c" && ParseNumber(v, n) && n >= 0 && n <= 0xFFFF) {
            o.code = n;
        } else if (a == "-t" && std::atof(v) > 0) {
            o.timeout = std::atof(v);
        } else if ((a == "-d" || a == "-f") && !haveData) {
            haveData = true;
            if (a == "-d") {
                o.data = v;
                continue;
            }
            std::ifstream in(v, std::ios::binary);
            std::ostringstream text;
            text << in.rdbuf();
            if (!in) {
                std::fprintf(stderr, "gwayclient: cannot read %s\n", v);
                return kBadOptions;
            }
            o.data = text.str();
        } else {
            std::fprintf(stderr, "gwayclient: bad option %s %s\n", a.c_str(), v);
            return kBadOptions;
        }
    }
    if (o.code < 0 && !o.wait) {
        std::fprintf(stderr, "gwayclient: give a command (-c) or -w\n");
        return kBadOptions;
    }
    if (o.data.size() > GWay::MAX_COMMAND_DATA) {
        std::fprintf(stderr, "gwayclient: data above %u bytes\n", GWay::MAX_COMMAND_DATA);
        return kBadOptions;
    }
    return 0;
}

int Connect(const Options& o) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(o.host.c_str(), std::to_string(o.port).c_str(), &hints, &found) != 0)
        return -1;
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd >= 0) {
        fcntl(fd, F_SETFL, O_NONBLOCK);
        int rc = connect(fd, found->ai_addr, found->ai_addrlen);
        pollfd p{fd, POLLOUT, 0};
        int err = 0;
        socklen_t len = sizeof err;
        if (rc != 0 &&
            (errno != EINPROGRESS || poll(&p, 1, static_cast<int>(o.timeout * 1000)) != 1 ||
             getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len) != 0 || err != 0)) {
            close(fd);
            fd = -1;
        }
    }
    freeaddrinfo(found);
    if (fd >= 0) {
        int one = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    }
    return fd;
}

class Link {
  public:
    Link(int fd, double timeout) : fd(fd), timeoutMs(static_cast<int>(timeout * 1000)) {}

    bool Send(const std::string& bytes) {
        size_t at = 0;
        auto end = Clock::now() + std::chrono::milliseconds(timeoutMs);
        while (at < bytes.size() && !stopped) {
            ssize_t n = send(fd, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
            if (n > 0) {
                at += static_cast<size_t>(n);
                continue;
            }
            if (n < 0 && errno != EAGAIN && errno != EINTR)
                return false;
            pollfd p{fd, POLLOUT, 0};
            if (Clock::now() > end)
                return false;
            poll(&p, 1, 100);
        }
        return at == bytes.size();
    }

    // Next frame of the server; kDone, kClosedByServer or kTimeout (also on
    // Ctrl-C). forever: no time limit.
    int Next(GWay::GWayMessage& out, bool forever) {
        auto end = Clock::now() + std::chrono::milliseconds(timeoutMs);
        std::string payload;
        for (;;) {
            while (parser.Next(payload)) {
                if (GWay::DecodeGWayPayload(payload, out))
                    return kDone;
                std::printf("short frame of %zu bytes\n", payload.size());
            }
            if (stopped || (!forever && Clock::now() > end))
                return kTimeout;
            pollfd p{fd, POLLIN, 0};
            if (poll(&p, 1, 100) <= 0)
                continue;
            char chunk[4096];
            ssize_t n = recv(fd, chunk, sizeof chunk, 0);
            if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR))
                return kClosedByServer;
            if (n > 0)
                parser.Feed(chunk, static_cast<size_t>(n));
        }
    }

  private:
    int fd;
    int timeoutMs;
    GWay::GWayStreamParser parser;
};

void PrintData(const std::string& data) {
    for (size_t row = 0; row < data.size(); row += 16) {
        std::printf("%04zx ", row);
        std::string text;
        for (size_t i = row; i < row + 16; ++i) {
            if (i < data.size()) {
                auto c = static_cast<unsigned char>(data[i]);
                std::printf(" %02x", c);
                text += c >= 0x20 && c < 0x7F ? static_cast<char>(c) : '.';
            } else {
                std::printf("   ");
            }
        }
        std::printf("  |%s|\n", text.c_str());
    }
    std::printf("text: ");
    std::fwrite(data.data(), 1, data.size(), stdout);
    std::printf("\n");
}

void PrintFrame(const GWay::GWayMessage& m) {
    if (m.isReply)
        std::printf("block: reply 0x%04x xmode %d mstate %d%s, %zu bytes\n", m.code, m.xmode,
                    m.mstate, m.more ? ", more" : "", m.data.size());
    else
        std::printf("command 0x%04x%s, %zu bytes\n", m.code, m.more ? ", more" : "", m.data.size());
    if (!m.data.empty())
        PrintData(m.data);
    std::fflush(stdout);
}

const char* Failure(int rc) {
    return rc == kClosedByServer ? "closed by the server" : "no answer in time";
}

// Sends the command and prints its whole reply.
int Request(Link& link, const Options& o) {
    const size_t chunk = GWay::MAX_PAYLOAD - 3;
    size_t at = 0;
    GWay::GWayMessage m;
    // All but the last block carry the flag; each waits for the server's
    // request for the next block.
    while (o.data.size() - at > chunk) {
        if (!link.Send(
                GWay::MakeGWayCommand(static_cast<int>(o.code), o.data.substr(at, chunk), true)))
            return kClosedByServer;
        at += chunk;
        do {
            if (int rc = link.Next(m, false); rc != kDone) {
                std::fprintf(stderr, "gwayclient: %s while sending\n", Failure(rc));
                return rc;
            }
        } while (m.isReply || m.code != GWay::GWAY_COMMAND_NEXT_BLOCK);
    }
    if (!link.Send(GWay::MakeGWayCommand(static_cast<int>(o.code), o.data.substr(at))))
        return kClosedByServer;
    std::string data;
    bool first = true;
    for (;;) {
        if (int rc = link.Next(m, false); rc != kDone) {
            std::fprintf(stderr, "gwayclient: %s while waiting for the reply\n", Failure(rc));
            return rc;
        }
        if (!m.isReply) {
            PrintFrame(m);
            continue;
        }
        if (first)
            std::printf("reply 0x%04x xmode %d mstate %d\n", m.code, m.xmode, m.mstate);
        first = false;
        data += m.data;
        if (!m.more)
            break;
        if (!link.Send(GWay::MakeGWayCommand(GWay::GWAY_COMMAND_NEXT_BLOCK, "")))
            return kClosedByServer;
    }
    std::printf("length %zu\n", data.size());
    if (!data.empty())
        PrintData(data);
    std::fflush(stdout);
    return kDone;
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    if (int rc = ParseOptions(argc, argv, o); rc != 0) {
        Usage(stderr);
        return rc;
    }
    std::signal(SIGINT, OnStop);
    std::signal(SIGTERM, OnStop);
    int fd = Connect(o);
    if (fd < 0) {
        std::fprintf(stderr, "gwayclient: cannot connect to %s:%ld\n", o.host.c_str(), o.port);
        return kNoConnection;
    }
    Link link(fd, o.timeout);
    int rc = kDone;
    if (o.code >= 0)
        rc = Request(link, o);
    if (rc == kDone && o.wait) {
        GWay::GWayMessage m;
        while ((rc = link.Next(m, true)) == kDone)
            PrintFrame(m);
        if (stopped)
            rc = kDone;
    }
    close(fd);
    return rc;
}
