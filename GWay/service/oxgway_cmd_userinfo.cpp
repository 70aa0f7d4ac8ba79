#include "oxgway_cmd_userinfo.h"

#include "oxconn.h"
#include "oxgway_block_transmitter.h"
#include "oxgway_dataset.h"
#include "oxgway_parameter.h"
#include "oxgway_parsection.h"
#include "oxgway_session.h"
#include "oxlanguage.h"
#include "oxobject.h"
#include "oxobjectmanager.h"
#include "testprint.h"

#include <cassert>
#include <cstdio>
#include <cstdlib>

namespace {
constexpr unsigned kFirstId = 9000;
constexpr unsigned kLastId = 10399;
constexpr unsigned kBand = 200;
constexpr int kOtherSection = 6;
constexpr unsigned kFirstSlot = 29700;
constexpr unsigned kLastSlot = 29949;

const char* Severity(int priority) {
    if (priority < 17)
        return "INFO";
    return priority <= 20 ? "WARNING" : "ERROR";
}
}  // namespace

OxGWayCommandCallUserInfo::~OxGWayCommandCallUserInfo() {
    if (objects != nullptr)
        objects->Detach(*this);
}

bool OxGWayCommandCallUserInfo::ExecuteCommand(char*, unsigned) {
    if (alarms.empty()) {
        transmitter.SendReply(code, 1);
        return true;
    }
    char* pOutputBuffer = outputBuffer;
    char* pOutputBufferIdx = pOutputBuffer;
    char* end = outputBuffer + kOutputSize - 1;
    auto put = [&](int n) {
        if (n < 0 || n >= end - pOutputBufferIdx)
            return false;
        pOutputBufferIdx += n;
        return true;
    };
    const char* failure = nullptr;
    if (!put(snprintf(pOutputBufferIdx, end - pOutputBufferIdx, "userinfo{\r\n")))
        failure = "GWay(%d): Error: Internal Error CU-3\n";
    for (auto it = alarms.begin(); failure == nullptr && it != alarms.end(); ++it) {
        const AlarmInfo& info = it->second;
        if (!put(snprintf(pOutputBufferIdx, end - pOutputBufferIdx,
                          "(+%u.0; :OLP:%s:%u: %s; %d; %ld; ; ; ;);\r\n", it->first,
                          Severity(info.priority), static_cast<unsigned>(info.timeSet),
                          info.text.c_str(), info.type, info.context)))
            failure = "GWay(%d): Error: Internal Error CU-1\n";
    }
    if (failure == nullptr && !put(snprintf(pOutputBufferIdx, end - pOutputBufferIdx, "};\r\n")))
        failure = "GWay(%d): Error: Internal Error CU-2\n";
    if (failure != nullptr) {
        TestPrintF(4, failure, sessionId);
        transmitter.SendReply(code, 16);
        return true;
    }
    assert((pOutputBufferIdx - pOutputBuffer) < (64 * 1024) - 1);
    transmitter.SendReply(code, 1, pOutputBuffer, pOutputBufferIdx - pOutputBuffer);
    return true;
}

void OxGWayCommandCallUserInfo::COMConnected() {
    // A table built anew holds fresh slots: the old entries go first.
    COMDisconnected();
    OxConnection* connection = session.GetConnection();
    if (connection == nullptr)
        return;
    objects = &connection->GetObjectManager();
    objects->Attach(*this, -1);
}

void OxGWayCommandCallUserInfo::COMDisconnected() {
    if (objects != nullptr)
        objects->Detach(*this);
    objects = nullptr;
    alarms.clear();
}

int OxGWayCommandCallUserInfo::SectionOf(const OXObject& alarm) const {
    const std::vector<unsigned>& ids = session.GetSectionIds();
    OxGWayDataSet* statics = session.GetDataSet("static");
    for (const OXObject* owner = alarm.GetReference("Owner"); owner != nullptr;
         owner = owner->GetReference("Owner")) {
        long ownerId = owner->GetObjectId();
        const OXObject* section = owner->GetReference("Section");
        for (size_t i = 0; statics != nullptr && i < ids.size(); ++i) {
            auto* type = dynamic_cast<OxGWayParSectionType*>(statics->Find(ids[i]));
            if (type != nullptr &&
                (type->GetSectionId() == ownerId ||
                 (section != nullptr && section->GetObjectId() == type->GetSectionId())))
                return i <= 5 ? static_cast<int>(i) : kOtherSection;
        }
    }
    return kOtherSection;
}

