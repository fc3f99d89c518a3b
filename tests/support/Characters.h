/// \file
/// Texts of all characters from `first` to `last`, 0 to 255. Where `char` has a sign, those from 128 on are negative.
#pragma once

#include <string>

inline std::string characters(int first, int last)
{
    std::string text;
    for (int character = first; character <= last; ++character)
        text.push_back(static_cast<char>(character));
    return text;
}
