// Small readers shared by the gateway's parameter classes: the text of an
// object's value, the id list at the end of a map line, and the filling of
// "%s" places in a parameter's name.
#pragma once

#include "oxlanguage.h"

#include <string>
#include <vector>

class OXObject;

// Marker words in a name parameter's line: the object's section name, or
// the object's own parameter name, from the language texts.
constexpr const char* kSectionMarker = "$SECTION";
constexpr const char* kParameterMarker = "$PARM";

// The enum text of an enum value: its own text for an enum type whose name
// begins with "NT", else the language text of the value.
std::string GWayEnumText(const OXObject& value, const OxTextMap* map);
// "Value" of the object as a plain text (for a name's arguments).
std::string ArgumentText(const OXObject& object, const OxTextMap* map);
// "Value" of the object in wire form: a number by GWayNumber, an enum by its
// text, a string as it stands.
std::string GWayValueText(const OXObject& object, const OxTextMap* map);
// The list "(id,id,...)" behind the ten quote marks of a line, up to ten.
void ReadIdList(const std::string& line, long list[10]);
// Each "%s" of the format takes the next argument and "%%" gives "%"; false
// if the result has more than limit bytes.
bool FormatName(const std::string& format, const std::vector<std::string>& args, size_t limit,
                std::string& out);
