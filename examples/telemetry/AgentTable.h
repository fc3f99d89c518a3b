// What the collector knows of its agents.
#pragma once

#include "Sample.h"
#include "Statistics.h"

#include <chrono>
#include <deque>
#include <string>

/// One agent: its latest sample and the figures over all of them.
struct Agent {
    std::string name;
    std::string from; ///< The address that it connects from.
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
    long long latestHeartbeat = 0; ///< Its number; if that is larger than `heartbeats`, some were lost.
    std::chrono::steady_clock::time_point latestHeartbeatTime;

    /// \return false, nothing changed, if the sample is none that may follow on the latest.
    bool add(const Sample& sample);
    void addHeartbeat(long long number);
};

/// All agents in the order of their coming; those that have left stay, so that the summary shows them.
class AgentTable {
public:
    /// The row for an agent that has just connected. One that left and comes back finds its row again.
    /// References stay good.
    Agent& arrive(const std::string& name, const std::string& from);
    /// An agent of this name that is connected; null if there is none.
    Agent* connected(const std::string& name);

    const std::deque<Agent>& agents() const { return rows; }
    long long samples() const;
    long long lost() const;

private:
    Agent* find(const std::string& name, bool connected);

    std::deque<Agent> rows;
};
