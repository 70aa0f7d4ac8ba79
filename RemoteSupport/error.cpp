#include "error.h"

#include "testprint.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

Error::Error(const char* text) {
    strncpy(text_, text, sizeof text_ - 1);
    text_[sizeof text_ - 1] = '\0';
}

Error::Error(const char* text, int errorNumber) : Error(text) {
    errorNumber_ = errorNumber;
    errorNumberValid_ = 1;
}

Error::Error(int errorNumber, const char* format, ...) {
    va_list args;
    va_start(args, format);
    vsnprintf(text_, sizeof text_, format, args);
    va_end(args);
    errorNumber_ = errorNumber;
    errorNumberValid_ = errorNumber != 0 ? 1 : 0;
}

void Error::Show() const {
    if (errorNumberValid_)
        TestPrintF(0, "Error: %s (%s)\n", text_, strerror(errorNumber_));
    else
        TestPrintF(0, "Error: %s\n", text_);
}
