// What the object store needs from the parse nodes of declarations and
// definitions, and the result codes that store and commands share.
//
// The store keeps class declarations, attribute declarations, function
// declarations and class definitions that the grammar builds. It only needs a
// handful of operations on them, collected here as small abstract interfaces;
// each node class derives from the interface of its role besides its parse node
// base. Keeping the store on these interfaces lets it be built and tested
// without the grammar.
#pragma once

#include <string>

class OXObject;
class OXAttribute;
class OXClassManager;
class OXObjectManager;

// Result codes of store operations and commands. Command classes derive from
// this holder, so the codes read as OXCommand::ER_OK there.
struct OXExecuteResult {
    enum tagExecuteResult {
        ER_OK = 0,
        ER_UNKNOWN_CLASS = 1,
        ER_NON_COMPLEX_CLASS_BASE_CLASS = 2,
        ER_DUPLICATED_CLASS_NAME = 3,
        ER_WRONG_REFERENCE_CLASS = 4,
        ER_INVALID_EXPRESSION_TYPE = 5,
        ER_INVALID_EXPRESSION_COUNT = 6,
        ER_INVALID_TEMPLATE_PARAMETER_COUNT = 7,
        ER_UNEXCPETED_TEMPLATE_PARAMETERS = 8,
        ER_INVALID_OBJECT_ID = 9,
        ER_OBJECT_ALREADY_EXISTS = 10,
        ER_NOT_AN_OBJECT_OBJECT = 11,
        ER_FACTOR_NOT_A_NUMBER = 12,
        ER_INVALID_FACTOR_ATTRIBUTE_NAME = 13,
        ER_ACCESS_RIGHT_NOT_A_NUMBER = 14,
        ER_ACCESS_RIGHT_ENUM_NOT_DEFINED = 15,
        ER_INVALID_ACCESS_RIGHT_ATTRIBUTE_NAME = 16,
        ER_UNIT_ID_NOT_A_STRING = 17,
        ER_INVALID_UNIT_ID_ATTRIBUTE_NAME = 18,
        ER_INVALID_FUNCTION_ID = 19,
        ER_INVALID_EXECUTE_ID = 20,
        ER_COUNT
    };
};
using tagExecuteResult = OXExecuteResult::tagExecuteResult;

// Where a newly created object goes (OXClassDeclaration::CreateInstance).
enum tagStoreOption {
    SO_NO_STORE = 0,         // never enter it in the object table
    SO_STORE_IF_OBJECT = 1,  // enter it if it has an object number
    SO_STORE_OBJECT = 2,     // enter it; having no number is an error
};

// What an expression is, for the store's paths that take one kind only and
// must tell it on every update without asking the run-time type system.
enum class OXExpressionKind : unsigned char { OTHER, NUMBER, STRING, REFERENCE, LIST };

// A value of the command language as the store walks it: one expression, or a
// list whose elements are taken by position.
class OXExpressionInterface {
  public:
    explicit OXExpressionInterface(OXExpressionKind kind = OXExpressionKind::OTHER) : kind(kind) {}
    virtual ~OXExpressionInterface() = default;
    // Read on every element of every update: a byte set by the constructor
    // rather than a virtual call.
    OXExpressionKind GetKind() const { return kind; }
    virtual int Count() const = 0;
    // The element at index, or null past the end.
    virtual const OXExpressionInterface* Get(int index) const = 0;

  private:
    OXExpressionKind kind;
};

// The class of a value (OXClassDeclaration): name and template parameters.
// Objects and attributes each hold one; a declaration that never changes is
// shared between them rather than copied.
class OXClassDeclInterface {
  public:
    virtual ~OXClassDeclInterface() = default;
    virtual const std::string& GetClassName() const = 0;
    // The class name of the first template parameter ("T" of "list<T>"),
    // null without one; it lives as long as the declaration.
    virtual const std::string* GetElementClassName() const { return nullptr; }
    // Whether the class is written with template parameters ("list<T>").
    virtual bool HasTemplateParameters() const { return true; }
    // Deep copy, owned by the caller.
    virtual OXClassDeclInterface* Clone() const = 0;
    // One more owner of the same declaration: a shared one is counted, any
    // other is copied. Every owner gives it back with Release, never delete.
    virtual OXClassDeclInterface* Share() const { return Clone(); }
    virtual void Release() { delete this; }
    // Gives value, which a declaration of this class made, the value of the
    // expression in place where that ends exactly as making a new value
    // would (CreateInstance with SO_STORE_IF_OBJECT). With apply false it
    // only checks and changes nothing; with apply true, called only after a
    // check that passed, it writes. False where the long way is needed.
    virtual bool UpdateInPlace(OXObject& /*value*/, OXClassManager& /*classes*/,
                               OXObjectManager& /*objects*/,
                               const OXExpressionInterface& /*expression*/, bool /*apply*/) const {
        return false;
    }
    // The check, then the writing: false means that nothing changed.
    bool UpdateInstance(OXObject& value, OXClassManager& classes, OXObjectManager& objects,
                        const OXExpressionInterface& expression) const {
        return UpdateInPlace(value, classes, objects, expression, false) &&
               UpdateInPlace(value, classes, objects, expression, true);
    }
    // Makes the value of an expression; out is set only on success and is null
    // for a null reference.
    virtual tagExecuteResult CreateInstance(OXObject*& out, OXClassManager& classes,
                                            OXObjectManager& objects,
                                            const OXExpressionInterface& expression,
                                            tagStoreOption storeOption) const = 0;
};

class OXAttributeTraits;
class OXAttributeIndex;
// Give back the declaration's hold of a shared attribute record or index.
void OXReleaseTraits(OXAttributeTraits* traits);
void OXReleaseIndex(OXAttributeIndex* index);

// The declaration of an attribute inside a class definition
// (OXAttributeDeclaration). Attributes point at it; the definition owns it.
class OXAttributeDeclInterface {
  public:
    OXAttributeDeclInterface() = default;
    // A copy starts without records of its own.
    OXAttributeDeclInterface(const OXAttributeDeclInterface&) {}
    OXAttributeDeclInterface& operator=(const OXAttributeDeclInterface&) { return *this; }
    virtual ~OXAttributeDeclInterface() {
        OXReleaseTraits(sharedTraits[0]);
        OXReleaseTraits(sharedTraits[1]);
        OXReleaseIndex(sharedIndex);
    }
    // The text lives as long as the declaration; attributes share it.
    virtual const std::string& GetAttributeName() const = 0;
    // Works out constant state, unit and access right of the attribute on this
    // object.
    virtual tagExecuteResult AssignConstraints(OXAttribute& attribute, OXObject& object) const = 0;

    // The records that the attributes of this declaration share (see
    // OXAttributeTraits): the one with the initial constraints and the one
    // worked out last. Kept here because every attribute of every object of
    // the class comes back to this declaration.
    mutable OXAttributeTraits* sharedTraits[2] = {nullptr, nullptr};
    // The name index of the last class level whose first attribute this
    // declaration is (see OXAttributeIndex).
    mutable OXAttributeIndex* sharedIndex = nullptr;
};

// The declaration of a function (OXFunctionDeclaration).
class OXFunctionDeclInterface {
  public:
    virtual ~OXFunctionDeclInterface() = default;
    virtual long GetFunctionId() const = 0;
    virtual const std::string& GetFunctionName() const = 0;
};

// A class definition in the class table (OXDefinition).
class OXDefinitionInterface {
  public:
    virtual ~OXDefinitionInterface() = default;
    virtual const std::string& GetClassName() const = 0;
};
