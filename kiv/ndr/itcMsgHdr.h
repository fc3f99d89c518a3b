/// \file
/// The library's own message header.
#pragma once

#include <kiv/foundation/export.h>
#include <kiv/ndr/itcXNDR.h>

/// A ready-made record to put in front of a message: a number, a type, two short texts and four values. The library
/// itself does not use it.
class KIV_EXPORT itcMsgHdr : public itcXNDR {
public:
    /// The message type: any 32-bit number that the host gives a meaning.
    enum itcMsgType : int {};

    static constexpr unsigned int textSize = 32; ///< Room of each text: 31 characters and a zero.

    itcMsgHdr(); ///< All numbers are 0, both texts are empty.
    /// Copies the arguments. A text of more than 31 characters is cut to 31. A null text becomes empty.
    itcMsgHdr(int number, itcMsgType type, const char* text1, const char* text2, int value1, int value2, int value3,
              int value4);
    ~itcMsgHdr() override;

    /// Takes the eight fields in their order. A text of more than 31 characters is cut to 31, and the fields behind it
    /// are read where they are. Each text is ended by a zero, also when the peer has sent none.
    itcNDRReceive& to_internal(itcNDRReceive& b) override;
    /// Puts the eight fields in their order: `number`, `type`, the texts, the values. Of each text at most 31
    /// characters are put, also when a field holds no zero.
    itcNDRSend& to_external(itcNDRSend& b) const override;

    int number;           ///< The first argument of the constructor.
    itcMsgType type;      ///< The message type.
    char text1[textSize]; ///< A text of at most 31 characters, with its zero.
    char text2[textSize]; ///< A text of at most 31 characters, with its zero.
    int value1;           ///< The first of four values.
    int value2;           ///< The second of four values.
    int value3;           ///< The third of four values.
    int value4;           ///< The last of four values.
};

/// Takes a message type, which travels as an int.
KIV_EXPORT itcNDRReceive& operator>>(itcNDRReceive& b, itcMsgHdr::itcMsgType& type);
