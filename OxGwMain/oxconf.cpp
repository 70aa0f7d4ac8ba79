#include "oxconf.h"

#include <ace/Guard_T.h>

namespace {
OxConfiguration* theConfiguration = nullptr;
}

#define OX_CFG_GUARD(lock) \
    ACE_Guard<ACE_Thread_Mutex> guard(mutex_, lock ? 1 : 0, 0);

OxConfiguration* OxConfiguration::Instance() {
    if (theConfiguration == nullptr) theConfiguration = new OxConfiguration();
    return theConfiguration;
}

void OxConfiguration::DeleteInstance() {
    delete theConfiguration;
    theConfiguration = nullptr;
}

OxConfiguration::OxConfiguration() = default;

void OxConfiguration::SetAppPath(const std::string& path, bool lock) {
    OX_CFG_GUARD(lock);
    appPath_ = path;
}

std::string OxConfiguration::GetAppPath(bool lock) const {
    OX_CFG_GUARD(lock);
    return appPath_;
}

std::string OxConfiguration::MakeAbsPath(const std::string& path, bool lock) const {
    OX_CFG_GUARD(lock);
    if (!path.empty() && path[0] == '/') return appPath_ + path;
    return path;
}

unsigned long OxConfiguration::GetLogFileMaxSize(bool lock) const {
    OX_CFG_GUARD(lock);
    return logFileMaxSize_;
}

unsigned long OxConfiguration::GetLogFileComMaxSize(bool lock) const {
    OX_CFG_GUARD(lock);
    return logFileComMaxSize_;
}

int OxConfiguration::GetNetworkPort(bool lock) const {
    OX_CFG_GUARD(lock);
    return networkPort_;
}
