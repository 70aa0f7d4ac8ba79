#include "oxalarm.h"

#include "eventlog.h"
#include "oxobject.h"
#include "oxobjectmsg.h"
#include "xmltext.h"

#include <ace/Date_Time.h>

#include <algorithm>
#include <cassert>
#include <vector>

namespace {

const char* const kAlarmEventTexts[] = {"Activated", "Deactivated", "Active"};

// A number of a list element: its value, or the number of a referenced object.
long ElementNumber(const OXObject* element) {
    if (element == nullptr)
        return 0;
    if (auto* number = dynamic_cast<const OXNumberObject*>(element))
        return OXToLong(number->GetValue(1, 1));
    return element->GetObjectId();
}

std::string ElementText(const OXObject* element) {
    auto* text = dynamic_cast<const OXStringObject*>(element);
    return text != nullptr ? text->GetValue() : std::string();
}

const OXObject* ListElement(const OXObjectList* list, size_t i) {
    return list != nullptr && i < list->size() ? (*list)[i] : nullptr;
}

}  // namespace

// The alarm text with its first "%s" replaced by the section's name and its
// first "%o" by the owner's name. Both places are found in the machine's text,
// so a name that holds a marker itself is not replaced again.
std::string AlarmDescription(const OXObject& object, const OxTextMap* languageMap) {
    // In a language, an alarm with a type takes the language's text for it.
    long alarmType = OXToLong(object.GetNumber("AlarmType"));
    std::string text = languageMap != nullptr && alarmType != 0
                           ? OxLanguageMap::getAlarmText(static_cast<int>(alarmType), languageMap)
                           : object.GetString("Text");
    struct Replacement {
        size_t pos;
        std::string with;
    };
    std::vector<Replacement> replacements;

    size_t sectionPos = text.find("%s");
    if (sectionPos != std::string::npos && object.GetAttribute("Section") != nullptr) {
        long section = OXToLong(object.GetNumber("Section"));
        replacements.push_back({sectionPos, languageMap != nullptr
                                                ? OxLanguageMap::getParmName(section, languageMap)
                                                : std::to_string(section)});
    }
    // The owner is the one the context fragment names. In a language its
    // name is the language's; otherwise the name of a referenced owner.
    size_t ownerPos = text.find("%o");
    long ownerId = OxMsgOwnerId(object);
    const OXComplexObject* owner = object.GetReference("Owner");
    if (ownerPos != std::string::npos && ownerId != 0 && languageMap != nullptr)
        replacements.push_back({ownerPos, OxLanguageMap::getParmName(ownerId, languageMap)});
    else if (ownerPos != std::string::npos && owner != nullptr)
        replacements.push_back({ownerPos, owner->GetString("Name")});
    // The later place first, so the earlier one keeps its position.
    std::sort(replacements.begin(), replacements.end(),
              [](const Replacement& a, const Replacement& b) { return a.pos > b.pos; });
    for (const Replacement& r : replacements)
        text.replace(r.pos, 2, r.with);
    return text;
}

const char* GetAlarmEventTypeText(tagAlarmEventType type) {
    // clang-format off
    assert(type>=AET_ACTIVATED && type<=AET_ACTIVE);
    // clang-format on
    return kAlarmEventTexts[type];
}

void OxAlarmEvent_ToXml(std::ostream& out, const OXObject& object, const std::string& name,
                        tagAlarmEventType type, const OxTextMap* languageMap) {
    long alarmType = OXToLong(object.GetNumber("AlarmType"));
    long priority = OXToLong(object.GetNumber("Priority"));
    std::string description = XmlEscape(AlarmDescription(object, languageMap));

    out << "<Message><" << name << " event=\"" << GetAlarmEventTypeText(type) << "\" type=\""
        << alarmType << "\" priority=\"" << priority << "\" description=\"" << description << "\">";
    ACE_Date_Time now;
    OxTimeMsg_ToXml(out, &now, true);
    OxObjectMsg_ToXml(out, languageMap, object, false);

    // The three lists are read side by side, as long as the list of ids goes.
    // In a language, the reply texts are the language's.
    const OXObjectList* ids = object.GetList("ReplyIdList");
    const OXObjectList* texts = object.GetList("ReplyStringList");
    const OXObjectList* objects = object.GetList("ReplyObjectList");
    out << "<ReplyList>";
    for (size_t i = 0; ids != nullptr && i < ids->size(); ++i) {
        long id = ElementNumber((*ids)[i]);
        out << "<Reply id=\"" << id << "\" text=\""
            << XmlEscape(languageMap != nullptr
                             ? OxLanguageMap::getAlarmReplyText(static_cast<int>(id), languageMap)
                             : ElementText(ListElement(texts, i)))
            << "\" object=\"" << ElementNumber(ListElement(objects, i)) << "\"/>";
    }
    out << "</ReplyList>";
    // The owner and section, so that a reader of the log can name them later.
    OxContextObjectMsg_ToXml(out, object, true);
    out << "</" << name << "></Message>";
}
