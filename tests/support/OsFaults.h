/// \file
/// Faults and scripts for the OS_ layer. The test program defines the functions of OsFaultsList.h itself, so the library
/// calls these instead of its own; each passes on to the library's unless a test says otherwise.
///
///     OsFaults::send().failNext(2, EAGAIN);        // the next two calls fail, later ones pass
///     OsFaults::bind().failCall(3, EADDRINUSE);    // the third call from now fails
///     OsFaults::failAnyCall(4, ENOBUFS);           // the fourth call of any function from now fails
///     OsFaults::recv().instead = [](int, void*, size_t) -> ssize_t { return 0; };
///
/// Every test starts with all of them cleared: the listener in LeakListener.h does that.
#pragma once

#include "OsFaultsList.h"

#include <kiv/foundation/OS.h>

#include <cerrno>
#include <functional>
#include <mutex>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace OsFaults {
/// Counts a call for failAnyCall(). \return true, with `errno` set, when this call is the one that is to fail.
bool isCallToFail(const char* name);
} // namespace OsFaults

template <class Function> class OsCall;

template <class Result, class... Args> class OsCall<Result(Args...)> {
public:
    using Failure = std::conditional_t<std::is_void_v<Result>, std::nullptr_t, Result>;

    /// \param whenFailing what a scripted failure returns; null for a function without a result, which never fails.
    /// \param function    its name, if OsFaults::failAnyCall() is to count its calls.
    explicit OsCall(Failure whenFailing, const char* function = nullptr) : failure(whenFailing), name(function) {}

    /// The next `count` calls fail with this error number, without reaching the system.
    void failNext(int count, int error)
    {
        std::lock_guard lock(mutex);
        passing = 0;
        failing = count;
        failError = error;
    }
    /// Only the `nth` call from now fails; 1 is the next.
    void failCall(int nth, int error)
    {
        std::lock_guard lock(mutex);
        passing = nth - 1;
        failing = 1;
        failError = error;
    }

    /// Replaces the call altogether. Set it only while no other thread calls.
    std::function<Result(Args...)> instead;

    /// Is told the arguments of every call that is not made to fail, before the call. clear() leaves it in place.
    std::function<void(Args...)> watch;

    /// How often the function was called since the last clear().
    int calls() const
    {
        std::lock_guard lock(mutex);
        return static_cast<int>(history.size());
    }
    /// The arguments of every call since the last clear().
    std::vector<std::tuple<std::decay_t<Args>...>> asked() const
    {
        std::lock_guard lock(mutex);
        return history;
    }
    /// One argument of every call since the last clear().
    template <std::size_t Index> auto askedArgument() const
    {
        std::vector<std::tuple_element_t<Index, std::tuple<std::decay_t<Args>...>>> values;
        for (const auto& call : asked())
            values.push_back(std::get<Index>(call));
        return values;
    }

    void clear()
    {
        std::lock_guard lock(mutex);
        instead = nullptr;
        passing = failing = 0;
        history.clear();
    }

    /// For the definitions in OsFaults.cpp.
    Result call(Result (*real)(Args...), Args... args)
    {
        if (fails(args...))
            return static_cast<Result>(failure);
        if (watch)
            watch(args...);
        return instead ? instead(args...) : real(args...);
    }

private:
    bool fails(const Args&... args)
    {
        std::lock_guard lock(mutex);
        history.emplace_back(args...);
        if (!std::is_void_v<Result> && name != nullptr && OsFaults::isCallToFail(name))
            return true;
        if (passing > 0) {
            --passing;
            return false;
        }
        if (failing == 0)
            return false;
        --failing;
        errno = failError;
        return true;
    }

    mutable std::mutex mutex;
    const Failure failure;
    const char* const name;
    int passing = 0;
    int failing = 0;
    int failError = 0;
    std::vector<std::tuple<std::decay_t<Args>...>> history;
};

namespace OsFaults {

#define KIV_DECLARE_SCRIPT(result, name, failure, parameters, arguments) OsCall<result parameters>& name();
KIV_OS_FAULTS(KIV_DECLARE_SCRIPT)
#undef KIV_DECLARE_SCRIPT

/// Only the `nth` call from now fails, whichever of the functions it is; 1 is the next, 0 is none.
void failAnyCall(int nth, int error);
/// The name of the function that failAnyCall() has made to fail; empty as long as there is none.
std::string failedCall();

/// Forgets every script and all history.
void clearAll();

} // namespace OsFaults
