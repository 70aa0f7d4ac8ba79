// Debug print: the one way every part of the gateway reports for the log.
//
// TestPrintF formats in the caller's thread and hands the text to the
// TestPrintTask, whose own thread stamps it and writes it to the rotating log
// file, stdout and stderr. Callers never wait for a disk.
#pragma once

#include <ace/Activation_Queue.h>
#include <ace/Method_Request.h>
#include <ace/Task.h>

#include <fstream>
#include <string>

// Mask bits (a message may carry several; 0 is always shown).
enum : unsigned long {
    TP_ALWAYS = 0,
    TP_SERVICE = 1,     // service and connection milestones
    TP_PARAMS = 2,      // parameter save/restore, visitors, boot
    TP_ERROR = 4,       // errors: always to the file, "--- Error, " on stdout
    TP_PROCESS = 8,     // process and thread life, file housekeeping
    TP_WARNING = 16,    // failed operations, echoed on stderr
    TP_LINK = 32,       // machine connection trace
    TP_CLIENT = 64,     // client session trace
    TP_PARSER = 128,    // command parser trace
    TP_DOWNLOAD = 256,  // software download
    TP_RAW = 4096,      // raw text of the machine link
    TP_GWAY_EVENT = 8192,
    TP_GWAY_TRACE = 16384,
};

extern unsigned long testPrint_stdOutMask;
extern unsigned long testPrint_logFileMask;
extern bool testPrintEnable;
extern bool logToConsole;

void TestPrintF(unsigned long mask, const char* format, ...) __attribute__((format(printf, 2, 3)));
void TestPrintSetMask(unsigned long stdOutMask, unsigned long logFileMask);

// The task does not read the configuration; its owner tells it the two names
// of the log file (taken when the task is made) and the file's size limit
// (taken again before each write to the file). Until told, the names are
// "/var/log/debug/oxgw.log" and "/var/log/debug/oxgw.log.1" and the limit is
// 20000000.
void TestPrintSetLogFile(const std::string& name, const std::string& oldName);
void TestPrintSetLogFileMaxSize(unsigned long maxSize);

// Where a message of this mask goes, by the current masks.
bool TestPrintToFile(unsigned long mask);
bool TestPrintToConsole(unsigned long mask);

// The stamp "DD;HH:MM:SS " (day of month, hour, minute, second).
std::string TestPrintStamp(long day, long hour, long minute, long second);

// A log file with two generations: the file and its ".1".
class FileLog {
  public:
    FileLog(const char* name, const char* oldName, unsigned long maxSize);
    void Log(const std::string& text);
    void SetMaxSize(unsigned long maxSize) { maxSize_ = maxSize; }

  private:
    void OpenStream();

    std::string name_;
    std::string oldName_;
    unsigned long maxSize_;
    std::ofstream stream_;
    int logErrors_ = 0;
    int renameErrors_ = 0;
};

class TestPrintTask : public ACE_Task<ACE_MT_SYNCH> {
  public:
    static TestPrintTask* Instance();
    // Drops the singleton pointer after main has deleted the task.
    static void ForgetInstance();

    // Takes ownership of text (allocated with new[]).
    void TestPrintF(unsigned long mask, char* text);
    int TestPrintFImpl(unsigned long mask, const char* text);

    int open(void* args = nullptr) override;
    int svc() override;
    void end_event_loop();
    // Waits up to ms milliseconds for the queued messages to be written; for
    // the crash report, so that its last lines are not lost with the process.
    // A process-wide helper: does nothing if there is no task.
    static void Drain(int ms);

    ~TestPrintTask() override;

  private:
    // The task's own thread (a crash there must not wait for itself).
    ACE_thread_t svcThread_ = ACE_thread_t();
    TestPrintTask();

    ACE_Activation_Queue activationQueue_;
    bool run_ = false;
    FileLog* fileLog_ = nullptr;
    char scratch_[64] = {};
};

class TestPrintFImpl_MO : public ACE_Method_Request {
  public:
    TestPrintFImpl_MO(TestPrintTask* task, unsigned long mask, char* text, bool terminate)
        : task_(task), mask_(mask), text_(text), terminate_(terminate) {}
    ~TestPrintFImpl_MO() override { delete[] text_; }
    int call() override;

  private:
    TestPrintTask* task_;
    unsigned long mask_;
    char* text_;
    bool terminate_;
};
