/// \file
/// How each kind of value is put into a packet.
#pragma once

#include <kiv/records/detail/PacketWriter.h>
#include <kiv/records/detail/Refused.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <tuple>
#include <utility>

namespace kiv {

template <class T> KIV_INLINE bool put(PacketWriter& w, const T& value);

// ---- Fixed values: numbers, and what consists of numbers only. The room is there.

template <class Position, class T> KIV_INLINE auto putFixed(Position position, const T& value);

template <std::size_t I, std::size_t End, class Position, class Parts>
KIV_INLINE auto putFixedParts(Position position, const Parts& parts)
{
    if constexpr (I == End)
        return position;
    else
        return putFixedParts<I + 1, End>(putFixed(position, std::get<I>(parts)), parts);
}

// The bytes of the object travel. An enumeration is never read as a value: it may hold a number that has no name.
template <class Position, class T> KIV_INLINE auto putNumber(Position position, const T& value)
{
    static_assert(sizeof value == sizeof(typename NumberOf<T>::Type));
    const auto start = aligned<sizeof value>(position);
    std::memcpy(start.at, &value, sizeof value);
    return behind<sizeof value>(start);
}

template <class Position, class T> KIV_INLINE auto putFixed(Position position, const T& value)
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

// ---- Texts: a length with the zero at the end, the bytes, the zero

/// The text in an array that may lack its zero.
inline std::string_view textIn(const char* characters, std::size_t size)
{
    return {characters, strnlen(characters, size)};
}

template <class T>
inline constexpr bool isPutAsText =
    kindOf<T> == Kind::text || kindOf<T> == Kind::view || kindOf<T> == Kind::path || kindOf<T> == Kind::characters;

template <class T> KIV_INLINE std::string_view textOf(const T& value)
{
    if constexpr (kindOf<T> == Kind::characters)
        return textIn(value, sizeof value);
    else if constexpr (kindOf<T> == Kind::path)
        return value.native();
    else
        return value;
}

/// The room that a length needs in front of its text, with the gap, and the zero behind the text.
inline constexpr std::size_t aroundText = 8;

// REQUIRES: there is room behind `position`.
template <class Position> KIV_INLINE void putTextAt(PacketWriter& w, Position position, std::string_view text)
{
    const auto length = static_cast<std::uint32_t>(text.size() + 1);
    char* const bytes = putNumber(position, length).at;
    w.endAt(bytes + length);
    bytes[text.size()] = '\0';
    if (!text.empty())
        std::memcpy(bytes, text.data(), text.size());
}

KIV_INLINE bool putText(PacketWriter& w, std::string_view text)
{
    if (!w.ensure(aroundText + text.size()))
        return false;
    putTextAt(w, Place<char>{w.end()}, text);
    return true;
}

// ---- Parts: fields of records, members of tuples

template <class Parts, std::size_t I>
using Part = std::remove_cv_t<std::remove_reference_t<std::tuple_element_t<I, Parts>>>;

template <class Parts, std::size_t I> constexpr bool isTextPart()
{
    if constexpr (I == std::tuple_size_v<Parts>)
        return false;
    else
        return isPutAsText<Part<Parts, I>>;
}

/// Puts the fixed parts from I on, and the text behind them if there is one: one test of the room for all.
template <std::size_t I, bool withText, class Parts, std::size_t... Each>
KIV_INLINE bool putRun(PacketWriter& w, const Parts& parts, std::index_sequence<Each...>)
{
    using Size = RunSize<Part<Parts, I + Each>...>;
    constexpr std::size_t end = I + sizeof...(Each);
    if constexpr (withText) {
        const std::string_view text = textOf(std::get<end>(parts));
        if (!w.ensure(Size::most + aroundText + text.size()))
            return false;
        putTextAt(w, putFixedParts<I, end>(Place<char>{w.end()}, parts), text);
    } else {
        if (!w.ensure(Size::most))
            return false;
        w.endAt(putFixedParts<I, end>(Place<char>{w.end()}, parts).at);
    }
    return true;
}

/// Puts the parts from I on: runs of fixed parts in one step, the other parts one by one.
template <std::size_t I, class Parts> KIV_INLINE bool putParts(PacketWriter& w, const Parts& parts)
{
    constexpr std::size_t end = endOfRun<Parts, I>();
    constexpr bool withText = isTextPart<Parts, end>();
    constexpr std::size_t next = withText ? end + 1 : end;
    if constexpr (I == std::tuple_size_v<Parts>)
        return true;
    else if constexpr (next > I)
        return putRun<I, withText>(w, parts, std::make_index_sequence<end - I>()) && putParts<next>(w, parts);
    else
        return put(w, std::get<I>(parts)) && putParts<I + 1>(w, parts);
}

// ---- Values with a count

KIV_INLINE bool putCount(PacketWriter& w, std::size_t count)
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

/// The fields behind a count of their bytes, which is filled in at the end. The library's transactions have the same
/// form. Theirs cannot lie in one another: a buffer remembers only one. Here every level remembers its own.
template <class Record> bool putVersioned(PacketWriter& w, const Record& record)
{
    if (!putCount(w, UINT32_MAX))
        return false;
    const std::size_t start = w.offset();
    if (!putParts<0>(w, fieldsOf(record)))
        return false;
    w.patchCount(start);
    return true;
}

template <class Record> KIV_INLINE bool putRecord(PacketWriter& w, const Record& record)
{
    if constexpr (isFixed<Record>) {
        return putParts<0>(w, fieldsOf(record));
    } else {
        const Level level(w.depth);
        if (level.isTooDeep())
            return w.fail(Itc_Ndr_Buff_Sz_More_Than_Max);
        if constexpr (kindOf<Record> == Kind::versioned)
            return putVersioned(w, record);
        else
            return putParts<0>(w, fieldsOf(record));
    }
}

/// Puts any value. \return false, with the status set, if the value could not be put whole.
template <class T> KIV_INLINE bool put(PacketWriter& w, const T& value)
{
    requirePart<T>();
    constexpr Kind kind = kindOf<T>;
    if constexpr (isOneNumber<T>())
        return putParts<0>(w, std::tie(value));
    else if constexpr (isPutAsText<T>)
        return putText(w, textOf(value));
    else if constexpr (kind == Kind::array)
        return putArray(w, value);
    else if constexpr (kind == Kind::sequence)
        return putSequence(w, value);
    else if constexpr (kind == Kind::set)
        return putCount(w, value.size()) && putEach(w, value);
    else if constexpr (kind == Kind::map)
        return putMap(w, value);
    else if constexpr (kind == Kind::optional)
        return put(w, value.has_value()) && (!value.has_value() || put(w, *value));
    else if constexpr (kind == Kind::tuple)
        return putParts<0>(w, partsOf(value));
    else if constexpr (kind == Kind::variant)
        return putVariant(w, value);
    else if constexpr (kind == Kind::record || kind == Kind::versioned)
        return putRecord(w, value);
    else if constexpr (kind == Kind::host)
        return w.throughBuffer([&](itcNDRSend& buffer) { buffer << value; });
}

/// Puts with `step` into `buffer`: the whole, or nothing.
/// \return false, with the status set, if nothing was put. A buffer in Error takes nothing.
template <class Step> KIV_INLINE bool putWhole(itcNDRSend& buffer, const Step& step)
{
    if (buffer.severity >= Error)
        return false;
    PacketWriter w(buffer);
    const std::size_t begin = w.offset();
    if (!step(w)) {
        w.goBackTo(begin);
        return false;
    }
    return true;
}

} // namespace kiv
