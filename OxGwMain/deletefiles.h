// Trims a directory in the background, by the age of its files or by their
// total size, so that logs cannot fill the small disk of the board. One
// detached worker at a time per instance, started by its owner and not
// awaited.
#pragma once

#include <ace/Thread_Mutex.h>

#include <string>

struct DeleteFilesArg {
    enum tag_criteria {
        AGE = 0,   // limit in days
        SIZE = 1,  // limit in kBytes
    };
    std::string directory;
    tag_criteria criteria = AGE;
    int limit = 0;
    bool running = false;
    ACE_Thread_Mutex mutex;
};

class DeleteFiles {
  public:
    DeleteFiles() = default;
    // Waits for a running worker: the worker's record lives in this object.
    ~DeleteFiles();
    DeleteFiles(const DeleteFiles&) = delete;
    DeleteFiles& operator=(const DeleteFiles&) = delete;

    bool IsRunning();
    // Starts the worker on a copy of directory (which ends in "/"). Calling
    // it while a worker runs is a programming error: ask IsRunning first.
    // True when the thread started.
    bool Run(std::string& directory, DeleteFilesArg::tag_criteria criteria, int limit);

    static void* Worker(void* arg);

  private:
    DeleteFilesArg arg_;
};
