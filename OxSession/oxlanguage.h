// The machine's texts in the languages that clients ask for.
//
// One process-wide object loads a language from its ".ucs" file when a
// session first asks for it, counts the sessions that use it and frees it
// when the last has gone. A text is found by a short key ("p12", "a5", ...).
//
// A ".ucs" file is little-endian 16-bit text: two bytes of byte order mark
// (skipped unread), then lines "key,text" ended by CR, LF or both. A key in
// quotation marks loses its first and last character. Texts are kept as UTF-8.
#pragma once

#include <map>
#include <mutex>
#include <string>

// Key ("p12", "a5", ...) to UTF-8 text.
using OxTextMap = std::map<std::string, std::string>;

class OxLanguageMap {
  public:
    // The singleton, made at first use; it loads "english" then.
    static OxLanguageMap* Instance();
    // The text map of a language for one more user, or null if the language
    // has no file. Give it back with RemoveLanguage.
    static OxTextMap* Instance(const std::string& language);
    // Gives a map back; the last user's leaving frees it. Null is ignored.
    static void RemoveLanguage(const OxTextMap* map);
    // Frees the singleton and all maps (tests, process end).
    static void DeleteInstance();

    OxTextMap* GetLanguageTextPointer(const std::string& language);
    void RemoveSession(const OxTextMap* map);
    // How many users hold a language now (0: not loaded).
    int GetUseCount(const std::string& language);

    // A newly loaded map gets the mapping pass at once. PerformTextMapping(),
    // when a machine connects, redoes it for every loaded map from the texts
    // as read, but only after ResetTextMapping (the machine went), so that
    // changed mapping files take effect. It changes the maps in place: it and
    // all readers run in the reactor thread.
    void PerformTextMapping();
    void ResetTextMapping();

    // Texts by kind; a missing text comes back as its key.
    static std::string getGlobalName(long id, const OxTextMap* map);
    static std::string getParmName(long id, const OxTextMap* map);
    static std::string getAlarmText(int id, const OxTextMap* map);
    static std::string getAlarmReplyText(int id, const OxTextMap* map);
    static std::string getDialogText(int id, const OxTextMap* map);
    static std::string getEnumValueText(const std::string& enumName, int value,
                                        const OxTextMap* map);
    static std::string getLanguageStringNoLock(const std::string& key, const OxTextMap* map);
    // The raw text of a key in one map; false if the map is null or lacks it.
    static bool ParameterLookup(const std::string& key, const OxTextMap* map, std::string& out);

    // Writes the UTF-8 form of one character (up to six bytes) to out;
    // returns the number of bytes.
    static int UnicodeToUTF8(unsigned long c, char* out);
    static std::string UnicodeToUTF8(const std::wstring& text);

    // The largest file behind the byte order mark.
    static constexpr long kMaxFileBytes = 99999;
    // The most pairs of all mapping files of a language together.
    static constexpr int kMaxMappingPairs = 200;

  private:
    OxLanguageMap() = default;
    ~OxLanguageMap();

    OxTextMap* GetNewLanguageMap(const std::string& language, int flags);
    void PerformTextMapping(const std::string& language, OxTextMap* map);

    struct Loaded {
        OxTextMap* map;
        OxTextMap raw;  // the texts as read, before the mapping pass
    };

    std::mutex mutex_;
    std::map<std::string, Loaded> languages_;
    std::map<const OxTextMap*, int> useCounts_;
    bool mappingReset_ = false;
    const OxTextMap* englishLanguageMap = nullptr;
};
