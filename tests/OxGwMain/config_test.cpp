#include "oxconf.h"
#include "oxgwaycfg.h"
#include "sandbox.h"
#include "testprint.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

// A configuration file as a machine carries it, on several lines.
const char* kFullFile = R"(<?xml version="1.0"?>
<Configuration version="3">
  <DebugLogSetup stdoutMask="0x45" logFileMask="015" logFileMaxSize="500000" logFileComMaxSize="250000"/>
  <ConnectServer ip="192.168.1.20" port="2300"/>
  <Network port="2100"/>
  <GWay port="59400" enabled="true"/>
  <DialUp phoneBookEntry="provider"/>
  <ConnectCom port="2">
    <EventLog maxAgeDays="30" logAlarms="true"/>
    <Processor name="Coater"/>
  </ConnectCom>
  <ConnectCom port="1">
    <EventLog maxAgeDays="7" logAlarms="false"/>
    <Processor name="Developer"/>
  </ConnectCom>
  <ConnectCom port="5">
  </ConnectCom>
  <Email SMTP="smtp.plant" Name="Line 4" From="line4@plant" To="a@plant;b@plant;" Subject="Alarm" Message="See log" MAPI="prof" AlarmType="3,5-7, 12" accessLevel="Admin" dialUp="true" active="true" emailType="Alarm" updateTime="0"/>
  <Email SMTP="smtp.plant" Name="Line 4" From="line4@plant" To="boss@plant" Subject="Status" Message="" AlarmType="" accessLevel="Service" active="true" emailType="Status" updateTime="60" groups="true" parameters="true" inputDevices="false" outputDevices="true" definitions="true"/>
</Configuration>
)";

class MaskRestore {
  public:
    MaskRestore() : out_(testPrint_stdOutMask), file_(testPrint_logFileMask) {}
    ~MaskRestore() { TestPrintSetMask(out_, file_); }

  private:
    unsigned long out_, file_;
};

void Load(OxConfiguration& cfg, const std::string& text) {
    std::istringstream in(text);
    cfg.Parse(in);
}

class TimerRecorder : public OxStatusMailTimers {
  public:
    std::vector<std::string> calls;
    void StartStatusTimer(int account) override {
        calls.push_back("start " + std::to_string(account));
    }
    void StopStatusTimer(int account) override {
        calls.push_back("stop " + std::to_string(account));
    }
};

}  // namespace

TEST(ConfigurationFile, FullFileFillsEveryAccessor) {
    MaskRestore masks;
    OxConfiguration cfg;
    TimerRecorder timers;
    OxConfiguration::SetStatusMailTimers(&timers);
    Load(cfg, kFullFile);
    OxConfiguration::SetStatusMailTimers(nullptr);

    EXPECT_EQ(500000ul, cfg.GetLogFileMaxSize());
    EXPECT_EQ(250000ul, cfg.GetLogFileComMaxSize());
    EXPECT_EQ(0x45ul, testPrint_stdOutMask);  // handed to the debug print
    EXPECT_EQ(015ul, testPrint_logFileMask);

    EXPECT_TRUE(cfg.ConnectToServer());
    EXPECT_EQ("192.168.1.20", cfg.GetServerHost());
    EXPECT_EQ(2300u, cfg.GetServerPort());
    EXPECT_EQ(2100, cfg.GetNetworkPort());

    EXPECT_EQ(59400u, OxGWayCfg::Instance().GetPort());
    EXPECT_TRUE(OxGWayCfg::Instance().IsEnabled());

    std::string entry = "x", user = "x", password = "x";
    cfg.GetDialUpCfg(&entry, &user, &password);
    EXPECT_EQ("provider||", entry + "|" + user + "|" + password);

    // Port 5 has no <EventLog of its own: the previous block's values stay.
    // Processors in order of first appearance, not of port number.
    std::string ports;
    for (int port : {1, 2, 3, 5}) {
        OxConnectionCfg c = cfg.GetConnectionCfg(port);
        ports += c.used ? std::to_string(c.maxAgeDays) + (c.logAlarms ? "+ " : "- ") : "no ";
    }
    for (int i = 0; i < cfg.ProcessorInfo_Count(); ++i)
        ports += cfg.GetProcessorName(i) + "@" + std::to_string(cfg.GetProcessorPort(i)) + " ";
    EXPECT_EQ("7- 30+ no 7- Coater@2 Developer@1 @5 ", ports);

    ASSERT_EQ(2, cfg.GetEMailAccounts());
    EXPECT_EQ((std::vector<std::string>{"a@plant", "b@plant"}), cfg.GetEMailReceiver(0));
    EXPECT_EQ("prof", cfg.GetEMailMapiProfile(0));
    EXPECT_EQ((std::vector<int>{3, 5, 6, 7, 12}), cfg.GetEMailAlarmType(0));
    EXPECT_TRUE(cfg.GetEMailDialUp(0));
    // The first account names no sections, so the search from the front of
    // the working copy finds those of the next account.
    EXPECT_TRUE(cfg.GetEMailGroups(0));
    EXPECT_FALSE(cfg.GetEMailInputDevices(0));

    EXPECT_EQ((std::vector<std::string>{"boss@plant"}), cfg.GetEMailReceiver(1));
    EXPECT_EQ(" ", cfg.GetEMailMessage(1));     // present but empty
    EXPECT_EQ("", cfg.GetEMailMapiProfile(1));  // absent
    EXPECT_TRUE(cfg.IsStatusEMail(1));
    EXPECT_EQ(60, cfg.GetEMailStatusInterval(1));
    EXPECT_TRUE(cfg.GetEMailOutputDevices(1));
    // Only the status account touches its timer.
    EXPECT_EQ((std::vector<std::string>{"start 1"}), timers.calls);
}

