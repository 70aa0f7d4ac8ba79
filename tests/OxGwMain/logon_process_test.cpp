// Logon bursts from the real gateway with the machine simulator: what a
// client with a protocol number sees of the machine's functions, against a
// client without one.
#include "gatewayprocess.h"
#include "gatewaytest.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

constexpr int kWaitMs = 8000;

// Connects, logs on with the extra logon attributes given, and returns the
// burst between the list start and end.
std::vector<std::string> LogonBurst(XmlClient& client, const std::string& logonAttributes) {
    std::vector<std::string> burst;
    EXPECT_TRUE(client.Send(
        "<Message><Connect><CommParm port=\"1\" name=\"english\"/></Connect></Message>\r\n"
        "<Message><Logon level=\"Service\" autoTypeInfo=\"true\"" +
        logonAttributes + "/></Message>\r\n"));
    std::string line;
    EXPECT_TRUE(SkipTo(client, kListStart, line));
    while (client.ReadLine(line) && line != kListEnd)
        burst.push_back(line);
    EXPECT_EQ(kListEnd, line);
    return burst;
}

size_t CountHeads(const std::vector<std::string>& lines, const std::string& head) {
    return static_cast<size_t>(std::count_if(lines.begin(), lines.end(), [&](const std::string& l) {
        return l.compare(0, head.size(), head) == 0;
    }));
}

std::string Find(const std::vector<std::string>& lines, const std::string& part) {
    for (const std::string& l : lines)
        if (l.find(part) != std::string::npos)
            return l;
    return "";
}

TEST(LogonProcess, ProtocolDecidesHowFunctionsAreShown) {
    GatewayTestEnv env;
    std::ifstream ucs(std::string(OXGW_SOURCE_DIR) + "/tools/torcsim/languages/oxgw_english.ucs",
                      std::ios::binary);
    env.Box().WriteFile("/home/service/oxgw_english.ucs",
                        std::string(std::istreambuf_iterator<char>(ucs), {}));
    auto sim = StartSimulator(env.Box().Root(), env.Ip());
    ASSERT_NE(nullptr, sim);
    auto gw = env.Start();
    ASSERT_TRUE(gw->WaitForStdout(Shown("COM 1: Connected\n"), kWaitMs));

    XmlClient modern(env.ClientPort());
    XmlClient old(env.ClientPort());
    std::vector<std::string> withProtocol = LogonBurst(modern, " protocol=\"1\"");
    std::vector<std::string> without = LogonBurst(old, "");

    // With a protocol: functions, their parameters and actions, names and
    // texts from the language.
    EXPECT_EQ(
        "<Message><Function typeId=\"1\" deviceId=\"0\" enabled=\"1\" state=\"0\" "
        "autoStarted=\"0\" autoExecute=\"0\" stateName=\"Idle\" readAccess=\"User\" "
        "writeAccess=\"User\"><Object id=\"6001\" name=\"Production\"/><Context><Object "
        "id=\"100\"/></Context></Function></Message>",
        Find(withProtocol, "<Object id=\"6001\" name="));
    EXPECT_EQ(
        "<Message><FunctionEvent enabled=\"1\" state=\"0\" autoStarted=\"0\" autoExecute=\"0\" "
        "stateName=\"Idle\"><Object id=\"6001\"/></FunctionEvent></Message>",
        Find(withProtocol, "<Object id=\"6001\"/>"));
    EXPECT_EQ(
        "<Message><FuncParam dId=\"11\" name=\"Volume to fill\" min=\"50\" max=\"1200\" "
        "default=\"400\" decimals=\"0\" enabled=\"1\" unit=\"l\" text=\"Volume to fill\">"
        "<Object id=\"6102\" name=\"Fill volume\"/><Context><Object id=\"6101\" "
        "section=\"2\"/></Context></FuncParam></Message>",
        Find(withProtocol, "<Object id=\"6102\" name="));
    EXPECT_EQ(
        "<Message><FuncParamEvent dId=\"11\" enabled=\"1\" value=\"400\" text=\"Volume to "
        "fill\"><Object id=\"6102\"/></FuncParamEvent></Message>",
        Find(withProtocol, "<Object id=\"6102\"/>"));
    EXPECT_EQ(
        "<Message><FuncActionEvent dId=\"12\" enabled=\"1\" text=\"Top up to level\"><Object "
        "id=\"6103\"/></FuncActionEvent></Message>",
        Find(withProtocol, "<Object id=\"6103\"/>"));
    EXPECT_EQ(1u, CountHeads(withProtocol, "<Message><FuncAction "));
    EXPECT_EQ(4u, CountHeads(withProtocol, "<Message><Function "));
    EXPECT_EQ(4u, CountHeads(withProtocol, "<Message><FunctionEvent "));
    EXPECT_EQ(0u, CountHeads(withProtocol, "<Message><DialogEvent "));

    // Without: dialog events under the function names' closings, and no
    // parameters or actions of functions at all.
    EXPECT_EQ(
        "<Message><DialogEvent typeId=\"1\" deviceId=\"0\" enabled=\"1\" state=\"0\" "
        "autoStarted=\"0\" autoExecute=\"0\" stateName=\"Idle\" readAccess=\"User\" "
        "writeAccess=\"User\"><Object id=\"6001\" name=\"Production\"/><Context><Object "
        "id=\"100\"/></Context></Function></Message>",
        Find(without, "<Object id=\"6001\" name="));
    EXPECT_EQ(
        "<Message><DialogEvent enabled=\"1\" state=\"0\" autoStarted=\"0\" autoExecute=\"0\" "
        "stateName=\"Idle\"><Object id=\"6001\"/></FunctionEvent></Message>",
        Find(without, "<Object id=\"6001\"/>"));
    EXPECT_EQ("", Find(without, "<Object id=\"6102\""));
    EXPECT_EQ("", Find(without, "<Object id=\"6103\""));
    EXPECT_EQ(8u, CountHeads(without, "<Message><DialogEvent "));
    // Everything else is the same for both.
    std::vector<std::string> rest;
    for (const std::string& l : withProtocol)
        if (l.find("<Message><Func") != 0)
            rest.push_back(l);
    std::vector<std::string> restWithout;
    for (const std::string& l : without)
        if (l.find("<Message><DialogEvent") != 0)
            restWithout.push_back(l);
    // Alarm events carry the time of sending, which may differ by a second.
    auto untimed = [](std::vector<std::string> lines) {
        lines.erase(std::remove_if(lines.begin(), lines.end(),
                                   [](const std::string& l) {
                                       return l.find("<AlarmEvent") != std::string::npos;
                                   }),
                    lines.end());
        return lines;
    };
    EXPECT_EQ(untimed(rest), untimed(restWithout));
    StopGateway(*gw);
}

}  // namespace