unsigned OxGWayCommandCallUserInfo::MakeId(int section, int type) const {
    unsigned id = kFirstId + kBand * section + (type >= 0 && type < 200 ? type : 0);
    if (alarms.count(id) != 0) {
        unsigned bottom = kFirstId + kBand * section;
        unsigned top = bottom + kBand - 1;
        id = top;
        while (id > bottom && alarms.count(id) != 0)
            --id;
        if (alarms.count(id) != 0)
            TestPrintF(4, "GWay(%d): Error: Internal Error CU-13; %u\n", sessionId, id);
    }
    if (id < kFirstId) {
        TestPrintF(4, "GWay(%d): Error: Internal Error CU-15; %u\n", sessionId, id);
        id = kFirstId;
    } else if (id > kLastId) {
        TestPrintF(4, "GWay(%d): Error: Internal Error CU-16; %u\n", sessionId, id);
        id = kLastId;
    }
    return id;
}

bool OxGWayCommandCallUserInfo::TakeSlot(AlarmInfo& info, unsigned messageId) {
    for (const auto& entry : measure) {
        unsigned id = entry.first;
        if (id < kFirstSlot || id > kLastSlot || id % 5 != 0 || entry.second->GetValue() != "+0.0")
            continue;
        OxGWayParameter* actions = measure.Find(id + 1);
        OxGWayParameter* helpUrl = measure.Find(id + 2);
        auto* execute = dynamic_cast<OxGWayParAlarmExe*>(measure.Find(id + 3));
        if (actions == nullptr || helpUrl == nullptr || execute == nullptr)
            return false;
        info.userId = entry.second;
        info.actions = actions;
        info.helpUrl = helpUrl;
        info.execute = execute;
        info.userId->SetValue(OxGWayParameter::GWayNumber(messageId));
        char url[512];
        snprintf(url, sizeof url,
                 "http://%s/cgi-bin/alarmhelp?client=gway&type=%d&context=%ld&lang=%s",
                 session.GetServerIp().c_str(), info.type, info.context,
                 OxGWayParLanguage::GetLangaugeDir().c_str());
        helpUrl->SetValue(OxGWayParameter::GWayString(url));
        return true;
    }
    return false;
}

void OxGWayCommandCallUserInfo::NewObject(const OXObject& object) {
    if (!object.IsClass("Alarm"))
        return;
    const OxTextMap* texts = OxGWayParLanguage::GetLanguageMap();
    AlarmInfo info;
    info.alarm = &object;
    info.type = static_cast<int>(object.GetNumber("AlarmType"));
    info.priority = static_cast<int>(object.GetNumber("Priority"));
    std::string text = OxLanguageMap::getAlarmText(info.type, texts);
    // Without a language text the lookup gives its key: the machine's own
    // text, if any, is better.
    if ((text.empty() || text == "a" + std::to_string(info.type)) &&
        !object.GetString("Text").empty())
        text = object.GetString("Text");
    info.text = OxGWayParameter::GWayString(text);
    const OXObject* owner = object.GetReference("Owner");
    info.context = owner != nullptr ? owner->GetObjectId() : 0;
    info.timeSet = time(nullptr);
    unsigned messageId = MakeId(SectionOf(object), info.type);
    if (!TakeSlot(info, messageId))
        TestPrintF(4, "GWay(%d): Error: Internal Error CU-17\n", sessionId);
    AlarmInfo& stored = alarms[messageId] = info;
    if (stored.execute == nullptr)
        return;
    // The reply texts the host may write into the slot's execute parameter.
    stored.execute->SetAlarmObjectId(stored.type, static_cast<int>(stored.context),
                                     object.GetObjectId());
    std::string actions;
    const OXObjectList* replyIds = object.GetList("ReplyIdList");
    const OXObjectList* replyTexts = object.GetList("ReplyStringList");
    for (size_t i = 0; replyIds != nullptr && i < replyIds->size(); ++i) {
        int replyId = atoi((*replyIds)[i]->AsString().c_str());
        std::string replyText = OxLanguageMap::getAlarmReplyText(replyId, texts);
        if ((replyText.empty() || replyText == "r" + std::to_string(replyId)) &&
            replyTexts != nullptr && i < replyTexts->size())
            replyText = (*replyTexts)[i]->AsString();
        if (replyText.empty())
            replyText = std::to_string(replyId);
        stored.execute->AddReplyId(replyId, replyText);
        actions += (actions.empty() ? "" : ",") + OxGWayParameter::GWayString(replyText);
    }
    stored.actions->SetValue(actions);
}

void OxGWayCommandCallUserInfo::DeletedObject(const OXObject& object) {
    if (!object.IsClass("Alarm"))
        return;
    for (auto it = alarms.begin(); it != alarms.end(); ++it) {
        if (it->second.alarm != &object)
            continue;
        AlarmInfo& info = it->second;
        if (info.userId != nullptr) {
            info.userId->SetValue("+0.0");
            info.helpUrl->SetValue("");
            info.actions->SetValue("");
            info.execute->ClearReplyIdList();
        }
        alarms.erase(it);
        return;
    }
    TestPrintF(4, "GWay(%d): Error: Internal Error CU-18; %d\n", sessionId,
               static_cast<int>(object.GetObjectId()));
}
