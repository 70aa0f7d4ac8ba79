#include "fileutil.h"

#include "testprint.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool NthLine(const std::vector<std::string>& lines, const char* text, int n, size_t& index) {
    int found = 0;
    for (size_t i = 0; i < lines.size(); ++i)
        if (lines[i].find(text) != std::string::npos && ++found == n) {
            index = i;
            return true;
        }
    return false;
}

// The line split at blanks and tabs and joined by one blank, with the word
// behind the tag's word (or behind an "=" that follows it) set to value.
std::string ReplaceWord(const std::string& line, const std::string& tag, const std::string& value) {
    std::vector<std::string> words;
    std::vector<size_t> starts;
    for (size_t i = 0; i < line.size();) {
        size_t begin = line.find_first_not_of(" \t", i);
        if (begin == std::string::npos)
            break;
        size_t end = line.find_first_of(" \t", begin);
        if (end == std::string::npos)
            end = line.size();
        words.push_back(line.substr(begin, end - begin));
        starts.push_back(begin);
        i = end;
    }
    // The tag's word is the one its last character falls in; a tag that
    // ends in a blank belongs to the word before that blank.
    size_t tagEnd = line.find(tag) + tag.size();
    size_t next = 0;
    while (next < words.size() && starts[next] < tagEnd)
        ++next;
    if (next < words.size() && words[next].find('=') != std::string::npos)
        ++next;
    if (next < words.size())
        words[next] = value;
    else
        words.push_back(value);
    std::string joined;
    for (size_t i = 0; i < words.size(); ++i)
        joined += (i ? " " : "") + words[i];
    return joined;
}

}  // namespace

bool FileUtil::ReadLines(const char* file, std::vector<std::string>& lines) {
    std::ifstream in(file, std::ios::binary);
    if (!in.is_open())
        return false;
    lines.clear();
    std::string line;
    while (std::getline(in, line))
        lines.push_back(line);
    return !in.bad();
}

bool FileUtil::WriteWhole(const char* file, const std::string& text) {
    // A link (resolv.conf often is one) keeps pointing at the new text.
    char real[PATH_MAX];
    std::string target = realpath(file, real) != nullptr ? real : file;
    struct stat st;
    mode_t mode = stat(target.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0644;

    std::string temp = target + ".XXXXXX";
    int fd = mkstemp(&temp[0]);
    if (fd < 0) {
        TestPrintF(4, "File write error: %.200s (%s)\n", file, strerror(errno));
        return false;
    }
    bool ok = fchmod(fd, mode) == 0;
    for (size_t done = 0; ok && done < text.size();) {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        ok = n > 0;
        done += ok ? static_cast<size_t>(n) : 0;
    }
    ok = ok && fsync(fd) == 0;
    ok = close(fd) == 0 && ok;
    ok = ok && rename(temp.c_str(), target.c_str()) == 0;
    if (!ok) {
        TestPrintF(4, "File write error: %.200s (%s)\n", file, strerror(errno));
        unlink(temp.c_str());
    }
    return ok;
}

bool FileUtil::GetLine(std::string& line, const char* file, const char* text, int n) {
    std::ifstream in(file, std::ios::binary);
    if (!in.is_open()) {
        TestPrintF(4, "File open error: %.400s\n", file);
        return false;
    }
    int found = 0;
    std::string read;
    while (std::getline(in, read)) {
        if (read.size() >= MAX_LINE)
            read.resize(MAX_LINE - 1);
        if (read.find(text) != std::string::npos && ++found == n) {
            line = read;
            return true;
        }
    }
    return false;
}

bool FileUtil::GetTag(std::string& value, const char* file, const char* tag, int n) {
    std::string line;
    if (!GetLine(line, file, tag, n))
        return false;
    value = line.substr(line.find(tag) + strlen(tag));
    size_t end = value.find_last_not_of(" \t\r");
    value.erase(end == std::string::npos ? 0 : end + 1);
    return true;
}

bool FileUtil::ModifyLine(const char* file, const char* tag, const char* value, const char* whole,
                          int n) {
    std::vector<std::string> lines;
    if (!ReadLines(file, lines)) {
        TestPrintF(4, "File open error: %.400s\n", file);
        return false;
    }
    size_t index = 0;
    bool found = NthLine(lines, tag, n, index);
    if (found)
        lines[index] =
            whole != nullptr ? std::string(whole) : ReplaceWord(lines[index], tag, value);
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return WriteWhole(file, text) && found;
}

bool FileUtil::AppendLine(std::string& line, const char* file) {
    std::vector<std::string> lines;
    if (!ReadLines(file, lines)) {
        TestPrintF(4, "File open error: %.400s\n", file);
        return false;
    }
    lines.push_back(line);
    std::string text;
    for (const std::string& l : lines)
        text += l + "\n";
    return WriteWhole(file, text);
}
