// Timer on a real proactor thread: expiries, restarts, stops and deletions,
// including the races with an expiry that has already left the timer queue.
//
// To make an expiry "in flight" on purpose, a blocker handler holds the
// proactor thread while the timer's expiry is taken out of the queue and
// posted; the test then acts on the timer and lets the blocker go.
#include "proactor.h"
#include "sandbox.h"
#include "timer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace {
using namespace std::chrono_literals;
constexpr auto kPatience = 10s;

// Counts timer updates and plain proactor expiries. As an observer it may
// restart the timer from Update; as a handler it may hold the proactor
// thread until released.
class Counter : public Observer<Timer>, public ACE_Handler {
  public:
    explicit Counter(bool hold = false) : hold_(hold) {}
    void Update(Timer* timer) override {
        std::lock_guard<std::mutex> guard(mutex_);
        ++count_;
        if (restarts_ > 0) {
            --restarts_;
            timer->Start(1);
        }
        changed_.notify_all();
    }
    void handle_time_out(const ACE_Time_Value&, const void*) override {
        std::unique_lock<std::mutex> guard(mutex_);
        ++count_;
        changed_.notify_all();
        changed_.wait_for(guard, kPatience, [&] { return !hold_; });
    }
    bool WaitFor(int count = 1) {
        std::unique_lock<std::mutex> guard(mutex_);
        return changed_.wait_for(guard, kPatience, [&] { return count_ >= count; });
    }
    int Count() {
        std::lock_guard<std::mutex> guard(mutex_);
        return count_;
    }
    void RestartFromUpdate(int times) { restarts_ = times; }
    void Release() {
        std::lock_guard<std::mutex> guard(mutex_);
        hold_ = false;
        changed_.notify_all();
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;
    int restarts_ = 0;
    bool hold_;
};

class TimerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        implsBefore_ = TimerImpl::Instances();
        // The process-wide proactor, as the server uses it; its loop runs
        // for the length of one test.
        OxInitProactor();
        proactor_ = ACE_Proactor::instance();
        proactor_->proactor_reset_event_loop();
        loop_ = std::thread([this] { proactor_->proactor_run_event_loop(); });
        // One expiry through the loop: the proactor's timer thread is up,
        // and a process that ends soon after cannot catch it half-started
        // (ACE would hang closing the proactor at exit).
        Flush();
    }
    void TearDown() override {
        proactor_->proactor_end_event_loop();
        loop_.join();
        EXPECT_TRUE(proactor_->timer_queue()->is_empty());
    }

    // Holds the proactor thread until the returned probe is released.
    std::unique_ptr<Counter> Block() {
        auto blocker = std::make_unique<Counter>(true);
        proactor_->schedule_timer(*blocker, nullptr, ACE_Time_Value::zero);
        EXPECT_TRUE(blocker->WaitFor());
        return blocker;
    }
    // Returns once the proactor has dispatched every expiry due within ms.
    void Flush(long ms = 0) {
        Counter sentinel;
        proactor_->schedule_timer(sentinel, nullptr, ACE_Time_Value(0, ms * 1000));
        ASSERT_TRUE(sentinel.WaitFor());
        // The sentinel's own dispatch is over once a second one has run.
        Counter after;
        proactor_->schedule_timer(after, nullptr, ACE_Time_Value::zero);
        ASSERT_TRUE(after.WaitFor());
    }
    int LiveImpls() const { return TimerImpl::Instances() - implsBefore_; }

    ACE_Proactor* proactor_ = nullptr;
    std::thread loop_;
    int implsBefore_ = 0;
};

