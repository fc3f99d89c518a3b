/// \file
/// The fixture of all tests about the traces of the resolver calls.
#pragma once

#include "HookRecorder.h"
#include "SystemResolver.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

/// The text with its "<n>" filled in.
inline std::string numbered(std::string text, int number)
{
    return text.replace(text.find("<n>"), 3, std::to_string(number));
}

/// The number in a trace text, the digits behind "#".
inline int numberIn(const std::string& text) { return std::stoi(text.substr(text.find('#') + 1)); }

class ResolverTraces : public WithSystemResolver {
protected:
    /// Makes a traced call and tells the number that the next of its kind has. It is never 0, so a text with number 0
    /// is seen to come from a call that took none.
    template <class Call> int numberAfter(Call call)
    {
        call();
        const int number = numberIn(hooks.texts().back());
        hooks.clear();
        return number + 1;
    }

    /// What the check hook says at the first time it is asked, the second and so on.
    void answerChecks(std::vector<bool> answers)
    {
        hooks.clear();
        hooks.check = [this, answers = std::move(answers)](short flag) {
            const auto asked = static_cast<size_t>(hooks.checks());
            return flag == HookRecorder::kivFlag && asked <= answers.size() && answers[asked - 1];
        };
    }

    HookRecorder hooks;
};
