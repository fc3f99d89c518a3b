// The first client: sends a reading each second, prints the answers, stays connected.   client [host]
#include <kiv/companion.h>

#include <iostream>

struct Reading {
    int sensor = 0;
    double celsius = 0;
    KIV_FIELDS(sensor, celsius)
};

int main(int argc, char** argv)
{
    itcConnector connector(argc > 1 ? argv[1] : "localhost", 5000, [](itcSession& server) {
        server.onPacket([&server](itcNDRReceive& packet) {
            if (Reading answer; server.take(packet, answer))
                std::cout << answer << std::endl;
        });
        server.onClosed([](const itcClosed& why) { std::cerr << why.text() << '\n'; });
    });
    connector.onFailed([](const itcClosed& why) { std::cerr << why.text() << '\n'; });
    itcTimer timer([&] { (void)connector.send(Reading{1, 20.5}); }); // while connected
    timer.startEvery(std::chrono::seconds(1));
    return itcRunUntilSignal();
}
