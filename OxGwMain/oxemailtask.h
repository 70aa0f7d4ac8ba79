// The mail task.
// Placeholder until mail lands: it has no thread and nothing to end.
#pragma once

class OxEMailTask {
  public:
    static OxEMailTask* Instance();
    static void DeleteInstance();
    void end_event_loop() {}
};
