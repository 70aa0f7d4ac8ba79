// The proactor that runs the expiries of every Timer.
//
// ACE's default proactor on Linux delivers completions through a real-time
// signal, which kills this process at the first timer. The gateway therefore
// always uses the AIOCB implementation, which wakes its event loop through a
// notification pipe instead.
#pragma once

#include <ace/Proactor.h>

// A new proactor with the AIOCB implementation, owned by the caller.
ACE_Proactor* OxCreateProactor();

// Installs such a proactor as ACE's process-wide instance. Call before the
// first ACE_Proactor::instance(); later calls do nothing. ACE does not delete
// it at exit: the crash report exits from a signal handler while the proactor
// thread may still run in it, so its end belongs to OxCloseProactor.
void OxInitProactor();

// Deletes the instance installed by OxInitProactor, once its event loop has
// returned; this also ends the proactor's own helper threads.
void OxCloseProactor();
