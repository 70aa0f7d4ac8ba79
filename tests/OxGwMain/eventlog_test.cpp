// The event log and the retention job with real files in a sandbox root, and
// a clock of the test's own for the change of day.
#include "eventlog.h"
#include "gatewayprocess.h"
#include "oxconf.h"
#include "sandbox.h"

#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>
#include <sys/time.h>
#include <vector>

namespace {

class TestClock : public OxClock {
  public:
    time_t Now() const override { return now; }
    time_t now = 0;
};

// Local noon of a day; the log names its files by local date.
time_t Noon(int year, int month, int day) {
    struct tm t = {};
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = 12;
    t.tm_isdst = -1;
    return mktime(&t);
}

void SetAge(const std::string& path, int days) {
    struct timeval times[2];
    gettimeofday(&times[0], nullptr);
    times[0].tv_sec -= static_cast<time_t>(days) * 86400 + 60;
    times[1] = times[0];
    ASSERT_EQ(utimes(path.c_str(), times), 0) << path;
}

bool WaitIdle(DeleteFiles& job) {
    return WaitUntil([&] { return !job.IsRunning(); }, 5000, 10);
}

class EventLogTest : public ::testing::Test {
  protected:
    void SetUp() override {
        OxConfiguration::Instance()->SetAppPath(box.Root());
        clock.now = Noon(2026, 2, 3);
    }
    void TearDown() override { OxConfiguration::Instance()->SetAppPath(ProcessSandboxRoot()); }
    std::string Day(int d) {
        return "/var/log/oxgw/eventLog_4711_2602" + std::string(d < 10 ? "0" : "") +
               std::to_string(d) + ".txt";
    }

