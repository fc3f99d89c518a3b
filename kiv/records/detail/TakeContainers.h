/// \file
/// How texts and containers are taken.
#pragma once

#include <kiv/records/detail/Refused.h>
#include <kiv/records/detail/TakeNumbers.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace kiv {

inline constexpr std::size_t unlimited = std::numeric_limits<std::uint32_t>::max();

/// The fewest bytes that a `T` has in a packet, without gaps. What the host puts itself counts as one byte.
template <class T> constexpr std::size_t leastBytes();

template <class... Parts> constexpr std::size_t leastBytesOf(const std::tuple<Parts...>*)
{
    return (std::size_t{0} + ... + leastBytes<Parts>());
}

template <class T> constexpr std::size_t leastBytes()
{
    constexpr Kind kind = kindOf<T>;
    if constexpr (isOneNumber<T>())
        return sizeof(typename NumberOf<T>::Type);
    else if constexpr (kind == Kind::array)
        return ArrayTraits<T>::count * leastBytes<typename ArrayTraits<T>::Element>();
    else if constexpr (kind == Kind::tuple || kind == Kind::record)
        return leastBytesOf(static_cast<const PartsOf<T>*>(nullptr));
    else if constexpr (kind == Kind::optional || kind == Kind::host)
        return 1;
    else
        return sizeof(std::uint32_t); // a count, or the number of an alternative
}

// ---- Texts

/// The bytes of a text, without the zero at the end. They lie in the packet. A peer's text may come without a zero.
KIV_ALWAYS_INLINE bool takeTextBytes(PacketReader& r, std::string_view& text, std::size_t most = unlimited)
{
    std::uint32_t length = 0;
    if (!r.takeCount(length, 1))
        return false;
    text = {r.place, length};
    r.place += length;
    if (!text.empty() && text.back() == '\0')
        text.remove_suffix(1);
    return text.size() <= most || r.tooMany();
}

/// A text for a std::string or a path.
template <class Text> KIV_ALWAYS_INLINE bool takeText(PacketReader& r, Text& text, std::size_t most = unlimited)
{
    std::string_view bytes;
    if (!takeTextBytes(r, bytes, most))
        return false;
    text.assign(bytes.begin(), bytes.end());
    return true;
}

/// A text for an array of characters. What does not fit is left out, and the zero is always there. For an array a text
/// ends at its first zero: a text that only has zeros behind it is not cut.
inline bool takeCharacters(PacketReader& r, char* characters, std::size_t size)
{
    std::string_view text;
    if (!takeTextBytes(r, text))
        return false;
    const std::size_t kept = std::min(text.size(), size - 1);
    if (kept < text.size() && strnlen(text.data(), size) == size)
        r.wasCut = true;
    std::memcpy(characters, text.data(), kept);
    characters[kept] = '\0';
    return true;
}

// ---- Containers

template <class Range> bool takeEach(PacketReader& r, Range& values)
{
    for (auto& value : values)
        if (!take(r, value))
            return false;
    return true;
}

/// Stops the compiler where a count cannot be held against what is left, since what is counted has no bytes.
template <class T> constexpr void requireBytes()
{
    static_assert(leastBytes<T>() > 0, "KIV: elements without bytes cannot be counted safely. Take a number instead.");
}

/// The numbers of a vector. Its count is taken already.
template <class T, class Allocator>
bool takeVector(PacketReader& r, std::vector<T, Allocator>& values, std::size_t count)
{
    if (count == 0) {
        values.clear();
        return true;
    }
    r.place += gapBefore(sizeof(T), r.place);
    if (!r.has(count * sizeof(T)))
        return r.endOfData();
    constexpr bool isBool = std::is_same_v<typename NumberOf<T>::Type, bool>;
    if (!isBool && (r.format() == Format::own || sizeof(T) == 1)) {
        // The address is a multiple of the number's size. One pass: resize() would write zeros first.
        const auto* const first = static_cast<const T*>(static_cast<const void*>(r.place));
        values.assign(first, first + count);
        r.place += count * sizeof(T);
    } else {
        values.resize(count);
        takeNumbersHere(r, values.data(), count);
    }
    return true;
}

