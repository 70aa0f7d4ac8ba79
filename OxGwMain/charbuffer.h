// The machine link's transmit buffer: a fixed array with a producer and a
// consumer cursor.
#pragma once

class CharBuffer {
  public:
    explicit CharBuffer(unsigned short size);
    ~CharBuffer();
    CharBuffer(const CharBuffer&) = delete;
    CharBuffer& operator=(const CharBuffer&) = delete;

    // Formats at the producer cursor (text is a printf format).
    void Append(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // Copies n bytes and keeps a zero byte behind them.
    void AppendN(const void* data, unsigned int n);

    bool IsEmpty() const { return producer_ == nullptr || producer_ == base_; }
    bool ConsumerEndOfBuffer() const { return producer_ == nullptr || consumer_ >= producer_; }
    unsigned short CharsLeftToConsume() const {
        return producer_ == nullptr ? 0 : static_cast<unsigned short>(producer_ - consumer_);
    }
    void Reset() { producer_ = consumer_ = base_; }
    void Consumed(unsigned int n) { consumer_ += n; }
    char* ProducerCursor() const { return producer_; }
    char* ConsumerCursor() const { return consumer_; }

  private:
    // The producer cursor must stay inside the buffer: a command of the
    // buffer's size or more is a programming error.
    bool RangeCheck() const { return producer_ < base_ + size_; }

    char* base_;
    unsigned short size_;
    char* producer_;
    char* consumer_;
};
