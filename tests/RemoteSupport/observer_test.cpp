// Subject/observer with aspects, and the bounds of List.
#include "list.h"
#include "observer.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

class Thing : public Subject<Thing> {};

class Recorder : public Observer<Thing> {
  public:
    explicit Recorder(std::vector<Recorder*>* log = nullptr) : log_(log) {}
    void Update(Thing* thing) override {
        ++updates;
        if (log_ != nullptr)
            log_->push_back(this);
        if (detachSelf)
            thing->Detach(this);
    }
    int updates = 0;
    bool detachSelf = false;

  private:
    std::vector<Recorder*>* log_;
};

TEST(Observer, AspectsAreHeldOncePerObserverAndDetachRemovesAll) {
    Thing thing;
    Recorder observer, all;
    thing.Attach(&observer, 5);
    thing.Attach(&observer, 5);
    thing.Attach(&all);  // every aspect
    EXPECT_EQ(2, thing.ObserverCount());
    // Each step: the aspect notified (-2: NotifyAll) and the expected counts.
    const struct {
        int attach, notify, observerUpdates, allUpdates;
    } steps[] = {{0, 5, 1, 1}, {0, 6, 1, 2},  {6, 6, 2, 3},
                 {0, 5, 3, 4}, {0, -1, 3, 5}, {0, -2, 4, 6}};
    for (const auto& s : steps) {
        if (s.attach != 0)
            thing.Attach(&observer, s.attach);
        s.notify == -2 ? thing.NotifyAll() : thing.Notify(s.notify);
        EXPECT_EQ(s.observerUpdates, observer.updates) << s.notify;
        EXPECT_EQ(s.allUpdates, all.updates) << s.notify;
    }

    EXPECT_TRUE(thing.Detach(&observer));
    EXPECT_EQ(1, thing.ObserverCount());
    thing.NotifyAll();
    EXPECT_EQ(4, observer.updates);
    EXPECT_FALSE(thing.Detach(&observer));
}

TEST(Observer, SelfDetachDuringNotifySkipsTheNextObserver) {
    // The walk reads the bound at each step: the next observer moves up into
    // the freed place and misses this round, but not the next.
    std::vector<Recorder*> order;
    Thing thing;
    Recorder first(&order), second(&order), third(&order);
    thing.Attach(&first);
    thing.Attach(&second);
    thing.Attach(&third);
    first.detachSelf = true;
    thing.Notify(1);
    EXPECT_EQ((std::vector<Recorder*>{&first, &third}), order);
    EXPECT_EQ(2, thing.ObserverCount());
    thing.Notify(1);
    EXPECT_EQ(1, second.updates);
    EXPECT_EQ(2, third.updates);
}

TEST(List, GrowsKeepsOrderAndChecksBounds) {
    List<int> list(2);
    for (int i = 0; i < 5; ++i)
        list.Add(i * 10);
    EXPECT_EQ(5, list.Count());
    EXPECT_EQ(40, list[4]);
    EXPECT_EQ(2, list.Find(20));
    EXPECT_EQ(-1, list.Find(7));
    list.Remove(1);  // the tail moves down
    EXPECT_EQ(4, list.Count());
    EXPECT_EQ(20, list[1]);
    EXPECT_THROW(list[4], Error);
}

}  // namespace
