// Frames, acks, joining and splitting of the gateway protocol, with the test
// as the host on a real socket pair.
#include "gway_fixture.h"

using GWay::MakeGWayCommand;
using GWay::MakeGWayFrame;

namespace {
std::string Spoil(std::string frame, size_t fromEnd) {
    frame[frame.size() - fromEnd] ^= 0x01;
    return frame;
}
std::vector<std::string> Bytes(const std::string& s) {
    std::vector<std::string> out;
    for (char c : s)
        out.emplace_back(1, c);
    return out;
}
}  // namespace

TEST_F(GWayFramesTest, ReceiverCutsAcksAndResynchronises) {
    struct Case {
        const char* name;
        std::vector<std::string> writes;  // the server stays silent until the last
        unsigned long acks;
        std::vector<std::pair<int, std::string>> commands;
        const char* logLine;
    };
    const std::string big(1014, 'd');
    const std::string c1 = MakeGWayCommand(0x3001, "xy"), c2 = MakeGWayCommand(0x3002, "");
    // clang-format off
    const Case cases[] = {
        {"one byte at a time", Bytes(c1), 1, {{0x3001, "xy"}}, nullptr},
        {"two frames in one read", {c1 + c2}, 2, {{0x3001, "xy"}, {0x3002, ""}}, nullptr},
        {"host ack and garbage between frames", {"\x06" + c1 + "xyz" + c2}, 2,
         {{0x3001, "xy"}, {0x3002, ""}}, nullptr},
        {"bad checksum drops to the next zero, then the next DLE", {Spoil(c1, 3) + c2}, 1,
         {{0x3002, ""}}, "GWay(7): Error: Checksum error in received command\n"},
        {"bad tail", {Spoil(c1, 2) + c2}, 1, {{0x3002, ""}},
         "GWay(7): Error: Unexpected message tail received\n"},
        {"largest payload 1017", {MakeGWayCommand(0x3003, big)}, 1, {{0x3003, big}}, nullptr},
        {"payloads of 0, 1 and 2 bytes",
         {MakeGWayFrame("") + MakeGWayFrame(std::string(1, '\0')) + MakeGWayFrame("\x01\x30")}, 3,
         {}, "GWay(7): Warn: No GWay Command in Data\n"},
        // Last: a payload of 1018 fills the buffer, the next recv gets 0 bytes.
        {"payload of 1018 never completes", {std::string("\x10\x02\x03\xFA") + std::string(1030, 'z')},
         0, {}, "GWay(7): Client Closing Connection\n"},
    };
    // clang-format on
    gw_->recorder.answer = false;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        gw_->recorder.commands.clear();
        std::string back;
        for (size_t i = 0; i < c.writes.size(); ++i) {
            back = Exchange(c.writes[i]);
            EXPECT_TRUE(i + 1 == c.writes.size() || back.empty());
        }
        EXPECT_EQ(std::string(c.acks, '\x06'), back);
        EXPECT_EQ(c.commands, gw_->recorder.commands);
        EXPECT_TRUE(c.logLine == nullptr || Logged(c.logLine));
        EXPECT_EQ(c.acks == 0 && c.commands.empty(), gw_->owner.closes == 1);
    }
    EXPECT_EQ(OxGWayReceiver::CLOSED_BY_HOST, gw_->rx.GetClosedReason());
}

TEST_F(GWayFramesTest, JoinsFlaggedBlocksUpTo64KiB) {
    for (unsigned total : {65536u, 65537u}) {
        SCOPED_TRACE(total);
        gw_->recorder.commands.clear();
        std::string data(total, 'j');
        size_t at = 0;
        unsigned long nexts = 0;
        for (; total - at > GWay::MAX_PAYLOAD - 3; at += GWay::MAX_PAYLOAD - 3) {
            auto frames = Frames(Exchange(MakeGWayCommand(0, data.substr(at, 1014), true)));
            nexts += frames.size() == 1 && frames[0].code == GWay::GWAY_COMMAND_NEXT_BLOCK;
        }
        Exchange(MakeGWayCommand(0x3004, data.substr(at)));
        EXPECT_EQ(at / 1014, nexts);
        if (total == 65536) {
            ASSERT_EQ(1u, gw_->recorder.commands.size());
            EXPECT_EQ(0x3004, gw_->recorder.commands[0].first);
            EXPECT_EQ(data, gw_->recorder.commands[0].second);
        } else {
            EXPECT_TRUE(gw_->recorder.commands.empty());
            EXPECT_TRUE(Logged("GWay(7): Error: Buffer Overflow\n"));
        }
        EXPECT_EQ(0u, gw_->brx.GetLength());
    }
}

