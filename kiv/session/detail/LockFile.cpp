// The lock belongs to the open file, not to its name. The holder removes the name before it lets go. Whoever has locked
// a file looks therefore whether the name still leads to it: if not, the file is an old one, and the name is tried
// again.
#include <kiv/session/detail/LockFile.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace kiv {

namespace {

bool isNamed(int descriptor, const std::string& path)
{
    struct stat locked = {};
    struct stat named = {};
    return fstat(descriptor, &locked) == 0 && stat(path.c_str(), &named) == 0 && locked.st_ino == named.st_ino &&
           locked.st_dev == named.st_dev;
}

} // namespace

int LockFile::lock(const std::string& lockPath)
{
    for (;;) {
        const int fd = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (fd < 0)
            return errno;
        if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
            const int error = errno;
            ::close(fd);
            return error == EWOULDBLOCK ? EADDRINUSE : error;
        }
        if (isNamed(fd, lockPath)) {
            path = lockPath;
            descriptor = fd;
            owner = getpid();
            return 0;
        }
        ::close(fd);
    }
}

LockFile::~LockFile() { unlock(); }

void LockFile::unlock()
{
    if (descriptor < 0)
        return;
    if (!isOfAnotherProcess())
        ::unlink(path.c_str());
    ::close(descriptor);
    descriptor = -1;
}

bool LockFile::isOfAnotherProcess() const { return descriptor >= 0 && owner != getpid(); }

} // namespace kiv
