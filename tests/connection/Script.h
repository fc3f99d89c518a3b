/// \file
/// A system call that fails in a scripted order: one error number per call, 0 where the call goes through.
#pragma once

#include <cerrno>
#include <functional>
#include <utility>
#include <vector>

/// \param call what an unscripted or passing call does.
template <class Call> auto failingInOrder(std::vector<int> errors, Call call)
{
    return [errors = std::move(errors), call, next = std::size_t(0)](auto... args) mutable -> decltype(call(args...)) {
        const int error = next < errors.size() ? errors[next++] : 0;
        if (error == 0)
            return call(args...);
        errno = error;
        return -1;
    };
}
