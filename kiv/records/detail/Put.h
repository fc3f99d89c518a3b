/// \file
/// How each kind of value is put into a packet.
#pragma once

#include <kiv/records/detail/PutRecords.h>

#include <cstddef>
#include <tuple>

namespace kiv {

/// Puts any value. \return false, with the status set, if the value could not be put whole.
template <class T> KIV_ALWAYS_INLINE bool put(PacketWriter& w, const T& value)
{
    requirePart<T>();
    constexpr Kind kind = kindOf<T>;
    if constexpr (isOneNumber<T>())
        return putParts<0>(w, std::tie(value));
    else if constexpr (isPutAsText<T>)
        return putText(w, textOf(value));
    else if constexpr (kind == Kind::array)
        return putArray(w, value);
    else if constexpr (kind == Kind::sequence)
        return putSequence(w, value);
    else if constexpr (kind == Kind::set)
        return putCount(w, value.size()) && putEach(w, value);
    else if constexpr (kind == Kind::map)
        return putMap(w, value);
    else if constexpr (kind == Kind::optional)
        return put(w, value.has_value()) && (!value.has_value() || put(w, *value));
    else if constexpr (kind == Kind::tuple)
        return putParts<0>(w, partsOf(value));
    else if constexpr (kind == Kind::variant)
        return putVariant(w, value);
    else if constexpr (kind == Kind::record || kind == Kind::versioned)
        return putRecord(w, value);
    else if constexpr (kind == Kind::host)
        return w.throughBuffer([&](itcNDRSend& buffer) { buffer << value; });
    else
        return false; // the compiler has been stopped already
}

/// Puts with `step` into `buffer`: the whole, or nothing.
/// \return false, with the status set, if nothing was put. A buffer in Error takes nothing.
template <class Step> KIV_ALWAYS_INLINE bool putWhole(itcNDRSend& buffer, const Step& step)
{
    if (buffer.severity >= Error)
        return false;
    PacketWriter w(buffer);
    const std::size_t begin = w.offset();
    if (!step(w)) {
        w.goBackTo(begin);
        return false;
    }
    return true;
}

} // namespace kiv
