/// \file
/// A file that one living process holds.
#pragma once

#include <string>

namespace kiv {

/// Holds an exclusive lock on a file, which it makes. The system gives the lock back when the process ends, however it
/// ends. The destructor removes the file.
class LockFile {
public:
    LockFile() = default;
    ~LockFile();
    LockFile(const LockFile&) = delete;
    LockFile& operator=(const LockFile&) = delete;

    /// \return 0: locked. EADDRINUSE: another living process, or another object, holds the lock. Other numbers: the
    ///         system's reason why the file could not be made.
    int lock(const std::string& lockPath);

private:
    std::string path;
    int descriptor = -1;
};

} // namespace kiv
