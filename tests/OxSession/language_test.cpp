// The language map with real ".ucs" files below a sandbox root: where files
// are found, how they are decoded, the lookups, the use counts, the custom
// language from the USB stick and the text mapping pass.
#include "conn_fixture.h"
#include "oxconf.h"
#include "oxgwmain.h"
#include "oxlanguage.h"
#include "sandbox.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

class LanguageMapTest : public ::testing::Test {
  protected:
    void SetUp() override {
        OxLanguageMap::DeleteInstance();
        OxConfiguration::Instance()->SetAppPath(box.Root());
    }
    // Frees every map a test took, whether it gave it back or not.
    void TearDown() override {
        languageDebug = false;
        OxLanguageMap::DeleteInstance();
        OxConfiguration::Instance()->SetAppPath(ProcessSandboxRoot());
    }
    void WriteLanguage(const std::string& language, const std::u16string& text) {
        box.WriteFile("/home/service/oxgw_" + language + ".ucs", UcsFile(text));
    }

    Sandbox box;
};

TEST_F(LanguageMapTest, LoadsFromTheServiceFolderAndLooksUpEachKind) {
    WriteLanguage("german",
                  u"p12,Dosierpumpe\r\na5,Pumpe %o gestoppt\r\nr1,Wiederholen\r\nd99,L\u00e4uft\r\n"
                  u"g3,Linie\r\ntagFanLevel-2,Mittel\r\n");
    OxTextMap* german = OxLanguageMap::Instance("german");
    ASSERT_NE(nullptr, german);
    EXPECT_EQ("Dosierpumpe", OxLanguageMap::getParmName(12, german));
    EXPECT_EQ("Pumpe %o gestoppt", OxLanguageMap::getAlarmText(5, german));
    EXPECT_EQ("Wiederholen", OxLanguageMap::getAlarmReplyText(1, german));
    EXPECT_EQ("L\xC3\xA4uft", OxLanguageMap::getDialogText(99, german));
    EXPECT_EQ("Linie", OxLanguageMap::getGlobalName(3, german));
    EXPECT_EQ("Mittel", OxLanguageMap::getEnumValueText("tagFanLevel", 2, german));
    // Missing entries come back as their keys.
    EXPECT_EQ("d98", OxLanguageMap::getDialogText(98, german));
    EXPECT_EQ("g4", OxLanguageMap::getGlobalName(4, german));
    EXPECT_EQ("tagFanLevel-3", OxLanguageMap::getEnumValueText("tagFanLevel", 3, german));
}

TEST_F(LanguageMapTest, SearchOrderTakesTheFirstFileThatOpens) {
    // The service folder comes before the locale folder, and the working
    // folder (the root here) before both.
    for (std::string dir : {"/usr/torc2/locale/french", "/home/service", ""}) {
        std::string text = "at " + dir;
        box.WriteFile(dir + "/oxgw_french.ucs",
                      UcsFile(u"p1," + std::u16string(text.begin(), text.end()) + u"\n"));
        OxTextMap* french = OxLanguageMap::Instance("french");
        ASSERT_NE(nullptr, french) << dir;
        EXPECT_EQ(text, OxLanguageMap::getParmName(1, french));
        OxLanguageMap::RemoveLanguage(french);
    }
}

TEST_F(LanguageMapTest, MissingLanguageGivesNull) {
    EXPECT_EQ(nullptr, OxLanguageMap::Instance("klingon"));
    EXPECT_EQ(nullptr, OxLanguageMap::Instance("none"));
    EXPECT_EQ(0, OxLanguageMap::Instance()->GetUseCount("klingon"));
    // A name that would leave the language folders is not looked for.
    box.WriteFile("/home/service/oxgw_x/oxgw_y.ucs", UcsFile(u"p1,out\n"));
    EXPECT_EQ(nullptr, OxLanguageMap::Instance("x/oxgw_y"));
    // An empty file, a short one, a mark alone, no text lines: no map.
    const std::pair<const char*, std::string> files[] = {{"empty", ""},
                                                         {"half", "\xFF"},
                                                         {"mark", UcsFile(u"")},
                                                         {"ends", UcsFile(u"\r\n\r\n")},
                                                         {"nocomma", UcsFile(u"p1 Pumpe\r\n")}};
    for (const auto& file : files) {
        box.WriteFile(std::string("/home/service/oxgw_") + file.first + ".ucs", file.second);
        EXPECT_EQ(nullptr, OxLanguageMap::Instance(file.first)) << file.first;
    }
}

