// The hooks through which the library prints.
#pragma once

/// Lets the library print to stderr. Call this function before the library is used.
/// \param trace   print the failures of connections and the calls of the resolver.
/// \param report  print once a minute how often and how long the dispatcher has waited and has called handlers.
void installHooks(bool trace, bool report);
