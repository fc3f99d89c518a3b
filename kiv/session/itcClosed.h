/// \file
/// Why a connection has ended, or was not made.
#pragma once

#include <kiv/foundation/export.h>
#include <kiv/foundation/itcStatus.h>

#include <string>

/// The reason that a session tells at its end, and that a connector tells when it could not connect.
struct KIV_EXPORT itcClosed {
    /// The kinds of reasons. The numbers are binary interface: new ones are added at the end.
    enum Reason : int {
        closedByUs = 0,           ///< The host has called close() or finish().
        peerLeft = 1,             ///< The peer has closed between two packets: the regular end.
        peerLeftInsidePacket = 2, ///< The peer has closed inside a packet: the packet is lost.
        notOurProtocol = 3,       ///< The bytes are no frame.
        tooLong = 4,              ///< A frame announces more than the limit.
        badPacket = 5,            ///< A packet does not hold what itcSession::take() was asked to take; see #status.
        silent = 6,               ///< The peer has sent no byte for too long.
        tooSlow = 7,              ///< The peer has begun a packet and has not finished it in time.
        stuck = 8,                ///< The peer does not take what is sent: the queue did not drain in time.
        connectionLimit = 9,      ///< The limit of connections is reached, or the descriptor is too high to be linked.
        unknownName = 10,         ///< The resolver does not know the name; #errorNumber is its code (`EAI_...`).
        systemError = 11,         ///< The system has reported #errorNumber.
        queueFull = 12            ///< A packet found the queue full, and the host has asked to close then.
    };

    Reason reason = closedByUs; ///< What has happened.
    int errorNumber = 0;        ///< The system's number (`errno`) behind the reason; 0 when there is none.
    itcStatus status;           ///< The status of the operation that has failed; clear when none has failed.

    /// One line for a log, for example "the connection has failed: [104] Connection reset by peer".
    /// \return the text; empty if there is no memory for it.
    std::string text() const;
};
