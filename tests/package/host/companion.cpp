// A host of the installed companion. The host sends a described record through a packet.
#include <kiv/companion.h>

#include <iostream>
#include <string>

namespace {

struct Reading {
    int sensor = 0;
    std::string place;
    KIV_FIELDS(sensor, place)
};

} // namespace

int main()
{
    const Reading sent{7, "cellar"};
    itcNDRSend out;
    out << sent;

    itcNDRReceive in(out.raw_data(), out.raw_length());
    Reading received;
    in >> received;

    std::cout << received << ", " << in.STATUS_text() << '\n';
    return received == sent && in.severity == Success ? 0 : 1;
}
