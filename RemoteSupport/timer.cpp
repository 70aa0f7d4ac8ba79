#include "timer.h"

#include "testprint.h"

#include <cstdio>
#include <cstdlib>

namespace {
// Written once at shutdown, read by both threads.
std::atomic<bool> proactorClosed{false};

// Assertions that hold in every build: a broken timer invariant is a
// programming error and ends the process through SIGABRT.
[[noreturn]] void TimerAssertFailed(const char* text, int line, const char* function) {
    fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", __FILE__, line, function, text);
    fflush(stderr);
    abort();
}
}  // namespace

#define TIMER_ASSERT(cond, text) \
    ((cond) ? (void)0 : TimerAssertFailed(text, __LINE__, __PRETTY_FUNCTION__))

// ---------------------------------------------------------------- Timer

Timer::Timer(ACE_Proactor& proactor) : impl_(new TimerImpl(proactor, *this)) {}

Timer::~Timer() {
    lock_.acquire();
    impl_->Disable();
    impl_ = nullptr;
    lock_.release();

    // An expiry that got in before Disable may still be walking the
    // observers; wait for it, unless it is this very thread (an observer
    // deleting the timer from its Update).
    std::unique_lock<std::mutex> guard(notifyMutex_);
    notifyDone_.wait(
        guard, [this] { return notifying_ == 0 || notifyThread_ == std::this_thread::get_id(); });
}

void Timer::Start(long ms) {
    lock_.acquire();
    TimerImpl* next = impl_->Start(ms);
    if (next != nullptr) {
        impl_ = next;
        running_ = true;
    }
    lock_.release();
}

void Timer::Stop() {
    lock_.acquire();
    impl_->Stop();
    running_ = false;
    lock_.release();
}

bool Timer::IsRunning() const {
    lock_.acquire();
    bool result = impl_->IsRunning();
    lock_.release();
    return result;
}

bool Timer::ExecuteEvent() const {
    lock_.acquire();
    bool result = impl_->IsIdle() && running_;
    lock_.release();
    return result;
}

void Timer::CloseProactor() {
    proactorClosed = true;
}

bool Timer::ProactorClosed() {
    return proactorClosed;
}

void Timer::BeginNotify() {
    std::lock_guard<std::mutex> guard(notifyMutex_);
    ++notifying_;
    notifyThread_ = std::this_thread::get_id();
}

void Timer::EndNotify() {
    std::lock_guard<std::mutex> guard(notifyMutex_);
    --notifying_;
    notifyDone_.notify_all();
}

// ---------------------------------------------------------------- TimerImpl

std::atomic<int> TimerImpl::instances_{0};

TimerImpl::TimerImpl(ACE_Proactor& proactor, Timer& timer)
    : ACE_Handler(&proactor), timerProactor_(proactor), timer_(&timer) {
    ++instances_;
}

TimerImpl::~TimerImpl() {
    --instances_;
}

int TimerImpl::Instances() {
    return instances_;
}

void TimerImpl::Schedule() {
    // One-shot: no interval. A periodic user starts again from Update.
    // Seconds and microseconds apart: ms * 1000 would overflow a 32-bit long
    // (the board's) from about 36 minutes on.
    ACE_Time_Value delay(ms_ / 1000, (ms_ % 1000) * 1000);
    timerId_ = timerProactor_.schedule_timer(*this, nullptr, delay);
    if (timerId_ == -1) {
        TestPrintF(4, "Timer: schedule_timer failed\n");
        state_ = TS_IDLE;
    } else {
        state_ = TS_RUNNING;
    }
}

bool TimerImpl::Cancel() {
    // A closed proactor is not touched; the timer counts as removed.
    if (proactorClosed)
        return true;
    return timerProactor_.cancel_timer(timerId_, nullptr, 1) != 0;
}

TimerImpl* TimerImpl::Restart() {
    // The expiry in flight will find TS_DISABLED and delete this object.
    state_ = TS_DISABLED;
    TimerImpl* fresh = new TimerImpl(timerProactor_, *timer_);
    TimerImpl* started = fresh->Start(ms_);
    return started != nullptr ? started : fresh;
}

TimerImpl* TimerImpl::Start(long ms) {
    if (proactorClosed)
        return nullptr;
    TIMER_ASSERT(ms < 20000000, "ms<20000000");

    TimerImpl* result = this;
    lock_.acquire();
    ms_ = ms;
    switch (state_) {
        case TS_IDLE:
            Schedule();
            break;
        case TS_RUNNING:
            if (Cancel())
                Schedule();
            else
                result = Restart();
            break;
        case TS_STOPPED:
            result = Restart();
            break;
        default:
            TIMER_ASSERT(false, "false");
    }
    lock_.release();
    return result;
}

void TimerImpl::Stop() {
    lock_.acquire();
    switch (state_) {
        case TS_IDLE:
        case TS_STOPPED:
            break;
        case TS_RUNNING:
            // Nothing removed: the expiry is on its way and must be ignored.
            state_ = Cancel() ? TS_IDLE : TS_STOPPED;
            break;
        default:
            TIMER_ASSERT(false, "false");
    }
    lock_.release();
}

void TimerImpl::Disable() {
    lock_.acquire();
    bool deleteNow = false;
    switch (state_) {
        case TS_IDLE:
            deleteNow = true;
            break;
        case TS_RUNNING:
            if (Cancel())
                deleteNow = true;
            else
                state_ = TS_DISABLED;
            break;
        case TS_STOPPED:
            state_ = TS_DISABLED;
            break;
        default:
            TIMER_ASSERT(false, "false");
    }
    lock_.release();
    if (deleteNow)
        delete this;
}

bool TimerImpl::IsRunning() {
    lock_.acquire();
    bool result = state_ == TS_RUNNING;
    lock_.release();
    return result;
}

bool TimerImpl::IsIdle() {
    lock_.acquire();
    bool result = state_ == TS_IDLE;
    lock_.release();
    return result;
}

void TimerImpl::handle_time_out(const ACE_Time_Value& /*tv*/, const void* /*act*/) {
    if (proactorClosed)
        return;

    lock_.acquire();
    switch (state_) {
        case TS_RUNNING: {
            state_ = TS_IDLE;
            // After the release the Timer may replace or delete this object:
            // touch nothing of it from here on.
            Timer* timer = timer_;
            timer->BeginNotify();
            lock_.release();
            timer->Notify(-1);
            timer->EndNotify();
            return;
        }
        case TS_STOPPED:
            state_ = TS_IDLE;
            lock_.release();
            return;
        case TS_DISABLED:
            lock_.release();
            delete this;
            return;
        default:
            TIMER_ASSERT(false, "false");
    }
}
