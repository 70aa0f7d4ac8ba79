#include "oxobjectmsg.h"

#include "oxalarm.h"
#include "oxattribute.h"
#include "oxclassmanager.h"
#include "oxdeclaration.h"
#include "oxdefinition.h"
#include "oxobject.h"
#include "testprint.h"
#include "xmltext.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

// Ids from 1 to this one are named in the language files; higher ids carry
// their name in the object.
constexpr long kLastLanguageId = 30999;

// The six access levels by index; the texts of the logon.
const char* const kAccessLevelTexts[] = {"Guest", "User", "Admin", "3", "Service", "RAD"};

std::string AccessLevelText(long level) {
    return level >= 0 && level <= 5 ? kAccessLevelTexts[level] : "";
}

// The value of an attribute as a number: an enum gives its index, a number
// its value scaled by the attribute's unit factors, anything else 0.
double NumberOf(const OXObject& object, const std::string& name) {
    if (object.GetEnumObject(name) != nullptr)
        return object.GetEnum(name);
    return object.GetNumber(name);
}

long LongOf(const OXObject& object, const std::string& name) {
    return OXToLong(NumberOf(object, name));
}

int DecimalsOf(const OXObject& object, const std::string& name) {
    const OXAttribute* attribute = object.GetAttribute(name);
    return attribute != nullptr ? attribute->GetNoOfDecimals() : 0;
}

// The unit text of an attribute, ready for an attribute value.
std::string UnitOf(const OXObject& object, const std::string& name) {
    const OXAttribute* attribute = object.GetAttribute(name);
    return attribute != nullptr ? XmlEscape(attribute->GetUnitStr()) : std::string();
}

// A number in fixed notation with the given decimals, the same in any locale.
std::string Fixed(double value, int decimals) {
    if (!std::isfinite(value))
        value = 0;
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
    return buffer;
}

// An attribute's value in fixed notation with the attribute's own decimals.
std::string FixedOf(const OXObject& object, const std::string& name) {
    return Fixed(NumberOf(object, name), DecimalsOf(object, name));
}

// Text of an attribute of any kind, ready for an attribute value: a string
// as it stands, a number or enum as FixedOf writes it.
std::string TextOf(const OXObject& object, const std::string& name) {
    if (object.GetStringObject(name) != nullptr)
        return XmlEscape(object.GetString(name));
    return FixedOf(object, name);
}

const char* BoolText(bool on) {
    return on ? "true" : "false";
}

// The number of the object an attribute names: a number as it stands, or the
// object number of a reference; 0 for none.
long ObjectNumberOf(const OXObject& object, const std::string& name) {
    if (object.GetNumberObject(name) != nullptr)
        return OXToLong(object.GetNumber(name));
    const OXComplexObject* reference = object.GetReference(name);
    return reference != nullptr ? reference->GetObjectId() : 0;
}

// A level attribute (ReadAccess, WriteAccess): false when the object has no
// value for it.
bool LevelOf(const OXObject& object, const std::string& name, long& level) {
    if (object.GetEnumObject(name) == nullptr && object.GetNumberObject(name) == nullptr)
        return false;
    level = LongOf(object, name);
    return true;
}

// ' readAccess="..." writeAccess="..."', or false when a level is missing.
bool AccessText(const OXObject& object, std::string& text) {
    long readLevel = 0;
    long writeLevel = 0;
    if (!LevelOf(object, "ReadAccess", readLevel) || !LevelOf(object, "WriteAccess", writeLevel))
        return false;
    text = " readAccess=\"" + AccessLevelText(readLevel) + "\" writeAccess=\"" +
           AccessLevelText(writeLevel) + "\"";
    return true;
}

// A dialog text with its first "%s" replaced by an attribute of the object,
// ready for an attribute value.
std::string DialogText(long id, const OXObject& object, const std::string& insertName,
                       const OxTextMap* language) {
    std::string text = OxMsgDialogText(id, language);
    size_t at = text.find("%s");
    if (at != std::string::npos)
        text.replace(at, 2, object.GetString(insertName));
    return XmlEscape(text);
}

