/// \file
/// Asks the resolver without waiting.
#pragma once

#include <kiv/session/itcPost.h>

#include <sys/socket.h>

#include <functional>
#include <string>
#include <vector>

namespace kiv {

/// What the resolver has said.
struct Addresses {
    std::vector<sockaddr_storage> list; ///< In the order of the resolver.
    int error = 0;                      ///< Its code (`EAI_...`), when the list is empty.
    int systemError = 0;                ///< `errno`, when the system has failed and not the resolver.
};

/// A numeric host is no question: the answer comes at once. \return an empty list, without an error, for a name.
Addresses addressesOfNumericHost(const std::string& host, int port);

/// Asks the resolver on a thread of its own, and posts the answer to the dispatching thread.
/// \param sender brings the answer. If its itcPost is gone by then, nobody is called.
/// \param answer is called on the dispatching thread. Its copies may be destroyed on the other thread.
/// \return false if there is no thread or no memory.
bool lookUp(const std::string& host, int port, const itcPost::Sender& sender,
            const std::function<void(Addresses&&)>& answer) noexcept;

} // namespace kiv
