// One call of the resolver, whose failure leaves an empty text.
#include <kiv/address/detail/HostName.h>

#include <kiv/address/detail/AddressLength.h>
#include <kiv/foundation/OS.h>

const char* kiv::hostNameOf(const sockaddr_storage& address, HostText& text, int flags)
{
    text[0] = '\0';
    if (OS_getnameinfo(asSockaddr(address), addressLength(address), text, sizeof text, nullptr, 0, flags) != 0)
        text[0] = '\0'; // a failing resolver may have begun to write
    return text;
}
