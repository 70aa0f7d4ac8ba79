// Sessions that come and go around the machine's answers, against the real
// gateway and a fake controller: a board program past its time limit, the
// guards of the alarm history, the language list, and a client that leaves
// while its parameter restore is under way.
#include "fakecontroller.h"
#include "gatewaytest.h"
#include "machineworld.h"
#include "xmlclient.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

constexpr int kWaitMs = 8000;

// The next frame from the gateway that is not the periodic date.
std::string NextCommand(FakeController& ctl) {
    std::string frame;
    while (ctl.ReadFrame(frame, kWaitMs))
        if (frame.find("100.105") == std::string::npos)
            return frame;
    return "(nothing)";
}

// The processes other than the gateway that run in this sandbox (their
// environment names its root), zombies not counted.
std::vector<std::string> Leftovers(const std::string& root, int gateway) {
    std::vector<std::string> found;
    DIR* proc = opendir("/proc");
    while (dirent* entry = proc ? readdir(proc) : nullptr) {
        int pid = std::atoi(entry->d_name);
        if (pid <= 0 || pid == gateway)
            continue;
        auto read = [&](const char* what) {
            std::ifstream in("/proc/" + std::to_string(pid) + "/" + what);
            return std::string(std::istreambuf_iterator<char>(in),
                               std::istreambuf_iterator<char>());
        };
        std::string environ = read("environ"), stat = read("stat");
        if (environ.find(std::string("OXGW_ROOT=") + root + '\0') == std::string::npos ||
            stat.find(") Z ") != std::string::npos)
            continue;
        std::string command = read("cmdline");
        for (char& c : command)
            c = c == '\0' ? ' ' : c;
        found.push_back(std::to_string(pid) + ": " + command);
    }
    if (proc)
        closedir(proc);
    return found;
}

TEST(SessionLifetime, BoardProgramPastItsLimitGuardsLanguagesAndARestoreWithoutItsClient) {
    GatewayTestEnv env;
    // Restoring x.hmp copies it into place; its checksum is wrong, so the
    // gateway reports the failure to whoever asked, once the machine is ready.
    env.Box().WriteFile("/etc/torc2/params/x.hmp", "#HMP Version 1.0\n2101,7,\n#Checksum: 1\n");
    env.Box().WriteFile("/oxgw_abc.ucs", std::string("\xff\xfe", 2));
    env.Box().WriteFile("/oxgw_en_english.ucs", std::string("\xff\xfe", 2));
    FakeController ctl(env.Ip(), 2001);
    setenv("OXGW_BOARD_HANG", "saveparams", 1);  // the stand-in sleeps 30 s
    auto gw = env.Start();
    unsetenv("OXGW_BOARD_HANG");
    std::string why;
    ASSERT_TRUE(ctl.HandOver(MachineWorld(42), kWaitMs, why)) << why;
    ASSERT_TRUE(gw->WaitForStdout(Shown("COM 1: Connected\n"), kWaitMs));

    // The alarm history needs a connect and a logon like any machine question.
    const std::string history = "<GetAlarmEvents year=\"2026\" month=\"1\" day=\"2\"/>";
    XmlClient client(env.ClientPort());
    EXPECT_EQ(CommandError("The command is not legal when a Connect has not been made!"),
              Ask(client, history));
    ASSERT_NO_FATAL_FAILURE(ConnectPort(client));
    EXPECT_EQ(CommandError("The command is not legal when a logon has not been made!"),
              Ask(client, history));

    // Every language file of the working directory, named by what stands
    // between its first eight and its last four characters; a
    // twelve-character name too (it names the empty language).
    std::string languages = Ask(client, "<GetLanguages/>");
    EXPECT_NE(std::string::npos, languages.find("<Language name=\"\"/>")) << languages;
    EXPECT_NE(std::string::npos, languages.find("<Language name=\"english\"/>")) << languages;

    // A board program that overruns its limit is killed with all it started.
    ASSERT_TRUE(
        client.Send("<Message><SaveParameters destination=\"external\" file=\"a.hmp\"/>"
                    "</Message>\r\n"));
    ASSERT_TRUE(gw->WaitForStdout(
        Shown("OxConnection::SaveParms(), executing saveparams failed!\n"), kWaitMs));
    EXPECT_EQ(std::vector<std::string>{}, Leftovers(env.Box().Root(), gw->Pid()));

    // A restore whose client leaves before the machine is ready for the
    // values: the machine's answer finds nobody to tell, and the gateway
    // goes on.
    ASSERT_TRUE(client.Send("<Message><RestoreParameters file=\"x.hmp\"/></Message>\r\n"));
    std::string restore = NextCommand(ctl);
    ASSERT_EQ(0u, restore.find("exe ")) << restore;
    ASSERT_NE(std::string::npos, restore.find("$ 100.110 (1);")) << restore;
    std::string exeId = restore.substr(4, restore.find_first_not_of("0123456789", 4) - 4);
    ASSERT_TRUE(client.Send("<Message><Disconnect/></Message>\r\n"));
    EXPECT_TRUE(client.WaitForClose(3000));
    ASSERT_TRUE(gw->WaitForStdout(Shown("OxSocketSession(0)::delete"), kWaitMs));
    ASSERT_TRUE(ctl.SendFrame("res " + exeId + " : 0;"));
    ASSERT_TRUE(gw->WaitForStdout(Shown("RestoreParmsCommand Check Sum Fail!\n"), kWaitMs));
    StopGateway(*gw);
}

}  // namespace
