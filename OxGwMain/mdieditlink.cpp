#include "mdieditlink.h"

#include "oxconn.h"
#include "testprint.h"

#include <ace/INET_Addr.h>
#include <ace/Proactor.h>

#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Failed connects are logged five times; the counter is shared by all ports.
int connectRetryCount = 0;

// A complete transfer of a large world has long commands, but a peer that
// never sends a zero byte must not make the pending command grow for ever.
constexpr size_t kMaxCommandLength = 4 * 1024 * 1024;

const void* const kActConnect = reinterpret_cast<const void*>(1);
const void* const kActLinkMode = reinterpret_cast<const void*>(2);

// The transmit buffer treats a command as a printf format without arguments:
// "%%" stands for one "%". Any other "%" is kept as it stands, since a
// conversion without its argument has no defined text.
std::string FormatWithoutArguments(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        out += text[i];
        if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == '%')
            ++i;
    }
    return out;
}

}  // namespace

// ---------------------------------------------------------------- mySvcHandler

mySvcHandler::mySvcHandler() : rxBuffer_(new char[kReadSize + 1]) {
    rxBuffer_[0] = '\0';
}

mySvcHandler::~mySvcHandler() {
    delete[] rxBuffer_;
}

int mySvcHandler::open(void*) {
    TestPrintF(0, "Connection established\n");
    ACE_Reactor::instance()->register_handler(this, ACE_Event_Handler::READ_MASK);
    ACE_Reactor::instance()->schedule_timer(this, kActLinkMode, ACE_Time_Value(1));
    return 0;
}

void mySvcHandler::connect() {
    TestPrintF(0, "Trying to connect...\n");
    if (link_ == nullptr || link_->socketConnect() == -1)
        TestPrintF(0, "Socket connection failed!\n");
}

int mySvcHandler::handle_input(ACE_HANDLE) {
    ssize_t n = ACE::recv(peer().get_handle(), rxBuffer_, kReadSize);
    if (n == -1) {
        TestPrintF(0, "recv_n failed: %s\n", rxBuffer_);
        return -1;
    }
    if (n == 0) {
        TestPrintF(0, "Conection lost???\n");
        return -1;
    }
    rxBuffer_[n] = '\0';
    ProcessReceived(rxBuffer_, static_cast<size_t>(n));
    return 0;
}

void mySvcHandler::ProcessReceived(const char* data, size_t length) {
    const char* p = data;
    const char* end = data + length;
    for (;;) {
        size_t len = strnlen(p, static_cast<size_t>(end - p));
        if (command_.size() + len <= kMaxCommandLength) {
            command_.append(p, len);
        } else if (!command_.empty() || len > 0) {
            TestPrintF(4, "MDIEditLink: command longer than %lu bytes discarded\n",
                       static_cast<unsigned long>(kMaxCommandLength));
            command_.clear();
            discarding_ = true;
        }
        if (p + len >= end)
            return;  // no terminator yet: wait for the next read

        if (discarding_) {
            discarding_ = false;  // the tail of a discarded command
        } else if (command_.empty()) {
            TestPrintF(0, "Empty Command Received\n");
        } else {
            TestPrintF(128, "Command = %.80s\n", command_.c_str());
            if (link_ != nullptr)
                link_->ExecuteCommand(&command_[0]);
        }
        if (link_ != nullptr)
            link_->Synchronise();
        command_.clear();
        p += len + 1;
    }
}

int mySvcHandler::handle_close(ACE_HANDLE, ACE_Reactor_Mask) {
    TestPrintF(0, "handle_close!!!\n");
    command_.clear();
    discarding_ = false;
    if (link_ != nullptr)
        link_->socketClose();
    ACE_Reactor::instance()->schedule_timer(this, kActConnect, ACE_Time_Value(5));
    return -1;
}

int mySvcHandler::handle_timeout(const ACE_Time_Value&, const void* act) {
    if (act == kActConnect) {
        connect();
    } else if (act == kActLinkMode) {
        TestPrintF(0, "pConnection->LinkModeChange(OXLink::OXLM_TORC)\n");
        if (link_ != nullptr && link_->GetConnection() != nullptr)
            link_->GetConnection()->LinkModeChange(OXLink::OXLM_TORC);
    }
    return 0;
}

void mySvcHandler::sendCommand(const char* data, int length) {
    ssize_t sent = ACE::send_n(peer().get_handle(), data, static_cast<size_t>(length));
    if (sent != length) {
        TestPrintF(0, "send_n failed: %s\n", data);
        return;
    }
    TestPrintF(0, ">> %.400s (len=%d)\n", data, length);
    TestPrintF(0, "%d, %d, %d, %d, %d, %d, %d, %d\n", data[0], data[1], data[2], data[3], data[4],
               data[5], data[6], data[7]);
}

// ---------------------------------------------------------------- MDIEditLink

MDIEditLink::MDIEditLink(ACE_Reactor& reactor, int port, OxConnection* connection)
    : transmit_(15000),
      pConnection_(connection),
      tcpPort_(2000 + port),
      requestAllInfoTimer_(*ACE_Proactor::instance()),
      bootTimer_(*ACE_Proactor::instance()),
      socketHandler_(new mySvcHandler()),
      connector_(new ACE_Connector<mySvcHandler, ACE_SOCK_CONNECTOR>(&reactor)) {
    bool created = parser_.Create(pConnection_);
    assert(created && "parser.Create(pConnection)");
    (void)created;
    requestAllInfoTimer_.Attach(this);
    bootTimer_.Attach(this);
    socketHandler_->setMdiEditLink(this);
    socketHandler_->connect();
}

