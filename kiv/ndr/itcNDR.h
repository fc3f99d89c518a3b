/// \file
/// What every marshalling buffer shares, and the floating-point conversions.
#pragma once

#include <kiv/foundation/export.h>
#include <kiv/foundation/itcStatus.h>

/// The base of the send and receive buffers: a status, and the format codes of this process.
///
/// A sender writes its values as its machine keeps them and says how in the label of the packet; only a receiver whose
/// own format differs converts. docs/wire-format.md shows every byte.
///
/// \par Threads  The codes are plain words, written once by the host before it builds packets, if at all.
class KIV_EXPORT itcNDR : public itcStatus {
public:
    virtual ~itcNDR();

    static int ndr_endian; ///< Byte order: 1 is little-endian, 0 big-endian. Any difference to a peer reverses bytes.
    static int ndr_float;  ///< Floating-point format: 0 is IEEE 754, 1 is VAX (F for 4 bytes, D for 8).
    static int ndr_char;   ///< Character set, 0 at first: carried in the label, never acted on.

protected:
    itcNDR() = default;
    itcNDR(const itcNDR&) = default;
    itcNDR& operator=(const itcNDR&) = default;
};

/// \name Floating-point conversions
/// Each rewrites the 4 or 8 bytes of one value in place, at any alignment. Sign and exponent are taken from the low
/// bits of the first word and not from where IEEE values have them in memory; peers convert in the same way. Exponents
/// wrap modulo 256.
/// \{
extern "C" {
KIV_EXPORT void Itc_itof(void* value); ///< IEEE single to VAX F.
KIV_EXPORT void Itc_ftoi(void* value); ///< VAX F to IEEE single.
KIV_EXPORT void Itc_itod(void* value); ///< IEEE double to VAX D. Drops bits 3 to 12 of the second word.
KIV_EXPORT void Itc_dtoi(void* value); ///< VAX D to IEEE double.
}
/// \}
