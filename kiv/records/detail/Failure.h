/// \file
/// How the companion's operations fail: a status in the buffer, and nothing else changed.
#pragma once

#include <kiv/foundation/OS.h>
#include <kiv/foundation/itcStatus.h>
#include <kiv/records/detail/Inline.h>

#include <cxxabi.h>

namespace kiv {

/// Records a failure as the library does: the error number first. \return false, for the caller to return.
inline bool fail(itcStatus& status, ItcStatusCode code, StatusSeverity severity)
{
    status.errorNumber = OS_getLastError();
    status.code = code;
    status.severity = severity;
    return false;
}

inline void clear(itcStatus& status)
{
    status.code = Itc_Ok;
    status.severity = Success;
    status.errorNumber = 0;
}

/// Calls `step` and turns exceptions into a status. Strings and containers report a lack of memory by exceptions. What
/// a host's operators throw ends in the same way.
/// \return what `step` returns; false after an exception.
template <class Step> KIV_ALWAYS_INLINE bool withoutExceptions([[maybe_unused]] itcStatus& status, const Step& step)
{
#ifdef __cpp_exceptions
    try {
        return step();
#ifdef __GLIBCXX__ // other standard libraries have no name for it
    } catch (const abi::__forced_unwind&) {
        throw; // the thread is being cancelled
#endif
    } catch (...) {
        return fail(status, Itc_Ndr_Buffer_Alloc_Failed, Error);
    }
#else
    return step();
#endif
}

/// Whether a text was cut. This Warning stops no take.
inline bool tellsCut(const itcStatus& status)
{
    return status.code == Itc_Ndr_Buffer_Size_Too_Small && status.severity == Warning;
}

/// Whether a take before has failed: nothing more is taken then.
inline bool isBroken(const itcStatus& status) { return status.severity > Success && !tellsCut(status); }

/// How deep records may lie in one another. A structure that contains a vector of itself could otherwise be made to use
/// up the stack by a peer: each level costs the peer only four bytes.
inline constexpr unsigned int deepestNesting = 64;

/// How many records lie around a value whose operators belong to the host, while these run. Each of them begins a new
/// put or take, which would not know the levels around it.
inline thread_local unsigned int levelsAround = 0;

/// Counts the levels while records are put or taken.
class Level {
public:
    explicit Level(unsigned int& depth) : level(depth) { ++level; }
    ~Level() { --level; }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;

    bool isTooDeep() const { return level > deepestNesting; }

private:
    unsigned int& level;
};

/// Tells the levels to the puts and takes of the host's operators.
class HostLevel {
public:
    explicit HostLevel(unsigned int depth) : before(levelsAround) { levelsAround = depth + 1; }
    ~HostLevel() { levelsAround = before; }
    HostLevel(const HostLevel&) = delete;
    HostLevel& operator=(const HostLevel&) = delete;

    static bool isTooDeep() { return levelsAround > deepestNesting; }

private:
    unsigned int before;
};

} // namespace kiv
