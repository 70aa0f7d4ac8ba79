#include "eventlog.h"

#include "oxconf.h"
#include "testprint.h"

#include <ace/OS_NS_sys_time.h>

#include <cassert>
#include <cerrno>
#include <fcntl.h>
#include <iomanip>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char* const kServerStateNames[SS_MAXIMUM] = {"Started", "Stopped", "Log Overflow"};

}  // namespace

void OxTimeMsg_ToXml(std::ostream& out, const ACE_Date_Time* date, bool withTime) {
    out << "<Time year=\"" << date->year() << "\" month=\"" << date->month() << "\" day=\""
        << date->day() << "\"";
    if (withTime)
        out << " hour=\"" << date->hour() << "\" min=\"" << date->minute() << "\" sec=\""
            << date->second() << "\"";
    out << "/>";
}

void OxHistoricServerStateMsg_ToXml(std::ostream& out, tagServerState state) {
    // clang-format off
    assert(state < SS_MAXIMUM);
    // clang-format on
    ACE_Date_Time now(ACE_OS::gettimeofday());
    out << "<Message><HistoricServerState state=\"" << kServerStateNames[state] << "\">";
    OxTimeMsg_ToXml(out, &now, true);
    out << "</HistoricServerState></Message>";
}

EventLog::EventLog(const OxClock& clock) : clock(clock) {
    Today(fileYear, fileMonth, fileDay);
    directory = OxConfiguration::Instance()->MakeAbsPath("/var/log/oxgw") + "/";
    if (access(directory.c_str(), F_OK) != 0)
        mkdir(directory.c_str(), 0755);
    if (!deleteFiles.IsRunning())
        deleteFiles.Run(directory, DeleteFilesArg::SIZE, 500);
}

EventLog::~EventLog() {
    if (file.is_open())
        file.close();
}

void EventLog::Today(int& year, int& month, int& day) const {
    time_t now = clock.Now();
    struct tm local;
    localtime_r(&now, &local);
    year = local.tm_year + 1900;
    month = local.tm_mon + 1;
    day = local.tm_mday;
}

std::string EventLog::FileName(const std::string& key, int year, int month, int day) {
    fileName.str("");
    fileName << directory << "eventLog_" << key << "_" << std::setfill('0') << std::setw(2)
             << (year - 2000) << std::setw(2) << month << std::setw(2) << day << ".txt";
    return fileName.str();
}

void EventLog::Open(const std::string& key) {
    assert(!isOpen);
    TestPrintF(0, "EventLog open\n");
    name = key;
    Today(fileYear, fileMonth, fileDay);
    std::string path = FileName(name, fileYear, fileMonth, fileDay);
    const std::ios::openmode mode = std::ios::in | std::ios::out | std::ios::ate;
    file.clear();
    file.open(path, mode);
    if (!file.is_open() && access(path.c_str(), F_OK) != 0) {
        // A new day: make the file with the board's permissions, then open it
        // for reading and appending as usual.
        mode_t old = umask(0);
        int fd = ::open(path.c_str(), O_WRONLY | O_CREAT, 0664);
        umask(old);
        if (fd >= 0)
            ::close(fd);
        file.clear();
        file.open(path, mode);
    }
    isOpen = true;
    overflowed = false;
    if (file.good())
        TestPrintF(0, "EventLog %.300s opened.\n", path.c_str());
    else
        TestPrintF(4, "eventLog %.300s could not be opened!\n", path.c_str());
}

bool EventLog::OpenForRead(const std::string& key, int year, int month, int day) {
    name = key;
    std::string path = FileName(key, year, month, day);
    if (access(path.c_str(), F_OK) != 0) {
        TestPrintF(0, "eventLog %.300s could not be opened for read!\n", path.c_str());
        return false;
    }
    file.clear();
    file.open(path, std::ios::in);
    isOpen = true;
    return file.good();
}

