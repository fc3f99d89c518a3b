/// \file
/// The states of a resumable transfer.
#pragma once

/// Where a resumable transfer stands. Both directions share one enumeration. A sender knows Idle, Transferring,
/// Complete and Failed only. itcNdrUbSend and itcNdrUbReceive show the ways between the states.
enum UbTransmissionState : int {
    Idle = 0,          ///< No frame is in transit. A sender may be built; a receiver cannot be read.
    ReadingMagic = 1,  ///< The 4 bytes of the magic are being read.
    ReadingLength = 2, ///< The 4 bytes of the length are being read.
    Transferring = 3,  ///< The frame is partly sent, or the NDR data is being read.
    Complete = 4,      ///< The frame is sent, or received: values may be taken.
    Failed = 5,        ///< The transfer has failed.
    Disconnected = 6   ///< The peer has closed before the data began.
};
