/// \file
/// Whether two values are equal, and which is less: field by field, in the order of the fields.
///
/// Arrays of characters are compared as texts: the bytes behind the zero do not count. Unordered sets and maps are
/// compared by their own `==`.
#pragma once

#include <kiv/records/detail/Layout.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>

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

template <class Variant, std::size_t... I>
bool equalAlternatives(const Variant& a, const Variant& b, std::index_sequence<I...>)
{
    return ((a.index() == I && equal(*std::get_if<I>(&a), *std::get_if<I>(&b))) || ...);
}

template <class T, class = void> inline constexpr bool isOrdered = false;
template <class T> inline constexpr bool isOrdered<T, std::void_t<typename T::key_compare>> = true;

template <class T> bool equal(const T& a, const T& b)
{
    constexpr Kind kind = kindOf<T>;
    if constexpr (kind == Kind::characters) {
        return std::strncmp(a, b, sizeof a) == 0;
    } else if constexpr (isPointerToText<T>) {
        return a == b || (a != nullptr && b != nullptr && std::strcmp(a, b) == 0);
    } else if constexpr (kind == Kind::array || kind == Kind::sequence || isOrdered<T>) {
        using Element = ElementOf<T>;
        const auto same = [](const Element& x, const Element& y) { return equal(x, y); };
        return std::equal(std::begin(a), std::end(a), std::begin(b), std::end(b), same);
    } else if constexpr (kind == Kind::optional) {
        return a.has_value() == b.has_value() && (!a.has_value() || equal(*a, *b));
    } else if constexpr (kind == Kind::variant) {
        constexpr auto each = std::make_index_sequence<std::variant_size_v<T>>();
        return a.index() == b.index() && (a.valueless_by_exception() || equalAlternatives(a, b, each));
    } else if constexpr (kind == Kind::tuple || kind == Kind::record || kind == Kind::versioned) {
        return equalParts<0>(partsOf(a), partsOf(b));
    } else {
        return a == b;
    }
}

template <class Variant, std::size_t... I>
bool lessAlternatives(const Variant& a, const Variant& b, std::index_sequence<I...>)
{
    return ((a.index() == I && less(*std::get_if<I>(&a), *std::get_if<I>(&b))) || ...);
}

template <class T> bool less(const T& a, const T& b)
{
    constexpr Kind kind = kindOf<T>;
    if constexpr (kind == Kind::characters) {
        return std::strncmp(a, b, sizeof a) < 0;
    } else if constexpr (isPointerToText<T>) {
        return b != nullptr && (a == nullptr || std::strcmp(a, b) < 0);
    } else if constexpr (kind == Kind::array || kind == Kind::sequence || isOrdered<T>) {
        using Element = ElementOf<T>;
        const auto before = [](const Element& x, const Element& y) { return less(x, y); };
        return std::lexicographical_compare(std::begin(a), std::end(a), std::begin(b), std::end(b), before);
    } else if constexpr (kind == Kind::optional) {
        return b.has_value() && (!a.has_value() || less(*a, *b));
    } else if constexpr (kind == Kind::variant) {
        constexpr auto each = std::make_index_sequence<std::variant_size_v<T>>();
        if (a.index() != b.index()) // without a value: less than any
            return a.index() + 1 < b.index() + 1;
        return !a.valueless_by_exception() && lessAlternatives(a, b, each);
    } else if constexpr (kind == Kind::tuple || kind == Kind::record || kind == Kind::versioned) {
        return lessParts<0>(partsOf(a), partsOf(b));
    } else {
        return a < b;
    }
}

} // namespace kiv
