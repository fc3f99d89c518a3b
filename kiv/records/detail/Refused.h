/// \file
/// The types that are refused when the program is compiled, each with a sentence that says what to write instead.
#pragma once

#include <kiv/records/detail/Kind.h>

#include <algorithm>
#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>

namespace kiv {

/// Stops the compiler with a sentence about `T`.
template <class T> constexpr void refuse()
{
    using Number = typename Underlying<T>::Type;
    static_assert(!isPointer<T>, "KIV: an address means nothing to a peer. Put what it points to. For a field: a "
                                 "std::optional, or the value itself.");
    static_assert(!isWideCharacter<Number> && !isWideText<T>,
                  "KIV: wide characters differ between machines. Convert the text to UTF-8 and put a std::string.");
    static_assert(!isTooLongNumber<Number>, "KIV: no packet carries numbers of more than 8 bytes. Put two numbers.");
    static_assert(!std::is_same_v<Number, long double>, "KIV: a long double differs between machines. Put a double.");
    static_assert(!isLongOfFourBytes<Number>,
                  "KIV: a long has 4 bytes here and 8 on other machines. Write std::int32_t or std::int64_t.");
    static_assert(!FieldsOf<T>::isInherited,
                  "KIV: this structure inherits the description of its base. Give it KIV_FIELDS of its own, with the "
                  "base's fields first.");
}

template <class... Fields> constexpr std::size_t strictestAlignment(const std::tuple<Fields...>*)
{
    std::size_t strictest = 1;
    ((strictest = std::max(strictest, alignof(std::remove_reference_t<Fields>))), ...);
    return strictest;
}

/// Whether the compiler was told to leave out the gaps in a structure.
template <class Record> constexpr bool isPacked()
{
    using Fields = decltype(fieldsOf(std::declval<Record&>()));
    return strictestAlignment(static_cast<const Fields*>(nullptr)) > alignof(Record);
}

/// Stops the compiler where a part of a value is of a type that cannot travel.
template <class T> constexpr void requirePart()
{
    if constexpr (kindOf<T> == Kind::refused)
        refuse<std::remove_cv_t<T>>();
    if constexpr (FieldsOf<std::remove_cv_t<T>>::isRecord)
        static_assert(!isPacked<std::remove_cv_t<T>>(),
                      "KIV: a packed structure has fields where no reference may point. Copy them into a plain one.");
    if constexpr (kindOf<T> == Kind::duration || kindOf<T> == Kind::timePoint) {
        using Count = typename T::rep;
        if constexpr (kindOf<Count> == Kind::refused)
            refuse<Count>();
        else
            static_assert(kindOf<Count> == Kind::number, "KIV: the count of a time must be a number.");
    }
    static_assert(kindOf<T> != Kind::unknown,
                  "KIV: no packet carries this type. Describe a structure with KIV_FIELDS in its public part, or from "
                  "outside with itcFieldsOf(). Other types need operators << and >> of their own.");
}

} // namespace kiv
