// The telnet relay of a client session: "telnet localhost" runs as a child
// program, a worker thread of its own hands what it prints to the client,
// and what the client types goes to the program's standard input.
//
// Run, Stop and Send run in the reactor thread. The worker touches only the
// session's socket writer and the flags below, under the mutex.
#pragma once

#include <ace/Condition_Thread_Mutex.h>
#include <ace/Thread_Mutex.h>

class OxSocketSession;
class RunProgram;
class Telnet;

// What the worker thread is handed.
struct TelnetArg {
    OxSocketSession* session;
    RunProgram* program;
    Telnet* telnet;
};

class Telnet {
  public:
    explicit Telnet(OxSocketSession* session);
    // Stops a relay that still runs.
    ~Telnet();
    Telnet(const Telnet&) = delete;
    Telnet& operator=(const Telnet&) = delete;

    // Starts the program and the worker; false if the thread cannot start.
    bool Run();
    // Asks the worker to end, waits for it and ends the program.
    void Stop();
    // Writes the text to the program while the relay runs.
    void Send(const char* text);
    bool IsRunning();

  private:
    static ACE_THR_FUNC_RETURN Worker(void* arg);

    bool running = false;
    bool stopRequested = false;
    ACE_Thread_Mutex mutex;
    ACE_Condition_Thread_Mutex condition;
    OxSocketSession* session;
    RunProgram* program = nullptr;
    TelnetArg arg{};
    ACE_hthread_t thread{};
    bool joinable = false;
};
