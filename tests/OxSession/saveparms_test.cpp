// Parameter files: a world of parameters built from controller texts, saved
// to a real file and compared line by line; the checksum checker that
// restoring rests on.
#include "conn_fixture.h"
#include "oxcommandparser.h"
#include "oxsaveparmsvisitor.h"
#include "sandbox.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(SaveParms, WritesNumberAndEnumParametersWithChecksum) {
    OXCommandParser parser;
    ASSERT_TRUE(parser.Create(nullptr));
    conntest::Receive(parser, SourceLines("OxSession/golden/saveparms_world.txt"));
    Sandbox box;
    std::string path = box.Path("/save.hmp");
    double checksum;
    {
        OXSaveParmsVisitor visitor(path.c_str());
        parser.VisitObjects(visitor);
        checksum = visitor.GetChecksum();
    }
    const std::string expected =
        ReadWholeFile(std::string(OXGW_SOURCE_DIR) + "/tests/OxSession/golden/saveparms.hmp");
    EXPECT_EQ(box.ReadFile("/save.hmp"), expected);
    EXPECT_DOUBLE_EQ(checksum,
                     2001 + 125 + 2002 - 5 + 2003 + 1 + 2004 + 2 + 2006 + 1234567890123.0);

    // What was written passes the check and becomes the restore arguments.
    HMParCheckSumChecker checker(expected);
    EXPECT_TRUE(checker.valid);
    EXPECT_EQ(checker.major, 1);
    EXPECT_EQ(checker.minor, 0);
    EXPECT_EQ(checker.commands, "2001,125,2002,-5,2003,1,2004,2,2006,1234567890123,");
}

TEST(SaveParms, ChecksumCheckerBoundariesAndBadFiles) {
    auto valid = [](const std::string& text) { return HMParCheckSumChecker(text).valid; };
    // Sum of the data lines: 10 + 90 = 100.
    const std::string data = "#HMP Version 1.0\n10,90, # comment 5,6 (1/10 C)\n";
    EXPECT_TRUE(valid(data + "#Checksum: 100.0099\n"));
    EXPECT_TRUE(valid(data + "#Checksum: 99.9901\n"));
    EXPECT_FALSE(valid(data + "#Checksum: 100.01\n"));
    EXPECT_FALSE(valid(data + "#Checksum: 99.99\n"));
    EXPECT_FALSE(valid(data));  // no checksum line
    EXPECT_FALSE(valid(data + "#Checksum: nan\n"));
    // Lines after the checksum are not read; rounding goes to the machine.
    HMParCheckSumChecker checker(data + "\n\n  10.6 , 3.4\n#Checksum: 114\n7,7,\n");
    EXPECT_TRUE(checker.valid);
    EXPECT_EQ(checker.commands, "10,90,11,3,");
    EXPECT_DOUBLE_EQ(checker.fileChecksum, 114);
    // Empty lines and lines without data count nothing.
    EXPECT_FALSE(valid("garbage\n\n#Checksum: 1\n"));
    EXPECT_TRUE(valid("garbage\n\n#Checksum: 0\n"));
}

}  // namespace