// The element names of functions, which differ for a client without protocol.
const char* FunctionOpening(const OxMsgContext& context, const char* withProtocol) {
    return context.protocol > 0 ? withProtocol : "DialogEvent";
}

const std::string kEnabled = "Enabled";
const std::string kValue = "Value";

}  // namespace

// ---------------------------------------------------------------- language

std::string OxMsgParmName(long id, const OxTextMap* language) {
    return OxLanguageMap::getParmName(id, language);
}

std::string OxMsgDialogText(long id, const OxTextMap* language) {
    return OxLanguageMap::getDialogText(static_cast<int>(id), language);
}

std::string OxMsgEnumValueText(const std::string& enumName, int value, const OxTextMap* language) {
    return OxLanguageMap::getEnumValueText(enumName, value, language);
}

std::string OxMsgAlarmText(long alarmType, const OxTextMap* language) {
    return OxLanguageMap::getAlarmText(static_cast<int>(alarmType), language);
}

// ---------------------------------------------------------------- read rule

bool OxReadAllowed(const OXObject& object, int accessLevel, int lastLevel, bool visit) {
    long level = 0;
    if (!LevelOf(object, "ReadAccess", level))
        return false;
    if (level > accessLevel)
        return false;
    return !visit || level > lastLevel;
}

// ---------------------------------------------------------------- fragments

void OxObjectMsg_ToXml(std::ostream& out, const OxTextMap* language, const OXObject& object,
                       bool withName) {
    long id = object.GetObjectId();
    out << "<Object id=\"" << id << "\"";
    if (withName) {
        std::string name = id >= 1 && id <= kLastLanguageId ? OxMsgParmName(id, language)
                                                            : object.GetString("Name");
        out << " name=\"" << XmlEscape(name) << "\"";
    }
    long type = LongOf(object, "Type");
    if (type != 0)
        out << " type=\"" << type << "\"";
    out << "/>";
}

long OxMsgOwnerId(const OXObject& object) {
    long owner = ObjectNumberOf(object, "Owner");
    return owner != 0 ? owner : ObjectNumberOf(object, "Parent");
}

void OxContextObjectMsg_ToXml(std::ostream& out, const OXObject& object, bool withContext) {
    if (!withContext)
        return;
    long owner = OxMsgOwnerId(object);
    if (owner == 0)
        return;
    out << "<Context><Object id=\"" << owner << "\"";
    long section = LongOf(object, "Section");
    if (section != 0)
        out << " section=\"" << section << "\"";
    out << "/></Context>";
}

void OxOverrideMsg_ToXml(std::ostream& out, const OXObject& object) {
    long override = LongOf(object, "Override");
    if (override == 1)
        out << " override=\"false\"";
    else if (override == 2)
        out << " override=\"true\"";
}

// ---------------------------------------------------------------- events

void OxSensorEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    out << "<Message><SensorEvent value=\"" << BoolText(NumberOf(object, kValue) != 0) << "\"";
    long raw = LongOf(object, "RawValue");
    if (raw != -1)
        out << " raw=\"" << raw << "\"";
    OxOverrideMsg_ToXml(out, object);
    out << ">";
    OxObjectMsg_ToXml(out, context.language, object, false);
    OxContextObjectMsg_ToXml(out, object, true);
    out << "</SensorEvent></Message>";
}

void OxTemperatureEvent_ToXml(std::ostream& out, const OxMsgContext& context,
                              const OXObject& object) {
    out << "<Message><TemperatureEvent value=\"" << FixedOf(object, kValue) << "\"";
    OxOverrideMsg_ToXml(out, object);
    out << " unit=\"" << UnitOf(object, kValue) << "\">";
    OxObjectMsg_ToXml(out, context.language, object, false);
    out << "</TemperatureEvent></Message>";
}

void OxCondProbeEvent_ToXml(std::ostream& out, const OxMsgContext& context,
                            const OXObject& object) {
    out << "<Message><CondProbeEvent cond=\"" << FixedOf(object, "Cond") << "\" condunit=\""
        << UnitOf(object, "Cond") << "\" temp=\"" << FixedOf(object, "Temp") << "\" tempunit=\""
        << UnitOf(object, "Temp") << "\">";
    OxObjectMsg_ToXml(out, context.language, object, false);
    out << "</CondProbeEvent></Message>";
}

