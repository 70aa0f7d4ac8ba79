#include "oxgway_parameter.h"

#include "oxconf.h"
#include "oxconn.h"
#include "oxgway_textargs.h"
#include "oxlanguage.h"
#include "oxobject.h"
#include "oxobjectmanager.h"
#include "testprint.h"

#include <cassert>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

const std::string OxGWayParameter::EMPTY_STD_STRING;

OxGWayParameter::OxGWayParameter(unsigned id, const std::string& name, const std::string& access)
    : id(id), pid(GWayNumber(id)), name(name), access(access) {}

int OxGWayParameter::Unserialize(const char*, char*&) {
    return 0;
}

void OxGWayParameter::SetId(unsigned newId, const std::string& label) {
    id = newId;
    pid = GWayNumber(newId);
    size_t mark = name.find('#');
    if (mark != std::string::npos)
        name.replace(mark, 1, label);
}

std::string OxGWayParameter::HMId(double value) {
    char buffer[64];
    int res = snprintf(buffer, sizeof buffer, "%.0f", value);
    assert(res != (-1));
    (void)res;
    return buffer;
}

std::string OxGWayParameter::GWayNumber(double value) {
    char buffer[400];
    int length = snprintf(buffer, sizeof buffer, "%+.*f", 10, value);
    assert(length > 0 && length < static_cast<int>(sizeof buffer));
    std::string text(buffer, length);
    size_t point = text.find_last_of(".,");
    if (point != std::string::npos) {
        size_t last = text.find_last_not_of('0');
        if (last == point)
            last = point + 1;
        text.erase(last + 1);
    }
    // Only the last separator is the decimal point.
    std::string result;
    size_t lastPoint = text.find_last_of(".,");
    for (size_t i = 0; i < text.size(); ++i)
        if ((text[i] != '.' && text[i] != ',') || i == lastPoint)
            result += text[i];
    return result;
}

unsigned OxGWayParameter::UTF8ToUnicode16(const char* text, unsigned* c) {
    unsigned char lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80) {
        *c = lead;
        return 1;
    }
    if ((lead & 0xc0) != 0xc0)
        return 0;
    unsigned value = lead & 0x1f;
    unsigned length = 1;
    for (unsigned bit = 0x40; (lead & bit) != 0 && bit > 0x08; bit >>= 1) {
        unsigned char next = static_cast<unsigned char>(text[length]);
        if ((next & 0xc0) != 0x80)
            return 0;
        value = (value << 6) | (next & 0x3f);
        ++length;
    }
    *c = value & 0xffff;
    return length;
}

std::string OxGWayParameter::GWayString(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    const char* p = text.c_str();
    const char* end = p + text.size();
    while (p < end) {
        unsigned c = 0;
        unsigned taken = UTF8ToUnicode16(p, &c);
        if (taken == 0) {
            ++p;
            continue;
        }
        p += taken;
        if (c >= 128) {
            char escape[8];
            snprintf(escape, sizeof escape, "\\u%.4x", c & 0xffff);
            out += escape;
        } else if (c == '(') {
            out += '[';
        } else if (c == ')') {
            out += ']';
        } else if (c == ';') {
            out += ',';
        } else if (c != 0) {
            out += static_cast<char>(c);
        }
    }
    std::string result;
    result.reserve(out.size());
    for (size_t i = 0; i < out.size(); ++i) {
        if (out[i] == '\\' && i + 1 < out.size() && out[i + 1] == 'n') {
            result += "\r\n";
            ++i;
        } else {
            result += out[i];
        }
    }
    return result;
}

std::string OxGWayParameter::GWayText(const std::string& text) {
    if (text.empty())
        return GWayString(text);
    unsigned char first = static_cast<unsigned char>(text[0]);
    if (first > 127 || isalnum(first))
        return GWayString(text);
    char escape[8];
    snprintf(escape, sizeof escape, "\\u%.4x", first);
    return GWayString(escape + text.substr(1));
}

std::string OxGWayParameter::GWayAccess(int level, unsigned number) {
    char buffer[40];
    snprintf(buffer, sizeof buffer, "%d.%u", level, number);
    return buffer;
}

