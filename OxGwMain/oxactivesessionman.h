// Polls for the outgoing client connection to a configured server.
#pragma once

#include <ace/Event_Handler.h>

class OxActiveSocketSession;

class OxActiveSessionMan : public ACE_Event_Handler {
  public:
    static constexpr int kSlots = 10;

    OxActiveSessionMan();
    ~OxActiveSessionMan() override;

    void SetPollTimer(int seconds);
    int handle_timeout(const ACE_Time_Value& now, const void* act) override;

    // Called by a session that ends: clears its slot and polls again.
    void SessionClosed(OxActiveSocketSession* session);
    OxActiveSocketSession* Slot(int i) const { return sessions_[i]; }

  private:
    OxActiveSocketSession* sessions_[kSlots];
};
