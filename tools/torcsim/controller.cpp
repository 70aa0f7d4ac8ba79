#include "controller.h"

#include <cmath>
#include <ctime>

namespace torcsim {

namespace {

constexpr double kLargestRaw = 9.0e15;

std::string Number(double v) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%g", v);
    return buffer;
}

bool Integral(double v) {
    return std::isfinite(v) && std::fabs(v) < kLargestRaw;
}

}  // namespace

std::string Controller::Res(unsigned long exeId, const std::string& value) {
    return "res " + std::to_string(exeId) + " : " + value + ";";
}

Reply Controller::Exc(unsigned long exeId, int code, const std::string& message) const {
    Reply r;
    r.texts.push_back("exc " + std::to_string(exeId) + " : " +
                      world_.ExceptionValue(code, message) + ";");
    return r;
}

Reply Controller::Handle(const std::string& text) {
    ExeCall call = ParseExe(text);
    if (!call.hasId) {
        Reply r;
        r.note = "passed over: " + call.error;
        return r;
    }
    if (!call.ok)
        return Exc(call.exeId, EXC_MALFORMED, "malformed command: " + call.error);
    return Exe(call);
}

Reply Controller::Exe(const ExeCall& call) {
    const unsigned long id = call.exeId;
    Object* object = world_.Find(call.objectId);
    if (object == nullptr || !object->active)
        return Exc(id, EXC_UNKNOWN_OBJECT,
                   "object " + std::to_string(call.objectId) + " does not exist");
    if (!world_.DeclaresFunction(*object, call.method))
        return Exc(id, EXC_NO_FUNCTION,
                   "object " + std::to_string(call.objectId) + " has no function " +
                       std::to_string(call.method));
    const bool machine = call.objectId == kMachineObject;
    // The number of an exe below 1000 names the command; from 1000 on the
    // number only pairs the result with its command.
    auto mismatch = [&]() {
        return Exc(id, EXC_NOT_SUPPORTED,
                   "exe " + std::to_string(id) + " does not call " + std::to_string(call.objectId) +
                       "." + std::to_string(call.method));
    };
    if (id >= 1000) {
        if (!machine)
            return mismatch();
        if (call.method == 110)
            return Reply{{Res(id)}, false, false, false, "restore prepared"};
        if (call.method == 107)
            return Restore(call);
        if (call.method == 105)
            return Dataset(call);
        return mismatch();
    }
    switch (id) {
        case 1:
            if (machine && call.method == 101) {
                Reply r;
                r.texts = world_.TransferTexts();
                r.texts.push_back(Res(id));
                return r;
            }
            return mismatch();
        case 2:
            if (machine && call.method == 102) {
                Reply r;
                r.texts.push_back(Res(id));
                r.attached = true;
                return r;
            }
            return mismatch();
        case 3:
        case 4:
            if (machine && call.method == 100) {
                Reply r;
                r.texts.push_back(Res(id));
                r.detached = id == 3;
                return r;
            }
            return mismatch();
        case 11:
            if (machine && call.method == 109)
                return Reply{{Res(id, std::to_string(static_cast<long long>(std::time(nullptr))))},
                             false,
                             false,
                             false,
                             ""};
            return mismatch();
        case 5:
            return call.method == 201 ? SetParameter(call, *object) : mismatch();
        case 6:
            return SetOutput(call, *object);
        case 7:
            return SetMotor(call, *object);
        case 8:
            if (machine && call.method == 106) {
                if (!call.args.empty())
                    return Exc(id, EXC_BAD_ARGUMENTS, "the boot takes no arguments");
                Reply r;
                r.texts.push_back(Res(id));
                r.restart = true;
                r.note = "the machine boots";
                return r;
            }
            return SetOverride(call, *object);
        case 9:
            if (call.method == 204)
                return Reply{{world_.UpdText(*object), Res(id)}, false, false, false, ""};
            return mismatch();
        case 101:
            return call.method == 100 ? RunFunction(call, *object) : mismatch();
        case 102:
            return call.method == 100 ? ReplyAlarm(call, *object) : mismatch();
        default:
            return Exc(id, EXC_NOT_SUPPORTED, "exe " + std::to_string(id) + " is not supported");
    }
}

