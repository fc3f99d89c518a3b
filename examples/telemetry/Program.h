// What the two programs have in common.
#pragma once

#include <functional>

/// Runs a program's body as a host of the library should. \return the body's result; 1 if it has thrown.
int runProgram(const char* name, const std::function<int()>& body);
