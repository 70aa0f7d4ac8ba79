// The writer on a real socket pair with a small send buffer: many queued
// messages leave in order, byte for byte, with the tail behind each, whether
// the socket takes them whole, in part or not at all for a while.
#include "gway_fixture.h"

#include <algorithm>
#include <memory>
#include <string>

namespace {

class SocketWriterTest : public GWayLogTest {
  protected:
    void SetUp() override {
        GWayLogTest::SetUp();
        int sv[2];
        ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, sv));
        peer_ = sv[1];
        fcntl(peer_, F_SETFL, O_NONBLOCK);
        int small = 16384;
        setsockopt(sv[0], SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
        stream_.set_handle(sv[0]);
        stream_.enable(ACE_NONBLOCK);
        // One write turn per pump, so that the test reads between turns and
        // the writer seldom meets a full socket (which costs a 5 s retry).
        reactor_.max_notify_iterations(1);
    }
    void TearDown() override {
        writer_.reset();
        stream_.close();
        close(peer_);
        GWayLogTest::TearDown();
    }
    // Pumps the reactor and reads the peer until `bytes` came or nothing
    // came for longer than the writer's retry interval after a full socket.
    std::string ReadAll(size_t bytes) {
        std::string got;
        char chunk[1500];
        auto end = std::chrono::steady_clock::now() + std::chrono::seconds(7);
        while (got.size() < bytes && std::chrono::steady_clock::now() < end) {
            ACE_Time_Value tv(0, 2000);
            reactor_.handle_events(tv);
            ssize_t n;
            while ((n = read(peer_, chunk, sizeof chunk)) > 0) {
                got.append(chunk, static_cast<size_t>(n));
                end = std::chrono::steady_clock::now() + std::chrono::seconds(7);
            }
        }
        return got;
    }
    int peer_ = -1;
    ACE_SOCK_Stream stream_;
    GWayOwner owner_{&reactor_};
    std::unique_ptr<SocketWriter> writer_ =
        std::make_unique<SocketWriter>(stream_, owner_, reactor_, 30, 0);
};

TEST_F(SocketWriterTest, QueuedMessagesLeaveInOrderWithTheirTail) {
    writer_->SetTail("\r\n");
    struct Case {
        int messages;
        size_t size;  // 0: sizes vary from 1 to 3000
    } cases[] = {{1, 5}, {500, 100}, {300, 0}, {3, 70000}};
    for (const Case& c : cases) {
        std::string expected;
        for (int i = 0; i < c.messages; ++i) {
            size_t size = c.size != 0 ? c.size : 1 + (static_cast<size_t>(i) * 997) % 3000;
            std::string text(size, static_cast<char>('a' + i % 26));
            text.replace(0, std::min(size, std::to_string(i).size()), std::to_string(i));
            writer_->Send(text);
            expected += text + "\r\n";
        }
        std::string got = ReadAll(expected.size());
        ASSERT_EQ(expected.size(), got.size()) << c.messages << " messages";
        EXPECT_TRUE(got == expected) << c.messages << " messages";
        EXPECT_EQ(0u, writer_->Queued());
    }
    EXPECT_EQ(0, owner_.closes);
}

}  // namespace
