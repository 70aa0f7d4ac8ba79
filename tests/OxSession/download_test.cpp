// The software download of a real connection whose link talks to a fake
// controller: the roads of an update as the states a session is told, in
// order (0 Ready, 1 WaitConnected1, 2 SaveParms, 3 WaitBootload, 4
// EraseEeprom, 5 Working, 6 WaitConnected2, 7 RestoreParms, 8 Done, 9
// Error), with the parameter files left behind and what the machine is sent.
#include "conn_fixture.h"
#include "machineworld.h"
#include "oxconf.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <unistd.h>

namespace {

using namespace conntest;

const char* const kBoot = "exe 8 $ 100.106();";

// name | r: restoreParameters, e: eraseEeprom | boards taking part, their
// file at hand | a file there before | steps | states told | files after.
// Steps: D Download, B bootload, N link lost, T link back (Connecting), S the
// objects handed over (Connected), Pn/s a board's progress and status, R the
// restore answered, r the restore ended, O DoneOk, X Clear, b a boot command.
const char* const kRoads[] = {
    "restore|r|02|-|D B P50/1 P100/1 P100/1 T R r N T S O|1 2 3 5 5 5 5 6 7 8 0|param1 param2",
    "plain|e|0|-|D B P0/6 P100/1 T S O|3 4 5 5 6 8 0|param2",
    "kept|r|0|param|D|3|param param2",
    "lost|-|0|-|D B N T S B|3 5 5 3 5 5|param2",
    "lost erase|e|0|-|D B N|3 4 3|param2",
    "fail 4|-|02|-|D B P30/4 N|3 5 5 9 3|param2",
    "fail 5|-|04|-|D B P30/5 P100/1|3 5 5 5 6|param2",
    "clear|re|0|param1|D b B X b D|1 2 3 4 3 5 5 5|param param2",
};

class Download : public ConnectionTest {
  protected:
    std::string NextWork(FakeController& ctl) {
        std::string frame = Next(ctl);
        return frame == kBoot ? NextWork(ctl) : frame;
    }
    void Answer(FakeController& ctl, const std::vector<std::string>& asked,
                const std::vector<std::string>& answers) {
        for (size_t i = 0; i < asked.size(); ++i) {
            ASSERT_EQ(asked[i], NextWork(ctl));
            ASSERT_TRUE(ctl.SendFrame(answers[i]));
        }
    }
    void HandOver(FakeController& ctl) {
        ASSERT_EQ("exe 1 $ 100.101 (-1);", NextWork(ctl));
        std::vector<std::string> world = MachineWorld(42, 7);
        world.push_back(
            "class NumParameter : Object { string Name; string Unit; "
            "number Value : Unit * 1 / 10; number Default : Unit * 1 / 10; };");
        world.push_back("new NumParameter(2001, 8, \"Temp\", \"C\", 125, 100);");
        world.push_back("res 1 : 0;");
        for (const std::string& text : world)
            ASSERT_TRUE(ctl.SendFrame(text)) << text;
        Answer(ctl, {"exe 11 $ 100.109();", "exe 2  $   100 . 102 (5);"},
               {"res 11 : 0;", "res 2 : 0;"});
    }
};

TEST_F(Download, RoadsAsTheSessionsHearThem) {
    std::string dir = OxConfiguration::Instance()->GetAppPath() + "/var/log/debug/";
    BoardOnPath board(OxConfiguration::Instance()->GetAppPath());
    int port = 0;
    for (const char* text : kRoads) {
        SCOPED_TRACE(text);
        std::vector<std::string> road;
        std::istringstream fields(text);
        for (std::string field; std::getline(fields, field, '|');)
            road.push_back(field);
        for (const char* name : {"param", "param1", "param2"})
            unlink((dir + name + ".txt").c_str());
        if (road[3] != "-")
            fclose(fopen((dir + road[3] + ".txt").c_str(), "w"));

        FakeController ctl(ip_, 2001 + port);
        OxConnection conn(++port);
        RecordingSession session;
        conn.Connect(&session);
        ASSERT_TRUE(ctl.Accept(3000));
        ASSERT_NO_FATAL_FAILURE(HandOver(ctl));
        OxDownload& download = conn.GetDownload();
        download.SetRestoreParameters(road[1].find('r') != std::string::npos);
        download.SetEraseEeprom(road[1].find('e') != std::string::npos);
        for (char id : road[2])
            download.GetBoard(id - '0').checked = download.GetBoard(id - '0').fileDone = true;

        std::istringstream steps(road[4]);
        for (std::string step; steps >> step;) {
            int progress = 0, status = 0;
            if (sscanf(step.c_str(), "P%d/%d", &progress, &status) == 2)
                conn.DownloadProgress(progress, OXPackage::PU_HPU,
                                      static_cast<OXPackage::tagPackageStatus>(status));
            else if (step == "D" || step == "B" || step == "N" || step == "T")
                step == "D" ? conn.Download()
                            : conn.LinkModeChange(
                                  static_cast<OXLink::tagLinkMode>(std::string("NBT").find(step)));
            else if (step == "S")
                ASSERT_NO_FATAL_FAILURE(HandOver(ctl));
            else if (step == "R")
                ASSERT_NO_FATAL_FAILURE(
                    Answer(ctl, {"exe 1000l $ 100.110 (1);", "exe 1001l $ 100.107 (2001,125,);"},
                           {"res 1000 : 0;", "res 1001 : 0;"}));
            else if (step == "b")
                EXPECT_EQ(kBoot, Next(ctl));
            else
                step == "r" ? download.RestoreParmsDone()
                            : (step == "O" ? download.DoneOk() : download.Clear());
        }
        std::string told, files;
        for (OxDownload::tagDownloadState state : session.downloads)
            told += (told.empty() ? "" : " ") + std::to_string(state);
        for (const char* name : {"param", "param1", "param2"})
            if (access((dir + name + ".txt").c_str(), F_OK) == 0)
                files += (files.empty() ? "" : " ") + std::string(name);
        EXPECT_EQ(road[5], told);
        EXPECT_EQ(road[6], files);
        conn.DisConnect(&session);
    }
}

}  // namespace
