// The collector's answer to one sample.
#pragma once

class itcNDRReceive;
class itcNDRSend;

/// Says which sample has arrived. It carries the agent's own send time back, so the agent measures the round trip
/// without remembering anything, and without the two clocks having to agree.
struct Acknowledgement {
    long long sequence = 0;
    long long sentMicros = 0;
};

itcNDRSend& operator<<(itcNDRSend& buffer, const Acknowledgement& acknowledgement);
itcNDRReceive& operator>>(itcNDRReceive& buffer, Acknowledgement& acknowledgement);
