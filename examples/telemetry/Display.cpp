// The display counts the lines of the table that it has drawn. To erase the table it moves the cursor up by this
// number. While the table is shown, every other text goes through note(): note() erases the table, prints the text, and
// draws the table below the text.
#include "Display.h"

#include <fmt/core.h>

#include <unistd.h>

#include <cstdio>

namespace {

double kilo(double value) { return value / 1000; }

// The number of heartbeats and the age of the latest. They show whether the agent lives even if its connection is
// stuck.
std::string heartbeatText(const Agent& agent)
{
    if (agent.heartbeats == 0)
        return "none";
    const std::chrono::duration<double> age = std::chrono::steady_clock::now() - agent.latestHeartbeatTime;
    return fmt::format("{}, {:.1f} s", agent.heartbeats, age.count());
}

void printFigure(const char* name, const RunningStatistics& figure)
{
    fmt::print("    {:<10} {:>8.2f} {:>8.2f} {:>8.2f}\n", name, figure.min(), figure.mean(), figure.max());
}

} // namespace

Display::Display(const AgentTable& shown, std::chrono::milliseconds refresh)
    : table(shown), interval(refresh), startTime(std::chrono::steady_clock::now()),
      isTerminal(isatty(STDOUT_FILENO) == 1), timer([this] { refreshNow(); })
{}

void Display::start() { timer.startEvery(interval); }

void Display::refreshNow()
{
    if (isTerminal) {
        eraseTable();
        drawTable();
    } else if (!table.agents().empty()) {
        printLine();
    }
    std::fflush(stdout);
}

void Display::note(const std::string& text)
{
    eraseTable();
    fmt::print("{}\n", text);
    if (isTerminal)
        drawTable();
    std::fflush(stdout);
}

// The cursor stands below the table. Moves it up to the first line of the table, then clears down to the end of the
// screen.
void Display::eraseTable()
{
    if (linesDrawn > 0)
        fmt::print("\x1b[{}A\x1b[J", linesDrawn);
    linesDrawn = 0;
}

void Display::drawTable()
{
    // Line wrapping is off while the table is drawn. In a narrow window a row is cut and stays one line; otherwise the
    // count of the lines would be wrong.
    fmt::print("\x1b[?7l\x1b[1m{:<16} {:<16} {:>8} {:>5} {:>12} {:>6} {:>6} {:>6} {:>9} {:>9}\x1b[0m\n", "agent",
               "from", "samples", "lost", "heartbeats", "cpu %", "mem %", "load", "in kB/s", "out kB/s");
    for (const Agent& agent : table.agents()) {
        fmt::print("{}{:<16} {:<16} {:>8} {:>5} {:>12} {:>6.1f} {:>6.1f} {:>6.2f} {:>9.1f} {:>9.1f}{}\x1b[0m\n",
                   agent.connected ? "" : "\x1b[2m", agent.name, agent.from, agent.samples, agent.lost,
                   heartbeatText(agent), agent.latest.cpuPercent, agent.latest.memoryPercent, agent.latest.load,
                   kilo(agent.receiveRate), kilo(agent.sendRate), agent.connected ? "" : "  left");
    }
    fmt::print("\x1b[?7h");
    linesDrawn = table.agents().size() + 1;
}

void Display::printLine() const
{
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - startTime;
    fmt::print("{:7.1f} s  {} samples, {} lost; cpu %:", elapsed.count(), table.samples(), table.lost());
    for (const Agent& agent : table.agents())
        if (agent.connected)
            fmt::print("  {} {:.1f}", agent.name, agent.latest.cpuPercent);
    fmt::print("\n");
}

void Display::finish(int refusedConnections)
{
    timer.stop();
    if (isTerminal)
        refreshNow();
    fmt::print("\n{:<14} {:>8} {:>8} {:>8}\n", "agent", "min", "mean", "max");
    for (const Agent& agent : table.agents()) {
        fmt::print("{} from {}: {} samples received, {} lost; {} of {} heartbeats\n", agent.name, agent.from,
                   agent.samples, agent.lost, agent.heartbeats, agent.latestHeartbeat);
        printFigure("cpu %", agent.cpuPercent);
        printFigure("memory %", agent.memoryPercent);
        printFigure("load", agent.load);
    }
    fmt::print("collector: {} agents, {} samples received, {} lost, {} connections refused\n", table.agents().size(),
               table.samples(), table.lost(), refusedConnections);
    std::fflush(stdout);
}
