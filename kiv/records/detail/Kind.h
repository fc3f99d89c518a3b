/// \file
/// The kinds of values that travel in a packet, and which kind a type is. Putting, taking, printing and describing all
/// look into this one table.
#pragma once

#include <kiv/ndr/itcNDRReceive.h>
#include <kiv/ndr/itcNDRSend.h>
#include <kiv/ndr/itcXNDR.h>
#include <kiv/records/detail/Fields.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <deque>
#include <filesystem>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <variant>
#include <vector>

/// Internal to the library and its companion.
namespace kiv {

/// The kinds. docs/records.md shows how each looks on the wire.
enum class Kind {
    unknown,    ///< Nothing that the companion can put or take.
    refused,    ///< A type that would compile and do harm. Refused.h says for each what to write instead.
    number,     ///< bool, characters, integers, floating-point numbers, enumerations, std::byte.
    duration,   ///< std::chrono::duration: its count.
    timePoint,  ///< std::chrono::time_point: the duration since the clock's epoch.
    characters, ///< char[N]: a text of at most N - 1 bytes.
    text,       ///< std::string.
    view,       ///< std::string_view.
    path,       ///< std::filesystem::path.
    array,      ///< std::array and T[N]: the elements. Both sides know how many.
    sequence,   ///< std::vector, std::deque, std::list: a count, then the elements.
    set,        ///< std::set and its relatives: a count, then the keys.
    map,        ///< std::map and its relatives: a count, then key and value in turn.
    optional,   ///< std::optional: a bool, then the value if there is one.
    tuple,      ///< std::pair, std::tuple, std::monostate: the parts.
    variant,    ///< std::variant: the number of the alternative, then its value.
    record,     ///< A structure with KIV_FIELDS: the fields.
    versioned,  ///< A structure with KIV_VERSIONED: the number of bytes that follow, then the fields.
    host        ///< A type with operators of its own: an itcXNDR, or what the host has written `<<` and `>>` for.
};

/// Whether `T` is made from a template, as std::vector<int> is made from std::vector.
template <template <class...> class Template, class T> inline constexpr bool isOf = false;
template <template <class...> class Template, class... Arguments>
inline constexpr bool isOf<Template, Template<Arguments...>> = true;

/// The type that travels in place of an enumeration.
template <class T, bool = std::is_enum_v<T>> struct Underlying {
    using Type = T;
};
template <class T> struct Underlying<T, true> {
    using Type = std::underlying_type_t<T>;
};

/// Characters whose size differs between machines, or that the library would put as an int.
template <class T>
inline constexpr bool isWideCharacter =
    std::is_same_v<T, wchar_t> || std::is_same_v<T, char16_t> || std::is_same_v<T, char32_t>
#ifdef __cpp_char8_t
    || std::is_same_v<T, char8_t>
#endif
    ;

template <class T>
inline constexpr bool isLongOfFourBytes = sizeof(long) == 4 &&
                                          (std::is_same_v<T, long> || std::is_same_v<T, unsigned long>);

template <class T> constexpr bool isTooLong()
{
    if constexpr (std::is_arithmetic_v<T>)
        return sizeof(T) > 8 && !std::is_same_v<T, long double>;
    else
        return false;
}

/// Numbers of 16 bytes, which some compilers have.
template <class T> inline constexpr bool isTooLongNumber = isTooLong<T>();

template <class T>
inline constexpr bool isPlainNumber = std::is_arithmetic_v<T> && !isTooLongNumber<T> && !isWideCharacter<T> &&
                                      !isLongOfFourBytes<T> && !std::is_same_v<T, long double>;

template <class T> inline constexpr bool isWideText = false;
template <class C, class... Rest>
inline constexpr bool isWideText<std::basic_string<C, Rest...>> = !std::is_same_v<C, char>;
template <class C, class... Rest>
inline constexpr bool isWideText<std::basic_string_view<C, Rest...>> = !std::is_same_v<C, char>;

template <class T>
inline constexpr bool isSmartPointer = isOf<std::unique_ptr, T> || isOf<std::shared_ptr, T> || isOf<std::weak_ptr, T>;

// The library puts and takes these two itself.
template <class T> inline constexpr bool isPointerToText = std::is_same_v<T, const char*> || std::is_same_v<T, char*>;

/// Classes that become a pointer where one is expected: lambdas without captures, and classes with such a conversion.
template <class T, class = void> inline constexpr bool becomesPointer = false;
template <class T>
inline constexpr bool becomesPointer<T, std::void_t<decltype(+std::declval<const T&>())>> =
    std::is_class_v<T>&& std::is_pointer_v<decltype(+std::declval<const T&>())> &&
    !isPointerToText<decltype(+std::declval<const T&>())>;

template <class T>
inline constexpr bool
    isPointer = (std::is_pointer_v<T> && !isPointerToText<T>) || std::is_member_pointer_v<T> || std::is_function_v<T> ||
                (std::is_array_v<T> && std::extent_v<T> == 0) || std::is_null_pointer_v<T> || isSmartPointer<T> ||
                becomesPointer<T>;

template <class T> inline constexpr bool isText = false;
template <class... Rest> inline constexpr bool isText<std::basic_string<char, Rest...>> = true;

template <class T> inline constexpr bool isSequence = isOf<std::vector, T> || isOf<std::deque, T> || isOf<std::list, T>;

template <class T>
inline constexpr bool isSet =
    isOf<std::set, T> || isOf<std::multiset, T> || isOf<std::unordered_set, T> || isOf<std::unordered_multiset, T>;

template <class T>
inline constexpr bool isMap =
    isOf<std::map, T> || isOf<std::multimap, T> || isOf<std::unordered_map, T> || isOf<std::unordered_multimap, T>;

/// The elements of an array, std::array or T[N].
template <class T> struct ArrayTraits {
    static constexpr bool isArray = false;
};
template <class T, std::size_t Count> struct ArrayTraits<std::array<T, Count>> {
    static constexpr bool isArray = true;
    using Element = T;
    static constexpr std::size_t count = Count;
};
template <class T, std::size_t Count> struct ArrayTraits<T[Count]> {
    static constexpr bool isArray = true;
    using Element = T;
    static constexpr std::size_t count = Count;
};

/// The type of the elements of an array or a sequence.
template <class T, bool = ArrayTraits<T>::isArray> struct Elements {
    using Type = typename T::value_type;
};
template <class T> struct Elements<T, true> {
    using Type = typename ArrayTraits<T>::Element;
};
template <class T> using ElementOf = typename Elements<T>::Type;

template <class T> inline constexpr bool isTimePoint = false;
template <class Clock, class Duration>
inline constexpr bool isTimePoint<std::chrono::time_point<Clock, Duration>> = true;

template <class T> inline constexpr bool isDuration = false;
template <class Count, class Period> inline constexpr bool isDuration<std::chrono::duration<Count, Period>> = true;

template <class T>
inline constexpr bool isTuple = isOf<std::pair, T> || isOf<std::tuple, T> || std::is_same_v<T, std::monostate>;

/// Buffers that the companion's operators are not for. With them one can ask for the operators of others.
struct SendOfOthers : itcNDRSend {};
struct ReceiveOfOthers : itcNDRReceive {};

template <class T, class = void> inline constexpr bool isPutByOthers = false;
template <class T>
inline constexpr bool
    isPutByOthers<T, std::void_t<decltype(std::declval<SendOfOthers&>() << std::declval<const T&>())>> = true;
template <class T, class = void> inline constexpr bool isTakenByOthers = false;
template <class T>
inline constexpr bool
    isTakenByOthers<T, std::void_t<decltype(std::declval<ReceiveOfOthers&>() >> std::declval<T&>())>> = true;

/// Becomes a `T`, and nothing that a `T` could become. An operator that takes it is an operator for `T`.
template <class T> struct Exactly {
    template <class U, std::enable_if_t<std::is_same_v<U, T>, int> = 0> operator U() const;
};
template <class T> struct ExactTarget {
    template <class U, std::enable_if_t<std::is_same_v<U, T>, int> = 0> operator U&() const;
};

/// Whether the host, or the library, has operators for `T`: they go on putting and taking it. Numbers are left to the
/// companion, which lets the library put and take them, too.
template <class T> constexpr bool hasOperatorsOfOthers()
{
    if constexpr (std::is_arithmetic_v<T> || std::is_array_v<T> || std::is_function_v<T>)
        return false;
    else
        return std::is_base_of_v<itcXNDR, T> || isPutByOthers<Exactly<T>> || isTakenByOthers<const ExactTarget<T>>;
}

template <class T, class = void> inline constexpr bool isComplete = false;
template <class T> inline constexpr bool isComplete<T, std::void_t<decltype(sizeof(T))>> = true;

template <class T> constexpr Kind kindOfValue()
{
    using Number = typename Underlying<T>::Type;
    if constexpr (hasOperatorsOfOthers<T>())
        return Kind::host;
    else if constexpr (std::is_array_v<T> && std::is_same_v<std::remove_cv_t<std::remove_extent_t<T>>, char>)
        return Kind::characters;
    else if constexpr (isPlainNumber<Number>)
        return Kind::number;
    else if constexpr (std::is_arithmetic_v<Number> || isPointer<T> || isWideText<T> || FieldsOf<T>::isInherited)
        return Kind::refused;
    else if constexpr (FieldsOf<T>::isVersioned)
        return Kind::versioned;
    else if constexpr (FieldsOf<T>::isRecord)
        return Kind::record;
    else if constexpr (isText<T>)
        return Kind::text;
    else if constexpr (std::is_same_v<T, std::string_view>)
        return Kind::view;
    else if constexpr (std::is_same_v<T, std::filesystem::path>)
        return Kind::path;
    else if constexpr (isDuration<T>)
        return Kind::duration;
    else if constexpr (isTimePoint<T>)
        return Kind::timePoint;
    else if constexpr (ArrayTraits<T>::isArray)
        return Kind::array;
    else if constexpr (isSequence<T>)
        return Kind::sequence;
    else if constexpr (isSet<T>)
        return Kind::set;
    else if constexpr (isMap<T>)
        return Kind::map;
    else if constexpr (isOf<std::optional, T>)
        return Kind::optional;
    else if constexpr (isTuple<T>)
        return Kind::tuple;
    else if constexpr (isOf<std::variant, T>)
        return Kind::variant;
    else
        return Kind::unknown;
}

// Nothing can be asked about a class that is not defined yet. The host may have operators for it.
template <class T> constexpr Kind kindOfWhatIsDefined()
{
    if constexpr (std::is_class_v<T> && !isComplete<T>)
        return Kind::unknown;
    else
        return kindOfValue<T>();
}

/// The kind of `T`, as an operand of the companion's operators. A type that only the host's operators know is
/// Kind::unknown here: whether there are any is asked for parts only (kindOf).
template <class T> inline constexpr Kind kindOfOperand = kindOfWhatIsDefined<std::remove_cv_t<T>>();

template <class T> constexpr bool isOperandKind()
{
    constexpr Kind kind = kindOfOperand<T>;
    return kind != Kind::unknown && kind != Kind::refused && kind != Kind::host && kind != Kind::characters;
}

/// The numbers that the library has operators for, with the same meaning on all machines. `long` has none.
template <class T>
inline constexpr bool isLibraryNumber =
    std::is_arithmetic_v<T> && !std::is_same_v<T, long> && !std::is_same_v<T, unsigned long>;

/// Whether the companion has operators for `T`.
template <class T>
inline constexpr bool isOperand = isOperandKind<T>() && !isLibraryNumber<T> && !std::is_volatile_v<T>;

template <class T> constexpr Kind kindOfPart()
{
    if constexpr (kindOfOperand<T> != Kind::unknown)
        return kindOfOperand<T>;
    else
        return isPutByOthers<T> || isTakenByOthers<T> ? Kind::host : Kind::unknown;
}

/// The kind of `T` as a field, an element or an alternative.
template <class T> inline constexpr Kind kindOf = kindOfPart<std::remove_cv_t<T>>();

} // namespace kiv
