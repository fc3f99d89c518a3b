/// \file
/// A file that one living process holds.
#pragma once

#include <sys/types.h>

#include <string>

namespace kiv {

/// Holds an exclusive lock on a file, which it makes. The system gives the lock back when the process ends, however it
/// ends. unlock() and the destructor remove the file.
class LockFile {
public:
    LockFile() = default;
    ~LockFile();
    LockFile(const LockFile&) = delete;
    LockFile& operator=(const LockFile&) = delete;

    /// \return 0: locked. EADDRINUSE: another living process, or another object, holds the lock. Other numbers: the
    ///         system's reason why the file could not be made.
    int lock(const std::string& lockPath);
    void unlock(); ///< Without a lock nothing happens. A child of fork() leaves the lock to its parent.
    /// The lock was taken by the process that has forked this one.
    bool isOfAnotherProcess() const;

private:
    std::string path;
    int descriptor = -1;
    pid_t owner = 0;
};

} // namespace kiv
