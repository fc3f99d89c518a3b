/// \file
/// A limit for one take.
#pragma once

#include <cstddef>

/// A target with a limit: `packet >> itcBounded(name, 80)`.
///
/// The limit counts bytes of a text (without its zero), elements of a sequence, keys of a set, entries of a map. A
/// value above the limit is refused before memory is asked for: (`Itc_Ndr_Buff_Sz_More_Than_Max`, Error). The target is
/// empty then. Without a limit the packet itself is the limit: no count is believed that the rest of the packet cannot
/// hold.
///
/// A limit is for one take. Inside of a record use a char array or a std::array, or limit the packet.
///
/// \par Ownership
/// This object only names the target for the one operation.
template <class Target> class [[nodiscard]] itcBounded {
public:
    /// Names `value`, of which at most `limit` bytes, elements, keys or entries are taken.
    itcBounded(Target& value, std::size_t limit) : named(value), allowed(limit) {}

    Target& target() const { return named; }     ///< What is taken into.
    std::size_t most() const { return allowed; } ///< The limit.

private:
    Target& named;
    std::size_t allowed;
};
