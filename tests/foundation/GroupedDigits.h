/// \file
/// A host that writes its numbers with separators.
#pragma once

#include <locale>
#include <string>

/// While a GroupedDigits exists, new streams of this process write 12345 as "12,345".
class GroupedDigits {
public:
    GroupedDigits() : previous(std::locale::global(std::locale(std::locale::classic(), new Punctuation))) {}
    ~GroupedDigits() { std::locale::global(previous); }
    GroupedDigits(const GroupedDigits&) = delete;
    GroupedDigits& operator=(const GroupedDigits&) = delete;

private:
    struct Punctuation : std::numpunct<char> {
        char do_thousands_sep() const override { return ','; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::locale previous;
};
