/// \file
/// How numbers are taken: single numbers, values that consist of numbers only, and arrays of numbers.
#pragma once

#include <kiv/records/detail/PacketReader.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>

namespace kiv {

template <class T> KIV_ALWAYS_INLINE bool take(PacketReader& r, T& value); // Take.h

// ---- Values that consist of numbers only. The caller has tested that their bytes are there.

/// The unsigned integer with as many bytes as a number.
template <std::size_t Size>
using Word = std::conditional_t<
    Size == 1, std::uint8_t,
    std::conditional_t<Size == 2, std::uint16_t, std::conditional_t<Size == 4, std::uint32_t, std::uint64_t>>>;

inline std::uint8_t reversed(std::uint8_t word) { return word; }
inline std::uint16_t reversed(std::uint16_t word) { return __builtin_bswap16(word); }
inline std::uint32_t reversed(std::uint32_t word) { return __builtin_bswap32(word); }
inline std::uint64_t reversed(std::uint64_t word) { return __builtin_bswap64(word); }

// GCC makes vector code of a loop that reverses numbers. For x86-64 without extensions this code takes twice as long.
template <Format format, class Integer> KIV_ALWAYS_INLINE void keepScalar([[maybe_unused]] Integer& word)
{
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__)
    if constexpr (format == Format::swapped && sizeof word > 1)
        __asm__("" : "+r"(word));
#endif
}

// The bytes go into the object as they are. An enumeration is never read as a value: it may get a number that has no
// name. A bool is not 0 or 1 on the wire only: every other byte is true, too.
template <Format format, class T> KIV_ALWAYS_INLINE void takeNumberAt(PacketReader& r, const char* at, T& value)
{
    using Number = typename NumberOf<T>::Type;
    static_assert(sizeof value == sizeof(Number));
    if constexpr (format == Format::foreign) {
        if constexpr (std::is_floating_point_v<Number>) {
            Number number;
            r.takeForeign(at, number);
            std::memcpy(static_cast<void*>(&value), &number, sizeof value);
            return;
        }
    }
    Word<sizeof(Number)> word;
    std::memcpy(&word, at, sizeof word);
    if constexpr (std::is_same_v<Number, bool>)
        word = word != 0;
    else if (format == Format::swapped || (format == Format::foreign && r.isSwapped()))
        word = reversed(word);
    keepScalar<format>(word);
    std::memcpy(static_cast<void*>(&value), &word, sizeof value);
}

template <Format format, class Position, class T>
KIV_ALWAYS_INLINE auto takeFixed(PacketReader& r, Position position, T& value);

template <Format format, std::size_t I, std::size_t End, class Position, class Parts>
KIV_ALWAYS_INLINE auto takeFixedParts(PacketReader& r, Position position, const Parts& parts)
{
    if constexpr (I == End)
        return position;
    else
        return takeFixedParts<format, I + 1, End>(r, takeFixed<format>(r, position, std::get<I>(parts)), parts);
}

template <Format format, class Position, class T>
KIV_ALWAYS_INLINE auto takeFixed(PacketReader& r, Position position, T& value)
{
    if constexpr (isOneNumber<T>()) {
        const auto start = aligned<sizeof value>(position);
        takeNumberAt<format>(r, start.at, value);
        return behind<sizeof value>(start);
    } else if constexpr (kindOf<T> == Kind::array) {
        Place<const char> next{position.at};
        for (auto& element : value)
            next.at = takeFixed<format>(r, Place<const char>{next.at}, element).at;
        return next;
    } else {
        const auto parts = partsOf(value);
        return takeFixedParts<format, 0, std::tuple_size_v<decltype(parts)>>(r, position, parts);
    }
}

template <Format format, std::size_t I, std::size_t End, class Parts>
KIV_ALWAYS_INLINE void takeRunIn(PacketReader& r, const Parts& parts)
{
    r.place = takeFixedParts<format, I, End>(r, Place<const char>{r.place}, parts).at;
}

/// Takes the fixed parts from I up to End: one test of what is left for all.
template <std::size_t I, class Parts, std::size_t... Each>
KIV_ALWAYS_INLINE bool takeRun(PacketReader& r, const Parts& parts, std::index_sequence<Each...>)
{
    using Size = RunSize<Part<Parts, I + Each>...>;
    constexpr std::size_t end = I + sizeof...(Each);
    if (KIV_UNLIKELY(!r.has(Size::most)) && !r.has(Size::from[reinterpret_cast<std::uintptr_t>(r.place) % 8]))
        return r.endOfData();
    switch (r.format()) {
    case Format::own:
        takeRunIn<Format::own, I, end>(r, parts);
        break;
    case Format::swapped:
        takeRunIn<Format::swapped, I, end>(r, parts);
        break;
    case Format::foreign:
        takeRunIn<Format::foreign, I, end>(r, parts);
        break;
    }
    return true;
}

// ---- Arrays

template <Format format, class T> void takeNumbersIn(PacketReader& r, T* numbers, std::size_t count)
{
    const char* const first = r.place; // a store to a number may alias the field
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC unroll 4 // a loop of one number takes one or two cycles, which depends on the address of its code
#endif
    for (std::size_t i = 0; i < count; ++i)
        takeNumberAt<format>(r, first + i * sizeof(T), numbers[i]);
}

/// Takes numbers that stand one behind the other. REQUIRES: they are there, from the reader's place on.
template <class T> void takeNumbersHere(PacketReader& r, T* numbers, std::size_t count)
{
    constexpr bool isBool = std::is_same_v<typename NumberOf<T>::Type, bool>;
    const Format format = sizeof(T) == 1 ? Format::own : r.format();
    if (format == Format::own && !isBool)
        std::memcpy(static_cast<void*>(numbers), r.place, count * sizeof(T));
    else if (format == Format::own)
        takeNumbersIn<Format::own>(r, numbers, count);
    else if (format == Format::swapped)
        takeNumbersIn<Format::swapped>(r, numbers, count);
    else
        takeNumbersIn<Format::foreign>(r, numbers, count);
    r.place += count * sizeof(T);
}

/// Takes as many numbers as are there, at most `count`. \return how many were taken.
template <class T> std::size_t takeNumbers(PacketReader& r, T* numbers, std::size_t count)
{
    if (count == 0)
        return 0;
    const unsigned int gap = gapBefore(sizeof(T), r.place);
    r.place += gap;
    const std::size_t there = r.left() > 0 ? static_cast<std::size_t>(r.left()) / sizeof(T) : 0;
    const std::size_t taken = std::min(there, count);
    if (taken != 0)
        takeNumbersHere(r, numbers, taken);
    return taken;
}

template <class T> bool takeAllNumbers(PacketReader& r, T* numbers, std::size_t count)
{
    return takeNumbers(r, numbers, count) == count || r.endOfData();
}

} // namespace kiv
