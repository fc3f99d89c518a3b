// Puts a type in a form of its own.   operators
// A `long` has 8 bytes on some machines and 4 on others, and no list of fields can have one. Two operators say how the
// type travels. Then the type is a field of a record like others.
#include <kiv/companion.h>

#include <cstdint>
#include <iostream>

namespace clocks {
struct Ticks { // of somebody else
    long seconds;
    long nanoseconds;
};
} // namespace clocks

namespace clocks { // the namespace of the type, where the companion looks for the operators
itcNDRSend& operator<<(itcNDRSend& packet, const Ticks& time)
{
    return packet << static_cast<std::int64_t>(time.seconds) << static_cast<std::int32_t>(time.nanoseconds);
}

itcNDRReceive& operator>>(itcNDRReceive& packet, Ticks& time)
{
    std::int64_t seconds = 0;
    std::int32_t nanoseconds = 0;
    packet >> seconds >> nanoseconds;
    time.seconds = static_cast<long>(seconds);
    time.nanoseconds = nanoseconds;
    return packet;
}
} // namespace clocks

struct Event {
    std::int32_t number = 0;
    clocks::Ticks at = {0, 0};
    KIV_FIELDS(number, at)
};

int main()
{
    itcNDRSend packet;
    packet << Event{7, {1, 500}};
    itcNDRReceive arrived(packet.raw_data(), packet.raw_length());
    Event event;
    arrived >> event;
    std::cout << event.number << ": " << event.at.seconds << " s " << event.at.nanoseconds << " ns\n";
    return arrived.severity == Success && event.number == 7 && event.at.nanoseconds == 500 ? 0 : 1;
}
