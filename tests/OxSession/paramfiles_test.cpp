// Saving and restoring the parameters of a connected machine, with the
// board's scripts (the stand-ins of tools/board) run as real programs and a
// fake controller that answers the restore.
#include "conn_fixture.h"
#include "gatewayprocess.h"
#include "machineworld.h"
#include "oxconf.h"
#include "oxsaveparmsvisitor.h"
#include "sandbox.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace conntest;

class ParamFiles : public ConnectionTest {
  protected:
    void SetUp() override {
        ConnectionTest::SetUp();
        root_ = OxConfiguration::Instance()->GetAppPath();
        board_ = std::make_unique<BoardOnPath>(root_);
        unlink((root_ + "/var/log/board.log").c_str());
        OxConfiguration::Instance()->OxConnectCfg(1, "Line", 30, false);
    }
    void TearDown() override {
        board_.reset();
        OxConfiguration::Instance()->ClearConnectionCfg();
        ConnectionTest::TearDown();
    }
    // The small machine plus two parameters, up to Connected.
    void Connect(FakeController& ctl, OxConnection& conn) {
        ASSERT_NO_FATAL_FAILURE(AwaitCompleteInfoRequest(ctl));
        std::vector<std::string> world = MachineWorld(42, 8);
        world.push_back(
            "class NumParameter : Object { string Name; string Unit; "
            "number Value : Unit * 1 / 10; number Default : Unit * 1 / 10; };");
        world.push_back("new NumParameter(2001, 8, \"Temp\", \"C\", 125, 100);");
        world.push_back("new NumParameter(2002, 8, \"Level\", \"mm\", 7, 7);");
        world.push_back("res 1 : 0;");
        for (const std::string& text : world)
            ASSERT_TRUE(ctl.SendFrame(text)) << text;
        EXPECT_EQ("exe 11 $ 100.109();", Next(ctl));
        ASSERT_TRUE(ctl.SendFrame("res 11 : 0;"));
        EXPECT_EQ("exe 2  $   100 . 102 (5);", Next(ctl));
        ASSERT_EQ(OXCS_CONNECTED, conn.GetState());
    }
    std::string BoardLog() { return ReadWholeFile(root_ + "/var/log/board.log"); }
    void WriteParams(const std::string& name, const std::string& text) {
        std::string dir = root_ + "/etc/torc2/params";
        ASSERT_EQ(0, system(("mkdir -p " + dir).c_str()));
        FILE* f = fopen((dir + "/" + name).c_str(), "w");
        ASSERT_NE(nullptr, f);
        fputs(text.c_str(), f);
        fclose(f);
    }

    std::string root_;
    std::unique_ptr<BoardOnPath> board_;
};

const std::string kSaved =
    ReadWholeFile(std::string(OXGW_SOURCE_DIR) + "/tests/OxSession/golden/paramfiles.hmp");

