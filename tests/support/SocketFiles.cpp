// Watches OS_bind(): each path in an address of a local socket is remembered.
#include "SocketFiles.h"

#include "OsFaults.h"

#include <sys/stat.h>
#include <sys/un.h>

#include <cstddef>
#include <cstring>
#include <set>

namespace {

std::mutex mutex;
std::set<std::string> paths;

void remember(int, const sockaddr* address, socklen_t length)
{
    constexpr std::size_t start = offsetof(sockaddr_un, sun_path);
    if (address == nullptr || length <= start || address->sa_family != AF_UNIX)
        return;
    const char* const path = reinterpret_cast<const sockaddr_un*>(address)->sun_path;
    std::lock_guard lock(mutex);
    paths.emplace(path, ::strnlen(path, length - start));
}

bool isSocketFile(const std::string& path)
{
    struct stat file = {};
    return ::lstat(path.c_str(), &file) == 0 && S_ISSOCK(file.st_mode);
}

} // namespace

void watchSocketFiles()
{
    OsFaults::bind().watch = remember;
    std::lock_guard lock(mutex);
    paths.clear();
}

std::vector<std::string> socketFilesLeft(const std::string& folder)
{
    std::lock_guard lock(mutex);
    std::vector<std::string> left;
    for (const std::string& path : paths) {
        if (path.compare(0, folder.size(), folder) == 0 && isSocketFile(path))
            left.push_back(path);
    }
    return left;
}
