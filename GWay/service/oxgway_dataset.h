// One of the five datasets of a gateway session ("application", "static",
// "measure", "action", "matetial"): the host's parameters of that group,
// ordered by id. The dataset owns its parameters.
#pragma once

#include <map>
#include <string>

class OxGWayParameter;
class OXObject;

class OxGWayDataSet {
  public:
    using Map = std::map<unsigned, OxGWayParameter*>;

    explicit OxGWayDataSet(const std::string& name) : name(name) {}
    virtual ~OxGWayDataSet() { Clear(); }
    OxGWayDataSet(const OxGWayDataSet&) = delete;
    // Takes the other's parameters over; the other is left empty.
    OxGWayDataSet& operator=(OxGWayDataSet&& other);

    const std::string& GetName() const { return name; }
    unsigned Count() const { return count; }
    // Takes ownership; false (and the parameter deleted) if the id is taken:
    // the first parameter of an id stays.
    bool Insert(OxGWayParameter& parameter);
    // Null if absent.
    OxGWayParameter* Find(unsigned id) const;
    // Deletes the parameters and leaves the dataset empty.
    void Clear();
    // Forgets the parameters without deleting them: their new owner has them.
    void Release();
    // The machine's objects are about to go: each parameter lets go of its
    // object.
    void COMDisconnected();
    // An object of the machine was deleted; its parameters let go of it.
    void ObjectGone(const OXObject& object);
    // The dataset text of a call: a header with the count, then "PID=value;"
    // per parameter in ascending id; false if it does not fit in size.
    bool Text(char* buffer, unsigned size, unsigned& length) const;

    Map::const_iterator begin() const { return parameters.begin(); }
    Map::const_iterator end() const { return parameters.end(); }

  private:
    std::string name;
    Map parameters;
    unsigned count = 0;
};
