// One call of the resolver turns an address into a host text. hostname(), numeric_hostname() and the connections share
// it. The text is empty after every failure: callers print the text without a test.
#include <kiv/address/detail/HostName.h>

#include <kiv/address/detail/AddressLength.h>
#include <kiv/foundation/OS.h>

const char* kiv::hostNameOf(const sockaddr_storage& address, HostText& text, int flags)
{
    text[0] = '\0';
    if (OS_getnameinfo(asSockaddr(address), addressLength(address), text, sizeof text, nullptr, 0, flags) != 0)
        text[0] = '\0'; // a resolver that fails may have written a part
    return text;
}