TEST_F(TimerTest, ExpiryNotifiesOnceObserverMayRestartStopGivesNoUpdate) {
    Timer timer(*proactor_);
    Counter observer;
    timer.Attach(&observer);
    timer.Start(10);
    ASSERT_TRUE(observer.WaitFor(1));
    Flush(50);  // told once: the periodic count below is exact
    EXPECT_FALSE(timer.IsRunning());
    EXPECT_TRUE(timer.ExecuteEvent());  // expired and not stopped
    timer.Stop();                       // a stop after the expiry clears the event
    EXPECT_FALSE(timer.ExecuteEvent());

    // Update runs without the timer's locks: starting again from it is how
    // a periodic timer is made. The idle implementation is reused.
    observer.RestartFromUpdate(3);
    timer.Start(1);
    ASSERT_TRUE(observer.WaitFor(5));
    Flush(20);
    EXPECT_EQ(5, observer.Count());
    EXPECT_FALSE(timer.IsRunning());

    // A long delay replaced by a short one: the short one fires.
    timer.Start(3600000);
    timer.Start(5);
    ASSERT_TRUE(observer.WaitFor(6));
    // A short delay replaced by a long one (the longest accepted): nothing
    // before a later probe. The pending delay stopped leaves the queue
    // (checked at tear-down).
    timer.Start(20);
    timer.Start(19999999);
    Flush(200);
    EXPECT_EQ(6, observer.Count());
    timer.Stop();
    timer.Stop();  // stopping twice is harmless
    EXPECT_FALSE(timer.IsRunning());
    EXPECT_FALSE(timer.ExecuteEvent());
    EXPECT_EQ(1, LiveImpls());
}

TEST_F(TimerTest, RestartStopOrDeleteWithExpiryInFlightTellsObserversOnceAtMost) {
    Counter observer;
    auto timer = std::make_unique<Timer>(*proactor_);
    timer->Attach(&observer);
    // Each round: the expiry is posted, not delivered, when the timer is
    // acted on; a restart must take a fresh implementation, and the stale
    // expiry tells nobody and deletes its implementation. A deleted timer's
    // implementation outlives it until that expiry.
    const struct {
        bool stop, restart, erase;
        int implsInFlight, updates;
    } rounds[] = {{false, true, false, 2, 1},
                  {true, false, false, 1, 1},
                  {true, true, false, 2, 2},
                  {false, false, true, 1, 2}};
    for (const auto& r : rounds) {
        auto blocker = Block();
        timer->Start(1);
        // Every timer has left the queue: their expiries are posted.
        ASSERT_TRUE(WaitUntil([this] { return proactor_->timer_queue()->is_empty(); }, 10000, 1));
        if (r.stop)
            timer->Stop();
        if (r.restart)
            timer->Start(5);
        if (r.erase)
            timer.reset();
        EXPECT_EQ(r.restart, timer && timer->IsRunning());
        EXPECT_EQ(r.implsInFlight, LiveImpls());
        blocker->Release();
        if (r.restart) {
            ASSERT_TRUE(observer.WaitFor(r.updates));
        }
        Flush(50);
        EXPECT_EQ(r.updates, observer.Count());
        EXPECT_EQ(r.erase ? 0 : 1, LiveImpls());
        EXPECT_EQ(r.restart, timer && timer->ExecuteEvent());
    }

    // Deleted while pending: gone at once, and out of the queue.
    timer = std::make_unique<Timer>(*proactor_);
    timer->Start(3600000);
    timer.reset();
    EXPECT_EQ(0, LiveImpls());
}

using TimerDeathTest = TimerTest;

// CloseProactor is for good, so it is checked in a child process.
void CheckClosedProactor(ACE_Proactor& proactor) {
    Timer pending(proactor);
    Counter observer;
    pending.Attach(&observer);
    pending.Start(20);

    Timer::CloseProactor();
    Timer fresh(proactor);
    fresh.Attach(&observer);
    fresh.Start(1);
    pending.Start(1);  // a no-op: the 20 ms expiry stays the only one

    Counter sentinel;
    proactor.schedule_timer(sentinel, nullptr, ACE_Time_Value(0, 200000));
    bool fired = sentinel.WaitFor();
    fprintf(stderr, "idle=%d sentinel=%d updates=%d\n", !fresh.IsRunning(), fired,
            observer.Count());
    _exit(0);
}

TEST_F(TimerDeathTest, AfterCloseProactorNothingIsStartedOrDelivered) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(CheckClosedProactor(*proactor_), ::testing::ExitedWithCode(0),
                "idle=1 sentinel=1 updates=0");
}
}  // namespace
