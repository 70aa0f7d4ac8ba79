#include "sandbox.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <thread>
#include <filesystem>

namespace fs = std::filesystem;

Sandbox::Sandbox() {
    // Below $TMPDIR when it is set (the armhf tests under qemu-user use tmpfs).
    const char* tmp = std::getenv("TMPDIR");
    std::string tmpl =
        std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/oxgw-test-XXXXXX";
    char* dir = mkdtemp(tmpl.data());
    if (dir == nullptr)
        throw std::runtime_error("mkdtemp failed");
    root_ = dir;
    MakeDir("/var/log/debug");
    MakeDir("/etc/torc2");
}

Sandbox::~Sandbox() {
    std::error_code ec;
    fs::remove_all(root_, ec);
}

void Sandbox::MakeDir(const std::string& abs) const {
    fs::create_directories(Path(abs));
}

void Sandbox::WriteFile(const std::string& abs, const std::string& content) const {
    fs::create_directories(fs::path(Path(abs)).parent_path());
    std::ofstream out(Path(abs), std::ios::binary | std::ios::trunc);
    out << content;
}

std::string ReadWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::vector<std::string> SourceLines(const std::string& path) {
    std::ifstream in(std::string(OXGW_SOURCE_DIR) + "/tests/" + path);
    EXPECT_TRUE(in.good()) << path;
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        if (!line.empty() && line[0] != '#')
            lines.push_back(line);
    return lines;
}

bool WaitUntil(const std::function<bool()>& done, int ms, int stepMs) {
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!done()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(stepMs));
    }
    return true;
}

std::string Sandbox::ReadFile(const std::string& abs) const {
    return ReadWholeFile(Path(abs));
}

bool Sandbox::Exists(const std::string& abs) const {
    return fs::exists(Path(abs));
}

long Sandbox::FileSize(const std::string& abs) const {
    struct stat st;
    if (stat(Path(abs).c_str(), &st) != 0)
        return -1;
    return static_cast<long>(st.st_size);
}

const std::string& ProcessSandboxRoot() {
    static Sandbox* box = [] {
        auto* created = new Sandbox();
        atexit([] { delete box; });
        return created;
    }();
    return box->Root();
}

std::string UcsFile(const std::u16string& text, bool mark) {
    std::string bytes = mark ? std::string("\xFF\xFE", 2) : std::string();
    for (char16_t c : text) {
        bytes.push_back(static_cast<char>(c & 0xFF));
        bytes.push_back(static_cast<char>(c >> 8));
    }
    return bytes;
}
