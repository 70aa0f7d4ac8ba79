// A plain error value, thrown by value (by List<T> for a bad index).
#pragma once

class Error {
  public:
    explicit Error(const char* text);
    Error(const char* text, int errorNumber);
    Error(int errorNumber, const char* format, ...) __attribute__((format(printf, 3, 4)));

    // Prints "Error: %s\n", or "Error: %s (%s)\n" with strerror of the number.
    void Show() const;

    const char* Text() const { return text_; }
    int ErrorNumber() const { return errorNumber_; }
    bool HasErrorNumber() const { return errorNumberValid_ != 0; }

  private:
    char text_[80];
    int errorNumber_ = 0;
    int errorNumberValid_ = 0;
};
