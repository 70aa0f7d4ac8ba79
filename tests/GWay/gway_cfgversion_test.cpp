// The version of a gateway table file, as the choice between the installed,
// the configured and the service engineer's file reads it.
#include "oxgway_session.h"
#include "sandbox.h"

#include <gtest/gtest.h>

namespace {

TEST(GWayCfgVersion, TokenBehindTheVersionMarkOrEmpty) {
    Sandbox box;
    const std::pair<const char*, const char*> rows[] = {
        {"// map\r\n#Version 1.10\r\nstatic : Variable ; 1;\n", "1.10"},
        // The last byte is not part of the text.
        {"#Version   2.3 beta\n", "2.3"},
        {"#Version 7", ""},
        {"static : Variable ; 1;\n", ""},
        {"", ""},
    };
    for (const auto& row : rows) {
        box.WriteFile("/gway_map.txt", row.first);
        EXPECT_EQ(row.second, GetCfgVersion(box.Path("/gway_map.txt"))) << row.first;
    }
    EXPECT_EQ("", GetCfgVersion(box.Path("/missing.txt")));
}

}  // namespace