bool OxGWayParameter::CheckAccessNumber(int level, unsigned number) {
    return level >= -4 && level <= -1 && number >= 1 && number <= 4;
}

std::string OxGWayParameter::GAccessToGWayAccess(int access) {
    switch (access) {
        case 4:
            return "3";
        case 5:
        case 6:
            return "2";
        case 7:
            return "1";
        default:
            return "4";
    }
}

std::string OxGWayParameter::GAccessToGWayAccess(int read, int write) {
    return "-" + GAccessToGWayAccess(read) + "." + GAccessToGWayAccess(write);
}

std::string OxGWayParameter::GWayStringFmt(const char* format, ...) {
    char buffer[250];
    va_list args;
    va_start(args, format);
    int length = vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    if (length < 0 || length >= static_cast<int>(sizeof buffer)) {
        TestPrintF(4, "StringFmt;Overflow;%s\n", format);
        buffer[sizeof buffer - 1] = '\0';
    }
    return GWayString(buffer);
}

OxGWayParVariable::OxGWayParVariable(unsigned id, const std::string& name,
                                     const std::string& access, const std::string& defaultValue,
                                     const std::string& min, const std::string& max,
                                     const std::string& unit, long objectId,
                                     OXObjectManager* objects)
    : OxGWayParameter(id, name, access) {
    this->defaultValue = GWayString(defaultValue);
    this->min = GWayString(min);
    this->max = GWayString(max);
    this->unit = GWayString(unit);
    value = this->defaultValue;
    if (objectId != 0 && objects != nullptr) {
        OXObject* object = objects->Lookup(objectId);
        if (object != nullptr)
            value = GWayValueText(*object, OxGWayParLanguage::GetLanguageMap());
    }
}

int OxGWayParVariable::Unserialize(const char* text, char*&) {
    value = text;
    return 0;
}

namespace {

// The nine fields of a variable's map line: id, name, access, object, default,
// minimum, maximum and unit.
struct VariableLine {
    std::string text;  // the line behind one blank, as the id list reads it
    unsigned pid = 0;
    char name[101] = "", defaultValue[101] = "", min[101] = "", max[101] = "", unit[21] = "";
    int level = 0;
    unsigned number = 0;
    long objectId = 0;

    bool Read(const char* line) {
        // The leading blanks are optional; the format wants at least one.
        text = std::string(" ") + line;
        int fields = sscanf(text.c_str(),
                            "%*[ \t]%u ; \" %100[^\"] \" ; %d.%u ; %ld ; \" %100[^\"] \" ; \" "
                            "%100[^\"] \" ; \" %100[^\"] \" ; \" %20[^\"] \" ;",
                            &pid, name, &level, &number, &objectId, defaultValue, min, max, unit);
        return fields == 9 && OxGWayParameter::CheckAccessNumber(level, number);
    }
};

}  // namespace

OxGWayParameter* OxGWayParVariable::CreateFromStr(const char* line, OXObjectManager& objects,
                                                  OXClassManager&) {
    VariableLine v;
    if (!v.Read(line))
        return nullptr;

    long list[10] = {0};
    ReadIdList(v.text, list);

    std::string format = v.name;
    int argStart = 0;
    size_t global = format.find("%g");
    if (global != std::string::npos) {
        format.replace(global, 2,
                       OxLanguageMap::getGlobalName(list[0], OxGWayParLanguage::GetLanguageMap()));
        argStart = 1;
    }
    assert(argStart <= 1);
    std::vector<std::string> args;
    for (int i = argStart; i < 10; ++i) {
        if (list[i] == 0)
            continue;
        OXObject* object = objects.Lookup(list[i]);
        args.push_back(object != nullptr
                           ? ArgumentText(*object, OxGWayParLanguage::GetLanguageMap())
                           : std::string());
    }
    std::string formatted;
    if (!FormatName(format, args, 100, formatted)) {
        TestPrintF(4, "GWay(_): Error: Format buffer to small\n");
        return nullptr;
    }
    TestPrintF(0x4000, "GWay(_): Dbg;OxGWayParVariable::CreateFromStr;%s;%s;%d;%d\n", v.name,
               formatted.c_str(), argStart, static_cast<int>(args.size()));
    return new OxGWayParVariable(v.pid, GWayString(formatted), GWayAccess(v.level, v.number),
                                 v.defaultValue, v.min, v.max, v.unit, v.objectId, &objects);
}

