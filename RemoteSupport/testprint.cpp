#include "testprint.h"

#include <ace/Date_Time.h>
#include <ace/OS_NS_unistd.h>
#include <ace/Thread.h>
#include <ace/OS_NS_sys_time.h>

#include <atomic>
#include <cassert>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

unsigned long testPrint_stdOutMask = 0;
unsigned long testPrint_logFileMask = 0;
bool testPrintEnable = false;
bool logToConsole = true;

namespace {
TestPrintTask* theTask = nullptr;

// What the owner of the configuration told the task.
std::mutex logFileMutex;
std::string logFileName = "/var/log/debug/oxgw.log";
std::string oldLogFileName = "/var/log/debug/oxgw.log.1";
std::atomic<unsigned long> logFileMaxSize{20000000};

constexpr size_t kBufferSize = 514;
constexpr int kWarnLength = 411;
constexpr int kMaxErrors = 20;
}  // namespace

bool TestPrintToFile(unsigned long mask) {
    return (mask & testPrint_logFileMask) != 0 || mask == 0 || mask == 4;
}

bool TestPrintToConsole(unsigned long mask) {
    return logToConsole && ((mask & testPrint_stdOutMask) != 0 || mask == 0);
}

void TestPrintSetMask(unsigned long stdOutMask, unsigned long logFileMask) {
    testPrint_stdOutMask = stdOutMask;
    testPrint_logFileMask = logFileMask;
}

std::string TestPrintStamp(long day, long hour, long minute, long second) {
    char stamp[64];
    snprintf(stamp, sizeof stamp, "%02ld;%02ld:%02ld:%02ld ", day, hour, minute, second);
    return stamp;
}

void TestPrintF(unsigned long mask, const char* format, ...) {
    if (!testPrintEnable || format == nullptr)
        return;
    if (!TestPrintToFile(mask) && !TestPrintToConsole(mask))
        return;

    char* text = new char[kBufferSize];
    va_list args;
    va_start(args, format);
    // The buffer holds 514 bytes; longer texts are cut here and then fail the
    // length assertion below, as a format overflow is a programming error.
    int len = vsnprintf(text, kBufferSize, format, args);
    va_end(args);
    if (len > kWarnLength) {
        fprintf(stderr, "(TESTPRINT::vsprintf=%d)\n", len);
        fprintf(stderr, "len=%d\n", static_cast<int>(strlen(format)));
        fprintf(stderr, "msg=%s\n", format);
        fprintf(stderr, "pBuffer=%s", text);
        // clang-format off
        assert(len <512);
        // clang-format on
    }
    TestPrintTask* task = theTask;
    if (task == nullptr) {
        delete[] text;
        return;
    }
    task->TestPrintF(mask, text);
}

// ---------------------------------------------------------------- FileLog

FileLog::FileLog(const char* name, const char* oldName, unsigned long maxSize)
    : name_(name), oldName_(oldName), maxSize_(maxSize) {
    OpenStream();
}

void FileLog::OpenStream() {
    // Append mode; the file is created with permissions 664.
    mode_t old = umask(0);
    umask(old | 0002);
    int fd = ::open(name_.c_str(), O_WRONLY | O_APPEND | O_CREAT, 0664);
    umask(old);
    if (fd >= 0)
        ::close(fd);
    stream_.clear();
    stream_.open(name_, std::ios::out | std::ios::app);
}

void FileLog::Log(const std::string& text) {
    // Flushed at once: a crash must not take the last lines with it.
    stream_ << text << std::flush;
    if (!stream_.fail() && !stream_.bad()) {
        logErrors_ = 0;
    } else if (logErrors_ < kMaxErrors) {
        int err = errno;
        fprintf(stderr, "FileLog::Log Log: %s, errno=%d, %s\n", name_.c_str(), err, strerror(err));
        ++logErrors_;
        if (logErrors_ == kMaxErrors) {
            fprintf(stderr, "FileLog::Log Log: Error logging stopped!\n");
            ++logErrors_;
        }
    }

    std::streamoff pos = stream_.tellp();
    if (pos < 0 || static_cast<unsigned long>(pos) <= maxSize_)
        return;

    stream_.close();
    unlink(oldName_.c_str());
    if (rename(name_.c_str(), oldName_.c_str()) != 0) {
        if (renameErrors_ < kMaxErrors) {
            int err = errno;
            fprintf(stderr, "FileLog::Log Rename: %s, errno=%d, %s\n", name_.c_str(), err,
                    strerror(err));
            ++renameErrors_;
            if (renameErrors_ == kMaxErrors) {
                fprintf(stderr, "FileLog::Log Rename: Error logging stopped!\n");
                ++renameErrors_;
            }
        }
    } else {
        renameErrors_ = 0;
    }
    OpenStream();
}

