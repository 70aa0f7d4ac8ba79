// A test that runs the machine link in this process: the reactor is pumped
// on the test's thread, the proactor (timers) runs on a thread of its own,
// and the machine is reached on a loopback address of the test's own.
#pragma once

#include "fakecontroller.h"
#include "proactor.h"

#include <ace/Proactor.h>
#include <ace/Reactor.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

class ReactorTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ip_ = UniqueLoopbackIp();
        setenv("OXGW_APPLICATION_IP", ip_.c_str(), 1);
        OxInitProactor();
        proactorThread_ = std::thread([] { ACE_Proactor::instance()->proactor_run_event_loop(); });
    }
    void TearDown() override {
        ACE_Proactor::instance()->proactor_end_event_loop();
        proactorThread_.join();
        ACE_Proactor::instance()->proactor_reset_event_loop();
    }
    // Runs the reactor for a while, in this thread.
    static void Pump(int ms) {
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        while (std::chrono::steady_clock::now() < end) {
            ACE_Time_Value tv(0, 20000);
            ACE_Reactor::instance()->handle_events(tv);
        }
    }
    // Runs the reactor until the controller has a frame or the time is up.
    static bool PumpRead(FakeController& ctl, std::string& frame, int ms) {
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        while (std::chrono::steady_clock::now() < end) {
            if (ctl.ReadFrame(frame, 10))
                return true;
            ACE_Time_Value tv(0, 10000);
            ACE_Reactor::instance()->handle_events(tv);
        }
        return false;
    }

    std::string ip_;
    std::thread proactorThread_;
};
