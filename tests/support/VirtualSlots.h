/// \file
/// The places of virtual operations in the table. Hosts derive from the classes. An old host that runs with a new
/// library calls the operations by these places.
#pragma once

#include <cstddef>
#include <cstring>

/// Returns the number of a virtual operation's entry in the table, or -1 if the operation is not virtual. A virtual
/// destructor takes two entries.
template <class Member> int slotOf(Member member)
{
    struct {
        std::ptrdiff_t pointer, adjustment;
    } parts;
    static_assert(sizeof parts == sizeof member);
    std::memcpy(&parts, &member, sizeof parts);
    constexpr auto entry = static_cast<std::ptrdiff_t>(sizeof(void*));
#if defined(__arm__) || defined(__aarch64__)
    // On ARM the lowest bit of the adjustment marks a virtual member, since code addresses use every bit.
    return (parts.adjustment & 1) != 0 ? static_cast<int>(parts.pointer / entry) : -1;
#else
    return (parts.pointer & 1) != 0 ? static_cast<int>((parts.pointer - 1) / entry) : -1;
#endif
}

/// Adds one operation. Its entry follows the last entry of the base.
template <class Base> struct OneMoreOperation : Base {
    virtual void oneMore() = 0;
};

/// Returns the number of entries in the table of a class.
template <class Base> int slotCount() { return slotOf(&OneMoreOperation<Base>::oneMore); }
