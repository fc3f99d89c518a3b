/// \file
/// A client that stays connected.
#pragma once

#include <kiv/address/itcUnixAddress.h>
#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/foundation/export.h>
#include <kiv/session/itcClosed.h>
#include <kiv/session/itcSession.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

/// Connects to a server, makes a fresh session of each connection, and connects again when a session has ended.
///
/// \code
/// itcConnector connector("collector.example", 5000, [](itcSession& server) { (void)server.send(Hello{}); });
/// connector.onFailed([](const itcClosed& why) { std::cerr << why.text() << '\n'; });
/// \endcode
/// \par One attempt
/// 1. The name is looked up by a thread of its own: a resolver that hangs delays no handler. After 30 s without an
///    answer the attempt has failed, with ETIMEDOUT.
/// 2. Every address of the name is tried in turn, IPv6 and IPv4 as the resolver orders them. Each connect is
///    non-blocking, and may take the time of setConnectTimeout().
/// 3. The first connection becomes a session, which is handed to the host. If there is none, onFailed() is told the
///    reason of the last address.
///
/// \par Between attempts
/// The pause begins with 0.5 s, doubles with each attempt that fails, and ends at 30 s: see setBackoff(). A random part
/// of up to a half is taken off, so that many clients do not come back at once. A session that has received a packet,
/// or has lived for the longest pause, starts the pauses anew. A heartbeat is no packet here.
///
/// \par Ownership
/// The connector owns the session. The session lives until its onClosed() function has returned, or until the connector
/// is destroyed. A lookup that hangs outlives the connector: its thread holds some memory until the resolver returns.
/// \par Threads
/// The dispatching thread only. The lookup runs on another thread: functions of KivDebug that print traces must bear
/// that.
/// \par Errors
/// Nothing throws, except the functions of the host.
class KIV_EXPORT itcConnector {
public:
    using Duration = std::chrono::milliseconds;         ///< A time span.
    using Connected = std::function<void(itcSession&)>; ///< Gets each new session.

    /// Begins to connect by TCP in the next cycle.
    /// \param host      a name or a numeric address.
    /// \param connected sets the functions and the limits of each new session.
    itcConnector(std::string host, int port, Connected connected,
                 itcDispatcher& dispatcher = *itcDispatcher::instance());
    /// Begins to connect to a path in the next cycle.
    itcConnector(const itcUnixAddress& path, Connected connected,
                 itcDispatcher& dispatcher = *itcDispatcher::instance());
    itcConnector(const itcConnector&) = delete;
    itcConnector& operator=(const itcConnector&) = delete;
    ~itcConnector(); ///< Closes the session at once, and connects no more. No function is called.

    /// \return this connector.
    /// \{

    /// `function` is told why an attempt has failed. The next attempt follows after the pause.
    itcConnector& onFailed(std::function<void(const itcClosed&)> function);
    itcConnector&
    setConnectTimeout(Duration longest); ///< For one address; 5 s at first. 0: as long as the system tries.
    itcConnector& setBackoff(Duration first, Duration longest); ///< 0.5 s and 30 s at first.
    /// \}

    /// Connects no more, for ever. The session, if there is one, ends in good order: itcSession::finish().
    void stop(Duration longest = std::chrono::seconds(5));

    itcSession* session() const; ///< The present session; null between two, and when its end is certain.

    /// Sends one packet over the present session: itcSession::send().
    /// \return false: there is no session, or it has refused the packet; the reason is in the status of the session.
    template <class... Values> [[nodiscard]] bool send(const Values&... values)
    {
        itcSession* const present = session();
        return present != nullptr && present->send(values...);
    }

private:
    class KIV_HIDDEN Core;
    std::shared_ptr<Core> core; // null only without memory
};