TEST_F(GWayFramesTest, RepliesAreSplitAndPulledBlockByBlock) {
    struct Case {
        unsigned length;
        std::vector<size_t> frameSizes;  // first at once, the rest on 0x1010
    };
    for (const Case& c : {Case{1008, {1024}}, Case{1009, {1024, 17}}, Case{0, {16}}}) {
        SCOPED_TRACE(c.length);
        gw_->recorder.replyData.assign(c.length, 'r');
        std::string back = Exchange(MakeGWayCommand(0x3005, "q"));
        for (size_t i = 0; i < c.frameSizes.size(); ++i) {
            if (i > 0)
                back = Exchange(MakeGWayCommand(GWay::GWAY_COMMAND_NEXT_BLOCK, ""));
            ASSERT_EQ(c.frameSizes[i] + 1, back.size());
            auto frames = Frames(back);
            ASSERT_EQ(1u, frames.size());
            EXPECT_TRUE(frames[0].isReply);
            EXPECT_EQ(i + 1 < c.frameSizes.size(), frames[0].more);
            EXPECT_EQ(i == 0 ? 0x3005 : 0x1010, frames[0].code);
            EXPECT_EQ(2, frames[0].mstate);
            EXPECT_EQ(c.frameSizes[i] - 16, frames[0].data.size());
        }
        EXPECT_EQ(0, gw_->btx.GetLastCommand());
    }
    EXPECT_EQ("\x06", Exchange(MakeGWayCommand(GWay::GWAY_COMMAND_NEXT_BLOCK, "")));
    EXPECT_TRUE(Logged("GWay(7): Error: Unexpected GWAY_COMMAND_NEXT_BLOCK received\n"));
}

TEST_F(GWayFramesTest, RepeatedCommandDropsTheOldReplyOthersQueueBehind) {
    gw_->recorder.replyData.assign(3000, 'r');  // three blocks
    auto first = Frames(Exchange(MakeGWayCommand(0x3005, "")));
    ASSERT_EQ(1u, first.size());
    EXPECT_EQ(0x3005, gw_->btx.GetLastCommand());
    EXPECT_EQ(2u, gw_->btx.QueuedBlocks());
    // Another command: its reply waits behind the blocks of the first.
    EXPECT_EQ("\x06", Exchange(MakeGWayCommand(0x3006, "")));
    EXPECT_EQ(5u, gw_->btx.QueuedBlocks());
    // The same command again: the old blocks go, the new reply starts at once.
    auto again = Frames(Exchange(MakeGWayCommand(0x3005, "")));
    ASSERT_EQ(1u, again.size());
    EXPECT_EQ(0x3005, again[0].code);
    EXPECT_TRUE(again[0].more);
    EXPECT_EQ(2u, gw_->btx.QueuedBlocks());
    EXPECT_TRUE(Logged("GWay(7): Already transmitting;0x3005\n"));
    for (bool more : {true, false}) {
        auto next = Frames(Exchange(MakeGWayCommand(GWay::GWAY_COMMAND_NEXT_BLOCK, "")));
        ASSERT_EQ(1u, next.size());
        EXPECT_EQ(more, next[0].more);
        EXPECT_EQ(0x1010, next[0].code);
    }
    EXPECT_EQ(0, gw_->btx.GetLastCommand());
}

TEST_F(GWayFramesTest, PoolExhaustionOnlyLoses) {
    std::vector<char*> held;
    while (char* b = gw_->tx.GetMessageBuffer())
        held.push_back(b);
    EXPECT_EQ(GWay::POOL_BLOCKS, held.size());
    EXPECT_EQ("", Exchange(MakeGWayCommand(0x3007, "z")));
    EXPECT_EQ(1u, gw_->recorder.commands.size());
    EXPECT_TRUE(Logged("GWay(7): Error: Unable to send ack\n"));
    EXPECT_TRUE(Logged("GWay(7): Error: Unable to send reply; 0x3007\n"));
    for (char* b : held)
        gw_->tx.ReleaseBuffer(b);
    EXPECT_EQ(17u, Exchange(MakeGWayCommand(0x3007, "z")).size());  // ack and empty reply
    EXPECT_EQ(0, gw_->owner.closes);
}

TEST_F(GWayFramesTest, FullWriterQueueClosesAndResetEmptiesThePool) {
    for (int i = 0; i < 99; ++i)
        gw_->btx.SendCommand(GWay::GWAY_COMMAND_CANCEL_CONNECTION);
    EXPECT_EQ(0, gw_->owner.closes);
    gw_->btx.SendCommand(GWay::GWAY_COMMAND_CANCEL_CONNECTION);
    EXPECT_EQ(1, gw_->owner.closes);
    gw_->tx.Reset();
    EXPECT_TRUE(Logged("GWay(7): Connection slow, restart connection ListMax=100!\n"));
    EXPECT_TRUE(Logged("GWay(7): OxGWayTransmitter::Reset;100;0\n"));
    EXPECT_EQ(0u, gw_->tx.BuffersInUse());
}

// A host that stops reading: once its socket is full every send fails, each
// failure waits 5 s, and the seventh, about 30 s after the first, closes.
TEST_F(GWayFramesTest, HostThatStopsReadingIsClosedAfterThirtySeconds) {
    int small = 4096;
    ASSERT_EQ(0, setsockopt(gw_->stream.get_handle(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small));
    auto pump = [this](int seconds) {
        auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        while (gw_->owner.closes == 0 && std::chrono::steady_clock::now() < end) {
            ACE_Time_Value tv(0, 20000);
            reactor_.handle_events(tv);
        }
    };
    for (int i = 0; i < 60; ++i) {
        char* block = gw_->tx.GetMessageBuffer();
        ASSERT_NE(nullptr, block);
        memset(block, 'x', 1000);
        gw_->tx.SendGWayMessage(block, 1000);
        ACE_Time_Value tv(0, 1000);
        reactor_.handle_events(tv);
    }
    pump(24);
    EXPECT_EQ(0, gw_->owner.closes);
    pump(16);
    EXPECT_LE(1, gw_->owner.closes);
    EXPECT_TRUE(Logged("GWay(7): Client is not responding. Closing connection!\n"));
}
