/// \file
/// Whether two values are equal, and which is less: field by field, in the order of the fields.
///
/// Arrays of characters are compared as texts: the bytes behind the zero do not count.
#pragma once

#include <kiv/records/detail/Layout.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <string_view>
#include <tuple>

namespace kiv {

template <class T> bool equal(const T& a, const T& b);
template <class T> bool less(const T& a, const T& b);

template <std::size_t I, class Parts> bool equalParts(const Parts& a, const Parts& b)
{
    if constexpr (I == std::tuple_size_v<Parts>)
        return true;
    else
        return equal(std::get<I>(a), std::get<I>(b)) && equalParts<I + 1>(a, b);
}

template <std::size_t I, class Parts> bool lessParts(const Parts& a, const Parts& b)
{
    if constexpr (I == std::tuple_size_v<Parts>)
        return false;
    else
        return less(std::get<I>(a), std::get<I>(b)) ||
               (!less(std::get<I>(b), std::get<I>(a)) && lessParts<I + 1>(a, b));
}

template <class T> bool equal(const T& a, const T& b)
{
    constexpr Kind kind = kindOf<T>;
    if constexpr (kind == Kind::characters) {
        return std::strncmp(a, b, sizeof a) == 0;
    } else if constexpr (kind == Kind::array || kind == Kind::sequence) {
        using Element = ElementOf<T>;
        const auto same = [](const Element& x, const Element& y) { return equal(x, y); };
        return std::equal(std::begin(a), std::end(a), std::begin(b), std::end(b), same);
    } else if constexpr (kind == Kind::optional) {
        return a.has_value() == b.has_value() && (!a.has_value() || equal(*a, *b));
    } else if constexpr (kind == Kind::tuple || kind == Kind::record || kind == Kind::versioned) {
        return equalParts<0>(partsOf(a), partsOf(b));
    } else {
        return a == b;
    }
}

template <class T> bool less(const T& a, const T& b)
{
    constexpr Kind kind = kindOf<T>;
    if constexpr (kind == Kind::characters) {
        return std::strncmp(a, b, sizeof a) < 0;
    } else if constexpr (kind == Kind::array || kind == Kind::sequence) {
        using Element = ElementOf<T>;
        const auto before = [](const Element& x, const Element& y) { return less(x, y); };
        return std::lexicographical_compare(std::begin(a), std::end(a), std::begin(b), std::end(b), before);
    } else if constexpr (kind == Kind::optional) {
        return b.has_value() && (!a.has_value() || less(*a, *b));
    } else if constexpr (kind == Kind::tuple || kind == Kind::record || kind == Kind::versioned) {
        return lessParts<0>(partsOf(a), partsOf(b));
    } else {
        return a < b;
    }
}

} // namespace kiv
