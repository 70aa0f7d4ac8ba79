// Client commands on parameters: change a number or an enumeration, ask
// for an object's type information; and the checks the command files share.
// Each command checks its guards, finds the object, checks the value and
// calls one operation of the connection; errors go back as <CommandError>,
// and a bad command never changes state. Commands do not wait for the
// machine: the answer is the event that follows when the object changes.
#include "oxattribute.h"
#include "oxclassmanager.h"
#include "oxdefinition.h"
#include "oxobject.h"
#include "oxobjectmanager.h"
#include "oxobjectmsg.h"
#include "oxsession.h"
#include "testprint.h"

#include <sstream>

namespace {

constexpr int kServiceMode = 7;

}  // namespace

OXObject* OxSocketSession::LookupObject(int id) {
    OXObject* object = connection->GetObjectManager().Lookup(id);
    if (object == nullptr)
        SendError("The object was not found");
    return object;
}

bool OxSocketSession::CheckServiceMode(const char* error) {
    if (connection != nullptr && connection->GetSystemStateRemote() == kServiceMode)
        return true;
    SendError(error);
    return false;
}

// Minimum and Maximum both belong to the range.
bool OxSocketSession::CheckInRange(const OXObject& object, double value, const char* error) {
    if (value >= object.GetNumber("Minimum") && value <= object.GetNumber("Maximum"))
        return true;
    SendError(error);
    return false;
}

void OxSocketSession::OxChangeNumParmMsg(int id, double value) {
    if (!CheckConnectedAndLogon())
        return;
    OXObject* object = LookupObject(id);
    if (object == nullptr)
        return;
    if (!CheckInRange(*object, value))
        return;
    connection->ChangeParm(value, id);
}

void OxSocketSession::OxChangeEnumParmMsg(int id, int value) {
    if (!CheckConnectedAndLogon())
        return;
    OXObject* object = LookupObject(id);
    if (object == nullptr)
        return;
    // The values of the enumeration that the attribute Value is of.
    const OXEnumDefinition* enumeration = nullptr;
    if (OXAttribute* attribute = object->GetEnumAttr("Value"))
        enumeration = dynamic_cast<const OXEnumDefinition*>(
            connection->GetClassManager().Lookup(attribute->GetClassName()));
    if (enumeration == nullptr || enumeration->LookupEnumStr(value) == nullptr) {
        SendError("The value is not legal for this parameter");
        return;
    }
    connection->ChangeParm(static_cast<double>(value), id);
}

void OxSocketSession::OxGetTypeMsg(int id) {
    if (!CheckConnectedAndLogon())
        return;
    SendTypeInfo(id);
}

void OxSocketSession::SendTypeInfo(int id) {
    OXObject* object = connection != nullptr ? connection->GetObjectManager().Lookup(id) : nullptr;
    if (object == nullptr)
        return;
    TestPrintF(0, "Client(%d)::Type info: %.100s of type %.100s\n", sessionId,
               object->GetString("Name").c_str(), object->GetClassName().c_str());
    std::ostringstream out;
    if (OxParameterTypeInfo_ToXml(out, MessageContext(false), *object))
        Send(out);
}
