// The script language of the simulator: one command a line, "#" starts a
// comment line. See README.md, section "torcsim", for the list.
#pragma once

#include <string>

namespace torcsim {

struct ScriptCommand {
    enum Kind {
        None,  // blank line or comment
        WaitConnected,
        WaitAttached,
        WaitDisconnected,
        WaitRecv,  // text
        Sleep,     // number (ms)
        Timeout,   // number (ms), 0 for none
        Set,       // id, attr, text (the value)
        Update,    // id
        Raise,     // id
        Clear,     // id
        Send,      // text
        Drop,
        Echo,  // text
        Quit,  // number (exit code)
    };
    Kind kind = None;
    long id = 0;
    long number = 0;
    std::string attr;
    std::string text;
};

// Reads one line. False with a message when the line is no command.
bool ParseScriptLine(const std::string& line, ScriptCommand& out, std::string& error);

}  // namespace torcsim
