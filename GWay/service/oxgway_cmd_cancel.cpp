#include "oxgway_cmd_cancel.h"

#include "oxgway_block_transmitter.h"
#include "oxgway_session.h"
#include "testprint.h"

bool OxGWayCommandCancel::ExecuteCommand(char*, unsigned) {
    TestPrintF(0x2000, "GWay(%d): Executing: Cancel\n", sessionId);
    session.Reset();
    transmitter.SendReply(code, 1);
    return true;
}