int Controller::CheckParameter(const Object& object, double value, long long& raw,
                               std::string& error) const {
    const std::string name = std::to_string(object.id);
    int index = world_.AttrIndex(object, "Value");
    AttrKind kind = world_.AttrKindOf(object, index);
    if (index < 0 || (kind != AttrKind::Number && kind != AttrKind::Enum)) {
        error = "object " + name + " has no number Value";
        return EXC_BAD_ARGUMENTS;
    }
    if (!Integral(value)) {
        error = "value " + Number(value) + " out of range";
        return EXC_OUT_OF_RANGE;
    }
    if (kind == AttrKind::Enum) {
        const Definition* e = world_.EnumOf(object, index);
        bool found = false;
        for (const auto& entry : e->enumValues)
            found = found || static_cast<double>(entry.second) == value;
        if (!found) {
            error = "value " + Number(value) + " is no value of " + e->name;
            return EXC_OUT_OF_RANGE;
        }
        raw = static_cast<long long>(value);
        return 0;
    }
    double min = 0, max = 0;
    if ((world_.ScaledNumber(object, "Minimum", min) && value < min - 1e-9) ||
        (world_.ScaledNumber(object, "Maximum", max) && value > max + 1e-9)) {
        error = "value " + Number(value) + " of object " + name + " out of range " + Number(min) +
                ".." + Number(max);
        return EXC_OUT_OF_RANGE;
    }
    double mul, div;
    world_.UnitFactors(object, index, mul, div);
    double scaled = mul == 0 ? HUGE_VAL : value * div / mul;
    if (!Integral(scaled)) {
        error = "value " + Number(value) + " cannot be scaled";
        return EXC_OUT_OF_RANGE;
    }
    raw = std::llround(scaled);
    return 0;
}

bool Controller::SetNumber(Object& object, const std::string& attr, long long value) {
    int index = world_.AttrIndex(object, attr);
    AttrKind kind = world_.AttrKindOf(object, index);
    if (index < 0 || (kind != AttrKind::Number && kind != AttrKind::Enum))
        return false;
    object.values[index] = Value::MakeNumber(value);
    return true;
}

Reply Controller::SetParameter(const ExeCall& call, Object& object) {
    double value;
    if (call.args.size() != 1 || !ArgNumber(call.args[0], value))
        return Exc(call.exeId, EXC_BAD_ARGUMENTS, "one number expected");
    long long raw;
    std::string error;
    int code = CheckParameter(object, value, raw, error);
    if (code != 0)
        return Exc(call.exeId, code, error);
    SetNumber(object, "Value", raw);
    return Reply{{world_.UpdText(object), Res(call.exeId)}, false, false, false, ""};
}

Reply Controller::SetOutput(const ExeCall& call, Object& object) {
    if (call.method != 201 && call.method != 202)
        return Exc(call.exeId, EXC_NOT_SUPPORTED, "outputs are switched by 201 and 202");
    if (!call.args.empty())
        return Exc(call.exeId, EXC_BAD_ARGUMENTS, "no arguments expected");
    if (!SetNumber(object, "Value", call.method == 201 ? 1 : 0))
        return Exc(call.exeId, EXC_BAD_ARGUMENTS,
                   "object " + std::to_string(object.id) + " has no number Value");
    return Reply{{world_.UpdText(object), Res(call.exeId)}, false, false, false, ""};
}

Reply Controller::SetMotor(const ExeCall& call, Object& object) {
    double speed = 0;
    if (call.method == 201) {
        if (call.args.size() != 1 || !ArgNumber(call.args[0], speed) || !Integral(speed))
            return Exc(call.exeId, EXC_BAD_ARGUMENTS, "a start needs one speed");
    } else if (call.method == 202) {
        if (!call.args.empty())
            return Exc(call.exeId, EXC_BAD_ARGUMENTS, "a stop takes no arguments");
    } else {
        return Exc(call.exeId, EXC_NOT_SUPPORTED, "motors are started by 201, stopped by 202");
    }
    if (!SetNumber(object, "Value", std::llround(speed)))
        return Exc(call.exeId, EXC_BAD_ARGUMENTS,
                   "object " + std::to_string(object.id) + " has no number Value");
    return Reply{{world_.UpdText(object), Res(call.exeId)}, false, false, false, ""};
}

