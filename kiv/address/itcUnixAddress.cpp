#include <kiv/address/itcUnixAddress.h>

#include <kiv/foundation/OS.h>
#include <kiv/foundation/detail/SetStatus.h>

#include <dlfcn.h>
#include <sys/un.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

using namespace kiv;

namespace {

constexpr char temporaryMark[] = "";

constexpr size_t formattedSize = 1024;

static_assert(sizeof(sockaddr_un::sun_path) == itcUnixAddress::Max_SockUnix_Pathlen + 1);

// tmpnam() is found at run time: a linker that sees it named warns, at every build, that somebody may take a name before
// it is used. set() tells hosts.
// \return null when there is no name.
const char* temporaryName()
{
    const auto tmpnam = reinterpret_cast<char* (*)(char*)>(::dlsym(RTLD_DEFAULT, "tmpnam"));
    return tmpnam != nullptr ? tmpnam(nullptr) : nullptr;
}

// What the resolver has answered. Most resolvers refuse the family, and then the address is made here.
// \return false when there is none.
bool addressFrom(int returnCode, const addrinfo* answer, const char* path, sockaddr_storage& made)
{
    if (returnCode == EAI_FAMILY) {
        sockaddr_un local = {};
        local.sun_family = AF_UNIX;
        const size_t length = std::strlen(path);
        if (length >= sizeof local.sun_path)
            return false;
        std::memcpy(local.sun_path, path, length);
        std::memcpy(&made, &local, sizeof local);
        return true;
    }
    if (returnCode != 0 || answer == nullptr || answer->ai_addr == nullptr || answer->ai_addrlen > sizeof made)
        return false;
    std::memcpy(&made, answer->ai_addr, answer->ai_addrlen);
    // pathname() shows the path as a text, so a zero must end the path inside the storage.
    constexpr size_t pathOffset = offsetof(sockaddr_un, sun_path);
    return std::memchr(reinterpret_cast<const char*>(&made) + pathOffset, '\0', sizeof made - pathOffset) != nullptr;
}

} // namespace

const int itcUnixAddress::Max_SockUnix_Pathlen;
const char* const itcUnixAddress::Temp = temporaryMark;

itcUnixAddress::itcUnixAddress()
{
    setStatus(status, Itc_Tp_No_Path_Given, Warning);
}

itcUnixAddress::itcUnixAddress(const char* path)
{
    set(path);
}

// The resolver is asked in any case, for its answer and its usual traces.
bool itcUnixAddress::set(const char* path)
{
    clearStatus(status);
    if (path == nullptr || path == Temp)
        path = temporaryName();
    if (path == nullptr || std::strlen(path) > Max_SockUnix_Pathlen)
        setStatus(status, Itc_Tp_Path_Too_Long, Error);

    if (path == nullptr) {
        address = {};
        return false;
    }
    addrinfo hints = {};
    hints.ai_family = AF_UNIX;
    addrinfo* answer = nullptr;
    const int returnCode = OS_getaddrinfo(path, nullptr, &hints, &answer);
    sockaddr_storage made = {}; // apart from `address`, which may hold the very path that was given
    if (!addressFrom(returnCode, answer, path, made)) {
        setStatus(status, Itc_Tp_Path_Too_Long, Error);
        made = {};
    }
    address = made;
    OS_freeaddrinfo(answer);
    return status.severity < Warning;
}

bool itcUnixAddress::set_templ(const char* format, ...)
{
    char text[formattedSize];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments); // NOLINT: va_start is not understood
    va_end(arguments);
    if (length < 0) {
        setStatus(status, Itc_Tp_Path_Too_Long, Error);
        address = {};
        return false;
    }
    return set(text);
}

const char* itcUnixAddress::pathname() const
{
    return address.ss_family == AF_UNIX ? reinterpret_cast<const sockaddr_un&>(address).sun_path : nullptr;
}
