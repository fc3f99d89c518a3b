/// \file
/// `<<` and `>>` for the values that the library itself does not know: fixed-width integers, enumerations, texts and
/// containers of the standard library, times, blocks, described records. Types that would compile and do harm are
/// refused.
///
/// docs/records.md has the table of all types: how each looks on the wire, and what bounds a take.
///
/// \par Puts
/// A value is put whole or not at all. A put that fails leaves the packet as it was. Results, in the status:
/// - unchanged: the value is put. Exception: a growth of the buffer clears the status.
/// - unchanged, and the severity was Error before: nothing is put.
/// - (`Itc_Ndr_Buffer_Alloc_Failed`, Error): there is no memory.
/// - (`Itc_Ndr_Buff_Sz_More_Than_Max`, Error): records lie in one another more than 64 deep.
/// - (`Itc_Ndr_No_Buffer_Provided`, Error): there is nothing to put. It is a std::variant that has lost its value, or a
///   null area.
///
/// \par Takes
/// A value is taken whole or not at all. A take that fails leaves the read position where the value began. It empties
/// the target:
/// - Numbers become zero.
/// - Texts and containers become empty, optionals lose their value.
/// - Each part of an array, a tuple or a record becomes empty.
/// - A variant becomes its first alternative, if that can be made without an exception. Otherwise the alternative that
///   it holds becomes empty.
/// - Types with operators of their own are as these have left them.
///
/// Results, in the status:
/// - unchanged: the value is taken.
/// - unchanged, and the severity was Warning or worse before: nothing is taken. One test behind the last take is
///   enough.
/// - (`Itc_Ndr_End_Of_Data`, Warning): the packet does not hold the value, or a count is larger than what is left.
/// - (`Itc_Ndr_End_Of_Data`, Error): a versioned record ends inside of a field.
/// - (`Itc_Ndr_Buff_Sz_More_Than_Max`, Error): a limit is exceeded, a variant has no alternative of that number, or
///   records lie in one another more than 64 deep.
/// - (`Itc_Ndr_Buffer_Alloc_Failed`, Error): there is no memory.
/// - (`Itc_Ndr_Buffer_Size_Too_Small`, Warning): all is taken, but a text was cut to fit into its array of characters.
///   This Warning stops no further take of the companion.
///
/// \par Single numbers
/// A number that is no part of another value is put and taken by the library's own operator for a number of its size.
/// The library's rules hold:
/// - A take does not look at the severity.
/// - A take of a number that is not there leaves the gap before the number skipped.
/// - A buffer in Error takes in single bytes, and larger numbers only if it grows.
///
/// \par Resumable buffers
/// The operators on itcNdrUbSend and itcNdrUbReceive clear the status first, as the library's operators do. In a state
/// that allows no puts or takes the status becomes (`Itc_Ndr_Ub_Wrong_Transmission_State`, Warning). Nothing is put
/// then, and the target of a take stays as it was.
///
/// \par Threads
/// One thread at a time per buffer, as for the library's own operators.
#pragma once

#include <kiv/records/detail/Operands.h>
#include <kiv/records/itcBounded.h>
#include <kiv/records/itcBytes.h>
#include <kiv/records/itcFields.h>
#include <kiv/records/itcText.h>

/// Puts a value, an itcText or an itcBytes. \return the buffer.
template <class Buffer, class T, kiv::IfSend<Buffer, kiv::IsValue<T>, kiv::IsPutArea<T>> = 0>
Buffer& operator<<(Buffer& b, const T& value)
{
    if (kiv::mayPut(b))
        kiv::putOperand(b, value);
    return b;
}

/// Takes a value. \return the buffer.
template <class Buffer, class T, kiv::IfReceive<Buffer, kiv::IsValue<T>> = 0> Buffer& operator>>(Buffer& b, T& value)
{
    if (kiv::mayTake(b))
        kiv::takeOperand(b, value);
    return b;
}

/// Takes into an itcText, an itcBytes or an itcBounded. \return the buffer.
template <class Buffer, class T, kiv::IfReceive<Buffer, kiv::IsTakeArea<T>> = 0>
Buffer& operator>>(Buffer& b, const T& area)
{
    if (kiv::mayTake(b))
        kiv::takeOperand(b, area);
    return b;
}

/// Refuses pointers, wide characters, `long double` and a `long` of 4 bytes when the program is compiled. The library
/// alone would put an address as a bool, and a wide character as an int.
template <class Buffer, class T, kiv::IfSend<Buffer, kiv::IsRefused<T>> = 0>
Buffer& operator<<(Buffer& b, [[maybe_unused]] const T& value)
{
    kiv::refuse<T>();
    return b;
}

/// Refuses the same types.
template <class Buffer, class T, kiv::IfReceive<Buffer, kiv::IsRefused<T>> = 0>
Buffer& operator>>(Buffer& b, [[maybe_unused]] T& value)
{
    kiv::refuse<T>();
    return b;
}
