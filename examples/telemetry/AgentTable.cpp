// The table trusts no number: samples come from other programs. Sequence numbers must ascend, and a gap is limited.
// Differences of times and byte counts are calculated in floating point, where nothing overflows.
#include "AgentTable.h"

#include <algorithm>
#include <numeric>

namespace {

// The largest number of samples that may be lost between two samples. A larger gap cannot come from an agent: the
// number itself is wrong.
constexpr long long widestGap = 1000000;

double perSecond(long long from, long long to, double seconds)
{
    return seconds > 0 ? (static_cast<double>(to) - static_cast<double>(from)) / seconds : 0;
}

} // namespace

bool Agent::add(const Sample& sample)
{
    if (sample.sequence <= latest.sequence)
        return false;
    const long long gap = sample.sequence - latest.sequence - 1;
    if (gap > widestGap)
        return false;
    lost += gap;
    if (latest.sequence > 0) {
        // In floating point: the numbers come from another program, and the difference of two integers could overflow.
        const double seconds =
            (static_cast<double>(sample.sentMicros) - static_cast<double>(latest.sentMicros)) / 1000000;
        receiveRate = perSecond(latest.bytesReceived, sample.bytesReceived, seconds);
        sendRate = perSecond(latest.bytesSent, sample.bytesSent, seconds);
    }
    ++samples;
    latest = sample;
    cpuPercent.add(sample.cpuPercent);
    memoryPercent.add(sample.memoryPercent);
    load.add(sample.load);
    return true;
}

// Heartbeats are datagrams. A datagram may come late, twice, in another order, or never.
void Agent::addHeartbeat(long long number)
{
    ++heartbeats;
    latestHeartbeat = std::max(latestHeartbeat, number);
    latestHeartbeatTime = std::chrono::steady_clock::now();
}

Agent& AgentTable::arrive(const std::string& name, const std::string& from)
{
    Agent* const known = find(name, false);
    Agent& agent = known != nullptr ? *known : rows.emplace_back();
    agent.name = name;
    agent.from = from;
    agent.connected = true;
    agent.latest = {}; // on a new connection samples and heartbeats are counted from 1 again
    agent.heartbeats = agent.latestHeartbeat = 0;
    return agent;
}

Agent* AgentTable::connected(const std::string& name) { return find(name, true); }

Agent* AgentTable::find(const std::string& name, bool connected)
{
    const auto isIt = [&](const Agent& agent) { return agent.name == name && agent.connected == connected; };
    const auto found = std::find_if(rows.begin(), rows.end(), isIt);
    return found != rows.end() ? &*found : nullptr;
}

long long AgentTable::samples() const
{
    return std::accumulate(rows.begin(), rows.end(), 0LL,
                           [](long long sum, const Agent& agent) { return sum + agent.samples; });
}

long long AgentTable::lost() const
{
    return std::accumulate(rows.begin(), rows.end(), 0LL,
                           [](long long sum, const Agent& agent) { return sum + agent.lost; });
}
