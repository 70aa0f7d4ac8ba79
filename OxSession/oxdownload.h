// The software update of a machine's boards, one per connection.
//
// OxDownload follows an update from the saving of the parameters, through
// the machine's fall into its boot loader and the boards one by one, to the
// machine's return and the restoring of the parameters:
//
//   Ready -> WaitConnected1 -> SaveParms -> WaitBootload -> (EraseEeprom ->)
//   Working -> WaitConnected2 -> RestoreParms -> Done -> Ready
//
// Without restoreParameters the save and restore states are left out. The
// machine moves it: the state of the connection, the progress reports of the
// boards and the ends of the parameter operations. The transfer of the files
// runs outside this program; every move is told to the sessions of the
// connection. The parameter files live in the connection's directory.
#pragma once

#include <string>

class OxConnection;

// The units of the machine that take a software file, and what a unit
// reports of its transfer.
namespace OXPackage {
enum tagPackageUnitId : int { PU_MPU = 0, PU_HPU = 1, PU_HCU = 2, PU_MMU = 3, PU_CVU = 4 };
// Only the values that the download acts on are named: 4 fails the update,
// 5 fails the unit but lets the next one go on, 6 ends an erase.
enum tagPackageStatus : int { PS_FAILED = 4, PS_FAILED_NEXT = 5, PS_ERASED = 6 };
}  // namespace OXPackage

// One unit's part in the update.
struct OxDownloadBoard {
    int progress = 0;       // 100 means finished
    int status = 0;         // an OXPackage::tagPackageStatus
    bool checked = false;   // this board takes part
    bool started = false;   // its transfer was begun
    bool fileDone = false;  // its file is at hand

    void Clear() { *this = OxDownloadBoard(); }
};

class OxDownload {
  public:
    enum tagDownloadState {
        DLS_READY = 0,
        DLS_WAITCONNECTED1 = 1,
        DLS_SAVEPARMS = 2,
        DLS_WAITBOOTLOAD = 3,
        DLS_ERASEEEPROM = 4,
        DLS_WORKING = 5,
        DLS_WAITCONNECTED2 = 6,
        DLS_RESTOREPARMS = 7,
        DLS_DONE = 8,
        DLS_ERROR = 9,
        DLS_NONE = 10
    };
    // As the connection passes it: 0 bootload, 1 connecting, 2 connected, 3 none.
    enum tagConnectionState {
        CS_BOOTLOAD = 0,
        CS_CONNECTING = 1,
        CS_CONNECTED = 2,
        CS_NONE = 3,
    };
    static constexpr int kBoards = 5;

    explicit OxDownload(OxConnection& connection);

    // The main step: begins an update from Ready and, while Working, goes on
    // to the next board once the present one is finished.
    void Download();
    // In Done: back to Ready.
    void DoneOk();
    // A board reports failure.
    void Error();
    void RestoreParmsDone();
    void EraseDone();
    // Called by the connection at each change of its state.
    void SetConnectionState(tagConnectionState cs);
    // Back to Ready, without entry action or notice.
    void Clear();
    // Moves to a state, tells the sessions and does the state's entry action.
    void SetState(tagDownloadState _state);

    // Walk the boards that take part; true if one was found.
    bool SetFirstCheckedBoard();
    bool SetNextCheckedBoard();
    // Walk the boards that take part and whose file is still missing.
    bool SetFirstCheckedFile();
    bool SetNextCheckedFile();

    static const char* GetBinFileName(int id);
    static const char* GetStateText(tagDownloadState state);

    // What the transfer path sets before it calls Download.
    void SetRestoreParameters(bool on) { restoreParameters = on; }
    void SetEraseEeprom(bool on) { eraseEeprom = on; }
    OxDownloadBoard& GetBoard(int id) { return boards[id]; }
    OxDownloadBoard& GetCurrentBoard() { return boards[boardIndex]; }

    bool GetRestoreParameters() const { return restoreParameters; }
    bool GetEraseEeprom() const { return eraseEeprom; }
    tagConnectionState GetConnectionState() const { return connectionState; }
    tagDownloadState GetState() const { return state; }
    int GetBoardIndex() const { return boardIndex; }
    int GetFileIndex() const { return fileIndex; }
    OxConnection& GetConnection() const { return connection; }

    // The save and restore of the update go through the connection; these
    // two must never be called.
    void SaveParms();
    void RestoreParms();

  private:
    bool Connected() const { return connectionState == CS_CONNECTED; }
    bool InBootload() const { return connectionState == CS_BOOTLOAD; }
    void Boot();
    void DoDisconnect();
    // Files in the connection's directory.
    std::string ParamFilePath(const char* name) const;
    void SaveParamFile(const char* name);
    void DeleteParamFile(const char* name);
    bool ParamFileExists(const char* name) const;
    void RenameParamFile(const char* from, const char* to);

    OxConnection& connection;
    int fileIndex = 0;
    int boardIndex = 0;
    OxDownloadBoard boards[kBoards];
    tagDownloadState state = DLS_READY;
    bool eraseEeprom = false;
    bool restoreParameters = false;
    tagConnectionState connectionState = CS_NONE;
};
