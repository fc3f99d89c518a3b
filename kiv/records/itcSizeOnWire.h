/// \file
/// How many bytes a value takes in a packet.
#pragma once

#include <kiv/ndr/itcNDRSend.h>
#include <kiv/records/itcValues.h>

#include <cstddef>

/// The number of bytes that a `T` takes when it begins at a multiple of 8: gaps inside count. All values of `T` must
/// have the same size, as numbers have, and arrays and records of numbers.
///
/// Pin the layout of a record in one line: `static_assert(itcSizeOnWire<Position>() == 16);`
template <class T> [[nodiscard]] constexpr std::size_t itcSizeOnWire()
{
    static_assert(kiv::hasOneSize<T>(), "KIV: values of this type differ in size. Ask for one: itcSizeOnWire(value).");
    return kiv::endOf<T>(0);
}

/// The number of bytes that `value` takes when it begins at a multiple of 8. The value is put into a packet to count
/// them.
/// \return the number; 0 if the value cannot be put, or if there is no memory.
template <class T> [[nodiscard]] std::size_t itcSizeOnWire(const T& value)
{
    constexpr unsigned int begin = 8;
    itcNDRSend packet;
    while (packet.severity == Success && packet.raw_length_inline() < begin)
        packet << char{0};
    packet << value;
    return packet.severity == Success ? packet.raw_length_inline() - begin : 0;
}
