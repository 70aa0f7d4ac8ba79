#include "oxgway_cmd_setdataset.h"

#include "oxconf.h"
#include "oxconn.h"
#include "oxgway_block_transmitter.h"
#include "oxgway_dataset.h"
#include "oxgway_parameter.h"
#include "oxobject.h"
#include "oxobjectmanager.h"
#include "testprint.h"

#include <ace/Reactor.h>

#include <cassert>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {
constexpr int kDone = 1;
constexpr int kPending = 2;
constexpr int kFailed = 16;
}  // namespace

OxGWayCommandSetDataset::OxGWayCommandSetDataset(OxGWayBlockTransmitter& transmitter, int code,
                                                 const char* name, OxGWayDataSet& dataSet,
                                                 OxConnection& connection)
    : OxGWayCommandHandler(transmitter, code),
      name(name),
      dataSet(dataSet),
      connection(connection) {
    // One pair of files per dataset: the two last writes of the host.
    std::string base = OxConfiguration::Instance()->MakeAbsPath(std::string("/var/log/debug/") +
                                                                "gway_" + dataSet.GetName());
    logFile = base + ".log";
    logFile1 = base + ".log.1";
}

OxGWayCommandSetDataset::~OxGWayCommandSetDataset() {
    ResetTimers();
}

void OxGWayCommandSetDataset::ResetTimers() {
    if (commandId != 0)
        connection.TransmitCommandRemoveHandler(commandId);
    commandId = 0;
    if (executeTimerId != -1)
        ACE_Reactor::instance()->cancel_timer(executeTimerId);
    if (updateTimerId != -1)
        ACE_Reactor::instance()->cancel_timer(updateTimerId);
    executeTimerId = -1;
    updateTimerId = -1;
    DropWatched();
}

void OxGWayCommandSetDataset::DropWatched() {
    // The object may have gone with the machine's store meanwhile.
    if (watched != nullptr && connection.GetObjectManager().Lookup(watchedId) == watched)
        watched->Detach(this);
    watched = nullptr;
}

bool OxGWayCommandSetDataset::ExecuteCommand(char* data, unsigned length) {
    return Run(data, length);
}

