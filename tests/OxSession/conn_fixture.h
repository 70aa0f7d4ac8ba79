// Helpers for the tests of a machine connection in this process: controller
// texts handed to the connection's parser, sessions and handlers that record
// what the connection tells them, and a reactor and proactor to run the link on.
#pragma once

#include "fakecontroller.h"
#include "mdieditlink.h"
#include "reactortest.h"
#include "oxconn.h"
#include "oxsession.h"
#include "proactor.h"
#include "sandbox.h"

#include <ace/Proactor.h>
#include <ace/Reactor.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace conntest {

// The classes of the tests' machine: numbered objects with a number or an
// enum "Value" (serial parts 124/125, system state 134, configuration state
// 401), alarms with an owner, a section and replies or a parent, pumps that
// own them, and the exception of an exe command.
inline const std::vector<std::string>& MachineClasses() {
    static const std::vector<std::string> texts = {
        "enum tagState { \"Off\"=0, \"On\"=1, \"Busy\"=5, };",
        "class Object { const number Id; };",
        "class Exception { number Code; string Text; };",
        "class Value : Object { number Value; };",
        "class State : Object { tagState Value; };",
        "class Alarm : Object { number AlarmType; string Text; number Priority; };",
        "class Pump : Value { string Name; };",
        "class Owned : Alarm { Object Owner; };",
        "class Replied : Owned { number Section; list<number> ReplyIdList; "
        "list<string> ReplyStringList; list<number> ReplyObjectList; };",
        "class Child : Alarm { number Parent; };",
    };
    return texts;
}

// Hands each text to the parser as the link does with a received frame; the
// parser tells its handler (the connection) what it made.
inline void Receive(OXCommandParser& parser, const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
        std::vector<char> buffer(text.begin(), text.end());
        buffer.push_back('\0');
        EXPECT_EQ(0, parser.Parse(buffer.data())) << text << ": " << parser.GetErrorStr();
    }
}
inline void Receive(OxConnection& conn, const std::vector<std::string>& texts) {
    Receive(conn.GetLink()->GetParser(), texts);
}
// Defines the classes, then makes the objects.
inline void Machine(OxConnection& conn, const std::vector<std::string>& objects) {
    Receive(conn, MachineClasses());
    Receive(conn, objects);
}

// A client session that records what the connection tells it.
class RecordingSession : public OxSession {
  public:
    void CommModeChange(tagOxConnState state) override { modes.push_back(state); }
    void TestPrintReceived(const std::string& text) override { prints.push_back(text); }
    void NewObject(const OXObject& object) override { events.push_back(Event("new", object)); }
    void UpdatedObject(const OXObject& object) override { events.push_back(Event("upd", object)); }
    void DeletedObject(const OXObject& object) override { events.push_back(Event("del", object)); }
    void DownloadProgress(OxDownload::tagDownloadState state) override {
        downloads.push_back(state);
    }

    static std::string Event(const std::string& kind, const OXObject& object) {
        return kind + " " + std::to_string(object.GetObjectId());
    }

    std::vector<tagOxConnState> modes;
    std::vector<std::string> prints;
    std::vector<std::string> events;
    std::vector<OxDownload::tagDownloadState> downloads;
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

// The board's programs (the stand-ins of tools/board, which log each call)
// first on PATH, working below `root`, for the life of the object.
class BoardOnPath {
  public:
    explicit BoardOnPath(const std::string& root) : oldPath_(getenv("PATH") ? getenv("PATH") : "") {
        setenv("PATH", (std::string(OXGW_SOURCE_DIR) + "/tools/board:" + oldPath_).c_str(), 1);
        setenv("OXGW_ROOT", root.c_str(), 1);
    }
    ~BoardOnPath() {
        setenv("PATH", oldPath_.c_str(), 1);
        unsetenv("OXGW_ROOT");
        unsetenv("OXGW_BOARD_FAIL");
    }

  private:
    std::string oldPath_;
};

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
    // The next frame the controller gets.
    static std::string Next(FakeController& ctl, int ms = 3000) {
        std::string frame;
        EXPECT_TRUE(PumpRead(ctl, frame, ms));
        return frame;
    }
    // No frame arrives within the time.
    static bool Quiet(FakeController& ctl, int ms = 200) {
        std::string frame;
        return !PumpRead(ctl, frame, ms);
    }
};

}  // namespace conntest
