// Table parameters of the machine's sections: the type of a section, which
// makes the section present for the host, and the status bits of a section,
// each set while an alarm of its kind stands.
#pragma once

#include "observer.h"
#include "oxgway_parameter.h"

#include <utility>
#include <vector>

class OxGWayParSectionType : public OxGWayParameter {
  public:
    static constexpr int kIds = 13;
    // Enabled only if the section object (none for id 0) and every non-zero
    // one of ids are in the table.
    OxGWayParSectionType(unsigned id, const std::string& name, const std::string& access,
                         long sectionId, int kind, const long ids[kIds], OXObjectManager& objects);
    long GetSectionId() const { return sectionId; }
    static OxGWayParameter* CreateFromStr(const char* line, OXObjectManager& objects,
                                          OXClassManager& classes);

  private:
    long sectionId;
};

class OxGWayParSectionStatus : public OxGWayParameter,
                               public ListObserver<OXObjectManager, OXObject> {
  public:
    // One bit: the (owner id, alarm type) pairs that set it, and how many
    // such alarms stand now.
    struct BitDefinition {
        std::vector<std::pair<long, int>> pairs;
        int count = 0;
    };
    OxGWayParSectionStatus(unsigned id, const std::string& name, const std::string& access,
                           OXObject* section, std::vector<BitDefinition> bits,
                           OXObjectManager& objects);
    ~OxGWayParSectionStatus() override;
    void NewObject(const OXObject& object) override { CheckBitDefinitions(object, +1); }
    void DeletedObject(const OXObject& object) override { CheckBitDefinitions(object, -1); }
    void COMDisconnected() override;
    static OxGWayParameter* CreateFromStr(const char* line, OXObjectManager& objects,
                                          OXClassManager& classes);

  private:
    void CheckBitDefinitions(const OXObject& object, int change);
    void CalculateBitMask();

    std::vector<BitDefinition> bits;
    OXObjectManager* objects;
};
