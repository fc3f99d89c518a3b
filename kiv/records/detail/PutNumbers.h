/// \file
/// How numbers are put: single numbers, values that consist of numbers only, counts, and arrays of numbers.
#pragma once

#include <kiv/records/detail/PacketWriter.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>

namespace kiv {

// ---- Values that consist of numbers only. The caller has made room for them.

template <class Position, class T> KIV_ALWAYS_INLINE auto putFixed(Position position, const T& value);

template <std::size_t I, std::size_t End, class Position, class Parts>
KIV_ALWAYS_INLINE auto putFixedParts(Position position, const Parts& parts)
{
    if constexpr (I == End)
        return position;
    else
        return putFixedParts<I + 1, End>(putFixed(position, std::get<I>(parts)), parts);
}

// The bytes of the object travel. An enumeration is never read as a value: it may hold a number that has no name.
template <class Position, class T> KIV_ALWAYS_INLINE auto putNumber(Position position, const T& value)
{
    static_assert(sizeof value == sizeof(typename NumberOf<T>::Type));
    const auto start = aligned<sizeof value>(position);
    std::memcpy(start.at, &value, sizeof value);
    return behind<sizeof value>(start);
}

template <class Position, class T> KIV_ALWAYS_INLINE auto putFixed(Position position, const T& value)
{
    constexpr Kind kind = kindOf<T>;
    if constexpr (isOneNumber<T>()) {
        return putNumber(position, value);
    } else if constexpr (kind == Kind::array) {
        Place<char> next{position.at};
        for (const auto& element : value)
            next.at = putFixed(Place<char>{next.at}, element).at;
        return next;
    } else {
        const auto parts = partsOf(value);
        return putFixedParts<0, std::tuple_size_v<decltype(parts)>>(position, parts);
    }
}

// ---- Counts and arrays

KIV_ALWAYS_INLINE bool putCount(PacketWriter& w, std::size_t count)
{
    if (count > UINT32_MAX)
        return w.fail(Itc_Ndr_Buffer_Alloc_Failed);
    constexpr std::size_t countWithGap = 7;
    if (!w.ensure(countWithGap))
        return false;
    w.endAt(putNumber(Place<char>{w.end()}, static_cast<std::uint32_t>(count)).at);
    return true;
}

/// Puts numbers one behind the other, in one copy.
template <class T> bool putNumbers(PacketWriter& w, const T* numbers, std::size_t count)
{
    constexpr std::size_t size = sizeof(T);
    if (count == 0)
        return true;
    if (count > UINT32_MAX / size)
        return w.fail(Itc_Ndr_Buffer_Alloc_Failed);
    if (!w.ensure(count * size + size - 1))
        return false;
    char* const first = aligned<size>(Place<char>{w.end()}).at;
    w.endAt(first + count * size);
    std::memcpy(first, numbers, count * size);
    return true;
}

} // namespace kiv
