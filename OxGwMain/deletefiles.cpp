#include "deletefiles.h"

#include "testprint.h"

#include <ace/Dirent.h>
#include <ace/OS_NS_Thread.h>
#include <ace/OS_NS_unistd.h>
#include <ace/Guard_T.h>

#include <cassert>
#include <cstring>
#include <ctime>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool IsDotEntry(const char* name) {
    return strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

// Deletes what is older than limit whole days. "." and ".." are not skipped:
// their unlink fails and is reported like any other.
void DeleteByAge(ACE_Dirent& dir, bool opened, const std::string& directory, int limit) {
    TestPrintF(8, "Deleting files older than %d days\n", limit);
    time_t now = time(nullptr);
    for (ACE_DIRENT* entry = opened ? dir.read() : nullptr; entry != nullptr; entry = dir.read()) {
        std::string path = directory + entry->d_name;
        struct stat st;
        if (stat(path.c_str(), &st) != 0)
            continue;
        int age = static_cast<int>((now - st.st_mtime) / 86400);
        if (age <= limit)
            continue;
        if (unlink(path.c_str()) == 0)
            TestPrintF(8, "Deleted %.300s was %d days old!\n", path.c_str(), age);
        else
            TestPrintF(0x10, "Could not delete %.300s is %d days old!\n", path.c_str(), age);
    }
}

bool Older(const struct timespec& a, const struct timespec& b) {
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

// Deletes the oldest file until the directory holds no more than limit
// kBytes. The newest file always stays, however large.
void DeleteBySize(ACE_Dirent& dir, bool opened, const std::string& directory, int limit) {
    TestPrintF(8, "Deleting oldest files to get directory size less than %d kBytes in %.300s\n",
               limit, directory.c_str());
    const long long bound = static_cast<long long>(limit) * 1024;
    while (opened) {
        dir.rewind();
        struct timespec oldest;
        oldest.tv_sec = time(nullptr);
        oldest.tv_nsec = 0;
        std::string candidate;
        long long candidateSize = 0;
        long long total = 0;
        int files = 0;
        for (ACE_DIRENT* entry = dir.read(); entry != nullptr; entry = dir.read()) {
            if (IsDotEntry(entry->d_name))
                continue;
            std::string path = directory + entry->d_name;
            struct stat st;
            if (stat(path.c_str(), &st) != 0)
                continue;
            total += st.st_size;
            ++files;
            if (candidate.empty() || Older(st.st_mtim, oldest)) {
                oldest = st.st_mtim;
                candidate = path;
                candidateSize = st.st_size;
            }
        }
        if (files <= 1 || total <= bound || candidate.empty())
            return;
        if (unlink(candidate.c_str()) != 0) {
            // An oldest file that cannot go would be found again and again.
            TestPrintF(0x10, "Could not delete %.300s\n", candidate.c_str());
            return;
        }
        TestPrintF(8, "Deleted %.300s!\n", candidate.c_str());
        if (total - candidateSize <= bound)
            return;
    }
}

}  // namespace

DeleteFiles::~DeleteFiles() {
    while (IsRunning())
        ACE_OS::sleep(ACE_Time_Value(0, 10000));
}

bool DeleteFiles::IsRunning() {
    ACE_Guard<ACE_Thread_Mutex> guard(arg_.mutex);
    return arg_.running;
}

bool DeleteFiles::Run(std::string& directory, DeleteFilesArg::tag_criteria criteria, int limit) {
    {
        ACE_Guard<ACE_Thread_Mutex> guard(arg_.mutex);
        assert(!arg_.running);
        arg_.directory = directory;
        arg_.criteria = criteria;
        arg_.limit = limit;
        arg_.running = true;
    }
    ACE_thread_t id;
    if (ACE_OS::thr_create(&DeleteFiles::Worker, &arg_, THR_DETACHED | THR_NEW_LWP, &id) != 0) {
        ACE_Guard<ACE_Thread_Mutex> guard(arg_.mutex);
        arg_.running = false;
        return false;
    }
    return true;
}

void* DeleteFiles::Worker(void* p) {
    auto* arg = static_cast<DeleteFilesArg*>(p);
    ACE_Dirent dir;
    // A directory that cannot be opened leaves nothing to do.
    bool opened = dir.open(arg->directory.c_str()) == 0;
    if (arg->criteria == DeleteFilesArg::AGE)
        DeleteByAge(dir, opened, arg->directory, arg->limit);
    else
        DeleteBySize(dir, opened, arg->directory, arg->limit);
    TestPrintF(8, "Delete files finished\n");
    ACE_Guard<ACE_Thread_Mutex> guard(arg->mutex);
    arg->running = false;
    return nullptr;
}
