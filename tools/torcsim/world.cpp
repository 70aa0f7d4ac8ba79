#include "world.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

namespace torcsim {

namespace {

const char* const kKeywords[] = {"class",   "enum",     "new",        "upd",    "del",
                                 "exe",     "res",      "exc",        "const",  "null",
                                 "AR_USER", "AR_ADMIN", "AR_SERVICE", "AR_RAD", "AR_NON"};

bool IsKeyword(const std::string& word) {
    for (const char* k : kKeywords)
        if (word == k)
            return true;
    return false;
}

bool IsRightKeyword(const std::string& word) {
    return word.compare(0, 3, "AR_") == 0;
}

bool IsDigit(unsigned char c) {
    return c >= '0' && c <= '9';
}
bool IsAlpha(unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool IsWordChar(unsigned char c) {
    return IsAlpha(c) || IsDigit(c) || c == '_';
}

// Length of a complete string token starting at the quote at pos, or 0.
size_t StringLength(const std::string& text, size_t pos) {
    size_t i = pos + 1;
    while (i < text.size()) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == '"')
            return i + 1 - pos;
        if (c == '\n' || c == '\r' || c == '\0')
            return 0;
        if (c == '\\') {
            if (i + 1 >= text.size())
                return 0;
            unsigned char e = static_cast<unsigned char>(text[i + 1]);
            if (!(e == '"' || e == '\'' || e == ',' || IsDigit(e) || e == '?' || e == '\\' ||
                  std::strchr("abfnrtv", e) != nullptr) ||
                e == '\0')
                return 0;
            i += 2;
            continue;
        }
        ++i;
    }
    return 0;
}

bool IsBuiltin(const std::string& name) {
    return name == "number" || name == "string" || name == "void" || name == "list";
}

// Replaces the formal template arguments in type by the actual parameters.
ClassDecl Specialize(const ClassDecl& type, const std::vector<std::string>& args,
                     const std::vector<ClassDecl>& params) {
    ClassDecl out;
    size_t i = 0;
    while (i < args.size() && args[i] != type.name)
        ++i;
    if (i < args.size() && i < params.size()) {
        out = params[i];
    } else {
        out.name = type.name;
    }
    for (const ClassDecl& p : type.params)
        out.params.push_back(Specialize(p, args, params));
    return out;
}

// Whether two tokens written next to each other need a blank between them.
bool NeedsBlank(const Token& prev, const Token& cur) {
    if (cur.kind == Token::Punct && std::strchr(";,)>.", cur.text[0]) != nullptr)
        return false;
    if (prev.kind == Token::Punct && std::strchr("(<@.", prev.text[0]) != nullptr)
        return false;
    if (prev.kind == Token::Symbol && cur.kind == Token::Punct &&
        (cur.text == "(" || cur.text == "<"))
        return false;
    return true;
}

class Parser {
  public:
    explicit Parser(const std::vector<Token>& tokens) : tokens_(tokens) {}

    bool AtEnd() const { return Peek().kind == Token::End; }
    size_t Position() const { return pos_; }
    const std::string& Error() const { return error_; }
    int ErrorLine() const { return errorLine_; }

    const Token& Peek(size_t ahead = 0) const {
        size_t i = pos_ + ahead;
        return i < tokens_.size() ? tokens_[i] : tokens_.back();
    }
    bool Is(const char* punct, size_t ahead = 0) const {
        const Token& t = Peek(ahead);
        return (t.kind == Token::Punct || t.kind == Token::Keyword || t.kind == Token::Range) &&
               t.text == punct;
    }
    bool Accept(const char* punct) {
        if (!Is(punct))
            return false;
        ++pos_;
        return true;
    }
    bool Expect(const char* what) {
        if (Accept(what))
            return true;
        return Fail(std::string("expected '") + what + "'");
    }
    bool Fail(const std::string& message) {
        if (error_.empty()) {
            const Token& t = Peek();
            errorLine_ = t.line;
            std::string near = t.kind == Token::End ? "end of file" : "'" + t.text + "'";
            error_ = message + " near " + near;
        }
        return false;
    }

    bool Symbol(std::string& out) {
        if (Peek().kind != Token::Symbol)
            return Fail("expected a name");
        out = Peek().text;
        ++pos_;
        return true;
    }

