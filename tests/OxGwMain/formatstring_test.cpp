// Placeholders of the alarm mail templates.
#include "oxemailalarm.h"

#include <gtest/gtest.h>

#include <regex>

TEST(FormatString, PlaceholdersRepeatedAndSelfNaming) {
    char host[256] = {0};
    gethostname(host, 255);
    const OxEMailAlarm alarm(12, "Tank low", "4711-42");
    const struct {
        const char* text;
        std::string expected;  // a pattern
    } rows[] = {
        {"!NL!NL!TIME", "\n\n[0-2][0-9]:[0-5][0-9]:[0-6][0-9]"},
        {"!ALARMTYPE/!ALARMTYPE !ALARMTEXT!SERNO", "12/12 Tank low4711-42"},
        {"!VERSION on !COMPUTERNAME!", std::string("2\\.02\\.05 on ") + host + "!"},
    };
    for (const auto& row : rows)
        EXPECT_TRUE(
            std::regex_match(FormatString(row.text, alarm, "4711-42"), std::regex(row.expected)))
            << row.text;
    // An alarm text that names itself grows only up to a bound.
    const OxEMailAlarm loop(1, "x!ALARMTEXT", "");
    std::string text = FormatString("!ALARMTEXT", loop, "");
    EXPECT_EQ(0u, text.find("xxx"));
    EXPECT_GT(70000u, text.size());
}
