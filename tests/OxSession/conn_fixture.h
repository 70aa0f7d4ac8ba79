// Helpers for the tests of a machine connection in this process: machine
// objects built without the grammar, sessions and handlers that record what
// the connection tells them, and a reactor and proactor to run the link on.
#pragma once

#include "../OXParser/store_fixtures.h"
#include "fakecontroller.h"
#include "reactortest.h"
#include "oxconn.h"
#include "oxsession.h"
#include "proactor.h"

#include <ace/Proactor.h>
#include <ace/Reactor.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace conntest {

using storetest::TestDecl;
using storetest::TestWorld;

// Builds the machine objects that the connection reads.
class MachineObjects {
  public:
    // A numbered object with a number attribute "Value" (serial parts, 134).
    OXComplexObject* NumberValue(long id, double value, const std::string& className = "Number") {
        OXComplexObject* object = world.Numbered(id, className);
        world.AddAttr<OXNumberObject>(object, "Value", "number", TestWorld::Number(value));
        return object;
    }
    // A numbered object with an enum attribute "Value" (401, 134).
    OXComplexObject* EnumValue(long id, int value, const std::string& className = "State") {
        OXComplexObject* object = world.Numbered(id, className);
        world.AddAttr<OXEnumObject>(object, "Value", "tagState",
                                    new OXEnumObject(new TestDecl("tagState"), value, nullptr));
        return object;
    }
    // An object of class "Alarm".
    OXComplexObject* Alarm(long id, int alarmType, const std::string& text, int priority = 1) {
        OXComplexObject* object = world.Numbered(id, "Alarm");
        world.AddAttr<OXNumberObject>(object, "AlarmType", "number", TestWorld::Number(alarmType));
        world.AddAttr<OXStringObject>(object, "Text", "string", TestWorld::String(text));
        world.AddAttr<OXNumberObject>(object, "Priority", "number", TestWorld::Number(priority));
        return object;
    }
    static OXListObject* NumberList(const std::vector<double>& values) {
        auto* list = new OXListObject(new TestDecl("list"), "number");
        for (double v : values)
            list->Add(TestWorld::Number(v));
        return list;
    }
    static OXListObject* StringList(const std::vector<std::string>& values) {
        auto* list = new OXListObject(new TestDecl("list"), "string");
        for (const std::string& v : values)
            list->Add(TestWorld::String(v));
        return list;
    }
    // The value of an "exc" command.
    OXComplexObject* Exception(const std::string& text) {
        OXComplexObject* object = TestWorld::Complex("Exception");
        world.AddAttr<OXStringObject>(object, "Text", "string", TestWorld::String(text));
        return object;
    }

    TestWorld world;
};

// A client session that records what the connection tells it.
class RecordingSession : public OxSession {
  public:
    void CommModeChange(tagOxConnState state) override { modes.push_back(state); }
    void TestPrintReceived(const std::string& text) override { prints.push_back(text); }
    void NewObject(const OXObject& object) override { events.push_back(Event("new", object)); }
    void UpdatedObject(const OXObject& object) override { events.push_back(Event("upd", object)); }
    void DeletedObject(const OXObject& object) override { events.push_back(Event("del", object)); }

    static std::string Event(const std::string& kind, const OXObject& object) {
        return kind + " " + std::to_string(object.GetObjectId());
    }

    std::vector<tagOxConnState> modes;
    std::vector<std::string> prints;
    std::vector<std::string> events;
};

// Someone waiting for the result of an exe command.
class RecordingHandler : public OXObjectHandler {
  public:
    void ResultReceived(unsigned long exeId, const OXObject& result) override {
        results.push_back(std::to_string(exeId) + "=" + result.AsString());
    }
    void ExceptionReceived(unsigned long exeId, const OXObject& result) override {
        exceptions.push_back(std::to_string(exeId) + ":" + result.GetString("Text"));
    }
    std::vector<std::string> results;
    std::vector<std::string> exceptions;
};

// A result of an exe command: a number.
inline std::unique_ptr<OXNumberObject> ResultValue(double value) {
    return std::unique_ptr<OXNumberObject>(TestWorld::Number(value));
}

// Runs the connection's link on this thread's reactor, with the proactor's
// thread for its timers, against a loopback address of its own.
class ConnectionTest : public ReactorTest {
  protected:
    // Runs the reactor until the link has sent its request for all objects,
    // one second after the controller accepted it.
    static void AwaitCompleteInfoRequest(FakeController& ctl) {
        ASSERT_TRUE(ctl.Accept(3000));
        std::string frame;
        ASSERT_TRUE(PumpRead(ctl, frame, 3000));
        ASSERT_EQ("exe 1 $ 100.101 (-1);", frame);
    }
    // No frame arrives within the time.
    static bool Quiet(FakeController& ctl, int ms = 200) {
        std::string frame;
        return !PumpRead(ctl, frame, ms);
    }
};

}  // namespace conntest
