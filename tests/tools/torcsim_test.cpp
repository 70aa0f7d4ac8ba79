// The machine controller simulator, run as the real build/torcsim binary on a
// loopback address of its own; the test plays the gateway over a real socket
// and reads every text it gets with the gateway's own command parser.
#include "fakecontroller.h"
#include "gatewayprocess.h"
#include "oxcommandparser.h"
#include "sandbox.h"
#include "xmlclient.h"

#include <gtest/gtest.h>

#include <random>
#include <regex>

namespace {

using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

constexpr int kWaitMs = 15000;

std::string WorldPath() {
    return std::string(OXGW_SOURCE_DIR) + "/tools/torcsim/worlds/line.oxw";
}
std::string TorcsimPath() {
    return std::string(OXGW_BUILD_DIR) + "/torcsim";
}

const std::string kZero(1, '\0');

// Texts up to and including the first that starts with prefix.
bool ReadUntil(XmlClient& link, const std::string& prefix, std::vector<std::string>& texts) {
    std::string t;
    while (link.ReadLine(t, kWaitMs)) {
        texts.push_back(t);
        if (t.compare(0, prefix.size(), prefix) == 0)
            return true;
    }
    return false;
}

// Feeds texts to the gateway's parser, in order, as the link would.
class GatewayParser {
  public:
    GatewayParser() { EXPECT_TRUE(parser_.Create(nullptr)); }
    // Empty when the text is good, otherwise what the parser said.
    std::string Check(const std::string& text) {
        std::vector<char> buffer(text.begin(), text.end());
        buffer.push_back('\0');
        CaptureStdout();  // the parser's own complaints
        int result = parser_.Parse(buffer.data());
        GetCapturedStdout();
        return result != 0 ? std::string("rejected: ") + parser_.GetErrorStr() : std::string();
    }
    // The gateway empties its store before it asks for a complete transfer.
    void Reset() { parser_.Reset(); }
    void CheckAll(const std::vector<std::string>& texts) {
        for (const std::string& t : texts)
            EXPECT_EQ("", Check(t)) << t;
    }

  private:
    OXCommandParser parser_;
};

// The n-th value of a text, counted from 0 after the opening bracket; the
// sample world's strings hold no ", ".
std::string Value(const std::string& text, size_t n) {
    size_t at = text.find('(') + 1;
    for (; n > 0 && at != 0; --n)
        at = text.find(", ", at) + 2;
    return at < 2 ? "" : text.substr(at, text.find_first_of(",)", at) - at);
}

const std::string* FindNew(const std::vector<std::string>& texts, long id) {
    std::regex head("^new [A-Za-z_<>, ]+\\(" + std::to_string(id) + ",");
    for (const std::string& t : texts)
        if (std::regex_search(t, head))
            return &t;
    return nullptr;
}

class TorcsimTest : public ::testing::Test {
  protected:
    std::unique_ptr<GatewayProcess> Start(const std::vector<std::string>& extra = {}) {
        ip_ = UniqueLoopbackIp();
        std::vector<std::string> args = {"--address", ip_, "--port", "1", "--world", WorldPath()};
        args.insert(args.end(), extra.begin(), extra.end());
        auto sim = std::make_unique<GatewayProcess>(
            box_.Root(), args, std::map<std::string, std::string>{}, TorcsimPath());
        EXPECT_TRUE(sim->WaitForStdout("torcsim: listening on " + ip_ + ":2001", kWaitMs))
            << sim->Stdout() << sim->Stderr();
        return sim;
    }

    // The gateway's end of the link.
    bool Connect() {
        link_ = std::make_unique<XmlClient>(ip_, 2001, kZero);
        return link_->Connected();
    }

    // The gateway's start conversation. Keeps the texts of the world transfer.
    void StartConversation() {
        gateway_.Reset();
        transfer_ = Call("exe 1 $ 100.101 (-1);");
        ASSERT_EQ("res 1 : 0;", transfer_.back());
        transfer_.pop_back();
        // The machine's time in seconds.
        std::vector<std::string> date = Call("exe 11 $ 100.109();");
        ASSERT_EQ(1u, date.size());
        EXPECT_TRUE(std::regex_match(date[0], std::regex("res 11 : 1[7-9][0-9]{8};"))) << date[0];
        EXPECT_EQ(std::vector<std::string>{"res 2 : 0;"}, Call("exe 2  $   100 . 102 (5);"));
    }

    size_t NewCount() const {
        size_t n = 0;
        for (const std::string& t : transfer_)
            n += t.compare(0, 4, "new ") == 0 ? 1 : 0;
        return n;
    }