TEST(ConfigurationFile, PortTraps) {
    OxConfiguration cfg;
    // Port 0, and a Network element not written exactly so, leave the port.
    for (const char* network :
         {R"(<Network port="2100"/>)", R"(<Network port="0"/>)", R"(<Network  port="2200"/>)",
          R"(<Network enabled="1" port="2200"/>)"}) {
        Load(cfg, std::string("<Configuration>") + network + "</Configuration>");
        EXPECT_EQ(2100, cfg.GetNetworkPort()) << network;
    }

    // Port 11 leaves no trace, not even in the processor list.
    Load(cfg, R"(<Configuration><ConnectCom port="11"><Processor name="X"/></ConnectCom>)"
              R"(<ConnectCom port="0"></ConnectCom><ConnectCom port="-1"></ConnectCom>)");
    EXPECT_EQ(0, cfg.ProcessorInfo_Count());
    for (int port = 1; port <= 10; ++port)
        EXPECT_FALSE(cfg.GetConnectionCfg(port).used);

    // A repeated port: the last values win, the list keeps the first place.
    Load(cfg, R"(<Configuration>)"
              R"(<ConnectCom port="3"><EventLog maxAgeDays="5"/><Processor name="A"/></ConnectCom>)"
              R"(<ConnectCom port="4"><Processor name="B"/></ConnectCom>)"
              R"(<ConnectCom port="3"><EventLog maxAgeDays="8" logAlarms="true"/>)"
              R"(<Processor name="C"/></ConnectCom></Configuration>)");
    ASSERT_EQ(2, cfg.ProcessorInfo_Count());
    EXPECT_EQ(3u, cfg.GetProcessorPort(0));
    EXPECT_EQ("C", cfg.GetProcessorName(0));
    EXPECT_EQ("B", cfg.GetProcessorName(1));
    EXPECT_EQ(8, cfg.GetConnectionCfg(3).maxAgeDays);
    EXPECT_TRUE(cfg.GetConnectionCfg(3).logAlarms);

    cfg.ClearConnectionCfg();
    EXPECT_EQ(0, cfg.ProcessorInfo_Count());
    EXPECT_FALSE(cfg.GetConnectionCfg(3).used);
}

TEST(ConfigurationFile, NothingAppliedWithoutTheWord) {
    MaskRestore masks;
    OxConfiguration cfg;
    Load(cfg, "");
    Load(cfg, R"(<Config><Network port="2100"/><DebugLogSetup stdoutMask="1"/></Config>)");
    EXPECT_EQ(2000, cfg.GetNetworkPort());
    EXPECT_EQ(7ul, cfg.GetStdoutMask());
    // An absent size stores 0, not the default.
    Load(cfg, R"(<Configuration><DebugLogSetup stdoutMask="1" logFileMask="2"/>)");
    EXPECT_EQ(1ul, cfg.GetStdoutMask());
    EXPECT_EQ(0ul, cfg.GetLogFileMaxSize());
    EXPECT_EQ(0ul, cfg.GetLogFileComMaxSize());
}

