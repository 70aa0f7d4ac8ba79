// The e-mail task: one thread that mails alarms and status reports to the
// configured accounts through the board's mail queue (omta), dialling out
// first where an account asks for it. Any thread hands it a job with
// SendMail and goes on; the machine connection never waits for mail.
//
// The status timers run on the reactor: each status account's timer builds
// the status report of the machine on port 3 and hands it over as a job.
#pragma once

#include "omtamailer.h"
#include "oxconf.h"
#include "oxemailalarm.h"
#include "oxemaildata.h"
#include "oxemailstatus.h"
#include "runprogram.h"

#include <ace/Synch_Traits.h>
#include <ace/Task.h>

class OxEMailTask : public ACE_Task<ACE_MT_SYNCH>, public OxStatusMailTimers {
  public:
    static OxEMailTask* Instance();
    // Cancels the timers, waits for the thread and drops what is still
    // queued.
    static void DeleteInstance();

    // Starts the thread.
    int open(void* args = nullptr) override;
    int svc() override;
    // Asks the thread to end after the jobs queued before.
    void end_event_loop();

    // Any thread. Takes ownership of the job.
    void SendMail(const OxEMailData* data);

    void StartStatusTimer(int account) override;
    void StopStatusTimer(int account) override;
    // A status timer (reactor thread); account is the slot number.
    int handle_timeout(const ACE_Time_Value& now, const void* account) override;

  private:
    OxEMailTask();
    ~OxEMailTask() override;

    void SendMailImpl(const OxEMailData& data);
    void SendSMTPMail(const OxEMailData& data, int account);
    bool StartDialUpPpp();
    void StopDialUpPpp();
    long ScheduleStatus(int account, int seconds);

    long statusTimer[OxConfiguration::MAX_EMAIL_ACCOUNTS];
    OmtaMailer mailer;
    RunProgram dialer;
    bool dialUpRunning = false;
    bool opened = false;
};