void OxNumParameterEvent_ToXml(std::ostream& out, const OxMsgContext& context,
                               const OXObject& object) {
    out << "<Message><NumParameterEvent value=\"" << FixedOf(object, kValue) << "\" enabled=\""
        << LongOf(object, kEnabled) << "\">";
    OxObjectMsg_ToXml(out, context.language, object, false);
    out << "</NumParameterEvent></Message>";
}

void OxEnumParameterEvent_ToXml(std::ostream& out, const OxMsgContext& context,
                                const OXObject& object) {
    out << "<Message><EnumParameterEvent value=\"" << LongOf(object, kValue) << "\" enabled=\""
        << LongOf(object, kEnabled) << "\">";
    OxObjectMsg_ToXml(out, context.language, object, false);
    out << "</EnumParameterEvent></Message>";
}

void OxGroupEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    out << "<Message><GroupEvent enabled=\"" << LongOf(object, kEnabled) << "\">";
    OxObjectMsg_ToXml(out, context.language, object, false);
    // Clients read this element by its opening; the closing is theirs as is.
    out << "</Group></Message>";
}

void OxFunctionEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    long state = LongOf(object, "State");
    out << "<Message><" << FunctionOpening(context, "FunctionEvent") << " enabled=\""
        << LongOf(object, kEnabled) << "\" state=\"" << state << "\" autoStarted=\""
        << LongOf(object, "AutoStarted") << "\" autoExecute=\"" << LongOf(object, "AutoExecute")
        << "\" stateName=\"" << DialogText(state, object, "StateText", context.language) << "\">";
    OxObjectMsg_ToXml(out, context.language, object, false);
    // The same closing for either opening: clients match the opening only.
    out << "</FunctionEvent></Message>";
}

void OxFunctionNumEvent_ToXml(std::ostream& out, const OxMsgContext& context,
                              const OXObject& object) {
    long dialogId = LongOf(object, "dId");
    out << "<Message><FuncParamEvent dId=\"" << dialogId << "\" enabled=\""
        << LongOf(object, kEnabled) << "\" value=\"" << FixedOf(object, kValue) << "\" text=\""
        << DialogText(dialogId, object, "Text", context.language) << "\">";
    OxObjectMsg_ToXml(out, context.language, object, false);
    out << "</FuncParamEvent></Message>";
}

void OxFunctionActEvent_ToXml(std::ostream& out, const OxMsgContext& context,
                              const OXObject& object) {
    long dialogId = LongOf(object, "dId");
    out << "<Message><FuncActionEvent dId=\"" << dialogId << "\" enabled=\""
        << LongOf(object, kEnabled) << "\" text=\""
        << DialogText(dialogId, object, "Text", context.language) << "\">";
    OxObjectMsg_ToXml(out, context.language, object, false);
    out << "</FuncActionEvent></Message>";
}

void OxMotorEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    out << "<Message><MotorEvent value=\"" << FixedOf(object, kValue) << "\"";
    OxOverrideMsg_ToXml(out, object);
    out << ">";
    OxObjectMsg_ToXml(out, context.language, object, false);
    out << "</MotorEvent></Message>";
}

void OxOutputEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    out << "<Message><OutputEvent value=\"";
    if (object.IsClass("Motor"))
        out << FixedOf(object, kValue);
    else
        out << BoolText(NumberOf(object, kValue) != 0);
    out << "\"";
    OxOverrideMsg_ToXml(out, object);
    out << ">";
    OxObjectMsg_ToXml(out, context.language, object, false);
    out << "</OutputEvent></Message>";
}

void OxMediaEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    out << "<Message><MediaEvent plate=\"" << TextOf(object, "SerialNo") << "\" path=\""
        << TextOf(object, "PathId") << "\" length=\"" << TextOf(object, "Length") << "\" state=\""
        << TextOf(object, "MediaState") << "\" startTime=\"" << TextOf(object, "StartTime")
        << "\">";
    OxObjectMsg_ToXml(out, context.language, object, false);
    out << "</MediaEvent></Message>";
}

void OxSetterEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    // The signal is the Value, a value of the machine's enumeration "e98":
    // its text is the machine's own, or else the language's text of that
    // value. The line states stand in attributes of their own.
    std::string text;
    const OXEnumObject* value = object.GetEnumObject(kValue);
    if (value != nullptr && value->GetEnumStr() != nullptr)
        text = *value->GetEnumStr();
    else
        text =
            OxMsgEnumValueText("e98", static_cast<int>(LongOf(object, kValue)), context.language);
    out << "<Message><SetterEvent value=\"" << XmlEscape(text) << "\" rts=\""
        << LongOf(object, "rts") << "\" dtr=\"" << LongOf(object, "dtr") << "\" out1=\""
        << LongOf(object, "out1") << "\" out2=\"" << LongOf(object, "out2") << "\">";
    OxObjectMsg_ToXml(out, context.language, object, false);
    out << "</SetterEvent></Message>";
}

void OxDeletedMsg_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    out << "<Message><Deleted>";
    OxObjectMsg_ToXml(out, context.language, object, false);
    out << "</Deleted></Message>";
}

void OxTestPrintMsg_ToXml(std::ostream& out, const std::string& text) {
    out << "<Message><TestPrint text=\"" << XmlEscape(text) << "\"/></Message>";
}

namespace {

// The number that follows a name such as "type=" in line[from, to), with or
// without quotes; false when the name is not there or no number follows.
bool NumberAfter(const std::string& line, const std::string& name, size_t from, size_t to,
                 long& number) {
    size_t at = line.find(name, from);
    if (at == std::string::npos || at >= to)
        return false;
    at += name.size();
    if (at < line.size() && line[at] == '"')
        ++at;
    const char* begin = line.c_str() + at;
    char* end = nullptr;
    number = std::strtol(begin, &end, 10);
    return end != begin;
}

}  // namespace

bool OxHistoricAlarmEvent_Fill(std::string& line, const OxTextMap* language) {
    size_t element = line.find("<HistoricAlarmEvent");
    if (element == std::string::npos)
        return false;
    size_t elementEnd = line.find('>', element);
    long alarmType = 0;
    if (elementEnd == std::string::npos ||
        !NumberAfter(line, " type=", element, elementEnd, alarmType))
        return false;
    std::string text = OxMsgAlarmText(alarmType, language);

    // The owner and section stand in the context: <Context><Object id= section=/>.
    size_t context = line.find("<Context", element);
    size_t contextEnd =
        context == std::string::npos ? std::string::npos : line.find("</Context>", context);
    if (contextEnd == std::string::npos)
        contextEnd = line.size();
    struct Replacement {
        size_t pos;
        std::string with;
    };
    std::vector<Replacement> replacements;
    long number = 0;
    size_t ownerPos = text.find("%o");
    if (context != std::string::npos && ownerPos != std::string::npos &&
        NumberAfter(line, " id=", context, contextEnd, number))
        replacements.push_back({ownerPos, OxMsgParmName(number, language)});
    size_t sectionPos = text.find("%s");
    if (context != std::string::npos && sectionPos != std::string::npos &&
        NumberAfter(line, " section=", context, contextEnd, number))
        replacements.push_back({sectionPos, OxMsgParmName(number, language)});
    // The later place first, so that the earlier keeps its position and a
    // name that holds a marker is not replaced again.
    std::sort(replacements.begin(), replacements.end(),
              [](const Replacement& a, const Replacement& b) { return a.pos > b.pos; });
    for (const Replacement& r : replacements)
        text.replace(r.pos, 2, r.with);

    const std::string attribute = " description=\"";
    size_t value = line.find(attribute, element);
    size_t valueEnd =
        value == std::string::npos ? std::string::npos : line.find('"', value + attribute.size());
    if (value != std::string::npos && value < elementEnd && valueEnd != std::string::npos) {
        value += attribute.size();
        line.replace(value, valueEnd - value, XmlEscape(text));
    } else {
        line.insert(elementEnd, attribute + XmlEscape(text) + "\"");
    }
    return true;
}

