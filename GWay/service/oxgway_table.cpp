#include "oxgway_table.h"

#include "oxconf.h"
#include "oxgway_dialogvisitor.h"
#include "oxgway_parameter.h"
#include "oxgway_parobject.h"
#include "oxgway_parsection.h"
#include "oxgway_session.h"
#include "oxobjectmanager.h"
#include "testprint.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

namespace {
constexpr unsigned kSectionBase = 29100;
constexpr unsigned kSectionSpan = 20;
constexpr unsigned kSections = 6;
constexpr unsigned kUnshifted = 29010;
constexpr unsigned kAlarmBase = 29700;
constexpr int kAlarmSlots = 50;
}  // namespace

OxGWayTable::OxGWayTable(int sessionId, DataSets& dataSets, OXObjectManager& objects,
                         OXClassManager& classes, OxConnection* connection)
    : sessionId(sessionId),
      dataSets(dataSets),
      objects(objects),
      classes(classes),
      connection(connection),
      factory(Factory()) {}

std::map<std::string, OxGWayTable::CreateParameter> OxGWayTable::Factory() {
    return {{"Variable", &OxGWayParVariable::CreateFromStr},
            {"SectionStatus", &OxGWayParSectionStatus::CreateFromStr},
            {"SectionType", &OxGWayParSectionType::CreateFromStr},
            {"ParameterSet", &OxGWayParParameterSet::CreateFromStr},
            {"OLPProgram", &OxGWayParOLPProgram::CreateFromStr},
            {"Language", &OxGWayParLanguage::CreateFromStr},
            {"ParameterEnum", &OxGWayParParameterSetEnum::CreateFromStr},
            {"NumParameter", &OxGWayParNumParameter::CreateFromStr},
            {"TempDevice", &OxGWayParTempDevice::CreateFromStr}};
}

std::string OxGWayTable::ChooseMapFile() {
    OxConfiguration* cfg = OxConfiguration::Instance();
    std::string a = cfg->MakeAbsPath("/usr/torc2/gway_map.txt");
    std::string b = cfg->MakeAbsPath("/etc/torc2/gway_map.txt");
    std::string c = cfg->MakeAbsPath("/home/service/gway_map.txt");
    std::string va = GetCfgVersion(a), vb = GetCfgVersion(b), vc = GetCfgVersion(c);
    if (va < vb)
        return vb < vc ? c : b;
    return va < vc ? c : a;
}

OxGWayDataSet* OxGWayTable::DataSet(const std::string& name) const {
    auto it = dataSets.find(name);
    return it == dataSets.end() ? nullptr : it->second;
}

bool OxGWayTable::CreateParametersFromFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in.good()) {
        TestPrintF(4, "GWay(%d): Error: Unable to open %s parameter map file\n", sessionId,
                   path.c_str());
        return false;
    }
    TestPrintF(0x2000, "GWay(%d): Info: Using definitions from %s\n", sessionId, path.c_str());
    std::ostringstream all;
    all << in.rdbuf();
    std::string text = all.str();
    if (text.empty()) {
        TestPrintF(4, "GWay(%d): Error: Parameter map file empty; %s\n", sessionId, path.c_str());
        return false;
    }
    text.pop_back();
    for (char& c : text)
        if (c == '\r')
            c = ' ';

    int lineNumber = 1;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        std::string line = text.substr(start, end - start);
        start = end + 1;
        ++lineNumber;

        char first[2];
        if (line.compare(0, 2, "//") == 0 || sscanf(line.c_str(), " %1[^ \t]", first) != 1)
            continue;
        char setName[41] = "", type[41] = "";
        int words = sscanf(line.c_str(), "%40[^: \t] : %40[^; \t] ;", setName, type);
        if (words < 2) {
            if (strcmp(setName, "#EndOfSections") == 0)
                ShiftSectionToLeft();
            else if (strcmp(setName, "#Version") != 0)
                TestPrintF(4,
                           "GWay(%d): Error in dataset name or parameter type in %s at line %d\n",
                           sessionId, path.c_str(), lineNumber + 1);
            continue;
        }
        OxGWayDataSet* set = DataSet(setName);
        if (set == nullptr) {
            TestPrintF(4, "GWay(%d): Error: Unknown dataset in %s at line %d\n", sessionId,
                       path.c_str(), lineNumber);
            continue;
        }
        auto maker = factory.find(type);
        if (maker == factory.end()) {
            TestPrintF(4, "GWay(%d): Error: Unknown type in %s at line %d\n", sessionId,
                       path.c_str(), lineNumber);
            continue;
        }
        size_t semicolon = line.find(';');
        if (semicolon == std::string::npos) {
            TestPrintF(4, "GWay(%d): Error: Missing argument in %s at line %d\n", sessionId,
                       path.c_str(), lineNumber);
            continue;
        }
        const char* arguments = line.c_str() + semicolon + 1;
        OxGWayParameter* parameter = maker->second(arguments, objects, classes);
        if (parameter == nullptr) {
            TestPrintF(4, "GWay(%d): Error in arguments in %s at line %d\n", sessionId,
                       path.c_str(), lineNumber);
            continue;
        }
        if (!parameter->IsEnabled()) {
            TestPrintF(0x2000, "GWay(%d): Parameter not enabled; GWayID; %d;\n", sessionId,
                       static_cast<int>(parameter->GetId()));
            delete parameter;
            continue;
        }
        unsigned id = parameter->GetId();
        set->Insert(*parameter);
        bool named = (set->GetName() == "measure" && id >= 29400 && id <= 29419) ||
                     (set->GetName() == "static" && id >= 29300 && id <= 29379);
        if (named) {
            OxGWayParameter* name = OxGWayParObjectName::CreateFromStr(arguments, objects, classes);
            if (name != nullptr)
                DataSet("static")->Insert(*name);
        }
    }
    return true;
}

