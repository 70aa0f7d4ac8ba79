// Object table of one machine port: object number to object, and the objects
// in order of arrival. The table owns its objects.
#pragma once

#include "observer.h"
#include "oxobject.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

class OXClassManager;

class OXObjectManager : public ListSubject<OXObjectManager, OXObject> {
  public:
    OXObjectManager() = default;
    OXObjectManager(const OXObjectManager&) = delete;
    OXObjectManager& operator=(const OXObjectManager&) = delete;
    ~OXObjectManager() override;

    // A late observer is told of every object first (AttachUpdate).
    bool UpdateOnAttach() const override { return true; }
    void AttachUpdate(ListObserver<OXObjectManager, OXObject>& observer) override;

    void Initialize(OXClassManager& classes) { classManager = &classes; }
    // Destroys all objects, newest first. The announced object count stays.
    void Reset();
    // Takes ownership. An object without a number is destroyed at once.
    void Add(OXObject& object);
    // Takes the object out of the table without destroying it; the caller
    // then owns it.
    void Remove(OXObject& object);
    OXObject* Lookup(long objectId) const;
    // Asks the memory for the object of a number and its parts ahead of a
    // walk over them (an update being read); changes nothing.
    void Prefetch(long objectId) const;
    long GetObjectCount() const { return static_cast<long>(objects.size()); }
    void Visit(OXObjectVisitor& visitor);
    // 0: no object count announced yet; 1: the table holds exactly the
    // announced count; 2: it does not.
    int InSync() const;

    OXClassManager* GetClassManager() const { return classManager; }
    long GetExpectedObjectCount() const { return expectedObjectCount; }

  private:
    void ReadObjectCount(const OXObject& object);

    // Where the object of a number is kept: numbers from 1 below a bound
    // that grows with the table index a vector, as the controller numbers its
    // objects densely; all other numbers go to the map. A number is in one
    // of the two at a time.
    bool IsDense(long id) const;
    OXObject** DenseSlot(long id) {
        return id > 0 && static_cast<size_t>(id) < denseObjects.size()
                   ? &denseObjects[static_cast<size_t>(id)]
                   : nullptr;
    }
    struct Extent;
    // The extent of an object added now, with the pool at mark.
    Extent ExtentOf(const OXObject& object, const char* mark) const;

    OXClassManager* classManager = nullptr;
    std::vector<OXObject*> denseObjects;
    // For each dense number, where the parts of its object were made: the
    // store's blocks cut since the object before it was added (see
    // OXStoreMark), as the offset of their first byte from the object and
    // their length. Zero where not known.
    struct Extent {
        int32_t offset;
        uint32_t length;
    };
    std::vector<Extent> extents;
    // The pool's mark when the last object was added.
    const char* lastMark = nullptr;
    long denseCount = 0;
    std::unordered_map<long, OXObject*> objectMap;
    // Arrival order; owns the objects.
    std::vector<OXObject*> objects;
    long expectedObjectCount = 0;
    bool objectCountKnown = false;
};
