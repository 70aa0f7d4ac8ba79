// What can be started and stopped as a whole while the process stays alive:
// the machine connections and the gateway service.
#pragma once

#include <ace/Event_Handler.h>

#include <vector>

class OxConfiguration;
class OxConnection;
class OxGWayService;

class OxService : public ACE_Event_Handler {
  public:
    static OxService* Instance();
    static void DeleteInstance();
    ~OxService() override;

    void StartOxService();
    void StopOxService();
    void RestartOxService();
    void ReadConfiguration(OxConfiguration& cfg);
    int handle_timeout(const ACE_Time_Value& now, const void* act) override;

    OxConnection* GetConnection(int port) const;
    OxGWayService* GetGWayService() const { return gwayService; }

  private:
    OxService();
    OxConnection** connections_;
    // The plant host gateway; null while the service is stopped.
    OxGWayService* gwayService = nullptr;
};

// All open connections, one per port, shared by reference count.
class OxConnectionMan {
  public:
    static OxConnectionMan* Instance();
    static void DeleteInstance();

    OxConnection* OxGetConnection(int port, bool create = false);
    // Drops one reference; deletes the connection when none is left.
    void Release(OxConnection* connection);
    // Deletes every connection still held (process end).
    void DeleteAll();
    size_t Count() const { return connections_.size(); }
    // The i-th connection in order of creation; null past the end.
    OxConnection* At(size_t i) const { return i < connections_.size() ? connections_[i] : nullptr; }

  private:
    std::vector<OxConnection*> connections_;
};
