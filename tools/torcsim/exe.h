// Reading the exe commands that the gateway sends. They are read with more
// tolerance than the command language's grammar would allow, because the
// gateway writes some of them in forms of their own: "exe 6 $12.201;" without
// brackets, "exe 1000l $ 100.110 (1);" with a letter behind the number,
// "exe 1001l 100.105(2001, 5, );" without "$" and with a trailing comma, and
// arguments such as "12.5" or "1e+20" that are no tokens of the language.
#pragma once

#include <string>
#include <vector>

namespace torcsim {

struct ExeCall {
    bool ok = false;
    bool hasId = false;  // the exe number could be read, so an exc can answer
    unsigned long exeId = 0;
    long objectId = 0;
    long method = 0;
    bool hasArgs = false;  // the call had brackets
    std::vector<std::string> args;
    std::string error;
};

ExeCall ParseExe(const std::string& text);

// The argument as a number; false when it is none.
bool ArgNumber(const std::string& arg, double& value);

}  // namespace torcsim
