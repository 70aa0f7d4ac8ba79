// The software update of a machine's boards, one per connection.
//
// Placeholder until the download state machine lands: it records the state
// of the connection it is told and its own state, and moves nowhere by itself.
// Its state and flags are what a client is shown at connect.
#pragma once

#include <cassert>

class OxConnection;

class OxDownload {
  public:
    enum tagDownloadState { DLS_READY = 0, DLS_RESTOREPARMS = 7, DLS_NONE = 10 };
    // As the connection passes it: 0 bootload, 1 connecting, 2 connected, 3 none.
    enum tagConnectionState {
        CS_BOOTLOAD = 0,
        CS_CONNECTING = 1,
        CS_CONNECTED = 2,
        CS_NONE = 3,
    };

    explicit OxDownload(OxConnection& connection) : connection_(connection) {}

    static const char* GetStateText(tagDownloadState state) {
        static const char* const texts[] = {"Ready",          "WaitConnected1", "SaveParms",
                                            "WaitBootload",   "EraseEeprom",    "Working",
                                            "WaitConnected2", "RestoreParms",   "Done",
                                            "Error",          "None"};
        // clang-format off
        assert(state>=DLS_READY && state<=DLS_NONE);
        // clang-format on
        return texts[state];
    }
    bool GetRestoreParameters() const { return restoreParameters_; }
    bool GetEraseEeprom() const { return eraseEeprom_; }

    void SetConnectionState(tagConnectionState cs) { connectionState_ = cs; }
    tagConnectionState GetConnectionState() const { return connectionState_; }
    tagDownloadState GetState() const { return state_; }
    // Entry actions of the states come with the state machine.
    void SetState(tagDownloadState state) { state_ = state; }
    OxConnection& GetConnection() const { return connection_; }

  private:
    OxConnection& connection_;
    tagDownloadState state_ = DLS_READY;
    tagConnectionState connectionState_ = CS_NONE;
    bool restoreParameters_ = false;
    bool eraseEeprom_ = false;
};
