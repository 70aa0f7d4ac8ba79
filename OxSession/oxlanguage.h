// The machine's texts in the languages that clients ask for.
//
// Placeholder until the language map lands: no language files are read, the
// text mapping pass does nothing, and a parameter name is looked up only in
// the map that the caller holds.
#pragma once

#include <map>
#include <string>

// Key ("p12", "a5", ...) to UTF-8 text.
using OxTextMap = std::map<std::string, std::string>;

class OxLanguageMap {
  public:
    static OxLanguageMap* Instance();

    // The mapping pass over the loaded texts when a machine connects, and its
    // reset when the machine goes.
    void PerformTextMapping() {}
    void ResetTextMapping() {}

    // Name of parameter id: the text of key "p<id>", or the key itself.
    static std::string getParmName(long id, const OxTextMap* map);
};
