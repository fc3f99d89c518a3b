/// \file
/// The common base of the address classes.
#pragma once

#include <kiv/foundation/export.h>
#include <kiv/foundation/itcStatus.h>

#include <sys/socket.h>

/// A socket address, together with the status of the operation that made the address.
///
/// A plain record without virtual functions and without owned memory: copy an address freely. The constructor fills
/// both fields with zeros. itcInetAddress and itcUnixAddress describe what is written into the fields.
struct KIV_EXPORT itcAddress {
    /// How the last lookup or setting ended.
    itcStatus status;
    /// The address that is passed to the socket calls. The family decides how many bytes are used. Family 0 means: no
    /// address.
    sockaddr_storage address{};
};
