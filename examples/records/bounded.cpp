// A limit for one take. What is above the limit costs no memory.   bounded
#include <kiv/companion.h>

#include <iostream>

int main()
{
    itcNDRSend packet;
    packet << std::string(1000, 'x');

    itcNDRReceive arrived(packet.raw_data(), packet.raw_length());
    std::string name = "old";
    arrived >> itcBounded(name, 80);
    std::cout << arrived.STATUS_text() << '\n'; // Error: Itc_Ndr_Buff_Sz_More_Than_Max, ...
    const bool isRefused = arrived.code == Itc_Ndr_Buff_Sz_More_Than_Max && name.empty();

    arrived.reset(); // back to the first value
    arrived >> itcBounded(name, 1000);
    return isRefused && arrived.severity == Success && name.size() == 1000 ? 0 : 1;
}
