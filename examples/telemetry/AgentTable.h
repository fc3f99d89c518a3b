// What the collector knows about its agents.
#pragma once

#include "Sample.h"
#include "Statistics.h"

#include <chrono>
#include <deque>
#include <string>

/// One agent: its latest sample, and figures over all its samples.
struct Agent {
    std::string name;
    std::string from; ///< The address of the agent's connection.
    bool connected = true;
    long long samples = 0;
    long long lost = 0;
    Sample latest;
    double receiveRate = 0; ///< Bytes per second, between the latest two samples.
    double sendRate = 0;    ///< Bytes per second, between the latest two samples.
    RunningStatistics cpuPercent;
    RunningStatistics memoryPercent;
    RunningStatistics load;

    long long heartbeats = 0;
    long long latestHeartbeat = 0; ///< The largest number so far. If it is larger than `heartbeats`, some were lost.
    std::chrono::steady_clock::time_point latestHeartbeatTime;

    /// Enters the next sample.
    /// \return false if the sequence number does not come after the latest one, or is too far away. Nothing has
    ///         changed then.
    bool add(const Sample& sample);
    /// Enters a heartbeat. Heartbeats may come in any order.
    void addHeartbeat(long long number);
};

/// All agents, in the order in which they came. An agent that has left stays in the table: the summary shows it.
class AgentTable {
public:
    /// The row for an agent that has just connected. An agent that left and comes back gets its old row.
    /// The returned reference stays valid as long as the table.
    Agent& arrive(const std::string& name, const std::string& from);
    /// The connected agent with this name; null if there is none.
    Agent* connected(const std::string& name);

    const std::deque<Agent>& agents() const { return rows; }
    long long samples() const;
    long long lost() const;

private:
    Agent* find(const std::string& name, bool connected);

    std::deque<Agent> rows;
};
