// The machine link against a fake controller on a loopback address, in this
// process: framing both ways, the boot and limiter timers, reconnecting.
#include "fakecontroller.h"
#include "gatewayprocess.h"
#include "reactortest.h"
#include "mdieditlink.h"
#include "proactor.h"
#include "timer.h"

#include <ace/Proactor.h>
#include <ace/Reactor.h>

#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <vector>

namespace {

// A link that records what it would hand to the parser.
class RecordingLink : public MDIEditLink {
  public:
    RecordingLink() : MDIEditLink(*ACE_Reactor::instance(), 1, nullptr) {}
    void ExecuteCommand(char* text) override { commands.emplace_back(text); }
    std::vector<std::string> commands;
};

using LinkTest = ReactorTest;

// Each row: reads in order, the commands they give, and what stays pending.
TEST_F(LinkTest, FramesSplitJoinedEmptyAndEndless) {
    const std::string garbage(64 * 1024, 'x');
    const struct {
        std::vector<std::string> reads;
        std::vector<std::string> commands;
        std::string pending;
    } cases[] = {
        // A frame split at every byte arrives once, whole.
        {{"u", "p", "d", " ", "5", ";", std::string(1, '\0')}, {"upd 5;"}, ""},
        // Several frames in one read, an empty frame between them, and the
        // tail of an unfinished one completed by the next read; data ending
        // exactly on a zero byte leaves nothing pending.
        {{std::string("a;\0\0b;\0c", 8), std::string("d;\0", 3)}, {"a;", "b;", "cd;"}, ""},
        // An over-long command is bounded and dropped whole; the next is intact.
        {std::vector<std::string>(80, garbage), {}, ""},
    };
    for (const auto& c : cases) {
        RecordingLink link;
        mySvcHandler handler;
        handler.setMdiEditLink(&link);
        for (const std::string& read : c.reads)
            handler.ProcessReceived(read.data(), read.size());
        if (c.reads.size() == 80) {
            EXPECT_LE(handler.PendingCommand().size(), 4u * 1024 * 1024);
            handler.ProcessReceived("tail\0ok;\0", 9);
            EXPECT_EQ(std::vector<std::string>{"ok;"}, link.commands);
            continue;
        }
        EXPECT_EQ(c.commands, link.commands) << c.reads.size();
        EXPECT_EQ(c.pending, handler.PendingCommand()) << c.reads.size();
    }
}

TEST_F(LinkTest, SendsFramesBootAndCompleteInfoRequest) {
    FakeController ctl(ip_, 2001);
    ASSERT_TRUE(ctl.Listening());
    RecordingLink link;
    ASSERT_TRUE(ctl.Accept(2000));

    // A "%%" in a command stands for one "%".
    std::string frame;
    for (const char* sent : {"exe 4 $ 100.100();", "exe 5 $ 7.201(\"50%%\");"}) {
        link.TransmitCommand(sent);
        ASSERT_TRUE(ctl.ReadFrame(frame, 2000));
        EXPECT_EQ(std::regex_replace(sent, std::regex("%%"), "%"), frame);
    }

    link.RequestCompleteInfo(true);
    ASSERT_TRUE(ctl.ReadFrame(frame, 2000));
    EXPECT_EQ("exe 1 $ 100.101 (-1);", frame);
    EXPECT_TRUE(link.WaitingForSync());

    // The boot command goes out from the proactor thread half a second later.
    link.Boot(true);
    EXPECT_FALSE(ctl.ReadFrame(frame, 200));
    ASSERT_TRUE(ctl.ReadFrame(frame, 3000));
    EXPECT_EQ("exe 8 $ 100.106();", frame);
}

TEST_F(LinkTest, RetryLoggingStopsAfterFiveFailuresAndRestartsAfterSuccess) {
    // A link that has just connected, whatever earlier links failed.
    auto ctl = std::make_unique<FakeController>(ip_, 2001);
    RecordingLink link;
    ASSERT_TRUE(ctl->Accept(2000));
    link.socketClose();
    ctl.reset();
    for (int round = 0; round < 2; ++round) {
        testing::internal::CaptureStderr();
        for (int i = 0; i < 7; ++i)
            link.socketConnect();
        std::string err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(5, CountOccurrences(err, "failed: ")) << round;
        // A success starts the count again.
        ctl = std::make_unique<FakeController>(ip_, 2001);
        EXPECT_EQ(0, link.socketConnect());
        ASSERT_TRUE(ctl->Accept(2000));
        link.socketClose();
        ctl.reset();
    }
}

}  // namespace
