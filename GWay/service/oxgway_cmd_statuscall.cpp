#include "oxgway_cmd_statuscall.h"

#include "oxgway_block_transmitter.h"
#include "oxgway_cmd_interpreter.h"
#include "oxgway_session.h"

bool OxGWayCommandStatusCall::ExecuteCommand(char*, unsigned) {
    // Two big-endian words: 0x9001 while the machine runs (MState 2), else
    // 0x9002; then the previous command.
    unsigned state = session.GetMState() == 2 ? 0x9001 : 0x9002;
    unsigned previous = static_cast<unsigned>(interpreter.GetPreviousCommand());
    char reply[4] = {static_cast<char>(state >> 8), static_cast<char>(state & 0xff),
                     static_cast<char>((previous >> 8) & 0xff), static_cast<char>(previous & 0xff)};
    transmitter.SendReply(code, 1, reply, sizeof reply);
    return true;
}