// ---------------------------------------------------------------- type information

bool OxNumParameterType_ToXml(std::ostream& out, const OxMsgContext& context,
                              const OXObject& object) {
    std::string access;
    if (!AccessText(object, access))
        return false;
    out << "<Message><NumParameterType min=\"" << FixedOf(object, "Minimum") << "\" max=\""
        << FixedOf(object, "Maximum") << "\" default=\"" << FixedOf(object, "Default")
        << "\" decimals=\"" << DecimalsOf(object, kValue) << "\" enabled=\""
        << LongOf(object, kEnabled) << "\" unit=\"" << UnitOf(object, kValue) << "\"" << access
        << ">";
    OxObjectMsg_ToXml(out, context.language, object, true);
    OxContextObjectMsg_ToXml(out, object, true);
    out << "</NumParameterType></Message>";
    return true;
}

bool OxEnumParameterType_ToXml(std::ostream& out, const OxMsgContext& context,
                               const OXObject& object) {
    std::string access;
    if (!AccessText(object, access))
        return false;
    out << "<Message><EnumParameterType default=\"" << LongOf(object, "Default") << "\"" << access
        << " enabled=\"" << LongOf(object, kEnabled) << "\">";
    OxObjectMsg_ToXml(out, context.language, object, true);
    OxContextObjectMsg_ToXml(out, object, true);
    out << "<EnumDefinition>";
    // The values of the enumeration that the attribute Value is declared with.
    const OXEnumObject* value = object.GetEnumObject(kValue);
    const OXEnumDefinition* definition = nullptr;
    if (value != nullptr && context.classes != nullptr)
        definition =
            dynamic_cast<const OXEnumDefinition*>(context.classes->Lookup(value->GetClassName()));
    const OXEnumInitializerList* list = definition != nullptr ? definition->GetEnumList() : nullptr;
    for (int i = 0; list != nullptr && i < list->Count(); ++i) {
        const OXEnumInitializer* initializer = list->GetEnumInitializer(i);
        if (initializer == nullptr)
            continue;
        std::string text = initializer->GetName();
        // "NT" marks a text that stands in the language files.
        if (text.find("NT") != std::string::npos)
            text = OxMsgEnumValueText(value->GetClassName(), initializer->GetValue(),
                                      context.language);
        out << "<Value id=\"" << initializer->GetValue() << "\" text=\"" << XmlEscape(text)
            << "\"/>";
    }
    out << "</EnumDefinition></EnumParameterType></Message>";
    return true;
}

bool OxGroupType_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    std::string access;
    if (!AccessText(object, access))
        return false;
    out << "<Message><Group enabled=\"" << LongOf(object, kEnabled) << "\"" << access << ">";
    OxObjectMsg_ToXml(out, context.language, object, true);
    OxContextObjectMsg_ToXml(out, object, true);
    out << "</Group></Message>";
    return true;
}

bool OxLinkType_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    std::string access;
    if (!AccessText(object, access))
        return false;
    out << "<Message><Link targetObjectId=\"" << ObjectNumberOf(object, "TargetId") << "\">";
    OxObjectMsg_ToXml(out, context.language, object, true);
    OxContextObjectMsg_ToXml(out, object, true);
    out << "</Link></Message>";
    return true;
}

bool OxFunctionType_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    std::string access;
    if (!AccessText(object, access))
        return false;
    long state = LongOf(object, "State");
    out << "<Message><" << FunctionOpening(context, "Function") << " typeId=\""
        << LongOf(object, "DialogFunctionType") << "\" deviceId=\""
        << ObjectNumberOf(object, "DeviceId") << "\" enabled=\"" << LongOf(object, kEnabled)
        << "\" state=\"" << state << "\" autoStarted=\"" << LongOf(object, "AutoStarted")
        << "\" autoExecute=\"" << LongOf(object, "AutoExecute") << "\" stateName=\""
        << DialogText(state, object, "StateText", context.language) << "\"" << access << ">";
    OxObjectMsg_ToXml(out, context.language, object, true);
    OxContextObjectMsg_ToXml(out, object, true);
    // The same closing for either opening: clients match the opening only.
    out << "</Function></Message>";
    return true;
}

