#include "parser_treedump.h"

#include "oxcommandnodes.h"
#include "oxdeclaration.h"
#include "oxdefinition.h"
#include "oxexpression.h"

#include <cstdio>
#include <typeinfo>

namespace {

std::string Num(double value) {
    char text[64];
    snprintf(text, sizeof text, "%g", value);
    return text;
}

template <class List>
std::string Join(const List& list, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        if (i != 0)
            text += ",";
        text += DumpTree(list.Get(i));
    }
    return text;
}

std::string ExprList(const OXExpressionList* list) {
    std::string text;
    if (list->GetClassDecl() != nullptr)
        text += DumpTree(list->GetClassDecl());
    text += "(";
    for (int i = 0; i < list->Count(); ++i) {
        if (i != 0)
            text += ",";
        text += DumpTree(list->Get(i));
    }
    return text + ")";
}

}  // namespace

// Notation: numbers as %g, strings in double quotes, symbols bare, "@n" for
// references, "Class<params>(elements)" for expression lists, and named
// brackets for the declaration and command nodes.
std::string DumpTree(const OXParserNode* node) {
    if (node == nullptr)
        return "-";
    if (auto* n = dynamic_cast<const OXParserNumber*>(node))
        return Num(n->GetValue());
    if (auto* s = dynamic_cast<const OXParserString*>(node))
        return "\"" + s->GetValue() + "\"";
    if (auto* r = dynamic_cast<const OXReference*>(node))
        return "@" + DumpTree(r->GetReference());
    if (auto* l = dynamic_cast<const OXExpressionList*>(node))
        return ExprList(l);
    if (auto* y = dynamic_cast<const OXParserSymbol*>(node))
        return y->GetSymbol();
    if (auto* d = dynamic_cast<const OXClassDeclaration*>(node)) {
        std::string text = d->GetClassName();
        const OXTemplateParameterList* p = d->GetParameterList();
        if (!p->IsEmpty())
            text += "<" + Join(*p, p->Count()) + ">";
        return text;
    }
    if (auto* m = dynamic_cast<const OXMemberModifier*>(node)) {
        return m->GetValue() == OXMM_CONST ? "const" : "plain";
    }
    if (auto* f = dynamic_cast<const OXUnitFactorConstant*>(node))
        return DumpTree(f->GetFactor());
    if (auto* f = dynamic_cast<const OXUnitFactorSymbol*>(node))
        return "$" + DumpTree(f->GetSymbol());
    if (auto* u = dynamic_cast<const OXUnitIdConstant*>(node))
        return DumpTree(u->GetUnit());
    if (auto* u = dynamic_cast<const OXUnitIdSymbol*>(node))
        return "$" + DumpTree(u->GetUnit());
    if (auto* u = dynamic_cast<const OXUnitSpecification*>(node)) {
        return "unit(" + DumpTree(u->GetUnitId()) + "*" + DumpTree(u->GetMul()) + "/" +
               DumpTree(u->GetDiv()) + ")";
    }
    if (auto* a = dynamic_cast<const OXAccessRightConstant*>(node)) {
        return "right(" + DumpTree(a->GetValue()) + ")";
    }
    if (auto* a = dynamic_cast<const OXAccessRightSymbol*>(node)) {
        return "right($" + DumpTree(a->GetSymbol()) + ")";
    }
    if (auto* a = dynamic_cast<const OXAccessRightEnum*>(node)) {
        return std::string("right(") + a->GetName() + ")";
    }
    if (auto* v = dynamic_cast<const OXValueExpressionConstant*>(node)) {
        return DumpTree(v->GetExpression());
    }
    if (auto* v = dynamic_cast<const OXValueExpressionSymbol*>(node)) {
        return "$" + DumpTree(v->GetSymbol());
    }
    if (auto* c = dynamic_cast<const OXConstraintInterval*>(node)) {
        if (c->GetLow() != nullptr && c->GetLow() == c->GetHigh()) {
            return "[=" + DumpTree(c->GetLow()) + "]";
        }
        return "[" + DumpTree(c->GetLow()) + ".." + DumpTree(c->GetHigh()) + "]";
    }
    if (auto* c = dynamic_cast<const OXConstraintList*>(node)) {
        return "{" + Join(*c, c->Count()) + "}";
    }
    if (auto* a = dynamic_cast<const OXAttributeDeclaration*>(node)) {
        return "attr(" + DumpTree(a->GetModifier()) + " " + DumpTree(a->GetClassDecl()) + " " +
               a->GetAttributeName() + " " + DumpTree(a->GetUnitSpecification()) + " " +
               DumpTree(a->GetAccessRight()) + ")";
    }
    if (auto* p = dynamic_cast<const OXParameterDeclaration*>(node)) {
        return "param(" + DumpTree(p->GetClassDecl()) + " " + p->GetParameterName() + " " +
               DumpTree(p->GetConstraintList()) + " =" + DumpTree(p->GetDefaultValue()) + " " +
               DumpTree(p->GetUnitSpecification()) + " " + DumpTree(p->GetAccessRight()) + ")";
    }
    if (auto* p = dynamic_cast<const OXParameterDeclList*>(node)) {
        return "(" + Join(*p, p->Count()) + ")";
    }
    if (auto* f = dynamic_cast<const OXFunctionDeclaration*>(node)) {
        return "func(" + std::to_string(f->GetFunctionId()) + " " +
               DumpTree(f->GetResultDeclaration()) + " " + f->GetFunctionName() +
               DumpTree(f->GetParameterDeclList()) + " " + DumpTree(f->GetUnitSpecification()) +
               " " + DumpTree(f->GetAccessRight()) + ")";
    }
    if (auto* m = dynamic_cast<const OXMemberDeclarationList*>(node)) {
        std::string text = "{";
        for (int i = 0; i < m->GetAttributeCount(); ++i) {
            text += DumpTree(m->GetAttrDecl(i, OXMM_ANY)) + ";";
        }
        for (int i = 0; i < m->GetFunctionCount(); ++i)
            text += DumpTree(m->GetFuncDecl(i)) + ";";
        return text + "}";
    }
    if (auto* t = dynamic_cast<const OXTemplateArgumentList*>(node)) {
        return "<" + Join(*t, t->Count()) + ">";
    }
    if (auto* e = dynamic_cast<const OXEnumInitializer*>(node)) {
        return "\"" + e->GetName() + "\"=" + std::to_string(e->GetValue());
    }
    if (auto* c = dynamic_cast<const OXClassDefinition*>(node)) {
        return "class(" + c->GetClassName() + DumpTree(c->GetTemplateArgumentList()) + " : " +
               DumpTree(c->GetBaseClass()) + " " + DumpTree(c->GetMemberDeclarationList()) + ")";
    }
    if (auto* e = dynamic_cast<const OXEnumDefinition*>(node)) {
        std::string text = "enum(" + e->GetClassName() + " {";
        const OXEnumInitializerList* list = e->GetEnumList();
        for (int i = 0; i < list->Count(); ++i) {
            text += DumpTree(list->GetEnumInitializer(i)) + ",";
        }
        return text + "})";
    }
    if (auto* c = dynamic_cast<const OXNewCommand*>(node)) {
        return "new(" + DumpTree(c->GetClassDecl()) + " " + DumpTree(c->GetExpressionList()) + ")";
    }
    if (auto* c = dynamic_cast<const OXUpdateCommand*>(node)) {
        return "upd(" + DumpTree(c->GetObjectId()) + " " + DumpTree(c->GetExpressionList()) + ")";
    }
    if (auto* c = dynamic_cast<const OXDeletionCommand*>(node)) {
        return "del(" + DumpTree(c->GetObjectId()) + " " + DumpTree(c->GetExpressionList()) + ")";
    }
    if (auto* c = dynamic_cast<const OXExecutionCommand*>(node)) {
        return "exe(" + DumpTree(c->GetExecuteId()) + " " + DumpTree(c->GetObjectId()) + "." +
               DumpTree(c->GetFunctionId()) + " " + DumpTree(c->GetExpressionList()) + ")";
    }
    if (auto* c = dynamic_cast<const OXResultCommand*>(node)) {
        return "res(" + DumpTree(c->GetExecuteId()) + " " + DumpTree(c->GetExpression()) + ")";
    }
    if (auto* c = dynamic_cast<const OXExceptionCommand*>(node)) {
        return "exc(" + DumpTree(c->GetExecuteId()) + " " + DumpTree(c->GetExpression()) + ")";
    }
    return std::string("?") + typeid(*node).name();
}
