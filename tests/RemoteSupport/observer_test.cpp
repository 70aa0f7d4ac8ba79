// Subject/observer with aspects, and the bounds of List.
#include "list.h"
#include "observer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

class Thing : public Subject<Thing> {};

class Recorder : public Observer<Thing> {
  public:
    explicit Recorder(std::vector<Recorder*>* log = nullptr) : log_(log) {}
    void Update(Thing* thing) override {
        ++updates;
        last = thing;
        if (log_ != nullptr)
            log_->push_back(this);
        if (detachSelf)
            thing->Detach(this);
    }
    int updates = 0;
    Thing* last = nullptr;
    bool detachSelf = false;

  private:
    std::vector<Recorder*>* log_;
};

TEST(Observer, AspectsAreStoredOncePerObserverAndDetachRemovesAll) {
    Thing thing;
    Recorder observer;
    thing.Attach(&observer, 5);
    thing.Attach(&observer, 5);
    EXPECT_EQ(1, thing.ObserverCount());
    thing.Notify(5);
    EXPECT_EQ(1, observer.updates);  // one entry, not two
    EXPECT_EQ(&thing, observer.last);
    thing.Notify(6);
    EXPECT_EQ(1, observer.updates);  // not asked for

    thing.Attach(&observer, 6);
    EXPECT_EQ(1, thing.ObserverCount());
    thing.Notify(5);
    thing.Notify(6);
    EXPECT_EQ(3, observer.updates);  // both aspects held

    EXPECT_TRUE(thing.Detach(&observer));
    EXPECT_EQ(0, thing.ObserverCount());
    thing.Notify(5);
    thing.Notify(6);
    thing.NotifyAll();
    EXPECT_EQ(3, observer.updates);
    EXPECT_FALSE(thing.Detach(&observer));
}

TEST(Observer, AllAspectsObserverGetsEveryNotifyAndNotifyAllReachesEveryone) {
    Thing thing;
    Recorder all, only7;
    thing.Attach(&all);  // -1
    thing.Attach(&only7, 7);
    for (int aspect : {-1, 0, 7, 12345})
        thing.Notify(aspect);
    EXPECT_EQ(4, all.updates);
    EXPECT_EQ(1, only7.updates);
    thing.NotifyAll();
    EXPECT_EQ(5, all.updates);
    EXPECT_EQ(2, only7.updates);
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
    EXPECT_GE(list.Capacity(), 5);
    EXPECT_EQ(40, list[4]);
    EXPECT_EQ(2, list.Find(20));
    EXPECT_EQ(-1, list.Find(7));

    try {
        list[5];
        FAIL() << "index equal to count accepted";
    } catch (const Error& e) {
        EXPECT_STREQ("Out of bounds", e.Text());
        EXPECT_FALSE(e.HasErrorNumber());
    }
    const List<int>& constList = list;
    EXPECT_THROW(constList[5], Error);
    EXPECT_THROW(list.Remove(5), Error);

    list.Remove(1);  // the tail moves down
    EXPECT_EQ(4, list.Count());
    EXPECT_EQ(20, list[1]);
    EXPECT_EQ(40, list[3]);
    EXPECT_THROW(list[4], Error);
}

}  // namespace
