// What the two programs have in common.
#pragma once

#include <functional>

/// Runs the body of a program, and catches exceptions.
/// \return the result of `body`; 1 if `body` has thrown.
int runProgram(const char* name, const std::function<int()>& body);

/// Runs the dispatcher until `isDone`, for `seconds` at most, or until SIGINT or SIGTERM comes. Afterwards the signals
/// have their usual effect again: a second one ends the process.
/// \return false if a signal has come.
bool dispatchUntil(const std::function<bool()>& isDone, double seconds);