// Each file with the whole map it gives.
TEST_F(LanguageMapTest, LineEndsQuotedKeysCommasOverridesMarkAndUtf8) {
    const struct {
        const char* name;
        std::string bytes;
        OxTextMap map;
    } files[] = {
        // The key runs to the first comma, the text keeps the others; a
        // quoted key loses its quotes, an empty one is no key; a later line
        // overrides; quotes of a text stay; the last line needs no line end.
        {"spanish",
         UcsFile(u"p1,uno\rp2,dos\np3,tres\r\n\n\rp4,a,b,c\r\n\"p5\",cinco\n\"\",nada\n"
                 u"p6,viejo\np6,nuevo\n,sin clave\np7,\np8,\"citado\""),
         {{"p1", "uno"},
          {"p2", "dos"},
          {"p3", "tres"},
          {"p4", "a,b,c"},
          {"p5", "cinco"},
          {"p6", "nuevo"},
          {"p7", ""},
          {"p8", "\"citado\""}}},
        // Whatever the first two bytes are, they are not text: without a
        // mark the first character is lost.
        {"nomark", UcsFile(u"p1,eins\np2,zwei\n", false), {{"1", "eins"}, {"p2", "zwei"}}},
        // Latin, Cyrillic, a CJK character, a pair of surrogates, a lone
        // surrogate and an odd last byte.
        {"utf",
         UcsFile(u"p1,\u00fc\u0416\u4e2d\U0001F600\np2,a\xD800z\n") + "p",
         {{"p1", "\xC3\xBC\xD0\x96\xE4\xB8\xAD\xF0\x9F\x98\x80"}, {"p2", "a\xEF\xBF\xBDz"}}},
    };
    for (const auto& f : files) {
        box.WriteFile(std::string("/home/service/oxgw_") + f.name + ".ucs", f.bytes);
        OxTextMap* map = OxLanguageMap::Instance(f.name);
        ASSERT_NE(nullptr, map) << f.name;
        EXPECT_EQ(f.map, *map) << f.name;
    }
}

TEST_F(LanguageMapTest, FileBeyondTheLimitIsRefusedNotFatal) {
    std::u16string at;
    for (int i = 0; i < 9998; ++i)
        at += u"p1,x\n";  // 10 bytes a line
    // 99980 + 18 bytes and an odd one: exactly the limit is still read.
    box.WriteFile("/home/service/oxgw_limit.ucs", UcsFile(at + u"p2,abcdef") + "\n");
    box.WriteFile("/home/service/oxgw_over.ucs", UcsFile(at + u"p2,abcdef\n"));
    OxTextMap* limit = OxLanguageMap::Instance("limit");
    ASSERT_NE(nullptr, limit);
    EXPECT_EQ("abcdef", OxLanguageMap::getParmName(2, limit));
    EXPECT_EQ("x", OxLanguageMap::getParmName(1, limit));
    EXPECT_EQ(nullptr, OxLanguageMap::Instance("over"));
}

