// The controller's side of the link: what the simulated machine answers to
// each exe command of the gateway, and the changes a script makes to its world.
// Works on texts only; the sockets are the caller's.
#pragma once

#include "exe.h"
#include "world.h"

#include <string>
#include <vector>

namespace torcsim {

// Codes of the exc answers.
enum ExcCode {
    EXC_UNKNOWN_OBJECT = 1,
    EXC_NO_FUNCTION = 2,
    EXC_BAD_ARGUMENTS = 3,
    EXC_OUT_OF_RANGE = 4,
    EXC_NOT_SUPPORTED = 5,
    EXC_MALFORMED = 6,
    EXC_DISABLED = 7,
};

// Object numbers with a fixed meaning on the link.
constexpr long kMachineObject = 100;

struct Reply {
    std::vector<std::string> texts;  // to send, in order
    bool attached = false;           // the gateway has attached to the objects
    bool detached = false;           // the gateway has reset its connection
    bool restart = false;            // the machine boots: close the link after sending
    std::string note;                // a remark for the user, if any
};

class Controller {
  public:
    explicit Controller(World& world) : world_(world) {}

    // Answers one text received from the gateway. Never fails: what cannot be
    // understood is answered by exc or passed over with a note.
    Reply Handle(const std::string& text);

    // Script actions. Each returns false with a message in error, or true with
    // the text to send in text (empty when the gateway is not to be told).
    bool Set(long id, const std::string& attr, const std::string& value, std::string& text,
             std::string& error);
    bool Update(long id, std::string& text, std::string& error);
    bool Raise(long id, std::string& text, std::string& error);
    bool Clear(long id, std::string& text, std::string& error);

  private:
    Reply Exe(const ExeCall& call);
    Reply Exc(unsigned long exeId, int code, const std::string& message) const;
    static std::string Res(unsigned long exeId, const std::string& value = "0");
    // Checks a new value of the attribute "Value" as the gateway sends it
    // (in the unit the clients see) and gives the machine's raw number.
    int CheckParameter(const Object& object, double value, long long& raw,
                       std::string& error) const;
    // Pairs of object number and value, as datasets and restores send them.
    bool Pairs(const ExeCall& call, std::vector<std::pair<Object*, double>>& pairs,
               std::string& error);
    bool SetNumber(Object& object, const std::string& attr, long long value);

    Reply SetParameter(const ExeCall& call, Object& object);
    Reply SetOutput(const ExeCall& call, Object& object);
    Reply SetMotor(const ExeCall& call, Object& object);
    Reply SetOverride(const ExeCall& call, Object& object);
    Reply RunFunction(const ExeCall& call, Object& object);
    Reply ReplyAlarm(const ExeCall& call, Object& object);
    Reply Dataset(const ExeCall& call);
    Reply Restore(const ExeCall& call);

    World& world_;
};

}  // namespace torcsim
