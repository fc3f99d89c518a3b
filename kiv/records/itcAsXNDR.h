/// \file
/// Described values for code that wants an itcXNDR.
#pragma once

#include <kiv/ndr/itcXNDR.h>
#include <kiv/records/itcValues.h>

/// A described value behind the interface itcXNDR. itcAsXNDR() makes one.
///
/// \par Ownership
/// Holds a reference: the value must live as long as this object is used.
template <class T> class itcRecordXNDR final : public itcXNDR {
public:
    explicit itcRecordXNDR(T& value) : named(value) {} ///< Names the value.

    /// Puts the value. \return `b`; its status says what went wrong.
    itcNDRSend& to_external(itcNDRSend& b) const override { return b << named; }
    /// Takes the value. \return `b`; its status says what went wrong. For a const value nothing is taken:
    /// (`Itc_Ndr_No_Buffer_Provided`, Error).
    itcNDRReceive& to_internal(itcNDRReceive& b) override
    {
        if constexpr (std::is_const_v<T>)
            kiv::fail(b, Itc_Ndr_No_Buffer_Provided, Error);
        else
            b >> named;
        return b;
    }

private:
    T& named;
};

/// Names a value, usually a record, for code that wants an itcXNDR. \return an object that refers to the value.
template <class T> [[nodiscard]] itcRecordXNDR<T> itcAsXNDR(T& value) { return itcRecordXNDR<T>(value); }
/// A temporary would be gone before the object is used.
template <class T> void itcAsXNDR(const T&&) = delete;
