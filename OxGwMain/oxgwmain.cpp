#include "oxgwmain.h"

#include "accepthandler.h"
#include "crash.h"
#include "oxactivesessionman.h"
#include "oxconf.h"
#include "oxconn.h"
#include "oxemailtask.h"
#include "oxservice.h"
#include "proactor.h"
#include "proactortask.h"
#include "runprogram.h"
#include "testprint.h"
#include "timer.h"

#include <ace/INET_Addr.h>
#include <ace/OS_NS_unistd.h>
#include <ace/Proactor.h>
#include <ace/Reactor.h>
#include <ace/Signal.h>
#include <ace/Thread_Manager.h>

#include <cerrno>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

bool languageDebug = false;

void OxParseCommandLine(int argc, char** argv) {
    logToConsole = !(argc == 2 && strcmp(argv[1], "--silent") == 0);
    languageDebug = argc == 3 && strcmp(argv[2], "--languagedebug") == 0;
}

namespace {

// The mail transfer configuration is repaired at each start.
void RepairMailConfiguration() {
    OxConfiguration* cfg = OxConfiguration::Instance();
    struct stat st;
    long size = 0;
    if (stat(cfg->MakeAbsPath("/etc/torc2/omta.conf").c_str(), &st) == 0)
        size = st.st_size;
    if (size >= 100)
        return;
    TestPrintF(4, "/etc/omta.conf size = %d => copying standard version\n", static_cast<int>(size));
    std::string command = "cp " + cfg->MakeAbsPath("/etc/torc2init/config/omta.conf") + " " +
                          cfg->MakeAbsPath("/etc/torc2");
    RunProgram program(false);
    if (!program.Run(command.c_str()))
        TestPrintF(4, "Copying omta.conf failed!\n");
    else
        program.WaitForTermination(5, nullptr);  // the mail task reads it soon after
}

}  // namespace

// SIGINT is taken by one thread that does nothing else. The reactor's
// handler for it prints and ends the event loop; run on a thread that was
// inside the debug print (holding its queue's lock), it would wait for that
// lock for ever. Every other thread, made after this, keeps SIGINT blocked.
// Once the first SIGINT has started the stop, that thread blocks SIGINT too
// and ends: from then on a SIGINT stays pending, and nothing that puts back
// the default action on the way out can let it end the process.
static std::atomic<bool> interruptTaken{false};

void OxInterruptTaken() {
    interruptTaken = true;
}

static void RouteInterruptToSignalThread() {
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);
    std::thread([interrupt] {
        pthread_sigmask(SIG_UNBLOCK, &interrupt, nullptr);
        while (!interruptTaken)
            pause();
        pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);
    }).detach();
}

int OxGwMain(int argc, char** argv) {
    // 1. The application path: every absolute path of the program moves under it.
    const char* root = getenv("OXGW_ROOT");
    OxConfiguration::Instance()->SetAppPath(root != nullptr ? root : "");
    RouteInterruptToSignalThread();
    // 2.
    OxParseCommandLine(argc, argv);
    // 3.
    TestPrintTask::Instance();
    InstallStartupCrashHandlers();
    // 4.
    TestPrintF(4, "OxGw, version: %s\n", kOxGwVersion);
    TestPrintF(8, "Working directory: %s\n", OxConfiguration::Instance()->GetAppPath().c_str());
    // 5.
    RepairMailConfiguration();
    // 6.
    OxInitProactor();
    ProactorTask proactorTask;
    if (proactorTask.activate(THR_NEW_LWP | THR_JOINABLE, 1) == -1) {
        TestPrintF(4, "ACE! (proactor could not be initialised)\n");
        Pause();
        return 1;
    }
    // The mail thread, and its status timers, before the configuration is read.
    OxEMailTask::Instance()->open(nullptr);
    // 7.
    OxActiveSessionMan activeSessionMan;
    activeSessionMan.SetPollTimer(1);
    // 8.
    OxService::Instance()->StartOxService();
    // 9.
    ACE_INET_Addr listenAddr(
        static_cast<u_short>(OxConfiguration::Instance()->GetNetworkPort(true)));
    // 10.
    Accept_Handler* acceptHandler = new Accept_Handler();
    // 11.
    while (acceptHandler->Acceptor().open(listenAddr, 1, PF_INET, 5) == -1) {
        TestPrintF(4, "Unable to open socket connection! (%s)\n", ACE::sock_error(errno));
        ACE_OS::sleep(2);
    }
    ACE_Reactor* reactor = ACE_Reactor::instance();
    // 12.
    reactor->register_handler(acceptHandler, ACE_Event_Handler::ACCEPT_MASK);
    // 13.
    for (int sig : {SIGINT, SIGSEGV, SIGABRT, SIGBUS, SIGILL})
        reactor->register_handler(sig, acceptHandler);
    // 14.
    TestPrintF(1, "Listening on socket port %d.\n",
               OxConfiguration::Instance()->GetNetworkPort(true));
    // 15.
    int result = reactor->run_reactor_event_loop();

    // Stop order.
    TestPrintF(8, "run_reactor_event_loop termintes: %d\n", result);
    OxService::Instance()->StopOxService();
    if (ACE_Proactor::instance() != nullptr)
        ACE_Proactor::instance()->proactor_end_event_loop();
    OxEMailTask::Instance()->end_event_loop();
    TestPrintTask::Instance()->end_event_loop();
    Timer::CloseProactor();
    // The proactor keeps two helper threads of its own (timer queue and
    // pseudo-task) until it is closed; close it once its loop has returned,
    // so that the wait below is for our threads and not ten seconds long.
    proactorTask.wait();
    OxCloseProactor();
    ACE_Time_Value deadline = ACE_OS::gettimeofday() + ACE_Time_Value(10);
    ACE_Thread_Manager::instance()->wait(&deadline);

    OxService::DeleteInstance();
    // The handler goes; a late SIGINT is ignored and the others take their
    // default course from here on.
    reactor->remove_handler(acceptHandler,
                            ACE_Event_Handler::ALL_EVENTS_MASK | ACE_Event_Handler::DONT_CALL);
    ACE_Sig_Action ignore(SIG_IGN), fallback(SIG_DFL);
    reactor->remove_handler(SIGINT, &ignore);
    for (int sig : {SIGSEGV, SIGABRT, SIGBUS, SIGILL})
        reactor->remove_handler(sig, &fallback);
    delete acceptHandler;
    delete TestPrintTask::Instance();
    OxEMailTask::DeleteInstance();
    OxConfiguration::DeleteInstance();
    OxConnectionMan::DeleteInstance();
    exit(0);
}
