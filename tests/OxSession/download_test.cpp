// The software download of a real connection whose link talks to a fake
// controller: the roads of an update as the states a session is told, in
// order, with the parameter files left behind and what the machine is sent.
#include "conn_fixture.h"
#include "machineworld.h"
#include "oxconf.h"
#include "sandbox.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <unistd.h>

namespace {

using namespace conntest;

const char* const kBoot = "exe 8 $ 100.106();";

struct Road {
    const char* name;
    bool restoreParameters;
    bool eraseEeprom;
    std::vector<int> boards;  // checked, with their file at hand
    const char* existing;     // a parameter file there before the start, or ""
    // Steps: D Download, B bootload, N link lost, T link back (Connecting),
    // S the controller hands its objects over (Connected), Pn/s a board's
    // progress and status, R the controller answers the restore, r the
    // restore ended, O DoneOk, X Clear, b a boot command comes.
    const char* steps;
    const char* told;   // the states the session hears, in order
    const char* files;  // parameter files there at the end
};

const Road kRoads[] = {
    {"with restoreParameters",
     true,
     false,
     {0, 2},
     "",
     "D B P50/1 P100/1 P100/1 T R r N T S O",
     "WaitConnected1 SaveParms WaitBootload Working Working Working Working WaitConnected2 "
     "RestoreParms Done Ready",
     "param1.txt param2.txt"},
    {"without restoreParameters, erasing",
     false,
     true,
     {0},
     "",
     "D B P0/6 P100/1 T S O",
     "WaitBootload EraseEeprom Working Working WaitConnected2 Done Ready",
     "param2.txt"},
    {"saved parameters kept",
     true,
     false,
     {0},
     "param.txt",
     "D",
     "WaitBootload",
     "param.txt param2.txt"},
    {"lost connection",
     false,
     false,
     {0},
     "",
     "D B N T S B P100/1",
     "WaitBootload Working Working WaitBootload Working Working WaitConnected2",
     "param2.txt"},
    {"lost erase",
     false,
     true,
     {0},
     "",
     "D B N",
     "WaitBootload EraseEeprom WaitBootload",
     "param2.txt"},
    {"failing board 4",
     false,
     false,
     {0, 2},
     "",
     "D B P30/4 N",
     "WaitBootload Working Working Error WaitBootload",
     "param2.txt"},
    {"failing board 5",
     false,
     false,
     {0, 2},
     "",
     "D B P30/5 P100/5",
     "WaitBootload Working Working Working WaitConnected2",
     "param2.txt"},
    {"clear in bootload",
     true,
     true,
     {0},
     "param1.txt",
     "D b B X b",
     "WaitConnected1 SaveParms WaitBootload EraseEeprom",
     "param.txt param2.txt"},
};

class Download : public ConnectionTest {
  protected:
    void SetUp() override {
        ConnectionTest::SetUp();
        root_ = OxConfiguration::Instance()->GetAppPath();
        board_ = std::make_unique<BoardOnPath>(root_);
        OxConfiguration::Instance()->OxConnectCfg(1, "Line", 30, false);
    }
    void TearDown() override {
        board_.reset();
        OxConfiguration::Instance()->ClearConnectionCfg();
        ConnectionTest::TearDown();
    }
    // The next frame that is not a boot command; boots are counted.
    std::string NextWork(FakeController& ctl) {
        for (;;) {
            std::string frame = Next(ctl);
            if (frame != kBoot)
                return frame;
            ++boots_;
        }
    }
    // The controller's part from the request for all objects to Connected.
    void HandOver(FakeController& ctl) {
        ASSERT_EQ("exe 1 $ 100.101 (-1);", NextWork(ctl));
        std::vector<std::string> world = MachineWorld(42, 8);
        world.push_back(
            "class NumParameter : Object { string Name; string Unit; "
            "number Value : Unit * 1 / 10; number Default : Unit * 1 / 10; };");
        world.push_back("new NumParameter(2001, 8, \"Temp\", \"C\", 125, 100);");
        world.push_back("new NumParameter(2002, 8, \"Level\", \"mm\", 7, 7);");
        world.push_back("res 1 : 0;");
        for (const std::string& text : world)
            ASSERT_TRUE(ctl.SendFrame(text)) << text;
        ASSERT_EQ("exe 11 $ 100.109();", NextWork(ctl));
        ASSERT_TRUE(ctl.SendFrame("res 11 : 0;"));
        ASSERT_EQ("exe 2  $   100 . 102 (5);", NextWork(ctl));
    }
    // The machine answers both steps of the restore of the saved file.
    void AnswerRestore(FakeController& ctl) {
        std::string frame = NextWork(ctl);
        ASSERT_EQ("exe 1000l $ 100.110 (1);", frame);
        ASSERT_TRUE(ctl.SendFrame("res 1000 : 0;"));
        ASSERT_EQ("exe 1001l $ 100.107 (2001,125,2002,7,);", NextWork(ctl));
        ASSERT_TRUE(ctl.SendFrame("res 1001 : 0;"));
    }
    void Step(FakeController& ctl, OxConnection& conn, const std::string& step) {
        switch (step[0]) {
            case 'D':
                conn.Download();
                break;
            case 'B':
                conn.LinkModeChange(OXLink::OXLM_BOOTLOAD);
                break;
            case 'N':
                conn.LinkModeChange(OXLink::OXLM_NONE);
                break;
            case 'T':
                conn.LinkModeChange(OXLink::OXLM_TORC);
                break;
            case 'S':
                ASSERT_NO_FATAL_FAILURE(HandOver(ctl));
                break;
            case 'R':
                ASSERT_NO_FATAL_FAILURE(AnswerRestore(ctl));
                break;
            case 'r':
                conn.GetDownload().RestoreParmsDone();
                break;
            case 'O':
                conn.GetDownload().DoneOk();
                break;
            case 'X':
                conn.GetDownload().Clear();
                break;
            case 'b':
                ASSERT_EQ(kBoot, Next(ctl));
                break;
            case 'P': {
                int progress = 0, status = 0;
                ASSERT_EQ(2, sscanf(step.c_str(), "P%d/%d", &progress, &status)) << step;
                conn.DownloadProgress(progress, OXPackage::PU_MPU,
                                      static_cast<OXPackage::tagPackageStatus>(status));
                break;
            }
            default:
                FAIL() << step;
        }
    }
    std::string ParamFiles(OxConnection& conn) {
        std::string present;
        for (const char* name : {"param.txt", "param1.txt", "param2.txt"}) {
            if (access((conn.GetConnectionDir() + name).c_str(), F_OK) == 0)
                present += std::string(present.empty() ? "" : " ") + name;
        }
        return present;
    }

