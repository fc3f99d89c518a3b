/// \file
/// The hooks: functions of the host through which the library prints traces and reports errors.
#pragma once

#include <kiv/foundation/export.h>

/// The numbers that the library passes to the error-report hook.
///
/// The enumerations are opaque: the library declares no enumerators. The names of the numbers belong to the
/// error-reporting facility of the host. A host may define its own enumerators:
/// \code
/// namespace KivError {
/// enum ErrPrio : int { High = 1 };
/// }
/// \endcode
namespace KivError {
enum ErrPrio : int;      ///< The priority. The library passes 1.
enum ErrType : int;      ///< The type. The library passes 0 (wrong use) or 1 (a resource is lost).
enum KivErrorCode : int; ///< The code. The library passes 54.
} // namespace KivError

/// The hooks, and the ids of the debug flags.
///
/// The library has no log of its own. Until a host installs hooks, every trace is off and nothing is printed.
///
/// \par Threads
/// All variables here are plain words without a lock. Install the hooks before other threads use the library. The
/// library calls a hook on the thread that performs the traced operation. The hooks must therefore be thread-safe.
namespace KivDebug {

/// Prints one trace text.
///
/// `text` is valid only during the call. The library adds no newline at the end of `text`.
using PrintHook = void (*)(short flag, const char* text);
/// Says whether traces under `flag` are wanted. The library asks each time before it prints a text.
using CheckHook = bool (*)(short flag);
/// Registers a debug flag. \return the id of the flag, which the library passes to the other hooks.
using RegisterHook = short (*)(const char* component, const char* group, const char* name, const char* description);
/// Takes one error report. A text that the report does not use is null.
using ErrorHook = void (*)(KivError::ErrPrio priority, KivError::ErrType type, KivError::KivErrorCode code,
                           const char* text1, const char* text2, const char* text3);

/// The print hook; null at first.
///
/// The library does not test the pointer for null: it calls the print hook only after the check hook has said yes, and
/// the built-in check hook never says yes. Install both hooks together.
KIV_EXPORT extern PrintHook pKivDebugPrint;
/// The check hook; at first a built-in function that says no to every flag. The library does not test
/// the pointer for null.
KIV_EXPORT extern CheckHook pKivDebugCheck;
/// The registration hook; at first a built-in function that returns -1. The library does not test the pointer for
/// null.
KIV_EXPORT extern RegisterHook pRegisterDbgFlag;
/// The error-report hook; null at first. While the hook is null, error reports are dropped.
KIV_EXPORT extern ErrorHook pKivErrorPrint;

/// The flag of the failure traces and of the resolver traces; -1 until registered.
KIV_EXPORT extern short DBG_KIV;
/// The flag of the performance report; -1 until registered.
KIV_EXPORT extern short DBG_NFR;
/// A flag for the TLS layer of the host; -1 until registered. The library registers the flag and never tests it.
KIV_EXPORT extern short DBG_SSL;

/// Installs the three trace hooks. Then registers the flags KIV, NFR and SSL, in this order, by three calls of
/// `registerFlag`, and stores the returned ids in #DBG_KIV, #DBG_NFR and #DBG_SSL.
///
/// A second call registers the three flags a second time, with the new hook.
/// \pre All three arguments point to functions; none is tested for null. No other thread uses the library yet.
KIV_EXPORT void initKivDebugPrint(PrintHook print, CheckHook check, RegisterHook registerFlag);

/// Installs the error-report hook. Null switches error reports off again.
KIV_EXPORT void initKivErrorPrint(ErrorHook errorPrint);

} // namespace KivDebug
