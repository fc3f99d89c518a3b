/// \file
/// How each kind of value is taken out of a packet.
///
/// Nothing is believed before it is tested: a count is held against what is left before memory is asked for. A take that
/// fails ends at once. What it has changed in its target is emptied by the outermost take (Empty.h).
#pragma once

#include <kiv/records/detail/Empty.h>
#include <kiv/records/detail/PacketReader.h>
#include <kiv/records/detail/Refused.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string_view>
#include <tuple>
#include <utility>

namespace kiv {

template <class T> KIV_INLINE bool take(PacketReader& r, T& value);

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

// ---- Fixed values. The bytes are there.

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
template <Format format, class Integer> KIV_INLINE void keepScalar([[maybe_unused]] Integer& word)
{
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__)
    if constexpr (format == Format::swapped && sizeof word > 1)
        __asm__("" : "+r"(word));
#endif
}

// The bytes go into the object as they are. An enumeration is never read as a value: it may get a number that has no
// name. A bool is not 0 or 1 on the wire only: every other byte is true, too.
template <Format format, class T> KIV_INLINE void takeNumberAt(PacketReader& r, const char* at, T& value)
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
KIV_INLINE auto takeFixed(PacketReader& r, Position position, T& value);

template <Format format, std::size_t I, std::size_t End, class Position, class Parts>
KIV_INLINE auto takeFixedParts(PacketReader& r, Position position, const Parts& parts)
{
    if constexpr (I == End)
        return position;
    else
        return takeFixedParts<format, I + 1, End>(r, takeFixed<format>(r, position, std::get<I>(parts)), parts);
}

template <Format format, class Position, class T>
KIV_INLINE auto takeFixed(PacketReader& r, Position position, T& value)
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
KIV_INLINE void takeRunIn(PacketReader& r, const Parts& parts)
{
    r.place = takeFixedParts<format, I, End>(r, Place<const char>{r.place}, parts).at;
}

