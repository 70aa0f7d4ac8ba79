// Object table of one machine port.
// Placeholder until the object store lands: it only answers InSync.
#pragma once

class OXObjectManager {
public:
    // 0: object count never announced, 1: in step, 2: out of step.
    int InSync() const { return 0; }
    void Reset() {}
};