void TestPrintSetLogFile(const std::string& name, const std::string& oldName) {
    std::lock_guard<std::mutex> guard(logFileMutex);
    logFileName = name;
    oldLogFileName = oldName;
}

void TestPrintSetLogFileMaxSize(unsigned long maxSize) {
    logFileMaxSize = maxSize;
}

// ---------------------------------------------------------------- TestPrintTask

TestPrintTask* TestPrintTask::Instance() {
    if (theTask == nullptr) {
        theTask = new TestPrintTask();
        theTask->open();
    }
    return theTask;
}

void TestPrintTask::ForgetInstance() {
    theTask = nullptr;
}

TestPrintTask::TestPrintTask() {
    std::lock_guard<std::mutex> guard(logFileMutex);
    // The first write replaces the initial limit with the configured one.
    fileLog_ = new FileLog(logFileName.c_str(), oldLogFileName.c_str(), 1000000);
}

TestPrintTask::~TestPrintTask() {
    if (run_)
        end_event_loop();
    wait();
    // The thread may have ended between run_ going false and the terminate
    // request coming in; what is still queued is freed here.
    while (!activationQueue_.is_empty()) {
        ACE_Time_Value now = ACE_OS::gettimeofday();
        ACE_Method_Request* request = activationQueue_.dequeue(&now);
        if (request == nullptr)
            break;
        delete request;
    }
    if (theTask == this)
        theTask = nullptr;
    delete fileLog_;
}

int TestPrintTask::open(void*) {
    run_ = true;
    testPrintEnable = true;
    return activate(THR_NEW_LWP | THR_JOINABLE, 1);
}

void TestPrintTask::TestPrintF(unsigned long mask, char* text) {
    if (activationQueue_.is_full()) {
        delete[] text;
        return;
    }
    auto* request = new TestPrintFImpl_MO(this, mask, text, false);
    // Never block the caller: a full queue drops the message.
    ACE_Time_Value now = ACE_OS::gettimeofday();
    if (activationQueue_.enqueue(request, &now) == -1)
        delete request;
}

int TestPrintTask::svc() {
    svcThread_ = ACE_Thread::self();
    while (run_ || !activationQueue_.is_empty()) {
        ACE_Method_Request* request = activationQueue_.dequeue();
        if (request == nullptr)
            break;
        int result = request->call();
        delete request;
        if (result == -1)
            break;
    }
    printf("Testprint task terminates.\n");
    fflush(stdout);
    return 0;
}

void TestPrintTask::Drain(int ms) {
    TestPrintTask* task = theTask;
    if (task == nullptr || ACE_OS::thr_equal(ACE_Thread::self(), task->svcThread_))
        return;
    for (int waited = 0; waited < ms && !task->activationQueue_.is_empty(); waited += 5)
        ACE_OS::sleep(ACE_Time_Value(0, 5000));
    // The message taken last may still be on its way to the files.
    ACE_OS::sleep(ACE_Time_Value(0, 20000));
}

void TestPrintTask::end_event_loop() {
    bool wasRunning = run_;
    run_ = false;
    testPrintEnable = false;
    if (wasRunning)
        activationQueue_.enqueue(new TestPrintFImpl_MO(this, 0, nullptr, true));
}

int TestPrintTask::TestPrintFImpl(unsigned long mask, const char* text) {
    ACE_Time_Value now = ACE_OS::gettimeofday();
    if (now == ACE_Time_Value(-1))
        now = ACE_Time_Value::zero;
    ACE_Date_Time dt(now);
    std::string stamp = TestPrintStamp(dt.day(), dt.hour(), dt.minute(), dt.second());

    bool toFile = TestPrintToFile(mask);
    bool toConsole = TestPrintToConsole(mask);
    if ((!toFile && !toConsole) || text == nullptr)
        return 0;

    if (toFile) {
        fileLog_->SetMaxSize(logFileMaxSize);
        fileLog_->Log(stamp);
        fileLog_->Log(text);
        if (mask & 0x14) {
            fprintf(stderr, "%s%s", stamp.c_str(), text);
            fflush(stderr);
        }
    }
    if (toConsole) {
        if (mask & 4)
            fputs("--- Error, ", stdout);
        fputs(stamp.c_str(), stdout);
        // The console form of the log drops the first nine characters.
        if (strlen(text) < 9) {
            printf("ERROR No TASK ID to remove from buffer\n");
            printf("%s\n", scratch_);
            fflush(stdout);
            assert(false);
        }
        fputs(text + 9, stdout);
        fflush(stdout);
    }
    return 0;
}

int TestPrintFImpl_MO::call() {
    if (terminate_)
        return 0;
    return task_->TestPrintFImpl(mask_, text_);
}
