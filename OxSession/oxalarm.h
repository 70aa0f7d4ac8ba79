// Alarm events: the text of an event type and the XML element of an alarm
// event, as the event log holds it and a client receives it.
#pragma once

#include "oxlanguage.h"

#include <ostream>
#include <string>

class OXObject;

enum tagAlarmEventType : int { AET_ACTIVATED = 0, AET_DEACTIVATED = 1, AET_ACTIVE = 2 };

const char* GetAlarmEventTypeText(tagAlarmEventType type);

// The alarm text with its first "%s" replaced by the section's name and its
// first "%o" by the owner's name. In a language, an alarm with a type takes
// the language's text for it.
std::string AlarmDescription(const OXObject& object, const OxTextMap* languageMap);

// An alarm event of the alarm object: the time, the alarm's <Object id=.../>,
// its replies and the <Context> of its owner and section. With a null
// language map the texts stay in the machine's language.
void OxAlarmEvent_ToXml(std::ostream& out, const OXObject& object, const std::string& name,
                        tagAlarmEventType type, const OxTextMap* languageMap);