    // Sends an exe and reads the answers up to its res or exc.
    std::vector<std::string> Call(const std::string& exe) {
        std::vector<std::string> texts;
        EXPECT_TRUE(link_->Send(exe + kZero));
        std::string t;
        while (link_->ReadLine(t, kWaitMs)) {
            texts.push_back(t);
            EXPECT_EQ("", gateway_.Check(t)) << t;
            if (t.compare(0, 4, "res ") == 0 || t.compare(0, 4, "exc ") == 0)
                break;
        }
        return texts;
    }

    Sandbox box_;
    std::string ip_;
    std::unique_ptr<XmlClient> link_;
    GatewayParser gateway_;
    std::vector<std::string> transfer_;
};

TEST_F(TorcsimTest, SampleWorldIsTransferredAndCommandsEvenHostileOnesAreAnswered) {
    auto sim = Start();
    ASSERT_TRUE(Connect());
    ASSERT_NO_FATAL_FAILURE(StartConversation());

    // Each text was read by the gateway's store (the conversation checked
    // that); the objects the gateway relies on are there.
    for (long id : {100L, 124L, 125L, 134L, 401L})
        EXPECT_NE(nullptr, FindNew(transfer_, id)) << id;

    // An update (and then the res) or the start of an exception. The object
    // count the machine announces is the number of objects sent.
    const std::pair<std::string, std::string> cases[] = {
        {"exe 9 $ 100.204;", "upd 100 (" + std::to_string(NewCount()) + ");"},
        {"exe 5 $2101.201(29.5);", "upd 2101 (1, 295);"},  // tenths of a degree
        {"exe 5 $2101.201(35.1);", "exc 5 : (4, "},        // above the maximum 35.0
        {"exe 5 $134.201(1);", "exc 5 : (2, "},            // the system state has no function 201
        {"exe 5 $777.201(1);", "exc 5 : (1, "},            // no such object
        {"exe 77 $ 100.100();", "exc 77 : (5, "},          // an exe the machine does not know
        {"exe 12 $ abc;", "exc 12 : (6, "},                // malformed
        {"exe 1002l 100.105(2101, 30, 2102, 99);", "exc 1002 : (4, "},
        // Outputs come without brackets; 202 switches off.
        {"exe 6 $4301.202;", "upd 4301 (0, 0);"},
        {"exe 8 $3102.201(900);", "upd 3102 (2, 900);"},
        {"exe 101 $6001.100(-1);", "upd 6001 (1, 1, \"Running\", 0, 0);"},
        // A reply the alarm offers answers it, and it goes with the new count.
        {"exe 102 $9001.100(9);", "exc 102 : (4, "},
        {"exe 102 $9001.100(1);", "del 9001 (" + std::to_string(NewCount() - 1) + ", "},
    };
    for (const auto& [exe, answer] : cases) {
        std::vector<std::string> texts = Call(exe);
        ASSERT_FALSE(texts.empty()) << exe;
        EXPECT_EQ(0u, texts[0].find(answer)) << exe << " -> " << texts[0];
        ASSERT_EQ(answer.compare(0, 4, "exc ") == 0 ? 1u : 2u, texts.size()) << exe;
        if (texts.size() == 2) {
            EXPECT_EQ("res " + exe.substr(4, exe.find(' ', 4) - 4) + " : 0;", texts[1]) << exe;
        }
    }

    // The refused dataset wrote nothing, not even its good first pair; the
    // next transfer carries what was changed.
    gateway_.Reset();
    std::vector<std::string> texts = Call("exe 1 $ 100.101 (-1);");
    ASSERT_NE(nullptr, FindNew(texts, 2101));
    EXPECT_EQ("295", Value(*FindNew(texts, 2101), 8)) << *FindNew(texts, 2101);

    // Hostile input neither ends the simulator nor stops its answers, which
    // the gateway's store, holding the world, reads as it would execute them.
    std::string junk;
    std::mt19937 random(4711);
    for (int i = 0; i < 300; ++i) {
        size_t length = random() % 200;
        for (size_t k = 0; k < length; ++k)
            junk.push_back(static_cast<char>(1 + random() % 255));
        junk.push_back('\0');
    }
    junk += "exe 99999999999999999999 $ 100.100();" + kZero + "exe 5 $2101.201((((;" + kZero;
    junk += std::string(2 << 20, 'x') + std::string(1, '\0');
    ASSERT_TRUE(link_->Send(junk));

    texts.clear();
    ASSERT_TRUE(link_->Send("exe 9 $ 100.204;" + kZero));
    ASSERT_TRUE(ReadUntil(*link_, "upd 100 ", texts)) << sim->Stdout().substr(0, 2000);
    ASSERT_TRUE(sim->Running());
    gateway_.CheckAll(texts);
    EXPECT_NE(std::string::npos, sim->Stdout().find("passed over up to its zero byte"));
}

TEST_F(TorcsimTest, ScriptedActionsArriveAsCommands) {
    box_.WriteFile("/run.oxs",
                   "# drive the line\ntimeout 20000\nwait attached\nset 3102 Value 301\n"
                   "raise 9002\nclear 9002\nwait recv exe 9 $ 4001\nupdate 134\ndrop\n"
                   "wait attached\nquit 7\n");
    auto sim = Start({"--script", box_.Path("/run.oxs")});
    ASSERT_TRUE(Connect());
    ASSERT_NO_FATAL_FAILURE(StartConversation());
    size_t objects = NewCount();

    std::vector<std::string> texts;
    ASSERT_TRUE(ReadUntil(*link_, "del 9002 ", texts));
    ASSERT_EQ(3u, texts.size());
    gateway_.CheckAll(texts);
    EXPECT_EQ("upd 3102 (0, 301);", texts[0]);
    EXPECT_EQ(0u, texts[1].find("new Alarm(9002, ")) << texts[1];
    EXPECT_EQ(std::to_string(objects + 1), Value(texts[1], 7)) << "the alarm announces the count";
    EXPECT_EQ(0u, texts[2].find("del 9002 (" + std::to_string(objects) + ", ")) << texts[2];

    texts.clear();
    ASSERT_TRUE(link_->Send("exe 9 $ 4001.204;" + kZero));
    ASSERT_TRUE(ReadUntil(*link_, "upd 134 ", texts));
    EXPECT_EQ((std::vector<std::string>{"upd 4001 (0, 25);", "res 9 : 0;", "upd 134 (2);"}), texts);
    EXPECT_TRUE(link_->WaitForClose(kWaitMs)) << "the script drops the link";

    ASSERT_TRUE(Connect());
    ASSERT_NO_FATAL_FAILURE(StartConversation());
    EXPECT_EQ(objects, NewCount());
    ASSERT_NE(nullptr, FindNew(transfer_, 3102));
    EXPECT_EQ("301", Value(*FindNew(transfer_, 3102), 10));
    EXPECT_TRUE(link_->WaitForClose(kWaitMs));
    EXPECT_EQ(7, sim->Wait(kWaitMs));
}

TEST_F(TorcsimTest, CheckReportsWhatIsWrongWithAWorld) {
    const std::string base = "class Object { const number Id; const string Name; };\n";
    // A world that works but lacks what the gateway relies on is warned
    // about; the sample world is clean.
    const std::string bare = base + "new Object(5, \"x\");\n";
    const std::string a = base + "class A : Object { number X; };\n";
    struct Case {
        std::string world;
        int code;
        const char* message;  // "": nothing on stderr
    } cases[] = {
        {base + "class A : Object { number X }\n", 2, "bad.oxw:2: expected ';' near '}'"},
        {base + "new A(1, \"a\");\n", 2, "bad.oxw:2: new of A, which is no class defined before"},
        {base + "class A : Object { Object R; };\nnew A(1, \"a\", @7);\n", 2,
         "bad.oxw:3: reference @7 to an object not defined before"},
        {a + "new A(1, \"a\", 5);\n\nnew A(1, \"b\", 6);\n", 2,
         "bad.oxw:5: object number 1 is used twice"},
        {base + "upd 1 (5);\n", 2, "bad.oxw:2: a world holds class, enum and new commands only"},
        {bare, 0, "no enum tagAccessRight"},
        {bare, 0, "no object announces ObjectCount"},
        {ReadWholeFile(WorldPath()), 0, ""},
    };
    for (const Case& c : cases) {
        box_.WriteFile("/bad.oxw", c.world);
        GatewayProcess sim(box_.Root(), {"--check", "--world", box_.Path("/bad.oxw")}, {},
                           TorcsimPath());
        EXPECT_EQ(c.code, sim.Wait(kWaitMs)) << c.world;
        if (*c.message == '\0')
            EXPECT_EQ("", sim.Stderr());
        else
            EXPECT_NE(std::string::npos, sim.Stderr().find(c.message)) << c.world << sim.Stderr();
    }
}

}  // namespace
