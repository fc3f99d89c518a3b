/// \file
/// Installs the diagnostic hooks and remembers what the library tells them.
#pragma once

#include <kiv/foundation/KivDebug.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// The constructor installs the hooks. While the recorder exists, `check` decides which traces are on (at first all),
/// and every text and every error report is kept. The destructor restores the earlier hooks and flags. Only one
/// recorder may exist at a time.
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

    /// The answer of the check hook. At first the answer is yes to every flag.
    std::function<bool(short flag)> check = [](short) { return true; };

    std::vector<std::string> texts() const; ///< All printed texts, whatever their flag.
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
