#include "oxemailtask.h"

#include "fileutil.h"

#include "oxconn.h"
#include "oxobjectmanager.h"
#include "oxservice.h"
#include "oxstatusvisitor.h"
#include "testprint.h"

#include <ace/Reactor.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

OxEMailTask* theMailTask = nullptr;

// The status mail reports the machine on this port.
const int kStatusPort = 3;
const int kRetrySeconds = 5;

const void* AccountArg(int account) {
    return reinterpret_cast<const void*>(static_cast<intptr_t>(account));
}

bool AlarmActivated(const std::vector<int>& types, int type) {
    return std::find(types.begin(), types.end(), type) != types.end();
}

// The access level of an account as the number the status filter compares.
int AccessLevelNumber(const std::string& level) {
    if (level == "Admin")
        return 2;
    if (level == "Service")
        return 4;
    if (level == "RAD")
        return 5;
    return 1;
}

void WriteStatusDump(const std::string& text) {
    std::string path = OxConfiguration::Instance()->MakeAbsPath("/home/service/statusdump.xml");
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0664);
    if (fd < 0)
        return;
    fchmod(fd, 0664);
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n <= 0)
            break;
        done += static_cast<size_t>(n);
    }
    close(fd);
}

std::string ProcessorNameOfPort(int port) {
    OxConfiguration* cfg = OxConfiguration::Instance();
    for (int i = 0; i < cfg->ProcessorInfo_Count(); ++i)
        if (static_cast<int>(cfg->GetProcessorPort(i)) == port)
            return cfg->GetProcessorName(i);
    return std::string();
}

}  // namespace

OxEMailTask* OxEMailTask::Instance() {
    if (theMailTask == nullptr)
        theMailTask = new OxEMailTask();
    return theMailTask;
}

void OxEMailTask::DeleteInstance() {
    if (theMailTask == nullptr)
        return;
    OxConfiguration::SetStatusMailTimers(nullptr);
    delete theMailTask;
    theMailTask = nullptr;
}

OxEMailTask::OxEMailTask() : dialer(false) {
    std::fill(std::begin(statusTimer), std::end(statusTimer), -1L);
    OxConfiguration::SetStatusMailTimers(this);
}

OxEMailTask::~OxEMailTask() {
    for (int i = 0; i < OxConfiguration::MAX_EMAIL_ACCOUNTS; ++i)
        if (statusTimer[i] != -1)
            ACE_Reactor::instance()->cancel_timer(statusTimer[i]);
    if (opened) {
        end_event_loop();
        wait();
    }
    // Jobs handed over after the stop request.
    ACE_Message_Block* block = nullptr;
    ACE_Time_Value now(ACE_Time_Value::zero);
    while (!msg_queue()->is_empty() && getq(block, &now) != -1) {
        const OxEMailData* data = nullptr;
        memcpy(&data, block->rd_ptr(), sizeof data);
        delete data;
        block->release();
    }
}

int OxEMailTask::open(void* /*args*/) {
    if (opened)
        return 0;
    if (activate(THR_NEW_LWP | THR_JOINABLE, 1) == -1)
        return -1;
    opened = true;
    return 0;
}

void OxEMailTask::end_event_loop() {
    const OxEMailData* none = nullptr;
    auto* block = new ACE_Message_Block(sizeof none);
    memcpy(block->wr_ptr(), &none, sizeof none);
    block->wr_ptr(sizeof none);
    if (putq(block) == -1)
        block->release();
}

void OxEMailTask::SendMail(const OxEMailData* data) {
    TestPrintF(0, "SendMail...\n");
    if (OxConfiguration::Instance()->GetEMailAccounts() == 0) {
        delete data;
        return;
    }
    auto* block = new ACE_Message_Block(sizeof data);
    memcpy(block->wr_ptr(), &data, sizeof data);
    block->wr_ptr(sizeof data);
    TestPrintF(0, "OxEMailTask: enqueued %p\n", static_cast<const void*>(data));
    if (msg_queue()->enqueue_prio(block, nullptr) == -1) {
        block->release();
        delete data;
    }
}

