#include "oxclock.h"

namespace {

class SystemClock : public OxClock {
  public:
    time_t Now() const override { return time(nullptr); }
};

}  // namespace

const OxClock& OxClock::System() {
    static const SystemClock clock;
    return clock;
}
