/// \file
/// The common base of the endpoint addresses.
#pragma once

#include <kiv/foundation/export.h>
#include <kiv/foundation/itcStatus.h>

#include <sys/socket.h>

/// A socket address with the status of its making. A plain record: nothing virtual, nothing owned, copy it freely.
///
/// The constructor zero-fills both fields; itcInetAddress and itcUnixAddress say how they are filled.
struct KIV_EXPORT itcAddress {
    itcStatus status;           ///< How the last lookup or setting ended.
    sockaddr_storage address{}; ///< What the socket calls are given. The family decides how much of it counts.
};
