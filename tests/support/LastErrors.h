/// \file
/// A script for OS_getLastError(): the results of its next calls.
#pragma once

#include "OsFaults.h"

#include <utility>
#include <vector>

/// Each call of OS_getLastError() returns the next number of a list, then 0. The number in a status therefore tells at
/// which step of an operation the number was read.
class LastErrors {
public:
    explicit LastErrors(std::vector<int> numbers)
    {
        then(std::move(numbers));
        OsFaults::getLastError().instead = [this] { return next < answers.size() ? answers[next++] : 0; };
    }
    ~LastErrors() { OsFaults::getLastError().instead = nullptr; }
    LastErrors(const LastErrors&) = delete;
    LastErrors& operator=(const LastErrors&) = delete;

    void then(std::vector<int> numbers)
    {
        answers = std::move(numbers);
        next = 0;
    }

private:
    std::vector<int> answers;
    std::size_t next = 0;
};
