#include "oxgway_parsection.h"

#include "oxobject.h"
#include "oxobjectmanager.h"
#include "testprint.h"

#include <cstdio>
#include <cstring>
#include <string>

OxGWayParSectionType::OxGWayParSectionType(unsigned id, const std::string& name,
                                           const std::string& access, long sectionId, int kind,
                                           const long ids[kIds], OXObjectManager& objects)
    : OxGWayParameter(id, name, access), sectionId(sectionId) {
    if (sectionId != 0 && objects.Lookup(sectionId) == nullptr)
        enabled = false;
    for (int i = 0; i < kIds; ++i)
        if (ids[i] != 0 && objects.Lookup(ids[i]) == nullptr)
            enabled = false;
    value = GWayNumber(kind);
    min = "+0.0";
    max = kind >= 2 ? "+65536.0" : "+255.0";
    unit = "free";
}

OxGWayParameter* OxGWayParSectionType::CreateFromStr(const char* line, OXObjectManager& objects,
                                                     OXClassManager&) {
    std::string text = std::string(" ") + line;
    unsigned pid = 0;
    char name[101] = "";
    int level = 0, kind = 0;
    unsigned number = 0;
    long sectionId = 0;
    long ids[kIds] = {0};
    int fields = sscanf(
        text.c_str(),
        "%*[ \t]%u ; \" %100[^\"] \" ; %d.%u ; %ld ; %d ; %ld ; %ld ; %ld ; %ld ; %ld ; %ld ; "
        "%ld ; %ld ; %ld ; %ld ; %ld ; %ld ; %ld ;",
        &pid, name, &level, &number, &sectionId, &kind, &ids[0], &ids[1], &ids[2], &ids[3], &ids[4],
        &ids[5], &ids[6], &ids[7], &ids[8], &ids[9], &ids[10], &ids[11], &ids[12]);
    if (fields < 5 || (fields == 5 && sectionId != 0))
        return nullptr;
    if (!CheckAccessNumber(level, number) || kind < 0 || kind > 3)
        return nullptr;
    return new OxGWayParSectionType(pid, GWayString(name), GWayAccess(level, number), sectionId,
                                    kind, ids, objects);
}

OxGWayParSectionStatus::OxGWayParSectionStatus(unsigned id, const std::string& name,
                                               const std::string& access, OXObject* section,
                                               std::vector<BitDefinition> bitDefinitions,
                                               OXObjectManager& objects)
    : OxGWayParameter(id, name, access), bits(std::move(bitDefinitions)), objects(&objects) {
    min = "+0.0";
    max = "+255.0";
    unit = "free";
    value = "+0.0";
    enabled = section != nullptr && !bits.empty();
    TestPrintF(0x4000,
               enabled ? "GWay(_): StatusSection; %d; Enabled;\n"
                       : "GWay(_): StatusSection; %d; Disabled;\n",
               static_cast<int>(id));
    if (enabled)
        objects.Attach(*this, -1);
    else
        this->objects = nullptr;
}

OxGWayParSectionStatus::~OxGWayParSectionStatus() {
    COMDisconnected();
}

void OxGWayParSectionStatus::COMDisconnected() {
    if (objects != nullptr)
        objects->Detach(*this);
    objects = nullptr;
}

void OxGWayParSectionStatus::CheckBitDefinitions(const OXObject& object, int change) {
    if (object.GetClassName() != "Alarm")
        return;
    OXComplexObject* owner = object.GetReference("Owner");
    long ownerId = owner != nullptr ? owner->GetObjectId() : 0;
    int type = static_cast<int>(object.GetNumber("AlarmType"));
    TestPrintF(0x4000, "GWay(_): ObjChange; PID; O;T; %d; %d; %d\n", static_cast<int>(id),
               static_cast<int>(ownerId), type);
    bool changed = false;
    for (BitDefinition& bit : bits)
        for (const auto& pair : bit.pairs)
            if (pair.first == ownerId && pair.second == type) {
                bit.count += change;
                TestPrintF(0x4000, "GWay(_): ObjChange; PID; Check; %d; %d; %d\n",
                           static_cast<int>(id), static_cast<int>(ownerId), bit.count);
                changed = true;
            }
    if (changed)
        CalculateBitMask();
}

void OxGWayParSectionStatus::CalculateBitMask() {
    unsigned mask = 0;
    for (size_t i = 0; i < bits.size() && i < 32; ++i)
        if (bits[i].count > 0)
            mask |= 1u << i;
    value = GWayNumber(mask);
}

OxGWayParameter* OxGWayParSectionStatus::CreateFromStr(const char* line, OXObjectManager& objects,
                                                       OXClassManager&) {
    std::string text = std::string(" ") + line;
    unsigned pid = 0;
    char name[101] = "";
    int level = 0;
    unsigned number = 0;
    long sectionId = 0;
    if (sscanf(text.c_str(), "%*[ \t]%u ; \" %100[^\"] \" ; %d.%u ; %ld ;", &pid, name, &level,
               &number, &sectionId) != 5 ||
        !CheckAccessNumber(level, number))
        return nullptr;
    // The bits in parentheses behind the fields, separated by commas; pairs
    // "owner*type" of one bit are separated by "/".
    std::vector<BitDefinition> bits;
    size_t quote = text.rfind('"');
    size_t open = text.find('(', quote == std::string::npos ? 0 : quote);
    if (open != std::string::npos) {
        const char* p = text.c_str() + open + 1;
        BitDefinition bit;
        while (true) {
            int owner = 0, type = 0, used = 0;
            if (sscanf(p, " %d*%d%n", &owner, &type, &used) != 2)
                break;
            TestPrintF(0x4000, "GWay(_): StatusSectionBitDef; %u; %ld; %d\n", pid,
                       static_cast<long>(owner), type);
            bit.pairs.emplace_back(owner, type);
            p += used;
            while (*p == ' ' || *p == '\t')
                ++p;
            if (*p == '/') {
                ++p;
                continue;
            }
            bits.push_back(bit);
            bit = BitDefinition();
            if (*p != ',')
                break;
            ++p;
        }
    }
    return new OxGWayParSectionStatus(pid, GWayString(name), GWayAccess(level, number),
                                      objects.Lookup(sectionId), std::move(bits), objects);
}