OxGWayParObjectName::OxGWayParObjectName(unsigned id, const std::string& name,
                                         const std::string& objectName)
    : OxGWayParVariable(id, name, "-4.1", "", "0 chars", "200 chars", "ASCII String") {
    value = GWayText(objectName);
}

int OxGWayParObjectName::Unserialize(const char*, char*&) {
    return -1;
}

OxGWayParameter* OxGWayParObjectName::CreateFromStr(const char* line, OXObjectManager& objects,
                                                    OXClassManager&) {
    std::string text = std::string(" ") + line;
    unsigned pid = 0;
    char name[101] = "";
    long objectId = 0;
    if (sscanf(text.c_str(), "%*[ \t]%u ; \" %100[^\"] \" ; %ld ;", &pid, name, &objectId) != 3)
        return nullptr;
    const OxTextMap* map = OxGWayParLanguage::GetLanguageMap();
    std::string resolved = name;
    OXObject* object = objects.Lookup(objectId);
    bool section = strstr(name, kSectionMarker) != nullptr;
    if (section || strstr(name, kParameterMarker) != nullptr) {
        long textId = objectId;
        if (section)
            textId = object != nullptr ? OXToLong(object->GetNumber("Section")) : 0;
        std::string key = "p" + std::to_string(textId);
        std::string found;
        bool known = OxLanguageMap::ParameterLookup(key, map, found);
        resolved = OxLanguageMap::getParmName(textId, map);
        if (pid >= 29300 && !known)
            resolved += " [" + std::to_string(objectId) + "]";
    }
    size_t n = resolved.size();
    if (n >= 3 && resolved[n - 1] == ']' && resolved[n - 3] == '[')
        resolved.erase(n - 3);
    char label[100];
    snprintf(label, sizeof label, "OLP PID Name: %u (Id:%ld)", pid, objectId);
    return new OxGWayParObjectName(pid + 80, GWayString(label), resolved);
}

namespace {
// Directory code and name of each language the host can select.
const char* const kLanguages[][2] = {
    {"en", "english"}, {"de", "german"}, {"fr", "french"}, {"es", "spanish"}};

std::string LanguageFile() {
    return OxConfiguration::Instance()->MakeAbsPath("/etc/torc2/gway_language.txt");
}
}  // namespace

std::string OxGWayParLanguage::languageDir;
std::map<std::string, std::string>* OxGWayParLanguage::pLanguageTextIdMap = nullptr;

OxGWayParLanguage::OxGWayParLanguage(unsigned id, const std::string& name,
                                     const std::string& access, const std::string& defaultValue,
                                     const std::string& min, const std::string& max,
                                     const std::string& unit)
    : OxGWayParVariable(id, name, access, defaultValue, min, max, unit) {
    std::string file = LanguageFile();
    std::ifstream in(file, std::ios::binary);
    std::string text;
    int index = -1;
    if (!in.good()) {
        TestPrintF(4, "GWay(_): Language file not found\n");
    } else {
        std::ostringstream all;
        all << in.rdbuf();
        text = all.str();
        if (text.empty())
            TestPrintF(4, "GWay(_): Language file empty\n");
        size_t end = text.find_last_not_of("\r\n \t");
        text.erase(end == std::string::npos ? 0 : end + 1);
        for (int i = 0; i < 4; ++i)
            if (text == kLanguages[i][1])
                index = i;
        if (index >= 0)
            TestPrintF(0x2000, "GWay(_): Language file loaded;%s;%d;%d\n", text.c_str(), index,
                       static_cast<int>(text.size()));
    }
    if (index < 0)
        index = 0;
    SaveSelectedLanguage(kLanguages[index][0], kLanguages[index][1]);
    value = GWayString(kLanguages[index][1]);
}

