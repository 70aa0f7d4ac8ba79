// The status report of a machine, for one account: its subject is the
// account's subject with the serial number, its body the report itself.
#pragma once

#include "oxemaildata.h"

#include <string>
#include <utility>

class OxEMailStatus : public OxEMailData {
  public:
    OxEMailStatus(int emailIndex, std::string statusText, std::string serialNo)
        : emailIndex(emailIndex),
          statusText(std::move(statusText)),
          serialNo(std::move(serialNo)) {}

    std::string GetSubject(int account) const override;
    std::string GetBody(int account) const override;

    const std::string& GetStatusText() const { return statusText; }
    int GetEmailIndex() const { return emailIndex; }

  private:
    int emailIndex;
    std::string statusText;
    std::string serialNo;
};
