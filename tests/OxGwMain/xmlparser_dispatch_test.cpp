#include "oxconf.h"
#include "oxgwaycfg.h"
#include "sandbox.h"
#include "testprint.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// A parser that writes each handler call it gets as one text, name and
// arguments, so a message's dispatch compares as a string. Handlers that the
// client command and configuration tests already reach through the real
// receivers are left to the base class.
class RecordingParser : public OxXmlParser {
  public:
    std::vector<std::string> calls;
    bool throwInHandler = false;  // the next handler call throws

    // Parses one message and gives the calls it made, joined by " | ".
    std::string Run(const std::string& text) {
        calls.clear();
        Parse(text.c_str());
        std::string all;
        for (const std::string& c : calls)
            all += (all.empty() ? "" : " | ") + c;
        return all;
    }

    void OxConnectMsg(unsigned port, const std::string& name) override {
        Rec("Connect", port, name);
    }
    void OxGetTypeMsg(int id) override { Rec("GetType", id); }
    void OxSetDeviceMsg(int id, tagOverride ov, float value) override {
        Rec("SetDevice", id, static_cast<int>(ov), value);
    }
    void OxSetOutputMsg(int id, bool value) override { Rec("SetOutput", id, value); }
    void OxSetMotorMsg(int id, bool start, double value) override {
        Rec("SetMotor", id, start, value);
    }
    void OxExecuteFunctionMsg(int id, int action, const std::vector<double>& args) override {
        std::ostringstream s;
        for (double a : args)
            s << (s.tellp() > 0 ? " " : "") << a;
        Rec("ExecuteFunction", id, action, "[" + s.str() + "]");
    }
    void OxReplyAlarmMsg(int id, int replyId) override { Rec("ReplyAlarm", id, replyId); }
    void OxAliveMsg() override { Rec("Alive"); }
    void OxSetupSessionMsg(bool testPrint) override { Rec("SetupSession", testPrint); }
    void OxCopyFileMsg(const std::string& file) override { Rec("CopyFile", file); }
    void OxDownloadMsg(const std::string& command) override { Rec("Download", command); }
    void OxReadFileMsg(unsigned long position, unsigned long length, const std::string& file,
                       bool eof, const std::string& data) override {
        Rec("ReadFile", position, length, file, eof, data);
    }
    void OxConfigMsg() override { Rec("Config"); }
    void OxSystemCommandMsg(const std::string& command, int timeout, char linefeed) override {
        Rec("SystemCommand", command, timeout, static_cast<int>(linefeed));
    }
    void OxGetIpConfigMsg() override { Rec("GetIpConfig"); }
    void OxGetTimeMsg() override { Rec("GetTime"); }
    void OxTelnetCommandMsg(const std::string& command, const std::string& data) override {
        Rec("Telnet", command, data);
    }
    void OxConnectCfg(unsigned port, const std::string& name, unsigned maxAgeDays,
                      bool logAlarms) override {
        Rec("ConnectCfg", port, name, maxAgeDays, logAlarms);
    }
    void OxNetworkCfg(unsigned port) override { Rec("NetworkCfg", port); }
    void OxConnectServerCfg(unsigned port, const std::string& ip) override {
        Rec("ConnectServerCfg", port, ip);
    }
    void OxLinuxNetCfg(const std::string& domain, const std::string& nameserver) override {
        Rec("LinuxNetCfg", domain, nameserver);
    }
    void OxIpCfg(const std::string& a, const std::string& b, const std::string& c,
                 const std::string& d, const std::string& e, const std::string& f,
                 const std::string& g, const std::string& h, const std::string& i,
                 const std::string& j, const std::string& k, const std::string& l,
                 const std::string& m, const std::string& n) override {
        Rec("IpCfg", a, b, c, d, e, f, g, h, i, j, k, l, m, n);
    }
    void OxTimeMsg(const std::string& tz, int year, int month, int day, int hour, int min,
                   int sec) override {
        Rec("TimeMsg", tz, year, month, day, hour, min, sec);
    }
    void ErrorUpdate(const std::string& text) override { calls.push_back("Error:" + text); }