int OxEMailTask::svc() {
    for (;;) {
        ACE_Message_Block* block = nullptr;
        if (getq(block) == -1)
            break;
        const OxEMailData* data = nullptr;
        memcpy(&data, block->rd_ptr(), sizeof data);
        block->release();
        if (data == nullptr)
            break;
        SendMailImpl(*data);
        delete data;
        // A burst is queued first and delivered in one go.
        if (msg_queue()->is_empty()) {
            mailer.Mail(nullptr);
            StopDialUpPpp();
        }
    }
    StopDialUpPpp();
    return 0;
}

void OxEMailTask::SendMailImpl(const OxEMailData& data) {
    OxConfiguration* cfg = OxConfiguration::Instance();
    auto* alarm = dynamic_cast<const OxEMailAlarm*>(&data);
    auto* status = dynamic_cast<const OxEMailStatus*>(&data);
    for (int i = 0; i < cfg->GetEMailAccounts(); ++i) {
        if (!cfg->GetEMailActive(i))
            continue;
        if (alarm != nullptr) {
            // A status account takes status mail only.
            if (cfg->IsStatusEMail(i))
                continue;
            if (!AlarmActivated(cfg->GetEMailAlarmType(i), alarm->GetAlarmType()))
                continue;
        }
        if (status != nullptr && status->GetEmailIndex() != i)
            continue;
        if (cfg->GetEMailDialUp(i))
            StartDialUpPpp();  // the mail is queued whatever the outcome
        if (!cfg->GetEMailSMTPServer(i).empty() && !cfg->GetEMailReceiver(i).empty())
            SendSMTPMail(data, i);
    }
}

void OxEMailTask::SendSMTPMail(const OxEMailData& data, int account) {
    OxConfiguration* cfg = OxConfiguration::Instance();
    FileUtil::ModifyLine(cfg->MakeAbsPath("/etc/omta.conf").c_str(), "SMTPserver",
                         cfg->GetEMailSMTPServer(account).c_str(), nullptr, 1);
    std::string text = "From: " + cfg->GetEMailSender(account) + "\n";
    text += "To: ";
    for (const std::string& receiver : cfg->GetEMailReceiver(account))
        text += receiver + "; ";
    text += "\n";
    text += "Subject: " + data.GetSubject(account) + "\n";
    text += "\n";
    text += data.GetBody(account) + "\n";
    text += ".\n";
    if (!mailer.AddToQueue(text.c_str()))
        TestPrintF(4, "OxEMailTask: mailer.AddToQueue failed!\n");
}

// ---------------------------------------------------------------- dial-up

bool OxEMailTask::StartDialUpPpp() {
    if (dialUpRunning) {
        TestPrintF(0x200, "DialUpPpp already running\n");
        return true;
    }
    TestPrintF(0x200, "Dialing...\n");
    if (!dialer.Run("wvdial hmras")) {
        TestPrintF(0x200, "Run(wvdial hmras) failed\n");
        return false;
    }
    dialUpRunning = true;
    std::string said;
    for (int i = 0; i < 30; ++i) {
        sleep(2);
        char buffer[81];
        bool read = dialer.ReadStderror(buffer, 80);
        if (read && buffer[0] == '\0')
            break;  // the dialler closed its output: it has ended
        fputs(buffer, stdout);
        fflush(stdout);
        said += buffer;
        if (said.find("--> Starting pppd") != std::string::npos)
            break;
    }
    RunProgram ifconfig(false);
    if (!ifconfig.Run("ifconfig ppp0")) {
        TestPrintF(0x200, "Run(ifconfig ppp0) failed\n");
        StopDialUpPpp();
        return false;
    }
    int exitCode = 0;
    if (!ifconfig.WaitForTermination(10, &exitCode)) {
        TestPrintF(0x200, "ifconfig ppp0 WaitForTermination failed\n");
        StopDialUpPpp();
        return false;
    }
    if (exitCode != 0) {
        TestPrintF(0x200, "Starting ppp failed - exitCode = %ld\n", static_cast<long>(exitCode));
        StopDialUpPpp();
        return false;
    }
    TestPrintF(0x200, "Ppp started...\n");
    return true;
}

