#include "oxgwaycfg.h"

OxGWayCfg& OxGWayCfg::Instance() {
    static OxGWayCfg theCfg;
    return theCfg;
}

void OxGWayCfg::SetAll(unsigned port, bool enabled, bool loaded) {
    port_ = port;
    enabled_ = enabled;
    loaded_ = loaded;
    NotifyAll();
}

void OxGWayCfg::SetPort(unsigned port) {
    port_ = port;
    NotifyAll();
}

void OxGWayCfg::SetEnabled(bool enabled) {
    enabled_ = enabled;
    NotifyAll();
}

void OxGWayCfg::SetLoaded(bool loaded) {
    loaded_ = loaded;
    NotifyAll();
}
