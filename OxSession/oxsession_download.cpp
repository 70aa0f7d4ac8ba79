// Client words on the software download: each tells the machine of the
// transfer, and "Enable" also puts the board into its remote update mode.
// The download's state goes to the client at connect and at every move.
#include "oxsession.h"
#include "runprogram.h"
#include "testprint.h"

#include <cstring>
#include <vector>

namespace {

// The machine's function that is told of a transfer, its action and argument.
constexpr int kDownloadFunction = 28023;
constexpr int kDownloadAction = 1;

const char* const kCommands[] = {"Download", "Enable", "Done", "Abort", "None"};
constexpr int kEnable = 1;

}  // namespace

void OxSocketSession::OxDownloadMsg(const std::string& command) {
    if (connection != nullptr) {
        std::vector<double> args = {1.0};
        connection->ExecuteFunction(kDownloadFunction, kDownloadAction, args);
    }
    int word = -1;
    for (int i = 0; i < static_cast<int>(sizeof kCommands / sizeof kCommands[0]); ++i) {
        if (command == kCommands[i]) {
            word = i;
            break;
        }
    }
    if (word == kEnable) {
        RunProgram program(false);
        if (!program.Run("remotecmd setremoteswupdmode"))
            TestPrintF(0, "Client(%d)::OxDownloadMsg setremoteswupdmode failed!\n", sessionId);
    }
}

void OxSocketSession::DownloadProgress(OxDownload::tagDownloadState /*state*/) {
    SendDownloadMsg();
}
