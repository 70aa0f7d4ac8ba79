// The outcome of a command of the machine link, announced to whoever parsed it.
#pragma once

class OXClassDefinition;
class OXEnumDefinition;
class OXObject;

class OXObjectHandler {
  public:
    virtual void NewClassDefinition(const OXClassDefinition&) {}
    virtual void NewEnumDefinition(const OXEnumDefinition&) {}
    virtual void NewObject(const OXObject&) {}
    virtual void UpdatedObject(const OXObject&) {}
    virtual void DeletedObject(const OXObject&) {}
    virtual void ResultReceived(unsigned long /*execId*/, const OXObject&) {}
    virtual void ExceptionReceived(unsigned long /*execId*/, const OXObject&) {}
    virtual ~OXObjectHandler() = default;
};
