/// \file
/// Internal: the functions through which the library writes an itcStatus.
///
/// `errno` is the number of the latest failed call in this thread. Closing, freeing and tracing may change `errno`. A
/// caller that does one of these between the failure and setStatus() saves the number of the failure first, and passes
/// the saved number.
#pragma once

#include <kiv/foundation/OS.h>
#include <kiv/foundation/itcStatus.h>

namespace kiv {

/// Sets all three fields to 0: the status of a success.
inline void clearStatus(itcStatus& status) { status = itcStatus{}; }

/// Records a failure whose error number was saved earlier, or comes from the resolver.
inline void setStatus(itcStatus& status, ItcStatusCode code, StatusSeverity severity, int errorNumber)
{
    status.errorNumber = errorNumber;
    status.code = code;
    status.severity = severity;
}

/// Records a failure with the `errno` of this moment.
inline void setStatus(itcStatus& status, ItcStatusCode code, StatusSeverity severity)
{
    setStatus(status, code, severity, OS_getLastError());
}

} // namespace kiv