    bool Decl(ClassDecl& out, int depth = 0) {
        if (depth > 50)
            return Fail("class declaration nested too deeply");
        if (!Symbol(out.name))
            return false;
        if (Accept("<")) {
            do {
                out.params.emplace_back();
                if (!Decl(out.params.back(), depth + 1))
                    return false;
            } while (Accept(","));
            if (!Expect(">"))
                return false;
        }
        return true;
    }

    bool Constant(Value& out) {
        const Token& t = Peek();
        if (t.kind == Token::Unsigned || t.kind == Token::Signed) {
            out.kind = Value::Number;
            out.text = t.text;
            out.number = std::strtod(t.text.c_str(), nullptr);
        } else if (t.kind == Token::String) {
            out.kind = Value::String;
            out.text = t.text;
        } else if (Is("null")) {
            out.kind = Value::Reference;
            out.isNull = true;
            out.reference = 0;
        } else {
            return Fail("expected a value");
        }
        ++pos_;
        return true;
    }

    bool Expression(Value& out, int depth = 0) {
        if (depth > 50)
            return Fail("value nested too deeply");
        if (Accept("@")) {
            const Token& t = Peek();
            if (t.kind != Token::Unsigned && t.kind != Token::Signed)
                return Fail("expected an object number after '@'");
            out.kind = Value::Reference;
            out.reference = std::strtol(t.text.c_str(), nullptr, 10);
            ++pos_;
            return true;
        }
        if (Peek().kind == Token::Symbol) {
            out.kind = Value::List;
            out.tagged = true;
            if (!Decl(out.tag))
                return false;
            return List(out, depth);
        }
        if (Is("(")) {
            out.kind = Value::List;
            return List(out, depth);
        }
        return Constant(out);
    }

    bool List(Value& out, int depth) {
        if (!Expect("("))
            return false;
        return ExpressionList(out.items, depth + 1) && Expect(")");
    }

    bool ExpressionList(std::vector<Value>& out, int depth) {
        if (Is(")"))
            return true;
        do {
            out.emplace_back();
            if (!Expression(out.back(), depth))
                return false;
        } while (Accept(","));
        return true;
    }

    bool UnitFactor(Factor& out) {
        const Token& t = Peek();
        if (t.kind == Token::Unsigned) {
            out.constant = std::strtol(t.text.c_str(), nullptr, 10);
        } else if (t.kind == Token::Symbol) {
            out.symbolic = true;
            out.symbol = t.text;
        } else {
            return Fail("expected a unit factor");
        }
        ++pos_;
        return true;
    }

    // ":" unit ["*" factor] ["/" factor], optional.
    bool UnitSpec(AttrDecl& out) {
        if (!Accept(":"))
            return true;
        const Token& t = Peek();
        if (t.kind == Token::String) {
            out.unit = t.text;
        } else if (t.kind == Token::Symbol) {
            out.unitSymbolic = true;
            out.unit = t.text;
        } else {
            return Fail("expected a unit");
        }
        ++pos_;
        if (Accept("*") && !UnitFactor(out.mul))
            return false;
        if (Accept("/") && !UnitFactor(out.div))
            return false;
        return true;
    }

    bool Right(AttrDecl& out, bool& keyword) {
        if (!Accept("!"))
            return true;
        const Token& t = Peek();
        if (t.kind == Token::Keyword && IsRightKeyword(t.text)) {
            keyword = true;
        } else if (t.kind == Token::Symbol) {
            out.rightSymbol = t.text;
        } else if (t.kind != Token::Unsigned) {
            return Fail("expected an access right");
        }
        ++pos_;
        return true;
    }

    bool ValueExpression() {
        if (Peek().kind == Token::Symbol) {
            ++pos_;
            return true;
        }
        Value ignored;
        return Constant(ignored);
    }

    bool Parameter(bool& keyword) {
        ClassDecl type;
        std::string name;
        if (!Decl(type) || !Symbol(name))
            return false;
        if (Accept("{")) {
            do {
                if (Accept("..")) {
                    if (!ValueExpression())
                        return false;
                } else {
                    if (!ValueExpression())
                        return false;
                    if (Accept("..") && !Is(",") && !Is("}") && !ValueExpression())
                        return false;
                }
            } while (Accept(","));
            if (!Expect("}"))
                return false;
        }
        if (Accept("=") && !ValueExpression())
            return false;
        AttrDecl unit;
        return UnitSpec(unit) && Right(unit, keyword);
    }

