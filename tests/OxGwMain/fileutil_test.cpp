// FileUtil on what a client cannot provoke through the gateway: a write that
// fails half-way, a file behind a link, the word rules of a changed line.
#include "fileutil.h"
#include "sandbox.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

TEST(FileUtil, LinesChangeByWordAndTheFileIsWrittenWholeOrNotAtAll) {
    Sandbox box;
    const std::string text = "[Dialer]\nUsername = old\n\tPhone\t=  1\nsearch\n";
    box.WriteFile("/etc/real.conf", text);
    std::filesystem::create_symlink(box.Path("/etc/real.conf"), box.Path("/etc/link.conf"));
    const std::string file = box.Path("/etc/link.conf");

    // Too little room for the new text: the write fails, the old file stays
    // whole and no temporary file is left.
    pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit{10, 10};
        setrlimit(RLIMIT_FSIZE, &limit);
        _exit(FileUtil::ModifyLine(file.c_str(), "Username", "new", nullptr, 1) ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, WEXITSTATUS(status));
    EXPECT_EQ(text, box.ReadFile("/etc/real.conf"));
    EXPECT_EQ(3, std::distance(std::filesystem::directory_iterator(box.Path("/etc")), {}));

    // Behind an "=" word the next word changes; a tag without a value gets
    // one; a tag on no line leaves the text as it was. The link stays a link.
    EXPECT_TRUE(FileUtil::ModifyLine(file.c_str(), "Username", "new", nullptr, 1));
    EXPECT_TRUE(FileUtil::ModifyLine(file.c_str(), "Phone", "0401", nullptr, 1));
    EXPECT_TRUE(FileUtil::ModifyLine(file.c_str(), "search", "a.example", nullptr, 1));
    EXPECT_FALSE(FileUtil::ModifyLine(file.c_str(), "Password", "x", nullptr, 1));
    std::string line = "Modem = /dev/ttyS1";
    EXPECT_TRUE(FileUtil::AppendLine(line, file.c_str()));
    EXPECT_EQ("[Dialer]\nUsername = new\nPhone = 0401\nsearch a.example\nModem = /dev/ttyS1\n",
              box.ReadFile("/etc/real.conf"));
    EXPECT_TRUE(std::filesystem::is_symlink(file));
}

}  // namespace
