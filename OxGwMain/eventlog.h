// The machine's history on disk: one text file per machine and per day under
// "/var/log/oxgw", each line one complete XML message as it will be sent to a
// client later. The log neither parses nor interprets its lines.
#pragma once

#include "deletefiles.h"
#include "oxclock.h"

#include <ace/Date_Time.h>

#include <fstream>
#include <ostream>
#include <sstream>
#include <string>

enum tagServerState {
    SS_STARTED = 0,
    SS_STOPPED = 1,
    SS_LOG_OVERFLOW = 2,
    SS_MAXIMUM = 3,
};

// <Time year=".." month=".." day=".." [hour=".." min=".." sec=".."]/>
void OxTimeMsg_ToXml(std::ostream& out, const ACE_Date_Time* date, bool withTime);
// <Message><HistoricServerState state="Started">(time)</HistoricServerState></Message>
// with the present time of day.
void OxHistoricServerStateMsg_ToXml(std::ostream& out, tagServerState state);

class EventLog {
  public:
    // Makes the log directory if needed and starts the retention job that
    // keeps it below 500 kBytes.
    explicit EventLog(const OxClock& clock = OxClock::System());
    ~EventLog();
    EventLog(const EventLog&) = delete;
    EventLog& operator=(const EventLog&) = delete;

    // Today's file of the machine name, for appending.
    void Open(const std::string& name);
    // The file of a given day, for reading; false if there is none.
    bool OpenForRead(const std::string& name, int year, int month, int day);

    void SeekToStart();
    void SeekToEnd();
    // The next line without its line feed; false at the end.
    bool ReadNextLine(std::string& out);
    // Moves back so that the next ReadNextLine gives the first of the last
    // n + 1 lines before the present position: 0 gives the last line.
    void SeekBackNLines(int n);
    // The line before the present position, filled into the end of buffer;
    // null at the start of the file or if the line does not fit.
    char* ReadPreviousLine(char* buffer, int maxLen);
    // Appends one entry (the caller ends it with "\n"), changing to the new
    // day's file after midnight. At 256,000 bytes a day the entries are
    // dropped, after one "Log Overflow" line.
    void Log(const std::string& text);
    void Flush();

    bool IsOpen() const { return isOpen; }
    // The machine name of the open file (its serial number).
    const std::string& GetName() const { return name; }
    // The date of the open file.
    int GetYear() const { return fileYear; }
    int GetMonth() const { return fileMonth; }
    int GetDay() const { return fileDay; }
    const std::string& GetDirectory() const { return directory; }
    // The path of a day's file of a machine.
    std::string FileName(const std::string& name, int year, int month, int day);

    static const std::streamoff kMaxDaySize = 0x3E800;

  private:
    void Today(int& year, int& month, int& day) const;

    const OxClock& clock;
    bool isOpen = false;
    bool overflowed = false;
    std::ostringstream fileName;
    std::fstream file;
    std::string name;
    int fileDay = 0;
    int fileMonth = 0;
    int fileYear = 0;
    DeleteFiles deleteFiles;
    std::string directory;
};
