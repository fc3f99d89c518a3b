// The resolver calls, each traced before and after the call.
// In the field a communication layer most often hangs or fails in name resolution. A call that hangs shows as a first
// text without its second text. Both texts carry the number of the call; each function counts its own traced calls.
//
// The order of the steps in each function:
// 1. Ask the check hook. If yes: take a number, and read the address from the arguments if there is one.
// 2. Ask the check hook again. If yes: print the first text.
// 3. Make the wrapped call, whatever the hook said.
// 4. Ask the check hook again. If yes: print the second text.
// A host may switch the flag on during a call. Then only the second text appears, with number 0 and without an address
// from step 1.
//
// Arguments come from hosts. Where a host gives a length, a trace reads no byte behind this length.
#include <kiv/foundation/OS.h>
#include <kiv/foundation/detail/Trace.h>

#include <atomic>
#include <cstddef>
#include <cstring>

using namespace kiv;

namespace {

// The numeric address and the raw port of a trace. Until something is captured the text is empty and the port is 0.
struct Endpoint {
    char ip[INET6_ADDRSTRLEN] = {}; // 46 bytes: the longest IPv6 text and its terminating zero
    unsigned int port = 0;

    // Every family but AF_INET is shown as the 16 bytes of an IPv6 address.
    void captureBytes(int family, const void* bytes, size_t available)
    {
        const bool isInet = family == AF_INET;
        if (bytes == nullptr || available < (isInet ? sizeof(in_addr) : sizeof(in6_addr)))
            return;
        OS_inet_ntop(isInet ? AF_INET : AF_INET6, bytes, ip, sizeof ip);
    }

    void capture(const sockaddr* address, socklen_t length)
    {
        if (address == nullptr || length < sizeof(sa_family_t))
            return;
        sa_family_t family = AF_UNSPEC; // copied byte by byte: the address of a host may be misaligned
        std::memcpy(&family, reinterpret_cast<const char*>(address) + offsetof(sockaddr, sa_family), sizeof family);
        if (family == AF_INET) {
            if (length < sizeof(sockaddr_in))
                return;
            sockaddr_in inet;
            std::memcpy(&inet, address, sizeof inet);
            captureBytes(AF_INET, &inet.sin_addr, sizeof inet.sin_addr);
            port = inet.sin_port;
        } else {
            if (length < sizeof(sockaddr_in6))
                return;
            sockaddr_in6 inet6;
            std::memcpy(&inet6, address, sizeof inet6);
            captureBytes(AF_INET6, &inet6.sin6_addr, sizeof inet6.sin6_addr);
            port = inet6.sin6_port;
        }
    }
};

const char* textOrEmpty(const char* text) { return text != nullptr ? text : ""; }

// The text in a caller's buffer. A null buffer, or a buffer without a terminating zero, gives an empty text.
const char* bufferText(const char* buffer, socklen_t size)
{
    return buffer != nullptr && ::strnlen(buffer, size) < size ? buffer : "";
}

// A host or a service as the traces of getaddrinfo show it: in quotes; if it is null, the word empty without quotes.
struct Quoted {
    const char* text;

    friend std::ostream& operator<<(std::ostream& out, Quoted quoted)
    {
        return quoted.text != nullptr ? out << '"' << quoted.text << '"' : out << "empty";
    }
};

} // namespace

int OS_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** result)
{
    static std::atomic<int> resolverTraceCounter;
    const bool hasText = host != nullptr || service != nullptr; // with two null texts nothing is traced
    int number = 0;
    if (traceWanted(KivDebug::DBG_KIV))
        number = resolverTraceCounter++;
    if (traceWanted(KivDebug::DBG_KIV) && hasText) {
        printTrace(KivDebug::DBG_KIV, [&](std::ostream& out) {
            out << "before calling getaddrinfo #" << number << " with hostname:" << Quoted{host}
                << " servicename:" << Quoted{service};
        });
    }

    const int returnCode = ::getaddrinfo(host, service, hints, result);

    if (traceWanted(KivDebug::DBG_KIV) && hasText) {
        Endpoint first;
        if (returnCode == 0 && result != nullptr && *result != nullptr && (*result)->ai_addr != nullptr)
            first.capture((*result)->ai_addr, (*result)->ai_addrlen);
        else
            printTrace(KivDebug::DBG_KIV,
                       [&](std::ostream& out) { out << "getaddrinfo() returns error code: " << returnCode; });
        printTrace(KivDebug::DBG_KIV, [&](std::ostream& out) {
            out << "after calling getaddrinfo #" << number << " with hostname:" << Quoted{host}
                << " servicename:" << Quoted{service} << " ip:\"" << first.ip << "\" port:" << first.port;
        });
    }
    return returnCode;
}

