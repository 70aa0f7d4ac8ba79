#include "oxlanguage.h"

#include "oxconf.h"
#include "oxgwmain.h"
#include "runprogram.h"
#include "testprint.h"

#include <fstream>
#include <utility>
#include <vector>

namespace {

using TextPairs = std::vector<std::pair<std::string, std::string>>;

// How long mountusb and umountusb may take.
constexpr unsigned kUsbSeconds = 40;

OxLanguageMap* instance_ = nullptr;
std::mutex instanceMutex_;

// A file path under the application root. An absolute path goes through
// MakeAbsPath; a relative one is taken from the application root when one is
// set (MakeAbsPath adds no separator), else from the working directory.
std::string ResolvePath(const std::string& path) {
    OxConfiguration* conf = OxConfiguration::Instance();
    if (!path.empty() && path[0] == '/')
        return conf->MakeAbsPath(path);
    std::string root = conf->GetAppPath();
    return root.empty() ? path : root + "/" + path;
}

// Reads the bytes behind the two bytes of the byte order mark, at most one
// more than allowed so that an oversized file is seen without reading it
// whole.
void ReadBehindMark(std::ifstream& in, std::string& bytes) {
    char mark[2];
    in.read(mark, 2);
    bytes.clear();
    if (in.gcount() < 2)
        return;
    std::string buffer(OxLanguageMap::kMaxFileBytes + 1, '\0');
    in.read(&buffer[0], static_cast<std::streamsize>(buffer.size()));
    buffer.resize(static_cast<size_t>(in.gcount()));
    bytes.swap(buffer);
}

// One line "key<separator>text": the key runs to the first separator, the
// text to the line end. A key in quotes loses its first and last character.
// Lines without a separator or with an empty key are skipped.
void AddLine(const std::wstring& line, char separator, TextPairs& out) {
    size_t pos = line.find(static_cast<wchar_t>(separator));
    if (pos == std::wstring::npos)
        return;
    std::wstring key = line.substr(0, pos);
    if (!key.empty() && key[0] == L'"')
        key = key.size() >= 2 ? key.substr(1, key.size() - 2) : std::wstring();
    if (key.empty())
        return;
    out.emplace_back(OxLanguageMap::UnicodeToUTF8(key),
                     OxLanguageMap::UnicodeToUTF8(line.substr(pos + 1)));
}

// Decodes little-endian 16-bit text into lines. A surrogate pair makes one
// character; a lone surrogate becomes U+FFFD; zero characters are dropped; an
// odd last byte is ignored.
void ParseUcs(const std::string& bytes, char separator, TextPairs& out) {
    std::wstring line;
    size_t n = bytes.size() / 2;
    for (size_t i = 0; i < n; ++i) {
        unsigned long c = static_cast<unsigned char>(bytes[2 * i]) |
                          static_cast<unsigned long>(static_cast<unsigned char>(bytes[2 * i + 1]))
                              << 8;
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < n) {
            unsigned long low =
                static_cast<unsigned char>(bytes[2 * i + 2]) |
                static_cast<unsigned long>(static_cast<unsigned char>(bytes[2 * i + 3])) << 8;
            if (low >= 0xDC00 && low <= 0xDFFF) {
                c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
                ++i;
            } else {
                c = 0xFFFD;
            }
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = 0xFFFD;
        }
        if (c == '\r' || c == '\n') {
            if (!line.empty())
                AddLine(line, separator, out);
            line.clear();
        } else if (c != 0) {
            line.push_back(static_cast<wchar_t>(c));
        }
    }
    if (!line.empty())
        AddLine(line, separator, out);
}

// Reads one text file whole. False if it does not open. tooLong is set for a
// file beyond the limit, whose lines are then not read at all.
bool ReadUcsFile(const std::string& path, char separator, TextPairs& out, long& inCnt,
                 bool& tooLong) {
    std::ifstream in(path, std::ios::binary);
    inCnt = 0;
    tooLong = false;
    if (!in.is_open())
        return false;
    std::string bytes;
    ReadBehindMark(in, bytes);
    inCnt = static_cast<long>(bytes.size());
    if (inCnt > OxLanguageMap::kMaxFileBytes) {
        // A file this long is not a language file: refused whole, so that a
        // bad file on a stick cannot stop the server.
        tooLong = true;
        TestPrintF(4, "Language file %.300s longer than %ld bytes, not read\n", path.c_str(),
                   OxLanguageMap::kMaxFileBytes);
        return true;
    }
    ParseUcs(bytes, separator, out);
    return true;
}

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
    size_t pos = 0;
    while ((pos = text.find(from, pos)) != std::string::npos) {
        text.replace(pos, from.size(), to);
        pos += to.size();
    }
}

}  // namespace

// ---------------------------------------------------------------- singleton

OxLanguageMap* OxLanguageMap::Instance() {
    std::lock_guard<std::mutex> guard(instanceMutex_);
    if (instance_ == nullptr) {
        instance_ = new OxLanguageMap;
        instance_->englishLanguageMap = instance_->GetLanguageTextPointer("english");
    }
    return instance_;
}

