// The message header: eight fields in a fixed order, two of them bounded texts.
//
// Texts come from peers and from hosts, and neither can be trusted to end them with a zero. Every text is ended here:
// when it is set, when it is taken, and on the way out.
#include <kiv/ndr/itcMsgHdr.h>

#include <kiv/ndr/itcNDRReceive.h>
#include <kiv/ndr/itcNDRSend.h>

#include <cstring>

namespace {

void setText(char (&text)[itcMsgHdr::textSize], const char* value)
{
    const size_t length = value != nullptr ? ::strnlen(value, sizeof text - 1) : 0;
    if (length != 0)
        std::memcpy(text, value, length);
    std::memset(text + length, 0, sizeof text - length);
}

} // namespace

itcMsgHdr::itcMsgHdr() : number(0), type(itcMsgType(0)), value1(0), value2(0), value3(0), value4(0)
{
    text1[0] = text2[0] = '\0';
}

itcMsgHdr::itcMsgHdr(int messageNumber, itcMsgType messageType, const char* first, const char* second, int v1, int v2,
                     int v3, int v4)
    : number(messageNumber), type(messageType), value1(v1), value2(v2), value3(v3), value4(v4)
{
    setText(text1, first);
    setText(text2, second);
}

itcMsgHdr::~itcMsgHdr() = default;

// The texts leave as copies of at most 31 characters. A host may have filled a field to its last byte: what lies behind
// the field is never read, and never sent.
itcNDRSend& itcMsgHdr::to_external(itcNDRSend& b) const
{
    char bounded1[textSize];
    char bounded2[textSize];
    setText(bounded1, text1);
    setText(bounded2, text2);
    const char* const first = bounded1;
    const char* const second = bounded2;
    return b << number << static_cast<int>(type) << first << second << value1 << value2 << value3 << value4;
}

itcNDRReceive& itcMsgHdr::to_internal(itcNDRReceive& b)
{
    b >> number >> type;
    b.takeBoundedText(text1, sizeof text1);
    b.takeBoundedText(text2, sizeof text2);
    return b >> value1 >> value2 >> value3 >> value4;
}

itcNDRReceive& operator>>(itcNDRReceive& b, itcMsgHdr::itcMsgType& type)
{
    int value = 0;
    b >> value;
    type = static_cast<itcMsgHdr::itcMsgType>(value);
    return b;
}