    bool Member(Definition& def) {
        if (Peek().kind == Token::Unsigned) {
            FuncDecl f;
            f.id = std::strtol(Peek().text.c_str(), nullptr, 10);
            ++pos_;
            ClassDecl result;
            if (!Expect("$") || !Decl(result) || !Symbol(f.name) || !Expect("("))
                return false;
            if (!Is(")")) {
                do {
                    if (!Parameter(def.usesRightKeyword))
                        return false;
                } while (Accept(","));
            }
            AttrDecl unit;
            if (!Expect(")") || !UnitSpec(unit) || !Right(unit, def.usesRightKeyword))
                return false;
            def.funcs.push_back(f);
            return true;
        }
        AttrDecl a;
        a.line = Peek().line;
        a.isConst = Accept("const");
        if (!Decl(a.type) || !Symbol(a.name) || !UnitSpec(a) || !Right(a, def.usesRightKeyword))
            return false;
        def.attrs.push_back(a);
        return true;
    }

    bool ClassDefinition(Definition& def) {
        if (!Symbol(def.name))
            return false;
        if (Accept("<")) {
            do {
                std::string arg;
                if (!Expect("class") || !Symbol(arg))
                    return false;
                def.templateArgs.push_back(arg);
            } while (Accept(","));
            if (!Expect(">"))
                return false;
        }
        if (Accept(":")) {
            def.hasBase = true;
            if (!Decl(def.base))
                return false;
        }
        if (!Expect("{"))
            return false;
        while (!Is("}")) {
            if (AtEnd())
                return Fail("expected '}'");
            if (!Member(def) || !Expect(";"))
                return false;
        }
        return Expect("}");
    }

    bool EnumDefinition(Definition& def) {
        def.isEnum = true;
        if (!Symbol(def.name) || !Expect("{"))
            return false;
        do {
            const Token& name = Peek();
            if (name.kind != Token::String)
                return Fail("expected the text of an enum value");
            ++pos_;
            if (!Expect("="))
                return false;
            const Token& value = Peek();
            if (value.kind != Token::Unsigned && value.kind != Token::Signed)
                return Fail("expected the number of an enum value");
            ++pos_;
            def.enumValues.emplace_back(name.text.substr(1, name.text.size() - 2),
                                        std::strtol(value.text.c_str(), nullptr, 10));
            if (!Expect(","))
                return false;
        } while (Peek().kind == Token::String);
        return Expect("}");
    }

  private:
    const std::vector<Token>& tokens_;
    size_t pos_ = 0;
    std::string error_;
    int errorLine_ = 0;
};

std::string JoinTokens(const std::vector<Token>& tokens, size_t from, size_t to) {
    std::string text;
    for (size_t i = from; i < to; ++i) {
        if (i > from && NeedsBlank(tokens[i - 1], tokens[i]))
            text += ' ';
        text += tokens[i].text;
    }
    return text;
}

}  // namespace

std::string ClassDecl::Text() const {
    std::string text = name;
    if (!params.empty()) {
        text += '<';
        for (size_t i = 0; i < params.size(); ++i) {
            if (i > 0)
                text += ", ";
            text += params[i].Text();
        }
        text += '>';
    }
    return text;
}

std::string Value::Text() const {
    switch (kind) {
        case Number:
        case String:
            return text;
        case Reference:
            return isNull ? "null" : "@" + std::to_string(reference);
        case List: {
            std::string out = tagged ? tag.Text() : std::string();
            out += '(';
            for (size_t i = 0; i < items.size(); ++i) {
                if (i > 0)
                    out += ", ";
                out += items[i].Text();
            }
            return out + ')';
        }
    }
    return text;
}

Value Value::MakeNumber(long long n) {
    Value v;
    v.kind = Number;
    v.number = static_cast<double>(n);
    v.text = std::to_string(n);
    return v;
}

Value Value::MakeString(const std::string& plain) {
    Value v;
    v.kind = String;
    v.text = "\"";
    for (char c : plain) {
        if (c == '"')
            v.text += '\'';
        else if (c == '\\' || c == '\n' || c == '\r' || c == '\0')
            v.text += ' ';
        else
            v.text += c;
    }
    v.text += '"';
    return v;
}

