// A mail job: what the e-mail task sends to each account that takes it.
// Subject and body are made per account, since the templates are the
// account's.
#pragma once

#include <string>

class OxEMailData {
  public:
    virtual ~OxEMailData() = default;
    virtual std::string GetSubject(int /*account*/) const { return std::string(); }
    virtual std::string GetBody(int /*account*/) const { return std::string(); }
};
