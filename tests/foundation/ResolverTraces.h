/// \file
/// The fixture of all tests about the traces of the resolver calls.
#pragma once

#include "HookRecorder.h"
#include "SystemResolver.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

/// Returns the text with the number in place of "<n>".
inline std::string numbered(std::string text, int number)
{
    return text.replace(text.find("<n>"), 3, std::to_string(number));
}

/// Returns the number in a trace text: the digits behind "#".
inline int numberIn(const std::string& text) { return std::stoi(text.substr(text.find('#') + 1)); }

class ResolverTraces : public WithSystemResolver {
protected:
    /// Makes a traced call. Returns the number of the next call of this kind, which is never 0. A text with the number
    /// 0 therefore comes from a call that took no number.
    template <class Call> int numberAfter(Call call)
    {
        call();
        const int number = numberIn(hooks.texts().back());
        hooks.clear();
        return number + 1;
    }

    /// Sets the answers of the check hook, in the order of its calls. All further answers are no.
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