TEST_F(LanguageMapTest, TextMarksAndEnglishFallback) {
    WriteLanguage("english", u"p1,Pump\np2,Heater\np3,=Stop\np4,NA\np5,NAND gate\np6,=NA\n");
    WriteLanguage("german", u"p1,Pumpe\np3,=Halt\n");
    OxTextMap* german = OxLanguageMap::Instance("german");
    ASSERT_NE(nullptr, german);
    EXPECT_EQ("Pumpe", OxLanguageMap::getParmName(1, german));
    // Not in German: the English text; in neither: the key.
    EXPECT_EQ("Heater", OxLanguageMap::getParmName(2, german));
    EXPECT_EQ("p9", OxLanguageMap::getParmName(9, german));
    EXPECT_EQ("Halt", OxLanguageMap::getParmName(3, german));
    EXPECT_EQ("Stop", OxLanguageMap::getParmName(3, nullptr));
    EXPECT_EQ("", OxLanguageMap::getParmName(4, german));
    EXPECT_EQ("", OxLanguageMap::getParmName(5, nullptr));
    // "=" keeps a text that begins with "NA".
    EXPECT_EQ("NA", OxLanguageMap::getParmName(6, nullptr));

    languageDebug = true;
    EXPECT_EQ("p2:Heater", OxLanguageMap::getParmName(2, german));
    EXPECT_EQ("p4:", OxLanguageMap::getParmName(4, german));
    EXPECT_EQ("p9", OxLanguageMap::getParmName(9, german));
    languageDebug = false;

    std::string out = "untouched";
    EXPECT_FALSE(OxLanguageMap::ParameterLookup("p1", nullptr, out));
    EXPECT_FALSE(OxLanguageMap::ParameterLookup("p2", german, out));
    EXPECT_EQ("untouched", out);
    EXPECT_TRUE(OxLanguageMap::ParameterLookup("p3", german, out));
    EXPECT_EQ("=Halt", out);

    // English stays loaded for the fallback when its last session goes.
    OxTextMap* english = OxLanguageMap::Instance("english");
    ASSERT_NE(nullptr, english);
    EXPECT_EQ(2, OxLanguageMap::Instance()->GetUseCount("english"));
    OxLanguageMap::RemoveLanguage(english);
    EXPECT_EQ(1, OxLanguageMap::Instance()->GetUseCount("english"));
    EXPECT_EQ("Pump", OxLanguageMap::getParmName(1, nullptr));
}

TEST_F(LanguageMapTest, SessionsShareALanguageAndTheLastFreesIt) {
    WriteLanguage("german", u"p1,Pumpe\n");
    OxTextMap* first = OxLanguageMap::Instance("german");
    ASSERT_NE(nullptr, first);
    // The second session gets the same map without reading the file again.
    box.WriteFile("/home/service/oxgw_german.ucs", UcsFile(u"p1,Neu\n"));
    OxTextMap* second = OxLanguageMap::Instance("german");
    EXPECT_EQ(first, second);
    EXPECT_EQ("Pumpe", OxLanguageMap::getParmName(1, second));
    OxLanguageMap* languages = OxLanguageMap::Instance();
    EXPECT_EQ(2, languages->GetUseCount("german"));

    OxLanguageMap::RemoveLanguage(first);
    EXPECT_EQ(1, languages->GetUseCount("german"));
    OxLanguageMap::RemoveLanguage(second);
    EXPECT_EQ(0, languages->GetUseCount("german"));
    // Gone: the next session reads the file anew.
    OxTextMap* third = OxLanguageMap::Instance("german");
    ASSERT_NE(nullptr, third);
    EXPECT_EQ("Neu", OxLanguageMap::getParmName(1, third));
    EXPECT_EQ(1, languages->GetUseCount("german"));
    OxLanguageMap::RemoveLanguage(third);
}

