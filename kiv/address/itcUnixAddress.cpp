#include <kiv/address/itcUnixAddress.h>

#include <kiv/foundation/OS.h>
#include <kiv/foundation/detail/SetStatus.h>

#include <sys/random.h>
#include <sys/un.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

constexpr char temporaryMark[] = "";

constexpr size_t formattedSize = 1024;

static_assert(sizeof(sockaddr_un::sun_path) == itcUnixAddress::Max_SockUnix_Pathlen + 1);

// A name that nobody can guess need not be tested for being free: the test would be out of date by the time of the
// bind.
// \return false when the system has no random bytes yet, early in its start.
bool makeTemporaryName(char (&name)[sizeof(sockaddr_un::sun_path)])
{
    unsigned char random[16];
    if (::getrandom(random, sizeof random, GRND_NONBLOCK) != static_cast<ssize_t>(sizeof random))
        return false;
    int length = std::snprintf(name, sizeof name, "%s/kiv", P_tmpdir);
    for (const unsigned char byte : random)
        length += std::snprintf(name + length, sizeof name - static_cast<size_t>(length), "%02x", byte);
    return true;
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
    // Within this length a path is followed by a zero of the storage, whatever the resolver has written.
    const bool fits =
        returnCode == 0 && answer != nullptr && answer->ai_addr != nullptr && answer->ai_addrlen <= sizeof(sockaddr_un);
    if (fits)
        std::memcpy(&made, answer->ai_addr, answer->ai_addrlen);
    return fits;
}

// The resolver is asked in any case, for its answer and its usual traces.
bool resolve(const char* path, sockaddr_storage& made)
{
    addrinfo hints = {};
    hints.ai_family = AF_UNIX;
    addrinfo* answer = nullptr;
    const int returnCode = OS_getaddrinfo(path, nullptr, &hints, &answer);
    const bool resolved = addressFrom(returnCode, answer, path, made);
    OS_freeaddrinfo(answer);
    return resolved;
}

} // namespace

const char* const itcUnixAddress::Temp = temporaryMark;

itcUnixAddress::itcUnixAddress()
{
    setStatus(status, Itc_Tp_No_Path_Given, Warning);
}

itcUnixAddress::itcUnixAddress(const char* path)
{
    set(path);
}

bool itcUnixAddress::set(const char* path)
{
    clearStatus(status);
    char temporary[sizeof(sockaddr_un::sun_path)];
    if (path == nullptr || path == Temp)
        path = makeTemporaryName(temporary) ? temporary : nullptr;

    sockaddr_storage made = {};
    if (path == nullptr || std::strlen(path) > Max_SockUnix_Pathlen)
        setStatus(status, Itc_Tp_Path_Too_Long, Error);
    if (path != nullptr && !resolve(path, made))
        setStatus(status, Itc_Tp_Path_Too_Long, Error);
    address = made; // only now: the path may have been the one that is stored here
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
