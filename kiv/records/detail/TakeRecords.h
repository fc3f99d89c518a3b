/// \file
/// How records are taken, and other values that have parts.
#pragma once

#include <kiv/records/detail/Failure.h>
#include <kiv/records/detail/TakeNumbers.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <tuple>
#include <type_traits>
#include <utility>

namespace kiv {

/// Takes the parts from I on: runs of fixed parts in one step, the other parts one by one.
template <std::size_t I, class Parts> KIV_ALWAYS_INLINE bool takeParts(PacketReader& r, const Parts& parts)
{
    constexpr std::size_t end = endOfRun<Parts, I>();
    if constexpr (I == std::tuple_size_v<Parts>)
        return true;
    else if constexpr (end > I)
        return takeRun<I>(r, parts, std::make_index_sequence<end - I>()) && takeParts<end>(r, parts);
    else
        return take(r, std::get<I>(parts)) && takeParts<I + 1>(r, parts);
}

// ---- Versioned records

template <class T> void moveInto(T& to, T& from)
{
    if constexpr (std::is_array_v<T>) {
        for (std::size_t i = 0; i < std::extent_v<T>; ++i)
            moveInto(to[i], from[i]);
    } else {
        to = std::move(from);
    }
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
template <std::size_t I, class Record> bool setDefaults(PacketReader& r, Record& record)
{
    if constexpr (std::is_default_constructible_v<Record>) {
        // Not on the stack: the peer decides whether the defaults are needed, and a record may be large.
        const std::unique_ptr<Record> defaults(new (std::nothrow) Record{});
        if (defaults == nullptr)
            return r.noMemory();
        moveParts<I>(fieldsOf(record), fieldsOf(*defaults));
    }
    return true;
}

/// Takes the fields from I on, as long as there are any.
template <std::size_t I, class Record, class Parts>
bool takeFieldsThere(PacketReader& r, const PacketReader::Part& part, Record& record, const Parts& parts)
{
    if constexpr (I == std::tuple_size_v<Parts>) {
        return true;
    } else {
        if (part.isAtEnd())
            return setDefaults<I>(r, record);
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

template <class Record> KIV_ALWAYS_INLINE bool takeRecord(PacketReader& r, Record& record)
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

} // namespace kiv
