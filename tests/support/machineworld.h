// The texts by which a fake controller hands over a small machine: the
// definitions, the machine object, the two serial number parts, the
// configuration state and two active alarms; six objects. Every object
// announces the total that the machine will send ("ObjectCount").
#pragma once

#include <string>
#include <vector>

inline std::vector<std::string> MachineWorld(long serialLow, long announcedCount = 6) {
    std::string n = std::to_string(announcedCount);
    return {
        "enum tagAccessRight { \"AR_USER\"=0, \"AR_ADMIN\"=1, \"AR_SERVICE\"=2, \"AR_RAD\"=3, "
        "\"AR_NON\"=4, };",
        "class Object { const number Id; number ObjectCount; };",
        "class Exception { number Code; string Text; };",
        "class Machine : Object { };",
        "class SerialPart : Object { number Value; };",
        "enum tagConfigState { \"NotConfigured\"=0, \"Configured\"=1, };",
        "class ConfigState : Object { tagConfigState Value; };",
        "class Alarm : Object { number AlarmType; string Text; number Priority; };",
        "new Machine(100, " + n + ");",
        "new SerialPart(124, " + n + ", 4711);",
        "new SerialPart(125, " + n + ", " + std::to_string(serialLow) + ");",
        "new ConfigState(401, " + n + ", 1);",
        "new Alarm(500, " + n + ", 3, \"Low level\", 1);",
        "new Alarm(501, " + n + ", 4, \"Door open\", 2);",
    };
}