void OS_freeaddrinfo(addrinfo* list)
{
    static std::atomic<int> resolverTraceCounter;
    int number = 0;
    Endpoint first;
    if (traceWanted(KivDebug::DBG_KIV)) {
        number = resolverTraceCounter++;
        if (list != nullptr)
            first.capture(list->ai_addr, list->ai_addrlen);
    }
    trace(KivDebug::DBG_KIV, [&](std::ostream& out) {
        out << "before calling freeaddrinfo #" << number << " with ip:\"" << first.ip << "\" port:" << first.port;
    });

    if (list != nullptr)
        ::freeaddrinfo(list);

    trace(KivDebug::DBG_KIV, [&](std::ostream& out) {
        out << "after calling freeaddrinfo #" << number << " with ip:\"" << first.ip << "\" port:" << first.port;
    });
}

int OS_getnameinfo(const sockaddr* address, socklen_t addressLength, char* host, socklen_t hostLength, char* service,
                   socklen_t serviceLength, int flags)
{
    static std::atomic<int> resolverTraceCounter;
    int number = 0;
    Endpoint asked;
    if (traceWanted(KivDebug::DBG_KIV)) {
        number = resolverTraceCounter++;
        asked.capture(address, addressLength);
    }
    // The quote behind the port has no opening quote. The text has always been printed like this, and programs that
    // read the traces may expect it.
    trace(KivDebug::DBG_KIV, [&](std::ostream& out) {
        out << "before calling getnameinfo #" << number << " with ip:\"" << asked.ip << "\" port:" << asked.port
            << "\" host:\"" << bufferText(host, hostLength) << '"';
    });

    const int returnCode = ::getnameinfo(address, addressLength, host, hostLength, service, serviceLength, flags);

    trace(KivDebug::DBG_KIV, [&](std::ostream& out) {
        out << "after calling getnameinfo #" << number << " with return code:" << returnCode << " ip:\"" << asked.ip
            << "\" port:" << asked.port << " host:\"" << bufferText(host, hostLength) << '"';
    });
    return returnCode;
}

hostent* OS_gethostbyname(const char* name)
{
    static std::atomic<int> resolverTraceCounter;
    int number = 0;
    if (traceWanted(KivDebug::DBG_KIV))
        number = resolverTraceCounter++;
    trace(KivDebug::DBG_KIV, [&](std::ostream& out) {
        out << "before calling gethostbyname #" << number << " with hostname:\"" << textOrEmpty(name) << '"';
    });

    hostent* const entry = ::gethostbyname(name);

    if (traceWanted(KivDebug::DBG_KIV)) {
        Endpoint first;
        if (entry != nullptr && entry->h_addr_list != nullptr && entry->h_length > 0)
            first.captureBytes(entry->h_addrtype, entry->h_addr_list[0], static_cast<size_t>(entry->h_length));
        printTrace(KivDebug::DBG_KIV, [&](std::ostream& out) {
            out << "after calling gethostbyname #" << number << " with hostname:\"" << textOrEmpty(name) << "\" ip:\""
                << first.ip << '"';
        });
    }
    return entry;
}

hostent* OS_gethostbyaddr(const void* address, socklen_t length, int type)
{
    static std::atomic<int> resolverTraceCounter;
    int number = 0;
    Endpoint asked;
    if (traceWanted(KivDebug::DBG_KIV)) {
        number = resolverTraceCounter++;
        asked.captureBytes(type, address, length);
    }
    trace(KivDebug::DBG_KIV, [&](std::ostream& out) {
        out << "before calling gethostbyaddr #" << number << " with ip:\"" << asked.ip << '"';
    });

    hostent* const entry = ::gethostbyaddr(address, length, type);

    trace(KivDebug::DBG_KIV, [&](std::ostream& out) {
        out << "after calling gethostbyaddr #" << number << " with ip:\"" << asked.ip << "\" host name:\""
            << (entry != nullptr ? textOrEmpty(entry->h_name) : "") << '"';
    });
    return entry;
}
