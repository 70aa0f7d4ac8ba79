// The process frame, with the real binary in a sandbox root.
#include "gatewaytest.h"

#include <gtest/gtest.h>

#include <csignal>
#include <thread>

namespace {

constexpr int kStartMs = 10000;

TEST(Process, BannerListeningAndOrderlyStopOnSigint) {
    GatewayTestEnv env;
    auto gw = env.Start();
    std::string listening = "Listening on socket port " + std::to_string(env.ClientPort()) + ".";
    ASSERT_TRUE(gw->WaitForStdout(Shown(listening), kStartMs)) << gw->Stdout();

    gw->Signal(SIGINT);
    gw->Signal(SIGINT);
    EXPECT_EQ(0, gw->Wait(kStartMs));
    std::string out = gw->Stdout();
    EXPECT_EQ(1, CountOccurrences(out, Shown("SIGINT received, shutting down!\n")));
    EXPECT_NE(std::string::npos, out.find(Shown("run_reactor_event_loop termintes: 0\n")));
    EXPECT_NE(std::string::npos, out.find("Testprint task terminates.\n"));

    // The banner goes to the log file with its stamp "DD;HH:MM:SS ".
    std::string log = env.Box().ReadFile("/var/log/debug/oxgw.log");
    size_t banner = log.find("OxGw, version: 2.02.05\n");
    ASSERT_NE(std::string::npos, banner) << log;
    ASSERT_GE(banner, 12u);
    std::string stamp = log.substr(banner - 12, 12);
    EXPECT_EQ(';', stamp[2]);
    EXPECT_EQ(':', stamp[5]);
    EXPECT_EQ(':', stamp[8]);
    EXPECT_EQ(' ', stamp[11]);
}

TEST(Process, SilentKeepsStdoutFreeButWritesTheLog) {
    GatewayTestEnv env;
    auto gw = env.Start({"--silent"});
    // Errors are echoed on stderr at mask 4/16 only; wait for the log instead.
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    gw->Signal(SIGINT);
    EXPECT_EQ(0, gw->Wait(kStartMs));
    std::string out = gw->Stdout();
    EXPECT_EQ(std::string::npos, out.find("Listening on socket port"));
    EXPECT_EQ(std::string::npos, out.find("Trying to"));
    EXPECT_EQ("Testprint task terminates.\n", out);
    std::string log = env.Box().ReadFile("/var/log/debug/oxgw.log");
    EXPECT_NE(std::string::npos, log.find("Listening on socket port")) << log;
}

TEST(Process, CrashPathLeavesEmptyMarkerAndExits255) {
    GatewayTestEnv env;
    env.Box().WriteFile("/var/log/debug/backtrace", "old contents");
    auto gw = env.Start();
    ASSERT_TRUE(gw->WaitForStdout(Shown("Listening on socket port"), kStartMs));
    gw->Signal(SIGSEGV);
    EXPECT_EQ(255, gw->Wait(kStartMs));
    EXPECT_EQ(0, env.Box().FileSize("/var/log/debug/backtrace"));
    std::string err = gw->Stderr();
    EXPECT_NE(std::string::npos, err.find(" ########## Backtrace ##########\n"));
    EXPECT_NE(std::string::npos, err.find("Number of elements in backtrace: "));
    EXPECT_NE(std::string::npos, err.find("####### End of Backtrace #######\n"));
    EXPECT_NE(std::string::npos, err.find("Invalid memory reference (signal=11), shutting down!"));
}

TEST(Process, MissingConfigurationEndsThroughTheCrashPath) {
    GatewayOptions options;
    options.writeConfig = false;
    GatewayTestEnv env(options);
    auto gw = env.Start();
    EXPECT_EQ(255, gw->Wait(kStartMs));
    EXPECT_EQ(0, env.Box().FileSize("/var/log/debug/backtrace"));
    EXPECT_NE(std::string::npos, gw->Stderr().find("configStream.good()"));
}

TEST(Process, MailConfigurationRepairedBelowHundredBytes) {
    const std::string standard(300, 's');
    for (long size : {99L, 100L, -1L}) {
        GatewayOptions options;
        options.writeOmtaConf = false;
        GatewayTestEnv env(options);
        env.Box().WriteFile("/etc/torc2init/config/omta.conf", standard);
        if (size >= 0)
            env.Box().WriteFile("/etc/torc2/omta.conf", std::string(size, 'o'));
        auto gw = env.Start();
        ASSERT_TRUE(gw->WaitForStdout(Shown("Listening on socket port"), kStartMs));
        gw->Signal(SIGINT);
        EXPECT_EQ(0, gw->Wait(kStartMs));
        std::string log = env.Box().ReadFile("/var/log/debug/oxgw.log");
        std::string line = "/etc/omta.conf size = " + std::to_string(size < 0 ? 0 : size) +
                           " => copying standard version\n";
        if (size == 100) {
            EXPECT_EQ(std::string(100, 'o'), env.Box().ReadFile("/etc/torc2/omta.conf"));
            EXPECT_EQ(std::string::npos, log.find("copying standard version"));
        } else {
            EXPECT_EQ(standard, env.Box().ReadFile("/etc/torc2/omta.conf")) << size;
            EXPECT_NE(std::string::npos, log.find(line)) << log;
        }
    }
}

TEST(Process, LanguageDebugOnlyAsSecondOfTwoArguments) {
    // The flag is internal; what can be seen from outside is that the odd
    // forms are accepted silently and "--silent" works only alone.
    GatewayTestEnv env;
    auto gw = env.Start({"--silent", "--languagedebug"});
    ASSERT_TRUE(gw->WaitForStdout(Shown("Listening on socket port"), kStartMs));
    gw->Signal(SIGINT);
    EXPECT_EQ(0, gw->Wait(kStartMs));
}

TEST(Process, LinkConnectsTakesBrokenFramesAndSaysWhenItIsLost) {
    GatewayTestEnv env;
    FakeController ctl(env.Ip(), 2001);
    ASSERT_TRUE(ctl.Listening());
    auto gw = env.Start();
    ASSERT_TRUE(ctl.Accept(kStartMs));
    ASSERT_TRUE(gw->WaitForStdout(Shown("Connection established\n"), kStartMs));
    ASSERT_TRUE(gw->WaitForStdout(Shown("pConnection->LinkModeChange(OXLink::OXLM_TORC)\n"), 3000));
    // The controller reads the request for all objects, so that its close
    // below is an orderly one and not a reset over unread data.
    std::string frame;
    ASSERT_TRUE(ctl.ReadFrame(frame, 3000));
    EXPECT_EQ("exe 1 $ 100.101 (-1);", frame);

    // Garbage, empty frames and a frame in pieces do not harm the link.
    ctl.Send(std::string("\x01\xff garbage\0\0upd", 15));
    ctl.Send(std::string(" 3;\0", 4));
    ASSERT_TRUE(gw->WaitForStdout(Shown("Empty Command Received\n"), 3000));
    ASSERT_TRUE(gw->WaitForStdout(Shown("Command = upd 3;\n"), 3000)) << gw->Stdout();

    // The reconnect after the loss is the connection process test's.
    ctl.DropClient();
    ASSERT_TRUE(gw->WaitForStdout(Shown("Conection lost???\n"), 3000));
    gw->Signal(SIGINT);
    EXPECT_EQ(0, gw->Wait(kStartMs));
}

}  // namespace
