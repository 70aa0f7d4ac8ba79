// The machine world of the simulator: the class and enum definitions and the
// objects that the controller hands over, read from a world file written in
// the link's command language, and kept up to date as the simulated machine
// changes its values.
#pragma once

#include <deque>
#include <map>
#include <string>
#include <vector>

namespace torcsim {

// A class as written in a declaration: "number", "list<string>", "Box<T>".
struct ClassDecl {
    std::string name;
    std::vector<ClassDecl> params;
    std::string Text() const;
};

// One expression of an object's value list.
struct Value {
    enum Kind { Number, String, Reference, List };
    Kind kind = Number;
    // Number: the literal as written; String: the token with its quotes.
    std::string text;
    double number = 0;
    // Reference: the object number; 0 is written "null" when isNull is set.
    long reference = 0;
    bool isNull = false;
    // List: an optional class tag and the elements.
    bool tagged = false;
    ClassDecl tag;
    std::vector<Value> items;

    std::string Text() const;
    static Value MakeNumber(long long n);
    // A string value; quotes, backslashes and line breaks in the text are
    // replaced, since the language has no way to carry them raw.
    static Value MakeString(const std::string& plain);
};

// A unit factor: a constant, or the name of a number attribute of the object.
struct Factor {
    bool symbolic = false;
    std::string symbol;
    long constant = 1;
};

struct AttrDecl {
    bool isConst = false;
    ClassDecl type;
    std::string name;
    // Unit text: a string constant, or the name of a string attribute.
    bool unitSymbolic = false;
    std::string unit;
    Factor mul, div;
    // Access right written as the name of an enum attribute, if so.
    std::string rightSymbol;
    int line = 0;
};

struct FuncDecl {
    long id = 0;
    std::string name;
};

struct Definition {
    bool isEnum = false;
    std::string name;
    std::vector<std::string> templateArgs;
    bool hasBase = false;
    ClassDecl base;
    std::vector<AttrDecl> attrs;
    std::vector<FuncDecl> funcs;
    std::vector<std::pair<std::string, long>> enumValues;
    bool usesRightKeyword = false;
    std::string text;  // as sent on the link
    int line = 0;
};

// An attribute of an object, its declaration resolved through the class chain
// and the template parameters of the object's class.
struct ResolvedAttr {
    const AttrDecl* decl = nullptr;
    ClassDecl type;
};

struct Object {
    long id = 0;
    ClassDecl decl;
    std::vector<Value> values;  // one per attribute of the chain, base first
    std::vector<ResolvedAttr> attrs;
    bool active = true;  // part of the machine's world now
    int line = 0;
};

enum class AttrKind { Number, Enum, String, List, Complex, Unknown };

// Tokens of the command language; the world file adds "#" comments.
struct Token {
    enum Kind { End, String, Unsigned, Signed, Symbol, Keyword, Punct, Range, Invalid };
    Kind kind = End;
    std::string text;
    int line = 0;
};

// Splits text into tokens by the scanning rules of the command language. A
// "#" outside a string starts a comment up to the line end when comments is
// set. Bytes that start no token become Invalid tokens.
std::vector<Token> Tokenize(const std::string& text, bool comments);

// Parses one expression (number, string, @id, null or list) from text.
bool ParseValue(const std::string& text, Value& out, std::string& error);

class World {
  public:
    World() = default;
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    // Reads and checks a world file. False with the messages in errors (one
    // per line, "FILE:LINE: text") when it cannot be used.
    bool Load(const std::string& path, std::string& errors);
    bool LoadText(const std::string& text, const std::string& name, std::string& errors);
    // Remarks that do not stop the world from working.
    const std::vector<std::string>& Warnings() const { return warnings_; }

    const std::deque<Definition>& Definitions() const { return definitions_; }
    const Definition* FindDefinition(const std::string& name) const;
    std::vector<Object>& Objects() { return objects_; }
    Object* Find(long id);
    // Objects that are part of the machine's world now.
    long ActiveCount() const;

    // Texts of the link.
    std::string NewText(const Object& object, long count) const;
    std::string UpdText(const Object& object) const;
    std::string DelText(const Object& object, long count) const;
    // Everything a complete transfer holds: definitions, then active objects.
    std::vector<std::string> TransferTexts() const;
    // The value of an exc answer, shaped after the class "Exception".
    std::string ExceptionValue(int code, const std::string& text) const;

    // Attribute access by name; -1 when the object has no such attribute.
    int AttrIndex(const Object& object, const std::string& name) const;
    AttrKind KindOf(const ClassDecl& type) const;
    AttrKind AttrKindOf(const Object& object, int index) const;
    // The raw number of an attribute; false when it is no number.
    bool RawNumber(const Object& object, const std::string& name, double& value) const;
    // The number with the attribute's unit factors applied, as a reader of
    // the store sees it.
    bool ScaledNumber(const Object& object, const std::string& name, double& value) const;
    // Multiplier and divisor of an attribute's unit.
    void UnitFactors(const Object& object, int index, double& mul, double& div) const;
    // Writes a value into the model after checking its kind.
    bool SetValue(Object& object, const std::string& name, const Value& value, std::string& error);
    bool IsClass(const Object& object, const std::string& name) const;
    bool DeclaresFunction(const Object& object, long id) const;
    // The enumeration of an enum attribute, or null.
    const Definition* EnumOf(const Object& object, int index) const;

  private:
    bool Flatten(const ClassDecl& decl, std::vector<ResolvedAttr>& out, int depth) const;
    std::string ValuesText(const Object& object, bool constsToo, long count) const;

    // A deque, so that the declarations that objects point to never move.
    std::deque<Definition> definitions_;
    std::map<std::string, size_t> definitionIndex_;
    std::vector<Object> objects_;
    std::map<long, size_t> objectIndex_;
    std::vector<std::string> warnings_;
};

}  // namespace torcsim
