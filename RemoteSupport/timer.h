// A restartable one-shot timer that expires on the proactor thread and tells
// its observers through Subject<Timer>.
//
// Timer is used from the reactor thread; its expiry arrives on the proactor
// thread. The work is done by a TimerImpl, an ACE_Handler. An implementation
// whose expiry has already left the proactor's timer queue cannot be reused:
// a restart then hands the timer a fresh implementation, and the old one
// deletes itself when its expiry finally arrives. The same happens when the
// Timer is deleted with an expiry on its way.
//
// Locks: the Timer's semaphore and the TimerImpl's semaphore, always taken
// in that order. Observers are called without either held, so Update may
// call Start on the same timer (that is how a periodic timer is made).
#pragma once

#include "observer.h"

#include <ace/Asynch_IO.h>
#include <ace/Proactor.h>
#include <ace/Semaphore.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

class TimerImpl;

class Timer : public Subject<Timer> {
  public:
    explicit Timer(ACE_Proactor& proactor);
    ~Timer() override;
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    // Starts the one-shot, or restarts it with the whole delay. ms must be
    // below 20000000 (an assertion). A no-op after CloseProactor.
    void Start(long ms);
    // Cancels the timer; the observers get nothing.
    void Stop();
    // True while an expiry is pending.
    bool IsRunning() const;
    // True once the timer has expired and has not been stopped since.
    bool ExecuteEvent() const;

    // At shutdown, before the proactor goes: from now on no timer schedules,
    // cancels or delivers anything.
    static void CloseProactor();
    static bool ProactorClosed();

  private:
    friend class TimerImpl;

    // Called by the implementation on the proactor thread, under its lock,
    // just before it releases the lock and notifies; EndNotify after.
    void BeginNotify();
    void EndNotify();

    TimerImpl* impl_;
    mutable ACE_Semaphore lock_{1};
    bool running_ = false;

    // A notification in progress on another thread keeps the destructor
    // waiting, so the observers' list outlives the walk over it.
    std::mutex notifyMutex_;
    std::condition_variable notifyDone_;
    int notifying_ = 0;
    std::thread::id notifyThread_;
};

class TimerImpl : public ACE_Handler {
  public:
    enum State { TS_IDLE = 0, TS_RUNNING = 1, TS_STOPPED = 2, TS_DISABLED = 3 };

    TimerImpl(ACE_Proactor& proactor, Timer& timer);
    TimerImpl(const TimerImpl&) = delete;
    TimerImpl& operator=(const TimerImpl&) = delete;

    // Returns the implementation that now carries the timer: this one, or a
    // new one when an expiry of this one is already on its way. Null when the
    // proactor is closed (nothing was done).
    TimerImpl* Start(long ms);
    void Stop();
    // The Timer is going: delete now, or at the expiry still to come.
    void Disable();

    bool IsRunning();
    bool IsIdle();

    void handle_time_out(const ACE_Time_Value& tv, const void* act) override;

    // Implementations alive in the process (for leak checks).
    static int Instances();

  private:
    ~TimerImpl() override;

    void Schedule();
    // True if the pending expiry was taken out of the proactor's queue.
    bool Cancel();
    TimerImpl* Restart();

    ACE_Proactor& timerProactor_;
    Timer* timer_;
    long timerId_ = -1;
    long ms_ = 0;
    int state_ = TS_IDLE;
    ACE_Semaphore lock_{1};

    static std::atomic<int> instances_;
};
