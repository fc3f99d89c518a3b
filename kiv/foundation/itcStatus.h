/// \file
/// The status record that every stateful object carries instead of throwing.
#pragma once

#include <kiv/foundation/ItcStatusCode.h>
#include <kiv/foundation/export.h>

#include <string>

/// The outcome of an object's last failing operation.
///
/// Operations return a plain indicator and leave the details here. A failing operation writes all three fields; a
/// successful one that clears the status sets all three to 0. Which ones clear it is said at each operation.
///
/// \par Threads  Not synchronised: a status belongs to its object and to the thread that uses it.
struct KIV_EXPORT itcStatus {
    int code = Itc_Ok;      ///< An ItcStatusCode. Outside the table only -1, from itcNDRReceive::end_transaction().
    int severity = Success; ///< A StatusSeverity.
    int errorNumber = 0;    ///< `errno` as it was at the failure; after `Itc_Tp_Unknown_Peer` the resolver's code.

    /// The whole record as text: "Error: Itc_Tp_Bind_Call_Failed, [98] Address already in use".
    ///
    /// A severity outside the enumeration leaves its word empty, a code outside the table reads "code = <n>". An
    /// error number of 0 adds nothing. \return the text; empty when there is no memory for it.
    std::string STATUS_text() const;

    /// The error number with the system's text for it: "[98] Address already in use".
    /// \return the text; empty when there is no memory for it.
    std::string STATUS_errorno_text() const;
};
