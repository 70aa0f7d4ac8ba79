// The time source of the parts that act on the calendar (the event log's
// change of day). Tests pass a clock of their own instead of waiting for
// midnight.
#pragma once

#include <ctime>

class OxClock {
  public:
    virtual ~OxClock() = default;
    // Seconds since the epoch, as time() gives them.
    virtual time_t Now() const = 0;

    // The clock of the machine.
    static const OxClock& System();
};
