/// \file
/// Many numbers of one type, put and taken in one step.
///
/// The bytes are those of putting the numbers one by one: no count stands in front. Both sides know how many there are.
/// Use a std::vector where the count must travel.
#pragma once

#include <kiv/records/detail/Operands.h>

#include <cstddef>
#include <type_traits>

/// Puts `count` numbers. All are put, or none.
///
/// \param b      a plain or a resumable buffer.
/// \param values bool, characters, integers, floating-point numbers, enumerations, times. Null only if `count` is 0.
/// \param count  how many.
/// \return true: the numbers are put.
///         false, the status unchanged: the severity was Error before.
///         false, (`Itc_Ndr_Buffer_Alloc_Failed`, Error): there is no memory.
///         false, (`Itc_Ndr_No_Buffer_Provided`, Error): `values` is null.
///         false, (`Itc_Ndr_Ub_Wrong_Transmission_State`, Warning): a resumable buffer is in transit.
template <class Buffer, class T, kiv::IfSend<Buffer, std::true_type> = 0>
[[nodiscard]] bool itcPutArray(Buffer& b, const T* values, std::size_t count)
{
    kiv::requirePart<T>();
    static_assert(kiv::isOneNumber<T>(), "KIV: itcPutArray() puts numbers. Put other values with <<.");
    return kiv::mayPut(b) && kiv::putWhole(b, [&](kiv::PacketWriter& w) {
               return values == nullptr && count != 0 ? w.fail(Itc_Ndr_No_Buffer_Provided)
                                                      : kiv::putNumbers(w, values, count);
           });
}

/// Takes `count` numbers, as taking them one by one does: what is there is taken, and the rest of `values` becomes
/// zero. Unlike other takes of the companion, the severity that a take before has left is not looked at.
///
/// \param b      a plain or a resumable buffer.
/// \param values room for `count` numbers. Null only if `count` is 0.
/// \param count  how many.
/// \return true, the status unchanged: the numbers are taken.
///         false, (`Itc_Ndr_End_Of_Data`, Warning): fewer are there.
///         false, (`Itc_Ndr_No_Buffer_Provided`, Error): `values` is null.
///         false, (`Itc_Ndr_Ub_Wrong_Transmission_State`, Warning): a resumable buffer has no complete packet; `values`
///         is unchanged.
template <class Buffer, class T, kiv::IfReceive<Buffer, std::true_type> = 0>
[[nodiscard]] bool itcTakeArray(Buffer& b, T* values, std::size_t count)
{
    kiv::requirePart<T>();
    static_assert(kiv::isOneNumber<T>(), "KIV: itcTakeArray() takes numbers. Take other values with >>.");
    if (!kiv::mayTake(b))
        return false;
    if (values == nullptr && count != 0)
        return kiv::fail(b, Itc_Ndr_No_Buffer_Provided, Error);
    kiv::PacketReader r(b);
    const std::size_t taken = kiv::takeNumbers(r, values, count);
    r.commit();
    for (std::size_t i = taken; i < count; ++i)
        kiv::makeEmpty(values[i]);
    return taken == count || r.endOfData();
}
