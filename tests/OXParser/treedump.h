// Whole parse trees as text, every node with its type and every value, so
// that two parses of one text can be compared. Also a parse of one text by
// both readers of the parser (the hand-written one and the generated
// grammar) with all they report: result, message and tree.
#pragma once

#include "oxaccessright.h"
#include "oxclassdecl.h"
#include "oxcommandnodes.h"
#include "oxcommandparser.h"
#include "oxdefinition.h"
#include "oxenumdecl.h"
#include "oxexpression.h"
#include "oxfastreader.h"
#include "oxmemberdecl.h"
#include "oxunitdecl.h"
#include "oxvaluedecl.h"

#include <cstdio>
#include <string>
#include <typeinfo>
#include <vector>

namespace treedump {

inline std::string Dump(const OXParserNode* node);

inline std::string Number(double value) {
    char text[64];
    snprintf(text, sizeof text, "%.17g", value);
    return text;
}

template <class List>
std::string Items(const List* list) {
    if (list == nullptr)
        return "<null>";
    std::string text = "[";
    for (int i = 0; i < list->Count(); ++i)
        text += (i != 0 ? "," : "") + Dump(list->Get(i));
    return text + "]";
}

inline std::string Members(const OXMemberDeclarationList* list) {
    std::string text = "{";
    for (int i = 0; i < list->GetAttributeCount(); ++i)
        text += Dump(list->GetAttrDecl(i, OXMM_ANY)) + ";";
    for (int i = 0; i < list->GetFunctionCount(); ++i)
        text += Dump(list->GetFuncDecl(i)) + ";";
    return text + "}";
}

inline std::string Dump(const OXParserNode* node) {
    if (node == nullptr)
        return "-";
    if (auto* n = dynamic_cast<const OXParserNumber*>(node))
        return "N" + Number(n->GetValue());
    if (auto* s = dynamic_cast<const OXParserString*>(node))
        return "S\"" + s->GetValue() + "\"";
    if (auto* y = dynamic_cast<const OXParserSymbol*>(node))
        return "Y" + y->GetSymbol();
    if (auto* r = dynamic_cast<const OXReference*>(node))
        return "@" + Dump(r->GetReference());
    if (auto* l = dynamic_cast<const OXExpressionList*>(node))
        return "L" + Dump(l->GetClassDecl()) + Items(l);
    if (auto* d = dynamic_cast<const OXClassDeclaration*>(node))
        return "D" + d->GetClassName() + "<" + Items(d->GetParameterList()) + ">";
    if (auto* c = dynamic_cast<const OXNewCommand*>(node))
        return "new " + Dump(c->GetClassDecl()) + Dump(c->GetExpressionList());
    if (auto* c = dynamic_cast<const OXObjectValuesCommand*>(node))
        return std::string(dynamic_cast<const OXUpdateCommand*>(node) ? "upd " : "del ") +
               Dump(c->GetObjectId()) + Dump(c->GetExpressionList());
    if (auto* c = dynamic_cast<const OXExecutionCommand*>(node))
        return "exe " + Dump(c->GetExecuteId()) + "$" + Dump(c->GetObjectId()) + "." +
               Dump(c->GetFunctionId()) + Dump(c->GetExpressionList());
    if (auto* c = dynamic_cast<const OXReplyCommand*>(node))
        return std::string(dynamic_cast<const OXResultCommand*>(node) ? "res " : "exc ") +
               Dump(c->GetExecuteId()) + ":" + Dump(c->GetExpression());
    if (auto* c = dynamic_cast<const OXClassDefinition*>(node))
        return "class " + c->GetClassName() + Items(c->GetTemplateArgumentList()) + ":" +
               Dump(c->GetBaseClass()) + Members(c->GetMemberDeclarationList());
    if (auto* e = dynamic_cast<const OXEnumDefinition*>(node)) {
        std::string text = "enum " + e->GetClassName() + "{";
        for (int i = 0; i < e->GetEnumList()->Count(); ++i) {
            const OXEnumInitializer* initializer = e->GetEnumInitializer(i);
            text += "\"" + initializer->GetName() + "\"=" + std::to_string(initializer->GetValue());
        }
        return text + "}";
    }
    if (auto* a = dynamic_cast<const OXAttributeDeclaration*>(node))
        return "A" + std::to_string(a->GetModifier()->GetValue()) + Dump(a->GetClassDecl()) +
               a->GetAttributeName() + Dump(a->GetUnitSpecification()) + Dump(a->GetAccessRight());
    if (auto* f = dynamic_cast<const OXFunctionDeclaration*>(node))
        return "F" + std::to_string(f->GetFunctionId()) + Dump(f->GetResultDeclaration()) +
               f->GetFunctionName() + Items(f->GetParameterDeclList()) +
               Dump(f->GetUnitSpecification()) + Dump(f->GetAccessRight());
    if (auto* p = dynamic_cast<const OXParameterDeclaration*>(node))
        return "P" + Dump(p->GetClassDecl()) + p->GetParameterName() +
               Items(p->GetConstraintList()) + "=" + Dump(p->GetDefaultValue()) +
               Dump(p->GetUnitSpecification()) + Dump(p->GetAccessRight());
    if (auto* i = dynamic_cast<const OXConstraintInterval*>(node))
        return Dump(i->GetLow()) + ".." + (i->GetHigh() == i->GetLow() ? "same" : "") +
               Dump(i->GetHigh());
    if (auto* v = dynamic_cast<const OXValueExpressionConstant*>(node))
        return "VC" + Dump(v->GetExpression());
    if (auto* v = dynamic_cast<const OXValueExpressionSymbol*>(node))
        return "VS" + Dump(v->GetSymbol());
    if (auto* u = dynamic_cast<const OXUnitSpecification*>(node))
        return ":" + Dump(u->GetUnitId()) + "*" + Dump(u->GetMul()) + "/" + Dump(u->GetDiv());
    if (auto* u = dynamic_cast<const OXUnitIdConstant*>(node))
        return "UC" + Dump(u->GetUnit());
    if (auto* u = dynamic_cast<const OXUnitIdSymbol*>(node))
        return "US" + Dump(u->GetUnit());
    if (auto* u = dynamic_cast<const OXUnitFactorConstant*>(node))
        return "FC" + Dump(u->GetFactor());
    if (auto* u = dynamic_cast<const OXUnitFactorSymbol*>(node))
        return "FS" + Dump(u->GetSymbol());
    if (auto* r = dynamic_cast<const OXAccessRightConstant*>(node))
        return "!C" + Dump(static_cast<const OXParserNode*>(r->GetValue()));
    if (auto* r = dynamic_cast<const OXAccessRightSymbol*>(node))
        return "!S" + Dump(r->GetSymbol());
    if (auto* r = dynamic_cast<const OXAccessRightEnum*>(node))
        return std::string("!E") + r->GetName() + "=" + std::to_string(r->GetValue());
    return std::string("?") + typeid(*node).name();
}

// What one reader made of a text: result, message and tree.
inline std::string ParseWith(OXCommandParser& parser, bool fast, const char* text, size_t size) {
    std::vector<char> buffer(text, text + size);
    buffer.push_back('\0');
    parser.UseFastReader(fast);
    int result = parser.ParseTree(buffer.data());
    std::string outcome = std::to_string(result) + "|" + parser.GetErrorStr() + "|" +
                          Dump(parser.GetCommand()) + "|" +
                          std::to_string(parser.GetNodeManager().GetNodeCount());
    parser.DropCommand();
    parser.UseFastReader(true);
    return outcome;
}

}  // namespace treedump
