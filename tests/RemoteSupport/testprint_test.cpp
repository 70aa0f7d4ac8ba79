#include "testprint.h"

#include <gtest/gtest.h>

TEST(TestPrintRouting, MasksDecideDestinations) {
    unsigned long oldOut = testPrint_stdOutMask, oldFile = testPrint_logFileMask;
    bool oldConsole = logToConsole;
    logToConsole = true;

    TestPrintSetMask(0, 0);
    EXPECT_TRUE(TestPrintToFile(4));  // errors always reach the file
    EXPECT_FALSE(TestPrintToConsole(4));
    EXPECT_FALSE(TestPrintToFile(1));
    EXPECT_FALSE(TestPrintToConsole(1));
    EXPECT_TRUE(TestPrintToFile(0));  // mask 0 is shown both ways
    EXPECT_TRUE(TestPrintToConsole(0));
    EXPECT_FALSE(TestPrintToFile(4 | 1));  // only exactly 4 is forced

    TestPrintSetMask(32, 16);
    EXPECT_TRUE(TestPrintToConsole(32 | 64));
    EXPECT_TRUE(TestPrintToFile(16));
    EXPECT_FALSE(TestPrintToFile(32));

    logToConsole = false;  // "--silent"
    EXPECT_FALSE(TestPrintToConsole(0));
    EXPECT_TRUE(TestPrintToFile(0));

    TestPrintSetMask(oldOut, oldFile);
    logToConsole = oldConsole;
}

TEST(TestPrintStamp, DayAndTimeZeroFilled) {
    EXPECT_EQ("16;03:29:47 ", TestPrintStamp(16, 3, 29, 47));
    EXPECT_EQ("01;00:00:00 ", TestPrintStamp(1, 0, 0, 0));
}
