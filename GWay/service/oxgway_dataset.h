// One of the five datasets of a gateway session ("application", "static",
// "measure", "action", "matetial"): the host's parameters of that group,
// ordered by id.
//
// The parameter types and the table that fills the datasets are built
// later; until then a dataset has its name and no entries.
#pragma once

#include <string>

class OxGWayDataSet {
  public:
    explicit OxGWayDataSet(const std::string& name) : name(name) {}
    virtual ~OxGWayDataSet() { Clear(); }
    OxGWayDataSet(const OxGWayDataSet&) = default;
    OxGWayDataSet& operator=(const OxGWayDataSet&) = default;

    const std::string& GetName() const { return name; }
    unsigned Count() const { return count; }
    // Deletes the parameters and leaves the dataset empty.
    void Clear();
    // The machine's objects are about to go: each parameter lets go of its
    // object.
    void COMDisconnected();

  private:
    std::string name;
    unsigned count = 0;
};
