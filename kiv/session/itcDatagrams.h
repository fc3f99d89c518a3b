/// \file
/// Packets as datagrams: one packet, one datagram.
#pragma once

#include <kiv/address/itcInetAddress.h>
#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/foundation/export.h>
#include <kiv/foundation/itcStatus.h>
#include <kiv/ndr/itcNDRReceive.h>
#include <kiv/ndr/itcNDRSend.h>
#include <kiv/records/itcValues.h>

#include <cstdint>
#include <functional>
#include <memory>

/// Sends packets to one address by UDP.
///
/// \code
/// itcDatagramSender heart(itcInetAddress("collector.example", 5001));
/// if (!heart.send(Beat{1}))
///     std::cerr << heart.status().STATUS_text() << '\n';
/// \endcode
/// Datagrams may be lost, doubled, or overtake each other. Nobody tells.
///
/// \par Threads
/// One thread at a time per object.
/// \par Errors
/// Nothing throws.
class KIV_EXPORT itcDatagramSender {
public:
    /// The largest packet: 512 bytes, less the head of 8 bytes. A receiver of this library cuts what is longer.
    static constexpr unsigned int longestPacket = 504;

    /// Makes a socket that sends to one address.
    explicit itcDatagramSender(const itcInetAddress& remote);
    itcDatagramSender(const itcDatagramSender&) = delete;
    itcDatagramSender& operator=(const itcDatagramSender&) = delete;
    ~itcDatagramSender();

    /// Sends one packet of these values.
    /// \return true: the system has taken the datagram.
    ///         false, (`Itc_Ndr_Buffer_Size_Too_Large`, Error): the packet is longer than #longestPacket.
    ///         false, (`Itc_Tp_Would_Block`, Warning): the system has no room now.
    ///         false, (`Itc_Tp_Write_Call_Failed`, Error): the system refused. ECONNREFUSED tells that nobody has
    ///         received an earlier datagram. The next send may succeed.
    ///         false, the status of the constructor: there is no socket.
    ///         false, the status of the put: a value could not be put.
    template <class... Values> [[nodiscard]] bool send(const Values&... values)
    {
        static_assert(sizeof...(Values) > 0, "send at least one value");
        itcNDRSend* const packet = beginPacket();
        if (packet == nullptr)
            return false;
        (*packet << ... << values);
        return sendPacketBegun();
    }

    /// Clear, or why the constructor or the latest send() has failed.
    const itcStatus& status() const { return senderStatus; }
    explicit operator bool() const; ///< There is a socket.

private:
    itcNDRSend* beginPacket();
    bool sendPacketBegun();

    class KIV_HIDDEN Core;
    std::unique_ptr<Core> core; // null without memory, and without a socket
    itcStatus senderStatus;
};

/// Receives packets by UDP, from anybody.
///
/// \code
/// itcDatagramReceiver hearts(itcInetAddress(5001), [](itcNDRReceive& packet, const itcInetAddress& sender) {
///     Beat beat;
///     packet >> beat;
///     if (packet.severity == Success)
///         std::cout << sender.numeric_hostname() << " beats\n";
/// });
/// \endcode
/// What is no packet is counted and dropped.
///
/// \par Threads
/// The dispatching thread only.
/// \par Errors
/// Nothing throws, except the function of the host. After the constructor test the object: `if (!receiver)`.
class KIV_EXPORT itcDatagramReceiver {
public:
    /// `packet` is valid during the call. `sender` is the address from which the datagram came.
    using Received = std::function<void(itcNDRReceive& packet, const itcInetAddress& sender)>;

    /// Receives at an address. Port 0 is any free port: see port().
    itcDatagramReceiver(const itcInetAddress& local, Received received,
                        itcDispatcher& dispatcher = *itcDispatcher::instance());
    itcDatagramReceiver(const itcDatagramReceiver&) = delete;
    itcDatagramReceiver& operator=(const itcDatagramReceiver&) = delete;
    ~itcDatagramReceiver();

    std::uint64_t received() const;                            ///< Packets that were handed to the host.
    std::uint64_t refused() const;                             ///< Datagrams that were no packets.
    int port() const;                                          ///< The port; 0 without a socket.
    const itcStatus& status() const { return receiverStatus; } ///< Clear, or why nothing can be received.
    explicit operator bool() const { return receiverStatus.severity == Success; } ///< The status is clear.

private:
    class KIV_HIDDEN Core;
    std::shared_ptr<Core> core; // null only without memory
    itcStatus receiverStatus;
};
