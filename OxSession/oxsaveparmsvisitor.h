// Parameter files ("HMP"): the visitor that writes a machine's parameter
// values as a readable text file with a running checksum, and the checker
// that turns such a file back into the argument list of the restore command.
//
//   #HMP Version 1.0
//   2001,125, # S3 -> Tank temperature (1/10 C)  [Def: 10]
//   2002,1, # Mode (Auto)  [Def: Manual (0)]
//   #Checksum: 4129
#pragma once

#include "oxobjectvisitor.h"

#include <fstream>
#include <string>
#include <vector>

class OXObject;

class OXSaveParmsVisitor : public OXObjectVisitor {
  public:
    // Creates (or empties) the file with permissions 664 and writes the
    // first line.
    explicit OXSaveParmsVisitor(const char* file);
    // Writes the checksum line and closes the file.
    ~OXSaveParmsVisitor() override;

    // One line for a "NumParameter" or "SetParameter"; others write nothing.
    void Visit(OXComplexObject* object) override;
    void Visit(OXListObject*) override {}
    void Visit(OXEnumObject*) override {}
    void Visit(OXNumberObject*) override {}
    void Visit(OXStringObject*) override {}

    double GetChecksum() const { return checksum; }
    bool IsGood() const { return out.good(); }

  private:
    void Section(const OXObject& object);
    void NumParameter(const OXObject& object);
    void SetParameter(const OXObject& object);

    std::ofstream out;
    double checksum = 0;
};

// Checks a parameter file: its checksum line against the sum of the numbers
// of its data lines, and collects those numbers, rounded, as "id,value,..."
// for the restore command.
class HMParCheckSumChecker {
  public:
    explicit HMParCheckSumChecker(const std::string& text);

    bool valid = false;
    int major = 0;
    int minor = 0;
    double fileChecksum = 0;
    double sum = 0;
    std::string commands;
};

// Splits text at any of the delimiter characters, leaving out empty pieces.
void HMTokenize(const std::string& text, std::vector<std::string>& tokens,
                const std::string& delimiters);
