// The XML texts by which a client learns of the machine's objects: type
// information (what an object is and how it may be changed) and events (its
// present value), built from the object's attributes.
//
// Every message is one whole "<Message>...</Message>" text without a line end;
// the session sends it as it stands. Numbers of scaled attributes are written
// in fixed notation with the decimals of their attribute.
#pragma once

#include "oxconn.h"
#include "oxlanguage.h"

#include <ostream>
#include <string>

class OXObject;
class OXClassManager;

// What a session knows that decides which message an object gives.
struct OxMsgContext {
    // Index of the session's access level, -1 before a logon.
    int accessLevel = -1;
    // The level for which the client already holds all objects, -1 for none.
    int lastLevel = -1;
    // The protocol number of the logon, 0 without one.
    int protocol = 0;
    // The session's language, null for the machine's own texts.
    const OxTextMap* language = nullptr;
    // True for the visit of a logon, false for an update of the machine.
    bool visit = false;
    // The port's class table, where the values of an enumeration are found
    // for type information; null gives an empty list of values.
    const OXClassManager* classes = nullptr;
};

// The language lookups used by these messages. Each builds its key and finds
// its text in the session's language; a key with no text comes back as the
// key itself.
std::string OxMsgParmName(long id, const OxTextMap* language);
std::string OxMsgDialogText(long id, const OxTextMap* language);
std::string OxMsgEnumValueText(const std::string& enumName, int value, const OxTextMap* language);
std::string OxMsgAlarmText(long alarmType, const OxTextMap* language);

// The read rule. An object without a ReadAccess value is never sent. For a
// visit its read level must be at most the access level and above the last
// level; for an update at most the access level.
bool OxReadAllowed(const OXObject& object, int accessLevel, int lastLevel, bool visit);

// Fragments.
// <Object id="1" name="..." type="2"/>; the name only with withName, the type
// only when not 0. Ids 1 to 30999 take their name from the language.
void OxObjectMsg_ToXml(std::ostream& out, const OxTextMap* language, const OXObject& object,
                       bool withName);
// <Context><Object id="owner" section="3"/></Context> when withContext is set
// and the object has an Owner (or else a Parent); otherwise nothing.
// The owner of an object: the object named by its Owner attribute (a
// reference or a number), else by Parent; 0 when it has none.
long OxMsgOwnerId(const OXObject& object);
void OxContextObjectMsg_ToXml(std::ostream& out, const OXObject& object, bool withContext);
// ' override="false"' for 1, ' override="true"' for 2, nothing otherwise.
void OxOverrideMsg_ToXml(std::ostream& out, const OXObject& object);

// Events.
void OxSensorEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
void OxTemperatureEvent_ToXml(std::ostream& out, const OxMsgContext& context,
                              const OXObject& object);
void OxCondProbeEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
void OxNumParameterEvent_ToXml(std::ostream& out, const OxMsgContext& context,
                               const OXObject& object);
void OxEnumParameterEvent_ToXml(std::ostream& out, const OxMsgContext& context,
                                const OXObject& object);
void OxGroupEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
void OxFunctionEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
void OxFunctionNumEvent_ToXml(std::ostream& out, const OxMsgContext& context,
                              const OXObject& object);
void OxFunctionActEvent_ToXml(std::ostream& out, const OxMsgContext& context,
                              const OXObject& object);
void OxMotorEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
void OxOutputEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
void OxMediaEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
void OxSetterEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
// <Message><Deleted><Object id=".."/></Deleted></Message>
void OxDeletedMsg_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
// <Message><TestPrint text="..."/></Message>
void OxTestPrintMsg_ToXml(std::ostream& out, const std::string& text);

// A line of the event log as a client receives it: in a line that holds a
// "<HistoricAlarmEvent" element, the description becomes the language's text
// of the element's alarm type, its first "%o" the name of the context's
// object and its first "%s" the name of the context's section. False, with
// the line untouched, for any other line.
bool OxHistoricAlarmEvent_Fill(std::string& line, const OxTextMap* language);

// Type information. Each gives false and writes nothing for an object that
// lacks its ReadAccess or WriteAccess value.
bool OxNumParameterType_ToXml(std::ostream& out, const OxMsgContext& context,
                              const OXObject& object);
bool OxEnumParameterType_ToXml(std::ostream& out, const OxMsgContext& context,
                               const OXObject& object);
bool OxGroupType_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
bool OxLinkType_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
bool OxFunctionType_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
bool OxFunctionNumType_ToXml(std::ostream& out, const OxMsgContext& context,
                             const OXObject& object);
bool OxFunctionActType_ToXml(std::ostream& out, const OxMsgContext& context,
                             const OXObject& object);
bool OxMotorType_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
// "InputType", "SetterType" or "OutputType" by the object's class.
bool OxOutputType_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);

// The session's decisions. Each writes the one message that the object gives
// and returns true, or writes nothing and returns false.
//
// An update (context.visit false) or the visit of a logon without type
// information (context.visit true): an alarm gives its "Active" event whatever
// the level; other objects pass the read rule and give the event of their
// class; in a visit groups and media give none.
bool OxObjectEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
// A new object: an alarm gives its "Activated" event, others as an update.
bool OxNewObjectEvent_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
// A deleted object: an alarm gives its "Deactivated" event, others <Deleted>.
bool OxDeletedObjectEvent_ToXml(std::ostream& out, const OxMsgContext& context,
                                const OXObject& object);
// The visit of a logon with type information: the read rule for a visit, and
// the type information of the object's class.
bool OxTypeInfo_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object);
// The visit of a logon: type information with typeInfo, else the event, both
// under the read rule for a visit (alarms excepted).
bool OxVisitedObject_ToXml(std::ostream& out, const OxMsgContext& context, const OXObject& object,
                           bool typeInfo);
// A client's request for the type of one object: parameters only, without
// the read rule.
bool OxParameterTypeInfo_ToXml(std::ostream& out, const OxMsgContext& context,
                               const OXObject& object);
