// The frame and block layers of one session on a real socket with a real
// reactor pumped on the test's thread; the interpreter is a recorder that
// answers every command with the reply data set by the test.
#pragma once

#include "gwayframe.h"
#include "oxconf.h"
#include "oxgway_block_receiver.h"
#include "oxgway_block_transmitter.h"
#include "oxgway_receiver.h"
#include "oxgway_transmitter.h"
#include "sandbox.h"
#include "testprint.h"

#include <ace/Reactor.h>
#include <ace/SOCK_Stream.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

struct GWayOwner : ACE_Event_Handler {
    explicit GWayOwner(ACE_Reactor* r) { reactor(r); }
    int closes = 0;
    int handle_close(ACE_HANDLE, ACE_Reactor_Mask) override {
        ++closes;
        return 0;
    }
};

struct GWayRecorder : OxGWayCommandSink, OxGWayMStateSource {
    std::vector<std::pair<int, std::string>> commands;
    OxGWayBlockTransmitter* replies = nullptr;
    bool answer = true;
    std::string replyData;
    void ExecuteCommand(int code, char* data, unsigned length) override {
        commands.emplace_back(code, std::string(data, length));
        if (answer)
            replies->SendReply(code, 0, replyData.data(), static_cast<unsigned>(replyData.size()));
    }
    int GetMState() override { return 2; }
};

// The layers of one session on a connected socket, set up as the session
// sets them up.
struct GWayLayers {
    GWayLayers(ACE_Reactor& reactor, ACE_HANDLE handle) : owner(&reactor) {
        stream.set_handle(handle);
        stream.enable(ACE_NONBLOCK);
        recorder.replies = &btx;
        tx.SetSocketId(7, "GWay");
        tx.SetBufferMax(100);
        rx.SetSessionId(7);
        brx.SetSessionId(7);
        btx.SetSessionId(7);
    }
    ~GWayLayers() {
        owner.reactor()->remove_handler(
            &rx, ACE_Event_Handler::ALL_EVENTS_MASK | ACE_Event_Handler::DONT_CALL);
        stream.close();
    }

    GWayOwner owner;
    ACE_SOCK_Stream stream;
    GWayRecorder recorder;
    OxGWayTransmitter tx{stream, owner, *owner.reactor()};
    OxGWayBlockTransmitter btx{recorder, tx};
    OxGWayBlockReceiver brx{recorder, btx};
    OxGWayReceiver rx{owner, stream, brx, tx};
};

// Debug print into the log file of a sandbox, for the tests to read.
class GWayLogTest : public ::testing::Test {
  protected:
    void SetUp() override {
        OxConfiguration::Instance()->SetAppPath(box_.Root());
        TestPrintSetMask(0, 0x6015);
        TestPrintTask::Instance();
    }
    void TearDown() override {
        TestPrintTask::Instance()->end_event_loop();
        TestPrintTask::Instance()->wait();
        delete TestPrintTask::Instance();
        OxConfiguration::Instance()->SetAppPath(ProcessSandboxRoot());
    }
    std::string Log() {
        TestPrintTask::Drain(500);
        return box_.ReadFile("/var/log/debug/oxgw.log");
    }
    bool Logged(const std::string& line) { return Log().find(line) != std::string::npos; }
    Sandbox box_;
    ACE_Reactor reactor_;
};

// The test as the host on the other end of a socket pair.
class GWayFramesTest : public GWayLogTest {
  protected:
    void SetUp() override {
        GWayLogTest::SetUp();
        int sv[2];
        ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, sv));
        host_ = sv[1];
        fcntl(host_, F_SETFL, O_NONBLOCK);
        gw_ = std::make_unique<GWayLayers>(reactor_, sv[0]);
        ASSERT_EQ(0, gw_->rx.open());
    }
    void TearDown() override {
        gw_.reset();
        close(host_);
        GWayLogTest::TearDown();
    }
    // Everything the server writes, up to two quiet reactor turns after the
    // first bytes, or 30 ms when nothing comes.
    std::string Read() {
        std::string got;
        char chunk[4096];
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(30);
        for (int quiet = 0; quiet < 2 && std::chrono::steady_clock::now() < end;) {
            ACE_Time_Value tv(0, 5000);
            reactor_.handle_events(tv);
            size_t before = got.size();
            ssize_t n;
            while ((n = read(host_, chunk, sizeof chunk)) > 0)
                got.append(chunk, static_cast<size_t>(n));
            quiet = got.size() == before && !got.empty() ? quiet + 1 : 0;
        }
        return got;
    }
    // Writes bytes as the host and returns what the server wrote back.
    std::string Exchange(const std::string& bytes) {
        EXPECT_EQ(static_cast<ssize_t>(bytes.size()), write(host_, bytes.data(), bytes.size()));
        return Read();
    }
    // The decoded frames of a server's output, without the ACKs.
    std::vector<GWay::GWayMessage> Frames(const std::string& bytes) {
        GWay::GWayStreamParser parser;
        parser.Feed(bytes.data(), bytes.size());
        std::vector<GWay::GWayMessage> out;
        std::string payload;
        while (parser.Next(payload)) {
            out.emplace_back();
            EXPECT_TRUE(GWay::DecodeGWayPayload(payload, out.back()));
        }
        return out;
    }
    int host_ = -1;
    std::unique_ptr<GWayLayers> gw_;
};