std::vector<Token> Tokenize(const std::string& text, bool comments) {
    std::vector<Token> tokens;
    int line = 1;
    size_t i = 0;
    while (i < text.size()) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == '\n') {
            ++line;
            ++i;
            continue;
        }
        if (c == ' ' || c == '\t' || c == '\r') {
            ++i;
            continue;
        }
        if (comments && c == '#') {
            while (i < text.size() && text[i] != '\n')
                ++i;
            continue;
        }
        Token t;
        t.line = line;
        size_t start = i;
        size_t quote = c == 'L' && i + 1 < text.size() && text[i + 1] == '"' ? i + 1 : i;
        if (text[quote] == '"' && StringLength(text, quote) > 0) {
            t.kind = Token::String;
            i = quote + StringLength(text, quote);
        } else if (IsDigit(c)) {
            t.kind = Token::Unsigned;
            while (i < text.size() && IsDigit(static_cast<unsigned char>(text[i])))
                ++i;
        } else if ((c == '-' || c == '+') && i + 1 < text.size() &&
                   IsDigit(static_cast<unsigned char>(text[i + 1]))) {
            t.kind = Token::Signed;
            ++i;
            while (i < text.size() && IsDigit(static_cast<unsigned char>(text[i])))
                ++i;
        } else if (IsAlpha(c) || c == '_') {
            while (i < text.size() && IsWordChar(static_cast<unsigned char>(text[i])))
                ++i;
            t.kind = IsKeyword(text.substr(start, i - start)) ? Token::Keyword : Token::Symbol;
        } else if (c == '.' && i + 1 < text.size() && text[i + 1] == '.') {
            t.kind = Token::Range;
            i += 2;
        } else if (std::strchr("=;:!$@<>(){}.,*/", c) != nullptr && c != '\0') {
            t.kind = Token::Punct;
            ++i;
        } else {
            t.kind = Token::Invalid;
            ++i;
        }
        t.text = text.substr(start, i - start);
        tokens.push_back(t);
    }
    Token end;
    end.line = line;
    tokens.push_back(end);
    return tokens;
}

bool ParseValue(const std::string& text, Value& out, std::string& error) {
    std::vector<Token> tokens = Tokenize(text, false);
    for (const Token& t : tokens) {
        if (t.kind == Token::Invalid) {
            error = "invalid character '" + t.text + "'";
            return false;
        }
    }
    Parser parser(tokens);
    out = Value();
    if (!parser.Expression(out)) {
        error = parser.Error();
        return false;
    }
    if (!parser.AtEnd()) {
        parser.Fail("unexpected text after the value");
        error = parser.Error();
        return false;
    }
    return true;
}

bool World::Load(const std::string& path, std::string& errors) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        errors = path + ": cannot be read\n";
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    return LoadText(text.str(), path, errors);
}

