// The thread is detached: a resolver that hangs cannot be stopped, and nobody must wait for it. The thread owns all
// that it uses.
#include <kiv/session/detail/Lookup.h>

#include <kiv/foundation/OS.h>

#include <netdb.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <thread>
#include <utility>

namespace kiv {

namespace {

Addresses ask(const std::string& host, int port, int flags)
try {
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags;
    addrinfo* answers = nullptr;
    Addresses addresses;
    addresses.error = OS_getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &answers);
    if (addresses.error == EAI_SYSTEM)
        addresses.systemError = OS_getLastError();
    if (addresses.error == EAI_MEMORY)
        addresses.systemError = ENOMEM;
    if (addresses.error != 0)
        return addresses;
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owner(answers, OS_freeaddrinfo);
    for (const addrinfo* answer = answers; answer != nullptr; answer = answer->ai_next) {
        sockaddr_storage address = {};
        if (answer->ai_addr == nullptr || answer->ai_addrlen > sizeof address)
            continue;
        std::memcpy(&address, answer->ai_addr, answer->ai_addrlen);
        addresses.list.push_back(address);
    }
    if (addresses.list.empty())
        addresses.error = EAI_NONAME;
    return addresses;
} catch (const std::bad_alloc&) {
    return {{}, EAI_MEMORY, ENOMEM};
}

} // namespace

Addresses addressesOfNumericHost(const std::string& host, int port)
{
    Addresses addresses = ask(host, port, AI_NUMERICHOST);
    if (addresses.list.empty())
        addresses.error = 0;
    return addresses;
}

bool lookUp(const std::string& host, int port, const itcPost::Sender& sender,
            const std::function<void(Addresses&&)>& answer) noexcept
try {
    std::thread([host, port, sender, answer] {
        try {
            static_cast<void>(
                sender.post([addresses = ask(host, port, 0), answer]() mutable { answer(std::move(addresses)); }));
        } catch (const std::bad_alloc&) { // nobody is called: the limit of the asker goes on
        }
    }).detach();
    return true;
} catch (const std::exception&) { // no thread, no memory
    return false;
}

} // namespace kiv
