// One numbered item of the host's table: a text value with limits, unit and
// access right, mapped onto an object of the machine or onto nothing. Each
// class of the family parses its line of gway_map.txt (CreateFromStr), shows
// its value (GetValue) and turns a value from the host into a part of a
// machine command (Unserialize). Every text a parameter holds is already in
// wire form: it went through GWayString once, when it was stored.
#pragma once

#include <map>
#include <string>

class OXObject;
class OXObjectManager;
class OXClassManager;
class OxConnection;

class OxGWayParameter {
  public:
    OxGWayParameter(unsigned id, const std::string& name, const std::string& access);
    virtual ~OxGWayParameter() = default;
    OxGWayParameter(const OxGWayParameter&) = delete;
    OxGWayParameter& operator=(const OxGWayParameter&) = delete;

    // 0: nothing to send; 1: "id, value, " appended at output, which moves
    // on; -1: the value is refused and the whole command fails.
    virtual int Unserialize(const char* value, char*& output);
    virtual const std::string& GetValue() { return value; }
    virtual OXObject* GetOXObject() { return nullptr; }
    // The machine's objects are about to go.
    virtual void COMDisconnected() {}
    // An object of the machine was deleted: one that follows it lets go and
    // keeps its last value.
    virtual void ObjectGone(const OXObject&) {}

    bool IsEnabled() const { return enabled; }
    unsigned GetId() const { return id; }
    const std::string& GetPID() const { return pid; }
    const std::string& GetName() const { return name; }
    const std::string& GetAccess() const { return access; }
    const std::string& GetDefault() const { return defaultValue; }
    const std::string& GetMax() const { return max; }
    const std::string& GetMin() const { return min; }
    const std::string& GetUnit() const { return unit; }
    const std::string& GetUserText() const { return userText; }
    const std::string& GetValidValues() const { return EMPTY_STD_STRING; }
    const std::string& GetServiceText() const { return EMPTY_STD_STRING; }
    const std::string& GetRaDText() const { return EMPTY_STD_STRING; }
    // Moves the parameter to another id; a "#" in the name takes the label.
    void SetId(unsigned newId, const std::string& label);
    void SetValue(const std::string& text) { value = text; }
    bool operator>(const OxGWayParameter& other) const { return id > other.id; }
    bool operator==(const OxGWayParameter& other) const { return id == other.id; }

    static const std::string EMPTY_STD_STRING;

    static std::string HMId(double value);
    // Sign, digits and a decimal point always: 1 reads "+1.0".
    static std::string GWayNumber(double value);
    // ASCII with "\uXXXX" escapes; the dataset syntax "(", ")", ";" cannot
    // appear; a backslash-n becomes CR LF.
    static std::string GWayString(const std::string& text);
    // GWayString of a text that never begins like a number or a mark.
    static std::string GWayText(const std::string& text);
    static std::string GWayAccess(int level, unsigned number);
    static bool CheckAccessNumber(int level, unsigned number);
    static std::string GAccessToGWayAccess(int access);
    static std::string GAccessToGWayAccess(int read, int write);
    static std::string GWayStringFmt(const char* format, ...) __attribute__((format(printf, 1, 2)));
    // One character of up to 16 bits into *c; the bytes taken, 0 for a bad
    // sequence.
    static unsigned UTF8ToUnicode16(const char* text, unsigned* c);

  protected:
    bool enabled = true;
    unsigned id;
    std::string pid;
    std::string name;
    std::string access;
    std::string value;
    std::string defaultValue;
    std::string max;
    std::string min;
    std::string unit;
    std::string userText;
};

// A stored text, optionally taken from an object and formatted from others
// when the table is built.
class OxGWayParVariable : public OxGWayParameter {
  public:
    OxGWayParVariable(unsigned id, const std::string& name, const std::string& access,
                      const std::string& defaultValue, const std::string& min,
                      const std::string& max, const std::string& unit, long objectId = 0,
                      OXObjectManager* objects = nullptr);
    // Stores the host's text.
    int Unserialize(const char* value, char*& output) override;

    static OxGWayParameter* CreateFromStr(const char* line, OXObjectManager& objects,
                                          OXClassManager& classes);
};

// The language name of another parameter's object; read only.
class OxGWayParObjectName : public OxGWayParVariable {
  public:
    OxGWayParObjectName(unsigned id, const std::string& name, const std::string& objectName);
    int Unserialize(const char* value, char*& output) override;

    static OxGWayParameter* CreateFromStr(const char* line, OXObjectManager& objects,
                                          OXClassManager& classes);
};

// The language of the gateway's texts, shared by all sessions and kept in
// gway_language.txt.
class OxGWayParLanguage : public OxGWayParVariable {
  public:
    OxGWayParLanguage(unsigned id, const std::string& name, const std::string& access,
                      const std::string& defaultValue, const std::string& min,
                      const std::string& max, const std::string& unit);
    int Unserialize(const char* value, char*& output) override;

    static OxGWayParameter* CreateFromStr(const char* line, OXObjectManager& objects,
                                          OXClassManager& classes);
    static const std::map<std::string, std::string>* GetLanguageMap() { return pLanguageTextIdMap; }
    static const std::string& GetLangaugeDir() { return languageDir; }
    // Writes the selection to the file and loads the language's texts.
    static void SaveSelectedLanguage(const std::string& dir, const std::string& name);
    // Drops the loaded texts and the selection (tests, process end).
    static void Release();

  private:
    static std::string languageDir;
    static std::map<std::string, std::string>* pLanguageTextIdMap;
};

// The alarm answer of one alarm slot: the host writes one of the reply texts
// shown in the slot's actions.
class OxGWayParAlarmExe : public OxGWayParVariable {
  public:
    OxGWayParAlarmExe(unsigned id, const std::string& name, const std::string& access,
                      const std::string& defaultValue, const std::string& min,
                      const std::string& max, const std::string& unit, OxConnection* connection);
    int Unserialize(const char* value, char*& output) override;

    void SetAlarmObjectId(long alarmType, int owner, long objectId);
    void AddReplyId(int replyId, const std::string& text);
    void ClearReplyIdList();

  private:
    long alarmType = 0;
    int owner = 0;
    long alarmObjectId = 0;
    std::map<std::string, int> replyIds;
    // Null where no machine is at hand: a known reply then goes nowhere.
    OxConnection* connection;
};
