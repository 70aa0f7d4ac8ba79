#include "crash.h"

#include "oxconf.h"
#include "testprint.h"

#include <ace/Date_Time.h>
#include <ace/OS_NS_sys_time.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

void backtrace() {
    // The line that named the signal is still in the print task's queue.
    TestPrintTask::Drain(500);
    ACE_Time_Value now = ACE_OS::gettimeofday();
    if (now == ACE_Time_Value(-1))
        now = ACE_Time_Value::zero;
    ACE_Date_Time dt(now);
    fprintf(stderr, "%04d:%02d:%02d %2d:%02d:%02d ########## Backtrace ##########\n",
            static_cast<int>(dt.year()), static_cast<int>(dt.month()), static_cast<int>(dt.day()),
            static_cast<int>(dt.hour()), static_cast<int>(dt.minute()),
            static_cast<int>(dt.second()));

    void* frames[128];
    int count = ::backtrace(frames, 128);
    fprintf(stderr, "Number of elements in backtrace: %d\n", count);
    if (count > 0) {
        char** symbols = backtrace_symbols(frames, count);
        if (symbols != nullptr) {
            for (int i = count - 1; i >= 0; --i)
                fprintf(stderr, "%s\n", symbols[i]);
            free(symbols);
        }
    }
    fprintf(stderr, "####### End of Backtrace #######\n");

    std::string marker =
        OxConfiguration::Instance()->MakeAbsPath("/var/log/debug/backtrace", false);
    int fd = creat(marker.c_str(), 0700);
    if (fd >= 0)
        close(fd);
    exit(-1);
}

bool CrashSignal(int signum) {
    const char* name = nullptr;
    switch (signum) {
        case SIGILL:
            name = "SIGILL";
            break;
        case SIGABRT:
            name = "SIGABRT";
            break;
        case SIGBUS:
            name = "SIGBUS";
            break;
        case SIGSEGV:
            name = "Invalid memory reference";
            break;
        default:
            return false;
    }
    TestPrintF(4, "%s (signal=%d), shutting down!\n", name, signum);
    backtrace();
}

namespace {
void StartupCrashHandler(int signum) {
    CrashSignal(signum);
}
}  // namespace

void InstallStartupCrashHandlers() {
    struct sigaction action {};
    action.sa_handler = StartupCrashHandler;
    sigemptyset(&action.sa_mask);
    for (int sig : {SIGSEGV, SIGABRT, SIGBUS, SIGILL})
        sigaction(sig, &action, nullptr);
}

void Pause() {
    fputs("\n\nPress any key to terminate.\n", stdout);
    fflush(stdout);
}

void g() {
    volatile int* p = nullptr;
    *p = 13;
}

void f() {
    g();
}
