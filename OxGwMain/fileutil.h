// Line work on the board's system files (resolv.conf, the dial-up files,
// the DHCP lease): find a line by a text it holds, take the value behind a
// tag, change or append a line.
//
// A file is rewritten whole or not at all: the new text goes to a temporary
// file in the same folder, which then replaces the old one by rename, so a
// failure never leaves half a file behind.
#pragma once

#include <string>
#include <vector>

class FileUtil {
  public:
    // Longest line that GetLine reads; the rest of a longer line is dropped.
    enum { MAX_LINE = 512 };

    // The n-th line (from 1) that contains text, without its line end. A
    // file that cannot be opened prints "File open error: %s\n" (mask 4).
    static bool GetLine(std::string& line, const char* file, const char* text, int n);
    // GetLine, then what stands behind the tag in that line, without
    // trailing blanks.
    static bool GetTag(std::string& value, const char* file, const char* tag, int n);
    // Changes the n-th line that contains tag: to whole if that is given,
    // else the word behind the tag's word (behind a following "=" word)
    // becomes value, and the words are joined again by one blank. Every
    // line is written back with a line end. False if the file cannot be
    // read or written, or no line holds the tag (the text then stays).
    static bool ModifyLine(const char* file, const char* tag, const char* value, const char* whole,
                           int n);
    // Appends line (and a line end) to an existing file.
    static bool AppendLine(std::string& line, const char* file);

    // The lines of a file, without their line ends; false if it cannot be
    // opened (nothing printed).
    static bool ReadLines(const char* file, std::vector<std::string>& lines);
    // Replaces the file by text through a temporary file and rename; the
    // file keeps its permissions. False, with the old file untouched, when
    // any step fails.
    static bool WriteWhole(const char* file, const std::string& text);
};
