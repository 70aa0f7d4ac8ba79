// The initializers of an enum definition.
#pragma once

#include "oxexpression.h"
#include "oxparsernode.h"

#include <map>
#include <string>
#include <vector>

class OXEnumInitializer : public OXParserNode {
  public:
    OXEnumInitializer(OXParserNodeManager* manager, OXParserString* name, OXParserNumber* value);
    ~OXEnumInitializer() override;
    void Rollback() override;
    const std::string& GetName() const { return pName->GetValue(); }
    int GetValue() const { return OXDoubleToInt(pValue->GetValue()); }

  private:
    OXParserString* pName;
    OXParserNumber* pValue;
};

class OXEnumInitializerList : public OXParserNode {
  public:
    OXEnumInitializerList(OXParserNodeManager* manager, OXEnumInitializer* first);
    ~OXEnumInitializerList() override;
    void Rollback() override;

    // A second initializer of a value already present is dropped.
    void Add(OXEnumInitializer* initializer);
    int Count() const { return static_cast<int>(order.size()); }
    // The text of a value, or null.
    const std::string* LookupEnumStr(int value) const;
    // The value of a text, or -1.
    int LookupEnumVal(const std::string& name) const;
    // By position of writing, or null.
    const OXEnumInitializer* GetEnumInitializer(int index) const;

  private:
    // Values below kDenseLimit are also found by index: an enum value is
    // looked up on every update that writes one, and most enums count 0, 1,
    // 2 and so on.
    static constexpr int kDenseLimit = 256;
    std::map<int, OXEnumInitializer*> initializers;
    std::vector<const OXEnumInitializer*> dense;
    std::vector<int> order;
};