    std::string root_;
    std::unique_ptr<BoardOnPath> board_;
    int boots_ = 0;
};

template <typename T>
std::string Joined(const std::vector<T>& items) {
    std::string text;
    for (const auto& item : items)
        text += (text.empty() ? "" : " ") + std::string(item);
    return text;
}

TEST_F(Download, RoadsAsTheSessionsHearThem) {
    int port = 2001;
    for (const Road& road : kRoads) {
        SCOPED_TRACE(road.name);
        std::string dir = root_ + "/var/log/debug/";
        for (const char* name : {"param.txt", "param1.txt", "param2.txt", "restore.hmp"})
            unlink((dir + name).c_str());
        if (*road.existing != '\0') {
            FILE* file = fopen((dir + road.existing).c_str(), "w");
            ASSERT_NE(nullptr, file);
            fclose(file);
        }
        boots_ = 0;

        FakeController ctl(ip_, port);
        OxConnection conn(port - 2000);
        RecordingSession session;
        conn.Connect(&session);
        ASSERT_TRUE(ctl.Accept(3000));
        ASSERT_NO_FATAL_FAILURE(HandOver(ctl));
        ASSERT_EQ(OXCS_CONNECTED, conn.GetState());

        OxDownload& download = conn.GetDownload();
        download.SetRestoreParameters(road.restoreParameters);
        download.SetEraseEeprom(road.eraseEeprom);
        for (int id : road.boards)
            download.GetBoard(id).checked = download.GetBoard(id).fileDone = true;
        std::istringstream steps(road.steps);
        for (std::string step; steps >> step;) {
            ASSERT_NO_FATAL_FAILURE(Step(ctl, conn, step)) << step;
        }
        EXPECT_EQ(road.told, Joined(session.downloads));
        EXPECT_EQ(road.files, ParamFiles(conn));
        conn.DisConnect(&session);
        ++port;
    }
}

// What the roads leave: the saved parameters before the restore, the
// machine booted after it, a failing board's successor, a cleared download.
TEST_F(Download, SavedFilesBoardsAndClear) {
    std::string dir = root_ + "/var/log/debug/";
    for (const char* name : {"param.txt", "param1.txt", "param2.txt"})
        unlink((dir + name).c_str());
    FakeController ctl(ip_, 2001);
    OxConnection conn(1);
    ASSERT_TRUE(ctl.Accept(3000));
    ASSERT_NO_FATAL_FAILURE(HandOver(ctl));
    const std::string saved = ReadWholeFile(dir + "param2.txt");
    EXPECT_EQ(0u, saved.find("#HMP Version 1.0\n2001,125,")) << saved;

    OxDownload& download = conn.GetDownload();
    download.SetRestoreParameters(true);
    download.GetBoard(1).checked = download.GetBoard(4).checked = true;
    download.GetBoard(1).fileDone = true;
    EXPECT_TRUE(download.SetFirstCheckedBoard());
    EXPECT_EQ(1, download.GetBoardIndex());
    EXPECT_TRUE(download.SetNextCheckedBoard());
    EXPECT_EQ(4, download.GetBoardIndex());
    EXPECT_FALSE(download.SetNextCheckedBoard());
    EXPECT_TRUE(download.SetFirstCheckedFile());
    EXPECT_EQ(4, download.GetFileIndex());
    EXPECT_FALSE(download.SetNextCheckedFile());
    EXPECT_EQ(dir + "cvu.bin", conn.GetBinFilePath(OXPackage::PU_CVU));

    // The update saves what the snapshot holds, then boots the machine.
    EXPECT_TRUE(download.SetFirstCheckedBoard());
    conn.Download();
    EXPECT_EQ(saved, ReadWholeFile(dir + "param.txt"));
    EXPECT_EQ(kBoot, Next(ctl));
    // A connect during the update leaves the snapshot alone.
    unlink((dir + "param2.txt").c_str());
    conn.LinkModeChange(OXLink::OXLM_NONE);
    conn.LinkModeChange(OXLink::OXLM_TORC);
    ASSERT_NO_FATAL_FAILURE(HandOver(ctl));
    EXPECT_NE(0, access((dir + "param2.txt").c_str(), F_OK));
    EXPECT_EQ(kBoot, Next(ctl));

    conn.LinkModeChange(OXLink::OXLM_BOOTLOAD);
    EXPECT_EQ(OxDownload::DLS_WORKING, download.GetState());
    EXPECT_TRUE(download.GetBoard(1).started);
    // Reports out of their state are only printed.
    download.RestoreParmsDone();
    download.EraseDone();
    download.DoneOk();
    EXPECT_EQ(OxDownload::DLS_WORKING, download.GetState());

    download.Clear();
    EXPECT_EQ(OxDownload::DLS_READY, download.GetState());
    EXPECT_EQ(0, download.GetBoardIndex());
    EXPECT_FALSE(download.GetRestoreParameters());
    EXPECT_FALSE(download.GetBoard(1).checked || download.GetBoard(1).started);
    EXPECT_EQ(kBoot, Next(ctl));
}

}  // namespace
