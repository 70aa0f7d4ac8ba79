#include "oxservice.h"

#include "oxconf.h"
#include "oxconn.h"
#include "testprint.h"

#include <cassert>
#include <fstream>

namespace {
OxService* theService = nullptr;
OxConnectionMan* theConnectionMan = nullptr;
constexpr int kPorts = 10;
}  // namespace

OxService* OxService::Instance() {
    if (theService == nullptr) theService = new OxService();
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
    assert(configStream.good());
    // Reading the file into the store comes with the configuration reader.
}

void OxService::StartOxService() {
    ReadConfiguration(*OxConfiguration::Instance());
    for (int i = 0; i < kPorts; ++i) connections_[i] = nullptr;
    // Until the configuration reader lands, port 1 is the one active port.
    connections_[0] = OxConnectionMan::Instance()->OxGetConnection(1, true);
}

void OxService::StopOxService() {
    for (int i = 0; i < kPorts; ++i) {
        if (connections_[i] != nullptr) OxConnectionMan::Instance()->Release(connections_[i]);
        connections_[i] = nullptr;
    }
}

void OxService::RestartOxService() {}

int OxService::handle_timeout(const ACE_Time_Value&, const void*) {
    StopOxService();
    StartOxService();
    return 0;
}

OxConnection* OxService::GetConnection(int port) const {
    if (port < 1 || port > kPorts) return nullptr;
    return connections_[port - 1];
}

// ---------------------------------------------------------------- OxConnectionMan

OxConnectionMan* OxConnectionMan::Instance() {
    if (theConnectionMan == nullptr) theConnectionMan = new OxConnectionMan();
    return theConnectionMan;
}

void OxConnectionMan::DeleteInstance() {
    if (theConnectionMan != nullptr) theConnectionMan->DeleteAll();
    delete theConnectionMan;
    theConnectionMan = nullptr;
}

OxConnection* OxConnectionMan::OxGetConnection(int port, bool create) {
    for (OxConnection* c : connections_) {
        if (c->GetPort() == port) {
            if (create) c->IncRefCount();
            return c;
        }
    }
    if (!create) return nullptr;
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
    for (OxConnection* c : connections_) delete c;
    connections_.clear();
}
