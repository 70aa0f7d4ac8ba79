// Reading the attribute that a symbol of a declaration names.
#pragma once

#include "oxattribute.h"
#include "oxcommand.h"
#include "oxexpression.h"
#include "oxobject.h"

// The value of the attribute that a symbol names, an object of class T. Where
// the object has no such attribute, result becomes missing; where it is of
// another class or has no value, wrongClass; both give null.
template <class T>
const T* SymbolValue(const OXParserSymbol& symbol, OXObject& object, tagExecuteResult& result,
                     tagExecuteResult missing, tagExecuteResult wrongClass) {
    OXAttribute* attribute = object.GetAttribute(symbol.GetSymbol());
    if (attribute == nullptr) {
        result = missing;
        return nullptr;
    }
    auto* typed = dynamic_cast<OXAttributeTpl<T>*>(attribute);
    if (typed == nullptr || typed->GetValue() == nullptr) {
        result = wrongClass;
        return nullptr;
    }
    return typed->GetValue();
}
