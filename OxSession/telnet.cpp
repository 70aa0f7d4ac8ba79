#include "telnet.h"

#include "oxsession.h"
#include "runprogram.h"
#include "testprint.h"

#include <ace/Guard_T.h>
#include <ace/OS_NS_Thread.h>
#include <ace/OS_NS_sys_time.h>
#include <ace/OS_NS_unistd.h>

#include <cassert>
#include <sys/wait.h>

namespace {
// How long the worker waits for output before it looks at the stop flag.
const ACE_Time_Value kPollInterval(0, 50000);

// The program has ended. It is not reaped here: Stop does that, and until
// then its number cannot go to another process.
bool Ended(pid_t pid) {
    siginfo_t info{};
    if (pid <= 0 || waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) == -1)
        return true;
    return info.si_pid == pid;
}
}  // namespace

Telnet::Telnet(OxSocketSession* session) : condition(mutex), session(session) {}

Telnet::~Telnet() {
    if (program != nullptr || joinable)
        Stop();
}

bool Telnet::IsRunning() {
    ACE_Guard<ACE_Thread_Mutex> guard(mutex);
    return running;
}

bool Telnet::Run() {
    TestPrintF(64, "Telnet::Run\n");
    assert(!IsRunning());
    program = new RunProgram(false);
    arg = TelnetArg{session, program, this};
    {
        ACE_Guard<ACE_Thread_Mutex> guard(mutex);
        running = true;
        stopRequested = false;
    }
    ACE_thread_t id;
    if (ACE_OS::thr_create(&Telnet::Worker, &arg, THR_NEW_LWP | THR_JOINABLE, &id, &thread) != 0) {
        TestPrintF(4, "Telnet::Run Failed!\n");
        ACE_Guard<ACE_Thread_Mutex> guard(mutex);
        running = false;
        return false;
    }
    joinable = true;
    return true;
}

ACE_THR_FUNC_RETURN Telnet::Worker(void* p) {
    TelnetArg* arg = static_cast<TelnetArg*>(p);
    Telnet* telnet = arg->telnet;
    bool started = arg->program->Run("telnet localhost");
    bool ended = false;
    char buffer[81];
    while (started) {
        {
            ACE_Guard<ACE_Thread_Mutex> guard(telnet->mutex);
            if (telnet->stopRequested)
                break;
        }
        if (arg->program->ReadStdout(buffer, sizeof buffer) && buffer[0] != '\0') {
            arg->session->SendTelnetData("data", buffer);
            continue;
        }
        // The program's end is looked at only when its output is read up.
        if (ended)
            break;
        ended = Ended(arg->program->getpid());
        if (ended)
            continue;
        ACE_Guard<ACE_Thread_Mutex> guard(telnet->mutex);
        if (!telnet->stopRequested) {
            ACE_Time_Value until = ACE_OS::gettimeofday() + kPollInterval;
            telnet->condition.wait(&until);
        }
    }
    arg->session->SendTelnetData("status", "stopped");
    TestPrintF(0, "Telnet::Worker stopped\n");
    ACE_Guard<ACE_Thread_Mutex> guard(telnet->mutex);
    telnet->running = false;
    return 0;
}

void Telnet::Stop() {
    TestPrintF(64, "Telnet::Stop\n");
    {
        ACE_Guard<ACE_Thread_Mutex> guard(mutex);
        stopRequested = true;
    }
    for (;;) {
        {
            ACE_Guard<ACE_Thread_Mutex> guard(mutex);
            if (!running)
                break;
            condition.signal();
        }
        ACE_OS::sleep(1);
    }
    if (joinable) {
        ACE_OS::thr_join(thread, nullptr);
        joinable = false;
    }
    if (program != nullptr) {
        program->Terminate();
        delete program;
        program = nullptr;
    }
}

void Telnet::Send(const char* text) {
    if (IsRunning() && program != nullptr)
        program->WriteStdin(text);
}
