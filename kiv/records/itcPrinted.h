/// \file
/// Printing any value that can travel.
#pragma once

#include <kiv/records/detail/Print.h>

#include <ostream>

/// `out << itcPrinted(value)` prints a value for traces and tests. Records print themselves; this form serves what has
/// no `<<` of its own: containers, and structures that are described from outside.
///
/// Numbers are printed with the settings of the stream. Texts are quoted; bytes that are no printable characters are
/// shown as `\x0a`.
/// \par Ownership
/// The value must live until it is printed.
template <class T> class [[nodiscard]] itcPrinted {
public:
    explicit itcPrinted(const T& value) : named(value) {} ///< Names the value.

    /// Prints the value. \return the stream.
    friend std::ostream& operator<<(std::ostream& out, const itcPrinted& printed)
    {
        kiv::print(out, printed.named);
        return out;
    }

private:
    const T& named;
};
