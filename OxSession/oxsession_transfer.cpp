// Client commands that work on the board itself: a file uploaded in pieces
// into the service folder, a shell command with its output, and the telnet
// relay.
#include "oxconf.h"
#include "oxsession.h"
#include "runprogram.h"
#include "telnet.h"
#include "testprint.h"
#include "xmltext.h"

#include <algorithm>
#include <cstring>
#include <sstream>

namespace {

const char* const kUploadDir = "/home/service/";
// A piece may decode to a little more than the 1024 bytes asked for: the
// last group of four characters always gives three bytes.
const size_t kMaxPiece = 1034;
const size_t kOutputPiece = 80;

// A name that would leave the upload folder: an absolute name or one with a
// ".." component. Such a file is treated as one that cannot be opened, so
// nothing is ever written outside the folder.
bool LeavesUploadDir(const std::string& name) {
    if (!name.empty() && name[0] == '/')
        return true;
    std::istringstream parts(name);
    std::string part;
    while (std::getline(parts, part, '/'))
        if (part == "..")
            return true;
    return false;
}

}  // namespace

void OxSocketSession::OxCopyFileMsg(const std::string& file) {
    copyFileName = file;
    delete copyFile;
    copyFile = nullptr;
    std::string path = OxConfiguration::Instance()->MakeAbsPath((kUploadDir + file).c_str());
    if (!LeavesUploadDir(file))
        copyFile = new std::ofstream(path, std::ios::out | std::ios::trunc | std::ios::binary);
    if (copyFile == nullptr || !copyFile->is_open()) {
        TestPrintF(4, "Client(%d):copy file problem, cannot open file %s!\n", sessionId,
                   file.c_str());
        delete copyFile;
        copyFile = nullptr;
    }
    // The missing bracket in the closing text is what clients expect.
    Send("<Message><CopyFile file=\"" + XmlEscape(file) +
         "\" position=\"0\" length=\"1024\" eof=\"false\"/</Message>");
}

void OxSocketSession::OxReadFileMsg(unsigned long position, unsigned long length,
                                    const std::string& file, bool eof, const std::string& data) {
    if (copyFile == nullptr) {
        TestPrintF(272,
                   "Client(%d)::Unknown file copy message or NYI request for file copy from "
                   "server!\n",
                   sessionId);
        return;
    }
    if (file != copyFileName) {
        SendError("Copy file error, error in filename!");
        return;
    }
    if (static_cast<std::streamoff>(position) != copyFile->tellp()) {
        SendError("Copy file error, error in position!");
        return;
    }
    if (length != 0) {
        size_t size = B64Convert::B64DecodeGetLength(data.length());
        if (size > kMaxPiece || size < length) {
            SendError("Copy file error, data size is too large!");
            return;
        }
        unsigned char piece[kMaxPiece];
        B64Convert::B64Decode(data.data(), piece, data.length(), 0x3f);
        copyFile->write(reinterpret_cast<const char*>(piece), static_cast<std::streamsize>(length));
    }
    if (!copyFile->good()) {
        SendError("Copy file error, file is no good!");
        delete copyFile;
        copyFile = nullptr;
        return;
    }
    if (!eof) {
        std::ostringstream reply;
        reply << "<Message><CopyFile file=\"" << XmlEscape(file) << "\" position=\""
              << copyFile->tellp() << "\" length=\"1024\" eof=\"false\"/</Message>";
        Send(reply);
        return;
    }
    copyFile->close();
    delete copyFile;
    copyFile = nullptr;
    // Every finished upload is tried as a parameter file.
    if (connection != nullptr) {
        std::string path = OxConfiguration::Instance()->MakeAbsPath((kUploadDir + file).c_str());
        TestPrintF(4, "Client(%d)::RestoreParms(%s)", sessionId, path.c_str());
        if (CheckConnected() && !connection->RestoreParms(this, path.c_str()))
            SendError("RestoreParameters command failed!");
    }
}

void OxSocketSession::OxSystemCommandMsg(const std::string& command, int timeout, char linefeed) {
    if (IsClosing())
        return;
    if (command.empty()) {
        SendError("Empty system command!");
        return;
    }
    TestPrintF(64, "OxSocketSession(%d)::OxSystemCommandMsg(%s) timeout=%d\n", sessionId,
               command.c_str(), timeout);
    // Blocks the reactor thread for the run of the command; one that
    // overruns its limit is killed with everything it started.
    RunProgram program(false);
    int exitCode = 0;
    if (!program.Run(command.c_str()) ||
        !program.WaitForTermination(static_cast<unsigned>(std::max(timeout, 0)), &exitCode)) {
        TestPrintF(4, "OxSocketSession(%d)::OxSystemCommandMsg(%s) failed\n", sessionId,
                   command.c_str());
        SendError("Failed to run system command!");
        return;
    }
    char piece[kOutputPiece + 1];
    if (exitCode == 0) {
        std::string output;
        while (program.ReadStdout(piece, sizeof piece) && piece[0] != '\0') {
            if (linefeed != '\0')
                std::replace(piece, piece + strlen(piece), '\n', linefeed);
            output += piece;
        }
        Send("<Message><systemCommand reply=\"" + XmlEscape(output) + "\"></Message>");
        return;
    }
    SendError("SystemCommand failed!");
    while (program.ReadStderror(piece, kOutputPiece) && piece[0] != '\0')
        SendError(piece);
}

void OxSocketSession::OxTelnetCommandMsg(const std::string& command, const std::string& data) {
    if (command == "run") {
        if (telnet != nullptr)
            oldRelays.push_back(telnet);
        telnet = new Telnet(this);
        telnet->Run();
    } else if (command == "stop") {
        if (telnet != nullptr) {
            telnet->Stop();
            delete telnet;
            telnet = nullptr;
        }
    } else if (command == "sendcr") {
        if (telnet != nullptr)
            telnet->Send("\r");
    } else if (command == "sendnl") {
        if (telnet != nullptr)
            telnet->Send("\n");
    } else if (!command.empty() && telnet != nullptr) {
        telnet->Send(data.c_str());
    }
}

void OxSocketSession::SendTelnetData(const char* name, const char* text) {
    if (fatalError)
        return;
    std::string message =
        std::string("<Message><Telnet ") + name + "=\"" + XmlEscape(text) + "\" ></Message>";
    writer.Send(message + "\r\n");
}

void OxSocketSession::EndTransfers() {
    oldRelays.push_back(telnet);
    telnet = nullptr;
    for (Telnet* relay : oldRelays) {
        if (relay != nullptr)
            relay->Stop();
        delete relay;
    }
    oldRelays.clear();
    delete copyFile;
    copyFile = nullptr;
}
