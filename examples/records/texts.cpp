// Texts into arrays, texts without a copy, and blocks of bytes.   texts
#include <kiv/companion.h>

#include <cstring>

int main()
{
    itcNDRSend packet;
    packet << "a name that is too long" << std::string("cellar") << itcBytes("\1\2\3", 3);
    itcNDRReceive arrived(packet.raw_data(), packet.raw_length());

    char name[8];
    arrived >> itcText(name); // cut, and ended with a zero
    const bool isCut = arrived.code == Itc_Ndr_Buffer_Size_Too_Small && std::strcmp(name, "a name ") == 0;

    std::string_view place; // its characters lie in the packet
    arrived >> place;
    const std::string kept(place); // a copy, for later

    char area[16];
    unsigned int length = 0;
    arrived >> itcBytes(area, sizeof area, length);

    const bool isComplete = arrived.code == Itc_Ndr_Buffer_Size_Too_Small && arrived.severity == Warning;
    return isCut && isComplete && kept == "cellar" && length == 3 ? 0 : 1;
}