MDIEditLink::~MDIEditLink() {
    requestAllInfoTimer_.Detach(this);
    bootTimer_.Detach(this);
    requestAllInfoTimer_.Stop();
    bootTimer_.Stop();
    socketHandler_->setMdiEditLink(nullptr);
    // Removes the handler from the reactor, cancels its timers, closes the socket.
    socketHandler_->destroy();
    delete connector_;
}

int MDIEditLink::socketConnect() {
    if (socketHandler_ == nullptr) {
        TestPrintF(0, "SocketHandler == 0!!!\n");
        return -1;
    }
    const char* host = getenv("OXGW_APPLICATION_IP");
    if (host != nullptr) {
        TestPrintF(4, "OXGW_APPLICATION_IP=%s\n", host);
    } else {
        host = "localhost";
    }
    ACE_INET_Addr addr(static_cast<u_short>(tcpPort_), host, AF_INET);
    mySvcHandler* handler = socketHandler_;
    int result = connector_->connect(handler, addr, ACE_Synch_Options::defaults,
                                     ACE_sap_any_cast(const ACE_INET_Addr&), 0, O_RDWR);
    if (result == -1) {
        if (connectRetryCount < 5) {
            ++connectRetryCount;
            TestPrintF(4, "OxGw: Socket connection retry %d ", connectRetryCount);
            perror("failed");
            if (connectRetryCount == 5) {
                connectRetryCount = 6;
                TestPrintF(4, "OxGw: Socket connection logging disabled...\n");
            }
        }
    } else {
        connectRetryCount = 0;
    }
    return result;
}

void MDIEditLink::socketClose() {
    // Out of the reactor before the handle goes: a closed handle can no longer
    // be found there, and the entry would outlive the handler.
    ACE_Reactor::instance()->remove_handler(
        socketHandler_, ACE_Event_Handler::ALL_EVENTS_MASK | ACE_Event_Handler::DONT_CALL);
    socketHandler_->peer().close();
    connector_->close();
    if (pConnection_ != nullptr)
        pConnection_->LinkModeChange(OXLink::OXLM_NONE);
    transmit_.Reset();
    parser_.Reset();
    transmitBuffer_.clear();
}

bool MDIEditLink::TransmitCommand(std::string text) {
    if (!transmit_.IsEmpty()) {
        transmitBuffer_.push_back(text);
        TestPrintF(32,
                   "MDIEditLink::TransmitCommand transmitBuffer is not empty, the command is "
                   "buffered, size %d\n",
                   static_cast<int>(transmitBuffer_.size()));
        return true;
    }
    std::string formatted = FormatWithoutArguments(text);
    transmit_.AppendN(formatted.data(), static_cast<unsigned int>(formatted.size()));
    transmit_.AppendN("", 1);
    if (text.size() < 250) {
        TestPrintF(32, "MDIEditLink::TransmitCommand %s\n", text.c_str());
    } else {
        TestPrintF(32, "MDIEditLink::TransmitCommand %s ....\n", text.substr(0, 249).c_str());
    }
    socketHandler_->sendCommand(transmit_.ConsumerCursor(), transmit_.CharsLeftToConsume());
    transmit_.Reset();
    return true;
}

void MDIEditLink::ExecuteCommand(char* text) {
    parser_.Parse(text);
    TestPrintF(4096, "%.250s\n", text);
}

void MDIEditLink::Synchronise() {
    switch (GetObjectManager().InSync()) {
        case 1:
            waitingForSync_ = false;
            break;
        case 2:
            if (waitingForSync_)
                return;
            parser_.Reset();
            TransmitCommand("exe 4 $ 100.100();");
            waitingForSync_ = true;
            break;
        default:
            break;
    }
}

void MDIEditLink::RequestCompleteInfo(bool reset) {
    if (reset) {
        transmit_.Reset();
        parser_.Reset();
        transmitBuffer_.clear();
    }
    waitingForSync_ = true;
    TransmitCommand("exe 1 $ 100.101 (-1);");
    TestPrintF(32, "Connection port %d, requesting complete information.\n", tcpPort_);
}

void MDIEditLink::ResetParser() {
    parser_.Reset();
    waitingForSync_ = true;
}

char MDIEditLink::RequestAllInfo() {
    if (!requestAllInfoTimer_.IsRunning()) {
        requestCount_ = 1;
        requestAllInfoTimer_.Start(300000);
    } else {
        ++requestCount_;
        if (requestCount_ > 3 && requestAllowed_) {
            requestAllowed_ = false;
            requestAllInfoTimer_.Stop();
            requestAllInfoTimer_.Start(300000);
            TestPrintF(32, "Request all info timer started\n");
        }
    }
    return requestAllowed_;
}

void MDIEditLink::Boot(bool now) {
    if (now) {
        bootTimer_.Start(500);
    } else {
        TestPrintF(2, "Booting in 10 secs.\n");
        bootTimer_.Start(10000);
    }
}

void MDIEditLink::Update(Timer* timer) {
    if (timer == &bootTimer_) {
        TestPrintF(2, "Sending boot command.\n");
        TransmitCommand("exe 8 $ 100.106();");
    }
}
