// Process-wide configuration store.
//
// This is the part the process frame needs: the application path that every
// absolute file path goes through, and the debug print settings. The reading
// of the configuration file builds on it.
#pragma once

#include <ace/Thread_Mutex.h>

#include <string>

class OxConfiguration {
public:
    static OxConfiguration* Instance();
    static void DeleteInstance();

    OxConfiguration();

    // Every absolute path of the program goes through MakeAbsPath, which puts
    // the application path in front of it.
    void SetAppPath(const std::string& path, bool lock = true);
    std::string GetAppPath(bool lock = true) const;
    std::string MakeAbsPath(const std::string& path, bool lock = true) const;

    unsigned long GetLogFileMaxSize(bool lock = true) const;
    unsigned long GetLogFileComMaxSize(bool lock = true) const;
    int GetNetworkPort(bool lock = true) const;

private:
    mutable ACE_Thread_Mutex mutex_;
    std::string appPath_;
    unsigned long stdoutMask_ = 7;
    unsigned long logFileMask_ = 7;
    unsigned long logFileMaxSize_ = 20000000;
    unsigned long logFileComMaxSize_ = 20000000;
    int networkPort_ = 2000;
};
