/// \file
/// Internal: the alarm that ends a blocked connect().
#pragma once

#include <kiv/foundation/OS.h>

namespace kiv {

/// While it exists, SIGALRM interrupts the process after the given time. What was set before comes back in the end:
/// first the timer, then the handler, so that our alarm cannot reach the host's handler or, where it has none, end the
/// process. Where the handler cannot be installed no alarm is set, and the connect has no limit.
class ConnectAlarm {
public:
    ConnectAlarm(unsigned int milliseconds, OS_signalHandler handler);
    ~ConnectAlarm();
    ConnectAlarm(const ConnectAlarm&) = delete;
    ConnectAlarm& operator=(const ConnectAlarm&) = delete;

private:
    OS_signalHandler previousHandler;
    itimerval previousTimer{};
};

} // namespace kiv
