/// \file
/// The accepting side of servers.
#pragma once

#include <kiv/address/itcInetAddress.h>
#include <kiv/address/itcUnixAddress.h>
#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/foundation/export.h>
#include <kiv/foundation/itcStatus.h>
#include <kiv/session/itcSession.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

class itcConnection;

/// Listens, and makes a session of each client.
///
/// \code
/// itcAcceptor acceptor(itcInetAddress(5000), [](itcSession& peer) {
///     peer.onPacket([&peer](itcNDRReceive& packet) { ... });
/// });
/// if (!acceptor)
///     std::cerr << acceptor.status().STATUS_text() << '\n';
/// \endcode
/// \par What it takes care of
/// - 1024 clients may wait to be accepted. An endpoint of the library alone has 5: the system drops what does not fit,
///   and a dropped client tries again after a second.
/// - The listener is in ItcNonBlocking mode: a client that has gone before the accept holds nobody up.
/// - The connection limit is asked before each accept, and whether the dispatcher can link the next descriptor. At the
///   limit clients wait.
/// - When descriptors or memory run out the listener rests: it is unlinked, and tries again every 200 ms, and as soon
///   as a session of this acceptor ends. Otherwise the listener would stay readable, and the loop would spin.
/// - TCP_NODELAY is set: packets are whole, nothing is worth waiting for.
/// - A local path is guarded by a lock file beside it, "<path>.lock", which only the same user can open. A second
///   process cannot take over the path of a living one: its status is (`Itc_Tp_Bind_Call_Failed`, Error) with
///   EADDRINUSE. The file of a dead one is replaced. Both files are removed when it stops listening. A child of fork()
///   leaves them to its parent. What lies at the path and is no socket is not replaced (EEXIST). A living server that
///   does not use an acceptor is not noticed: give each server a path of its own.
///
/// \par Ownership
/// The acceptor owns the listener and the sessions. A session lives until its onClosed() function has returned, or
/// until the acceptor is destroyed.
/// \par Threads
/// The dispatching thread only.
/// \par Errors
/// Nothing throws, except the functions of the host. After a constructor test the object: `if (!acceptor)`.
class KIV_EXPORT itcAcceptor {
public:
    using Duration = std::chrono::milliseconds;                           ///< A time span.
    using Serve = std::function<void(itcSession&)>;                       ///< Gets each new session.
    using TakeOver = std::function<void(std::unique_ptr<itcConnection>)>; ///< Gets each new connection.

    /// Listens at a TCP address. Port 0 is any free port: see port().
    /// \param serve sets the functions and the limits of a new session. It may keep the reference until onClosed().
    itcAcceptor(const itcInetAddress& local, Serve serve, itcDispatcher& dispatcher = *itcDispatcher::instance());
    /// Listens at a path.
    itcAcceptor(const itcUnixAddress& local, Serve serve, itcDispatcher& dispatcher = *itcDispatcher::instance());
    /// Serves a listener of any transport that the host has made: CreateEndpoint() was called. The backlog is raised
    /// here, too. A local listener that is handed in has no lock file.
    itcAcceptor(std::unique_ptr<itcConnection> listener, Serve serve,
                itcDispatcher& dispatcher = *itcDispatcher::instance());
    /// Hands out bare connections, non-blocking and not linked, instead of sessions.
    itcAcceptor(std::unique_ptr<itcConnection> listener, TakeOver takeOver,
                itcDispatcher& dispatcher = *itcDispatcher::instance());
    itcAcceptor(const itcAcceptor&) = delete;
    itcAcceptor& operator=(const itcAcceptor&) = delete;
    ~itcAcceptor(); ///< Stops listening and closes all sessions at once. No function is called.

    /// \return this acceptor.
    /// \{

    /// Sessions at one time; further clients wait. 0, as at first: no limit of its own. Bare connections do not count.
    itcAcceptor& setMaxSessions(std::size_t count);
    itcAcceptor& setMaxAcceptRate(unsigned count); ///< Accepts in a second. 0, as at first: no limit.
    itcAcceptor& setBacklog(int count);            ///< Clients that may wait to be accepted; 1024 at first.
    /// `function` is told why the listener rests: once, until a client was accepted again.
    itcAcceptor& onRest(std::function<void(const itcStatus&)> function);
    /// \}

    /// Accepts nobody any more, and finishes all sessions: itcSession::finish().
    void finish(Duration longest = std::chrono::seconds(5));
    /// Accepts nobody any more. The sessions go on.
    void stopListening();

    bool isListening() const;        ///< True while clients can connect, also during a rest.
    explicit operator bool() const;  ///< isListening().
    const itcStatus& status() const; ///< Clear, or why it does not listen.
    int port() const;                ///< The port of a TCP listener; 0 for others.
    std::size_t sessions() const;    ///< The number of sessions that have not ended.
    void forEach(const std::function<void(itcSession&)>& function); ///< Calls `function` for each open session.

private:
    class KIV_HIDDEN Core;
    std::shared_ptr<Core> core; // null only without memory
};
