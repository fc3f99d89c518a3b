// One list of fields puts, takes, prints and compares a structure.   first_record
// The packet is read in the same program here. Between two programs it travels over a connection.
#include <kiv/companion.h>

#include <iostream>

struct Sample {
    long long at = 0;
    double celsius = 0;
    std::string place;
    std::vector<float> raw;
    KIV_FIELDS(at, celsius, place, raw)
};

int main()
{
    const Sample sent{1, 21.5, "cellar", {1, 2}};
    itcNDRSend packet;
    packet << sent;
    if (packet.severity != Success)
        return 1;

    itcNDRReceive arrived(packet.raw_data(), packet.raw_length());
    Sample sample;
    arrived >> sample;
    if (arrived.severity != Success)
        return 1; // the sample is empty: the packet did not hold one

    std::cout << sample << '\n'; // {at: 1, celsius: 21.5, place: "cellar", raw: [1, 2]}
    return sample == sent ? 0 : 1;
}
