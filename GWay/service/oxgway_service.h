// The gateway's listening port: opened when the configuration enables the
// gateway, moved when its port changes, closed when it is disabled, and tried
// again every 5 seconds while another process holds the port.
#pragma once

#include "observer.h"
#include "oxgwaycfg.h"

#include <ace/Event_Handler.h>

class OxGWayAcceptor;

class OxGWayService : public Observer<OxGWayCfg>, public ACE_Event_Handler {
  public:
    // Adds a missing GWay element to the configuration file, then follows
    // the gateway configuration and starts at once if it is enabled.
    OxGWayService();
    ~OxGWayService() override;
    OxGWayService(const OxGWayService&) = delete;
    OxGWayService& operator=(const OxGWayService&) = delete;

    void StartGWayService();
    void StopGWayService();
    // Writes the default GWay element into the configuration file when the
    // file that was read had none. The running configuration stays as read.
    static void CheckConfigurationFile();

    void Update(OxGWayCfg* cfg) override;
    int handle_timeout(const ACE_Time_Value& now, const void* act) override;

    OxGWayAcceptor* GetAcceptor() const { return acceptor; }

  private:
    // Opens the acceptor on the configured port; on failure the retry timer.
    void OpenAcceptor();

    OxGWayAcceptor* acceptor = nullptr;
    long retryTimerId = -1;
};
