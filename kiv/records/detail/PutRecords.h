/// \file
/// How records are put, and other values that have parts.
#pragma once

#include <kiv/records/detail/PutContainers.h>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <tuple>
#include <utility>

namespace kiv {

template <class Parts, std::size_t I> constexpr bool isTextPart()
{
    if constexpr (I == std::tuple_size_v<Parts>)
        return false;
    else
        return isPutAsText<Part<Parts, I>>;
}

/// Puts the fixed parts from I on, and the text behind them if there is one: one test of the room for all.
template <std::size_t I, bool withText, class Parts, std::size_t... Each>
KIV_ALWAYS_INLINE bool putRun(PacketWriter& w, const Parts& parts, std::index_sequence<Each...>)
{
    using Size = RunSize<Part<Parts, I + Each>...>;
    constexpr std::size_t end = I + sizeof...(Each);
    if constexpr (withText) {
        const std::string_view text = textOf(std::get<end>(parts));
        if (!w.ensure(Size::most + aroundText + text.size()))
            return false;
        putTextAt(w, putFixedParts<I, end>(Place<char>{w.end()}, parts), text);
    } else {
        if (!w.ensure(Size::most))
            return false;
        w.endAt(putFixedParts<I, end>(Place<char>{w.end()}, parts).at);
    }
    return true;
}

/// Puts the parts from I on: runs of fixed parts in one step, the other parts one by one.
template <std::size_t I, class Parts> KIV_ALWAYS_INLINE bool putParts(PacketWriter& w, const Parts& parts)
{
    constexpr std::size_t end = endOfRun<Parts, I>();
    constexpr bool withText = isTextPart<Parts, end>();
    constexpr std::size_t next = withText ? end + 1 : end;
    if constexpr (I == std::tuple_size_v<Parts>)
        return true;
    else if constexpr (next > I)
        return putRun<I, withText>(w, parts, std::make_index_sequence<end - I>()) && putParts<next>(w, parts);
    else
        return put(w, std::get<I>(parts)) && putParts<I + 1>(w, parts);
}

// ---- Records

/// The fields behind a count of their bytes, which is filled in at the end. The library's transactions have the same
/// form. Theirs cannot lie in one another: a buffer remembers only one. Here every level remembers its own.
template <class Record> bool putVersioned(PacketWriter& w, const Record& record)
{
    if (!putCount(w, UINT32_MAX))
        return false;
    const std::size_t start = w.offset();
    if (!putParts<0>(w, fieldsOf(record)))
        return false;
    w.patchCount(start);
    return true;
}

template <class Record> KIV_ALWAYS_INLINE bool putRecord(PacketWriter& w, const Record& record)
{
    if constexpr (isFixed<Record>) {
        return putParts<0>(w, fieldsOf(record));
    } else {
        const Level level(w.depth);
        if (level.isTooDeep())
            return w.fail(Itc_Ndr_Buff_Sz_More_Than_Max);
        if constexpr (kindOf<Record> == Kind::versioned)
            return putVersioned(w, record);
        else
            return putParts<0>(w, fieldsOf(record));
    }
}

} // namespace kiv
