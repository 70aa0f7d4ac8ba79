#include "exe.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace torcsim {

namespace {

class Reader {
  public:
    explicit Reader(const std::string& text) : text_(text) {}

    void Blanks() {
        while (pos_ < text_.size() && (text_[pos_] == ' ' || text_[pos_] == '\t' ||
                                       text_[pos_] == '\n' || text_[pos_] == '\r'))
            ++pos_;
    }
    bool Accept(char c) {
        Blanks();
        if (pos_ < text_.size() && text_[pos_] == c) {
            ++pos_;
            return true;
        }
        return false;
    }
    bool Word(const char* word) {
        Blanks();
        size_t n = 0;
        while (word[n] != '\0') {
            if (pos_ + n >= text_.size() || text_[pos_ + n] != word[n])
                return false;
            ++n;
        }
        pos_ += n;
        return true;
    }
    // Digits with an optional sign; at most 18 of them, so nothing overflows.
    bool Integer(long long& value, bool signAllowed) {
        Blanks();
        size_t start = pos_;
        if (signAllowed && pos_ < text_.size() && (text_[pos_] == '-' || text_[pos_] == '+'))
            ++pos_;
        size_t digits = pos_;
        while (pos_ < text_.size() && text_[pos_] >= '0' && text_[pos_] <= '9')
            ++pos_;
        if (pos_ == digits || pos_ - digits > 18) {
            pos_ = start;
            return false;
        }
        value = std::strtoll(text_.substr(start, pos_ - start).c_str(), nullptr, 10);
        return true;
    }
    void Letters() {
        while (pos_ < text_.size() && ((text_[pos_] >= 'a' && text_[pos_] <= 'z') ||
                                       (text_[pos_] >= 'A' && text_[pos_] <= 'Z')))
            ++pos_;
    }
    // The text up to the bracket that closes the one just read, split at the
    // commas outside strings and nested brackets.
    bool Arguments(std::vector<std::string>& args) {
        std::string current;
        int depth = 0;
        bool inString = false;
        while (pos_ < text_.size()) {
            char c = text_[pos_++];
            if (inString) {
                current += c;
                if (c == '\\' && pos_ < text_.size())
                    current += text_[pos_++];
                else if (c == '"')
                    inString = false;
                continue;
            }
            if (c == '"') {
                inString = true;
            } else if (c == '(') {
                ++depth;
            } else if (c == ')') {
                if (depth == 0) {
                    return Push(args, current, true);
                }
                --depth;
            } else if (c == ',' && depth == 0) {
                if (!Push(args, current, false))
                    return false;
                current.clear();
                continue;
            }
            current += c;
        }
        return false;
    }
    bool AtEnd() {
        Blanks();
        return pos_ >= text_.size();
    }

  private:
    // An empty last argument is the trailing comma of a list; an empty one
    // elsewhere is an error.
    static bool Push(std::vector<std::string>& args, const std::string& raw, bool last) {
        size_t b = raw.find_first_not_of(" \t\r\n");
        if (b == std::string::npos)
            return last;
        size_t e = raw.find_last_not_of(" \t\r\n");
        args.push_back(raw.substr(b, e - b + 1));
        return true;
    }

    const std::string& text_;
    size_t pos_ = 0;
};

}  // namespace

ExeCall ParseExe(const std::string& text) {
    ExeCall call;
    Reader r(text);
    long long n = 0;
    if (!r.Word("exe")) {
        call.error = "not an exe command";
        return call;
    }
    if (!r.Integer(n, false)) {
        call.error = "exe without a number";
        return call;
    }
    call.hasId = true;
    call.exeId = static_cast<unsigned long>(n);
    r.Letters();
    r.Accept('$');
    if (!r.Integer(n, true) || n < -2147483647 || n > 2147483647) {
        call.error = "no object number";
        return call;
    }
    call.objectId = static_cast<long>(n);
    if (!r.Accept('.') || !r.Integer(n, false) || n > 2147483647) {
        call.error = "no function number";
        return call;
    }
    call.method = static_cast<long>(n);
    if (r.Accept('(')) {
        call.hasArgs = true;
        if (!r.Arguments(call.args)) {
            call.error = "bad argument list";
            return call;
        }
    }
    r.Accept(';');
    if (!r.AtEnd()) {
        call.error = "text after the command";
        return call;
    }
    call.ok = true;
    return call;
}

bool ArgNumber(const std::string& arg, double& value) {
    if (arg.empty())
        return false;
    errno = 0;
    char* end = nullptr;
    value = std::strtod(arg.c_str(), &end);
    return end != nullptr && *end == '\0' && errno == 0 && std::isfinite(value);
}

}  // namespace torcsim
