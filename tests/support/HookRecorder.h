/// \file
/// Installs the diagnostic hooks and remembers what they are told.
#pragma once

#include <kiv/foundation/KivDebug.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// While it exists, traces are on (unless asked otherwise) and every text and error report is kept. The hooks and flags
/// from before come back in the end. One at a time.
class HookRecorder {
public:
    static constexpr short kivFlag = 7;
    static constexpr short nfrFlag = 8;
    static constexpr short sslFlag = 9;

    struct ErrorReport {
        int priority, type, code;
        std::optional<std::string> text1, text2, text3; // nothing where the library passed null
    };

    HookRecorder();
    ~HookRecorder();
    HookRecorder(const HookRecorder&) = delete;
    HookRecorder& operator=(const HookRecorder&) = delete;

    /// What the check hook answers; at first yes to every flag.
    std::function<bool(short flag)> check = [](short) { return true; };

    std::vector<std::string> texts() const; ///< All texts printed, under whatever flag.
    std::vector<short> flags() const;       ///< The flag of each text.
    std::vector<ErrorReport> errorReports() const;
    int checks() const; ///< How often the check hook was asked.
    void clear();

private:
    KivDebug::PrintHook previousPrint;
    KivDebug::CheckHook previousCheck;
    KivDebug::RegisterHook previousRegister;
    KivDebug::ErrorHook previousError;
    short previousFlags[3];
};