/// The elements of a sequence. Its count is taken already. Each is made when its turn comes. An element that the packet
/// does not hold ends the take before the next is made: a false count costs no memory. Elements that are there already
/// are used again, with the memory that they hold.
template <class Sequence> bool takeElements(PacketReader& r, Sequence& values, std::size_t count)
{
    constexpr std::size_t reservedAtOnce = 4096 / sizeof(typename Sequence::value_type);
    if (values.size() > count)
        values.resize(count);
    if constexpr (isOf<std::vector, Sequence>)
        values.reserve(std::min(count, reservedAtOnce));
    if (!takeEach(r, values))
        return false;
    while (values.size() < count) {
        values.emplace_back();
        if (!take(r, values.back()))
            return false;
    }
    return true;
}

template <class Sequence> bool takeSequence(PacketReader& r, Sequence& values, std::size_t most = unlimited)
{
    using Element = typename Sequence::value_type;
    requirePart<Element>();
    requireBytes<Element>();
    std::uint32_t count = 0;
    if (!r.takeCount(count, leastBytes<Element>(), most))
        return false;
    if constexpr (std::is_same_v<Element, bool>) {
        values.clear();
        for (; count > 0; --count)
            values.push_back(*r.place++ != 0);
        return true;
    } else if constexpr (isOf<std::vector, Sequence> && isOneNumber<Element>()) {
        return takeVector(r, values, count);
    } else {
        return takeElements(r, values, count);
    }
}

template <class Set> bool takeSet(PacketReader& r, Set& keys, std::size_t most = unlimited)
{
    using Key = typename Set::key_type;
    requirePart<Key>();
    requireBytes<Key>();
    std::uint32_t count = 0;
    if (!r.takeCount(count, leastBytes<Key>(), most))
        return false;
    keys.clear();
    for (; count > 0; --count) {
        Key key{};
        if (!take(r, key))
            return false;
        keys.insert(keys.end(), std::move(key));
    }
    return true;
}

template <class Map> bool takeMap(PacketReader& r, Map& entries, std::size_t most = unlimited)
{
    using Key = typename Map::key_type;
    using Value = typename Map::mapped_type;
    requirePart<Key>();
    requirePart<Value>();
    requireBytes<std::pair<Key, Value>>();
    std::uint32_t count = 0;
    if (!r.takeCount(count, leastBytes<Key>() + leastBytes<Value>(), most))
        return false;
    entries.clear();
    for (; count > 0; --count) {
        Key key{};
        Value value{};
        if (!take(r, key) || !take(r, value))
            return false;
        entries.emplace_hint(entries.end(), std::move(key), std::move(value));
    }
    return true;
}

template <class Array> bool takeArray(PacketReader& r, Array& array)
{
    using Element = typename ArrayTraits<Array>::Element;
    requirePart<Element>();
    if constexpr (isOneNumber<Element>())
        return takeAllNumbers(r, std::data(array), ArrayTraits<Array>::count);
    else
        return takeEach(r, array);
}

template <class Optional> bool takeOptional(PacketReader& r, Optional& value)
{
    bool hasValue = false;
    if (!take(r, hasValue))
        return false;
    if (!hasValue) {
        value.reset();
        return true;
    }
    if (!value.has_value())
        value.emplace();
    return take(r, *value);
}

template <std::size_t I, class Variant> bool takeAlternative(PacketReader& r, Variant& variant)
{
    if (variant.index() != I)
        variant.template emplace<I>();
    return take(r, *std::get_if<I>(&variant));
}

template <class Variant, std::size_t... I>
bool takeAlternative(PacketReader& r, Variant& variant, std::size_t index, std::index_sequence<I...>)
{
    constexpr bool (*takes[])(PacketReader&, Variant&) = {takeAlternative<I, Variant>...};
    return takes[index](r, variant);
}

template <class Variant> bool takeVariant(PacketReader& r, Variant& variant)
{
    constexpr std::size_t alternatives = std::variant_size_v<Variant>;
    std::uint32_t index = 0;
    if (!r.takeWord(index))
        return false;
    if (index >= alternatives)
        return r.tooMany();
    return takeAlternative(r, variant, index, std::make_index_sequence<alternatives>());
}

} // namespace kiv