TEST_F(LanguageMapTest, TextMappingReplacesInEveryTextAndIsRedoneAfterAReset) {
    WriteLanguage("english", u"p1,Developer tank\np2,Tank low\na1,Rinse tank %s\n");
    box.WriteFile("/etc/textmap/english.0.ucs", UcsFile(u"tank=bath\r\n\"Tank\"=Bath\r\n"));
    box.WriteFile("/etc/textmap/english.1.ucs", UcsFile(u"Rinse=Flush\r\nnoequals\r\n=empty\r\n"));
    // Counting stops at the first missing file.
    box.WriteFile("/etc/textmap/english.3.ucs", UcsFile(u"Developer=Dev\r\n"));
    OxLanguageMap* languages = OxLanguageMap::Instance();
    EXPECT_EQ("Developer bath", OxLanguageMap::getParmName(1, nullptr));
    EXPECT_EQ("Bath low", OxLanguageMap::getParmName(2, nullptr));
    EXPECT_EQ("Flush bath %s", OxLanguageMap::getAlarmText(1, nullptr));

    // Without a reset the pass is not repeated.
    box.WriteFile("/etc/textmap/english.0.ucs", UcsFile(u"bath=pool\r\n"));
    languages->PerformTextMapping();
    EXPECT_EQ("Developer bath", OxLanguageMap::getParmName(1, nullptr));
    // After the reset it is done again from the texts as read.
    languages->ResetTextMapping();
    languages->PerformTextMapping();
    EXPECT_EQ("Developer tank", OxLanguageMap::getParmName(1, nullptr));
    EXPECT_EQ("Flush tank %s", OxLanguageMap::getAlarmText(1, nullptr));
    box.WriteFile("/etc/textmap/english.0.ucs", UcsFile(u"tank=vat\r\n"));
    languages->ResetTextMapping();
    languages->PerformTextMapping();
    EXPECT_EQ("Developer vat", OxLanguageMap::getParmName(1, nullptr));
}

TEST_F(LanguageMapTest, TextMappingTakesAtMostTwoHundredPairs) {
    std::u16string pairs;
    for (int i = 0; i < 199; ++i)
        pairs += u"zz=yy\n";
    box.WriteFile("/etc/textmap/german.0.ucs", UcsFile(pairs + u"A=1\n"));
    box.WriteFile("/etc/textmap/german.1.ucs", UcsFile(u"B=2\n"));
    WriteLanguage("german", u"p1,AB\n");
    OxTextMap* german = OxLanguageMap::Instance("german");
    ASSERT_NE(nullptr, german);
    EXPECT_EQ("1B", OxLanguageMap::getParmName(1, german));
}

// Where the custom language is found, and what it asks of the stick: the
// service folder needs none; otherwise the stick is mounted and unmounted
// even when it fails or holds nothing, and the search goes on.
TEST_F(LanguageMapTest, CustomLanguageFromTheServiceFolderElseTheStick) {
    const struct {
        std::vector<std::string> files;  // where oxgw_custom.ucs stands
        const char* fail;                // board programs that fail
        const char* text;                // parameter 1, or null for no map
        const char* board;
    } cases[] = {
        {{"/mnt/usb/custom"}, "", "/mnt/usb/custom", "mountusb \numountusb \n"},
        {{"/home/service/custom", "/mnt/usb/custom"}, "", "/home/service/custom", ""},
        {{}, "", nullptr, "mountusb \numountusb \n"},
        {{"/usr/torc2/locale/custom"},
         "mountusb umountusb",
         "/usr/torc2/locale/custom",
         "mountusb \numountusb \n"},
    };
    for (const auto& c : cases) {
        Sandbox fresh;
        OxLanguageMap::DeleteInstance();
        OxConfiguration::Instance()->SetAppPath(fresh.Root());
        conntest::BoardOnPath board(fresh.Root());
        setenv("OXGW_BOARD_FAIL", c.fail, 1);
        for (const std::string& dir : c.files) {
            std::u16string text = u"p1," + std::u16string(dir.begin(), dir.end()) + u"\n";
            fresh.WriteFile(dir + "/oxgw_custom.ucs", UcsFile(text));
        }
        OxTextMap* custom = OxLanguageMap::Instance("custom");
        if (c.text == nullptr) {
            EXPECT_EQ(nullptr, custom);
        } else {
            ASSERT_NE(nullptr, custom) << c.text;
            EXPECT_EQ(c.text, OxLanguageMap::getParmName(1, custom));
        }
        // Other languages never touch the stick.
        OxLanguageMap::Instance("german");
        EXPECT_EQ(c.board, ReadWholeFile(fresh.Path("/var/log/board.log"))) << c.board;
    }
}

}  // namespace
