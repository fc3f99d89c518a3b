// Ends the program on SIGINT and SIGTERM.
#pragma once

/// Lets SIGINT and SIGTERM ask for a clean end.
///
/// The first signal of each kind sets a mark for stopRequested(). The second signal of the same kind ends the process
/// at once. So a process that hangs in a blocking call can still be ended.
void stopOnSignals();

/// True after a signal has asked for the end.
///
/// A signal that comes during the wait of the dispatcher ends the wait. A signal that comes just before the wait does
/// not. So give the wait a limit, and ask again after it.
bool stopRequested();