int OxGWayParLanguage::Unserialize(const char* text, char*& output) {
    int result = OxGWayParVariable::Unserialize(text, output);
    size_t end = value.find_last_not_of("\r\n ");
    value.erase(end == std::string::npos ? 0 : end + 1);
    int index = -1;
    for (int i = 0; i < 4; ++i)
        if (value == kLanguages[i][0] || value == kLanguages[i][1])
            index = i;
    if (index < 0) {
        TestPrintF(4, "GWay(_): Unknown language: %s;%d\n", value.c_str(),
                   static_cast<int>(value.size()));
        index = 0;
    }
    value = kLanguages[index][1];
    SaveSelectedLanguage(kLanguages[index][0], kLanguages[index][1]);
    return result;
}

void OxGWayParLanguage::SaveSelectedLanguage(const std::string& dir, const std::string& name) {
    if (dir == languageDir && pLanguageTextIdMap != nullptr) {
        TestPrintF(0x2000, "GWay(_): Language not changed: %s; %s; %s\n", dir.c_str(), name.c_str(),
                   languageDir.c_str());
        return;
    }
    std::string file = LanguageFile();
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << name;
    out.close();
    if (!out.good()) {
        TestPrintF(4, "GWay(_): File creation error or file readonly: %s\n", file.c_str());
    } else {
        TestPrintF(0x2000, "GWay(_): Language selected: %s; %d\n", name.c_str(),
                   static_cast<int>(name.size()));
    }
    languageDir = dir;
    OxTextMap* previous = pLanguageTextIdMap;
    pLanguageTextIdMap = OxLanguageMap::Instance(dir);
    OxLanguageMap::RemoveLanguage(previous);
}

void OxGWayParLanguage::Release() {
    OxLanguageMap::RemoveLanguage(pLanguageTextIdMap);
    pLanguageTextIdMap = nullptr;
    languageDir.clear();
}

OxGWayParameter* OxGWayParLanguage::CreateFromStr(const char* line, OXObjectManager&,
                                                  OXClassManager&) {
    VariableLine v;
    if (!v.Read(line))
        return nullptr;
    return new OxGWayParLanguage(v.pid, GWayString(v.name), GWayAccess(v.level, v.number),
                                 v.defaultValue, v.min, v.max, v.unit);
}

OxGWayParAlarmExe::OxGWayParAlarmExe(unsigned id, const std::string& name,
                                     const std::string& access, const std::string& defaultValue,
                                     const std::string& min, const std::string& max,
                                     const std::string& unit, OxConnection* connection)
    : OxGWayParVariable(id, name, access, defaultValue, min, max, unit), connection(connection) {}

void OxGWayParAlarmExe::SetAlarmObjectId(long type, int ownerId, long objectId) {
    alarmType = type;
    owner = ownerId;
    alarmObjectId = objectId;
}

void OxGWayParAlarmExe::AddReplyId(int replyId, const std::string& text) {
    replyIds[GWayString(text)] = replyId;
}

void OxGWayParAlarmExe::ClearReplyIdList() {
    alarmType = 0;
    owner = 0;
    alarmObjectId = 0;
    replyIds.clear();
    value = defaultValue;
}

int OxGWayParAlarmExe::Unserialize(const char* text, char*& output) {
    int result = OxGWayParVariable::Unserialize(text, output);
    auto found = replyIds.find(value);
    if (found == replyIds.end()) {
        TestPrintF(4, "GWay(_): Unknown alarm reply: '%s', %d, %d, %d, %d, %s\n", value.c_str(),
                   static_cast<int>(alarmType), owner, static_cast<int>(alarmObjectId),
                   static_cast<int>(replyIds.size()), OxGWayParLanguage::GetLangaugeDir().c_str());
        for (const auto& entry : replyIds)
            TestPrintF(4, "GWay(_): Posible Values: %d, %d, %d, %d, '%s'\n",
                       value.compare(entry.first), static_cast<int>(value.size()),
                       static_cast<int>(entry.first.size()), entry.second, entry.first.c_str());
        value = defaultValue;
        return -1;
    }
    TestPrintF(2, "GWay(_): Alarm Reply: %ld, %u, %d, %s\n", alarmObjectId, id, found->second,
               value.c_str());
    if (connection != nullptr)
        connection->ReplyAlarm(static_cast<int>(alarmObjectId), found->second);
    value = defaultValue;
    return result;
}