bool OxFunctionNumType_ToXml(std::ostream& out, const OxMsgContext& context,
                             const OXObject& object) {
    std::string access;
    if (!AccessText(object, access))
        return false;
    long dialogId = LongOf(object, "dId");
    std::string text = DialogText(dialogId, object, "Text", context.language);
    out << "<Message><FuncParam dId=\"" << dialogId << "\" name=\"" << text << "\" min=\""
        << FixedOf(object, "Minimum") << "\" max=\"" << FixedOf(object, "Maximum")
        << "\" default=\"" << FixedOf(object, "Default") << "\" decimals=\""
        << DecimalsOf(object, kValue) << "\" enabled=\"" << LongOf(object, kEnabled) << "\" unit=\""
        << UnitOf(object, kValue) << "\" text=\"" << text << "\">";
    OxObjectMsg_ToXml(out, context.language, object, true);
    OxContextObjectMsg_ToXml(out, object, true);
    out << "</FuncParam></Message>";
    return true;
}

bool OxFunctionActType_ToXml(std::ostream& out, const OxMsgContext& context,
                             const OXObject& object) {
    std::string access;
    if (!AccessText(object, access))
        return false;
    long dialogId = LongOf(object, "dId");
    out << "<Message><FuncAction dId=\"" << dialogId << "\" enabled=\"" << LongOf(object, kEnabled)
        << "\" text=\"" << DialogText(dialogId, object, "Text", context.language) << "\"" << access
        << ">";
    OxObjectMsg_ToXml(out, context.language, object, true);
    OxContextObjectMsg_ToXml(out, object, true);
    out << "</FuncAction></Message>";
    return true;
}

bool OxMotorType_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    std::string access;
    if (!AccessText(object, access))
        return false;
    out << "<Message><MotorType type=\"" << LongOf(object, "DeviceType") << "\" tag=\""
        << TextOf(object, "Tag") << "\" speedMin=\"" << FixedOf(object, "Minimum")
        << "\" speedMax=\"" << FixedOf(object, "Maximum") << "\" speedUnit=\""
        << TextOf(object, "Unit") << "\"" << access << ">";
    OxObjectMsg_ToXml(out, context.language, object, true);
    OxContextObjectMsg_ToXml(out, object, true);
    out << "</MotorType></Message>";
    return true;
}

bool OxOutputType_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    std::string access;
    if (!AccessText(object, access))
        return false;
    const char* name = "OutputType";
    if (object.IsClass("Sensor") || object.IsClass("Temperature") || object.IsClass("CondProbe"))
        name = "InputType";
    else if (object.IsClass("Setter"))
        name = "SetterType";
    out << "<Message><" << name << " type=\"" << LongOf(object, "DeviceType") << "\" tag=\""
        << TextOf(object, "Tag") << "\"" << access << ">";
    OxObjectMsg_ToXml(out, context.language, object, true);
    OxContextObjectMsg_ToXml(out, object, true);
    out << "</" << name << "></Message>";
    return true;
}

// ---------------------------------------------------------------- the session's choices

