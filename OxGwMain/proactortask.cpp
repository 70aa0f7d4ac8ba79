#include "proactortask.h"

#include "testprint.h"

#include <ace/Proactor.h>
#include <ace/Signal.h>

#include <csignal>

int ProactorTask::svc() {
    // A write on a dead socket is then an error return everywhere.
    ACE_Sig_Action ignore(SIG_IGN);
    ignore.register_action(SIGPIPE);

    ACE_Proactor* proactor = ACE_Proactor::instance();
    int result = -1;
    if (proactor != nullptr)
        result = proactor->proactor_run_event_loop(ACE_Proactor::check_reconfiguration);
    if (result == -1)
        TestPrintF(8, "Proactor thread terminates\n");
    return result;
}