OxTextMap* OxLanguageMap::Instance(const std::string& language) {
    return Instance()->GetLanguageTextPointer(language);
}

void OxLanguageMap::RemoveLanguage(const OxTextMap* map) {
    if (map == nullptr)
        return;
    std::lock_guard<std::mutex> guard(instanceMutex_);
    if (instance_ != nullptr)
        instance_->RemoveSession(map);
}

void OxLanguageMap::DeleteInstance() {
    std::lock_guard<std::mutex> guard(instanceMutex_);
    delete instance_;
    instance_ = nullptr;
}

OxLanguageMap::~OxLanguageMap() {
    for (auto& entry : languages_)
        delete entry.second.map;
}

// ---------------------------------------------------------------- loading and counting

OxTextMap* OxLanguageMap::GetLanguageTextPointer(const std::string& language) {
    std::lock_guard<std::mutex> guard(mutex_);
    auto it = languages_.find(language);
    if (it == languages_.end()) {
        OxTextMap* map = GetNewLanguageMap(language, 0);
        if (map == nullptr)
            return nullptr;
        it = languages_.emplace(language, Loaded{map, *map}).first;
        PerformTextMapping(language, map);
    }
    ++useCounts_[it->second.map];
    return it->second.map;
}

void OxLanguageMap::RemoveSession(const OxTextMap* map) {
    std::lock_guard<std::mutex> guard(mutex_);
    auto count = useCounts_.find(map);
    if (count == useCounts_.end())
        return;
    if (--count->second > 0)
        return;
    useCounts_.erase(count);
    for (auto it = languages_.begin(); it != languages_.end(); ++it) {
        if (it->second.map == map) {
            delete it->second.map;
            languages_.erase(it);
            break;
        }
    }
}

int OxLanguageMap::GetUseCount(const std::string& language) {
    std::lock_guard<std::mutex> guard(mutex_);
    auto it = languages_.find(language);
    if (it == languages_.end())
        return 0;
    auto count = useCounts_.find(it->second.map);
    return count == useCounts_.end() ? 0 : count->second;
}

OxTextMap* OxLanguageMap::GetNewLanguageMap(const std::string& language, int /*flags*/) {
    TestPrintF(8, "Requesting Language %.100s \n", language.c_str());
    const std::string file = "oxgw_" + language + ".ucs";
    const bool custom = language == "custom";
    // A name that could leave the language folders is never a language.
    const bool usable = !language.empty() && language.find('/') == std::string::npos;

    std::ifstream probe;
    std::string path;
    bool mounted = false;
    auto tryOpen = [&](const std::string& where) {
        path = ResolvePath(where);
        probe.open(path, std::ios::binary);
        bool open = probe.is_open();
        TestPrintF(8, "Request for language %.300s isopen=%d\n", path.c_str(), open ? 1 : 0);
        return open;
    };

    bool haveFile = false;
    if (usable) {
        haveFile = tryOpen("./" + file) || tryOpen("/home/service/" + file);
        if (!haveFile && custom)
            haveFile = tryOpen("/home/service/custom/" + file);
        if (!haveFile && custom) {
            mounted = true;
            long status = RunProgramAndWait("mountusb", kUsbSeconds);
            if (status != 0)
                TestPrintF(4, "Custom loading from USB fail %ld\n", status);
            haveFile = tryOpen("/mnt/usb/custom/" + file);
        }
        if (!haveFile)
            haveFile = tryOpen("/usr/torc2/locale/" + language + "/" + file);
    }

    OxTextMap* map = new OxTextMap;
    if (!haveFile) {
        if (language != "none")
            TestPrintF(4, "Unable to open %.300s \n", language.c_str());
    } else {
        TestPrintF(8, "Reading from file %.300s \n", path.c_str());
        probe.close();
        TextPairs pairs;
        long inCnt = 0;
        bool tooLong = false;
        ReadUcsFile(path, ',', pairs, inCnt, tooLong);
        // A later line with the same key overrides the earlier one.
        for (auto& pair : pairs)
            (*map)[pair.first] = std::move(pair.second);
        TestPrintF(8, "file %.300s read done inCnt=%ld idx=%d haveFile=%d\n", path.c_str(), inCnt,
                   static_cast<int>(pairs.size()), 1);
    }
    if (mounted) {
        long status = RunProgramAndWait("umountusb", kUsbSeconds);
        if (status != 0)
            TestPrintF(4, "Closing usb from Custom loading fail %ld\n", status);
    }
    if (map->empty()) {
        delete map;
        return nullptr;
    }
    return map;
}

// ---------------------------------------------------------------- text mapping

