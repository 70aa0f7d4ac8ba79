#include "oxgway_dataset.h"

#include "oxgway_parameter.h"

#include <cstdio>

OxGWayDataSet& OxGWayDataSet::operator=(OxGWayDataSet&& other) {
    if (this != &other) {
        Clear();
        name = other.name;
        parameters.swap(other.parameters);
        count = other.count;
        other.count = 0;
    }
    return *this;
}

bool OxGWayDataSet::Insert(OxGWayParameter& parameter) {
    if (!parameters.emplace(parameter.GetId(), &parameter).second) {
        delete &parameter;
        return false;
    }
    ++count;
    return true;
}

OxGWayParameter* OxGWayDataSet::Find(unsigned id) const {
    auto it = parameters.find(id);
    return it == parameters.end() ? nullptr : it->second;
}

void OxGWayDataSet::Clear() {
    for (auto& entry : parameters)
        delete entry.second;
    parameters.clear();
    count = 0;
}

void OxGWayDataSet::Release() {
    parameters.clear();
    count = 0;
}

void OxGWayDataSet::COMDisconnected() {
    for (auto& entry : parameters)
        entry.second->COMDisconnected();
}

void OxGWayDataSet::ObjectGone(const OXObject& object) {
    for (auto& entry : parameters)
        entry.second->ObjectGone(object);
}

bool OxGWayDataSet::Text(char* buffer, unsigned size, unsigned& length) const {
    int n = snprintf(buffer, size, "+%u.0;\r\n", count);
    if (n < 0 || static_cast<unsigned>(n) >= size)
        return false;
    length = n;
    for (const auto& entry : parameters) {
        n = snprintf(buffer + length, size - length, "%s=%s;\r\n", entry.second->GetPID().c_str(),
                     entry.second->GetValue().c_str());
        if (n < 0 || static_cast<unsigned>(n) >= size - length)
            return false;
        length += n;
    }
    return true;
}