namespace {

bool IsAlarm(const OXObject& object) {
    return object.IsClass("Alarm");
}

// The event of an object's class, in the order of testing; false for a class
// that has none (or none for this client or this kind of sending).
bool ClassEvent(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    if (object.IsClass("Sensor"))
        OxSensorEvent_ToXml(out, context, object);
    else if (object.IsClass("Temperature"))
        OxTemperatureEvent_ToXml(out, context, object);
    else if (object.IsClass("CondProbe"))
        OxCondProbeEvent_ToXml(out, context, object);
    else if (object.IsClass("NumParameter"))
        OxNumParameterEvent_ToXml(out, context, object);
    else if (object.IsClass("SetParameter"))
        OxEnumParameterEvent_ToXml(out, context, object);
    else if (object.IsClass("Group")) {
        if (context.visit)
            return false;
        OxGroupEvent_ToXml(out, context, object);
    } else if (object.IsClass("Function"))
        OxFunctionEvent_ToXml(out, context, object);
    else if (object.IsClass("FunctionNum")) {
        if (context.protocol <= 0)
            return false;
        OxFunctionNumEvent_ToXml(out, context, object);
    } else if (object.IsClass("FunctionAct")) {
        if (context.protocol <= 0)
            return false;
        OxFunctionActEvent_ToXml(out, context, object);
    } else if (object.IsClass("Motor"))
        OxMotorEvent_ToXml(out, context, object);
    else if (object.IsClass("Dose") || object.IsClass("Heater") || object.IsClass("Indicator"))
        OxOutputEvent_ToXml(out, context, object);
    else if (object.IsClass("Media")) {
        if (context.visit)
            return false;
        OxMediaEvent_ToXml(out, context, object);
    } else if (object.IsClass("Setter"))
        OxSetterEvent_ToXml(out, context, object);
    else {
        // An update of a class that clients are not told about is only logged.
        if (!context.visit)
            TestPrintF(TP_CLIENT, "OxSocketSession::UpdatedObject %s not handled\n",
                       object.GetClassName().c_str());
        return false;
    }
    return true;
}

}  // namespace

bool OxObjectEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    if (IsAlarm(object)) {
        OxAlarmEvent_ToXml(out, object, "AlarmEvent", AET_ACTIVE, context.language);
        return true;
    }
    if (!OxReadAllowed(object, context.accessLevel, context.lastLevel, context.visit))
        return false;
    return ClassEvent(out, context, object);
}

bool OxNewObjectEvent_ToXml(std::ostream& out, const OxMsgContext& context,
                            const OXObject& object) {
    if (IsAlarm(object)) {
        OxAlarmEvent_ToXml(out, object, "AlarmEvent", AET_ACTIVATED, context.language);
        return true;
    }
    OxMsgContext update = context;
    update.visit = false;
    return OxObjectEvent_ToXml(out, update, object);
}

bool OxDeletedObjectEvent_ToXml(std::ostream& out, const OxMsgContext& context,
                                const OXObject& object) {
    if (IsAlarm(object)) {
        OxAlarmEvent_ToXml(out, object, "AlarmEvent", AET_DEACTIVATED, context.language);
        return true;
    }
    OxDeletedMsg_ToXml(out, context, object);
    return true;
}

bool OxParameterTypeInfo_ToXml(std::ostream& out, const OxMsgContext& context,
                               const OXObject& object) {
    if (object.IsClass("NumParameter"))
        return OxNumParameterType_ToXml(out, context, object);
    if (object.IsClass("SetParameter"))
        return OxEnumParameterType_ToXml(out, context, object);
    return false;
}

bool OxTypeInfo_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object) {
    if (IsAlarm(object))
        return false;
    if (!OxReadAllowed(object, context.accessLevel, context.lastLevel, true))
        return false;
    if (object.IsClass("NumParameter") || object.IsClass("SetParameter"))
        return OxParameterTypeInfo_ToXml(out, context, object);
    if (object.IsClass("Group"))
        return OxGroupType_ToXml(out, context, object);
    if (object.IsClass("Link"))
        return OxLinkType_ToXml(out, context, object);
    if (object.IsClass("Function"))
        return OxFunctionType_ToXml(out, context, object);
    if (object.IsClass("FunctionNum"))
        return context.protocol > 0 && OxFunctionNumType_ToXml(out, context, object);
    if (object.IsClass("FunctionAct"))
        return context.protocol > 0 && OxFunctionActType_ToXml(out, context, object);
    if (object.IsClass("Motor"))
        return OxMotorType_ToXml(out, context, object);
    if (object.IsClass("Sensor") || object.IsClass("Temperature") || object.IsClass("CondProbe") ||
        object.IsClass("Heater") || object.IsClass("Indicator") || object.IsClass("Dose") ||
        object.IsClass("Setter"))
        return OxOutputType_ToXml(out, context, object);
    return false;
}

bool OxVisitedObject_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object,
                           bool typeInfo) {
    OxMsgContext visit = context;
    visit.visit = true;
    return typeInfo ? OxTypeInfo_ToXml(out, visit, object)
                    : OxObjectEvent_ToXml(out, visit, object);
}
