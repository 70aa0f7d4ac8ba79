#include "oxemailstatus.h"

#include "oxconf.h"

std::string OxEMailStatus::GetSubject(int account) const {
    return OxConfiguration::Instance()->GetEMailSubject(account) + "(S/N: " + serialNo + ")";
}

std::string OxEMailStatus::GetBody(int /*account*/) const {
    return statusText;
}