/// Takes the fixed parts from I up to End: one test of what is left for all.
template <std::size_t I, class Parts, std::size_t... Each>
KIV_INLINE bool takeRun(PacketReader& r, const Parts& parts, std::index_sequence<Each...>)
{
    using Size = RunSize<std::remove_cv_t<std::remove_reference_t<std::tuple_element_t<I + Each, Parts>>>...>;
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

/// Takes the parts from I on: runs of fixed parts in one step, the other parts one by one.
template <std::size_t I, class Parts> KIV_INLINE bool takeParts(PacketReader& r, const Parts& parts)
{
    constexpr std::size_t end = endOfRun<Parts, I>();
    if constexpr (I == std::tuple_size_v<Parts>)
        return true;
    else if constexpr (end > I)
        return takeRun<I>(r, parts, std::make_index_sequence<end - I>()) && takeParts<end>(r, parts);
    else
        return take(r, std::get<I>(parts)) && takeParts<I + 1>(r, parts);
}

// ---- Values of variable size

/// The bytes of a text, without the zero at the end. They lie in the packet. A peer's text may come without a zero.
KIV_INLINE bool takeTextBytes(PacketReader& r, std::string_view& text, std::size_t most = unlimited)
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
template <class Text> KIV_INLINE bool takeText(PacketReader& r, Text& text, std::size_t most = unlimited)
{
    std::string_view bytes;
    if (!takeTextBytes(r, bytes, most))
        return false;
    text.assign(bytes.begin(), bytes.end());
    return true;
}

/// A text for an array of characters. What does not fit is left out, and the zero is always there.
inline bool takeCharacters(PacketReader& r, char* characters, std::size_t size)
{
    std::string_view text;
    if (!takeTextBytes(r, text))
        return false;
    const std::size_t kept = std::min(text.size(), size - 1);
    r.wasCut = r.wasCut || kept < text.size();
    std::memcpy(characters, text.data(), kept);
    characters[kept] = '\0';
    return true;
}

template <Format format, class T> void takeNumbersIn(PacketReader& r, T* numbers, std::size_t count)
{
    const char* const first = r.place; // a store to a number may alias the field
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
    if (r.format() == Format::own || sizeof(T) == 1) {
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

/// The elements of a sequence. Its count is taken already. Each is made when its turn comes: the packet pays for it before
/// the next. Elements that are there already are used again, with the memory that they hold.
template <class Sequence> bool takeElements(PacketReader& r, Sequence& values, std::size_t count)
{
    constexpr std::size_t reservedAtOnce = 64;
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
    if (!r.takeCount(index, 0))
        return false;
    if (index >= alternatives)
        return r.tooMany();
    return takeAlternative(r, variant, index, std::make_index_sequence<alternatives>());
}

template <class T> void moveInto(T& to, T& from)
{
    if constexpr (std::is_array_v<T>)
        std::move(std::begin(from), std::end(from), std::begin(to));
    else
        to = std::move(from);
}

template <std::size_t I, class Parts> void moveParts(const Parts& to, const Parts& from)
{
    if constexpr (I < std::tuple_size_v<Parts>) {
        moveInto(std::get<I>(to), std::get<I>(from));
        moveParts<I + 1>(to, from);
    }
}

// The fields that a sender of an earlier version did not send get their defaults. A target that is used again must not
// keep values of the packet before.
template <std::size_t I, class Record> void setDefaults(Record& record)
{
    if constexpr (std::is_default_constructible_v<Record>) {
        Record defaults{};
        moveParts<I>(fieldsOf(record), fieldsOf(defaults));
    }
}

/// Takes the fields from I on, as long as there are any.
template <std::size_t I, class Record, class Parts>
bool takeFieldsThere(PacketReader& r, const PacketReader::Part& part, Record& record, const Parts& parts)
{
    if constexpr (I == std::tuple_size_v<Parts>) {
        return true;
    } else {
        if (part.isAtEnd()) {
            setDefaults<I>(record);
            return true;
        }
        return take(r, std::get<I>(parts)) && takeFieldsThere<I + 1>(r, part, record, parts);
    }
}

template <class Record> bool takeVersioned(PacketReader& r, Record& record)
{
    std::uint32_t length = 0;
    if (!r.takeCount(length, 1))
        return false;
    PacketReader::Part part(r, length);
    if (!takeFieldsThere<0>(r, part, record, fieldsOf(record)))
        return false;
    part.skipRest(); // fields of a later version
    return true;
}

template <class Record> KIV_INLINE bool takeRecord(PacketReader& r, Record& record)
{
    if constexpr (isFixed<Record>) {
        return takeParts<0>(r, fieldsOf(record));
    } else {
        const Level level(r.depth);
        if (level.isTooDeep())
            return r.tooMany();
        if constexpr (kindOf<Record> == Kind::versioned)
            return takeVersioned(r, record);
        else
            return takeParts<0>(r, fieldsOf(record));
    }
}

/// The library's own takes into these areas know no size.
template <class T> inline constexpr bool isUnboundedArea = isPointerToText<T> || std::is_same_v<T, itcBinData>;

/// Takes any value. \return false, with the status set, if the value could not be taken whole.
template <class T> KIV_INLINE bool take(PacketReader& r, T& value)
{
    requirePart<T>();
    static_assert(!isUnboundedArea<T>,
                  "KIV: nothing tells how large the area is. Take into a std::string, a std::vector or a char array.");
    constexpr Kind kind = kindOf<T>;
    if constexpr (isOneNumber<T>())
        return takeParts<0>(r, std::tie(value));
    else if constexpr (kind == Kind::characters)
        return takeCharacters(r, value, sizeof value);
    else if constexpr (kind == Kind::view)
        return takeTextBytes(r, value);
    else if constexpr (kind == Kind::text || kind == Kind::path)
        return takeText(r, value);
    else if constexpr (kind == Kind::array)
        return takeArray(r, value);
    else if constexpr (kind == Kind::sequence)
        return takeSequence(r, value);
    else if constexpr (kind == Kind::set)
        return takeSet(r, value);
    else if constexpr (kind == Kind::map)
        return takeMap(r, value);
    else if constexpr (kind == Kind::optional)
        return takeOptional(r, value);
    else if constexpr (kind == Kind::tuple)
        return takeParts<0>(r, partsOf(value));
    else if constexpr (kind == Kind::variant)
        return takeVariant(r, value);
    else if constexpr (kind == Kind::record || kind == Kind::versioned)
        return takeRecord(r, value);
    else if constexpr (kind == Kind::host)
        return r.throughBuffer([&](itcNDRReceive& buffer) { buffer >> value; });
}

/// A text that was cut leaves a Warning that stops no take.
inline bool isBroken(const itcStatus& status)
{
    const bool isCut = status.code == Itc_Ndr_Buffer_Size_Too_Small && status.severity == Warning;
    return status.severity > Success && !isCut;
}

/// Takes with `step` from `buffer`: the whole value, or nothing.
/// \return false, with the status set, if nothing was taken. `buffer` then stands where it stood, and `empty` was called.
template <class Step, class Empty>
KIV_INLINE bool takeWhole(itcNDRReceive& buffer, const Step& step, const Empty& empty)
{
    if (isBroken(buffer)) {
        empty();
        return false;
    }
    PacketReader r(buffer);
    const char* const start = r.place;
    if (buffer.severity > Success) {
        r.wasCut = true;
        clear(buffer); // takes of the library would refuse
    }
    if (!withoutExceptions(buffer, [&]() KIV_INLINE_LAMBDA { return step(r); })) {
        r.place = start;
        r.commit();
        empty();
        return false;
    }
    r.commit();
    if (r.wasCut)
        fail(buffer, Itc_Ndr_Buffer_Size_Too_Small, Warning);
    return true;
}

} // namespace kiv
