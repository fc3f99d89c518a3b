// What the two programs have in common.
#pragma once

#include <functional>

/// Runs the body of a program: ignores SIGPIPE, lets SIGINT and SIGTERM ask for the end, and catches exceptions.
/// \return the result of `body`; 1 if `body` has thrown.
int runProgram(const char* name, const std::function<int()>& body);