std::vector<unsigned> OxGWayTable::CollectSectionIds() const {
    std::vector<unsigned> ids;
    for (const auto& entry : *DataSet("static")) {
        auto* type = dynamic_cast<OxGWayParSectionType*>(entry.second);
        if (type != nullptr && type->IsEnabled())
            ids.push_back(entry.first);
    }
    return ids;
}

void OxGWayTable::ShiftSectionToLeft() {
    bool present[kSections] = {false};
    for (const auto& entry : *DataSet("static")) {
        if (dynamic_cast<OxGWayParSectionType*>(entry.second) == nullptr)
            continue;
        unsigned index = (entry.first - kSectionBase) / kSectionSpan;
        if (index < kSections)
            present[index] = true;
        else if (index != kSections)
            TestPrintF(4, "GWay(_): Error: Section PID to big\n");
    }
    unsigned shift[kSections];
    unsigned absent = 0;
    for (unsigned i = 0; i < kSections; ++i) {
        shift[i] = absent;
        if (!present[i])
            ++absent;
    }
    for (auto& named : dataSets) {
        OxGWayDataSet moved(named.first);
        OxGWayDataSet& old = *named.second;
        std::vector<OxGWayParameter*> parameters;
        for (const auto& entry : old)
            parameters.push_back(entry.second);
        for (OxGWayParameter* parameter : parameters) {
            unsigned id = parameter->GetId();
            if (!(id == kUnshifted && named.first == "measure")) {
                unsigned index = (id - kSectionBase) / kSectionSpan;
                if (index < kSections)
                    parameter->SetId(id - shift[index] * kSectionSpan,
                                     std::to_string(index - shift[index] + 1));
                else if (index != kSections)
                    TestPrintF(4, "GWay(_): Error: PID to big\n");
            }
        }
        // The parameters change hands: the old dataset must not delete them.
        old.Release();
        for (OxGWayParameter* parameter : parameters)
            moved.Insert(*parameter);
        old = std::move(moved);
    }
    long none[OxGWayParSectionType::kIds] = {0};
    for (unsigned index = 0; index <= kSections; ++index) {
        std::string label = std::to_string(index + 1);
        DataSet("static")->Insert(*new OxGWayParSectionType(kSectionBase + 1 + kSectionSpan * index,
                                                            "OLP Section " + label + " Type",
                                                            "-3.3", 0, 0, none, objects));
    }
}

void OxGWayTable::CreateAlarmParameters() {
    OxGWayDataSet* measure = DataSet("measure");
    char name[40];
    for (int n = 0; n < kAlarmSlots; ++n) {
        unsigned base = kAlarmBase + 5 * n;
        snprintf(name, sizeof name, "Alarm %d UserId", n + 1);
        measure->Insert(
            *new OxGWayParVariable(base, name, "-4.1", "+0.0", "+0.0", "+100000.0", "free"));
        snprintf(name, sizeof name, "Alarm %d Actions", n + 1);
        measure->Insert(*new OxGWayParVariable(base + 1, name, "-4.1", "", "0 char", "200 chars",
                                               "ASCII String"));
        snprintf(name, sizeof name, "Alarm %d Help Url", n + 1);
        measure->Insert(*new OxGWayParVariable(base + 2, name, "-4.1", "", "0 char", "100 chars",
                                               "ASCII String"));
        snprintf(name, sizeof name, "Alarm %d Execute", n + 1);
        measure->Insert(*new OxGWayParAlarmExe(base + 3, name, "-4.4", "", "0 char", "200 chars",
                                               "ASCII String", connection));
    }
}

int OxGWayTable::CreateFunctionParameters(const std::map<long, OXObject*>* runningTasks,
                                          const std::string& serverIp) {
    OXDialogVisitor visitor(*DataSet("static"), *DataSet("measure"), objects, runningTasks,
                            serverIp, connection);
    objects.Visit(visitor);
    return visitor.GetTaskCount();
}
