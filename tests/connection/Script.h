/// \file
/// A system call that fails in a scripted order. The script holds one error number per call; 0 means that the call
/// passes.
#pragma once

#include <cerrno>
#include <functional>
#include <utility>
#include <vector>

/// \param call what a call does that passes. All calls behind the end of the script pass.
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
