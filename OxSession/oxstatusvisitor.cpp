#include "oxstatusvisitor.h"

#include "oxattribute.h"
#include "oxobject.h"
#include "testprint.h"
#include "xmltext.h"

#include <locale>

namespace {

// The text of an enum attribute's value; empty when the attribute is missing,
// has no value or the value is not one of the enum's.
std::string EnumText(const OXObject& object, const std::string& name) {
    OXEnumObject* value = object.GetEnumObject(name);
    if (value == nullptr || value->GetEnumStr() == nullptr)
        return std::string();
    return *value->GetEnumStr();
}

// The value of a device: a number attribute scaled by its unit factors, or the
// index of an enum attribute (on/off outputs and switching sensors).
double DeviceValue(const OXObject& object, const std::string& name) {
    if (object.GetEnumAttr(name) != nullptr)
        return object.GetEnum(name);
    return object.GetNumber(name);
}

// The number of the object "Parent" names: a number attribute as it stands,
// or the object number of a reference.
double ParentNumber(const OXObject& object) {
    static const std::string parent("Parent");
    if (object.GetNumberAttr(parent) != nullptr)
        return object.GetNumber(parent);
    OXComplexObject* reference = object.GetReference(parent);
    return reference != nullptr ? static_cast<double>(reference->GetObjectId()) : 0;
}

// The unit text of a number attribute, as the declaration worked it out.
std::string AttributeUnit(const OXObject& object, const std::string& name) {
    OXAttributeTpl<OXNumberObject>* attribute = object.GetNumberAttr(name);
    return attribute != nullptr ? attribute->GetUnitStr() : std::string();
}

}  // namespace

OXStatusVisitor::OXStatusVisitor(Filter filter, std::string name, std::string serial)
    : filter(filter) {
    // Numbers always with a decimal point, whatever locale the process has.
    status.imbue(std::locale::classic());
    TestPrintF(TP_ALWAYS, "OXStatusVisitor\n");
    status << "<HMEmailStatus>\r\n"
           << "<Info ver=\"1.0\" name=\"" << XmlEscape(name) << "\" serial=\"" << XmlEscape(serial)
           << "\"/>\r\n";
}

OXStatusVisitor::~OXStatusVisitor() {
    TestPrintF(TP_ALWAYS, "~OXStatusVisitor()\n");
}

void OXStatusVisitor::Visit(OXComplexObject* object) {
    if (object == nullptr)
        return;
    if (object->GetEnum("ReadAccess") > filter.level)
        return;

    const std::string& className = object->GetClassName();
    const long id = object->GetObjectId();

    if (className == "SetParameter") {
        if (!filter.parameters)
            return;
        status << "<EnumPar id=\"" << id << "\" val=\"" << object->GetEnum("Value") << "\" ";
        if (filter.definitions) {
            AddObjectDefs(*object);
            status << "valtext=\"" << XmlEscape(EnumText(*object, "Value")) << "\" ";
            status << "default=\"" << object->GetEnum("Default") << "\" ";
            status << "defaultText=\"" << XmlEscape(EnumText(*object, "Default")) << "\" ";
        }
        status << "/>\r\n";
    } else if (className == "NumParameter") {
        if (!filter.parameters)
            return;
        status << "<NumPar id=\"" << id << "\" val=\"" << object->GetNumber("Value") << "\" ";
        if (filter.definitions) {
            AddObjectDefs(*object);
            status << "unit=\"";
            AddUnit(XmlEscape(AttributeUnit(*object, "Value")));
            status << "\" ";
            status << "default=\"" << object->GetNumber("Default") << "\" ";
        }
        status << "/>\r\n";
    } else if (className == "Temperature") {
        if (!filter.inputDevices)
            return;
        status << "<Temperature id=\"" << id << "\" val=\"" << DeviceValue(*object, "Value")
               << "\" ";
        if (filter.definitions) {
            AddObjectDefs(*object);
            status << "unit=\"C\" ";
        }
        status << "/>\r\n";
    } else if (className == "CondProbe") {
        if (!filter.inputDevices)
            return;
        status << "<CondProbe id=\"" << id << "\" ";
        if (filter.definitions)
            AddObjectDefs(*object);
        status << ">";
        status << "<Conductivity val=\"" << object->GetNumber("Cond") << "\" unit=\"mS\" />";
        status << "<Temperature val=\"" << object->GetNumber("Temp") << "\"  unit=\"C\" />";
        status << "</CondProbe>\r\n";
    } else if (className == "Sensor") {
        if (!filter.inputDevices)
            return;
        status << "<Sensor id=\"" << id << "\" val=\"" << DeviceValue(*object, "Value") << "\" ";
        if (filter.definitions)
            AddObjectDefs(*object);
        status << "/>\r\n";
    } else if (className == "Dose" || className == "Heater" || className == "Indicator" ||
               className == "Setter" || className == "DigitalOutput") {
        if (!filter.outputDevices)
            return;
        // The class name is the element name, like the fixed ones above.
        status << "<" << className << " id=\"" << id << "\" val=\"" << DeviceValue(*object, "Value")
               << "\" ";
        if (filter.definitions)
            AddObjectDefs(*object);
        status << "/>\r\n";
    } else if (className == "Motor") {
        if (!filter.outputDevices)
            return;
        status << "<Motor id=\"" << id << "\" val=\"" << DeviceValue(*object, "Value") << "\" ";
        if (filter.definitions) {
            AddObjectDefs(*object);
            status << "unit=\"";
            AddUnit(XmlEscape(object->GetString("Unit")));
            status << "\" ";
        }
        status << "/>\r\n";
    } else if (className == "Group") {
        if (!filter.groups)
            return;
        status << "<Group id=\"" << id << "\" ";
        if (filter.definitions)
            AddObjectDefs(*object);
        status << "/>\r\n";
    }
}

void OXStatusVisitor::AddObjectDefs(const OXObject& object) {
    status << "parent=\"" << ParentNumber(object) << "\" ";
    double section = object.GetNumber("Section");
    if (section > 0)
        status << "section=\"" << section << "\" ";
    status << "name=\"" << XmlEscape(object.GetString("Name")) << "\" ";
}

void OXStatusVisitor::AddUnit(const std::string& unit) {
    for (char c : unit) {
        auto byte = static_cast<unsigned char>(c);
        if (byte < 128)
            status << c;
        else
            status << "EXTCHAR(" << static_cast<int>(byte) << ")";
    }
}

void OXStatusVisitor::SetEndTag() {
    status << "</HMEmailStatus>\r\n";
}

std::string OXStatusVisitor::GetStatus() const {
    return status.str();
}
