// The bytes of a record, as docs/wire-format.md shows them for a little-endian machine.   wire
#include <kiv/companion.h>

#include <string_view>

struct Place {
    std::int32_t floor = 0;
    std::string room;
    KIV_VERSIONED(floor, room)
};

struct Reading {
    std::string sensor;
    std::vector<std::int16_t> values;
    Place place;
    KIV_FIELDS(sensor, values, place)
};

int main()
{
    itcNDRSend packet;
    packet << Reading{"ab", {1, 2, 3}, {5, "x"}};

    constexpr char expected[] = "\0\0"         // gap
                                "\3\0\0\0ab\0" // sensor: length 3, text
                                "\0"           // gap
                                "\3\0\0\0"     // values: count 3
                                "\1\0\2\0\3\0" // values
                                "\0\0"         // gap
                                "\xA\0\0\0"    // place: 10 bytes follow
                                "\5\0\0\0"     // floor
                                "\2\0\0\0x";   // room: length 2, text with its zero
    constexpr unsigned int label = 2;
    const std::string_view values(packet.raw_data() + label, packet.raw_length() - label);
    return values == std::string_view(expected, sizeof expected) ? 0 : 1;
}
