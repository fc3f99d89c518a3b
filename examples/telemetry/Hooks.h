// What the library tells about itself.
#pragma once

/// Lets the library print to stderr. Call it first thing, before the library is used.
/// \param trace   every failure of a connection, and every call of the resolver.
/// \param report  how often and how long the dispatcher waited and called, once a minute.
void installHooks(bool trace, bool report);