  private:
    static void Put(std::ostringstream& s, bool v) { s << (v ? "T" : "F"); }
    static void Put(std::ostringstream& s, const std::string& v) { s << "'" << v << "'"; }
    template <class T>
    static void Put(std::ostringstream& s, const T& v) {
        s << v;
    }

    template <class... Args>
    void Rec(const char* what, const Args&... args) {
        if (throwInHandler) {
            throwInHandler = false;
            throw std::runtime_error("handler failed");
        }
        std::ostringstream s;
        s << what << "(";
        bool first = true;
        ((s << (first ? "" : ","), Put(s, args), first = false), ...);
        s << ")";
        calls.push_back(s.str());
    }
};

}  // namespace

TEST(XmlParserDispatch, EveryRowBareWrappedAndEmbeddedThenKeyTrapsAndHandlerErrors) {
    RecordingParser p;
    const std::vector<std::string> rows = SourceLines("OxGwMain/golden/xmldispatch.txt");
    EXPECT_EQ(rows.size(), 23u);
    for (const std::string& row : rows) {
        std::string msg = row.substr(0, row.find('\t')), calls = row.substr(msg.size() + 1);
        EXPECT_EQ(calls, p.Run(msg)) << msg;
        EXPECT_EQ(calls, p.Run("<Message>" + msg + "</Message>")) << msg;
        EXPECT_EQ(calls, p.Run("some words " + msg + " and more")) << msg;
    }

    // The connect key holds the closing bracket: an element with attributes
    // is no connect message.
    EXPECT_EQ(R"(Error:Unknown command: <Connect port="2" name="x"/>)",
              p.Run(R"(<Connect port="2" name="x"/>)"));
    EXPECT_EQ("Connect(1,'')", p.Run(R"(<Message><Connect></Connect><P port="1"/></Message>)"));
    // Keys without bracket hit anywhere, even inside another element's text.
    EXPECT_EQ("SetupSession(F)", p.Run("<Message><Foo>SetupSession</Foo></Message>"));
    EXPECT_EQ("SetupSession(T)", p.Run(R"(<Configuration><SetupSession testPrint="true"/>)"));
    // Two commands on one line: only the earlier row of the chain runs.
    EXPECT_EQ("GetType(1)", p.Run(R"(<AlivePoll/><GetType id="1"/>)"));
    // Keys are case-sensitive.
    EXPECT_EQ(R"(Error:Unknown command: <gettype id="1"/>)", p.Run(R"(<gettype id="1"/>)"));
    // Nothing at all for an empty message.
    EXPECT_EQ("", p.Run(""));
    // A handler that throws is reported, and the parser stays usable.
    p.throwInHandler = true;
    EXPECT_EQ(R"(Error:Error in message: <GetType id="1"/>)", p.Run(R"(<GetType id="1"/>)"));
    EXPECT_EQ("GetType(2)", p.Run(R"(<GetType id="2"/>)"));
}

