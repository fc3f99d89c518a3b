/// \file
/// Internal: the one way in which the library prints.
#pragma once

#include <kiv/foundation/KivDebug.h>

#include <cerrno>
#include <locale>
#include <new>
#include <optional>
#include <sstream>
#include <string>

namespace kiv {

inline bool traceWanted(short flag)
{
    return KivDebug::pKivDebugCheck(flag);
}

/// Composes a text. The stream has the classic locale: numbers are plain digits also in a host whose locale groups them.
/// \return nothing when there is no memory for the text.
template <class Compose> std::optional<std::string> composed(Compose&& compose)
try {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    compose(out);
    if (!out) // the stream keeps an allocation failure to itself
        return std::nullopt;
    return out.str();
} catch (const std::bad_alloc&) {
    return std::nullopt;
}

/// Hands a composed text to the print hook. A text for which there was no memory is dropped. An exception of the hook
/// is the host's own and passes.
inline void print(short flag, const std::optional<std::string>& text)
{
    if (text)
        KivDebug::pKivDebugPrint(flag, text->c_str());
}

/// Composes and prints without asking the check hook: for callers that have asked.
template <class Compose> void printTrace(short flag, Compose&& compose)
{
    print(flag, composed(compose));
}

/// Composes and prints only after the check hook said yes, so that a trace costs one call while it is off.
template <class Compose> void trace(short flag, Compose&& compose)
{
    if (traceWanted(flag))
        printTrace(flag, compose);
}

/// Keeps `errno` while a failure is traced: the status that is set next records it, whatever the hook has done.
class ErrnoKept {
public:
    ErrnoKept() : kept(errno) {}
    ~ErrnoKept() { errno = kept; }
    ErrnoKept(const ErrnoKept&) = delete;
    ErrnoKept& operator=(const ErrnoKept&) = delete;

private:
    int kept;
};

/// A failure trace that is a fixed text.
inline void traceFailure(const char* text)
{
    const ErrnoKept errnoKept;
    if (traceWanted(KivDebug::DBG_KIV))
        KivDebug::pKivDebugPrint(KivDebug::DBG_KIV, text);
}

/// A failure trace with values in it.
template <class Compose> void traceFailure(Compose&& compose)
{
    const ErrnoKept errnoKept;
    trace(KivDebug::DBG_KIV, compose);
}

/// The library's error reports differ only in their type and their texts.
inline void reportError(KivError::ErrType type, const char* text1, const char* text2 = nullptr)
{
    if (const KivDebug::ErrorHook report = KivDebug::pKivErrorPrint)
        report(KivError::ErrPrio(1), type, KivError::KivErrorCode(54), text1, text2, nullptr);
}

} // namespace kiv
