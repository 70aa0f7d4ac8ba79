// The thread on which every Timer expiry runs.
#pragma once

#include <ace/Task.h>

class ProactorTask : public ACE_Task<ACE_MT_SYNCH> {
  public:
    int svc() override;
};