void OxLanguageMap::PerformTextMapping(const std::string& language, OxTextMap* map) {
    TestPrintF(2, "PerformTextMapping:Start\n");
    TextPairs pairs;
    bool exhausted = false;
    for (int n = 0; !exhausted; ++n) {
        std::string path = OxConfiguration::Instance()->MakeAbsPath(
            "/etc/textmap/" + language + "." + std::to_string(n) + ".ucs");
        TextPairs filePairs;
        long inCnt = 0;
        bool tooLong = false;
        if (!ReadUcsFile(path, '=', filePairs, inCnt, tooLong))
            break;
        for (auto& pair : filePairs) {
            if (static_cast<int>(pairs.size()) >= kMaxMappingPairs) {
                TestPrintF(4, "PerformTextMapping;Map List Exhausted!\n");
                exhausted = true;
                break;
            }
            TestPrintF(2, ":%.200s:=:%.200s:\n", pair.first.c_str(), pair.second.c_str());
            pairs.push_back(std::move(pair));
        }
    }
    for (auto& entry : *map) {
        for (const auto& pair : pairs)
            ReplaceAll(entry.second, pair.first, pair.second);
    }
    TestPrintF(2, "PerformTextMapping:Completed\n");
}

void OxLanguageMap::PerformTextMapping() {
    std::lock_guard<std::mutex> guard(mutex_);
    if (!mappingReset_)
        return;
    mappingReset_ = false;
    // Again from the texts as read, so that no pair is applied twice.
    for (auto& entry : languages_) {
        *entry.second.map = entry.second.raw;
        PerformTextMapping(entry.first, entry.second.map);
    }
}

void OxLanguageMap::ResetTextMapping() {
    std::lock_guard<std::mutex> guard(mutex_);
    mappingReset_ = true;
}

// ---------------------------------------------------------------- lookups

bool OxLanguageMap::ParameterLookup(const std::string& key, const OxTextMap* map,
                                    std::string& out) {
    if (map == nullptr) {
        TestPrintF(4, "ParameterLookup(%.300s) no language Map)\n", key.c_str());
        return false;
    }
    auto it = map->find(key);
    if (it == map->end())
        return false;
    out = it->second;
    return true;
}

std::string OxLanguageMap::getLanguageStringNoLock(const std::string& key, const OxTextMap* map) {
    const OxTextMap* english = Instance()->englishLanguageMap;
    const std::string* found = nullptr;
    if (map != nullptr) {
        auto it = map->find(key);
        if (it != map->end())
            found = &it->second;
    }
    if (found == nullptr && map != english && english != nullptr) {
        auto it = english->find(key);
        if (it != english->end())
            found = &it->second;
    }
    if (found == nullptr)
        return key;
    std::string text;
    // "=" in front keeps a text that would otherwise be taken as a mark.
    if (!found->empty() && (*found)[0] == '=')
        text = found->substr(1);
    else if (found->compare(0, 2, "NA") != 0)
        text = *found;
    if (languageDebug)
        return key + ":" + text;
    return text;
}

std::string OxLanguageMap::getGlobalName(long id, const OxTextMap* map) {
    return getLanguageStringNoLock("g" + std::to_string(id), map);
}

std::string OxLanguageMap::getParmName(long id, const OxTextMap* map) {
    return getLanguageStringNoLock("p" + std::to_string(id), map);
}

std::string OxLanguageMap::getAlarmText(int id, const OxTextMap* map) {
    return getLanguageStringNoLock("a" + std::to_string(id), map);
}

std::string OxLanguageMap::getAlarmReplyText(int id, const OxTextMap* map) {
    return getLanguageStringNoLock("r" + std::to_string(id), map);
}

std::string OxLanguageMap::getDialogText(int id, const OxTextMap* map) {
    return getLanguageStringNoLock("d" + std::to_string(id), map);
}

std::string OxLanguageMap::getEnumValueText(const std::string& enumName, int value,
                                            const OxTextMap* map) {
    return getLanguageStringNoLock(enumName + "-" + std::to_string(value), map);
}

// ---------------------------------------------------------------- UTF-8

int OxLanguageMap::UnicodeToUTF8(unsigned long c, char* out) {
    if (c < 0x80) {
        out[0] = static_cast<char>(c);
        return 1;
    }
    int length;
    unsigned char first;
    if (c < 0x800) {
        length = 2;
        first = 0xC0;
    } else if (c < 0x10000) {
        length = 3;
        first = 0xE0;
    } else if (c < 0x200000) {
        length = 4;
        first = 0xF0;
    } else if (c < 0x4000000) {
        length = 5;
        first = 0xF8;
    } else {
        length = 6;
        first = 0xFC;
        c &= 0x7FFFFFFF;
    }
    for (int i = length - 1; i > 0; --i) {
        out[i] = static_cast<char>(0x80 | (c & 0x3F));
        c >>= 6;
    }
    out[0] = static_cast<char>(first | c);
    return length;
}

std::string OxLanguageMap::UnicodeToUTF8(const std::wstring& text) {
    std::string out;
    out.reserve(text.size());
    char buffer[6];
    for (wchar_t c : text) {
        int n = UnicodeToUTF8(static_cast<unsigned long>(c), buffer);
        out.append(buffer, static_cast<size_t>(n));
    }
    return out;
}
