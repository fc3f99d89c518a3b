/// \file
/// A conversation in packets over one connection.
#pragma once

#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/foundation/export.h>
#include <kiv/foundation/itcStatus.h>
#include <kiv/ndr/itcNDRReceive.h>
#include <kiv/ndr/itcNDRSend.h>
#include <kiv/records/itcValues.h>
#include <kiv/session/itcClosed.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

class itcConnection;

namespace kiv {
class SessionCore;
}

/// What a session has counted since it began.
struct itcSessionCounters {
    std::uint64_t packetsReceived = 0; ///< Complete packets that were handed to the host.
    std::uint64_t bytesReceived = 0;   ///< Bytes of complete frames, heads and heartbeats included.
    std::uint64_t packetsSent = 0;     ///< Packets that the connection has taken whole.
    std::uint64_t bytesSent = 0;       ///< Bytes that the connection has taken, heads and heartbeats included.
    std::uint64_t packetsDropped = 0;  ///< Packets that were queued and then dropped to make room.
    std::uint64_t packetsRefused = 0;  ///< Packets that found no room.
    std::size_t queuedPackets = 0;     ///< Packets that wait now.
    std::size_t queuedBytes = 0;       ///< Bytes that wait now, heads included.
    std::size_t mostQueuedPackets = 0; ///< The largest number of packets that have waited at one time.
    std::size_t mostQueuedBytes = 0;   ///< The largest number of bytes that have waited at one time.
};

/// Sends and receives whole packets over one non-blocking connection. Nobody waits, and every peer meets limits.
///
/// \code
/// peer.onPacket([&peer](itcNDRReceive& packet) {
///     Reading reading;
///     if (peer.take(packet, reading))
///         (void)peer.send(Answer{reading.sensor, "thanks"});
/// });
/// peer.onClosed([](const itcClosed& why) { std::cout << why.text() << '\n'; });
/// \endcode
/// \par What protects this side
/// | danger                                    | limit              | at first             | then               |
/// |-------------------------------------------|--------------------|----------------------|--------------------|
/// | a packet that announces too much          | setMaxPacketSize() | 1 MiB                | itcClosed::tooLong |
/// | a peer that says nothing                  | setIdleTimeout()   | 5 minutes            | itcClosed::silent  |
/// | a packet that is begun and never finished | setPacketTimeout() | 30 s                 | itcClosed::tooSlow |
/// | a peer that takes no byte                 | setSendTimeout()   | 30 s                 | itcClosed::stuck   |
/// | a queue that grows                        | setQueue()         | 2 MiB, low water 1 MiB, refuse | WhenFull |
///
/// A refused length costs no memory: it is refused before room is made. A duration of 0 or less switches a limit off.
/// Limits may be set at any time; they hold from then on. They are measured by timers of the dispatcher: when the wall
/// clock is set back by an hour, they are an hour late.
///
/// \par The functions of the host
/// They are called by the dispatcher's cycle only, never from inside an operation of the session. They may do
/// everything, also destroy this session and others, if the host owns them. A function that is running is kept until it
/// returns. A null function removes the one before.
///
/// - onClosed(): called exactly once, whatever ends the session, with one exception: a session that is destroyed calls
///   nobody. The first reason counts. No other function is called behind it.
/// - A peer that closes its sending direction ends the session. What waits is still sent; what the host would send
///   later is refused.
/// - A packet that comes while a function runs a cycle of its own waits until the function has returned.
/// - A function that throws has handled its packet. The exception leaves dispatch(), and with it itcRunUntilSignal().
///   The session goes on in the next cycle.
/// \par Heartbeats
/// A session that has sent nothing for the time of setHeartbeat() sends an empty packet: a frame of 10 bytes without
/// values. A session does not hand empty packets to the host. Without heartbeats of its own it answers them, at most
/// one in a second: both sides then know that the other one lives. Sessions of an itcConnector send one in a minute.
///
/// A peer that does not use sessions sees a packet without values. Towards a peer of this kind switch the heartbeats
/// off: `setHeartbeat(std::chrono::seconds(0))`.
/// \par What it changes in the process
/// SIGPIPE is ignored if its action is still the default when the first session begins: a peer that leaves must not end
/// this process. The descriptor is marked close-on-exec: a program that this process starts must not hold the
/// connection.
/// \par Ownership
/// The session owns its connection. Functions are destroyed behind onClosed(), or with the session. A host that keeps
/// link, timer, post or session as members declares them behind the members that their functions use.
/// \par Threads
/// The dispatching thread only. Other threads use itcPost.
/// \par Errors
/// Nothing throws, except the functions of the host. send() and sendPacket() leave the reason of a refusal in status().
class KIV_EXPORT itcSession {
public:
    using Duration = std::chrono::milliseconds; ///< A time span.

