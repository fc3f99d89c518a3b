/// \file
/// A script for OS_getLastError().
#pragma once

#include "OsFaults.h"

#include <utility>
#include <vector>

/// Answers the questions for the error number from a list. Shows at which step of an operation a number is read.
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
