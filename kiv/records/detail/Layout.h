/// \file
/// Values whose size is known when the program is compiled: where each of their numbers lies, and how many bytes they
/// take.
///
/// Numbers stand at multiples of their size. Where a value begins is known only when the program runs, but much is
/// known before: behind a double every address is a multiple of 8. A Place carries this knowledge in its type. Most
/// gaps are then constants, and a whole record needs one test of the room.
#pragma once

#include <kiv/foundation/export.h>
#include <kiv/records/detail/Inline.h>
#include <kiv/records/detail/Kind.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>

namespace kiv {

// ---- Which types have a fixed size

/// The number that travels for a number, a duration or a time point.
template <class T, Kind = kindOf<T>> struct NumberOf {};
template <class T> struct NumberOf<T, Kind::number> {
    using Type = typename Underlying<std::remove_cv_t<T>>::Type;
};
template <class T> struct NumberOf<T, Kind::duration> {
    using Type = typename T::rep;
};
template <class T> struct NumberOf<T, Kind::timePoint> {
    using Type = typename T::rep;
};

/// Whether one number travels for a `T`.
template <class T> constexpr bool isOneNumber()
{
    constexpr Kind kind = kindOf<T>;
    if constexpr (kind == Kind::duration || kind == Kind::timePoint)
        return isPlainNumber<typename T::rep>;
    else
        return kind == Kind::number;
}

/// References to the parts of a pair, a tuple or a record, as a tuple.
template <class T> constexpr auto partsOf(T& value)
{
    using Plain = std::remove_const_t<T>;
    if constexpr (FieldsOf<Plain>::isRecord)
        return fieldsOf(value);
    else if constexpr (std::is_same_v<Plain, std::monostate>)
        return std::tuple<>();
    else
        return std::apply([](auto&... parts) { return std::tie(parts...); }, value);
}

/// The types of the parts, as a tuple.
template <class... References>
std::tuple<std::remove_cv_t<std::remove_reference_t<References>>...> withoutReferences(std::tuple<References...>);
template <class T> using PartsOf = decltype(withoutReferences(partsOf(std::declval<T&>())));

template <class T> constexpr bool hasOneSize();

template <class... Parts> constexpr bool haveOneSize(const std::tuple<Parts...>*)
{
    return (hasOneSize<Parts>() && ...);
}

/// Whether all values of `T` have the same size, but for gaps: they consist of numbers only.
template <class T> constexpr bool hasOneSize()
{
    constexpr Kind kind = kindOf<T>;
    if constexpr (isOneNumber<T>())
        return true;
    else if constexpr (kind == Kind::array)
        return hasOneSize<ElementOf<std::remove_cv_t<T>>>();
    else if constexpr (kind == Kind::tuple || kind == Kind::record)
        return haveOneSize(static_cast<const PartsOf<T>*>(nullptr));
    else
        return false;
}

template <class T> constexpr std::size_t numbersIn();

template <class... Parts> constexpr std::size_t numbersInParts(const std::tuple<Parts...>*)
{
    return (std::size_t{0} + ... + numbersIn<Parts>());
}

/// Of how many numbers a `T` consists. REQUIRES: hasOneSize<T>().
template <class T> constexpr std::size_t numbersIn()
{
    if constexpr (isOneNumber<T>())
        return 1;
    else if constexpr (kindOf<T> == Kind::array)
        return ArrayTraits<std::remove_cv_t<T>>::count * numbersIn<ElementOf<std::remove_cv_t<T>>>();
    else
        return numbersInParts(static_cast<const PartsOf<T>*>(nullptr));
}

template <class T> constexpr bool isShort()
{
    constexpr std::size_t most = 256; // the compiler makes code for each
    if constexpr (hasOneSize<T>())
        return numbersIn<T>() <= most;
    else
        return false;
}

/// Whether a `T` is put and taken in one step with its neighbours. Values of more numbers are put and taken part by
/// part, arrays of numbers in one copy.
template <class T> inline constexpr bool isFixed = isShort<T>();

/// The type of part I.
template <class Parts, std::size_t I>
using Part = std::remove_cv_t<std::remove_reference_t<std::tuple_element_t<I, Parts>>>;

/// The first part at or behind I that is not fixed.
template <class Parts, std::size_t I> constexpr std::size_t endOfRun()
{
    if constexpr (I < std::tuple_size_v<Parts>) {
        if constexpr (isFixed<Part<Parts, I>>)
            return endOfRun<Parts, I + 1>();
    }
    return I;
}

// ---- How many bytes they take

template <class T> constexpr std::size_t endOf(std::size_t offset);

template <class... Parts> constexpr std::size_t endOfParts(std::size_t offset, const std::tuple<Parts...>*)
{
    ((offset = endOf<Parts>(offset)), ...);
    return offset;
}

/// The offset behind a `T` that is put at `offset`. All values of `T` have one size. Offsets count from a multiple of
/// 8.
template <class T> constexpr std::size_t endOf(std::size_t offset)
{
    if constexpr (isOneNumber<T>()) {
        constexpr std::size_t size = sizeof(typename NumberOf<T>::Type);
        return ((offset + size - 1) & ~(size - 1)) + size;
    } else if constexpr (kindOf<T> == Kind::array) {
        using Array = ArrayTraits<std::remove_cv_t<T>>;
        using Element = typename Array::Element;
        if constexpr (isOneNumber<Element>() && Array::count > 0)
            return endOf<Element>(offset) + (Array::count - 1) * sizeof(Element);
        for (std::size_t i = 0; i < Array::count; ++i)
            offset = endOf<Element>(offset);
        return offset;
    } else {
        return endOfParts(offset, static_cast<const PartsOf<T>*>(nullptr));
    }
}

/// The sizes of consecutive fixed values, gaps included.
template <class... Parts> struct RunSize {
    /// By the start's offset from a multiple of 8.
    static constexpr std::array<std::size_t, 8> from = [] {
        std::array<std::size_t, 8> sizes{};
        for (std::size_t start = 0; start < sizes.size(); ++start)
            sizes[start] = endOfParts(start, static_cast<const std::tuple<Parts...>*>(nullptr)) - start;
        return sizes;
    }();
    /// From the worst start.
    static constexpr std::size_t most = [] {
        std::size_t size = 0;
        for (const std::size_t each : from)
            size = each > size ? each : size;
        return size;
    }();
};

// ---- Where they lie

/// An address in a packet that is known to be `Rest` modulo `Unit`. `Byte` is char or const char.
template <class Byte, unsigned Unit = 1, unsigned Rest = 0> struct Place {
    Byte* at;
};

inline unsigned int gapBefore(std::size_t alignment, const char* place)
{
    return static_cast<unsigned int>(-reinterpret_cast<std::uintptr_t>(place) & (alignment - 1));
}

/// The place behind `Bytes` bytes.
template <std::size_t Bytes, class Byte, unsigned Unit, unsigned Rest>
KIV_ALWAYS_INLINE Place<Byte, Unit, (Rest + Bytes) % Unit> behind(Place<Byte, Unit, Rest> place)
{
    return {place.at + Bytes};
}

/// The next place for a number of `Alignment` bytes. In a packet that is built the gap becomes zero.
template <unsigned Alignment, class Byte, unsigned Unit, unsigned Rest>
KIV_ALWAYS_INLINE auto aligned(Place<Byte, Unit, Rest> place)
{
    if constexpr (Alignment <= Unit) {
        constexpr unsigned gap = (Alignment - Rest % Alignment) % Alignment;
        if constexpr (!std::is_const_v<Byte> && gap != 0)
            std::memset(place.at, 0, gap);
        return behind<gap>(place);
    } else {
        if constexpr (!std::is_const_v<Byte>)
            std::memset(place.at, 0, Alignment); // what it writes behind the gap is the number's own place
        return Place<Byte, Alignment, 0>{place.at + gapBefore(Alignment, place.at)};
    }
}

} // namespace kiv
