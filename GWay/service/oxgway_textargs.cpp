#include "oxgway_textargs.h"

#include "oxgway_parameter.h"
#include "oxobject.h"

#include <cstdio>
#include <cstring>

std::string GWayEnumText(const OXObject& value, const OxTextMap* map) {
    const OXEnumObject* e = dynamic_cast<const OXEnumObject*>(&value);
    if (e == nullptr)
        return std::string();
    const std::string& type = e->GetClassName();
    if (type.compare(0, 2, "NT") == 0)
        return e->GetEnumStr() != nullptr ? *e->GetEnumStr() : std::string();
    return OxLanguageMap::getEnumValueText(type, e->GetValue(), map);
}

std::string ArgumentText(const OXObject& object, const OxTextMap* map) {
    OXObject* value = object.GetAttrValue("Value");
    if (value == nullptr)
        return std::string();
    if (dynamic_cast<OXEnumObject*>(value) != nullptr)
        return GWayEnumText(*value, map);
    return value->AsString();
}

std::string GWayValueText(const OXObject& object, const OxTextMap* map) {
    OXObject* value = object.GetAttrValue("Value");
    if (value == nullptr)
        return std::string();
    if (dynamic_cast<OXNumberObject*>(value) != nullptr)
        return OxGWayParameter::GWayNumber(object.GetNumber("Value"));
    if (dynamic_cast<OXEnumObject*>(value) != nullptr)
        return OxGWayParameter::GWayString(GWayEnumText(*value, map));
    return OxGWayParameter::GWayString(value->AsString());
}

void ReadIdList(const std::string& line, long list[10]) {
    size_t at = 0;
    for (int quotes = 0; quotes < 10; ++quotes) {
        at = line.find('"', at);
        if (at == std::string::npos)
            return;
        ++at;
    }
    size_t open = line.find('(', at);
    if (open == std::string::npos)
        return;
    const char* p = line.c_str() + open + 1;
    for (int i = 0; i < 10; ++i) {
        int id = 0;
        int used = 0;
        if (sscanf(p, " %d%n", &id, &used) != 1)
            return;
        list[i] = id;
        p += used;
        while (*p == ' ' || *p == '\t')
            ++p;
        if (*p != ',')
            return;
        ++p;
    }
}

bool FormatName(const std::string& format, const std::vector<std::string>& args, size_t limit,
                std::string& out) {
    out.clear();
    size_t next = 0;
    for (size_t i = 0; i < format.size(); ++i) {
        if (format[i] == '%' && i + 1 < format.size() && format[i + 1] == 's') {
            out += next < args.size() ? args[next] : std::string();
            ++next;
            ++i;
        } else if (format[i] == '%' && i + 1 < format.size() && format[i + 1] == '%') {
            out += '%';
            ++i;
        } else {
            out += format[i];
        }
    }
    return out.size() <= limit;
}
