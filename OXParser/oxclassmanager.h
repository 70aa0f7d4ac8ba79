// Class table of one machine port.
// Placeholder until the object store lands.
#pragma once

class OXClassManager {
public:
    void Reset() {}
};