TEST(XmlParserAttrib, FinderQuirksAndTypedReaders) {
    using P = OxXmlParser;
    // No word boundary: a longer name ending in the wanted one, standing
    // earlier, is hit first.
    EXPECT_EQ("7", P::GetAttrib(R"(<X myport="7" port="3"/>)", "port"));
    // First hit counts, whatever element it stands in.
    EXPECT_EQ("1", P::GetAttrib(R"(<A id="1"/><B id="2"/>)", "id"));
    EXPECT_EQ("2", P::GetAttrib(R"(<A id="1"/><B id="2"/>)", "id", true));
    EXPECT_EQ("", P::GetAttrib(R"(<A id="1"/>)", "id", true));
    // Absent, present but empty, "=" at the very end.
    EXPECT_EQ("", P::GetAttrib(R"(<A x="1"/>)", "id"));
    EXPECT_EQ(" ", P::GetAttrib(R"(<A id=""/>)", "id"));
    EXPECT_EQ(" ", P::GetAttrib("<A id=", "id"));
    // One character behind "=" is skipped unseen; single quotes do not
    // delimit; the value runs to the end without a closing quote.
    EXPECT_EQ("2345", P::GetAttrib("a=12345", "a"));
    EXPECT_EQ(R"(xy' b=)", P::GetAttrib(R"(a='xy' b="z")", "a"));
    EXPECT_EQ("open", P::GetAttrib(R"(a="open)", "a"));
    // No entity decoding.
    EXPECT_EQ("&lt;b&gt;", P::GetAttrib(R"(a="&lt;b&gt;")", "a"));
    // Case-sensitive names.
    EXPECT_EQ("", P::GetAttrib(R"(ID="3")", "id"));

    // Typed readers take the leading number; only "true" is true.
    EXPECT_EQ(12, P::GetAttribAsInt(R"(id="12abc")", "id"));
    EXPECT_EQ(-7, P::GetAttribAsInt(R"(id="-7")", "id"));
    EXPECT_DOUBLE_EQ(2.5, P::GetAttribAsDouble(R"(v="2.5kg")", "v"));
    EXPECT_EQ(4096ul, P::GetAttribAsULong(R"(m="4096 bytes")", "m"));
    EXPECT_FALSE(P::GetAttribAsBool(R"(b="True")", "b"));
    EXPECT_FALSE(P::GetAttribAsBool(R"(b="true ")", "b"));

    std::list<std::string> values;
    P::GetAttribList(R"(<F argument="1" x="2" argument="" argument="3e2"/>)", "argument", values);
    EXPECT_EQ((std::list<std::string>{"1", " ", "3e2"}), values);
}

// The elements of a full file, and a block without <EventLog that keeps the
// previous block's values, are read in the configuration tests.
TEST(XmlParserConfigBlock, BlockWalkingAndKeys) {
    RecordingParser p;
    // A block without <EventLog of its own takes the next one in the
    // document; a self-closed block repeats until the cut passes it.
    p.Run(R"(<Configuration><ConnectCom port="3"/>)"
          R"(<ConnectCom port="4"><EventLog maxAgeDays="9"/></ConnectCom>)");
    ASSERT_GE(p.calls.size(), 2u);
    EXPECT_EQ("Config()", p.calls.back());
    for (size_t i = 0; i + 1 < p.calls.size(); ++i)
        EXPECT_EQ("ConnectCfg(3,'',9,F)", p.calls[i]) << i;

    // The exact network key, the server read from the whole document, and
    // the GWay pair from behind its element.
    EXPECT_EQ("NetworkCfg(0) | Config()", p.Run(R"(Configuration<Network  port="2100"/>)"));
    EXPECT_EQ("ConnectServerCfg(2200,'10.0.0.1') | Config()",
              p.Run(R"(Configuration<X port="2200"/><ConnectServer ip="10.0.0.1" port="7"/>)"));
    p.Run(R"(<Configuration><GWay/><ConnectCom port="5"/>)");
    EXPECT_EQ(5u, OxGWayCfg::Instance().GetPort());
    EXPECT_FALSE(OxGWayCfg::Instance().IsEnabled());
}

// The debug line of every message goes to the console, whose form drops the
// first nine characters of a line; a one-character client line must not make
// that line too short.
TEST(XmlParserDeathTest, ShortMessageSurvivesTheConsoleLog) {
    Sandbox box;
    EXPECT_EXIT(
        {
            OxConfiguration::Instance()->SetAppPath(box.Root());
            logToConsole = true;
            TestPrintTask::Instance();
            RecordingParser p;
            for (const char* text : {"a", "<A/>", "Configuration"})
                p.Parse(text);
            delete TestPrintTask::Instance();  // drains the queue, closes the file
            std::string log = box.ReadFile("/var/log/debug/oxgw.log");
            exit(log.find("#-2;a    \n") != std::string::npos ? 0 : 3);
        },
        ::testing::ExitedWithCode(0), "");
}
