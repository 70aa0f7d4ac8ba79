// Visitors over the run-time objects, their attributes and their functions.
//
// Objects do not descend on their own: a visitor that wants the attributes or
// list elements of what it sees asks for them (VisitAttributes,
// VisitElements).
#pragma once

class OXComplexObject;
class OXListObject;
class OXEnumObject;
class OXNumberObject;
class OXStringObject;
class OXAttribute;
class OXFunctionDeclInterface;

class OXObjectVisitor {
  public:
    virtual ~OXObjectVisitor() = default;
    // Also called with null for a null element of a list.
    virtual void Visit(OXComplexObject* object) = 0;
    virtual void Visit(OXListObject* object) = 0;
    virtual void Visit(OXEnumObject* object) = 0;
    virtual void Visit(OXNumberObject* object) = 0;
    virtual void Visit(OXStringObject* object) = 0;
};

class OXAttributeVisitor {
  public:
    virtual ~OXAttributeVisitor() = default;
    virtual void Visit(OXAttribute& attribute) = 0;
};

class OXFunctionVisitor {
  public:
    virtual ~OXFunctionVisitor() = default;
    virtual void Visit(OXFunctionDeclInterface& function) = 0;
};
