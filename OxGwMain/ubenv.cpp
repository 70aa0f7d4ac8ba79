#include "ubenv.h"

#include "runprogram.h"
#include "testprint.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace {
bool PlainWord(const std::string& text) {
    for (unsigned char c : text)
        if (!isalnum(c) && strchr(".:_-", c) == nullptr)
            return false;
    return true;
}
}  // namespace

bool GetUbVar(const char* name, std::string& value) {
    RunProgram program(false);
    std::string command = std::string("printubenv ") + name;
    int status = -1;
    char text[81] = "";
    if (!program.Run(command.c_str()) ||
        !program.WaitForTermination(UBENV_PROGRAM_SECONDS, &status) || status != 0 ||
        !program.ReadStdout(text, sizeof text)) {
        TestPrintF(4, "GetUbVar failed: %s\n", name);
        return false;
    }
    value = text;
    value.erase(std::min(value.find_first_of("\r\n"), value.size()));
    std::string prefix = std::string(name) + "=";
    if (value.compare(0, prefix.size(), prefix) == 0)
        value.erase(0, prefix.size());
    return true;
}

bool SetUbVar(const char* name, const std::string& value) {
    std::string command = std::string("setubenv ") + name + " " + value;
    if (!PlainWord(value) || RunProgramAndWait(command.c_str(), UBENV_PROGRAM_SECONDS) != 0) {
        TestPrintF(4, "SetUbVar failed: %s, %.200s\n", name, value.c_str());
        return false;
    }
    return true;
}
