/// \file
/// Internal: the alarm that ends a blocked connect().
#pragma once

#include <kiv/foundation/OS.h>

/// While it exists, SIGALRM interrupts the process after the given time. What was set before comes back in the end:
/// first the timer, then the handler, so that an alarm of the host's cannot reach our handler.
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
