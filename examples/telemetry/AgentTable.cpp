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
    if (sample.sequence <= latest.sequence)
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

// They come by another way than the samples: late, twice, not in their order, or not at all.
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
    agent.latest = {}; // the numbers of a new connection begin anew, those of the heartbeats too
    agent.heartbeats = agent.latestHeartbeat = 0;
    return agent;
}

Agent* AgentTable::connected(const std::string& name)
{
    return find(name, true);
}

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
