// What the collector prints while it runs, and at its end.
#pragma once

#include "AgentTable.h"

#include <kiv/companion.h>

#include <chrono>
#include <string>

/// Prints the table of the agents. In a terminal each refresh draws the table over the old table. In a file or a pipe
/// each refresh prints one line.
///
/// A timer of the dispatcher decides when to refresh. Samples do not: a thousand samples in a second cost no more
/// drawing than one sample.
class Display {
public:
    Display(const AgentTable& table, std::chrono::milliseconds refresh);

    /// Starts refreshing.
    void start();
    /// Prints a line that stays. In a terminal the line stands above the table.
    void note(const std::string& text);
    /// Stops refreshing and prints the figures over the whole run.
    void finish(int refusedConnections);

private:
    void refreshNow();
    void eraseTable();
    void drawTable();
    void printLine() const;

    const AgentTable& table;
    const std::chrono::milliseconds interval;
    const std::chrono::steady_clock::time_point startTime;
    const bool isTerminal;
    std::size_t linesDrawn = 0;
    itcTimer timer; ///< The last member: its function uses the others.
};
