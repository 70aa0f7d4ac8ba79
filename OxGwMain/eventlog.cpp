#include "eventlog.h"

#include "testprint.h"

#include <ace/Date_Time.h>

#include <cassert>

EventLog::EventLog() = default;

void EventLog::Open(const std::string& name) {
    assert(!isOpen_);
    TestPrintF(0, "EventLog open\n");
    ACE_Date_Time now;
    name_ = name;
    year_ = static_cast<int>(now.year());
    month_ = static_cast<int>(now.month());
    day_ = static_cast<int>(now.day());
    isOpen_ = true;
}

void EventLog::Log(const std::string& text) {
    TestPrintF(1, "EventLog::Log(%.100s)\n", text.c_str());
    text_ += text;
}

void EventLog::SeekToStart() {
    assert(isOpen_);
    readPos_ = 0;
}

bool EventLog::ReadNextLine(std::string& out) {
    assert(isOpen_);
    if (readPos_ >= text_.size())
        return false;
    size_t end = text_.find('\n', readPos_);
    if (end == std::string::npos)
        end = text_.size();
    out = text_.substr(readPos_, end - readPos_);
    readPos_ = end + 1;
    return true;
}
