/// \file
/// The states of a resumable transfer.
#pragma once

/// Where a resumable transfer stands; one enumeration for both directions. itcNdrUbSend and itcNdrUbReceive show the
/// ways between them. A sender knows Idle, Transferring, Complete and Failed only.
enum UbTransmissionState : int {
    Idle = 0,          ///< No frame in transit. A sender's content may be built; a receiver's is not readable.
    ReadingMagic = 1,  ///< The 4 bytes of the magic are coming.
    ReadingLength = 2, ///< The 4 bytes of the length are coming.
    Transferring = 3,  ///< The frame is partly sent, or the NDR data is coming.
    Complete = 4,      ///< All of it is sent, or received: now values may be taken.
    Failed = 5,        ///< The transfer has failed.
    Disconnected = 6   ///< The peer closed before the data began.
};
