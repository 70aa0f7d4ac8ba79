// The event log of one machine: alarm and server state lines, one file a day.
//
// Placeholder until the event log lands: the lines of the day on which the
// log was opened are kept in memory, and nothing is written to disk yet.
#pragma once

#include <string>
#include <vector>

class EventLog {
  public:
    EventLog();

    // Opens today's log of the machine with this name (its serial number).
    void Open(const std::string& name);
    // Appends one line; the caller ends it with "\n".
    void Log(const std::string& text);
    void SeekToStart();
    // The next line without its "\n"; false at the end.
    bool ReadNextLine(std::string& out);

    bool IsOpen() const { return isOpen_; }
    const std::string& GetName() const { return name_; }
    // The date of the open log.
    int GetYear() const { return year_; }
    int GetMonth() const { return month_; }
    int GetDay() const { return day_; }

  private:
    bool isOpen_ = false;
    std::string name_;
    int year_ = 0;
    int month_ = 0;
    int day_ = 0;
    std::string text_;
    size_t readPos_ = 0;
};