TEST_F(ParamFiles, SaveWritesTheFileAndMovesItWithSaveparams) {
    FakeController ctl(ip_, 2001);
    OxConnection conn(1);
    ASSERT_NO_FATAL_FAILURE(Connect(ctl, conn));

    conn.SaveParms("line.hmp", "remote&external", nullptr);
    EXPECT_EQ(kSaved, ReadWholeFile(conn.GetConnectionDir() + "/save.hmp"));
    EXPECT_EQ(kSaved, ReadWholeFile(root_ + "/etc/torc2/params/line.hmp"));
    EXPECT_EQ("saveparams " + conn.GetConnectionDir() + "/save.hmp " + root_ +
                  "/etc/torc2/params/line.hmp\n",
              BoardLog());

    // Without a name: serial number and time; to the USB stick.
    conn.SaveParms("", "external", nullptr);
    std::string log = BoardLog();
    size_t at = log.find(root_ + "/mnt/usb/_4711-42_");
    ASSERT_NE(std::string::npos, at) << log;
    std::string file = log.substr(at, log.find('\n', at) - at);
    EXPECT_EQ(".hmp", file.substr(file.size() - 4));
    EXPECT_EQ(kSaved, ReadWholeFile(file));

    // A failing script leaves no file behind.
    setenv("OXGW_BOARD_FAIL", "saveparams", 1);
    conn.SaveParms("failed.hmp", "external", nullptr);
    EXPECT_NE(std::string::npos, BoardLog().find("/mnt/usb/failed.hmp"));
    EXPECT_EQ("", ReadWholeFile(root_ + "/mnt/usb/failed.hmp"));

    // To a client: the name and the text, no script.
    int fds[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, fds));
    auto* session = new OxSocketSession();
    session->peer().set_handle(fds[0]);
    unlink((root_ + "/var/log/board.log").c_str());
    conn.SaveParms("mine.hmp", "remote", session);
    // The session writes through the reactor.
    Pump(200);
    char buffer[4096] = {};
    ssize_t n = recv(fds[1], buffer, sizeof buffer - 1, MSG_DONTWAIT);
    ASSERT_GT(n, 0);
    EXPECT_EQ(
        "<Message><SaveParametersReply file=\"mine.hmp\"/></Message>\r\n"
        "<Message><SaveParametersReply text=\"" +
            kSaved + "\"/></Message>\r\n",
        std::string(buffer, static_cast<size_t>(n)));
    EXPECT_EQ("", BoardLog());
    delete session;
    close(fds[1]);
}

TEST_F(ParamFiles, RestoreChecksSendsTheValuesAndBoots) {
    FakeController ctl(ip_, 2001);
    OxConnection conn(1);
    // Not connected yet: nothing is run.
    EXPECT_FALSE(conn.RestoreParms(nullptr, "line.hmp"));
    EXPECT_EQ("", BoardLog());
    ASSERT_NO_FATAL_FAILURE(Connect(ctl, conn));

    WriteParams("line.hmp", kSaved);
    ASSERT_TRUE(conn.RestoreParms(nullptr, "line.hmp"));
    EXPECT_EQ("restoreparams line.hmp\n", BoardLog());
    EXPECT_EQ("exe 1000l $ 100.110 (1);", Next(ctl));
    ASSERT_TRUE(ctl.SendFrame("res 1000 : 0;"));
    EXPECT_EQ("exe 1001l $ 100.107 (2001,125,2002,7,);", Next(ctl));
    auto answered = std::chrono::steady_clock::now();
    ASSERT_TRUE(ctl.SendFrame("res 1001 : 0;"));
    // The machine boots half a second after the values went in.
    EXPECT_EQ("exe 8 $ 100.106();", Next(ctl));
    EXPECT_GE(std::chrono::steady_clock::now() - answered, std::chrono::milliseconds(450));

    // A wrong checksum: the machine hears of the restore, gets nothing more.
    WriteParams("bad.hmp", "#HMP Version 1.0\n2001,125,\n#Checksum: 2127\n");
    ASSERT_TRUE(conn.RestoreParms(nullptr, "bad.hmp"));
    EXPECT_EQ("exe 1002l $ 100.110 (1);", Next(ctl));
    ASSERT_TRUE(ctl.SendFrame("res 1002 : 0;"));
    EXPECT_TRUE(Quiet(ctl, 700));

    // A prepared argument list goes as it stands, unchecked.
    WriteParams("ready.hmpar", "2001,130,");
    ASSERT_TRUE(conn.RestoreParms(nullptr, "ready.hmpar"));
    EXPECT_EQ("exe 1003l $ 100.110 (1);", Next(ctl));
    ASSERT_TRUE(ctl.SendFrame("res 1003 : 0;"));
    EXPECT_EQ("exe 1004l $ 100.107 (2001,130,);", Next(ctl));

    // A file that is not there: restoreparams fails, nothing is sent.
    EXPECT_FALSE(conn.RestoreParms(nullptr, "missing.hmp"));
    EXPECT_TRUE(Quiet(ctl));
}

}  // namespace
