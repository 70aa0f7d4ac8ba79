// Subject/observer with numbered aspects. The aspect -1 means all aspects.
//
// No locks: whoever attaches and notifies must be in one thread or hold a lock
// of its own.
#pragma once

#include "list.h"

// The aspects one observer wants.
class ObserverInfo : public List<int> {
  public:
    ObserverInfo() : List<int>(10) {}
    explicit ObserverInfo(void* observer) : List<int>(10), observer_(observer) {}
    void* Observer() const { return observer_; }

  private:
    void* observer_ = nullptr;
};

class GenericSubject {
  public:
    GenericSubject() = default;
    // A copy has the same observers, each with its own list.
    GenericSubject(const GenericSubject& other) {
        if (const List<ObserverInfo>* list = other.ObserverList(false))
            observers_ = new List<ObserverInfo>(*list);
    }
    GenericSubject& operator=(const GenericSubject& other) {
        if (this != &other) {
            const List<ObserverInfo>* list = other.ObserverList(false);
            List<ObserverInfo>* copy = list != nullptr ? new List<ObserverInfo>(*list) : nullptr;
            delete static_cast<List<ObserverInfo>*>(observers_);
            observers_ = copy;
        }
        return *this;
    }
    virtual ~GenericSubject() { delete static_cast<List<ObserverInfo>*>(observers_); }
    // True if the observer asked for this aspect, or for all of them.
    virtual bool DoUpdate(ObserverInfo* info, int aspect) {
        return info->Find(-1) >= 0 || info->Find(aspect) >= 0;
    }
    virtual bool UpdateOnAttach() const { return false; }

    int ObserverCount() const {
        const List<ObserverInfo>* list = ObserverList(false);
        return list != nullptr ? list->Count() : 0;
    }

  protected:
    // The list of observers: null until the first Attach, made then (make).
    // The list stays until the subject goes, so that a walk over it may go
    // on after an observer detached itself. Here it is the word observers_
    // points at; a subject may keep it elsewhere.
    virtual List<ObserverInfo>* ObserverList(bool make) const {
        if (observers_ == nullptr && make)
            observers_ = new List<ObserverInfo>;
        return static_cast<List<ObserverInfo>*>(observers_);
    }

    void AttachObserver(void* observer, int aspect) {
        int i = IndexOf(observer);
        List<ObserverInfo>* list = ObserverList(true);
        if (i < 0) {
            ObserverInfo info(observer);
            info.Add(aspect);
            list->Add(info);
        } else if ((*list)[i].Find(aspect) < 0) {
            (*list)[i].Add(aspect);
        }
    }
    bool DetachObserver(void* observer) {
        int i = IndexOf(observer);
        if (i < 0)
            return false;
        ObserverList(false)->Remove(i);
        return true;
    }
    int IndexOf(void* observer) const {
        const List<ObserverInfo>* list = ObserverList(false);
        for (int i = 0; list != nullptr && i < list->Count(); ++i)
            if ((*list)[i].Observer() == observer)
                return i;
        return -1;
    }
    ObserverInfo& ObserverAt(int i) { return (*ObserverList(false))[i]; }

    // One word: nearly all objects of a store never get an observer, and a
    // pointer to a list made at the first Attach costs them less than an
    // empty list. A subject that keeps its list elsewhere (ObserverList) may
    // use the word for what it likes, and clears it before this destructor.
    mutable void* observers_ = nullptr;
};

template <class T>
class Observer {
  public:
    virtual ~Observer() = default;
    virtual void Update(T* subject) = 0;
};

template <class T>
class Subject : public GenericSubject {
  public:
    virtual void Attach(Observer<T>* observer, int aspect = -1) {
        AttachObserver(observer, aspect);
        if (UpdateOnAttach())
            observer->Update(static_cast<T*>(this));
    }
    virtual bool Detach(Observer<T>* observer) { return DetachObserver(observer); }

    // The bound is read again at each step, so an observer may detach itself
    // during the walk (the next one then moves up and misses this round).
    virtual void Notify(int aspect) {
        for (int i = 0; i < ObserverCount(); ++i)
            if (DoUpdate(&ObserverAt(i), aspect))
                static_cast<Observer<T>*>(ObserverAt(i).Observer())->Update(static_cast<T*>(this));
    }
    virtual void NotifyAll() {
        for (int i = 0; i < ObserverCount(); ++i)
            static_cast<Observer<T>*>(ObserverAt(i).Observer())->Update(static_cast<T*>(this));
    }
};

template <class S, class T>
class ListObserver {
  public:
    virtual ~ListObserver() = default;
    virtual void NewObject(const T& object) = 0;
    virtual void DeletedObject(const T& object) = 0;
};

template <class S, class T>
class ListSubject : public GenericSubject {
  public:
    virtual void Attach(ListObserver<S, T>& observer, int aspect) {
        AttachObserver(&observer, aspect);
        if (UpdateOnAttach())
            AttachUpdate(observer);
    }
    virtual bool Detach(ListObserver<S, T>& observer) { return DetachObserver(&observer); }
    virtual void NotifyNew(const T& object) {
        for (int i = 0; i < ObserverCount(); ++i)
            static_cast<ListObserver<S, T>*>(ObserverAt(i).Observer())->NewObject(object);
    }
    virtual void NotifyDelete(const T& object) {
        for (int i = 0; i < ObserverCount(); ++i)
            static_cast<ListObserver<S, T>*>(ObserverAt(i).Observer())->DeletedObject(object);
    }
    // Tells a late observer of everything already in the container.
    virtual void AttachUpdate(ListObserver<S, T>& /*observer*/) {}
};