    /// Remembers a session without owning it: for answers that come later, for example from another thread by itcPost.
    /// A handle may be copied anywhere. It is asked on the dispatching thread.
    class KIV_EXPORT Handle {
    public:
        Handle() = default; ///< No session.
        /// \return the session, also one that finishes; null when it has ended or was destroyed.
        itcSession* get() const;

    private:
        friend class itcSession;
        std::weak_ptr<kiv::SessionCore> session;
    };

    /// What happens to a packet for which the queue has no room.
    enum class WhenFull {
        refuseNewest, ///< send() returns false. The host decides what is lost.
        dropOldest,   ///< The packets that wait longest are dropped, except one that has left in part.
        close         ///< The session ends with itcClosed::queueFull; send() returns false.
    };

    /// Takes over a connected stream of any transport, switches it to ItcNonBlocking, and links it.
    ///
    /// A connection that cannot be used ends the session in the next cycle. The reason is then told to onClosed():
    /// itcClosed::systemError with EBADF for null and without a descriptor, itcClosed::connectionLimit for a descriptor
    /// that the dispatcher cannot serve.
    explicit itcSession(std::unique_ptr<itcConnection> connection,
                        itcDispatcher& dispatcher = *itcDispatcher::instance());
    itcSession(const itcSession&) = delete;
    itcSession& operator=(const itcSession&) = delete;
    ~itcSession(); ///< Closes the connection at once. Packets that wait are lost. No function is called.

    /// \name The functions of the host
    /// Each replaces the function before. \return this session.
    /// \{

    /// `function` gets each complete packet, in order. The packet is valid during the call only.
    itcSession& onPacket(std::function<void(itcNDRReceive&)> function);
    /// `function` is told the end. The connection is closed already.
    itcSession& onClosed(std::function<void(const itcClosed&)> function);
    /// `function` is called when a packet has found the queue full, once until there is room again.
    itcSession& onFull(std::function<void()> function);
    /// `function` is called when the queue was full and has drained down to the low water.
    itcSession& onRoom(std::function<void()> function);
    /// \}

    /// \name Limits
    /// \return this session.
    /// \{

    /// Bytes of a received packet, the label of 2 bytes included, its head of 8 bytes not.
    itcSession& setMaxPacketSize(std::uint32_t bytes);
    itcSession& setIdleTimeout(Duration longest);   ///< Since the latest byte of the peer.
    itcSession& setPacketTimeout(Duration longest); ///< From the first byte of a packet to its last.
    itcSession& setSendTimeout(Duration longest);   ///< While packets wait: since the peer has taken the latest byte.
    itcSession& setHeartbeat(Duration interval);    ///< 0, as at first: no heartbeats.
    /// \param highWater bytes that may wait, heads included. A packet beyond is handled as `whenFull` says. A packet
    ///                  that alone is longer is always refused. At first 2 MiB.
    /// \param lowWater  the queue has room again when no more bytes than this wait. At first 1 MiB.
    /// \param whenFull  what happens to packets beyond. At first WhenFull::refuseNewest.
    itcSession& setQueue(std::size_t highWater, std::size_t lowWater, WhenFull whenFull);
    /// \}

