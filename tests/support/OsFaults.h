/// \file
/// Faults and scripts for the OS_ layer. The test program defines the OS_ functions listed below itself, so the library
/// calls these instead of its own; each passes on to the library's unless a test says otherwise.
///
///     OsFaults::send().failNext(2, EAGAIN);        // the next two calls fail, later ones pass
///     OsFaults::bind().failCall(3, EADDRINUSE);    // the third call from now fails
///     OsFaults::recv().instead = [](int, void*, size_t) -> ssize_t { return 0; };
///
/// Every test starts with all of them cleared: the listener in LeakListener.h does that.
#pragma once

#include <kiv/foundation/OS.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <mutex>
#include <tuple>
#include <type_traits>
#include <vector>

template <class Function> class OsCall;

template <class Result, class... Args> class OsCall<Result(Args...)> {
public:
    explicit OsCall(Result failure) : failure(failure) {}

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
        {
            std::lock_guard lock(mutex);
            history.emplace_back(args...);
            if (passing > 0) {
                --passing;
            } else if (failing > 0) {
                --failing;
                errno = failError;
                return failure;
            }
        }
        return instead ? instead(args...) : real(args...);
    }

private:
    mutable std::mutex mutex;
    const Result failure;
    int passing = 0;
    int failing = 0;
    int failError = 0;
    std::vector<std::tuple<std::decay_t<Args>...>> history;
};

namespace OsFaults {

OsCall<int(int, int, int)>& socket();
OsCall<int(int, const sockaddr*, socklen_t)>& bind();
OsCall<int(int, const sockaddr*, socklen_t)>& connect();
OsCall<int(int, int)>& listen();
OsCall<int(int, sockaddr*, socklen_t*)>& accept();
OsCall<int(int, sockaddr*, socklen_t*)>& getsockname();
OsCall<int(int, sockaddr*, socklen_t*)>& getpeername();
OsCall<int(int, int, int, void*, socklen_t*)>& getsockopt();
OsCall<int(int, int, int, const void*, socklen_t)>& setsockopt();
OsCall<ssize_t(int, const void*, size_t, int)>& send();
OsCall<ssize_t(int, void*, size_t)>& recv();
OsCall<ssize_t(int, void*, size_t, int, sockaddr*, socklen_t*)>& recvfrom();
OsCall<int(int, OS_shutdown_mode)>& shutdown();
OsCall<int(int)>& closesocket();
OsCall<int(int, fd_set*, fd_set*, fd_set*, timeval*)>& select();
OsCall<int(int, unsigned long, void*)>& ioctl();
/// Fails with result 0.
OsCall<int()>& getLastError();
/// Fails with result 0, as the function reports failure.
OsCall<int(int)>& setNonBlocking();
/// Fails with result 0, as the function reports failure.
OsCall<int(int)>& setBlocking();
OsCall<void*(size_t)>& malloc();
OsCall<int(const char*, const char*, const addrinfo*, addrinfo**)>& getaddrinfo();
OsCall<int(const sockaddr*, socklen_t, char*, socklen_t, char*, socklen_t, int)>& getnameinfo();
OsCall<int(timeval*, void*)>& gettimeofday();
OsCall<int(timeval*)>& getuptime();
OsCall<OS_signalHandler(int, OS_signalHandler)>& signal();
OsCall<int(int, const itimerval*, itimerval*)>& setitimer();

/// Forgets every script and all history.
void clearAll();

} // namespace OsFaults
