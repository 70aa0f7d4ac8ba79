#include "oxlanguage.h"

OxLanguageMap* OxLanguageMap::Instance() {
    static OxLanguageMap map;
    return &map;
}

std::string OxLanguageMap::getParmName(long id, const OxTextMap* map) {
    std::string key = "p" + std::to_string(id);
    if (map != nullptr) {
        auto it = map->find(key);
        if (it != map->end())
            return it->second;
    }
    return key;
}
