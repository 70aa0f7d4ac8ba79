// The process frame, with the real binary in a sandbox root.
#include "gatewaytest.h"

#include <gtest/gtest.h>

#include <csignal>
#include <regex>

namespace {

constexpr int kStartMs = 10000;

// "--silent" keeps stdout free but the log is written; as the first of two
// arguments, beside the internal "--languagedebug", it does nothing.
TEST(Process, SilentOnlyAloneKeepsStdoutFree) {
    for (bool alone : {true, false}) {
        GatewayTestEnv env;
        auto gw = alone ? env.Start({"--silent"}) : env.Start({"--silent", "--languagedebug"});
        ASSERT_TRUE(WaitForLog(env, "Listening on socket port", kStartMs));
        gw->Signal(SIGINT);
        EXPECT_EQ(0, gw->Wait(kStartMs));
        if (alone)
            EXPECT_EQ("Testprint task terminates.\n", gw->Stdout());
        else
            EXPECT_NE(std::string::npos, gw->Stdout().find(Shown("Listening on socket port")));
    }
}

// A crash, and a missing configuration, end through the crash path: exit
// 255, an empty backtrace marker, the report on stderr.
TEST(Process, CrashAndMissingConfigurationEndThroughTheCrashPath) {
    for (bool crash : {true, false}) {
        GatewayOptions options;
        options.writeConfig = crash;
        GatewayTestEnv env(options);
        env.Box().WriteFile("/var/log/debug/backtrace", "old contents");
        auto gw = env.Start();
        if (crash) {
            ASSERT_TRUE(gw->WaitForStdout(Shown("Listening on socket port"), kStartMs));
            gw->Signal(SIGSEGV);
        }
        EXPECT_EQ(255, gw->Wait(kStartMs));
        EXPECT_EQ(0, env.Box().FileSize("/var/log/debug/backtrace"));
        std::string err = gw->Stderr();
        for (const char* text :
             {" ########## Backtrace ##########\n",
              "Number of elements in backtrace: ", "####### End of Backtrace #######\n",
              crash ? "Invalid memory reference (signal=11), shutting down!"
                    : "configStream.good()"})
            EXPECT_NE(std::string::npos, err.find(text)) << text << err;
    }
}

// Start and orderly stop: the banner in the log with its stamp "DD;HH:MM:SS
// ", listening, and one shutdown for two SIGINTs. The mail configuration is
// replaced by the standard one when it is below 100 bytes.
TEST(Process, StartRepairsTheMailConfigurationAndSigintStopsInOrder) {
    const std::string standard(300, 's');
    for (long size : {99L, 100L}) {
        GatewayOptions options;
        options.writeOmtaConf = false;
        GatewayTestEnv env(options);
        env.Box().WriteFile("/etc/torc2init/config/omta.conf", standard);
        env.Box().WriteFile("/etc/torc2/omta.conf", std::string(size, 'o'));
        auto gw = env.Start();
        std::string listening =
            "Listening on socket port " + std::to_string(env.ClientPort()) + ".";
        ASSERT_TRUE(gw->WaitForStdout(Shown(listening), kStartMs)) << gw->Stdout();
        gw->Signal(SIGINT);
        gw->Signal(SIGINT);
        EXPECT_EQ(0, gw->Wait(kStartMs));
        std::string out = gw->Stdout();
        EXPECT_EQ(1, CountOccurrences(out, Shown("SIGINT received, shutting down!\n")));
        EXPECT_NE(std::string::npos, out.find(Shown("run_reactor_event_loop termintes: 0\n")));
        EXPECT_NE(std::string::npos, out.find("Testprint task terminates.\n"));

        std::string log = env.Box().ReadFile("/var/log/debug/oxgw.log");
        EXPECT_TRUE(std::regex_search(log, std::regex("(^|\n)[0-9]{2};[0-9]{2}:[0-9]{2}:[0-9]{2} "
                                                      "OxGw, version: 2\\.02\\.05\n")))
            << log;
        std::string line =
            "/etc/omta.conf size = " + std::to_string(size) + " => copying standard version\n";
        EXPECT_EQ(size == 100 ? std::string(100, 'o') : standard,
                  env.Box().ReadFile("/etc/torc2/omta.conf"))
            << size;
        EXPECT_EQ(size != 100,
                  log.find(size == 100 ? "copying standard version" : line) != std::string::npos)
            << log;
    }
}

}  // namespace
