// Fuzz target: arbitrary text through the XML message dispatcher, once with
// the configuration store behind it and once with the empty handlers of the
// base, then through the attribute finder and the password coding.
#include "oxconf.h"
#include "oxxmlparser.h"

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A message arrives as a C string: it ends at the first NUL.
    std::string text(reinterpret_cast<const char*>(data), size);
    std::string message = text.substr(0, text.find('\0'));

    OxConfiguration cfg;
    cfg.Parse(message.c_str());
    OxXmlParser plain;
    plain.Parse(message.c_str());

    // Read back everything the document may have set.
    volatile unsigned long sink = 0;
    for (int port = 1; port <= OxConfiguration::MAX_PORTS; ++port) {
        OxConnectionCfg c = cfg.GetConnectionCfg(port);
        sink = sink + c.used + c.maxAgeDays + c.logAlarms;
    }
    for (int i = 0; i < cfg.ProcessorInfo_Count(); ++i)
        sink = sink + cfg.GetProcessorName(i).size() + cfg.GetProcessorPort(i);
    for (int i = 0; i < cfg.GetEMailAccounts(); ++i)
        sink = sink + cfg.GetEMailReceiver(i).size() + cfg.GetEMailAlarmType(i).size();
    OxConfiguration defaults;
    sink = sink + cfg.RestartNeeded(defaults) + cfg.GetNetworkPort() + cfg.GetServerPort();

    std::list<std::string> values;
    OxXmlParser::GetAttribList(message, "id", values);
    sink = sink + values.size() + OxXmlParser::GetAttrib(message, "id", true).size();

    if (OxConfiguration::Decode(OxConfiguration::Encode(message)) != message)
        __builtin_trap();
    sink = sink + OxConfiguration::Decode(message).size();
    (void)sink;
    return 0;
}
