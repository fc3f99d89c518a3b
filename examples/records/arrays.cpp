// Many numbers in one step.   arrays
#include <kiv/companion.h>

#include <array>

int main()
{
    std::array<float, 1000> wave{};
    wave[999] = 1;
    itcNDRSend packet;
    packet << static_cast<std::uint32_t>(wave.size());
    if (!itcPutArray(packet, wave.data(), wave.size()))
        return 1;

    itcNDRReceive arrived(packet.raw_data(), packet.raw_length());
    std::uint32_t count = 0;
    std::array<float, 1000> copy{};
    arrived >> count;
    if (arrived.severity != Success || count > copy.size())
        return 1; // the host's own count is the host's to check
    if (!itcTakeArray(arrived, copy.data(), count))
        return 1; // what was there is taken, the rest is zero
    return copy == wave ? 0 : 1;
}
