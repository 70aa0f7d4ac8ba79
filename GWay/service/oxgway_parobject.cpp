#include "oxgway_parobject.h"

#include "oxgway_textargs.h"
#include "oxobject.h"
#include "oxobjectmanager.h"
#include "testprint.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {
// Format C: PID, name, object id.
bool ScanFormatC(const char* line, unsigned& pid, std::string& name, long& objectId) {
    std::string text = std::string(" ") + line;
    char buffer[101] = "";
    if (sscanf(text.c_str(), "%*[ \t]%u ; \" %100[^\"] \" ; %ld ;", &pid, buffer, &objectId) != 3)
        return false;
    name = OxGWayParameter::GWayString(buffer);
    return true;
}

// Format E: PID, name, first object id, count.
bool ScanFormatE(const char* line, unsigned& pid, std::string& name, long& firstId, int& count) {
    std::string text = std::string(" ") + line;
    char buffer[101] = "";
    if (sscanf(text.c_str(), "%*[ \t]%u ; \" %100[^\"] \" ; %ld ; %d ;", &pid, buffer, &firstId,
               &count) != 4)
        return false;
    name = OxGWayParameter::GWayString(buffer);
    return true;
}

// The host's number text; false if it is none.
bool ReadNumber(const char* value, double& number) {
    char* end = nullptr;
    number = strtod(value, &end);
    return end != value;
}

// The access codes of the object model (user, admin, service, rad, none)
// are the machine's codes 4 to 8.
constexpr int kAccessCodeBase = 4;
}  // namespace

OxGWayParObserved::OxGWayParObserved(unsigned id, const std::string& name,
                                     const std::string& access, long objectId,
                                     OXObjectManager& objects)
    : OxGWayParameter(id, name, access),
      object(objects.Lookup(objectId)),
      objectId(objectId),
      objects(objects) {
    if (object != nullptr)
        object->Attach(this);
    else
        enabled = false;
}

OxGWayParObserved::~OxGWayParObserved() {
    COMDisconnected();
}

OXObject* OxGWayParObserved::Live() {
    if (object != nullptr && objects.Lookup(objectId) != object)
        object = nullptr;
    return object;
}

void OxGWayParObserved::Update(OXObject* subject) {
    if (subject == object && object != nullptr)
        UpdateValue();
}

void OxGWayParObserved::COMDisconnected() {
    if (Live() != nullptr)
        object->Detach(this);
    object = nullptr;
}

void OxGWayParObserved::ObjectGone(const OXObject& gone) {
    // Told before the deleted object goes: it can still be detached from.
    if (&gone == object)
        object->Detach(this);
    if (&gone == object)
        object = nullptr;
}

void OxGWayParObserved::ReadLimits() {
    if (object == nullptr)
        return;
    access = GAccessToGWayAccess(object->GetEnum("ReadAccess") + kAccessCodeBase,
                                 object->GetEnum("WriteAccess") + kAccessCodeBase);
    if (object->GetNumberObject("Minimum") != nullptr) {
        defaultValue = GWayNumber(object->GetNumber("Default"));
        min = GWayNumber(object->GetNumber("Minimum"));
        max = GWayNumber(object->GetNumber("Maximum"));
    }
    unit = GWayString(object->GetString("Unit"));
}

OxGWayParNumParameter::OxGWayParNumParameter(unsigned id, const std::string& name, long objectId,
                                             OXObjectManager& objects)
    : OxGWayParObserved(id, name, "-4.4", objectId, objects) {
    ReadLimits();
    if (object != nullptr)
        UpdateValue();
}

void OxGWayParNumParameter::UpdateValue() {
    value = GWayNumber(object->GetNumber("Value"));
}

int OxGWayParNumParameter::Unserialize(const char* text, char*& output) {
    double number = 0;
    if (!ReadNumber(text, number) || Live() == nullptr)
        return -1;
    if (GWayNumber(number) == value)
        return 0;
    if (number < object->GetNumber("Minimum") || number > object->GetNumber("Maximum"))
        return -1;
    output += sprintf(output, "%ld, %s, ", object->GetObjectId(), OXNumberToString(number).c_str());
    return 1;
}

OxGWayParameter* OxGWayParNumParameter::CreateFromStr(const char* line, OXObjectManager& objects,
                                                      OXClassManager&) {
    unsigned pid;
    std::string name;
    long objectId;
    if (!ScanFormatC(line, pid, name, objectId))
        return nullptr;
    return new OxGWayParNumParameter(pid, name, objectId, objects);
}

