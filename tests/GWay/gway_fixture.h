// The frame and block layer of one gateway session, wired as the session
// wires it, on one end of a real socket pair with a real reactor pumped on
// the test's thread. The test plays the host on the other end. The command
// interpreter is a recorder that answers every command with the reply set
// by the test.
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

class GWayFramesTest : public ::testing::Test {
  protected:
    GWayFramesTest() {
        int sv[2];
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, sv));
        stream_.set_handle(sv[0]);
        stream_.enable(ACE_NONBLOCK);
        host_ = sv[1];
        fcntl(host_, F_SETFL, O_NONBLOCK);
        recorder_.replies = &btx_;
        tx_.SetSocketId(7, "GWay");
        tx_.SetBufferMax(100);
        rx_.SetSessionId(7);
        brx_.SetSessionId(7);
        btx_.SetSessionId(7);
    }
    void SetUp() override {
        OxConfiguration::Instance()->SetAppPath(box_.Root());
        TestPrintSetMask(0, 0x6015);
        TestPrintTask::Instance();
        ASSERT_EQ(0, rx_.open());
    }
    void TearDown() override {
        TestPrintTask::Instance()->end_event_loop();
        TestPrintTask::Instance()->wait();
        delete TestPrintTask::Instance();
        OxConfiguration::Instance()->SetAppPath(ProcessSandboxRoot());
    }
    ~GWayFramesTest() override {
        reactor_.remove_handler(&rx_,
                                ACE_Event_Handler::ALL_EVENTS_MASK | ACE_Event_Handler::DONT_CALL);
        stream_.close();
        close(host_);
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
    // The decoded frames of a server's output, ACKs counted apart.
    std::vector<GWay::GWayMessage> Frames(const std::string& bytes, unsigned long* acks = nullptr) {
        GWay::GWayStreamParser parser;
        parser.Feed(bytes.data(), bytes.size());
        std::vector<GWay::GWayMessage> out;
        std::string payload;
        while (parser.Next(payload)) {
            out.emplace_back();
            EXPECT_TRUE(GWay::DecodeGWayPayload(payload, out.back()));
        }
        if (acks != nullptr)
            *acks = parser.Acks();
        return out;
    }
    std::string Log() {
        TestPrintTask::Drain(500);
        return box_.ReadFile("/var/log/debug/oxgw.log");
    }

    Sandbox box_;
    ACE_Reactor reactor_;
    GWayOwner owner_{&reactor_};
    ACE_SOCK_Stream stream_;
    int host_ = -1;
    GWayRecorder recorder_;
    OxGWayTransmitter tx_{stream_, owner_, reactor_};
    OxGWayBlockTransmitter btx_{recorder_, tx_};
    OxGWayBlockReceiver brx_{recorder_, btx_};
    OxGWayReceiver rx_{owner_, stream_, brx_, tx_};
};
