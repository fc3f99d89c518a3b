/// \file
/// What a described structure says about itself: its fields, their names, and whether later versions may append fields.
///
/// A structure describes itself in one of two ways. Code above this file sees no difference.
/// - With KIV_FIELDS or KIV_VERSIONED inside of it: the macro adds member functions.
/// - With a function `itcFieldsOf(const Structure*)` or `itcVersionedFieldsOf(const Structure*)` in its namespace,
///   which returns a tuple of itcField.
#pragma once

#include <kiv/records/itcField.h>

#include <array>
#include <cstddef>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace kiv {

/// The names in "at, celsius, place".
template <std::size_t Count> constexpr std::array<std::string_view, Count> splitNames(std::string_view list)
{
    std::array<std::string_view, Count> names{};
    for (auto& name : names) {
        const std::size_t comma = list.find(',');
        name = list.substr(0, comma);
        list.remove_prefix(comma == std::string_view::npos ? list.size() : comma + 1);
        while (!list.empty() && list.front() == ' ')
            list.remove_prefix(1);
    }
    return names;
}

/// A structure without a description.
struct NoFields {
    static constexpr bool isRecord = false;
    static constexpr bool isVersioned = false;
    static constexpr bool isInherited = false;
};

/// KIV_FIELDS and KIV_VERSIONED.
template <class Record> struct OwnFields {
    static constexpr bool isRecord = true;
    static constexpr bool isVersioned = Record::itcIsVersioned();
    // A deriving structure inherits the macro's functions, but these do not know the fields that it has added.
    static constexpr bool isInherited =
        !std::is_same_v<decltype(std::declval<const Record&>().itcSelf()), const Record*>;

    template <class Self> static constexpr auto of(Self& record) { return record.itcFields(); }
    static constexpr auto names()
    {
        using Fields = decltype(std::declval<Record&>().itcFields());
        return splitNames<std::tuple_size_v<Fields>>(Record::itcFieldNames());
    }
};

/// A tuple of itcField that a function returns. `Source` calls the function.
template <class Record, class Source> struct FieldsFromOutside {
    static constexpr bool isRecord = true;
    static constexpr bool isVersioned = Source::isVersioned;
    // A function for the base is also found for what derives from the base.
    static constexpr bool isInherited = !Source::template isFor<Record>(Source::get());

    template <class Self> static constexpr auto of(Self& record)
    {
        return std::apply([&](auto... each) { return std::tie(record.*each.member...); }, Source::get());
    }
    static constexpr auto names()
    {
        return std::apply([](auto... each) { return std::array<std::string_view, sizeof...(each)>{each.name...}; },
                          Source::get());
    }
};

/// Whether all fields of a description are fields of `Record` itself.
struct OfOneRecord {
    template <class Record, class... Members, class... Owners>
    static constexpr bool isFor(const std::tuple<itcField<Members, Owners>...>&)
    {
        return (std::is_same_v<Owners, Record> && ...);
    }
};

template <class T> struct OutsideFields : OfOneRecord {
    static constexpr bool isVersioned = false;
    static constexpr auto get() { return itcFieldsOf(static_cast<const T*>(nullptr)); }
};

template <class T> struct OutsideVersionedFields : OfOneRecord {
    static constexpr bool isVersioned = true;
    static constexpr auto get() { return itcVersionedFieldsOf(static_cast<const T*>(nullptr)); }
};

template <class T, class = void> inline constexpr bool hasOwnFields = false;
template <class T>
inline constexpr bool hasOwnFields<T, std::void_t<decltype(std::declval<const T&>().itcSelf())>> = true;

template <class T, class = void> inline constexpr bool hasOutsideFields = false;
template <class T>
inline constexpr bool hasOutsideFields<T, std::void_t<decltype(itcFieldsOf(static_cast<const T*>(nullptr)))>> = true;

template <class T, class = void> inline constexpr bool hasOutsideVersionedFields = false;
template <class T>
inline constexpr bool
    hasOutsideVersionedFields<T, std::void_t<decltype(itcVersionedFieldsOf(static_cast<const T*>(nullptr)))>> = true;

/// The description of `T`, or NoFields.
template <class T>
using FieldsOf = std::conditional_t<
    hasOwnFields<T>, OwnFields<T>,
    std::conditional_t<hasOutsideVersionedFields<T>, FieldsFromOutside<T, OutsideVersionedFields<T>>,
                       std::conditional_t<hasOutsideFields<T>, FieldsFromOutside<T, OutsideFields<T>>, NoFields>>>;

/// References to the fields, as a tuple.
template <class Record> constexpr auto fieldsOf(Record& record)
{
    return FieldsOf<std::remove_const_t<Record>>::of(record);
}

} // namespace kiv
