#include "oxgway_cmd_interpreter.h"

#include "oxgway_block_transmitter.h"
#include "oxgway_cmd_handler.h"
#include "oxgway_session.h"
#include "testprint.h"

#include <cassert>

OxGWayCommandInterpreter::OxGWayCommandInterpreter(OxGWaySession& session,
                                                   OxGWayBlockTransmitter& transmitter,
                                                   char* outputBuffer)
    : session(session), transmitter(transmitter), outputBuffer(outputBuffer) {}

OxGWayCommandInterpreter::~OxGWayCommandInterpreter() {
    for (auto& entry : handlers)
        delete entry.second;
}

void OxGWayCommandInterpreter::AddHandler(OxGWayCommandHandler* handler) {
    handler->SetSessionId(sessionId);
    handler->SetOutputBuffer(outputBuffer);
    if (!handlers.emplace(handler->GetCode(), handler).second)
        delete handler;
}

void OxGWayCommandInterpreter::ExecuteCommand(int code, char* pBuffer, unsigned length) {
    assert(pBuffer);
    char* data = pBuffer;
    if (!session.IsConnected()) {
        TestPrintF(0x2000, "GWay(%d): Warn: Cmd:0x%x, TORC not connected\n", sessionId, code);
        transmitter.SendReply(code, kXModeFailed);
    } else {
        auto it = handlers.find(code);
        if (it == handlers.end()) {
            TestPrintF(0x4000, "Warn: GWay(%d): Cmd:0x%x, Not Implemented\n", sessionId, code);
            transmitter.SendReply(code, kXModeNotImplemented);
        } else {
            int shown = length < 80 ? static_cast<int>(length) : 80;
            TestPrintF(0x4000, "GWay(%d): Cmd:0x%x, Data:%.*s\n", sessionId, code, shown, data);
            if (!it->second->ExecuteCommand(data, length))
                TestPrintF(0x2000, "GWay(%d): Cmd:0x%x, Data:%.*s\n", sessionId, code, shown, data);
        }
    }
    previousCommand = code;
}

void OxGWayCommandInterpreter::Reset() {
    for (auto& entry : handlers)
        entry.second->Reset();
}

void OxGWayCommandInterpreter::COMConnected() {
    for (auto& entry : handlers)
        entry.second->COMConnected();
}

void OxGWayCommandInterpreter::COMDisconnected() {
    for (auto& entry : handlers)
        entry.second->COMDisconnected();
}