Reply Controller::SetOverride(const ExeCall& call, Object& object) {
    if (call.method < 201 || call.method > 203)
        return Exc(call.exeId, EXC_NOT_SUPPORTED, "overrides are 201, 202 and 203");
    double value = 0;
    if (call.args.size() > 1 ||
        (call.args.size() == 1 && (!ArgNumber(call.args[0], value) || !Integral(value))) ||
        (call.method != 203 && call.args.size() != 1))
        return Exc(call.exeId, EXC_BAD_ARGUMENTS, "an override needs one value");
    if (world_.AttrIndex(object, "Override") < 0)
        return Exc(call.exeId, EXC_BAD_ARGUMENTS,
                   "object " + std::to_string(object.id) + " cannot be overridden");
    // 201 forces the device on (override value 2), 202 off (1), 203 releases it.
    SetNumber(object, "Override", call.method == 201 ? 2 : call.method == 202 ? 1 : 0);
    if (call.method != 203)
        SetNumber(object, "Value", std::llround(value));
    return Reply{{world_.UpdText(object), Res(call.exeId)}, false, false, false, ""};
}

Reply Controller::RunFunction(const ExeCall& call, Object& object) {
    double action;
    if (call.args.empty() || !ArgNumber(call.args[0], action) || !Integral(action))
        return Exc(call.exeId, EXC_BAD_ARGUMENTS, "an action number is expected");
    double enabled = 1;
    if (world_.RawNumber(object, "Enabled", enabled) && enabled == 0)
        return Exc(call.exeId, EXC_DISABLED,
                   "function " + std::to_string(object.id) + " is not enabled");
    long a = static_cast<long>(action);
    std::string state;
    if (a == -1) {
        SetNumber(object, "State", 1);
        state = "Running";
    } else if (a == -2) {
        SetNumber(object, "State", 0);
        state = "Stopped";
    } else {
        Object* act = world_.Find(a);
        if (act == nullptr || !act->active)
            return Exc(call.exeId, EXC_BAD_ARGUMENTS,
                       "action " + std::to_string(a) + " does not exist");
        int name = world_.AttrIndex(*act, "Name");
        state = name >= 0 ? act->values[name].text : std::string();
        if (state.size() >= 2 && state.front() == '"')
            state = state.substr(1, state.size() - 2);
    }
    int stateText = world_.AttrIndex(object, "StateText");
    if (world_.AttrKindOf(object, stateText) == AttrKind::String)
        object.values[stateText] = Value::MakeString(state);
    return Reply{{world_.UpdText(object), Res(call.exeId)}, false, false, false, ""};
}

Reply Controller::ReplyAlarm(const ExeCall& call, Object& object) {
    double reply;
    if (call.args.size() != 1 || !ArgNumber(call.args[0], reply))
        return Exc(call.exeId, EXC_BAD_ARGUMENTS, "one reply number expected");
    int list = world_.AttrIndex(object, "ReplyIdList");
    bool known = false;
    if (list >= 0) {
        const Value& v = object.values[list];
        if (v.kind == Value::List) {
            for (const Value& item : v.items)
                known = known || (item.kind == Value::Number && item.number == reply);
        } else {
            known = v.kind == Value::Number && v.number == reply;
        }
    }
    if (!known)
        return Exc(call.exeId, EXC_OUT_OF_RANGE,
                   "reply " + Number(reply) + " is not offered by " + std::to_string(object.id));
    // An answered alarm goes away.
    object.active = false;
    return Reply{
        {world_.DelText(object, world_.ActiveCount()), Res(call.exeId)}, false, false, false, ""};
}

