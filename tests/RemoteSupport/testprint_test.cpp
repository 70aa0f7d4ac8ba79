#include "testprint.h"

#include <gtest/gtest.h>

TEST(TestPrintRouting, MasksDecideDestinations) {
    unsigned long oldOut = testPrint_stdOutMask, oldFile = testPrint_logFileMask;
    bool oldConsole = logToConsole;
    logToConsole = true;

    TestPrintSetMask(0, 0);
    EXPECT_TRUE(TestPrintToFile(4));  // errors always reach the file
    EXPECT_FALSE(TestPrintToConsole(4));
    EXPECT_FALSE(TestPrintToFile(1));
    EXPECT_FALSE(TestPrintToConsole(1));
    EXPECT_TRUE(TestPrintToFile(0));  // mask 0 is shown both ways
    EXPECT_TRUE(TestPrintToConsole(0));
    EXPECT_FALSE(TestPrintToFile(4 | 1));  // only exactly 4 is forced

    TestPrintSetMask(32, 16);
    EXPECT_TRUE(TestPrintToConsole(32 | 64));
    EXPECT_TRUE(TestPrintToFile(16));
    EXPECT_FALSE(TestPrintToFile(32));

    logToConsole = false;  // "--silent"
    EXPECT_FALSE(TestPrintToConsole(0));
    EXPECT_TRUE(TestPrintToFile(0));

    TestPrintSetMask(oldOut, oldFile);
    logToConsole = oldConsole;
}

TEST(TestPrintStamp, DayAndTimeZeroFilled) {
    EXPECT_EQ("16;03:29:47 ", TestPrintStamp(16, 3, 29, 47));
    EXPECT_EQ("01;00:00:00 ", TestPrintStamp(1, 0, 0, 0));
}

#include "oxconf.h"
#include "gatewayprocess.h"
#include "sandbox.h"

#include <chrono>
#include <thread>

TEST(FileLog, RotatesToDotOneAfterPassingTheLimit) {
    Sandbox box;
    std::string name = box.Path("/var/log/debug/oxgw.log");
    std::string old = name + ".1";
    {
        FileLog log(name.c_str(), old.c_str(), 30);
        log.Log("first line of twenty\n");  // 21 bytes: below the limit
        log.Log("second line\n");           // 33 bytes: rotates after this write
        EXPECT_EQ("", ReadWholeFile(name));
        EXPECT_EQ("first line of twenty\nsecond line\n", ReadWholeFile(old));
        log.Log("third\n");
        log.Log("0123456789012345678901234567890\n");  // rotates again: ".1" replaced
    }
    EXPECT_EQ("third\n0123456789012345678901234567890\n", ReadWholeFile(old));
    EXPECT_EQ("", ReadWholeFile(name));
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
    EXPECT_EQ(21, CountOccurrences(err, "\n"));
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
        TestPrintTask* task = TestPrintTask::Instance();
        task->end_event_loop();
        task->wait();
        delete task;
        OxConfiguration::Instance()->SetAppPath(ProcessSandboxRoot());
    }
    std::string Log() { return box_.ReadFile("/var/log/debug/oxgw.log"); }
    Sandbox box_;
};

TEST_F(TestPrintTaskTest, RoutesStampsSkipsColumnsAndEchoesWarnings) {
    TestPrintSetMask(32, 16 | 2);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    TestPrintF(1, "Listening on socket port %d.\n", 2000);        // nowhere
    TestPrintF(4, "Socket error (connection)!\n");                // file only, masks 0 for it
    TestPrintF(32, "MDIEditLink::TransmitCommand %s\n", "x");     // stdout only
    TestPrintF(16, "OxConnection::SaveParms(), wrong state!\n");  // file and stderr
    TestPrintF(2, "Sending boot command.\n");                     // file, no stderr
    TestPrintF(0, "Connection established\n");                    // file and stdout
    TestPrintTask* task = TestPrintTask::Instance();
    task->end_event_loop();
    task->wait();
    std::string out = testing::internal::GetCapturedStdout();
    std::string err = testing::internal::GetCapturedStderr();

    // Console: the stamp, then the text without its first nine characters.
    EXPECT_NE(std::string::npos, out.find(" nk::TransmitCommand x\n"));
    EXPECT_EQ(std::string::npos, out.find("MDIEditLi"));
    EXPECT_NE(std::string::npos, out.find(" n established\n"));
    EXPECT_EQ(std::string::npos, out.find("Listening"));
    EXPECT_EQ(std::string::npos, out.find("Socket error"));
    EXPECT_NE(std::string::npos, out.find("Testprint task terminates.\n"));

    EXPECT_NE(std::string::npos, err.find("OxConnection::SaveParms(), wrong state!\n"));
    EXPECT_EQ(std::string::npos, err.find("Sending boot command"));
    EXPECT_EQ(std::string::npos, err.find("TransmitCommand"));

    std::string log = Log();
    EXPECT_EQ(std::string::npos, log.find("Listening"));
    EXPECT_EQ(std::string::npos, log.find("TransmitCommand"));
    for (const char* line :
         {"Socket error (connection)!\n", "OxConnection::SaveParms(), wrong state!\n",
          "Sending boot command.\n", "Connection established\n"}) {
        size_t at = log.find(line);
        ASSERT_NE(std::string::npos, at) << line;
        ASSERT_GE(at, 12u);
        std::string stamp = log.substr(at - 12, 12);
        EXPECT_TRUE(isdigit(stamp[0]) && isdigit(stamp[1]) && stamp[2] == ';' && stamp[5] == ':' &&
                    stamp[8] == ':' && stamp[11] == ' ')
            << stamp;
    }
}

TEST_F(TestPrintTaskTest, ErrorsOnStdoutAreMarked) {
    TestPrintSetMask(4, 0);
    testing::internal::CaptureStdout();
    TestPrintF(4, "Socket error (connection)!\n");
    TestPrintTask* task = TestPrintTask::Instance();
    task->end_event_loop();
    task->wait();
    std::string out = testing::internal::GetCapturedStdout();
    ASSERT_EQ(0u, out.find("--- Error, "));
    EXPECT_NE(std::string::npos, out.find(" (connection)!\n"));
}

TEST_F(TestPrintTaskTest, LongMessagesWarnAndStillLogUpTo511) {
    std::string text(412, 'a');
    testing::internal::CaptureStderr();
    TestPrintF(4, "%s", text.c_str());
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, err.find("(TESTPRINT::vsprintf=412)\n"));
    EXPECT_NE(std::string::npos, err.find("len=2\n"));
    EXPECT_NE(std::string::npos, err.find("msg=%s\n"));
    EXPECT_NE(std::string::npos, err.find("pBuffer=" + text));
    TestPrintTask* task = TestPrintTask::Instance();
    task->end_event_loop();
    task->wait();
    EXPECT_NE(std::string::npos, Log().find(text));
}

TEST_F(TestPrintTaskTest, MessageOf512CharactersIsFatal) {
    std::string text(512, 'b');
    EXPECT_DEATH(TestPrintF(4, "%s", text.c_str()), "len <512");
}

TEST_F(TestPrintTaskTest, NothingIsPrintedAfterTheLoopEnds) {
    TestPrintTask* task = TestPrintTask::Instance();
    task->end_event_loop();
    task->wait();
    TestPrintF(0, "Connection established late\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(std::string::npos, Log().find("late"));
}