bool World::LoadText(const std::string& text, const std::string& name, std::string& errors) {
    definitions_.clear();
    definitionIndex_.clear();
    objects_.clear();
    objectIndex_.clear();
    warnings_.clear();
    errors.clear();
    auto report = [&](int line, const std::string& message) {
        errors += name + ":" + std::to_string(line) + ": " + message + "\n";
    };

    std::vector<Token> tokens = Tokenize(text, true);
    for (const Token& t : tokens) {
        if (t.kind == Token::Invalid) {
            char hex[8];
            std::snprintf(hex, sizeof hex, "0x%02x", static_cast<unsigned char>(t.text[0]));
            report(t.line, std::string("invalid character ") + hex);
        }
    }
    if (!errors.empty())
        return false;

    // "#@inactive" on a line of its own marks the next object as one that is
    // known to the simulator but not yet part of the machine's world.
    std::set<int> inactiveLines;
    {
        std::istringstream lines(text);
        std::string l;
        int number = 0;
        bool pending = false;
        while (std::getline(lines, l)) {
            ++number;
            size_t first = l.find_first_not_of(" \t\r");
            if (first != std::string::npos && l.compare(first, 10, "#@inactive") == 0) {
                pending = true;
            } else if (pending && first != std::string::npos && l[first] != '#') {
                inactiveLines.insert(number);
                pending = false;
            }
        }
    }

    Parser parser(tokens);
    bool rightsDefined = false;
    while (!parser.AtEnd()) {
        size_t start = parser.Position();
        const Token& head = parser.Peek();
        int line = head.line;
        if (parser.Accept("class") || parser.Accept("enum")) {
            Definition def;
            def.line = line;
            bool ok =
                head.text == "class" ? parser.ClassDefinition(def) : parser.EnumDefinition(def);
            if (!ok || !parser.Expect(";")) {
                report(parser.ErrorLine(), parser.Error());
                return false;
            }
            def.text = JoinTokens(tokens, start, parser.Position());
            if (definitionIndex_.count(def.name) || IsBuiltin(def.name)) {
                report(line, "class " + def.name + " is defined twice");
                continue;
            }
            if (def.isEnum && def.name == "tagAccessRight")
                rightsDefined = true;
            if (def.usesRightKeyword && !rightsDefined)
                warnings_.push_back(name + ":" + std::to_string(line) + ": class " + def.name +
                                    " uses access rights before tagAccessRight is defined");
            if (def.hasBase) {
                const Definition* base = FindDefinition(def.base.name);
                if (base == nullptr || base->isEnum)
                    report(line, "base class " + def.base.name + " of " + def.name +
                                     " is not a class defined before");
            }
            std::set<std::string> known(def.templateArgs.begin(), def.templateArgs.end());
            for (const AttrDecl& a : def.attrs) {
                if (!IsBuiltin(a.type.name) && !known.count(a.type.name) &&
                    FindDefinition(a.type.name) == nullptr && a.type.name != def.name)
                    report(a.line, "attribute " + a.name + " has the unknown class " + a.type.name);
            }
            definitionIndex_[def.name] = definitions_.size();
            definitions_.push_back(def);
            continue;
        }
        if (!parser.Accept("new")) {
            parser.Fail("a world holds class, enum and new commands only; unexpected");
            report(parser.ErrorLine(), parser.Error());
            return false;
        }
        Object object;
        object.line = line;
        object.active = inactiveLines.count(line) == 0;
        if (!parser.Decl(object.decl) || !parser.Expect("(") ||
            !parser.ExpressionList(object.values, 1) || !parser.Expect(")") ||
            !parser.Expect(";")) {
            report(parser.ErrorLine(), parser.Error());
            return false;
        }
        const Definition* def = FindDefinition(object.decl.name);
        if (def == nullptr || def->isEnum) {
            report(line, "new of " + object.decl.name + ", which is no class defined before");
            continue;
        }
        if (def->templateArgs.size() != object.decl.params.size()) {
            report(line, "class " + def->name + " takes " +
                             std::to_string(def->templateArgs.size()) + " template parameters");
            continue;
        }
        if (!Flatten(object.decl, object.attrs, 0)) {
            report(line, "class chain of " + object.decl.name + " cannot be resolved");
            continue;
        }
        if (!IsClass(object, "Object")) {
            report(line, "class " + object.decl.name + " does not derive from Object");
            continue;
        }
        if (object.values.size() < object.attrs.size()) {
            report(line, object.decl.Text() + " needs " + std::to_string(object.attrs.size()) +
                             " values, " + std::to_string(object.values.size()) + " given");
            continue;
        }
        bool good = true;
        for (size_t i = 0; i < object.attrs.size(); ++i) {
            const Value& v = object.values[i];
            AttrKind kind = KindOf(object.attrs[i].type);
            bool numberLike = kind == AttrKind::Number || kind == AttrKind::Enum;
            if ((numberLike && v.kind != Value::Number) ||
                (kind == AttrKind::String && v.kind != Value::String) ||
                (kind == AttrKind::Complex && v.kind != Value::Reference &&
                 v.kind != Value::List)) {
                report(line, "value " + std::to_string(i + 1) + " (" + object.attrs[i].decl->name +
                                 ") of " + object.decl.Text() + " has the wrong kind: " + v.Text());
                good = false;
            }
            if (v.kind == Value::Reference && !v.isNull && v.reference != 0) {
                const Object* target = Find(v.reference);
                if (target == nullptr)
                    report(line, "reference @" + std::to_string(v.reference) +
                                     " to an object not defined before");
                else if (object.active && !target->active)
                    report(line,
                           "reference @" + std::to_string(v.reference) + " to an inactive object");
                good = good && target != nullptr;
            }
        }
        if (!good)
            continue;
        int idIndex = AttrIndex(object, "Id");
        if (idIndex < 0 || object.values[idIndex].kind != Value::Number) {
            report(line, "object without a number Id");
            continue;
        }
        object.id = std::lround(object.values[idIndex].number);
        if (object.id == 0) {
            report(line, "object number 0");
            continue;
        }
        if (objectIndex_.count(object.id)) {
            report(line, "object number " + std::to_string(object.id) + " is used twice");
            continue;
        }
        objectIndex_[object.id] = objects_.size();
        objects_.push_back(object);
    }
    if (!errors.empty())
        return false;

    if (FindDefinition("Exception") == nullptr)
        warnings_.push_back(name + ": no class Exception; exc answers will not be understood");
    if (!rightsDefined)
        warnings_.push_back(name + ": no enum tagAccessRight");
    bool counted = false;
    for (const Object& o : objects_)
        counted = counted || AttrIndex(o, "ObjectCount") >= 0;
    if (!counted)
        warnings_.push_back(name + ": no object announces ObjectCount");
    return true;
}

