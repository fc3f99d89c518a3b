/// \file
/// Texts of all characters in a range: half of them are negative where `char` has a sign.
#pragma once

#include <string>

inline std::string characters(int first, int last)
{
    std::string text;
    for (int character = first; character <= last; ++character)
        text.push_back(static_cast<char>(character));
    return text;
}
