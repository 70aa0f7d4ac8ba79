// Steps of an XML client against the real gateway, shared by the process
// tests: connect to a machine port, log on and read the burst, skip lines.
#pragma once

#include "xmlclient.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

constexpr int kSessionWaitMs = 15000;

const std::string kListStart =
    "<Message><List position=\"start\" name=\"TypeInfo\"></List></Message>";
const std::string kListEnd = "<Message><List position=\"end\" name=\"TypeInfo\"></List></Message>";

// Reads lines until one starts with head; false if none comes in time.
inline bool SkipTo(XmlClient& client, const std::string& head, std::string& line, int ms = 5000) {
    while (client.ReadLine(line, ms))
        if (line.compare(0, head.size(), head) == 0)
            return true;
    return false;
}

// Connects the client to machine port 1, in the language if one is named,
// and checks the three answers.
inline void ConnectPort(XmlClient& client, const std::string& language = "") {
    ASSERT_TRUE(client.Connected());
    std::string name = language.empty() ? "" : " name=\"" + language + "\"";
    ASSERT_TRUE(client.Send("<Message><Connect><CommParm port=\"1\"" + name +
                            "/></Connect></Message>\r\n"));
    std::string line;
    ASSERT_TRUE(client.ReadLine(line, kSessionWaitMs));
    ASSERT_EQ("<Message><Connected protocolVersion=\"2.02.05\"/></Message>", line);
    ASSERT_TRUE(client.ReadLine(line, kSessionWaitMs));
    ASSERT_EQ(0u, line.find("<Message><OxMode mode=\"Connected\"><Time ")) << line;
    ASSERT_TRUE(client.ReadLine(line, kSessionWaitMs));
    ASSERT_EQ(0u, line.find("<Message><Download state=\"Ready\"")) << line;
}

// Logs on with the attributes and reads the burst up to the list's end; the
// lines between its start and end go to burst.
inline void LogOn(XmlClient& client, const std::string& attributes,
                  std::vector<std::string>* burst) {
    ASSERT_TRUE(client.Send("<Message><Logon " + attributes + "/></Message>\r\n"));
    std::string line;
    ASSERT_TRUE(client.ReadLine(line, kSessionWaitMs));
    ASSERT_EQ("<Message><Logon/></Message>", line);
    ASSERT_TRUE(client.ReadLine(line, kSessionWaitMs));
    ASSERT_EQ(kListStart, line);
    for (;;) {
        ASSERT_TRUE(client.ReadLine(line, kSessionWaitMs)) << "no end of the logon burst";
        if (line == kListEnd)
            break;
        if (burst != nullptr)
            burst->push_back(line);
    }
}

// Sends one command inside <Message> and gives the next line.
inline std::string Ask(XmlClient& client, const std::string& command) {
    EXPECT_TRUE(client.Send("<Message>" + command + "</Message>\r\n")) << command;
    return client.Line();
}

inline std::string CommandError(const std::string& text) {
    return "<Message><CommandError description=\"" + text + "\"/></Message>";
}
