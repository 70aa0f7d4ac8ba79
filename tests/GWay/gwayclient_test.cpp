// gwayclient, run as the real build/gwayclient binary against the frame and
// block layers of a session listening on a loopback address of the test.
#include "gway_fixture.h"

#include "fakecontroller.h"
#include "gatewayprocess.h"

#include <ace/INET_Addr.h>
#include <ace/SOCK_Acceptor.h>

class GWayClientTest : public GWayLogTest {
  protected:
    void SetUp() override {
        GWayLogTest::SetUp();
        ACE_INET_Addr addr(static_cast<u_short>(0), UniqueLoopbackIp().c_str());
        ASSERT_EQ(0, acceptor_.open(addr, 1));
        acceptor_.get_local_addr(addr);
        addr_ = addr;
        acceptor_.enable(ACE_NONBLOCK);
    }
    void TearDown() override {
        gw_.reset();
        acceptor_.close();
        GWayLogTest::TearDown();
    }
    std::unique_ptr<GatewayProcess> Start(std::vector<std::string> args) {
        args.insert(args.begin(),
                    {"-h", addr_.get_host_addr(), "-p", std::to_string(addr_.get_port_number())});
        return std::make_unique<GatewayProcess>(box_.Root(), args,
                                                std::map<std::string, std::string>{},
                                                std::string(OXGW_BUILD_DIR) + "/gwayclient");
    }
    // Serves the client until it has printed text or ended.
    bool Serve(GatewayProcess& client, const std::string& text) {
        for (int i = 0; i < 2000 && client.Running(); ++i) {
            if (!text.empty() && client.Stdout().find(text) != std::string::npos)
                return true;
            ACE_SOCK_Stream peer;
            if (gw_ == nullptr && acceptor_.accept(peer) == 0) {
                gw_ = std::make_unique<GWayLayers>(reactor_, peer.get_handle());
                EXPECT_EQ(0, gw_->rx.open());
                gw_->recorder.replyData = replyData_;
            }
            ACE_Time_Value tv(0, 5000);
            reactor_.handle_events(tv);
        }
        return client.Stdout().find(text) != std::string::npos;
    }

    ACE_SOCK_Acceptor acceptor_;
    ACE_INET_Addr addr_;
    std::unique_ptr<GWayLayers> gw_;
    std::string replyData_;
};

TEST_F(GWayClientTest, SendsLongCommandPullsLongReplyThenWaitsForFrames) {
    std::string data(3000, 'c');
    box_.WriteFile("/command.bin", data);
    replyData_ = "Hello" + std::string(2495, '-');
    auto client = Start({"-c", "0x3005", "-f", box_.Path("/command.bin"), "-w"});
    ASSERT_TRUE(Serve(*client, "length 2500\n")) << client->Stderr();
    ASSERT_EQ(1u, gw_->recorder.commands.size());
    EXPECT_EQ(0x3005, gw_->recorder.commands[0].first);
    EXPECT_EQ(data, gw_->recorder.commands[0].second);
    gw_->btx.SendCommand(GWay::GWAY_COMMAND_CANCEL_CONNECTION);
    EXPECT_TRUE(Serve(*client, "command 0x1018, 0 bytes\n"));
    gw_.reset();
    EXPECT_EQ(3, client->Wait(5000));
    std::string out = client->Stdout();
    EXPECT_NE(std::string::npos, out.find("reply 0x3005 xmode 0 mstate 2\nlength 2500\n"
                                          "0000  48 65 6c 6c 6f 2d"));
    EXPECT_NE(std::string::npos, out.find("text: Hello---"));
}
