// A temporary sandbox root for one test: a fresh directory with the folders
// the gateway writes to, removed again at the end.
#pragma once

#include <functional>
#include <string>
#include <vector>

class Sandbox {
  public:
    Sandbox();
    ~Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    const std::string& Root() const { return root_; }
    // Path of a file below the root; "/etc/x" gives "<root>/etc/x".
    std::string Path(const std::string& abs) const { return root_ + abs; }
    void WriteFile(const std::string& abs, const std::string& content) const;
    std::string ReadFile(const std::string& abs) const;
    bool Exists(const std::string& abs) const;
    long FileSize(const std::string& abs) const;  // -1 if missing
    void MakeDir(const std::string& abs) const;

  private:
    std::string root_;
};

std::string ReadWholeFile(const std::string& path);

// The lines of a text file below tests/ in the source tree (a world of
// controller texts, a table of cases); blank lines and lines starting with
// '#' are left out. A missing file fails the test.
std::vector<std::string> SourceLines(const std::string& path);

// Asks done every stepMs until it holds (true) or ms have passed (false).
bool WaitUntil(const std::function<bool()>& done, int ms, int stepMs = 20);

// The bytes of a language file: little-endian 16-bit text behind a byte
// order mark (without it when mark is false).
std::string UcsFile(const std::u16string& text, bool mark = true);

// A sandbox for the whole test program, made at first use and removed at
// exit. Test programs whose code may write absolute paths (event logs, ...)
// make it the application path before the first test, and tests that set a
// root of their own go back to it, never to the real file system.
const std::string& ProcessSandboxRoot();
