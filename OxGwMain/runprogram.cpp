#include "runprogram.h"

#include <csignal>

#include "testprint.h"

#include <ace/ACE.h>
#include <ace/OS_NS_fcntl.h>
#include <ace/OS_NS_sys_select.h>
#include <ace/OS_NS_unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <sys/wait.h>

namespace {
void CloseHandle(ACE_HANDLE& handle) {
    if (handle != ACE_INVALID_HANDLE)
        ACE_OS::close(handle);
    handle = ACE_INVALID_HANDLE;
}

void SetFlag(ACE_HANDLE handle, int command, int getCommand, int flag) {
    int flags = fcntl(handle, getCommand);
    if (flags != -1)
        fcntl(handle, command, flags | flag);
}

void SleepMs(long ms) {
    ACE_Time_Value tv(0, ms * 1000);
    ACE_OS::select(0, nullptr, nullptr, nullptr, &tv);
}
}  // namespace

RunProgram::RunProgram(bool blocking) : blocking_(blocking), options_(true, 1024, 16384) {}

RunProgram::~RunProgram() {
    ClosePipes();
}

bool RunProgram::Init() {
    struct {
        ACE_HANDLE* ends;
        const char* message;
    } pipes[] = {{stdin_, "ACE_OS::pipe() (in) returns -1\n"},
                 {stdout_, "ACE_OS::pipe() (out) returns -1\n"},
                 {stderr_, "ACE_OS::pipe() (error) returns -1\n"}};
    for (auto& p : pipes) {
        if (ACE_OS::pipe(p.ends) == -1) {
            TestPrintF(4, "%s", p.message);
            ClosePipes();
            return false;
        }
        // Other children must not hold these: the child gets its ends as
        // 0, 1 and 2 through dup2, which clears the flag.
        SetFlag(p.ends[0], F_SETFD, F_GETFD, FD_CLOEXEC);
        SetFlag(p.ends[1], F_SETFD, F_GETFD, FD_CLOEXEC);
    }
    if (!blocking_) {
        SetFlag(stdout_[0], F_SETFL, F_GETFL, O_NONBLOCK);
        SetFlag(stderr_[0], F_SETFL, F_GETFL, O_NONBLOCK);
    }
    if (options_.set_handles(stdin_[0], stdout_[1], stderr_[1]) == -1) {
        TestPrintF(4, "pOpt.set_handles() return -1\n");
        ClosePipes();
        return false;
    }
    initialised_ = true;
    return true;
}

void RunProgram::ClosePipes() {
    options_.release_handles();
    for (ACE_HANDLE* ends : {stdin_, stdout_, stderr_}) {
        CloseHandle(ends[0]);
        CloseHandle(ends[1]);
    }
    initialised_ = false;
}

bool RunProgram::Run(const char* command) {
    if (!initialised_ && !Init())
        return false;
    lastCommand_ = command;

    // The command line is kept in the options for ACE's bookkeeping; the
    // child itself runs it through the shell (see child()).
    // ACE splits it into words and fails on a line without one: a blank
    // line, which the shell runs as a no-op, is kept as "sh".
    bool blank = strspn(command, " \t\r\n") == strlen(command);
    pid_t result = -1;
    if (options_.command_line("%s", blank ? "sh" : command) == 0)
        result = spawn(options_);
    if (result == -1 || result == -2) {
        TestPrintF(8, "Spawn %.80s failed!\n", command);
        return false;
    }
    // The child leads a process group of its own (see child()), so that a
    // kill reaches everything the shell started. Set it from this side too:
    // a kill may come before the child has run its first instruction.
    setpgid(result, result);
    TestPrintF(8, "%.80s spawned! (res=%d)\n", command, static_cast<int>(result));
    return true;
}

void RunProgram::child(pid_t /*parent*/) {
    // The gateway keeps SIGINT blocked in most threads; a program it runs
    // starts with no signal blocked.
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // A group of its own: the shell's children (a script's programs) are in
    // it too, and Kill and Terminate signal the whole group.
    setpgid(0, 0);
    // In the new process, between fork and exec. ACE would split the command
    // line at blanks and exec the first word; the callers pass shell command
    // lines ("cp a b", redirections, "&&"), so hand the whole line to the
    // shell. Only async-signal-safe calls from here on.
    if (dup2(options_.get_stdin(), ACE_STDIN) == -1 ||
        dup2(options_.get_stdout(), ACE_STDOUT) == -1 ||
        dup2(options_.get_stderr(), ACE_STDERR) == -1)
        _exit(127);
    ACE_OS::close(options_.get_stdin());
    ACE_OS::close(options_.get_stdout());
    ACE_OS::close(options_.get_stderr());
    execl("/bin/sh", "sh", "-c", lastCommand_.c_str(), static_cast<char*>(nullptr));
    _exit(127);
}

