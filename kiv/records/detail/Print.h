/// \file
/// How each kind of value is printed, for traces and tests.
#pragma once

#include <kiv/records/detail/Layout.h>
#include <kiv/records/detail/Refused.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <ostream>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>

namespace kiv {

template <class T> void print(std::ostream& out, const T& value);

/// A text in quotes. A peer may send any byte: none may look like another line of a log, or reach a terminal.
inline void printText(std::ostream& out, std::string_view text)
{
    constexpr std::string_view digits = "0123456789abcdef";
    out << '"';
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\')
            out << '\\' << c;
        else if (byte >= 0x20 && byte != 0x7F)
            out << c;
        else
            out << "\\x" << digits[byte / 16] << digits[byte % 16];
    }
    out << '"';
}

// Characters that are numbers are printed as numbers. A char is printed as a text of one byte.
template <class T> void printNumber(std::ostream& out, const T& value)
{
    if constexpr (std::is_enum_v<T>)
        printNumber(out, static_cast<std::underlying_type_t<T>>(value));
    else if constexpr (std::is_same_v<T, bool>)
        out << (value ? "true" : "false");
    else if constexpr (std::is_same_v<T, char>)
        printText(out, {&value, 1});
    else
        out << +value;
}

/// The values of a range, with commas between them.
template <class Range, class PrintOne> void printEach(std::ostream& out, const Range& values, const PrintOne& printOne)
{
    const char* separator = "";
    for (const auto& value : values) {
        out << separator;
        printOne(value);
        separator = ", ";
    }
}

template <class Parts, std::size_t... I>
void printParts(std::ostream& out, const Parts& parts, std::index_sequence<I...>)
{
    ((out << (I == 0 ? "" : ", "), print(out, std::get<I>(parts))), ...);
}

template <class Parts, class Names, std::size_t... I>
void printFields(std::ostream& out, const Parts& fields, const Names& names, std::index_sequence<I...>)
{
    ((out << (I == 0 ? "" : ", ") << names[I] << ": ", print(out, std::get<I>(fields))), ...);
}

template <class T> void printComposite(std::ostream& out, const T& value)
{
    const auto parts = partsOf(value);
    constexpr auto each = std::make_index_sequence<std::tuple_size_v<std::remove_const_t<decltype(parts)>>>();
    if constexpr (kindOf<T> == Kind::tuple) {
        out << '(';
        printParts(out, parts, each);
        out << ')';
    } else {
        out << '{';
        printFields(out, parts, FieldsOf<T>::names(), each);
        out << '}';
    }
}

/// Whether the standard or the host can print a `T`.
template <class T, class = void> inline constexpr bool isStreamable = false;
template <class T>
inline constexpr bool
    isStreamable<T, std::void_t<decltype(std::declval<std::ostream&>() << std::declval<const T&>())>> = true;

/// Prints any value that can travel. What only the host knows how to print, and cannot, is printed as "...".
template <class T> void print(std::ostream& out, const T& value)
{
    requirePart<T>();
    constexpr Kind kind = kindOf<T>;
    if constexpr (kind == Kind::number) {
        printNumber(out, value);
    } else if constexpr (kind == Kind::duration) {
        print(out, value.count());
    } else if constexpr (kind == Kind::timePoint) {
        print(out, value.time_since_epoch());
    } else if constexpr (kind == Kind::characters) {
        printText(out, {value, strnlen(value, sizeof value)});
    } else if constexpr (kind == Kind::text || kind == Kind::view) {
        printText(out, value);
    } else if constexpr (kind == Kind::path) {
        printText(out, value.native());
    } else if constexpr (kind == Kind::array || kind == Kind::sequence || kind == Kind::set) {
        out << '[';
        printEach(out, value, [&](const auto& element) { print<ElementOf<T>>(out, element); });
        out << ']';
    } else if constexpr (kind == Kind::map) {
        out << '{';
        printEach(out, value, [&](const auto& entry) {
            print(out, entry.first);
            out << ": ";
            print(out, entry.second);
        });
        out << '}';
    } else if constexpr (kind == Kind::optional) {
        if (value.has_value())
            print(out, *value);
        else
            out << "none";
    } else if constexpr (kind == Kind::variant) {
        if (value.valueless_by_exception())
            out << "none";
        else
            std::visit([&](const auto& alternative) { print(out, alternative); }, value);
    } else if constexpr (kind == Kind::tuple || kind == Kind::record || kind == Kind::versioned) {
        printComposite(out, value);
    } else if constexpr (isPointerToText<T>) {
        if (value != nullptr)
            printText(out, value);
        else
            out << "none";
    } else if constexpr (isStreamable<T>) {
        out << value;
    } else {
        out << "...";
    }
}

} // namespace kiv
