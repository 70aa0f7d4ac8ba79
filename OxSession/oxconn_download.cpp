// The software download of a machine port, as the connection sees it: the
// boards' reports move the download, and each move is told to the sessions.
#include "oxconn.h"
#include "oxsession.h"

void OxConnection::DownloadProgress(int progress, OXPackage::tagPackageUnitId /*unit*/,
                                    OXPackage::tagPackageStatus status) {
    // The report counts for the board the download is working on.
    OxDownloadBoard& board = download.GetCurrentBoard();
    board.progress = progress;
    board.status = status;
    if (status == OXPackage::PS_ERASED)
        download.EraseDone();
    else if (status == OXPackage::PS_FAILED || status == OXPackage::PS_FAILED_NEXT)
        download.Error();
    else
        download.Download();
}

void OxConnection::Download() {
    download.Download();
}

void OxConnection::UpdateSessionDownload(OxDownload::tagDownloadState downloadState) {
    for (OxSession* session : sessions)
        session->DownloadProgress(downloadState);
}

std::string OxConnection::GetBinFilePath(OXPackage::tagPackageUnitId unit) const {
    return connectionDir + OxDownload::GetBinFileName(unit);
}

// A link of a socket leaves the boot loader to the machine's controller.
void OxConnection::ControlBootload(bool /*on*/) {}

void OxConnection::StopDownload() {}
