// Ending on SIGINT and SIGTERM.
#pragma once

/// Lets SIGINT and SIGTERM ask for a clean end. The second one of a kind ends the process at once, as if nothing had
/// been installed: a process that hangs in a blocking call can still be interrupted.
void stopOnSignals();

/// True once a signal has asked for the end. A signal also interrupts the dispatcher's wait; one that comes just before
/// the wait does not, so give the wait a limit.
bool stopRequested();
