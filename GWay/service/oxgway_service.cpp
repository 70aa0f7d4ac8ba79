#include "oxgway_service.h"

#include "oxconf.h"
#include "oxgway_acceptor.h"
#include "testprint.h"

#include <ace/INET_Addr.h>
#include <ace/Reactor.h>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

OxGWayService::OxGWayService() {
    if (!OxGWayCfg::Instance().IsLoaded())
        CheckConfigurationFile();
    OxGWayCfg::Instance().Attach(this);
    Update(&OxGWayCfg::Instance());
}

OxGWayService::~OxGWayService() {
    OxGWayCfg::Instance().Detach(this);
    if (retryTimerId != -1)
        ACE_Reactor::instance()->cancel_timer(retryTimerId);
    StopGWayService();
}

void OxGWayService::CheckConfigurationFile() {
    std::string path = OxConfiguration::Instance()->MakeAbsPath("/etc/torc2/oxgwcfg.xml");
    std::string text;
    {
        std::ifstream in(path, std::ios::binary);
        std::ostringstream all;
        if (in.good())
            all << in.rdbuf();
        text = all.str();
        if (!in.good() || text.empty()) {
            TestPrintF(4,
                       "GWay(_): Error: Unable to update configurations file. File read-only, "
                       "empty or not found\n");
            return;
        }
    }
    if (text.find("<GWay ") != std::string::npos) {
        TestPrintF(4, "GWay(_): Possible corrupted configurations file (1).\n");
        return;
    }
    size_t end = text.find("</Configuration");
    if (end == std::string::npos) {
        TestPrintF(4, "GWay(_): Possible corrupted configurations file (2).\n");
        return;
    }
    static const char kFormat[] = "<GWay port=\"%u\" enabled=\"true\" />";
    char element[sizeof kFormat + 11];
    int n = snprintf(element, sizeof element, kFormat, OxGWayCfg::GetDefaultPort());
    if (n < 0 || n >= static_cast<int>(sizeof element)) {
        TestPrintF(4, "GWay(_): Configuration File Update Failed (1).\n");
        return;
    }
    std::string updated = text.substr(0, end) + element + text.substr(end);
    // Not truncated: the new text is longer than the old one.
    int fd = open(path.c_str(), O_WRONLY | O_CREAT, 0644);
    if (fd < 0) {
        TestPrintF(4, "GWay(_): Unable to update configuration file. File is read-only\n");
        return;
    }
    if (write(fd, updated.data(), updated.size()) != static_cast<ssize_t>(updated.size()))
        TestPrintF(4, "GWay(_): Configuration File Update Failed (1).\n");
    close(fd);
}

void OxGWayService::StartGWayService() {
    unsigned port = OxGWayCfg::Instance().GetPort();
    if (acceptor != nullptr) {
        if (acceptor->GetPort() == port)
            return;
        StopGWayService();
    }
    acceptor = new OxGWayAcceptor();
    OpenAcceptor();
}

void OxGWayService::OpenAcceptor() {
    unsigned port = OxGWayCfg::Instance().GetPort();
    ACE_INET_Addr addr(static_cast<u_short>(port));
    if (acceptor->Open(addr) == 0) {
        TestPrintF(1, "GWay: Ready on socket port %d\n", port);
        return;
    }
    TestPrintF(4, "GWay: Unable to open socket port %d (E%d)\n", port, errno);
    retryTimerId = ACE_Reactor::instance()->schedule_timer(this, nullptr, ACE_Time_Value(5),
                                                           ACE_Time_Value::zero);
    if (retryTimerId == -1)
        TestPrintF(4, "Unable to start timer to open gway socket port!\n");
}

void OxGWayService::StopGWayService() {
    if (retryTimerId != -1) {
        ACE_Reactor::instance()->cancel_timer(retryTimerId);
        retryTimerId = -1;
    }
    delete acceptor;
    acceptor = nullptr;
}

void OxGWayService::Update(OxGWayCfg* cfg) {
    if (cfg == nullptr)
        return;
    if (cfg->IsEnabled()) {
        StartGWayService();
    } else if (acceptor != nullptr) {
        TestPrintF(1, "GWay: Disabling Service\n");
        StopGWayService();
    }
}

int OxGWayService::handle_timeout(const ACE_Time_Value&, const void*) {
    retryTimerId = -1;
    if (acceptor != nullptr)
        OpenAcceptor();
    return 0;
}
