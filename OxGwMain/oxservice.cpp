#include "oxservice.h"

#include "oxconf.h"
#include "oxconn.h"
#include "oxgway_service.h"
#include "oxsession.h"
#include "testprint.h"

#include <ace/Reactor.h>

#include <cassert>
#include <fstream>

namespace {
OxService* theService = nullptr;
OxConnectionMan* theConnectionMan = nullptr;
constexpr int kPorts = 10;
}  // namespace

OxService* OxService::Instance() {
    if (theService == nullptr)
        theService = new OxService();
    return theService;
}

void OxService::DeleteInstance() {
    delete theService;
    theService = nullptr;
}

OxService::OxService() : connections_(new OxConnection*[kPorts]()) {}

OxService::~OxService() {
    StopOxService();
    delete[] connections_;
}

void OxService::ReadConfiguration(OxConfiguration& cfg) {
    std::string path = cfg.MakeAbsPath("/etc/torc2/oxgwcfg.xml");
    std::ifstream configStream(path);
    if (!configStream.good()) {
        TestPrintF(4, "the configuration file could not be opened! (%s)\n", path.c_str());
    }
    // A gateway without its configuration is of no use: end through the
    // crash path rather than run on invented defaults.
    assert(configStream.good());
    cfg.Parse(configStream);
}

void OxService::StartOxService() {
    OxConfiguration* cfg = OxConfiguration::Instance();
    ReadConfiguration(*cfg);
    for (int i = 0; i < kPorts; ++i)
        connections_[i] = nullptr;
    for (int port = 1; port <= kPorts; ++port) {
        if (cfg->GetConnectionCfg(port, true).used && connections_[port - 1] == nullptr)
            connections_[port - 1] = OxConnectionMan::Instance()->OxGetConnection(port, true);
    }
    // The gateway service decides for itself whether it is enabled.
    gwayService = new OxGWayService();
}

void OxService::StopOxService() {
    delete gwayService;
    gwayService = nullptr;
    OxSessionManager::Instance()->DestroyAll();
    for (int i = 0; i < kPorts; ++i) {
        if (connections_[i] != nullptr)
            OxConnectionMan::Instance()->Release(connections_[i]);
    }
    OxConfiguration::Instance()->ClearConnectionCfg();
}

void OxService::RestartOxService() {
    bool restart;
    {
        OxConfiguration scratch;
        // The file lies under the application path of the running program.
        scratch.SetAppPath(OxConfiguration::Instance()->GetAppPath());
        ReadConfiguration(scratch);
        restart = OxConfiguration::Instance()->RestartNeeded(scratch);
    }
    if (!restart)
        return;
    if (ACE_Reactor::instance()->schedule_timer(this, nullptr, ACE_Time_Value(5),
                                                ACE_Time_Value::zero) == -1) {
        TestPrintF(4, "Unable to restart Remote Service!\n");
    } else {
        TestPrintF(1, "Restarting Remote Service. Pleace Wait\n");
    }
}

int OxService::handle_timeout(const ACE_Time_Value&, const void*) {
    StopOxService();
    StartOxService();
    return 0;
}

OxConnection* OxService::GetConnection(int port) const {
    if (port < 1 || port > kPorts)
        return nullptr;
    return connections_[port - 1];
}

// ---------------------------------------------------------------- OxConnectionMan

OxConnectionMan* OxConnectionMan::Instance() {
    if (theConnectionMan == nullptr)
        theConnectionMan = new OxConnectionMan();
    return theConnectionMan;
}

void OxConnectionMan::DeleteInstance() {
    if (theConnectionMan != nullptr)
        theConnectionMan->DeleteAll();
    delete theConnectionMan;
    theConnectionMan = nullptr;
}

OxConnection* OxConnectionMan::OxGetConnection(int port, bool create) {
    for (OxConnection* c : connections_) {
        if (c->GetPort() == port) {
            if (create)
                c->IncRefCount();
            return c;
        }
    }
    if (!create)
        return nullptr;
    OxConnection* pC = new OxConnection(port);
    assert(pC);
    pC->IncRefCount();
    connections_.push_back(pC);
    return pC;
}

void OxConnectionMan::Release(OxConnection* connection) {
    for (auto it = connections_.begin(); it != connections_.end(); ++it) {
        if (*it == connection) {
            if (connection->DecRefCount() <= 0) {
                connections_.erase(it);
                delete connection;
            }
            return;
        }
    }
}

void OxConnectionMan::DeleteAll() {
    for (OxConnection* c : connections_)
        delete c;
    connections_.clear();
}
