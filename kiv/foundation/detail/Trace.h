/// \file
/// Internal: the functions through which the library prints.
///
/// The order: ask the check hook; after a yes compose the text; hand the text to the print hook.
/// A trace that is off therefore costs one call of the check hook.
/// If there is no memory for a text, the text is dropped. The traced operation goes on.
#pragma once

#include <kiv/foundation/KivDebug.h>

#include <cerrno>
#include <locale>
#include <new>
#include <optional>
#include <sstream>
#include <string>

namespace kiv {

/// Asks the check hook of the host.
inline bool traceWanted(short flag) { return KivDebug::pKivDebugCheck(flag); }

/// Composes a text: `compose` writes into the stream that it is given.
///
/// The stream has the classic locale. A host may have set a global locale that writes 1,234 for 1234. Traces always
/// show plain digits.
/// \return the text; nothing if there is no memory for the text.
template <class Compose> std::optional<std::string> composed(Compose&& compose)
try {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    compose(out);
    if (!out) // a stream that finds no memory does not throw: it only sets its fail bit
        return std::nullopt;
    return out.str();
} catch (const std::bad_alloc&) {
    return std::nullopt;
}

/// Hands a composed text to the print hook. Does nothing if there is no text.
///
/// An exception of the print hook is not caught: the hook and its exceptions belong to the host.
inline void print(short flag, const std::optional<std::string>& text)
{
    if (text)
        KivDebug::pKivDebugPrint(flag, text->c_str());
}

/// Composes and prints a text without asking the check hook. For callers that have asked already.
template <class Compose> void printTrace(short flag, Compose&& compose) { print(flag, composed(compose)); }

/// Asks the check hook. If the hook says yes, composes and prints a text.
template <class Compose> void trace(short flag, Compose&& compose)
{
    if (traceWanted(flag))
        printTrace(flag, compose);
}

/// Keeps `errno` while a failure is traced: saves it at construction and restores it at destruction.
///
/// The hook of the host may change `errno`. The status that is set after the trace must record the `errno` of the
/// failure.
class ErrnoKept {
public:
    ErrnoKept() : kept(errno) {}
    ~ErrnoKept() { errno = kept; }
    ErrnoKept(const ErrnoKept&) = delete;
    ErrnoKept& operator=(const ErrnoKept&) = delete;

private:
    int kept;
};

/// Traces a failure with a fixed text, under `DBG_KIV`. Keeps `errno`.
inline void traceFailure(const char* text)
{
    const ErrnoKept errnoKept;
    if (traceWanted(KivDebug::DBG_KIV))
        KivDebug::pKivDebugPrint(KivDebug::DBG_KIV, text);
}

/// Traces a failure with a text that holds values, under `DBG_KIV`. Keeps `errno`.
template <class Compose> void traceFailure(Compose&& compose)
{
    const ErrnoKept errnoKept;
    trace(KivDebug::DBG_KIV, compose);
}

/// Reports an error to the host; does nothing if the host has installed no error-report hook.
///
/// The reports of the library differ only in their type and in their texts. The priority is always 1. The code is
/// always 54.
inline void reportError(KivError::ErrType type, const char* text1, const char* text2 = nullptr)
{
    if (const KivDebug::ErrorHook report = KivDebug::pKivErrorPrint)
        report(KivError::ErrPrio(1), type, KivError::KivErrorCode(54), text1, text2, nullptr);
}

} // namespace kiv