TEST(ConfigurationEmail, SplittingLimitsAndClear) {
    EXPECT_EQ((std::vector<int>{1, 2, 9}), OxConfiguration::SplitAlarmTypes("x1;2 9-"));
    // An empty range still consumes its end.
    EXPECT_EQ((std::vector<int>{8}), OxConfiguration::SplitAlarmTypes("8-4"));
    EXPECT_TRUE(OxConfiguration::SplitAlarmTypes(" ").empty());
    EXPECT_EQ(10000u, OxConfiguration::SplitAlarmTypes("1-2000000000").size());
    EXPECT_EQ((std::vector<std::string>{"a", "", "b"}), OxConfiguration::SplitReceivers("a;;b;"));

    OxConfiguration cfg;
    TimerRecorder timers;
    OxConfiguration::SetStatusMailTimers(&timers);
    std::string doc = "<Configuration>";
    for (int i = 0; i < 11; ++i)
        doc += "<Email SMTP=\"s" + std::to_string(i) + "\" emailType=\"Status\" active=\"" +
               (i % 2 ? "true" : "false") + "\"/>";
    Load(cfg, doc);
    OxConfiguration::SetStatusMailTimers(nullptr);
    // The eleventh account is rejected; the ten are intact.
    ASSERT_EQ(10, cfg.GetEMailAccounts());
    EXPECT_EQ("s9", cfg.GetEMailSMTPServer(9));
    ASSERT_EQ(10u, timers.calls.size());
    EXPECT_EQ("stop 0", timers.calls[0]);
    EXPECT_EQ("start 9", timers.calls[9]);

    cfg.ClearEmail();
    EXPECT_EQ(0, cfg.GetEMailAccounts());
    // A fresh parse appends behind what is there.
    Load(cfg, R"(<Configuration><Email SMTP="new" To="x@y"/>)");
    Load(cfg, R"(<Configuration><Email SMTP="more"/>)");
    EXPECT_EQ(2, cfg.GetEMailAccounts());
    EXPECT_EQ("new", cfg.GetEMailSMTPServer(0));
    EXPECT_EQ("more", cfg.GetEMailSMTPServer(1));
}

TEST(ConfigurationRestart, OnlyPortAndUsedFlagsNeedIt) {
    MaskRestore masks;
    OxConfiguration live;
    Load(live, kFullFile);
    // {text replaced, its replacement, restart needed}
    const struct {
        const char* from;
        const char* to;
        bool restart;
    } rows[] = {{"Coater", "Coater", false},
                {"192.168.1.20", "192.168.1.21", false},
                {"a@plant;b@plant;", "c@plant", false},
                {"<ConnectCom port=\"5\">\n  </ConnectCom>", "", true},
                {"2100", "2101", true}};
    for (const auto& row : rows) {
        std::string text = kFullFile;
        size_t at = text.find(row.from);
        ASSERT_NE(std::string::npos, at) << row.from;
        text.replace(at, std::string(row.from).size(), row.to);
        OxConfiguration fresh;
        Load(fresh, text);
        EXPECT_EQ(row.restart, live.RestartNeeded(fresh)) << row.from << " -> " << row.to;
    }
}

TEST(ConfigurationTexts, EncodeDecode) {
    // Base64 of "abc" and a NUL, each character shifted by 0x3f.
    EXPECT_EQ("WUHb????", OxConfiguration::Encode("abc"));
    for (std::string s : {"", "a", "ab", "abc", "secret pw", "p\"<&>'w", "\xff\x80 high"}) {
        EXPECT_EQ(s, OxConfiguration::Decode(OxConfiguration::Encode(s)));
    }
    // Any text decodes without harm; the result stops at the first NUL.
    EXPECT_EQ("", OxConfiguration::Decode("?"));
    EXPECT_EQ("", OxConfiguration::Decode(""));
}
