// Command 0x3006: the definitions of every parameter of every dataset that
// has entries, one block per dataset.
#pragma once

#include "oxgway_cmd_handler.h"

#include <map>
#include <string>

class OxGWayDataSet;

class OxGWayCommandCallIdentification : public OxGWayCommandHandler {
  public:
    static constexpr int kCode = 0x3006;
    OxGWayCommandCallIdentification(OxGWayBlockTransmitter& transmitter,
                                    const std::map<std::string, OxGWayDataSet*>& dataSets)
        : OxGWayCommandHandler(transmitter, kCode), dataSets(dataSets) {}
    bool ExecuteCommand(char* data, unsigned length) override;

  private:
    const std::map<std::string, OxGWayDataSet*>& dataSets;
};
