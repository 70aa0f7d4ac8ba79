// The machine connection of the real binary against fake controllers: the
// start conversation byte for byte, recovery from a store out of step, stray
// results and a lost link. Several ports at once, the machine's log and the
// mail task are the connection and service tests'.
#include "gatewaytest.h"
#include "machineworld.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace {

constexpr int kStartMs = 10000;

const char* const kCompleteInfo = "exe 1 $ 100.101 (-1);";
const char* const kDateTime = "exe 11 $ 100.109();";
const char* const kAttach = "exe 2  $   100 . 102 (5);";
const char* const kSynchronise = "exe 4 $ 100.100();";

void SendAll(FakeController& ctl, const std::vector<std::string>& frames) {
    for (const std::string& frame : frames)
        ASSERT_TRUE(ctl.SendFrame(frame)) << frame;
}

void ExpectFrame(FakeController& ctl, const std::string& text, int ms = 5000) {
    std::string frame;
    ASSERT_TRUE(ctl.ReadFrame(frame, ms)) << "waiting for " << text;
    ASSERT_EQ(text, frame);
}

// Nothing more arrives within the time.
bool Quiet(FakeController& ctl, int ms = 300) {
    std::string frame;
    return !ctl.ReadFrame(frame, ms);
}

// The part of the conversation that follows the request for all objects.
void HandOver(FakeController& ctl, const std::vector<std::string>& world) {
    ASSERT_NO_FATAL_FAILURE(SendAll(ctl, world));
    ASSERT_TRUE(ctl.SendFrame("res 1 : 0;"));
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(ctl, kDateTime));
    ASSERT_TRUE(ctl.SendFrame("res 11 : 0;"));
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(ctl, kAttach));
    ASSERT_TRUE(ctl.SendFrame("res 2 : 0;"));
}

TEST(ConnectionProcess, StartConversationByteForByteAndInOrderAndAgainAfterALostLink) {
    GatewayTestEnv env;
    FakeController ctl(env.Ip(), 2001);
    ASSERT_TRUE(ctl.Listening());
    auto gw = env.Start();
    ASSERT_TRUE(ctl.Accept(kStartMs));
    auto opened = std::chrono::steady_clock::now();
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(ctl, kCompleteInfo));
    // One second passes between the socket's opening and the request.
    EXPECT_GE(std::chrono::steady_clock::now() - opened, std::chrono::milliseconds(900));

    ASSERT_NO_FATAL_FAILURE(HandOver(ctl, MachineWorld(42)));
    ASSERT_TRUE(WaitForLog(env, "Port 1, attached to objects\n")) << DebugLog(env);
    EXPECT_TRUE(Quiet(ctl));

    std::string log = DebugLog(env);
    std::vector<std::string> inOrder = {"COM 1: Open\n",
                                        "COM 1: Connecting\n",
                                        "Connection port 2001, requesting complete information.\n",
                                        "Port 1, Requesting Date and Time\n",
                                        "Time not handled!",
                                        "COM 1: Connected\n",
                                        "Serial Number: 4711-42\n",
                                        "Port 1, attached to objects\n"};
    size_t at = 0;
    for (const std::string& line : inOrder) {
        size_t found = log.find(line, at);
        ASSERT_NE(std::string::npos, found) << "missing or out of order: " << line << log;
        at = found + line.size();
    }

    // A lost link resets the state, and the conversation starts again.
    ctl.DropClient();
    ASSERT_TRUE(gw->WaitForStdout(Shown("Conection lost???\n"), kStartMs));
    ASSERT_TRUE(WaitForLog(env, "COM 1: No connection\n")) << DebugLog(env);

    // The link is back five seconds later, not before; a second after that
    // the conversation begins from its start.
    EXPECT_FALSE(ctl.Accept(1000));
    ASSERT_TRUE(ctl.Accept(8000));
    opened = std::chrono::steady_clock::now();
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(ctl, kCompleteInfo));
    EXPECT_GE(std::chrono::steady_clock::now() - opened, std::chrono::milliseconds(900));
    ASSERT_NO_FATAL_FAILURE(HandOver(ctl, MachineWorld(42)));
    ASSERT_TRUE(WaitForLog(env, "Port 1, attached to objects\n", 5000, 2));
    EXPECT_TRUE(Quiet(ctl));
    EXPECT_EQ(2, ctl.Accepts());
    StopGateway(*gw);
    log = DebugLog(env);
    EXPECT_EQ(std::string::npos, log.find("exe 4 $"));
    EXPECT_NE(std::string::npos, log.find("COM 1: Close\n"));
}

TEST(ConnectionProcess, StoreOutOfStepIsRecoveredWithACompleteTransfer) {
    GatewayTestEnv env;
    FakeController ctl(env.Ip(), 2001);
    auto gw = env.Start();
    ASSERT_TRUE(ctl.Accept(kStartMs));
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(ctl, kCompleteInfo));

    // The machine announces five objects and sends six: the sixth puts the
    // store out of step, and the gateway says so.
    ASSERT_NO_FATAL_FAILURE(SendAll(ctl, MachineWorld(42, 5)));
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(ctl, kSynchronise));
    ASSERT_TRUE(ctl.SendFrame("res 4 : 0;"));
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(ctl, kCompleteInfo));
    ASSERT_TRUE(WaitForLog(env, "Port 1, requesting complete information to synchronise.\n"));
    ASSERT_NO_FATAL_FAILURE(HandOver(ctl, MachineWorld(42)));
    ASSERT_TRUE(WaitForLog(env, "COM 1: Connected\n")) << DebugLog(env);
    ASSERT_TRUE(WaitForLog(env, "Port 1, attached to objects\n"));
    EXPECT_TRUE(Quiet(ctl));
    StopGateway(*gw);
}

TEST(ConnectionProcess, StrayResultsAndExceptionsDoNotDisturbTheConversation) {
    GatewayTestEnv env;
    FakeController ctl(env.Ip(), 2001);
    auto gw = env.Start();
    ASSERT_TRUE(ctl.Accept(kStartMs));
    ASSERT_NO_FATAL_FAILURE(ExpectFrame(ctl, kCompleteInfo));
    ASSERT_NO_FATAL_FAILURE(SendAll(ctl, MachineWorld(42)));
    // Results nobody asked for, exceptions nobody waits for and values of the
    // wrong kind: each is dropped or answered by the parser's message.
    ASSERT_NO_FATAL_FAILURE(
        SendAll(ctl, {"res 0 : 0;", "res 1500 : 0;", "res 3 : 0;", "res 1 : \"text\";",
                      "exc 1500 : (7, \"no such function\");", "exc 2 : 5;", "res 2 : 0;"}));
    ASSERT_TRUE(WaitForLog(env, "internal! (OxConnection::ExceptionReceived exeId=1500)\n"));
    ASSERT_TRUE(WaitForLog(env, "Port 1, attached to objects\n"));
    EXPECT_TRUE(Quiet(ctl));
    EXPECT_TRUE(WaitForLog(env, "Port 1, connection is Reset\n"));
    EXPECT_TRUE(WaitForLog(env, "Semantic Error: ER_INVALID_EXPRESSION_TYPE"));

    // The conversation goes on as usual.
    ASSERT_NO_FATAL_FAILURE(HandOver(ctl, {}));
    ASSERT_TRUE(WaitForLog(env, "COM 1: Connected\n"));
    EXPECT_TRUE(Quiet(ctl));
    StopGateway(*gw);
}

}  // namespace