void OxEMailTask::StopDialUpPpp() {
    if (!dialUpRunning)
        return;
    if (!dialer.WaitForEnd(1, nullptr)) {
        TestPrintF(0x200, "Hanging up...\n");
        dialer.Kill(2);
        if (!dialer.WaitForEnd(10, nullptr))
            dialer.Terminate();
    }
    dialUpRunning = false;
}

// ---------------------------------------------------------------- status timers

long OxEMailTask::ScheduleStatus(int account, int seconds) {
    statusTimer[account] =
        ACE_Reactor::instance()->schedule_timer(this, AccountArg(account), ACE_Time_Value(seconds));
    return statusTimer[account];
}

void OxEMailTask::StartStatusTimer(int account) {
    TestPrintF(0, "StartStatusTimer no %d\n", account);
    if (account < 0 || account >= OxConfiguration::MAX_EMAIL_ACCOUNTS)
        return;
    StopStatusTimer(account);
    if (ScheduleStatus(account, kRetrySeconds) == -1)
        TestPrintF(4, "Unable to schedule email status timer!\n");
}

void OxEMailTask::StopStatusTimer(int account) {
    TestPrintF(0, "StopStatusTimer no %d\n", account);
    if (account < 0 || account >= OxConfiguration::MAX_EMAIL_ACCOUNTS)
        return;
    if (statusTimer[account] != -1)
        ACE_Reactor::instance()->cancel_timer(statusTimer[account]);
    statusTimer[account] = -1;
}

int OxEMailTask::handle_timeout(const ACE_Time_Value& /*now*/, const void* arg) {
    int account = static_cast<int>(reinterpret_cast<intptr_t>(arg));
    if (account < 0 || account >= OxConfiguration::MAX_EMAIL_ACCOUNTS)
        return 0;
    statusTimer[account] = -1;
    OxConfiguration* cfg = OxConfiguration::Instance();
    OxConnectionMan* connections = OxConnectionMan::Instance();
    OxConnection* connection = connections->OxGetConnection(kStatusPort, false);
    if (connection != nullptr)
        connection->IncRefCount();
    std::string serialNo = connection != nullptr ? connection->GetSerialNo() : std::string();
    if (serialNo.empty()) {
        TestPrintF(0, "OxEMailTask: Email #%d wating for serialno...\n", account);
        if (ScheduleStatus(account, kRetrySeconds) == -1)
            TestPrintF(4, "Unable to schedule email timeout!\n");
        if (connection != nullptr)
            connections->Release(connection);
        return 0;
    }
    if (cfg->GetEMailActive(account)) {
        int interval = cfg->GetEMailStatusInterval(account);
        TestPrintF(0, "OxEMailTask: statusTimer[%d] = %d\n", account, interval);
        if (interval >= 1 && ScheduleStatus(account, interval * 60) == -1)
            TestPrintF(4, "Unable to schedule email timeout!\n");
    }
    TestPrintF(0, "OxEMailTask: Email #%d status dump \n", account);
    OXStatusVisitor::Filter filter;
    filter.level = AccessLevelNumber(cfg->GetEMailAccessLevel(account));
    filter.groups = cfg->GetEMailGroups(account);
    filter.parameters = cfg->GetEMailParameters(account);
    filter.inputDevices = cfg->GetEMailInputDevices(account);
    filter.outputDevices = cfg->GetEMailOutputDevices(account);
    filter.definitions = cfg->GetEMailDefinitions(account);
    OXStatusVisitor visitor(filter, ProcessorNameOfPort(kStatusPort), serialNo);
    TestPrintF(0, "OxEMailTask: Visit Start\n");
    connection->GetObjectManager().Visit(visitor);
    TestPrintF(0, "OxEMailTask: Visit End\n");
    visitor.SetEndTag();
    std::string report = visitor.GetStatus();
    SendMail(new OxEMailStatus(account, report, serialNo));
    WriteStatusDump(report);
    connections->Release(connection);
    return 0;
}
