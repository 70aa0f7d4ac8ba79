#include "script.h"

#include <cerrno>
#include <cstdlib>

namespace torcsim {

namespace {

// Cuts the next blank-separated word off text.
std::string NextWord(std::string& text) {
    size_t b = text.find_first_not_of(" \t");
    if (b == std::string::npos) {
        text.clear();
        return std::string();
    }
    size_t e = text.find_first_of(" \t", b);
    std::string word = text.substr(b, e == std::string::npos ? std::string::npos : e - b);
    text = e == std::string::npos ? std::string() : text.substr(e);
    return word;
}

std::string Trim(const std::string& text) {
    size_t b = text.find_first_not_of(" \t\r\n");
    if (b == std::string::npos)
        return std::string();
    size_t e = text.find_last_not_of(" \t\r\n");
    return text.substr(b, e - b + 1);
}

bool Integer(const std::string& word, long min, long max, long& value) {
    if (word.empty())
        return false;
    errno = 0;
    char* end = nullptr;
    long long v = std::strtoll(word.c_str(), &end, 10);
    if (*end != '\0' || errno != 0 || v < min || v > max)
        return false;
    value = static_cast<long>(v);
    return true;
}

}  // namespace

bool ParseScriptLine(const std::string& line, ScriptCommand& out, std::string& error) {
    out = ScriptCommand();
    std::string rest = Trim(line);
    if (rest.empty() || rest[0] == '#')
        return true;
    std::string word = NextWord(rest);
    rest = Trim(rest);
    auto noRest = [&](ScriptCommand::Kind kind) {
        if (!rest.empty()) {
            error = word + " takes no argument";
            return false;
        }
        out.kind = kind;
        return true;
    };
    auto number = [&](ScriptCommand::Kind kind, long min, long max, long fallback) {
        if (rest.empty() && fallback >= 0) {
            out.kind = kind;
            out.number = fallback;
            return true;
        }
        if (!Integer(rest, min, max, out.number)) {
            error =
                word + " takes a number from " + std::to_string(min) + " to " + std::to_string(max);
            return false;
        }
        out.kind = kind;
        return true;
    };
    auto object = [&](ScriptCommand::Kind kind) {
        if (!Integer(rest, -2147483647, 2147483647, out.id)) {
            error = word + " takes an object number";
            return false;
        }
        out.kind = kind;
        return true;
    };

    if (word == "wait") {
        std::string what = NextWord(rest);
        rest = Trim(rest);
        if (what == "connected")
            return noRest(ScriptCommand::WaitConnected);
        if (what == "attached")
            return noRest(ScriptCommand::WaitAttached);
        if (what == "disconnected")
            return noRest(ScriptCommand::WaitDisconnected);
        if (what == "recv") {
            if (rest.empty()) {
                error = "wait recv needs a text";
                return false;
            }
            out.kind = ScriptCommand::WaitRecv;
            out.text = rest;
            return true;
        }
        error = "wait connected, attached, disconnected or recv TEXT";
        return false;
    }
    if (word == "sleep")
        return number(ScriptCommand::Sleep, 0, 86400000, -1);
    if (word == "timeout")
        return number(ScriptCommand::Timeout, 0, 86400000, -1);
    if (word == "set") {
        std::string id = NextWord(rest);
        out.attr = NextWord(rest);
        out.text = Trim(rest);
        if (!Integer(id, -2147483647, 2147483647, out.id) || out.attr.empty() || out.text.empty()) {
            error = "set ID ATTRIBUTE VALUE";
            return false;
        }
        out.kind = ScriptCommand::Set;
        return true;
    }
    if (word == "update")
        return object(ScriptCommand::Update);
    if (word == "raise")
        return object(ScriptCommand::Raise);
    if (word == "clear")
        return object(ScriptCommand::Clear);
    if (word == "send") {
        if (rest.empty()) {
            error = "send needs a text";
            return false;
        }
        out.kind = ScriptCommand::Send;
        out.text = rest;
        return true;
    }
    if (word == "drop")
        return noRest(ScriptCommand::Drop);
    if (word == "echo") {
        out.kind = ScriptCommand::Echo;
        out.text = rest;
        return true;
    }
    if (word == "quit")
        return number(ScriptCommand::Quit, 0, 255, 0);
    error = "unknown command " + word;
    return false;
}

}  // namespace torcsim
