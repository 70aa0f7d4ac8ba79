// Runs an outside program (a shell command line) as a child process with
// pipes on its standard streams, and waits for it with a time limit.
//
// The pipes are made at the first Run and kept for the next runs of the same
// object; Kill closes them and lets the next Run make new ones. An object
// belongs to one thread. WaitForTermination blocks its caller for up to the
// whole limit.
#pragma once

#include <ace/Process.h>

#include <string>

class RunProgram : public ACE_Process {
  public:
    // blocking false: reads of the child's stdout and stderr never wait.
    explicit RunProgram(bool blocking);
    ~RunProgram() override;
    RunProgram(const RunProgram&) = delete;
    RunProgram& operator=(const RunProgram&) = delete;

    // Spawns the command line through "/bin/sh -c".
    bool Run(const char* command);
    bool WriteStdin(const char* text);
    // Reads at most size - 1 bytes and ends them with a zero byte.
    bool ReadStdout(char* buffer, unsigned int size);
    // Reads at most length bytes and ends them with a zero byte: the buffer
    // must hold length + 1 bytes.
    bool ReadStderror(char* buffer, unsigned int length);
    // Waits up to 200 ms plus seconds in half-second steps; a child still
    // running then is terminated and the result is false. exitCode gets the
    // raw waitpid status.
    bool WaitForTermination(unsigned int seconds, int* exitCode);
    // Waits up to seconds for the child's end, in 100 ms steps, and leaves
    // it running if it has not ended: true (and reaped) when it ended.
    bool WaitForEnd(unsigned int seconds, int* exitCode);
    // Sends the signal, closes the pipes, lets the next Run make new ones.
    // Non-zero if the signal could not be sent.
    int Kill(int signal);
    // Kills the child outright, if there is one.
    void Terminate();

  protected:
    void child(pid_t parent) override;

  private:
    bool Init();
    void ClosePipes();

    bool initialised_ = false;
    bool blocking_;
    ACE_Process_Options options_;
    // [0] read end, [1] write end. The child reads stdin_[0] and writes
    // stdout_[1] and stderr_[1].
    ACE_HANDLE stdin_[2] = {ACE_INVALID_HANDLE, ACE_INVALID_HANDLE};
    ACE_HANDLE stdout_[2] = {ACE_INVALID_HANDLE, ACE_INVALID_HANDLE};
    ACE_HANDLE stderr_[2] = {ACE_INVALID_HANDLE, ACE_INVALID_HANDLE};
    std::string lastCommand_;
    std::string name_;  // the command's name, taken at the first wait
};

// Runs a board program and waits up to seconds for it. -1 if it could not be
// run or did not end in time, else its wait status (0 for success).
long RunProgramAndWait(const char* command, unsigned int seconds);
