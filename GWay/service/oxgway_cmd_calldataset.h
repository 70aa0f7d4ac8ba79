// Commands 0x4010-0x4018 and 0x4056-0x4060: the text of one dataset, a
// header with the number of entries and "PID=value;" per parameter.
#pragma once

#include "oxgway_cmd_handler.h"

#include <string>

class OxGWayDataSet;

class OxGWayCommandCallDataset : public OxGWayCommandHandler {
  public:
    // kind, "data" or "defaults", names the handler in messages.
    OxGWayCommandCallDataset(OxGWayBlockTransmitter& transmitter, int code, const char* kind,
                             OxGWayDataSet& dataSet)
        : OxGWayCommandHandler(transmitter, code), kind(kind), dataSet(dataSet) {}
    bool ExecuteCommand(char* data, unsigned length) override;

  private:
    std::string kind;
    OxGWayDataSet& dataSet;
};
