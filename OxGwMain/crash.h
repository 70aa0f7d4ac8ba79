#pragma once

// Crash report: the stack on stderr, the empty marker file
// "/var/log/debug/backtrace", then exit(-1). Never returns.
[[noreturn]] void backtrace();

// The crash signals SIGILL, SIGABRT, SIGBUS and SIGSEGV: prints
// "<name> (signal=N), shutting down!" and runs backtrace(). Any other signal
// returns false and nothing is done.
bool CrashSignal(int signum);

// Sends the crash signals to CrashSignal until the reactor takes them over,
// so that a failure while starting (a missing configuration file) also ends
// through the crash report.
void InstallStartupCrashHandlers();

// Writes the "press any key" line; does not wait.
void Pause();

// Exercise the crash path: g stores through a null pointer, f calls g.
void f();
void g();
