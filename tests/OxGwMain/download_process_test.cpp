// The real gateway: what the machine gets for each <Download word, the
// parameter snapshot each connect leaves, and no download notices there.
#include "gatewaytest.h"
#include "machineworld.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

// The small machine with one parameter of the given value.
std::vector<std::string> World(int value) {
    std::vector<std::string> world = MachineWorld(42, 7);
    world.push_back(
        "class NumParameter : Object { string Name; string Unit; number Value : Unit * 1 / 10; "
        "number Default : Unit * 1 / 10; };");
    world.push_back("new NumParameter(2001, 7, \"T\", \"C\", " + std::to_string(value) + ", 1);");
    return world;
}

// The client's lines up to the mode Connected hold no download notice, and
// the snapshot holds the machine's value of the moment.
void ExpectSnapshot(GatewayTestEnv& env, XmlClient* client, int value) {
    for (std::string line;
         client && line.find("<OxMode mode=\"Connected\"") == std::string::npos;) {
        ASSERT_TRUE(client->ReadLine(line, 15000));
        EXPECT_EQ(std::string::npos, line.find("<Download")) << line;
    }
    std::string snapshot = env.Box().ReadFile("/var/log/debug/param2.txt");
    EXPECT_NE(std::string::npos, snapshot.find("\n2001," + std::to_string(value) + ", #"));
}

TEST(DownloadProcess, WordsToTheMachineSnapshotsAtEachConnectAndNoNotices) {
    GatewayTestEnv env;
    FakeController ctl(env.Ip(), 2001);
    auto gw = StartConnected(env, ctl, World(125));
    XmlClient client(env.ClientPort());
    ASSERT_NO_FATAL_FAILURE(ConnectPort(client));
    // Every word tells the machine of the transfer; Enable runs remotecmd too.
    for (std::string word : {"Download", "Enable", "Done", "Abort", "None", "Other"}) {
        ASSERT_TRUE(client.Send("<Message><Download command=\"" + word +
                                "\"/></Message>\r\n<Message><AlivePoll/></Message>\r\n"));
        std::string frame;
        ASSERT_TRUE(ctl.ReadFrame(frame, 5000));
        EXPECT_EQ("exe 101 $28023.100(1,1);", frame) << word;
        EXPECT_EQ(0u, client.Line().find("<Message><AliveAck ")) << word;
        for (int i = 0; i < 40 && word == "Enable" && !env.Box().Exists("/var/log/board.log"); ++i)
            usleep(50000);
    }
    EXPECT_EQ("remotecmd setremoteswupdmode\n", env.Box().ReadFile("/var/log/board.log"));

    ExpectSnapshot(env, nullptr, 125);
    // A re-sync keeps the store: the new value comes as an update before it.
    ASSERT_TRUE(ctl.SendFrame("upd 2001 (7, \"T\", \"C\", 130, 1);"));
    ASSERT_TRUE(ctl.SendFrame("res 4 : 0;"));
    std::string frame;
    ASSERT_TRUE(ctl.ReadFrame(frame, 5000) && ctl.SendFrame("res 1 : 0;"));
    ASSERT_TRUE(ctl.ReadFrame(frame, 5000) && ctl.SendFrame("res 11 : 0;"));
    ExpectSnapshot(env, &client, 130);

    ctl.DropClient();
    ASSERT_TRUE(ctl.HandOver(World(135), 15000, frame)) << frame;
    ExpectSnapshot(env, &client, 135);
    StopGateway(*gw);
}

}  // namespace
