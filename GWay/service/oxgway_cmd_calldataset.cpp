#include "oxgway_cmd_calldataset.h"

#include "oxgway_block_transmitter.h"
#include "oxgway_dataset.h"
#include "oxgway_parameter.h"
#include "testprint.h"

#include <cassert>
#include <cstdio>

bool OxGWayCommandCallDataset::ExecuteCommand(char*, unsigned) {
    char* pOutputBuffer = outputBuffer;
    char* end = outputBuffer + kOutputSize - 1;
    int n = snprintf(pOutputBuffer, end - pOutputBuffer, "+%u.0;\r\n", dataSet.Count());
    if (n < 0 || n >= end - pOutputBuffer) {
        TestPrintF(4, "GWay(%d, %s): Error: Internal Error CD-2\n", sessionId, kind.c_str());
        transmitter.SendReply(code, 16);
        return true;
    }
    char* pOutputBufferIdx = pOutputBuffer + n;
    for (const auto& entry : dataSet) {
        n = snprintf(pOutputBufferIdx, end - pOutputBufferIdx, "%s=%s;\r\n",
                     entry.second->GetPID().c_str(), entry.second->GetValue().c_str());
        if (n < 0 || n >= end - pOutputBufferIdx) {
            TestPrintF(4, "GWay(%d, %s): Error: Internal Error CD-1\n", sessionId, kind.c_str());
            transmitter.SendReply(code, 16);
            return true;
        }
        pOutputBufferIdx += n;
    }
    assert((pOutputBufferIdx - pOutputBuffer) < (64 * 1024) - 1);
    transmitter.SendReply(code, 1, pOutputBuffer, pOutputBufferIdx - pOutputBuffer);
    return true;
}
