// A machine-sized world in the command language for the benchmarks: 20
// classes of 5 to 15 attributes (numbers with units, strings, enums,
// references, lists of numbers, lists of nested points) and 10,000 objects,
// announced by a root object with ObjectCount.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int kClasses = 20;
constexpr int kObjects = 10000;
constexpr int kUpdates = 100000;
constexpr long kFirstId = 1000;

int AttributeCount(int cls) {
    return 5 + cls % 11;
}  // 5 .. 15

// The shape of attribute a of class c: 0 number with unit, 1 string, 2 enum,
// 3 reference, 4 list of numbers, 5 list of nested points.
int Kind(int cls, int a) {
    return (cls + a) % 6;
}

// The definitions and the root object.
std::vector<std::string> World() {
    std::vector<std::string> texts = {
        "enum tagAccessRight { \"AR_USER\"=0, \"AR_ADMIN\"=1, \"AR_SERVICE\"=2, \"AR_RAD\"=3, "
        "\"AR_NON\"=4, };",
        "enum OnOff { \"Off\"=0, \"On\"=1, };",
        "class Object { const number Id; };",
        "class Point { number X; number Y; };",
        "class Exception { number Code; string Text; };",
        // The machine object answers the start conversation's calls.
        "class Machine : Object { number ObjectCount; 100 $ void Reset(); "
        "101 $ void RequestAll(number Since = -1); 102 $ void Attach(number Level {0..5}); "
        "109 $ number GetTime() : \"s\"; };",
    };
    for (int c = 0; c < kClasses; ++c) {
        std::string text = "class Device" + std::to_string(c) + " : Object { ";
        for (int a = 0; a < AttributeCount(c); ++a) {
            std::string name = " A" + std::to_string(a);
            switch (Kind(c, a)) {
                case 0:
                    text += "number" + name + " : \"mm\" * 1 / 10 ! AR_SERVICE; ";
                    break;
                case 1:
                    text += "string" + name + "; ";
                    break;
                case 2:
                    text += "OnOff" + name + "; ";
                    break;
                case 3:
                    text += "Object" + name + "; ";
                    break;
                case 4:
                    text += "list<number>" + name + "; ";
                    break;
                default:
                    text += "list<Point>" + name + "; ";
                    break;
            }
        }
        texts.push_back(text + "};");
    }
    // The machine announces the count: the classes' objects plus itself.
    texts.push_back("new Machine(100, " + std::to_string(kObjects + 1) + ");");
    return texts;
}

// The values of one object of class c, after its number.
std::string Values(int c, long id, int round) {
    std::string text;
    char number[32];
    for (int a = 0; a < AttributeCount(c); ++a) {
        text += ", ";
        switch (Kind(c, a)) {
            case 0:
                // Integers only: fractions come from the unit divisor.
                snprintf(number, sizeof number, "%d5", static_cast<int>(id % 1000) + round);
                text += number;
                break;
            case 1:
                text += "\"Device " + std::to_string(id) + " state " + std::to_string(round) + "\"";
                break;
            case 2:
                text += std::to_string((id + round) % 2);
                break;
            case 3:
                text += "@100";
                break;
            case 4:
                text += "(1, 2, 3, " + std::to_string(round) + ")";
                break;
            default:
                text += "(Point(1, 2), Point(3, " + std::to_string(round) + "))";
                break;
        }
    }
    return text;
}

// The whole transfer: definitions, root, then every object.
[[maybe_unused]] std::vector<std::string> TransferTexts() {
    std::vector<std::string> texts = World();
    for (long i = 0; i < kObjects; ++i) {
        long id = kFirstId + i;
        int c = static_cast<int>(i % kClasses);
        texts.push_back("new Device" + std::to_string(c) + "(" + std::to_string(id) +
                        Values(c, id, 0) + ");");
    }
    return texts;
}

}  // namespace
