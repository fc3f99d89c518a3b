/// \file
/// Internal: the alarm that ends a blocked connect().
#pragma once

#include <kiv/foundation/OS.h>

namespace kiv {

/// While this object exists, SIGALRM interrupts the process after the given time. The destructor puts the host's timer
/// back first, then the host's handler. An alarm of ours can therefore neither reach the host's handler nor end a
/// process that has no handler. Where our handler cannot be installed no alarm is set, and the connect has no limit.
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