OxGWayParameter* OxGWayParTempDevice::CreateFromStr(const char* line, OXObjectManager& objects,
                                                    OXClassManager&) {
    unsigned pid;
    std::string name;
    long objectId;
    if (!ScanFormatC(line, pid, name, objectId))
        return nullptr;
    return new OxGWayParTempDevice(pid, name, objectId, objects);
}

OxGWayParParameterSetEnum::OxGWayParParameterSetEnum(unsigned id, const std::string& name,
                                                     long objectId, OXObjectManager& objects)
    : OxGWayParObserved(id, name, "-4.4", objectId, objects) {
    ReadLimits();
    if (object != nullptr)
        UpdateValue();
}

void OxGWayParParameterSetEnum::UpdateValue() {
    OXObject* enumValue = object->GetAttrValue("Value");
    if (enumValue != nullptr)
        value = GWayString(GWayEnumText(*enumValue, OxGWayParLanguage::GetLanguageMap()));
}

OxGWayParameter* OxGWayParParameterSetEnum::CreateFromStr(const char* line,
                                                          OXObjectManager& objects,
                                                          OXClassManager&) {
    unsigned pid;
    std::string name;
    long objectId;
    if (!ScanFormatC(line, pid, name, objectId))
        return nullptr;
    return new OxGWayParParameterSetEnum(pid, name, objectId, objects);
}

OxGWayParParameterSet::OxGWayParParameterSet(unsigned id, const std::string& name, long objectId,
                                             OXObjectManager& objects, long firstId, int count)
    : OxGWayParObserved(id, name, "-4.4", objectId, objects), firstId(firstId), count(count) {
    ReadLimits();
    min = GWayNumber(static_cast<double>(firstId));
    max = GWayNumber(static_cast<double>(firstId + count - 1));
    unit = "free";
    if (object != nullptr)
        UpdateValue();
}

void OxGWayParParameterSet::UpdateValue() {
    value = GWayNumber(static_cast<double>(object->GetEnum("Value") + firstId));
    TestPrintF(0x2000, "GWay(_): ParameterSet Change;PID;%u;%d;<-;%s\n", id,
               object->GetEnum("Value"), value.c_str());
}

int OxGWayParParameterSet::Unserialize(const char* text, char*& output) {
    double number = 0;
    if (!ReadNumber(text, number) || Live() == nullptr)
        return -1;
    if (object->GetEnum("Value") + firstId == number)
        return 0;
    if (number < firstId || number > firstId + count - 1 || number != std::floor(number))
        return -1;
    output +=
        sprintf(output, "%ld, %d, ", object->GetObjectId(), static_cast<int>(number - firstId));
    return 1;
}

OxGWayParameter* OxGWayParParameterSet::CreateFromStr(const char* line, OXObjectManager& objects,
                                                      OXClassManager&) {
    unsigned pid;
    std::string name;
    long firstId;
    int count;
    if (!ScanFormatE(line, pid, name, firstId, count))
        return nullptr;
    // The selecting enum object is the one numbered first id - 1.
    return new OxGWayParParameterSet(pid, name, firstId - 1, objects, firstId, count);
}

OxGWayParOLPProgram::OxGWayParOLPProgram(unsigned id, const std::string& name, long objectId,
                                         OXObjectManager& objects, long firstId, int count,
                                         long programsId)
    : OxGWayParParameterSet(id, name, objectId, objects, firstId, count), programsId(programsId) {}

int OxGWayParOLPProgram::Unserialize(const char* text, char*& output) {
    double number = 0;
    OXObject* programs = Live() != nullptr ? objects.Lookup(programsId) : nullptr;
    if (programs != nullptr && ReadNumber(text, number) &&
        number - firstId + 1 > programs->GetNumber("Value")) {
        TestPrintF(4, "GWay(_): Program not defined; %d\n", static_cast<int>(number));
        return -1;
    }
    return OxGWayParParameterSet::Unserialize(text, output);
}

OxGWayParameter* OxGWayParOLPProgram::CreateFromStr(const char* line, OXObjectManager& objects,
                                                    OXClassManager&) {
    unsigned pid;
    std::string name;
    long firstId;
    int count;
    if (!ScanFormatE(line, pid, name, firstId, count))
        return nullptr;
    // The count of defined programs follows the selecting object.
    return new OxGWayParOLPProgram(pid, name, firstId - 1, objects, firstId, count, firstId - 2);
}
