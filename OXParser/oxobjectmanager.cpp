#include "oxobjectmanager.h"

#include "oxattribute.h"
#include "oxstorepool.h"

#include <algorithm>

OXObjectManager::~OXObjectManager() {
    Reset();
}

void OXObjectManager::Reset() {
    // Newest first: an object made of nested numbered objects goes before
    // them, and its attributes leave numbered values to the table.
    std::vector<OXObject*> doomed;
    doomed.swap(objects);
    objectMap.clear();
    denseObjects.clear();
    extents.clear();
    denseCount = 0;
    for (auto it = doomed.rbegin(); it != doomed.rend(); ++it)
        delete *it;
    lastMark = OXStoreMark();
}

void OXObjectManager::ReadObjectCount(const OXObject& object) {
    static const std::string objectCountName("ObjectCount");
    if (OXNumberObject* count = object.GetNumberObject(objectCountName)) {
        expectedObjectCount = OXToLong(count->GetValue(1, 1));
        objectCountKnown = true;
        // Room for the announced objects, so that the tables do not grow
        // (and rehash) step by step during the transfer; a count beyond any
        // machine is not trusted that far.
        constexpr long kMaxReserved = 1L << 20;
        if (expectedObjectCount > 0) {
            size_t room = static_cast<size_t>(std::min(expectedObjectCount, kMaxReserved));
            objects.reserve(room);
        }
    }
}

void OXObjectManager::Add(OXObject& object) {
    long id = object.GetObjectId();
    ReadObjectCount(object);
    if (id == 0) {
        delete &object;
        return;
    }
    objects.push_back(&object);
    const char* mark = OXStoreMark();
    if (IsDense(id)) {
        if (static_cast<size_t>(id) >= denseObjects.size()) {
            denseObjects.resize(static_cast<size_t>(id) + 1, nullptr);
            extents.resize(denseObjects.size(), Extent{0, 0});
        }
        OXObject*& slot = denseObjects[static_cast<size_t>(id)];
        if (slot == nullptr)
            ++denseCount;
        slot = &object;
        extents[static_cast<size_t>(id)] = ExtentOf(object, mark);
        // The bound grows: a number that was kept in the map moves here.
        if (!objectMap.empty())
            objectMap.erase(id);
    } else {
        objectMap[id] = &object;
    }
    lastMark = mark;
    NotifyNew(object);
}

OXObjectManager::Extent OXObjectManager::ExtentOf(const OXObject& object, const char* mark) const {
    // The blocks cut since the last object was added: the parts of this one,
    // as the transfer makes one object after another (some parts may have
    // come from free blocks elsewhere). A new chunk begun on the way, or more
    // than an object's worth, is no extent.
    constexpr uintptr_t kMaxExtent = 64 * 1024;
    constexpr uintptr_t kMaxDistance = uintptr_t{1} << 30;
    auto from = reinterpret_cast<uintptr_t>(lastMark);
    auto to = reinterpret_cast<uintptr_t>(mark);
    auto at = reinterpret_cast<uintptr_t>(&object);
    uintptr_t distance = at > from ? at - from : from - at;
    if (from == 0 || to <= from || to - from > kMaxExtent || distance >= kMaxDistance)
        return Extent{0, 0};
    return Extent{at > from ? -static_cast<int32_t>(distance) : static_cast<int32_t>(distance),
                  static_cast<uint32_t>(to - from)};
}

void OXObjectManager::Prefetch(long objectId) const {
    if (objectId <= 0 || static_cast<size_t>(objectId) >= denseObjects.size())
        return;
    const OXObject* object = denseObjects[static_cast<size_t>(objectId)];
    if (object == nullptr)
        return;
    // The first lines of the parts are enough for the update walk to find
    // the rest at hand; a large object is not read whole.
    constexpr uint32_t kMaxPrefetched = 4096;
    const Extent& extent = extents[static_cast<size_t>(objectId)];
    uintptr_t begin = reinterpret_cast<uintptr_t>(object) + static_cast<uintptr_t>(extent.offset);
    uint32_t length = extent.length < kMaxPrefetched ? extent.length : kMaxPrefetched;
    __builtin_prefetch(object);
    for (uint32_t done = 0; done < length; done += 64)
        __builtin_prefetch(reinterpret_cast<const void*>(begin + done));
}

bool OXObjectManager::IsDense(long id) const {
    // Room for every number up to a bound that grows with the table, so that
    // a few large numbers cannot make the vector large.
    constexpr size_t kMinimumBound = 32768;
    return id > 0 && static_cast<size_t>(id) < kMinimumBound + 4 * objects.size();
}

void OXObjectManager::Remove(OXObject& object) {
    long id = object.GetObjectId();
    ReadObjectCount(object);
    auto it = std::find(objects.begin(), objects.end(), &object);
    if (it != objects.end())
        objects.erase(it);
    OXObject** slot = DenseSlot(id);
    if (slot != nullptr && *slot == &object) {
        *slot = nullptr;
        extents[static_cast<size_t>(id)] = Extent{0, 0};
        --denseCount;
    } else {
        auto entry = objectMap.find(id);
        if (entry != objectMap.end() && entry->second == &object)
            objectMap.erase(entry);
    }
    // Objects of the table may point at the one that goes; it is destroyed
    // after the observers have seen it, so they must not keep pointing.
    for (OXObject* other : objects)
        other->ForgetReferencesTo(object);
    NotifyDelete(object);
}

OXObject* OXObjectManager::Lookup(long objectId) const {
    if (objectId > 0 && static_cast<size_t>(objectId) < denseObjects.size()) {
        if (OXObject* object = denseObjects[static_cast<size_t>(objectId)])
            return object;
    }
    if (objectMap.empty())
        return nullptr;
    auto it = objectMap.find(objectId);
    return it != objectMap.end() ? it->second : nullptr;
}

// By index, so that a visitor or observer that changes the table does not
// leave a stale iterator behind.
void OXObjectManager::Visit(OXObjectVisitor& visitor) {
    for (size_t i = 0; i < objects.size(); ++i)
        objects[i]->Accept(visitor);
}

void OXObjectManager::AttachUpdate(ListObserver<OXObjectManager, OXObject>& observer) {
    for (size_t i = 0; i < objects.size(); ++i)
        observer.NewObject(*objects[i]);
}

int OXObjectManager::InSync() const {
    if (!objectCountKnown)
        return 0;
    long mapped = denseCount + static_cast<long>(objectMap.size());
    long listed = static_cast<long>(objects.size());
    return mapped == expectedObjectCount && listed == expectedObjectCount ? 1 : 2;
}
