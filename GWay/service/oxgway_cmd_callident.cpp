#include "oxgway_cmd_callident.h"

#include "oxgway_block_transmitter.h"
#include "oxgway_dataset.h"
#include "oxgway_parameter.h"
#include "testprint.h"

#include <cassert>
#include <cstdio>

bool OxGWayCommandCallIdentification::ExecuteCommand(char*, unsigned) {
    TestPrintF(0x2000, "GWay(%d): Executing: CallIdentification\n", sessionId);
    char* pOutputBuffer = outputBuffer;
    char* pOutputBufferIdx = pOutputBuffer;
    char* end = outputBuffer + kOutputSize - 1;
    // Appends one formatted piece; false if it does not fit.
    auto put = [&](int n) {
        if (n < 0 || n >= end - pOutputBufferIdx)
            return false;
        pOutputBufferIdx += n;
        return true;
    };
    for (const auto& set : dataSets) {
        if (set.second->Count() == 0)
            continue;
        if (!put(snprintf(pOutputBufferIdx, end - pOutputBufferIdx, "%s%s {\r\n", set.first.c_str(),
                          "_data"))) {
            TestPrintF(4, "GWay(%d): Error: Internal Error CI-2\n", sessionId);
            transmitter.SendReply(code, 16);
            return true;
        }
        for (const auto& entry : *set.second) {
            OxGWayParameter& p = *entry.second;
            const char* defaultValue = p.GetDefault().empty() ? "?" : p.GetDefault().c_str();
            if (!put(snprintf(pOutputBufferIdx, end - pOutputBufferIdx,
                              "(%s;%s;%s;%s;%s;%s;%s;%s;%s;%s;%s;);\r\n", p.GetPID().c_str(),
                              p.GetName().c_str(), defaultValue, p.GetMin().c_str(),
                              p.GetMax().c_str(), p.GetValidValues().c_str(), p.GetUnit().c_str(),
                              p.GetAccess().c_str(), p.GetUserText().c_str(),
                              p.GetServiceText().c_str(), p.GetRaDText().c_str()))) {
                TestPrintF(4, "GWay(%d): Error: Internal Error CI-1\n", sessionId);
                transmitter.SendReply(code, 16);
                return true;
            }
        }
        if (!put(snprintf(pOutputBufferIdx, end - pOutputBufferIdx, "};\r\n"))) {
            TestPrintF(4, "GWay(%d): Error: Internal Error CI-3\n", sessionId);
            transmitter.SendReply(code, 16);
            return true;
        }
    }
    assert((pOutputBufferIdx - pOutputBuffer) < (64 * 1024) - 1);
    transmitter.SendReply(code, 1, pOutputBuffer, pOutputBufferIdx - pOutputBuffer);
    return true;
}