bool RunProgram::WaitForTermination(unsigned int seconds, int* exitCode) {
    if (name_.empty())
        name_ = lastCommand_;
    TestPrintF(8, "WaitForTermination %.80s %d secs\n", name_.c_str(), static_cast<int>(seconds));

    SleepMs(200);
    unsigned long rounds = static_cast<unsigned long>(seconds) * 2;
    if (rounds == 0) {
        Terminate();
        return false;
    }
    for (;;) {
        ACE_exitcode status = 0;
        pid_t pid = getpid() == ACE_INVALID_PID ? -1 : wait(&status, WNOHANG);
        if (pid == -1) {
            TestPrintF(8, "%.80s wait failed\n", name_.c_str());
            Terminate();
            return false;
        }
        if (pid != 0) {
            if (exitCode != nullptr)
                *exitCode = status;
            TestPrintF(8, "%.80s terminated, exitcode: %ld\n", name_.c_str(),
                       static_cast<long>(status));
            child_id_ = ACE_INVALID_PID;  // reaped: the number may be reused
            return true;
        }
        SleepMs(500);
        if (--rounds == 0) {
            Terminate();
            return false;
        }
    }
}

bool RunProgram::WaitForEnd(unsigned int seconds, int* exitCode) {
    for (unsigned long step = 0;; ++step) {
        ACE_exitcode status = 0;
        pid_t pid = getpid() == ACE_INVALID_PID ? -1 : wait(&status, WNOHANG);
        if (pid == -1)
            return false;
        if (pid != 0) {
            if (exitCode != nullptr)
                *exitCode = status;
            child_id_ = ACE_INVALID_PID;
            return true;
        }
        if (step >= static_cast<unsigned long>(seconds) * 10)
            return false;
        SleepMs(100);
    }
}

bool RunProgram::WriteStdin(const char* text) {
    ssize_t written = ACE_OS::write(stdin_[1], text, strlen(text));
    if (written == -1) {
        perror("write failed: ");
        return false;
    }
    TestPrintF(8, "Wrote %d bytes to program\n", static_cast<int>(written));
    return true;
}

bool RunProgram::ReadStdout(char* buffer, unsigned int size) {
    if (size == 0)
        return false;
    buffer[0] = '\0';
    ssize_t n = ACE_OS::read(stdout_[0], buffer, size - 1);
    if (n >= 0) {
        buffer[n] = '\0';
        return true;
    }
    if (errno == EAGAIN)
        return false;
    std::cerr << "errno = " << errno << std::endl;
    perror("read failed on stdout: ");
    return false;
}

bool RunProgram::ReadStderror(char* buffer, unsigned int length) {
    buffer[0] = '\0';
    ssize_t n = ACE_OS::read(stderr_[0], buffer, length);
    if (n >= 0) {
        buffer[n] = '\0';
        return true;
    }
    if (errno == EAGAIN)
        return false;
    perror("read failed on stderror");
    return false;
}

int RunProgram::Kill(int signal) {
    // Never signal pid -1: that would reach every process we may signal.
    pid_t pid = getpid();
    int result = -1;
    if (pid != ACE_INVALID_PID && pid > 0) {
        result = ::kill(pid, signal);
        ::kill(-pid, signal);  // whatever the command started
    }
    ClosePipes();
    return result == -1 ? 1 : 0;
}

void RunProgram::Terminate() {
    pid_t pid = getpid();
    if (pid == ACE_INVALID_PID || pid <= 0)
        return;
    // The whole group: terminating only the shell would leave the program
    // it started running past its limit.
    ::kill(-pid, SIGKILL);
    ACE::terminate_process(pid);
    // Reap it so that no zombie is left behind, but never hang on a child
    // stuck in the kernel: give it one second.
    for (int i = 0; i < 100; ++i) {
        pid_t reaped = ACE_OS::waitpid(pid, nullptr, WNOHANG);
        if (reaped == pid || reaped == -1) {
            child_id_ = ACE_INVALID_PID;
            return;
        }
        SleepMs(10);
    }
}

long RunProgramAndWait(const char* command, unsigned int seconds) {
    RunProgram program(false);
    int status = 0;
    if (!program.Run(command))
        return -1;
    if (!program.WaitForTermination(seconds, &status))
        return -1;
    return status;
}