const Definition* World::FindDefinition(const std::string& name) const {
    auto it = definitionIndex_.find(name);
    return it == definitionIndex_.end() ? nullptr : &definitions_[it->second];
}

Object* World::Find(long id) {
    auto it = objectIndex_.find(id);
    return it == objectIndex_.end() ? nullptr : &objects_[it->second];
}

long World::ActiveCount() const {
    long n = 0;
    for (const Object& o : objects_)
        n += o.active ? 1 : 0;
    return n;
}

bool World::Flatten(const ClassDecl& decl, std::vector<ResolvedAttr>& out, int depth) const {
    const Definition* def = FindDefinition(decl.name);
    if (def == nullptr || def->isEnum || depth > 50)
        return false;
    if (def->hasBase &&
        !Flatten(Specialize(def->base, def->templateArgs, decl.params), out, depth + 1))
        return false;
    for (const AttrDecl& a : def->attrs) {
        ResolvedAttr r;
        r.decl = &a;
        r.type = Specialize(a.type, def->templateArgs, decl.params);
        out.push_back(r);
    }
    return true;
}

bool World::IsClass(const Object& object, const std::string& name) const {
    std::string current = object.decl.name;
    for (int depth = 0; depth < 50; ++depth) {
        if (current == name)
            return true;
        const Definition* def = FindDefinition(current);
        if (def == nullptr || !def->hasBase)
            return false;
        current = def->base.name;
    }
    return false;
}

bool World::DeclaresFunction(const Object& object, long id) const {
    std::string current = object.decl.name;
    for (int depth = 0; depth < 50; ++depth) {
        const Definition* def = FindDefinition(current);
        if (def == nullptr)
            return false;
        for (const FuncDecl& f : def->funcs)
            if (f.id == id)
                return true;
        if (!def->hasBase)
            return false;
        current = def->base.name;
    }
    return false;
}

int World::AttrIndex(const Object& object, const std::string& name) const {
    // The store finds a base attribute before a derived one of the same name.
    for (size_t i = 0; i < object.attrs.size(); ++i)
        if (object.attrs[i].decl->name == name)
            return static_cast<int>(i);
    return -1;
}

AttrKind World::KindOf(const ClassDecl& type) const {
    if (type.name == "number" || type.name == "void")
        return AttrKind::Number;
    if (type.name == "string")
        return AttrKind::String;
    if (type.name == "list")
        return AttrKind::List;
    const Definition* def = FindDefinition(type.name);
    if (def == nullptr)
        return AttrKind::Unknown;
    return def->isEnum ? AttrKind::Enum : AttrKind::Complex;
}

AttrKind World::AttrKindOf(const Object& object, int index) const {
    if (index < 0 || static_cast<size_t>(index) >= object.attrs.size())
        return AttrKind::Unknown;
    return KindOf(object.attrs[index].type);
}

const Definition* World::EnumOf(const Object& object, int index) const {
    if (AttrKindOf(object, index) != AttrKind::Enum)
        return nullptr;
    return FindDefinition(object.attrs[index].type.name);
}