void EventLog::SeekToStart() {
    assert(isOpen);
    file.clear();
    file.seekg(0, std::ios::beg);
    if (!file.good())
        TestPrintF(4, "eventLog %.200s SeekToStart failure!\n", name.c_str());
}

void EventLog::SeekToEnd() {
    assert(isOpen);
    file.clear();
    file.seekg(0, std::ios::end);
    if (!file.good())
        TestPrintF(4, "eventLog %.200s seekToEnd failure!\n", name.c_str());
}

bool EventLog::ReadNextLine(std::string& out) {
    assert(isOpen);
    if (std::getline(file, out))
        return true;
    if (!file.eof())
        TestPrintF(0, "eventLog %.200s ReadNextLine failure!\n", name.c_str());
    return false;
}

void EventLog::SeekBackNLines(int n) {
    assert(isOpen);
    file.clear();
    std::streamoff pos = file.tellg();
    if (pos < 0) {
        TestPrintF(0, "eventLog %.200s SeekBackNLines failure!\n", name.c_str());
        return;
    }
    int counter = n;
    bool first = true;
    while (pos > 0) {
        --pos;
        file.seekg(pos);
        int c = file.peek();
        if (c == EOF) {
            TestPrintF(0, "eventLog %.200s SeekBackNLines failure!\n", name.c_str());
            file.clear();
            return;
        }
        // The line feed that ends the last line does not start a line.
        if (c == '\n' && !first && --counter < 0)
            break;
        first = false;
    }
    if (pos > 0) {
        // Past the line feed in front of the first wanted line.
        std::string partial;
        if (!std::getline(file, partial))
            TestPrintF(0, "eventLog %.200s SeekBackNLines getline failure!\n", name.c_str());
    } else {
        file.seekg(0);
    }
}

char* EventLog::ReadPreviousLine(char* buffer, int maxLen) {
    assert(isOpen);
    assert(maxLen > 0);
    file.clear();
    std::streamoff pos = file.tellg();
    int at = maxLen - 1;
    buffer[at] = '\0';
    bool stored = false;
    bool first = true;
    while (pos > 0) {
        --pos;
        file.seekg(pos);
        int c = file.peek();
        if (c == EOF)
            break;
        if (c == '\n') {
            if (first) {  // the line feed of the line itself
                first = false;
                continue;
            }
            file.seekg(pos);
            return stored ? buffer + at : nullptr;
        }
        first = false;
        if (at == 0)
            return nullptr;  // does not fit
        buffer[--at] = static_cast<char>(c);
        stored = true;
    }
    file.clear();
    file.seekg(0);
    return stored ? buffer + at : nullptr;
}

void EventLog::Log(const std::string& text) {
    TestPrintF(1, "EventLog::Log(%.100s)\n", text.c_str());
    int year, month, day;
    Today(year, month, day);
    if (day != fileDay || month != fileMonth || year != fileYear) {
        // The first entry after midnight goes to the new day's file.
        if (file.is_open())
            file.close();
        isOpen = false;
        overflowed = false;
        Open(name);
        if (!deleteFiles.IsRunning())
            deleteFiles.Run(directory, DeleteFilesArg::SIZE, 500);
    }
    SeekToEnd();
    std::streamoff size = file.tellp();
    if (size < kMaxDaySize) {  // also a failed stream (-1): the write reports it
        file << text;
        if (file.fail())
            TestPrintF(4, "EventLog %.200s could not be appended!\n", name.c_str());
        file.flush();
        return;
    }
    if (overflowed)
        return;
    overflowed = true;
    OxHistoricServerStateMsg_ToXml(file, SS_LOG_OVERFLOW);
    file << "\n";
    if (file.fail())
        TestPrintF(4, "EventLog %.200s could not be appended!\n", name.c_str());
    file.flush();
    TestPrintF(4, "EventLog %.200s is overflowed!\n", name.c_str());
}

void EventLog::Flush() {
    assert(isOpen);
    file.flush();
}
