#include "proactor.h"

#include <ace/POSIX_Proactor.h>

#include <mutex>

ACE_Proactor* OxCreateProactor() {
    // The proactor deletes its implementation.
    return new ACE_Proactor(new ACE_POSIX_AIOCB_Proactor, true);
}

void OxInitProactor() {
    static std::once_flag once;
    std::call_once(once, [] {
        // A proactor made earlier by ACE's own instance() has the signal
        // implementation and has never run: replace it.
        ACE_Proactor* old = ACE_Proactor::instance(OxCreateProactor(), false);
        delete old;
    });
}

void OxCloseProactor() {
    // A null instance stays null; nothing may use the proactor after this.
    delete ACE_Proactor::instance(static_cast<ACE_Proactor*>(nullptr), false);
}
