// Table parameters that follow one object of the machine: they attach to it
// when made, refresh their value on each change, and let go when the
// machine's objects are about to go.
#pragma once

#include "observer.h"
#include "oxgway_parameter.h"

class OxGWayParObserved : public OxGWayParameter, public Observer<OXObject> {
  public:
    // Follows the object of that id, if the store has it.
    OxGWayParObserved(unsigned id, const std::string& name, const std::string& access,
                      long objectId, OXObjectManager& objects);
    ~OxGWayParObserved() override;
    void Update(OXObject* subject) override;
    OXObject* GetOXObject() override { return object; }
    void COMDisconnected() override;
    void ObjectGone(const OXObject& gone) override;

  protected:
    // Reads the value from the object.
    virtual void UpdateValue() = 0;
    // Default, limits, unit and access of a "Parameter" object in wire form.
    void ReadLimits();
    // The object while the store still holds it under its id: a store that
    // fell out of step is emptied before the machine's state changes.
    OXObject* Live();

    OXObject* object;
    long objectId;
    OXObjectManager& objects;
};

// A number parameter of the machine.
class OxGWayParNumParameter : public OxGWayParObserved {
  public:
    OxGWayParNumParameter(unsigned id, const std::string& name, long objectId,
                          OXObjectManager& objects);
    int Unserialize(const char* value, char*& output) override;
    static OxGWayParameter* CreateFromStr(const char* line, OXObjectManager& objects,
                                          OXClassManager& classes);

  protected:
    void UpdateValue() override;
};

// A temperature reading; shown like a number parameter, never written.
class OxGWayParTempDevice : public OxGWayParNumParameter {
  public:
    using OxGWayParNumParameter::OxGWayParNumParameter;
    int Unserialize(const char*, char*&) override { return 0; }
    static OxGWayParameter* CreateFromStr(const char* line, OXObjectManager& objects,
                                          OXClassManager& classes);
};

// An enum parameter, shown by its text.
class OxGWayParParameterSetEnum : public OxGWayParObserved {
  public:
    OxGWayParParameterSetEnum(unsigned id, const std::string& name, long objectId,
                              OXObjectManager& objects);
    static OxGWayParameter* CreateFromStr(const char* line, OXObjectManager& objects,
                                          OXClassManager& classes);

  protected:
    void UpdateValue() override;
};

// The selected parameter set of the machine: the host reads and writes it as
// first id + the enum value.
class OxGWayParParameterSet : public OxGWayParObserved {
  public:
    OxGWayParParameterSet(unsigned id, const std::string& name, long objectId,
                          OXObjectManager& objects, long firstId, int count);
    int Unserialize(const char* value, char*& output) override;
    static OxGWayParameter* CreateFromStr(const char* line, OXObjectManager& objects,
                                          OXClassManager& classes);

  protected:
    void UpdateValue() override;

    long firstId;
    int count;
};

// A parameter set that is a program: the number of defined programs, in the
// object behind the set's own, bounds what the host may select.
class OxGWayParOLPProgram : public OxGWayParParameterSet {
  public:
    OxGWayParOLPProgram(unsigned id, const std::string& name, long objectId,
                        OXObjectManager& objects, long firstId, int count, long programsId);
    int Unserialize(const char* value, char*& output) override;
    static OxGWayParameter* CreateFromStr(const char* line, OXObjectManager& objects,
                                          OXClassManager& classes);

  private:
    long programsId;
};
