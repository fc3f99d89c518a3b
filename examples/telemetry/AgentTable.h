// What the collector knows of its agents.
#pragma once

#include "Sample.h"
#include "Statistics.h"

#include <deque>
#include <string>

/// One agent: its latest sample and the figures over all of them.
struct Agent {
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

    /// \return false, nothing changed, if the sample is none that may follow on the latest.
    bool add(const Sample& sample);
};

/// All agents in the order of their coming; those that have left stay, so that the summary shows them.
class AgentTable {
public:
    /// The row for an agent that has just connected. One that left and comes back finds its row again.
    /// References stay good.
    Agent& arrive(const std::string& name, const std::string& from);

    const std::deque<Agent>& agents() const { return rows; }
    long long samples() const;
    long long lost() const;

private:
    std::deque<Agent> rows;
};
