// What the configuration file says about the GWay gateway: its port and
// whether it is enabled. The gateway service observes this object and opens
// or closes its listening port when it changes.
#pragma once

#include "observer.h"

class OxGWayCfg : public Subject<OxGWayCfg> {
  public:
    static OxGWayCfg& Instance();

    // Each setter stores and then notifies all observers.
    void SetAll(unsigned port, bool enabled, bool loaded);
    void SetPort(unsigned port);
    void SetEnabled(bool enabled);
    void SetLoaded(bool loaded);

    unsigned GetPort() const { return port_; }
    bool IsEnabled() const { return enabled_; }
    // True once a GWay element was found in the configuration.
    bool IsLoaded() const { return loaded_; }

    static unsigned GetDefaultPort() { return 59355; }
    static bool GetDefaultEnabled() { return true; }

  private:
    OxGWayCfg() = default;

    unsigned port_ = 0;
    bool enabled_ = false;
    bool loaded_ = false;
};
