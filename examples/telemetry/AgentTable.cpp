#include "AgentTable.h"

#include <algorithm>
#include <numeric>

namespace {

// More samples than this do not get lost between two that arrive: such a number is no agent's.
constexpr long long widestGap = 1000000;

double perSecond(long long from, long long to, double seconds)
{
    return seconds > 0 ? (static_cast<double>(to) - static_cast<double>(from)) / seconds : 0;
}

} // namespace

bool Agent::add(const Sample& sample)
{
    if (sample.sequence <= latest.sequence || sample.agent != latest.agent)
        return false;
    const long long gap = sample.sequence - latest.sequence - 1;
    if (gap > widestGap)
        return false;
    lost += gap;
    if (latest.sequence > 0) {
        // In floating point: these numbers are a stranger's, and their differences must not overflow.
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

Agent& AgentTable::arrive(const std::string& name, const std::string& from)
{
    const auto hasLeft = [&](const Agent& agent) { return agent.latest.agent == name && !agent.connected; };
    const auto known = std::find_if(rows.begin(), rows.end(), hasLeft);
    Agent& agent = known != rows.end() ? *known : rows.emplace_back();
    agent.from = from;
    agent.connected = true;
    agent.latest = {}; // the numbers of a new connection begin anew
    agent.latest.agent = name;
    return agent;
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
