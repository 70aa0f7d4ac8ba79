// Logon bursts from the real gateway with the machine simulator: what a
// client with a protocol number sees of the machine's functions, against a
// client without one.
#include "gatewayprocess.h"
#include "gatewaytest.h"
#include "sandbox.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

constexpr int kWaitMs = 8000;

size_t CountHeads(const std::vector<std::string>& lines, const std::string& head) {
    return static_cast<size_t>(std::count_if(lines.begin(), lines.end(), [&](const std::string& l) {
        return l.compare(0, head.size(), head) == 0;
    }));
}

// The exact texts of each message are the object message tests'; here the
// kinds a client gets, with names and texts from the language.
TEST(LogonProcess, ProtocolDecidesHowFunctionsAreShown) {
    GatewayTestEnv env;
    env.Box().WriteFile(
        "/home/service/oxgw_english.ucs",
        ReadWholeFile(std::string(OXGW_SOURCE_DIR) + "/tools/torcsim/languages/oxgw_english.ucs"));
    auto sim = StartSimulator(env.Box().Root(), env.Ip());
    ASSERT_NE(nullptr, sim);
    auto gw = env.Start();
    ASSERT_TRUE(gw->WaitForStdout(Shown("COM 1: Connected\n"), kWaitMs));

    XmlClient modern(env.ClientPort()), old(env.ClientPort());
    std::vector<std::string> withProtocol, without;
    ASSERT_NO_FATAL_FAILURE(ConnectPort(modern, "english"));
    ASSERT_NO_FATAL_FAILURE(
        LogOn(modern, "level=\"Service\" autoTypeInfo=\"true\" protocol=\"1\"", &withProtocol));
    ASSERT_NO_FATAL_FAILURE(ConnectPort(old, "english"));
    ASSERT_NO_FATAL_FAILURE(LogOn(old, "level=\"Service\" autoTypeInfo=\"true\"", &without));

    // With a protocol: functions, their parameters and actions; without,
    // dialog events in the functions' place and no parameters or actions.
    const struct {
        const char* head;
        size_t with, without;
    } counts[] = {
        {"<Message><Function ", 4, 0},    {"<Message><FunctionEvent ", 4, 0},
        {"<Message><FuncParam ", 1, 0},   {"<Message><FuncParamEvent ", 1, 0},
        {"<Message><FuncAction ", 1, 0},  {"<Message><FuncActionEvent ", 1, 0},
        {"<Message><DialogEvent ", 0, 8},
    };
    for (const auto& c : counts) {
        EXPECT_EQ(c.with, CountHeads(withProtocol, c.head)) << c.head;
        EXPECT_EQ(c.without, CountHeads(without, c.head)) << c.head;
    }
    std::string all;
    for (const std::string& l : withProtocol)
        all += l + "\n";
    for (const char* text : {"<Object id=\"6001\" name=\"Production\"/>", "stateName=\"Idle\"",
                             "text=\"Volume to fill\"><Object id=\"6102\" name=\"Fill volume\"/>",
                             "text=\"Top up to level\"><Object id=\"6103\"/>"})
        EXPECT_NE(std::string::npos, all.find(text)) << text;

    StopGateway(*gw);
}

}  // namespace
