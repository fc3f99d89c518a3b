/// \file
/// Records from outside: structures that cannot be changed are described by a function.
///
/// \code
/// namespace map { // the namespace of the structure: the companion looks for the function there
/// constexpr auto itcFieldsOf(const Point*)
/// {
///     return std::make_tuple(itcField("latitude", &Point::latitude), itcField("longitude", &Point::longitude));
/// }
/// }
/// \endcode
/// The function must be constexpr and stand before the first use. Only the type of its argument matters: the pointer is
/// null. A function `itcVersionedFieldsOf` makes the record versioned, as KIV_VERSIONED does.
///
/// The structure is put and taken, and is a field or an element of other values, as with KIV_FIELDS. It gets no
/// operators `==` and `<`, and no `<<` to a stream: print it with itcPrinted.
#pragma once

/// One field in a description from outside: its name, and where it lies.
template <class Member, class Record> struct itcField {
    /// Describes the field `fieldMember` by the name `fieldName`, which must live as long as the program.
    constexpr itcField(const char* fieldName, Member Record::*fieldMember) : name(fieldName), member(fieldMember) {}

    const char* name;       ///< The name in prints and in descriptions.
    Member Record::*member; ///< The field.
};
