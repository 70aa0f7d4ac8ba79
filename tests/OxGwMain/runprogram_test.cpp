// RunProgram with real child processes through /bin/sh.
#include "runprogram.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <thread>

namespace {

// Gone, or dead and waiting for whoever adopted it to reap it.
bool Gone(pid_t pid) {
    if (kill(pid, 0) == -1 && errno == ESRCH)
        return true;
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    size_t close = text.rfind(')');
    return close != std::string::npos && text.compare(close, 4, ") Z ") == 0;
}

// Reads the child's stdout until it holds want or the patience runs out.
std::string ReadUntil(RunProgram& program, const std::string& want) {
    std::string text;
    char buffer[64];
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (text.find(want) == std::string::npos && std::chrono::steady_clock::now() < end) {
        if (program.ReadStdout(buffer, sizeof buffer))
            text += buffer;
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return text;
}

TEST(RunProgram, ExitCodeIsTheRawWaitStatus) {
    RunProgram program(false);
    ASSERT_TRUE(program.Run("exit 3"));
    int status = -1;
    ASSERT_TRUE(program.WaitForTermination(5, &status));
    EXPECT_EQ(3 << 8, status);

    // A second run on the same object uses the same pipes; a shell command
    // line with quotes of its own reaches the shell whole.
    ASSERT_TRUE(program.Run("test \"a b\" = 'a b' && echo same"));
    ASSERT_TRUE(program.WaitForTermination(5, &status));
    EXPECT_EQ(0, status);
    EXPECT_EQ("same\n", ReadUntil(program, "\n"));

    // A per cent sign is text, not a format; a missing program is the
    // shell's 127.
    ASSERT_TRUE(program.Run("printf '%d%%' 7; /nonexistent/program 2>/dev/null"));
    ASSERT_TRUE(program.WaitForTermination(5, &status));
    EXPECT_EQ(127, WEXITSTATUS(status));
    EXPECT_EQ("7%", ReadUntil(program, "%"));

    // The output of a child never read waits in front of the next one's.
    ASSERT_TRUE(program.Run("echo one"));
    ASSERT_TRUE(program.WaitForTermination(5, nullptr));
    ASSERT_TRUE(program.Run("echo two"));
    ASSERT_TRUE(program.WaitForTermination(5, nullptr));
    EXPECT_EQ("one\ntwo\n", ReadUntil(program, "two\n"));
}

TEST(RunProgram, OverrunningChildIsKilled) {
    RunProgram program(false);
    ASSERT_TRUE(program.Run("sleep 30"));
    pid_t pid = program.getpid();
    int status = -1;
    EXPECT_FALSE(program.WaitForTermination(1, &status));
    EXPECT_EQ(-1, status);  // untouched on overrun
    EXPECT_TRUE(Gone(pid));

    // The kill at the time limit reaches what the shell started, not only
    // the shell: a script whose program overruns leaves nothing behind.
    ASSERT_TRUE(program.Run("sleep 30 & echo $!; wait"));
    std::string line = ReadUntil(program, "\n");
    pid_t grandchild = static_cast<pid_t>(std::atol(line.c_str()));
    ASSERT_GT(grandchild, 0) << line;
    EXPECT_FALSE(program.WaitForTermination(1, nullptr));
    for (int i = 0; i < 100 && !Gone(grandchild); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_TRUE(Gone(grandchild));
}

TEST(RunProgram, NonBlockingReadsAndStdin) {
    RunProgram program(false);
    char buffer[32];

    // Nothing written yet: the read does not wait.
    ASSERT_TRUE(program.Run("cat"));
    EXPECT_FALSE(program.ReadStdout(buffer, sizeof buffer));
    ASSERT_TRUE(program.WriteStdin("hello\n"));
    EXPECT_EQ("hello\n", ReadUntil(program, "\n"));
    pid_t pid = program.getpid();
    EXPECT_EQ(0, program.Kill(SIGTERM));
    int status = 0;
    EXPECT_TRUE(program.WaitForTermination(5, &status));
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_TRUE(Gone(pid));
    EXPECT_NE(0, program.Kill(SIGTERM));  // no child any more

    // Kill closed the pipes; the next run makes new ones.
    ASSERT_TRUE(program.Run("echo out; echo err >&2"));
    ASSERT_TRUE(program.WaitForTermination(5, &status));
    EXPECT_EQ("out\n", ReadUntil(program, "\n"));
    char small[4];
    ASSERT_TRUE(program.ReadStderror(small, 3));  // length bytes plus the zero
    EXPECT_STREQ("err", small);
}

}  // namespace
