// A growing contiguous array: data, count and capacity in one object. The
// storage is allocated at the first Add, since most observed objects of the
// store never get an observer and their lists stay empty.
#pragma once

#include "error.h"

template <class T>
class List {
  public:
    explicit List(int capacity = 10)
        : data_(nullptr), count_(0), capacity_(capacity > 0 ? capacity : 1) {}
    List(const List& other) : List(other.capacity_) { CopyFrom(other); }
    List& operator=(const List& other) {
        if (this != &other) {
            T* fresh = new T[other.capacity_];
            for (int i = 0; i < other.count_; ++i)
                fresh[i] = other.data_[i];
            delete[] data_;
            data_ = fresh;
            capacity_ = other.capacity_;
            count_ = other.count_;
        }
        return *this;
    }
    virtual ~List() { delete[] data_; }

    void Add(const T& item) {
        if (data_ == nullptr)
            data_ = new T[capacity_];
        else if (count_ == capacity_)
            Increase();
        data_[count_++] = item;
    }

    // Index of the first equal element, else -1.
    int Find(const T& item) const {
        for (int i = 0; i < count_; ++i)
            if (data_[i] == item)
                return i;
        return -1;
    }

    void Remove(int index) {
        if (index >= count_)
            throw Error("Out of bounds");
        for (int i = index; i + 1 < count_; ++i)
            data_[i] = data_[i + 1];
        --count_;
    }

    T& operator[](int index) {
        if (index >= count_)
            throw Error("Out of bounds");
        return data_[index];
    }
    const T& operator[](int index) const {
        if (index >= count_)
            throw Error("Out of bounds");
        return data_[index];
    }

    int Count() const { return count_; }
    int Capacity() const { return capacity_; }

  private:
    void Increase() {
        int capacity = capacity_ * 2;
        T* fresh = new T[capacity];
        for (int i = 0; i < count_; ++i)
            fresh[i] = data_[i];
        delete[] data_;
        data_ = fresh;
        capacity_ = capacity;
    }
    void CopyFrom(const List& other) {
        if (other.count_ > 0 && data_ == nullptr)
            data_ = new T[capacity_];
        for (int i = 0; i < other.count_; ++i)
            data_[i] = other.data_[i];
        count_ = other.count_;
    }

    T* data_;
    int count_;
    int capacity_;
};
