/// \file
/// What stands on the right of `<<` and `>>`: values, and the names of areas (itcText, itcBytes, itcBounded). What stands
/// on the left: plain and resumable buffers.
#pragma once

#include <kiv/ndr/itcNdrUbReceive.h>
#include <kiv/ndr/itcNdrUbSend.h>
#include <kiv/records/detail/Empty.h>
#include <kiv/records/detail/Put.h>
#include <kiv/records/detail/Take.h>
#include <kiv/records/itcBounded.h>
#include <kiv/records/itcBytes.h>
#include <kiv/records/itcText.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace kiv {

// ---- Puts

/// A single number is put and taken by the library's own operator, whatever its type is called on this machine.
template <class T>
using LibraryNumber = std::conditional_t<std::is_same_v<T, long>, long long,
                                         std::conditional_t<std::is_same_v<T, unsigned long>, unsigned long long, T>>;

template <class T> void putOperand(itcNDRSend& b, const T& value)
{
    if constexpr (isOneNumber<T>()) {
        LibraryNumber<typename NumberOf<T>::Type> number;
        static_assert(sizeof number == sizeof value);
        std::memcpy(&number, &value, sizeof number);
        b << number;
    } else {
        putWhole(b, [&](PacketWriter& w) KIV_ALWAYS_INLINE_LAMBDA { return put(w, value); });
    }
}

inline void putOperand(itcNDRSend& b, const itcText& text)
{
    putWhole(b, [&](PacketWriter& w) {
        return text.isThere() ? putText(w, textIn(text.data(), text.size())) : w.fail(Itc_Ndr_No_Buffer_Provided);
    });
}

inline void putOperand(itcNDRSend& b, const itcBytes& block)
{
    putWhole(b, [&](PacketWriter& w) {
        if (!block.isThere())
            return w.fail(Itc_Ndr_No_Buffer_Provided);
        return putCount(w, block.size()) && putNumbers(w, static_cast<const char*>(block.data()), block.size());
    });
}

// ---- Takes

template <class T> void takeOperand(itcNDRReceive& b, T& value)
{
    if constexpr (isOneNumber<T>()) {
        LibraryNumber<typename NumberOf<T>::Type> number;
        b >> number;
        std::memcpy(static_cast<void*>(&value), &number, sizeof value);
    } else {
        takeWhole(
            b, [&](PacketReader& r) { return take(r, value); }, [&] { makeEmpty(value); });
    }
}

inline void takeOperand(itcNDRReceive& b, const itcText& text)
{
    if (text.isThere())
        takeWhole(
            b, [&](PacketReader& r) { return takeCharacters(r, text.data(), text.size()); },
            [&] { std::memset(text.data(), 0, text.size()); });
    else
        fail(b, Itc_Ndr_No_Buffer_Provided, Error);
}

inline void takeOperand(itcNDRReceive& b, const itcBytes& block)
{
    const auto setLength = [&](std::uint32_t length) {
        if (block.length() != nullptr)
            *block.length() = length;
    };
    if (!block.isThere() || block.length() == nullptr) {
        setLength(0);
        fail(b, Itc_Ndr_No_Buffer_Provided, Error);
        return;
    }
    const auto bytes = [&](PacketReader& r) {
        std::uint32_t length = 0;
        if (!r.takeCount(length, 1, block.size()))
            return false;
        setLength(length);
        return takeAllNumbers(r, static_cast<char*>(block.data()), length);
    };
    takeWhole(b, bytes, [&] { setLength(0); });
}

template <class Target> void takeOperand(itcNDRReceive& b, const itcBounded<Target>& bounded)
{
    constexpr Kind kind = kindOf<Target>;
    static_assert(kind == Kind::text || kind == Kind::view || kind == Kind::path || kind == Kind::sequence ||
                      kind == Kind::set || kind == Kind::map,
                  "KIV: itcBounded() limits texts and containers. Values of other types have no count.");
    Target& value = bounded.target();
    const auto limited = [&](PacketReader& r) {
        if constexpr (kind == Kind::view)
            return takeTextBytes(r, value, bounded.most());
        else if constexpr (kind == Kind::text || kind == Kind::path)
            return takeText(r, value, bounded.most());
        else if constexpr (kind == Kind::sequence)
            return takeSequence(r, value, bounded.most());
        else if constexpr (kind == Kind::set)
            return takeSet(r, value, bounded.most());
        else
            return takeMap(r, value, bounded.most());
    };
    takeWhole(b, limited, [&] { makeEmpty(value); });
}

// ---- Resumable buffers: "May I? Then the plain buffer's operation."

struct ResumableSend : itcNdrUbSend {
    static bool mayPut(itcNdrUbSend& b)
    {
        clear(b);
        return b.*(&ResumableSend::txState) == Idle || kiv::fail(b, Itc_Ndr_Ub_Wrong_Transmission_State, Warning);
    }
};

struct ResumableReceive : itcNdrUbReceive {
    static bool mayTake(itcNdrUbReceive& b)
    {
        clear(b);
        return b.*(&ResumableReceive::rxState) == Complete ||
               kiv::fail(b, Itc_Ndr_Ub_Wrong_Transmission_State, Warning);
    }
};

inline bool mayPut(itcNDRSend&) { return true; }
inline bool mayPut(itcNdrUbSend& b) { return ResumableSend::mayPut(b); }
inline bool mayTake(itcNDRReceive&) { return true; }
inline bool mayTake(itcNdrUbReceive& b) { return ResumableReceive::mayTake(b); }

// ---- Which operands the operators are for. Nothing is asked about the operand before the buffer is known to be one.

template <class T> inline constexpr bool isArea = std::is_same_v<T, itcText> || std::is_same_v<T, itcBytes>;
template <class Target> inline constexpr bool isArea<itcBounded<Target>> = true;

template <class T> struct IsValue : std::bool_constant<isOperand<T>> {};
template <class T> struct IsPutArea : std::bool_constant<isArea<T> && !isOf<itcBounded, T>> {};
template <class T> struct IsTakeArea : std::bool_constant<isArea<T>> {};
template <class T> struct IsRefused : std::bool_constant<kindOfOperand<T> == Kind::refused> {};

template <class Buffer>
struct IsSend
    : std::bool_constant<std::is_convertible_v<Buffer*, itcNDRSend*> && !std::is_same_v<Buffer, SendOfOthers>> {};
template <class Buffer>
struct IsReceive
    : std::bool_constant<std::is_convertible_v<Buffer*, itcNDRReceive*> && !std::is_same_v<Buffer, ReceiveOfOthers>> {};

template <class Buffer, class... Conditions>
using IfSend = std::enable_if_t<std::conjunction_v<IsSend<Buffer>, std::disjunction<Conditions...>>, int>;
template <class Buffer, class... Conditions>
using IfReceive = std::enable_if_t<std::conjunction_v<IsReceive<Buffer>, std::disjunction<Conditions...>>, int>;

} // namespace kiv