bool OxGWayCommandSetDataset::Run(char* data, unsigned length) {
    ResetTimers();
    const char* n = name.c_str();

    const std::string& log = useFirstLog ? logFile : logFile1;
    int fd = open(log.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    if (fd < 0) {
        TestPrintF(4, "GWay(%d, %s): File creation error or file readonly: %s\n", sessionId, n,
                   log.c_str());
        transmitter.SendReply(code, kFailed);
    } else {
        ssize_t written = write(fd, data, length);
        (void)written;
        close(fd);
    }
    useFirstLog = !useFirstLog;

    // The host's text, terminated, so that the C string functions stop.
    std::string text(data, length);
    char* begin = &text[0];
    char* stop = begin + text.size();
    char* pOutputBuffer = outputBuffer;
    char* pOutputBufferIdx = pOutputBuffer + sprintf(pOutputBuffer, "100.105(");
    char* start = pOutputBufferIdx;
    // Leaves room for the closing text and the trailing zero.
    char* limit = outputBuffer + kOutputSize - 64;

    char* cursor = static_cast<char*>(memchr(begin, ';', text.size()));
    if (cursor == nullptr) {
        TestPrintF(0x2000, "GWay(%d, %s): Empty Dataset; %p; %p\n", sessionId, n,
                   static_cast<void*>(data), static_cast<void*>(data + length));
        transmitter.SendReply(code, kDone);
        return false;
    }
    ++cursor;
    OXObject* toWatch = nullptr;
    while (cursor < stop) {
        char* plus = strchr(cursor, '+');
        if (plus == nullptr)
            break;
        char* after = nullptr;
        errno = 0;
        double pid = strtod(plus, &after);
        if (after == plus || errno != 0) {
            TestPrintF(4, "GWay(%d, %s): Error: PID is not a number (E%d: %s)\n", sessionId, n,
                       errno, strerror(errno));
            transmitter.SendReply(code, kFailed);
            return true;
        }
        unsigned id = pid < 0 ? 0 : static_cast<unsigned>(pid);
        OxGWayParameter* parameter = dataSet.Find(id);
        if (parameter == nullptr) {
            TestPrintF(4, "GWay(%d, %s): Unknown Parameter Id: %u\n", sessionId, n, id);
            transmitter.SendReply(code, kFailed);
            return true;
        }
        char* equal = strchr(after, '=');
        if (equal == nullptr) {
            TestPrintF(4, "GWay(%d, %s): Error Missing the \"+\" \n", sessionId, n);
            transmitter.SendReply(code, kFailed);
            return true;
        }
        char* semicolon = strchr(equal + 1, ';');
        if (semicolon == nullptr) {
            TestPrintF(4, "GWay(%d, %s): Error Missing the \";\" \n", sessionId, n);
            transmitter.SendReply(code, kFailed);
            return true;
        }
        *semicolon = '\0';
        if (pOutputBufferIdx >= limit) {
            TestPrintF(4, "GWay(%d, %s): Error in data\n", sessionId, n);
            transmitter.SendReply(code, kFailed);
            return true;
        }
        int result = parameter->Unserialize(equal + 1, pOutputBufferIdx);
        if (result == -1) {
            TestPrintF(4, "GWay(%d, %s): Error in data\n", sessionId, n);
            transmitter.SendReply(code, kFailed);
            return true;
        }
        if (result == 1)
            toWatch = parameter->GetOXObject();
        cursor = semicolon + 1;
    }

    if (pOutputBufferIdx == start) {
        TestPrintF(0x2000, "GWay(%d, %s): No parameters needs to be changed\n", sessionId, n);
        transmitter.SendReply(code, kDone);
        return true;
    }
    // The ", " behind the last pair becomes the closing text.
    pOutputBufferIdx -= 2;
    pOutputBufferIdx += sprintf(pOutputBufferIdx, ");");
    assert((pOutputBufferIdx - pOutputBuffer) < (64 * 1024) - 1);
    unsigned long id = connection.TransmitCommand(this, pOutputBuffer);
    TestPrintF(0x4000, "GWay(%d, %s): TORC Cmd: %.60s\n", sessionId, n, pOutputBuffer);
    if (id == 0) {
        TestPrintF(4, "GWay(%d, s%%): Error transforming data to the processor\n", sessionId);
        transmitter.SendReply(code, kFailed);
        return true;
    }
    TestPrintF(0x2000, "GWay(%d, %s): TORC Update Started. Result Pending\n", sessionId, n);
    if (toWatch != nullptr) {
        watched = toWatch;
        watchedId = watched->GetObjectId();
        watched->Attach(this);
    }
    commandId = id;
    executeTimerId = ACE_Reactor::instance()->schedule_timer(this, &executeTimerId,
                                                             ACE_Time_Value(kTimeoutSeconds));
    if (executeTimerId == -1)
        TestPrintF(4, "GWay(%d, %s): Unable to schedule execute timeout!\n", sessionId, n);
    transmitter.SendReply(code, kPending);
    return true;
}

void OxGWayCommandSetDataset::ResultReceived(unsigned long id, const OXObject&) {
    if (id == 0 || id != commandId)
        return;
    // The connection forgets its handler after the result.
    commandId = 0;
    if (executeTimerId != -1)
        ACE_Reactor::instance()->cancel_timer(executeTimerId);
    executeTimerId = -1;
    if (watched == nullptr) {
        TestPrintF(0x2000, "GWay(%d, %s): TORC Updated. Result Received\n", sessionId,
                   name.c_str());
        transmitter.SendReply(code, kDone);
        return;
    }
    TestPrintF(0x2000, "GWay(%d, %s): TORC Update Pending. Result Received.\n", sessionId,
               name.c_str());
    updateTimerId = ACE_Reactor::instance()->schedule_timer(this, &updateTimerId,
                                                            ACE_Time_Value(kTimeoutSeconds));
    if (updateTimerId == -1) {
        TestPrintF(4, "GWay(%d, %s): Unable to schedule update timeout!\n", sessionId,
                   name.c_str());
        transmitter.SendReply(code, kFailed);
        ResetTimers();
    }
}

void OxGWayCommandSetDataset::ExceptionReceived(unsigned long id, const OXObject&) {
    if (id == 0 || id != commandId)
        return;
    commandId = 0;
    TestPrintF(4, "GWay(%d, %s): Error setting data on the processor\n", sessionId, name.c_str());
    transmitter.SendReply(code, kFailed);
    ResetTimers();
}

void OxGWayCommandSetDataset::Update(OXObject* object) {
    if (object == nullptr || object != watched)
        return;
    if (executeTimerId == -1 && updateTimerId != -1) {
        ACE_Reactor::instance()->cancel_timer(updateTimerId);
        updateTimerId = -1;
        transmitter.SendReply(code, kDone);
        TestPrintF(0x2000, "GWay(%d, %s): TORC Updated. Result Received\n", sessionId,
                   name.c_str());
    } else {
        TestPrintF(0x2000, "GWay(%d, %s): TORC Updated. Result Pending\n", sessionId, name.c_str());
    }
    DropWatched();
}

int OxGWayCommandSetDataset::handle_timeout(const ACE_Time_Value&, const void* arg) {
    if (arg == &executeTimerId) {
        executeTimerId = -1;
        TestPrintF(4, "GWay(%d, %s): Error: Timeout changing data on the processor\n", sessionId,
                   name.c_str());
        ResetTimers();
        transmitter.SendReply(code, kFailed);
    } else if (arg == &updateTimerId) {
        updateTimerId = -1;
        TestPrintF(0x2000, "GWay(%d, %s): Error: TORC Update Timeout\n", sessionId, name.c_str());
        ResetTimers();
        transmitter.SendReply(code, kDone);
    }
    return 0;
}

bool OxGWayCommandSetApplicationDataset::ExecuteCommand(char* data, unsigned length) {
    bool handled = Run(data, length);
    // The flag is raised only while the machine has not taken it yet.
    if (flag != nullptr && objects.Lookup(kApplicationFlagId) == flag &&
        flag->GetNumber("Value") == 0)
        connection.TransmitCommand(nullptr, "100.105(2005, 1);");
    return handled;
}

void OxGWayCommandSetApplicationDataset::COMConnected() {
    flag = objects.Lookup(kApplicationFlagId);
}
