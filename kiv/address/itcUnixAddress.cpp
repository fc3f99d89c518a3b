// Addresses of local sockets.
// The resolver is asked about every path, also about a path that is too long: its calls are traced, and hosts see in
// the traces which path was tried. Most resolvers refuse local addresses (EAI_FAMILY). The address is then made here.
//
// Not trusted: the length of a path; an answer of the resolver that is missing, too long, or without a zero behind the
// path. The answer is copied into `address` before the answer is freed: freeing calls hooks of the host, and a hook may
// look at the address. The status is set before that, too: a hook may change `errno`.
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

constexpr char temporaryMark[] = ""; // known by its address: every other empty string is an empty path

constexpr size_t formattedSize = 1024;

static_assert(sizeof(sockaddr_un::sun_path) == itcUnixAddress::Max_SockUnix_Pathlen + 1);

// A generated path; null if there is none.
// tmpnam() is looked up at run time, not called by name. A linker that sees the name prints a warning at every build:
// another program may take the path before it is bound. The comment at set() gives this warning to hosts.
const char* temporaryName()
{
    const auto tmpnam = reinterpret_cast<char* (*)(char*)>(::dlsym(RTLD_DEFAULT, "tmpnam"));
    return tmpnam != nullptr ? tmpnam(nullptr) : nullptr;
}

// Writes the address of a path to `made`: a copy of the resolver's answer, or, if the resolver does not know local
// addresses, an address that is made from the path. Returns false if there is no usable address.
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
    // pathname() returns the path as a text. The text must end with a zero inside the storage.
    constexpr size_t pathOffset = offsetof(sockaddr_un, sun_path);
    return std::memchr(reinterpret_cast<const char*>(&made) + pathOffset, '\0', sizeof made - pathOffset) != nullptr;
}

} // namespace

const int itcUnixAddress::Max_SockUnix_Pathlen; // makes the symbol: the declaration in the class makes none
const char* const itcUnixAddress::Temp = temporaryMark;

itcUnixAddress::itcUnixAddress() { setStatus(status, Itc_Tp_No_Path_Given, Warning); }

itcUnixAddress::itcUnixAddress(const char* path) { set(path); }

// A path that is too long does not end the function at once: the resolver is asked, and the attempt is traced. If the
// resolver gives an address for this path, the address is stored, but the status remains an Error.
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
    sockaddr_storage made = {}; // not `address` itself: `path` may point into `address`
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
    char text[formattedSize]; // longer than any path: a text that is cut here is too long for set() as well
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments); // NOLINT: clang-tidy misses va_start
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
