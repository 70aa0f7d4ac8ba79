// Markup characters in the machine's names and texts, in a language file, in
// a user id and in error texts: every line a client receives is still
// well-formed XML, as a real XML parser (Python's) reads it.
#include "fakecontroller.h"
#include "gatewaytest.h"
#include "machineworld.h"
#include "xmlclient.h"
#include "xmlsession.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr int kWaitMs = 8000;

// A language file: UTF-16LE with its byte order mark.
std::string Ucs(const std::string& text) {
    std::string ucs("\xff\xfe", 2);
    for (char c : text) {
        ucs.push_back(c);
        ucs.push_back('\0');
    }
    return ucs;
}

TEST(XmlEscaping, EveryLineAClientReceivesIsWellFormed) {
    GatewayTestEnv env;
    env.Box().WriteFile("/home/service/oxgw_english.ucs", Ucs("a7,Level <%o> & \"falling\"\r\n"));
    std::vector<std::string> world = MachineWorld(42, 8);
    world.push_back(
        "class NumParameter : Object { string Name; number Value; number Minimum; "
        "number Maximum; number ReadAccess; number WriteAccess; };");
    world.push_back("new NumParameter(31001, 8, \"Tank <1> & 'A'\", 5, 0, 35, 0, 0);");
    world.push_back("new Alarm(502, 8, 7, \"Level < min & falling\", 1);");
    FakeController ctl(env.Ip(), 2001);
    auto gw = env.Start();
    std::string why;
    ASSERT_TRUE(ctl.HandOver(world, kWaitMs, why)) << why;
    ASSERT_TRUE(gw->WaitForStdout(Shown("COM 1: Connected\n"), kWaitMs));

    std::vector<std::string> lines;
    // One client with the machine's texts, one in the language.
    for (const std::string& language : {std::string(), std::string("english")}) {
        XmlClient client(env.ClientPort());
        ASSERT_TRUE(client.Send("<Message><Logon level=\"User\"/></Message>\r\n"));
        ASSERT_TRUE(client.Send("<Bogus a=\"1\"/>\r\n"));
        lines.push_back(client.Line());
        lines.push_back(client.Line());
        ASSERT_NO_FATAL_FAILURE(ConnectPort(client, language));
        ASSERT_NO_FATAL_FAILURE(
            LogOn(client, "level=\"User\" userId=\"x<y>&z\" autoTypeInfo=\"true\"", &lines));
        ASSERT_TRUE(client.Send("<Message><GetUserInfo/></Message>\r\n"));
        std::string line;
        while (client.ReadLine(line, 1000))
            lines.push_back(line);
    }
    std::string all;
    for (const std::string& line : lines)
        all += line + "\n";
    // The texts arrive, escaped.
    for (const char* text :
         {"description=\"Logon can only be done in &quot;connected&quot; mode\"",
          "description=\"Unknown command: &lt;Bogus a=&quot;1&quot;/&gt;\"",
          "name=\"Tank &lt;1&gt; &amp; 'A'\"", "description=\"Level &lt; min &amp; falling\"",
          "description=\"Level &lt;%o&gt; &amp; &quot;falling&quot;\"",
          "<User id=\"x&lt;y&gt;&amp;z\""})
        EXPECT_NE(std::string::npos, all.find(text)) << text << "\n" << all;

    // And every line parses.
    std::string file = env.Box().Path("/received.txt");
    std::ofstream(file) << all;
    std::string check =
        "python3 -c 'import sys, xml.etree.ElementTree as E\n"
        "for n, l in enumerate(open(sys.argv[1], encoding=\"latin-1\")):\n"
        "    try: E.fromstring(l)\n"
        "    except E.ParseError as e: print(n + 1, e, l); sys.exit(1)' " +
        file;
    EXPECT_EQ(0, std::system(check.c_str())) << all;
    StopGateway(*gw);
}

}  // namespace
