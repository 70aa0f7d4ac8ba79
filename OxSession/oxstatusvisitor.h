// Status report of one port: a walk over the object store that writes the
// objects a filter lets pass as the XML text with root HMEmailStatus. The
// report goes out by mail and into /home/service/statusdump.xml.
//
// Usage: construct (writes the head), objects.Visit(visitor), SetEndTag(),
// GetStatus(). A visitor serves one walk and lives on its caller's stack.
#pragma once

#include "oxobjectvisitor.h"

#include <sstream>
#include <string>

class OXObject;

class OXStatusVisitor : public OXObjectVisitor {
  public:
    // What the report holds.
    struct Filter {
        // Highest access level shown: objects whose enum "ReadAccess" lies
        // above it are left out whatever the flags say.
        int level = 0;
        // "Group" objects.
        bool groups = false;
        // "SetParameter" and "NumParameter" objects.
        bool parameters = false;
        // "Temperature", "CondProbe" and "Sensor" objects.
        bool inputDevices = false;
        // "Dose", "Heater", "Indicator", "Setter", "DigitalOutput", "Motor".
        bool outputDevices = false;
        // Parent, section, name and the type data of each element.
        bool definitions = false;
    };

    // Writes the document head with the processor's name and serial number.
    OXStatusVisitor(Filter filter, std::string name, std::string serial);
    ~OXStatusVisitor() override;

    // Adds one element for an object that passes the filter; null and
    // objects of other classes add nothing.
    void Visit(OXComplexObject* object) override;
    void Visit(OXListObject*) override {}
    void Visit(OXEnumObject*) override {}
    void Visit(OXNumberObject*) override {}
    void Visit(OXStringObject*) override {}

    // Closes the document; called once after the walk.
    void SetEndTag();
    // The report text so far; empty if nothing was written.
    std::string GetStatus() const;

  private:
    // parent="..." [section="..."] name="..." of an element, each followed by
    // a blank.
    void AddObjectDefs(const OXObject& object);
    // A unit text with every byte above 127 written as EXTCHAR(n), so the
    // report holds plain ASCII whatever character set the machine uses.
    void AddUnit(const std::string& unit);

    Filter filter;
    std::ostringstream status;
};
