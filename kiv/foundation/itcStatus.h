/// \file
/// The status record: where operations leave the reason of a failure.
#pragma once

#include <kiv/foundation/ItcStatusCode.h>
#include <kiv/foundation/export.h>

#include <string>

/// The outcome of the last failing operation of an object.
///
/// Nothing in the library throws. An operation returns a plain result and leaves the details in this record.
/// - A failing operation writes all three fields.
/// - A successful operation that clears the status sets all three fields to 0.
/// - Some successful operations leave the status as it is. The comment at each operation says which ones clear it.
///
/// Connections, the dispatcher and the marshalling buffers derive from itcStatus. Addresses hold an itcStatus.
///
/// \par Threads
/// Not synchronised. A status belongs to its object, and to the thread that uses the object.
struct KIV_EXPORT itcStatus {
    /// An ItcStatusCode. One value lies outside the enumeration: -1, from itcNDRReceive::end_transaction().
    int code = Itc_Ok;
    /// A StatusSeverity.
    int severity = Success;
    /// The system's error number (`errno`) at the moment of the failure. If no system call failed, `errno` may be left
    /// from an earlier call. With `Itc_Tp_Unknown_Peer` the number is the resolver's return code (`EAI_...`).
    int errorNumber = 0;

    /// The whole record as text, for example "Error: Itc_Tp_Bind_Call_Failed, [98] Address already in use".
    ///
    /// - A severity outside StatusSeverity adds no word before the colon.
    /// - A code outside ItcStatusCode reads "code = <n>".
    /// - An error number of 0 adds nothing.
    /// \return the text; an empty text if there is no memory for it.
    std::string STATUS_text() const;

    /// The error number with the system's text for this number, for example "[98] Address already in use".
    ///
    /// A resolver's return code is shown with the text of the system error of that number, which means nothing. Use
    /// gai_strerror() after `Itc_Tp_Unknown_Peer`.
    /// \return the text; an empty text if there is no memory for it.
    std::string STATUS_errorno_text() const;
};
