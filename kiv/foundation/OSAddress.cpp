// Byte order, address conversion and text-to-number calls of the portability layer.
// Only the byte-order functions do work of their own; the other functions forward. Network byte order is big-endian.
// Swapping is its own inverse, so one helper per width serves both directions.
#include <kiv/foundation/OS.h>

#include <arpa/inet.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr bool hostIsLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

constexpr uint32_t networkOrder32(uint32_t value) { return hostIsLittleEndian ? __builtin_bswap32(value) : value; }

constexpr uint32_t networkOrder16(uint32_t value)
{
    const auto low = static_cast<uint16_t>(value);
    return hostIsLittleEndian ? __builtin_bswap16(low) : low;
}

} // namespace

uint32_t OS_htonl(uint32_t value) { return networkOrder32(value); }

uint32_t OS_ntohl(uint32_t value) { return networkOrder32(value); }

uint32_t OS_htons(uint32_t value) { return networkOrder16(value); }

uint32_t OS_ntohs(uint32_t value) { return networkOrder16(value); }

in_addr_t OS_inet_addr(const char* text) { return ::inet_addr(text); }

in_addr_t OS_inet_network(const char* text) { return ::inet_network(text); }

char* OS_inet_ntoa(in_addr address) { return ::inet_ntoa(address); }

in_addr OS_inet_makeaddr(in_addr_t network, in_addr_t host) { return ::inet_makeaddr(network, host); }

in_addr_t OS_inet_lnaof(in_addr address) { return ::inet_lnaof(address); }

in_addr_t OS_inet_netof(in_addr address) { return ::inet_netof(address); }

const char* OS_inet_ntop(int family, const void* address, char* text, socklen_t size)
{
    return ::inet_ntop(family, address, text, size);
}

int OS_inet_pton(int family, const char* text, void* address) { return ::inet_pton(family, text, address); }

double OS_atof(const char* text)
{
    return ::atof(text); // NOLINT(cert-err34-c): the name promises atof(), which reports no errors
}

unsigned long OS_strtoul(const char* text, char** end, int base) { return ::strtoul(text, end, base); }

int OS_sprintf(char* buffer, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int written = ::vsprintf(buffer, format, arguments); // NOLINT: sprintf() has no bound
    va_end(arguments);
    return written;
}
