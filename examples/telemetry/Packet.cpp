#include "Packet.h"

#include <algorithm>
#include <functional>

itcNDRSend& beginPacket(itcNDRSend& buffer, PacketKind kind)
{
    buffer.reset();
    return buffer << static_cast<int>(kind);
}

bool receivePacket(itcConnection& connection, itcNDRReceive& buffer, PacketKind& kind)
{
    connection >> buffer;
    if (buffer.severity != Success)
        return false;
    int number = 0;
    buffer >> number;
    kind = static_cast<PacketKind>(number);
    return buffer.severity == Success;
}

void refuse(itcNDRReceive& buffer, ItcStatusCode code)
{
    static_cast<itcStatus&>(buffer) = itcStatus{code, Error, 0};
}

// `buffer >> char*` would copy as much as the packet announces, and a peer decides how much that is.
void takeText(itcNDRReceive& buffer, std::string& text, unsigned int longest)
{
    text.clear();
    unsigned int size = 0; // with the zero at the end
    buffer >> size;
    if (buffer.severity != Success)
        return;
    if (size > longest + 1) {
        refuse(buffer, Itc_Ndr_Buffer_Size_Too_Small);
        return;
    }
    text.resize(size);
    buffer.extract(text.data(), size);
    text.resize(std::min(text.find('\0'), text.size()));
    const auto isPlain = [](char c) { return c >= ' ' && c <= '~'; };
    std::replace_if(text.begin(), text.end(), std::not_fn(isPlain), '?');
}