    /// Takes values from a packet, one after the other. If one is not there, or is not what was sent, the session ends
    /// with itcClosed::badPacket after the function of onPacket() has returned. A text that was cut to fit its array
    /// (itcText) is no failure. Values that the packet has behind these are no failure either.
    /// \return true: all values are taken.
    template <class... Values> [[nodiscard]] bool take(itcNDRReceive& packet, Values&&... values)
    {
        (packet >> ... >> values);
        return accept(packet);
    }

    /// Sends one packet of these values: at once if nothing waits, otherwise behind what waits.
    /// \return true: the packet is sent or queued.
    ///         false, (`Itc_Tp_Would_Block`, Warning): the queue is full.
    ///         false, (`Itc_Tp_Descriptor_Not_Yet_Set`, Error): the session has ended, or is about to end.
    ///         false, (`Itc_Ndr_Buffer_Size_Too_Large`, Error): the packet alone is longer than the queue may be.
    ///         false, the status of the put: a value could not be put.
    ///         false, (`Itc_Tp_Malloc_Error`, Error): there is no memory.
    ///         false, (`Itc_Ndr_Ub_Wrong_Transmission_State`, Error): a value's own operator has called send().
    template <class... Values> [[nodiscard]] bool send(const Values&... values)
    {
        static_assert(sizeof...(Values) > 0, "send at least one value: an empty packet is a heartbeat");
        itcNDRSend* const packet = beginPacket();
        if (packet == nullptr)
            return false;
        const Building building{*this};
        (*packet << ... << values);
        return sendPacketBegun();
    }
    /// Sends a copy of a packet that the host has built. An empty packet is refused: it would be a heartbeat. A packet
    /// in Error is refused, with its status.
    /// \return as send(); false, (`Itc_Ndr_No_Buffer_Provided`, Error): the packet is empty.
    [[nodiscard]] bool sendPacket(itcNDRSend& packet);

    /// Ends in good order: accepts no further packets to send, reads again if the reading was paused, sends what waits,
    /// shuts the sending direction down, and waits for the peer to close. Packets that arrive meanwhile are handed to
    /// the host. The reason of the end is then:
    /// - itcClosed::closedByUs: the peer has closed between two packets, or the time is over and nothing waits.
    /// - itcClosed::stuck: packets still wait when `longest` is over.
    /// - as without finish(): the peer has broken the connection or the protocol before.
    void finish(Duration longest = std::chrono::seconds(5));
    /// Ends at once. Packets that wait are lost. The next cycle calls the function of onClosed().
    void close();

    /// Reads nothing until resumeReading(). The peer is held back by its own full socket. The limits for reading rest.
    void pauseReading();
    void resumeReading(); ///< Reads again.

    bool isOpen() const; ///< False from the end on, and as soon as the end is certain.

    /// Why the latest send() or sendPacket() was refused; clear after a success.
    const itcStatus& status() const;
    Handle handle() const;                      ///< For those who may be later than the end of this session.
    const itcSessionCounters& counters() const; ///< Valid as long as the session.
    /// The address of the peer as text, for example "192.0.2.1:5000" or "[2001:db8::1]:5000". "local" for local
    /// streams. Known also after the end.
    const std::string& peerAddress() const;
    /// The connection, for its options and its names. Do not read, write, link or close it. Null after the end.
    itcConnection* connection() const;

private:
    friend class itcAcceptor; // both own sessions: they are told the end
    friend class itcConnector;

    /// A packet is being built. Its end is told also when a value's own operator throws.
    struct Building {
        itcSession& session;
        ~Building() { session.endPacket(); }
    };

    itcNDRSend* beginPacket();
    bool sendPacketBegun();
    void endPacket();
    bool accept(const itcNDRReceive& packet);
    KIV_HIDDEN itcSession& setLimit(Duration kiv::SessionCore::*limit, Duration value);

    std::shared_ptr<kiv::SessionCore> core; // null only without memory
};