    Sandbox box;
    TestClock clock;
};

TEST_F(EventLogTest, NamesAppendsAfterRestartAndChangesFileAtMidnight) {
    {
        EventLog log(clock);
        log.Open("4711");
        EXPECT_TRUE(box.Exists(Day(3)));
        struct stat st;
        ASSERT_EQ(stat(box.Path(Day(3)).c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0664u);
        log.Log("<a/>\n");
    }
    {
        EventLog log(clock);  // a restart on the same day appends
        log.Open("4711");
        log.Log("<b/>\n");
        clock.now = Noon(2026, 2, 4) - 12 * 3600 + 1;  // 00:00:01 next day
        log.Log("<c/>\n");
    }
    EXPECT_EQ(box.ReadFile(Day(3)), "<a/>\n<b/>\n");
    EXPECT_EQ(box.ReadFile(Day(4)), "<c/>\n");
}

TEST_F(EventLogTest, OverflowLineOnceADayAndAgainAfterRestart) {
    box.WriteFile(Day(3), std::string(EventLog::kMaxDaySize - 1, 'x'));
    {
        EventLog log(clock);
        log.Open("4711");
        log.Log("<last/>\n");  // below the limit: written, passing it
        log.Log("<dropped/>\n");
        log.Log("<dropped too/>\n");
    }
    std::string text = box.ReadFile(Day(3));
    EXPECT_EQ(text.size(), static_cast<size_t>(EventLog::kMaxDaySize) + 7 +
                               text.substr(text.find("<last/>\n") + 8).size());
    EXPECT_NE(text.find("<last/>\n"), std::string::npos);
    EXPECT_EQ(text.find("dropped"), std::string::npos);
    EXPECT_EQ(CountOccurrences(
                  text, "<Message><HistoricServerState state=\"Log Overflow\"><Time year=\""),
              1);
    EXPECT_EQ(text.back(), '\n');
    {
        EventLog log(clock);
        log.Open("4711");
        log.Log("<after restart/>\n");
    }
    text = box.ReadFile(Day(3));
    EXPECT_EQ(CountOccurrences(text, "state=\"Log Overflow\""), 2);
    EXPECT_EQ(text.find("after restart"), std::string::npos);

    // Exactly at the limit the next entry is dropped.
    box.WriteFile(Day(3), std::string(EventLog::kMaxDaySize, 'y'));
    EventLog log(clock);
    log.Open("4711");
    log.Log("<dropped/>\n");
    text = box.ReadFile(Day(3));
    EXPECT_EQ(text.find("dropped"), std::string::npos);
    EXPECT_EQ(CountOccurrences(text, "Log Overflow"), 1);
}

// Reading forwards line by line is done by the connection tests' logs; here
// appending after a read, an empty day and a missing one.
TEST_F(EventLogTest, ReadsForwards) {
    EventLog log(clock);
    log.Open("4711");
    log.Log("one\n");
    std::string line;
    // Appending after reading still goes to the end.
    log.SeekToStart();
    log.Log("four\n");
    EXPECT_EQ(box.ReadFile(Day(3)).substr(box.ReadFile(Day(3)).size() - 5), "four\n");

    // An empty day and a missing one.
    box.WriteFile("/var/log/oxgw/eventLog_empty_260203.txt", "");
    EventLog empty(clock);
    ASSERT_TRUE(empty.OpenForRead("empty", 2026, 2, 3));
    EXPECT_FALSE(empty.ReadNextLine(line));
    EventLog missing(clock);
    EXPECT_FALSE(missing.OpenForRead("4711", 2026, 1, 1));
    EXPECT_FALSE(box.Exists("/var/log/oxgw/eventLog_4711_260101.txt"));
}

TEST_F(EventLogTest, RetentionByAgeAndBySize) {
    const std::string dir = box.Path("/var/retention/");
    box.MakeDir("/var/retention");
    box.WriteFile("/var/retention/thirty", "a");
    box.WriteFile("/var/retention/thirtyone", "b");
    SetAge(dir + "thirty", 30);
    SetAge(dir + "thirtyone", 31);
    DeleteFiles job;
    std::string path = dir;
    ASSERT_TRUE(job.Run(path, DeleteFilesArg::AGE, 30));
    ASSERT_TRUE(WaitIdle(job));
    EXPECT_TRUE(box.Exists("/var/retention/thirty"));
    EXPECT_FALSE(box.Exists("/var/retention/thirtyone"));

    // Above the limit the older files go, the newest survives even alone.
    box.WriteFile("/var/retention/huge", std::string(700 * 1024, 'h'));
    ASSERT_TRUE(job.Run(path, DeleteFilesArg::SIZE, 500));
    ASSERT_TRUE(WaitIdle(job));
    EXPECT_TRUE(box.Exists("/var/retention/huge"));
    EXPECT_FALSE(box.Exists("/var/retention/thirty"));

    // A missing directory is done at once.
    std::string nowhere = box.Path("/nowhere/");
    ASSERT_TRUE(job.Run(nowhere, DeleteFilesArg::SIZE, 1));
    EXPECT_TRUE(WaitIdle(job));
}

TEST_F(EventLogTest, RetentionRunsAtOpenAndAgainAtTheChangeOfDay) {
    box.MakeDir("/var/log/oxgw");
    const std::string dir = box.Path("/var/log/oxgw/");
    box.WriteFile("/var/log/oxgw/eventLog_1_250101.txt", std::string(300 * 1024, 'a'));
    box.WriteFile("/var/log/oxgw/eventLog_1_250102.txt", std::string(300 * 1024, 'b'));
    SetAge(dir + "eventLog_1_250101.txt", 20);
    SetAge(dir + "eventLog_1_250102.txt", 19);
    {
        EventLog log(clock);
        log.Open("4711");
        log.Log("<a/>\n");
        // The job of the constructor has trimmed the oldest file.
        EXPECT_TRUE(WaitUntil([&] { return !box.Exists("/var/log/oxgw/eventLog_1_250101.txt"); },
                              5000, 10));
        EXPECT_TRUE(box.Exists("/var/log/oxgw/eventLog_1_250102.txt"));

        // Another old file; the first entry after midnight starts the job again.
        box.WriteFile("/var/log/oxgw/eventLog_1_250103.txt", std::string(300 * 1024, 'c'));
        SetAge(dir + "eventLog_1_250103.txt", 18);
        clock.now = Noon(2026, 2, 4);
        log.Log("<b/>\n");
        EXPECT_TRUE(WaitUntil([&] { return !box.Exists("/var/log/oxgw/eventLog_1_250102.txt"); },
                              5000, 10));
    }
    EXPECT_EQ(box.ReadFile(Day(4)), "<b/>\n");
}

}  // namespace
