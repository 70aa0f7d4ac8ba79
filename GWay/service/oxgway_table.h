// Builds the host's parameter table of one session into its five datasets:
// the definitions of gway_map.txt, the squeezing of absent sections, and
// the generated alarm slots. The session calls it on each entry into the
// state Connected.
#pragma once

#include "oxgway_dataset.h"

#include <map>
#include <string>
#include <vector>

class OXObject;
class OXObjectManager;
class OXClassManager;
class OxConnection;
class OxGWayParameter;

class OxGWayTable {
  public:
    // Makes one table parameter from the text of its map line.
    typedef OxGWayParameter* (*CreateParameter)(const char* line, OXObjectManager& objects,
                                                OXClassManager& classes);
    using DataSets = std::map<std::string, OxGWayDataSet*>;

    OxGWayTable(int sessionId, DataSets& dataSets, OXObjectManager& objects,
                OXClassManager& classes, OxConnection* connection);

    // Type word of a map line to the maker of its class.
    static std::map<std::string, CreateParameter> Factory();
    // The map file with the highest version of the three places.
    static std::string ChooseMapFile();

    // False only if the file cannot be read or is empty; a bad line is
    // reported and skipped.
    bool CreateParametersFromFile(const std::string& path);
    // Moves the parameters of the sections after an absent one down, so that
    // the host sees sections numbered from 1 without gaps.
    void ShiftSectionToLeft();
    // The ids of the enabled section types of "static", in id order.
    std::vector<unsigned> CollectSectionIds() const;
    // The 50 alarm slots of "measure".
    void CreateAlarmParameters();
    // The task parameters of the machine's function objects; the number of
    // tasks. runningTasks may be null where no session is at hand.
    int CreateFunctionParameters(const std::map<long, OXObject*>* runningTasks,
                                 const std::string& serverIp);

  private:
    OxGWayDataSet* DataSet(const std::string& name) const;

    int sessionId;
    DataSets& dataSets;
    OXObjectManager& objects;
    OXClassManager& classes;
    OxConnection* connection;
    std::map<std::string, CreateParameter> factory;
};
