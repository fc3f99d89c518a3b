/// \file
/// How each kind of value is taken out of a packet.
///
/// Nothing is believed before it is tested: a count is held against what is left before memory is asked for. A take
/// that fails ends at once. What it has changed in its target is emptied by the outermost take (Empty.h).
#pragma once

#include <kiv/records/detail/TakeContainers.h>
#include <kiv/records/detail/TakeRecords.h>

#include <tuple>
#include <type_traits>

namespace kiv {

/// The library's own takes into these areas know no size.
template <class T> inline constexpr bool isUnboundedArea = isPointerToText<T> || std::is_same_v<T, itcBinData>;

/// Takes any value. \return false, with the status set, if the value could not be taken whole.
template <class T> KIV_ALWAYS_INLINE bool take(PacketReader& r, T& value)
{
    requirePart<T>();
    static_assert(!isUnboundedArea<T>,
                  "KIV: nothing tells how large the area is. Take into a std::string, a std::vector or a char array.");
    constexpr Kind kind = kindOf<T>;
    if constexpr (isOneNumber<T>())
        return takeParts<0>(r, std::tie(value));
    else if constexpr (kind == Kind::characters)
        return takeCharacters(r, value, sizeof value);
    else if constexpr (kind == Kind::view)
        return takeTextBytes(r, value);
    else if constexpr (kind == Kind::text || kind == Kind::path)
        return takeText(r, value);
    else if constexpr (kind == Kind::array)
        return takeArray(r, value);
    else if constexpr (kind == Kind::sequence)
        return takeSequence(r, value);
    else if constexpr (kind == Kind::set)
        return takeSet(r, value);
    else if constexpr (kind == Kind::map)
        return takeMap(r, value);
    else if constexpr (kind == Kind::optional)
        return takeOptional(r, value);
    else if constexpr (kind == Kind::tuple)
        return takeParts<0>(r, partsOf(value));
    else if constexpr (kind == Kind::variant)
        return takeVariant(r, value);
    else if constexpr (kind == Kind::record || kind == Kind::versioned)
        return takeRecord(r, value);
    else if constexpr (kind == Kind::host)
        return r.throughBuffer([&](itcNDRReceive& buffer) { buffer >> value; });
    else
        return false; // the compiler has been stopped already
}

/// Takes with `step` from `buffer`: the whole value, or nothing.
/// \return false, with the status set, if nothing was taken. `buffer` then stands where it stood, and `empty` was
/// called.
template <class Step, class Empty>
KIV_ALWAYS_INLINE bool takeWhole(itcNDRReceive& buffer, const Step& step, const Empty& empty)
{
    if (isBroken(buffer)) {
        empty();
        return false;
    }
    PacketReader r(buffer);
    const char* const start = r.place;
    r.rememberCut();
    if (!withoutExceptions(buffer, [&]() KIV_ALWAYS_INLINE_LAMBDA { return step(r); })) {
        r.place = start;
        r.commit();
        empty();
        return false;
    }
    r.commit();
    if (r.wasCut)
        fail(buffer, Itc_Ndr_Buffer_Size_Too_Small, Warning);
    return true;
}

} // namespace kiv
