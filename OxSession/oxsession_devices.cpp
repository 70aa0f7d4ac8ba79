// Client commands on devices and outputs: set a device or an output, drive
// a motor, ask for a fresh value. Outputs and motors move only in the
// machine's service mode.
#include "oxobject.h"
#include "oxsession.h"
#include "testprint.h"

void OxSocketSession::OxSetDeviceMsg(int id, tagOverride override, float value) {
    if (!CheckConnectedAndLogon())
        return;
    OXObject* object = LookupObject(id);
    if (object == nullptr)
        return;
    double sent = value;
    if ((object->IsClass("Motor") || object->IsClass("Indicator") || object->IsClass("Heater") ||
         object->IsClass("Dose")) &&
        !CheckServiceMode("Outputs/Motors can only be set in Service Mode"))
        return;
    if (object->IsClass("Motor")) {
        if (override != OV_RELEASE) {
            if (!CheckInRange(*object, value, "The speed is out of range"))
                return;
            // Reversed against SetMotor: the machine takes the override in
            // its own scale this way.
            double mul = object->GetNumber("UnitMul");
            sent = mul != 0 ? value * object->GetNumber("UnitDiv") / mul : value;
        }
    } else if (object->IsClass("Temperature")) {
        sent = value * 10;  // tenths of a degree
    }
    connection->SetDevice(id, override, sent);
}

void OxSocketSession::OxForceUpdateMsg(int id) {
    if (!CheckConnectedAndLogon())
        return;
    if (LookupObject(id) != nullptr)
        connection->ForceUpdate(id);
}

void OxSocketSession::OxSetOutputMsg(int id, bool value) {
    if (!CheckConnectedAndLogon())
        return;
    if (!CheckServiceMode("<SetOutput> can only be used in Service Mode"))
        return;
    if (LookupObject(id) != nullptr)
        connection->SetOutput(value, id);
}

void OxSocketSession::OxSetMotorMsg(int id, bool start, double value) {
    if (!CheckConnectedAndLogon())
        return;
    if (!CheckServiceMode("<SetMotor> can only be used in Service Mode"))
        return;
    OXObject* object = LookupObject(id);
    if (object == nullptr)
        return;
    if (!CheckInRange(*object, value))
        return;
    double div = object->GetNumber("UnitDiv");
    int speed = static_cast<int>(div != 0 ? value * object->GetNumber("UnitMul") / div : value);
    connection->SetMotor(start, id, speed);
}
