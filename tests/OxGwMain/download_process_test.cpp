// The software download seen from outside the real gateway: what the
// machine gets for each <Download word of a client, the parameter snapshot
// that each connect leaves, and the notices a client does not get.
#include "gatewaytest.h"
#include "machineworld.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kWaitMs = 15000;
const char* const kSnapshot = "/var/log/debug/param2.txt";

// The small machine with one parameter of the given value; configured or not.
std::vector<std::string> World(int value, bool configured = true) {
    std::vector<std::string> world = MachineWorld(42, 7);
    if (!configured)
        world[11] = "new ConfigState(401, 7, 0);";
    world.push_back(
        "class NumParameter : Object { string Name; string Unit; number Value : Unit * 1 / 10; "
        "number Default : Unit * 1 / 10; };");
    world.push_back("new NumParameter(2001, 7, \"Temp\", \"C\", " + std::to_string(value) +
                    ", 100);");
    return world;
}

// The program the gateway started runs on its own: wait for what it writes.
bool WaitForFile(GatewayTestEnv& env, const std::string& path, const std::string& text) {
    for (int i = 0; i < 100 && env.Box().ReadFile(path) != text; ++i)
        usleep(50000);
    return env.Box().ReadFile(path) == text;
}

// The client's lines up to the next mode Connected; none is a download notice.
void ExpectNoNoticeUntilConnected(XmlClient& client) {
    std::string line;
    do {
        ASSERT_TRUE(client.ReadLine(line, kWaitMs)) << "no mode Connected";
        EXPECT_EQ(std::string::npos, line.find("<Download")) << line;
    } while (line.find("<OxMode mode=\"Connected\"") == std::string::npos);
}

TEST(DownloadProcess, WordsToTheMachineSnapshotsAtEachConnectAndNoNotices) {
    GatewayTestEnv env;
    FakeController ctl(env.Ip(), 2001);
    auto gw = StartConnected(env, ctl, World(125));
    ASSERT_TRUE(WaitForLog(env, "COM 1: Parameters are saved to")) << DebugLog(env);
    EXPECT_NE(std::string::npos, env.Box().ReadFile(kSnapshot).find("\n2001,125, # Temp"));

    XmlClient client(env.ClientPort());
    ASSERT_NO_FATAL_FAILURE(ConnectPort(client));

    // Every word tells the machine's function of the transfer; only Enable
    // runs the board's remotecmd, which logs its call. None is answered.
    const std::string remotecmd = "remotecmd setremoteswupdmode\n";
    for (const char* word : {"Download", "Enable", "Done", "Abort", "None", "Other"}) {
        SCOPED_TRACE(word);
        ASSERT_TRUE(client.Send("<Message><Download command=\"" + std::string(word) +
                                "\"/></Message>\r\n<Message><AlivePoll/></Message>\r\n"));
        std::string frame;
        ASSERT_TRUE(ctl.ReadFrame(frame, kWaitMs));
        EXPECT_EQ("exe 101 $28023.100(1,1);", frame);
        EXPECT_EQ(0u, client.Line().find("<Message><AliveAck mode=\"Connected\">"));
        if (std::string(word) == "Enable") {
            EXPECT_TRUE(WaitForFile(env, "/var/log/board.log", remotecmd));
        }
    }
    EXPECT_EQ(remotecmd, env.Box().ReadFile("/var/log/board.log"));

    // A re-sync: the snapshot holds the machine's new value, which came as an
    // update (a re-sync keeps the store); the client hears the modes but no
    // download notice.
    ASSERT_TRUE(ctl.SendFrame("upd 2001 (7, \"Temp\", \"C\", 130, 100);"));
    ASSERT_TRUE(ctl.SendFrame("res 4 : 0;"));
    std::string why;
    std::string frame;
    ASSERT_TRUE(ctl.ReadFrame(frame, kWaitMs));
    ASSERT_EQ("exe 1 $ 100.101 (-1);", frame);
    for (const std::string& text : World(130))
        ASSERT_TRUE(ctl.SendFrame(text));
    ASSERT_TRUE(ctl.SendFrame("res 1 : 0;"));
    ASSERT_TRUE(ctl.ReadFrame(frame, kWaitMs));
    ASSERT_TRUE(ctl.SendFrame("res 11 : 0;"));
    ASSERT_NO_FATAL_FAILURE(ExpectNoNoticeUntilConnected(client));
    EXPECT_NE(std::string::npos, env.Box().ReadFile(kSnapshot).find("\n2001,130, # Temp"));

    // A reconnect: the same.
    ctl.DropClient();
    ASSERT_TRUE(ctl.HandOver(World(135), kWaitMs, why)) << why;
    ASSERT_NO_FATAL_FAILURE(ExpectNoNoticeUntilConnected(client));
    EXPECT_NE(std::string::npos, env.Box().ReadFile(kSnapshot).find("\n2001,135, # Temp"));

    // A machine that is not configured leaves the last snapshot alone.
    ctl.DropClient();
    ASSERT_TRUE(ctl.HandOver(World(140, false), kWaitMs, why)) << why;
    ASSERT_NO_FATAL_FAILURE(ExpectNoNoticeUntilConnected(client));
    ASSERT_TRUE(WaitForLog(env,
                           "Parameters are not saved to param2.txt because the machine is "
                           "not configurated.\n"));
    EXPECT_NE(std::string::npos, env.Box().ReadFile(kSnapshot).find("\n2001,135, # Temp"));

    ASSERT_TRUE(client.Send("<Message><AlivePoll/></Message>\r\n"));
    EXPECT_EQ(0u, client.Line().find("<Message><AliveAck mode=\"Connected\">"));
    StopGateway(*gw);
}

}  // namespace
