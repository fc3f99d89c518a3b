// What the collector shows while it runs, and at the end.
#pragma once

#include "AgentTable.h"
#include "Ticker.h"

#include <kiv/kiv.h>

#include <chrono>
#include <string>

/// In a terminal a table that is drawn anew in place; elsewhere, in a file or a pipe, one line at each refresh. A timer
/// of the dispatcher sets the pace, so a thousand samples a second cost no more drawing than one.
class Display {
public:
    Display(itcDispatcher& dispatcher, const AgentTable& table, std::chrono::milliseconds refresh);

    void start();
    /// A line that stays, above the table if there is one.
    void note(const std::string& text);
    /// Stops refreshing and prints the figures over the whole run.
    void finish(int refusedConnections);

private:
    void refreshNow();
    void eraseTable();
    void drawTable();
    void printLine() const;

    const AgentTable& table;
    Ticker refresh;
    const std::chrono::steady_clock::time_point startTime;
    const bool isTerminal;
    std::size_t linesDrawn = 0;
};
