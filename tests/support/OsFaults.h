/// \file
/// Faults and scripts for the OS_ layer. The test program defines the functions of OsFaultsList.h itself. The library
/// then calls the test program's functions instead of its own. Each of them calls the library's own function, unless a
/// test has set a fault or a script.
///
///     OsFaults::send().failNext(2, EAGAIN);        // the next two calls fail, later ones pass
///     OsFaults::bind().failCall(3, EADDRINUSE);    // the third call from now fails
///     OsFaults::failAnyCall(4, ENOBUFS);           // the fourth call of any function from now fails
///     OsFaults::recv().instead = [](int, void*, size_t) -> ssize_t { return 0; };
///
/// LeakListener.h clears all faults and scripts before and after each test.
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
/// Counts a call for failAnyCall(). \return true, with `errno` set, when this call is to fail.
bool isCallToFail(const char* name);
} // namespace OsFaults

template <class Function> class OsCall;

template <class Result, class... Args> class OsCall<Result(Args...)> {
public:
    using Failure = std::conditional_t<std::is_void_v<Result>, std::nullptr_t, Result>;

    /// \param whenFailing what a scripted failure returns. Null for a function without a result.
    /// \param function    the function's name without OS_, or null. failAnyCall() counts only functions with a name.
    explicit OsCall(Failure whenFailing, const char* function = nullptr) : failure(whenFailing), name(function) {}

    /// The next `count` calls fail with this error number. They do not reach the system.
    void failNext(int count, int error)
    {
        std::lock_guard lock(mutex);
        passing = 0;
        failing = count;
        failError = error;
    }
    /// Only the `nth` call from now fails. 1 is the next call.
    void failCall(int nth, int error)
    {
        std::lock_guard lock(mutex);
        passing = nth - 1;
        failing = 1;
        failError = error;
    }

    /// Replaces the library's function. Set `instead` only while no other thread calls the function.
    std::function<Result(Args...)> instead;

    /// Called with the arguments before every call that is not made to fail. clear() keeps the watcher.
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

    /// Makes room for the arguments of so many calls. The memory of the harness must not fail when a test lets the
    /// library's memory fail. clear() keeps the room.
    void reserve(std::size_t count)
    {
        std::lock_guard lock(mutex);
        history.reserve(count);
    }

    void clear()
    {
        std::lock_guard lock(mutex);
        instead = nullptr;
        passing = failing = 0;
        history.clear();
    }

    /// One call of the OS_ function. Only the definitions in OsFaults.cpp use this.
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

/// Only the `nth` call from now fails, counted over all functions that can fail. 1 is the next call, 0 is none.
void failAnyCall(int nth, int error);
/// The name of the function that failAnyCall() has made to fail. Empty as long as no call has failed.
std::string failedCall();

/// Forgets every script and all history.
void clearAll();

} // namespace OsFaults
