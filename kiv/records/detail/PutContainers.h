/// \file
/// How texts and containers are put.
#pragma once

#include <kiv/records/detail/PutNumbers.h>
#include <kiv/records/detail/Refused.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace kiv {

template <class T> KIV_ALWAYS_INLINE bool put(PacketWriter& w, const T& value); // Put.h

// ---- Texts: a length with the zero at the end, the bytes, the zero

/// The text in an array that may lack its zero.
inline std::string_view textIn(const char* characters, std::size_t size)
{
    return {characters, strnlen(characters, size)};
}

template <class T>
inline constexpr bool isPutAsText =
    kindOf<T> == Kind::text || kindOf<T> == Kind::view || kindOf<T> == Kind::path || kindOf<T> == Kind::characters;

template <class T> KIV_ALWAYS_INLINE std::string_view textOf(const T& value)
{
    if constexpr (kindOf<T> == Kind::characters)
        return textIn(value, sizeof value);
    else if constexpr (kindOf<T> == Kind::path)
        return value.native();
    else
        return {value.data(), value.size()};
}

/// The room that a length needs in front of its text, with the gap, and the zero behind the text.
inline constexpr std::size_t aroundText = 8;

// REQUIRES: there is room behind `position`.
template <class Position> KIV_ALWAYS_INLINE void putTextAt(PacketWriter& w, Position position, std::string_view text)
{
    const auto length = static_cast<std::uint32_t>(text.size() + 1);
    char* const bytes = putNumber(position, length).at;
    w.endAt(bytes + length);
    bytes[text.size()] = '\0';
    if (!text.empty())
        std::memcpy(bytes, text.data(), text.size());
}

KIV_ALWAYS_INLINE bool putText(PacketWriter& w, std::string_view text)
{
    if (!w.ensure(aroundText + text.size()))
        return false;
    putTextAt(w, Place<char>{w.end()}, text);
    return true;
}

// ---- Containers

template <class Range> bool putEach(PacketWriter& w, const Range& values)
{
    for (const auto& value : values)
        if (!put(w, value))
            return false;
    return true;
}

template <class Sequence> bool putSequence(PacketWriter& w, const Sequence& values)
{
    using Element = typename Sequence::value_type;
    requirePart<Element>();
    if (!putCount(w, values.size()))
        return false;
    if constexpr (isOf<std::vector, Sequence> && isOneNumber<Element>() && !std::is_same_v<Element, bool>) {
        return putNumbers(w, values.data(), values.size());
    } else if constexpr (std::is_same_v<Element, bool>) {
        for (const bool value : values)
            if (!put(w, value))
                return false;
        return true;
    } else {
        return putEach(w, values);
    }
}

template <class Map> bool putMap(PacketWriter& w, const Map& entries)
{
    requirePart<typename Map::key_type>();
    requirePart<typename Map::mapped_type>();
    if (!putCount(w, entries.size()))
        return false;
    for (const auto& [key, value] : entries)
        if (!put(w, key) || !put(w, value))
            return false;
    return true;
}

template <class Array> bool putArray(PacketWriter& w, const Array& array)
{
    using Element = typename ArrayTraits<Array>::Element;
    requirePart<Element>();
    if constexpr (isOneNumber<Element>())
        return putNumbers(w, std::data(array), ArrayTraits<Array>::count);
    else
        return putEach(w, array);
}

template <class Variant> bool putVariant(PacketWriter& w, const Variant& variant)
{
    if (variant.valueless_by_exception())
        return w.fail(Itc_Ndr_No_Buffer_Provided);
    return putCount(w, variant.index()) && std::visit([&](const auto& value) { return put(w, value); }, variant);
}

} // namespace kiv
