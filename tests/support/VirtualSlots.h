/// \file
/// The places of virtual operations in the table: hosts derive from the classes and are not always built anew.
#pragma once

#include <cstddef>
#include <cstring>

/// The entry of a virtual operation in the table; -1 for one that is not virtual. The destructor takes the first two.
template <class Member> int slotOf(Member member)
{
    struct {
        std::ptrdiff_t pointer, adjustment;
    } parts;
    static_assert(sizeof parts == sizeof member);
    std::memcpy(&parts, &member, sizeof parts);
    constexpr auto entry = static_cast<std::ptrdiff_t>(sizeof(void*));
#if defined(__arm__) || defined(__aarch64__)
    // There the mark of a virtual member lies in the adjustment: code addresses use every bit.
    return (parts.adjustment & 1) != 0 ? static_cast<int>(parts.pointer / entry) : -1;
#else
    return (parts.pointer & 1) != 0 ? static_cast<int>((parts.pointer - 1) / entry) : -1;
#endif
}

/// Adds one operation, which lands behind the last of its base.
template <class Base> struct OneMoreOperation : Base {
    virtual void oneMore() = 0;
};

/// The number of entries that a class has.
template <class Base> int slotCount() { return slotOf(&OneMoreOperation<Base>::oneMore); }
