/// \file
/// The hooks through which the library speaks to its host: traces, error reports.
#pragma once

#include <kiv/foundation/export.h>

/// What the error-report hook is told beside its texts.
///
/// The library passes plain numbers. The names of the numbers belong to the host's own error facility: a host may define
/// enumerators of its own in these enumerations (`namespace KivError { enum ErrPrio : int { High = 1 }; }`).
namespace KivError {
enum ErrPrio : int;      ///< The priority. The library passes 1.
enum ErrType : int;      ///< The type. The library passes 0 (wrong use) or 1 (a resource is lost).
enum KivErrorCode : int; ///< The code. The library passes 54.
} // namespace KivError

/// The library has no log of its own. Until a host installs these hooks every trace is off and nothing is printed.
///
/// \par Threads  The pointers are plain words: install them before other threads use the library. The hooks are called
///               on whatever thread performs the traced operation, so they must be thread-safe themselves.
namespace KivDebug {

/// Prints one trace text. `text` is valid only during the call and ends without a newline unless it holds one.
using PrintHook = void (*)(short flag, const char* text);
/// Says whether traces under `flag` are wanted. Asked anew before texts are composed.
using CheckHook = bool (*)(short flag);
/// Registers a debug flag and returns its id.
using RegisterHook = short (*)(const char* component, const char* group, const char* name, const char* description);
/// Takes one error report. Texts that a report does not use are null.
using ErrorHook = void (*)(KivError::ErrPrio priority, KivError::ErrType type, KivError::KivErrorCode code,
                           const char* text1, const char* text2, const char* text3);

KIV_EXPORT extern PrintHook pKivDebugPrint;      ///< Null at first. Never tested: called only after a yes of the check.
KIV_EXPORT extern CheckHook pKivDebugCheck;      ///< At first a built-in function that says no to every flag.
KIV_EXPORT extern RegisterHook pRegisterDbgFlag; ///< At first a built-in function that returns -1.
KIV_EXPORT extern ErrorHook pKivErrorPrint;      ///< Null at first: error reports are dropped.

KIV_EXPORT extern short DBG_KIV; ///< Flag of all failure and resolver traces; -1 until registered.
KIV_EXPORT extern short DBG_NFR; ///< Flag of the performance report; -1 until registered.
KIV_EXPORT extern short DBG_SSL; ///< Registered for the host's TLS layer, never tested here; -1 until registered.

/// Installs the three trace hooks and registers the library's flags KIV, NFR and SSL through `registerFlag`, in this
/// order. Calling it again registers them again with the new hook.
///
/// REQUIRES: all three are valid functions (none is tested), and no other thread uses the library yet.
KIV_EXPORT void initKivDebugPrint(PrintHook print, CheckHook check, RegisterHook registerFlag);

/// Installs the error-report hook; null switches error reports off again.
KIV_EXPORT void initKivErrorPrint(ErrorHook errorPrint);

} // namespace KivDebug