bool Controller::Pairs(const ExeCall& call, std::vector<std::pair<Object*, double>>& pairs,
                       std::string& error) {
    if (call.args.empty() || call.args.size() % 2 != 0) {
        error = "pairs of object number and value expected";
        return false;
    }
    for (size_t i = 0; i < call.args.size(); i += 2) {
        double id, value;
        if (!ArgNumber(call.args[i], id) || !ArgNumber(call.args[i + 1], value) || !Integral(id)) {
            error = "pair " + std::to_string(i / 2 + 1) + " is no pair of numbers";
            return false;
        }
        Object* object = world_.Find(static_cast<long>(id));
        if (object == nullptr || !object->active) {
            error = "object " + Number(id) + " does not exist";
            return false;
        }
        pairs.emplace_back(object, value);
    }
    return true;
}

Reply Controller::Dataset(const ExeCall& call) {
    std::vector<std::pair<Object*, double>> pairs;
    std::string error;
    if (!Pairs(call, pairs, error))
        return Exc(call.exeId, EXC_BAD_ARGUMENTS, error);
    // All or nothing: every value is checked before the first is written.
    std::vector<long long> raws;
    for (const auto& p : pairs) {
        long long raw;
        int code = CheckParameter(*p.first, p.second, raw, error);
        if (code != 0)
            return Exc(call.exeId, code, error);
        raws.push_back(raw);
    }
    Reply r;
    for (size_t i = 0; i < pairs.size(); ++i) {
        SetNumber(*pairs[i].first, "Value", raws[i]);
        r.texts.push_back(world_.UpdText(*pairs[i].first));
    }
    r.texts.push_back(Res(call.exeId));
    return r;
}

Reply Controller::Restore(const ExeCall& call) {
    std::vector<std::pair<Object*, double>> pairs;
    std::string error;
    if (!Pairs(call, pairs, error))
        return Exc(call.exeId, EXC_BAD_ARGUMENTS, error);
    for (const auto& p : pairs) {
        int index = world_.AttrIndex(*p.first, "Value");
        AttrKind kind = world_.AttrKindOf(*p.first, index);
        if ((kind != AttrKind::Number && kind != AttrKind::Enum) || !Integral(p.second))
            return Exc(call.exeId, EXC_BAD_ARGUMENTS,
                       "object " + std::to_string(p.first->id) + " takes no such value");
    }
    // Restored values are raw machine numbers; they show after the boot that
    // the gateway sends next.
    for (const auto& p : pairs)
        SetNumber(*p.first, "Value", std::llround(p.second));
    Reply r;
    r.texts.push_back(Res(call.exeId));
    r.note = std::to_string(pairs.size()) + " values restored";
    return r;
}

bool Controller::Set(long id, const std::string& attr, const std::string& value, std::string& text,
                     std::string& error) {
    text.clear();
    Object* object = world_.Find(id);
    if (object == nullptr) {
        error = "object " + std::to_string(id) + " does not exist";
        return false;
    }
    Value v;
    if (!ParseValue(value, v, error))
        return false;
    int index = world_.AttrIndex(*object, attr);
    if (object->active && index >= 0 && object->attrs[index].decl->isConst) {
        error = "attribute " + attr + " is constant; an upd cannot carry it";
        return false;
    }
    if (!world_.SetValue(*object, attr, v, error))
        return false;
    if (object->active)
        text = world_.UpdText(*object);
    return true;
}

bool Controller::Update(long id, std::string& text, std::string& error) {
    Object* object = world_.Find(id);
    if (object == nullptr || !object->active) {
        error = "object " + std::to_string(id) + " is not part of the world";
        return false;
    }
    text = world_.UpdText(*object);
    return true;
}

bool Controller::Raise(long id, std::string& text, std::string& error) {
    Object* object = world_.Find(id);
    if (object == nullptr) {
        error = "object " + std::to_string(id) + " does not exist";
        return false;
    }
    if (object->active) {
        error = "object " + std::to_string(id) + " is already part of the world";
        return false;
    }
    object->active = true;
    text = world_.NewText(*object, world_.ActiveCount());
    return true;
}

bool Controller::Clear(long id, std::string& text, std::string& error) {
    Object* object = world_.Find(id);
    if (object == nullptr || !object->active) {
        error = "object " + std::to_string(id) + " is not part of the world";
        return false;
    }
    object->active = false;
    text = world_.DelText(*object, world_.ActiveCount());
    return true;
}

}  // namespace torcsim
