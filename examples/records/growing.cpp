// Two versions of one record read each other. The library's transactions read both.   growing
#include <kiv/companion.h>

namespace lastYear {
struct Reading {
    int sensor = 0;
    double value = 0;
    KIV_VERSIONED(sensor, value)
};
} // namespace lastYear

namespace today {
struct Reading {
    int sensor = 0;
    double value = 0;
    std::string unit = "degrees";
    KIV_VERSIONED(sensor, value, unit)
};
} // namespace today

int main()
{
    itcNDRSend packet;
    packet << lastYear::Reading{1, 20.5} << today::Reading{2, 1013, "hPa"} << today::Reading{3, 7, "m"};
    itcNDRReceive arrived(packet.raw_data(), packet.raw_length());

    today::Reading first{0, 0, "from the packet before"};
    lastYear::Reading second;
    arrived >> first >> second; // each is of the other version
    const bool isRead = arrived.severity == Success && first.unit == "degrees" && second.value == 1013;

    int sensor = 0;
    double value = 0;
    arrived.start_transaction(); // a reader without the companion
    arrived >> sensor >> value;
    const int result = arrived.end_transaction(); // 2, code -1: there were further fields
    return isRead && sensor == 3 && value == 7 && result == 2 && arrived.code == -1 ? 0 : 1;
}
