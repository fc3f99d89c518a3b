/// \file
/// Records: structures that name their fields once.
///
/// \code
/// struct Sample {
///     long long at = 0;
///     double celsius = 0;
///     std::string place;
///     std::vector<float> raw;
///     KIV_FIELDS(at, celsius, place, raw)
/// };
/// \endcode A described structure is a value like others: it is put and taken with `<<` and `>>`, printed, compared,
/// and a field or an element of other values. On the wire it is its fields, one after the other. A structure that
/// cannot be changed is described from outside: itcField.h.
#pragma once

#include <kiv/records/detail/Compare.h>
#include <kiv/records/detail/Fields.h>
#include <kiv/records/detail/Print.h>

#include <ostream>
#include <tuple>
#include <type_traits>

/// Describes the structure in which it stands: the fields that travel, in the order in which they travel.
///
/// Write it in the public part of a structure at namespace scope or inside another structure. A structure inside of a
/// function cannot have it: the language allows no templates there.
///
/// The structure gets:
/// - `buffer << record` and `buffer >> record` (itcValues.h);
/// - `==`, `!=` and `<`, field by field in the order of the list;
/// - `out << record`, which prints `{at: 1, celsius: 21.5, place: "cellar", raw: [1, 2]}`.
///
/// The structure stays an aggregate. Its layout does not change. A structure that derives from a described one needs a
/// list of its own, with the fields of the base in it.
/// \warning A field that is not in the list does not travel, is not compared and not printed. Nothing can notice that.
///          Pin in a test: the size of the structure, for a field that is added; itcSizeOnWire() or itcDescribe(), for
///          a list that is changed.
#define KIV_FIELDS(...) KIV_DESCRIBED_RECORD(false, __VA_ARGS__)

/// Describes a structure to which later versions may append fields. It is used like KIV_FIELDS.
///
/// On the wire a count of bytes stands in front of the fields. Readers and writers of different versions understand
/// each other:
/// - A reader skips the fields of a later version. The status is clear.
/// - A field that the writer did not know gets the default that the structure gives it, also when the target had
///   another value before. In a structure without a default constructor the field keeps its value.
/// - A field that the announced bytes cut in the middle fails: (`Itc_Ndr_End_Of_Data`, Error).
///
/// Only append: a field must never be removed, moved, or get another type. Versioned records may lie in one another, to
/// any depth up to 64, and in containers.
#define KIV_VERSIONED(...) KIV_DESCRIBED_RECORD(true, __VA_ARGS__)

/// Internal to KIV_FIELDS and KIV_VERSIONED.
///
/// A macro does not know the name of the structure. `decltype(this)` is the structure's type, where the language allows
/// `this`. Printing needs a function that is no member. It is a template for every type whose itcTag is this
/// structure's: the structure itself. All names in the macro begin with "itc": the host's fields and template parameters
/// do not.
#define KIV_DESCRIBED_RECORD(isVersioned, ...)                                                                         \
    auto itcFields() { return std::tie(__VA_ARGS__); }                                                                 \
    auto itcFields() const { return std::tie(__VA_ARGS__); }                                                           \
    auto itcSelf() const->decltype(this) { return this; }                                                              \
    static constexpr const char* itcFieldNames() { return #__VA_ARGS__; }                                              \
    static constexpr bool itcIsVersioned() { return isVersioned; }                                                     \
    template <class ItcOther>                                                                                          \
    auto operator==(const ItcOther& itcOther)                                                                          \
        const->std::enable_if_t<std::is_same_v<const ItcOther*, decltype(this)>, bool>                                 \
    {                                                                                                                  \
        return kiv::equal(*this, itcOther);                                                                            \
    }                                                                                                                  \
    template <class ItcOther>                                                                                          \
    auto operator!=(const ItcOther& itcOther)                                                                          \
        const->std::enable_if_t<std::is_same_v<const ItcOther*, decltype(this)>, bool>                                 \
    {                                                                                                                  \
        return !kiv::equal(*this, itcOther);                                                                           \
    }                                                                                                                  \
    template <class ItcOther>                                                                                          \
    auto operator<(const ItcOther& itcOther)                                                                           \
        const->std::enable_if_t<std::is_same_v<const ItcOther*, decltype(this)>, bool>                                 \
    {                                                                                                                  \
        return kiv::less(*this, itcOther);                                                                             \
    }                                                                                                                  \
    struct itcTag {};                                                                                                  \
    template <class ItcRecord, std::enable_if_t<std::is_same_v<typename ItcRecord::itcTag, itcTag>, int> = 0>          \
    friend std::ostream& operator<<(std::ostream& itcOut, const ItcRecord& itcRecord)                                  \
    {                                                                                                                  \
        kiv::print(itcOut, itcRecord);                                                                                 \
        return itcOut;                                                                                                 \
    }
