#include "charbuffer.h"

#include <cassert>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

CharBuffer::CharBuffer(unsigned short size)
    : base_(new char[size]), size_(size), producer_(base_), consumer_(base_) {
    base_[0] = '\0';
}

CharBuffer::~CharBuffer() {
    delete[] base_;
}

void CharBuffer::Append(const char* format, ...) {
    size_t room = static_cast<size_t>(base_ + size_ - producer_);
    va_list args;
    va_start(args, format);
    int n = vsnprintf(producer_, room, format, args);
    va_end(args);
    if (n < 0)
        n = 0;
    if (static_cast<size_t>(n) >= room) {
        producer_ = base_ + size_;  // would not fit: fails the range check
    } else {
        producer_ += n;
    }
    assert(RangeCheck());
}

void CharBuffer::AppendN(const void* data, unsigned int n) {
    if (producer_ + n + 1 > base_ + size_) {
        producer_ = base_ + size_;
        assert(RangeCheck());
    }
    memcpy(producer_, data, n);
    producer_ += n;
    *producer_ = '\0';
    assert(RangeCheck());
}
