// The debug print task and its log file: where each mask goes, long texts,
// rotation and a log that cannot be written.
#include "gatewayprocess.h"
#include "oxconf.h"
#include "sandbox.h"
#include "testprint.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

TEST(FileLog, RotatesToDotOneAfterPassingTheLimit) {
    Sandbox box;
    std::string name = box.Path("/var/log/debug/oxgw.log");
    std::string old = name + ".1";
    FileLog log(name.c_str(), old.c_str(), 30);
    log.Log("first line of twenty\n");  // 21 bytes: below the limit
    EXPECT_EQ("first line of twenty\n", ReadWholeFile(name));
    log.Log("second line\n");  // 33 bytes: rotates after this write
    EXPECT_EQ("", ReadWholeFile(name));
    EXPECT_EQ("first line of twenty\nsecond line\n", ReadWholeFile(old));
}

TEST(FileLog, MissingDirectoryReportsTwentyTimesThenStops) {
    Sandbox box;
    std::string name = box.Path("/no/such/dir/oxgw.log");
    std::string old = name + ".1";
    FileLog log(name.c_str(), old.c_str(), 1000);
    testing::internal::CaptureStderr();
    for (int i = 0; i < 30; ++i)
        log.Log("text\n");
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(20, CountOccurrences(err, "FileLog::Log Log: " + name + ", errno="));
    EXPECT_EQ(1, CountOccurrences(err, "FileLog::Log Log: Error logging stopped!\n"));
}

class TestPrintTaskTest : public ::testing::Test {
  protected:
    void SetUp() override {
        OxConfiguration::Instance()->SetAppPath(box_.Root());
        logToConsole = true;
        TestPrintSetMask(0, 0);
        TestPrintTask::Instance();
    }
    void TearDown() override {
        End();
        delete TestPrintTask::Instance();
        OxConfiguration::Instance()->SetAppPath(ProcessSandboxRoot());
    }
    // Ends the task's loop and waits for its thread.
    static void End() {
        TestPrintTask::Instance()->end_event_loop();
        TestPrintTask::Instance()->wait();
    }
    std::string Log() { return box_.ReadFile("/var/log/debug/oxgw.log"); }
    Sandbox box_;
};

TEST_F(TestPrintTaskTest, RoutesStampsSkipsColumnsAndEchoesWarnings) {
    TestPrintSetMask(32 | 4, 16 | 2);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    TestPrintF(1, "Listening on socket port %d.\n", 2000);  // nowhere
    TestPrintF(4 | 1, "Port 1, combined mask\n");   // stdout: only a plain error reaches the file
    TestPrintF(4, "Socket error (connection)!\n");  // file, and marked on stdout
    TestPrintF(32, "MDIEditLink::TransmitCommand %s\n", "x");     // stdout only
    TestPrintF(16, "OxConnection::SaveParms(), wrong state!\n");  // file and stderr
    TestPrintF(2, "Sending boot command.\n");                     // file, no stderr
    TestPrintF(0, "Connection established\n");                    // file and stdout
    End();
    std::string out = testing::internal::GetCapturedStdout();
    std::string err = testing::internal::GetCapturedStderr();

    // Console: the stamp, then the text without its first nine characters;
    // errors marked. The stamps themselves are checked on the real process.
    EXPECT_EQ(0u, out.find("--- Error, "));
    for (const char* shown :
         {" ror (connection)!\n", " nk::TransmitCommand x\n", " n established\n"})
        EXPECT_NE(std::string::npos, out.find(shown)) << shown;
    EXPECT_EQ(std::string::npos, out.find("MDIEditLi"));
    EXPECT_EQ(std::string::npos, out.find("Listening"));
    EXPECT_NE(std::string::npos, err.find("OxConnection::SaveParms(), wrong state!\n"));
    EXPECT_EQ(std::string::npos, err.find("Sending boot command"));
    EXPECT_EQ(std::string::npos, err.find("TransmitCommand"));

    std::string log = Log();
    EXPECT_EQ(std::string::npos, log.find("Listening"));
    EXPECT_EQ(std::string::npos, log.find("TransmitCommand"));
    EXPECT_EQ(std::string::npos, log.find("combined mask"));
    for (const char* line :
         {"Socket error (connection)!\n", "OxConnection::SaveParms(), wrong state!\n",
          "Sending boot command.\n", "Connection established\n"})
        EXPECT_NE(std::string::npos, log.find(line)) << line;
}

TEST_F(TestPrintTaskTest, LongMessagesWarnAndStillLogAndNothingAfterTheEnd) {
    std::string text(412, 'a');
    testing::internal::CaptureStderr();
    TestPrintF(4, "%s", text.c_str());
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, err.find("(TESTPRINT::vsprintf=412)\n"));
    EXPECT_NE(std::string::npos, err.find("pBuffer=" + text));
    End();
    EXPECT_NE(std::string::npos, Log().find(text));
    // After the loop has ended a message stays queued, and is freed with the task.
    TestPrintF(0, "Connection established late\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(std::string::npos, Log().find("late"));
}
