/// \file
/// Internal: the one way in which the library writes an itcStatus.
#pragma once

#include <kiv/foundation/OS.h>
#include <kiv/foundation/itcStatus.h>

namespace kiv {

inline void clearStatus(itcStatus& status)
{
    status = itcStatus{};
}

/// For failures whose error number was saved earlier because what came between may have changed `errno`.
inline void setStatus(itcStatus& status, ItcStatusCode code, StatusSeverity severity, int errorNumber)
{
    status.errorNumber = errorNumber;
    status.code = code;
    status.severity = severity;
}

inline void setStatus(itcStatus& status, ItcStatusCode code, StatusSeverity severity)
{
    setStatus(status, code, severity, OS_getLastError());
}

} // namespace kiv