bool World::RawNumber(const Object& object, const std::string& name, double& value) const {
    int i = AttrIndex(object, name);
    if (i < 0 || object.values[i].kind != Value::Number)
        return false;
    value = object.values[i].number;
    return true;
}

void World::UnitFactors(const Object& object, int index, double& mul, double& div) const {
    mul = div = 1;
    if (index < 0 || static_cast<size_t>(index) >= object.attrs.size())
        return;
    const AttrDecl& a = *object.attrs[index].decl;
    auto factor = [&](const Factor& f) {
        double v = static_cast<double>(f.constant);
        if (f.symbolic && !RawNumber(object, f.symbol, v))
            v = 1;
        return static_cast<double>(static_cast<long>(v));
    };
    mul = factor(a.mul);
    div = factor(a.div);
}

bool World::ScaledNumber(const Object& object, const std::string& name, double& value) const {
    if (!RawNumber(object, name, value))
        return false;
    double mul, div;
    UnitFactors(object, AttrIndex(object, name), mul, div);
    if (div == 0)
        return false;
    value = value * mul / div;
    return true;
}

bool World::SetValue(Object& object, const std::string& name, const Value& value,
                     std::string& error) {
    int i = AttrIndex(object, name);
    if (i < 0) {
        error = "object " + std::to_string(object.id) + " has no attribute " + name;
        return false;
    }
    AttrKind kind = AttrKindOf(object, i);
    bool numberLike = kind == AttrKind::Number || kind == AttrKind::Enum;
    if ((numberLike && value.kind != Value::Number) ||
        (kind == AttrKind::String && value.kind != Value::String) ||
        (kind == AttrKind::Complex && value.kind != Value::Reference &&
         value.kind != Value::List)) {
        error = "attribute " + name + " does not take " + value.Text();
        return false;
    }
    if (name == "Id") {
        error = "the object number cannot be changed";
        return false;
    }
    object.values[i] = value;
    return true;
}

std::string World::ValuesText(const Object& object, bool constsToo, long count) const {
    std::string text;
    bool first = true;
    for (size_t i = 0; i < object.values.size(); ++i) {
        bool known = i < object.attrs.size();
        if (known && object.attrs[i].decl->isConst && !constsToo)
            continue;
        // Surplus values of a new are kept as written; an upd has none.
        if (!known && !constsToo)
            break;
        if (!first)
            text += ", ";
        first = false;
        if (known && object.attrs[i].decl->name == "ObjectCount" &&
            KindOf(object.attrs[i].type) == AttrKind::Number)
            text += std::to_string(count);
        else
            text += object.values[i].Text();
    }
    return text;
}

std::string World::NewText(const Object& object, long count) const {
    return "new " + object.decl.Text() + "(" + ValuesText(object, true, count) + ");";
}

std::string World::UpdText(const Object& object) const {
    return "upd " + std::to_string(object.id) + " (" + ValuesText(object, false, ActiveCount()) +
           ");";
}

std::string World::DelText(const Object& object, long count) const {
    return "del " + std::to_string(object.id) + " (" + ValuesText(object, false, count) + ");";
}

std::vector<std::string> World::TransferTexts() const {
    std::vector<std::string> texts;
    for (const Definition& d : definitions_)
        texts.push_back(d.text);
    long count = ActiveCount();
    for (const Object& o : objects_)
        if (o.active)
            texts.push_back(NewText(o, count));
    return texts;
}

std::string World::ExceptionValue(int code, const std::string& text) const {
    std::string quoted = Value::MakeString(text).text;
    const Definition* def = FindDefinition("Exception");
    ClassDecl decl;
    decl.name = "Exception";
    std::vector<ResolvedAttr> attrs;
    if (def == nullptr || def->isEnum || !def->templateArgs.empty() || !Flatten(decl, attrs, 0))
        return "(" + std::to_string(code) + ", " + quoted + ")";
    std::string out = "(";
    for (size_t i = 0; i < attrs.size(); ++i) {
        if (i > 0)
            out += ", ";
        AttrKind kind = KindOf(attrs[i].type);
        if (kind == AttrKind::Number || kind == AttrKind::Enum)
            out += std::to_string(code);
        else if (kind == AttrKind::String)
            out += quoted;
        else if (kind == AttrKind::List)
            out += "()";
        else
            out += "null";
    }
    return out + ")";
}

}  // namespace torcsim
