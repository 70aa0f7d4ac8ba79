// The commands that the gateway sends to the machine on behalf of its
// clients: parameter changes, outputs, motors, device overrides, refreshes,
// functions and alarm replies. The exe ids 5 to 102 are fixed per command;
// the machine answers through ResultReceived and ExceptionReceived.
#include "mdieditlink.h"
#include "oxconn.h"
#include "oxobjectmanager.h"
#include "runprogram.h"
#include "testprint.h"

#include <iomanip>
#include <sstream>

namespace {

// The object number of OI_FUNCTION_DIRECT_COMPUTER: the machine switches to
// a directly connected computer, which needs the board's DHCP server.
constexpr int kDirectComputerFunction = 28039;

}  // namespace

void OxConnection::ChangeParm(double value, int id) {
    TestPrintF(32, "ChangeParm\n");
    std::ostringstream text;
    text << "exe 5 $" << id << ".201(" << std::setprecision(15) << value << ");";
    if (link == nullptr || !link->TransmitCommand(text.str()))
        TestPrintF(4, "internal! (ChangeParm, transmit discarded)\n");
}

void OxConnection::SetDevice(int id, tagOverride override, double value) {
    const char* name;
    int method;
    switch (override) {
        case OV_ON:
            name = "true";
            method = 201;
            break;
        case OV_OFF:
            name = "false";
            method = 202;
            break;
        default:
            name = "release";
            method = 203;
            break;
    }
    TestPrintF(32, "Set Device, id=%d, override=%s, value=%f\n", id, name, value);
    std::ostringstream text;
    text << "exe 8 $" << id << "." << method << "(" << std::setprecision(15) << value << ");";
    if (link == nullptr || !link->TransmitCommand(text.str()))
        TestPrintF(4, "internal! (SetDevice, transmit discarded)\n");
}

void OxConnection::SetOutput(bool on, int id) {
    TestPrintF(32, "Change output, id=%d, val=%d\n", id, on ? 1 : 0);
    std::ostringstream text;
    text << "exe 6 $" << id << "." << (on ? 201 : 202) << ";";
    if (link == nullptr || !link->TransmitCommand(text.str()))
        TestPrintF(4, "internal! (SetOutput, transmit discarded)\n");
}

void OxConnection::ForceUpdate(int id) {
    TestPrintF(32, "ForceUpdate, id=%d\n", id);
    std::ostringstream text;
    text << "exe 9 $" << id << ".204;";
    if (link == nullptr || !link->TransmitCommand(text.str()))
        TestPrintF(4, "internal! (ForceUpdate, transmit discarded)\n");
}

void OxConnection::SetMotor(bool start, int id, int speed) {
    TestPrintF(32, "Set Motor, id=%d, start=%d\n", id, start ? 1 : 0);
    std::ostringstream text;
    // A stop has no argument list at all.
    if (start)
        text << "exe 7 $" << id << ".201(" << speed << ");";
    else
        text << "exe 7 $" << id << ".202;";
    if (link == nullptr || !link->TransmitCommand(text.str()))
        TestPrintF(4, "internal (SetMotor, transmit discarded)\n");
}

void OxConnection::ExecuteFunction(int id, int action, std::vector<double>& args) {
    if (id == kDirectComputerFunction) {
        OXObject* object = GetObjectManager().Lookup(action);
        if (object == nullptr) {
            TestPrintF(4, "OI_FUNCTION_DIRECT_COMPUTER supplied action=%d that was not found!\n",
                       action);
        } else {
            double device = object->GetNumber("dId");
            if (device == 27 || device == 51) {
                RunProgram program(false);
                if (!program.Run("start-udhcpd"))
                    TestPrintF(0, "Failed start-udhcpd!!!\n");
            }
        }
    }
    std::ostringstream text;
    text << "exe 101 $" << id << ".100(" << action;
    for (double arg : args)
        text << "," << arg;
    text << ");";
    if (link == nullptr || !link->TransmitCommand(text.str()))
        TestPrintF(4, "internal! (ExecuteFunction, transmit discarded)\n");
}

void OxConnection::ReplyAlarm(int id, int reply) {
    TestPrintF(32, "Reply Alarm, id=%d, reply=%d\n", id, reply);
    std::ostringstream text;
    text << "exe 102 $" << id << ".100(" << reply << ");";
    if (link != nullptr)
        link->TransmitCommand(text.str());
}
