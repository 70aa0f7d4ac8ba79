#include "oxsaveparmsvisitor.h"

#include "oxattribute.h"
#include "oxobject.h"
#include "testprint.h"

#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <iomanip>
#include <sys/stat.h>
#include <unistd.h>

OXSaveParmsVisitor::OXSaveParmsVisitor(const char* file) {
    TestPrintF(2, "OXSaveParmsVisitor(%.300s)\n", file);
    mode_t old = umask(0);
    int fd = ::open(file, O_WRONLY | O_CREAT | O_TRUNC, 0664);
    umask(old);
    if (fd >= 0)
        ::close(fd);
    out.open(file, std::ios::out | std::ios::trunc);
    out << "#HMP Version 1.0\n";
}

OXSaveParmsVisitor::~OXSaveParmsVisitor() {
    out << "#Checksum: " << std::setprecision(15) << checksum << "\n";
    out.close();
    TestPrintF(2, "~OXSaveParmsVisitor()\n");
}

void OXSaveParmsVisitor::Visit(OXComplexObject* object) {
    if (object == nullptr)
        return;
    const std::string& className = object->GetClassName();
    if (className == "NumParameter" && object->GetNumberAttr("Value") != nullptr)
        NumParameter(*object);
    else if (className == "SetParameter" && object->GetEnumAttr("Value") != nullptr)
        SetParameter(*object);
}

void OXSaveParmsVisitor::Section(const OXObject& object) {
    double section = object.GetNumber("Section");
    if (section > 0)
        out << "S" << section << " -> ";
}

void OXSaveParmsVisitor::NumParameter(const OXObject& object) {
    OXAttribute* value = object.GetNumberAttr("Value");
    long mul = value->GetUnitMul();
    long div = value->GetUnitDiv();
    double id = object.GetNumber("Id");
    // Back to the machine's own scale: the reader of the store scaled it.
    double written = object.GetNumber("Value") * static_cast<double>(div) /
                     static_cast<double>(mul != 0 ? mul : 1);
    out << std::setprecision(6) << id << "," << std::setprecision(15) << written << ", ";
    out << std::setprecision(6) << "# ";
    Section(object);
    out << object.GetString("Name") << " (";
    if (mul != 1 || div != 1)
        out << mul << "/" << div << " ";
    out << object.GetString("Unit") << ") ";
    double defaultValue = object.GetNumber("Default");
    if (defaultValue != object.GetNumber("Value"))
        out << " [Def: " << defaultValue << "]";
    out << "\n";
    checksum += id + written;
}

void OXSaveParmsVisitor::SetParameter(const OXObject& object) {
    double id = object.GetNumber("Id");
    int value = object.GetEnum("Value");
    out << std::setprecision(6) << id << "," << value << ", # ";
    Section(object);
    OXEnumObject* text = object.GetEnumObject("Value");
    out << object.GetString("Name") << " ("
        << (text != nullptr && text->GetEnumStr() != nullptr ? *text->GetEnumStr() : "") << ") ";
    int defaultValue = object.GetEnum("Default");
    if (defaultValue != value) {
        OXEnumObject* def = object.GetEnumObject("Default");
        out << " [Def: "
            << (def != nullptr && def->GetEnumStr() != nullptr ? *def->GetEnumStr() : "") << " ("
            << defaultValue << ")]";
    }
    out << "\n";
    checksum += id + value;
}

HMParCheckSumChecker::HMParCheckSumChecker(const std::string& text) {
    std::vector<std::string> lines;
    HMTokenize(text, lines, "\n");
    for (const std::string& line : lines) {
        int a, b;
        if (sscanf(line.c_str(), " #HMP Version %d.%d", &a, &b) == 2) {
            major = a;
            minor = b;
        }
        double checksum;
        if (sscanf(line.c_str(), " #Checksum: %lf", &checksum) == 1 && !std::isnan(checksum)) {
            valid = sum > checksum - 0.01 && sum < checksum + 0.01;
            fileChecksum = checksum;
            break;
        }
        double id, value;
        if (sscanf(line.c_str(), " %lf , %lf", &id, &value) == 2 && !std::isnan(id) &&
            !std::isnan(value)) {
            sum += id + value;
            char pair[700];
            snprintf(pair, sizeof pair, "%.0lf,%.0lf,", id, value);
            commands += pair;
        }
    }
}

void HMTokenize(const std::string& text, std::vector<std::string>& tokens,
                const std::string& delimiters) {
    std::string::size_type start = text.find_first_not_of(delimiters);
    while (start != std::string::npos) {
        std::string::size_type end = text.find_first_of(delimiters, start);
        tokens.push_back(text.substr(start, end == std::string::npos ? end : end - start));
        start = text.find_first_not_of(delimiters, end);
    }
}
