// A structure that cannot be changed is described from outside.   outside
#include <kiv/companion.h>

#include <iostream>

namespace map { // stands for a header of somebody else
struct Point {
    double latitude;
    double longitude;
};
} // namespace map

namespace map { // the same namespace: the companion looks for the function there
constexpr auto itcFieldsOf(const Point*)
{
    return std::make_tuple(itcField("latitude", &Point::latitude), itcField("longitude", &Point::longitude));
}
} // namespace map

struct Route {
    std::string name;
    std::vector<map::Point> points;
    KIV_FIELDS(name, points)
};

int main()
{
    itcNDRSend packet;
    packet << Route{"home", {{48.2, 16.4}, {47.1, 15.4}}};

    itcNDRReceive arrived(packet.raw_data(), packet.raw_length());
    Route route;
    arrived >> route;
    std::cout << route << '\n'; // a Point alone is printed with itcPrinted(point)
    return arrived.severity == Success && route.points.size() == 2 && route.points[1].longitude == 15.4 ? 0 : 1;
}
