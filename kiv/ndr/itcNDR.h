/// \file
/// What every marshalling buffer shares, and the floating-point conversions.
#pragma once

#include <kiv/foundation/export.h>
#include <kiv/foundation/itcStatus.h>

/// The base of the send and receive buffers: a status, and the format codes of this process.
///
/// NDR is network data representation. A sender writes values as its own machine keeps them. The label of the packet
/// says how that is. Only a receiver whose own format differs converts. docs/wire-format.md shows every byte.
///
/// \par Threads
/// The codes are plain words. A host that changes them does so once, before packets are built.
class KIV_EXPORT itcNDR : public itcStatus {
public:
    virtual ~itcNDR();

    static int ndr_endian; ///< Byte order: 1 is little-endian, 0 big-endian. Any difference to a peer reverses bytes.
    static int ndr_float;  ///< Floating-point format: 0 is IEEE 754; 1 is VAX (F for 4 bytes, D for 8 bytes).
    static int ndr_char;   ///< Character set, 0 at first. The label carries the code, and nothing acts on it.

protected:
    itcNDR() = default;
    itcNDR(const itcNDR&) = default;            ///< Copies the status.
    itcNDR& operator=(const itcNDR&) = default; ///< Copies the status.
};

/// \name Floating-point conversions
/// Each rewrites the 4 or 8 bytes of one value in place, at any alignment. The sign is taken from bit 0, and the
/// exponent from the bits above, of the first word. IEEE values have both in the high bits. All peers convert in this
/// way, so both ends agree. Exponents wrap modulo 256. docs/wire-format.md tells more.
/// \{
extern "C" {
KIV_EXPORT void Itc_itof(void* value); ///< IEEE single to VAX F.
KIV_EXPORT void Itc_ftoi(void* value); ///< VAX F to IEEE single.
KIV_EXPORT void Itc_itod(void* value); ///< IEEE double to VAX D. Drops bits 3 to 12 of the second word.
KIV_EXPORT void Itc_dtoi(void* value); ///< VAX D to IEEE double.
}
/// \}
