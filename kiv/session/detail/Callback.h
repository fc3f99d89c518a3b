/// \file
/// A function of the host that may be replaced while it runs.
#pragma once

#include <kiv/session/detail/MakeShared.h>

#include <functional>
#include <memory>
#include <utility>

namespace kiv {

/// Holds a function. Each call holds the function until it has returned: the function may replace itself, and may
/// destroy the object that has called it. An empty function is not called.
template <class... Arguments> class Callback {
public:
    using Function = std::function<void(Arguments...)>;

    Callback() = default;
    explicit Callback(Function toCall) { *this = std::move(toCall); }

    /// Without memory there is no function.
    Callback& operator=(Function toCall)
    {
        function = toCall != nullptr ? makeSharedOrNull<const Function>(std::move(toCall)) : nullptr;
        return *this;
    }

    template <class... Values> void operator()(Values&&... values) const
    {
        if (const auto held = function)
            (*held)(std::forward<Values>(values)...);
    }

private:
    std::shared_ptr<const Function> function;
};

} // namespace kiv
