// Receives samples from any number of agents, shows the latest, and prints a summary at the end.   collector --help
// The order: open the listeners; serve until the time is over, a signal comes or all expected agents have left; close
// the listeners; ask the agents to leave; print the summary. The result is 0 only if no sample was lost and all
// expected agents came.
#include "Acceptor.h"
#include "AgentTable.h"
#include "Display.h"
#include "HeartbeatReceiver.h"
#include "Hooks.h"
#include "Listeners.h"
#include "Program.h"
#include "SampleServer.h"
#include "Stop.h"

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include <cstdio>
#include <fstream>
#include <list>
#include <memory>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;

constexpr double longestWait = 0.2; // seconds: a signal just before a wait is noticed after this time
constexpr auto patience = std::chrono::seconds(2);

struct Options {
    int port = 5000;
    std::string portFile;
    std::string unixPath;
    double durationSeconds = 0;
    std::size_t agentsExpected = 0;
    int refreshMillis = 1000;
    bool trace = false;
    bool report = false;
};

void addOptions(CLI::App& app, Options& options)
{
    app.add_option("--port", options.port, "Port to listen on; 0: any that is free")
        ->capture_default_str()
        ->check(CLI::Range(0, 65535));
    app.add_option("--unix", options.unixPath, "Socket file to listen at as well; whatever lies there is replaced");
    app.add_option("--port-file", options.portFile, "File to write the port to, once agents can connect");
    app.add_option("--duration", options.durationSeconds, "Seconds to run at most; 0: until interrupted")
        ->capture_default_str()
        ->check(CLI::Range(0.0, 1e9));
    app.add_option("--agents-expected", options.agentsExpected,
                   "End when so many agents have come and all have left; fewer are a failure")
        ->capture_default_str();
    app.add_option("--refresh-ms", options.refreshMillis, "Time between two refreshes of the display")
        ->capture_default_str()
        ->check(CLI::Range(50, 3600000));
    app.add_flag("--trace", options.trace, "Print to stderr what the library traces: what fails, and name lookups");
    app.add_flag("--report", options.report, "Print the library's performance report to stderr, once a minute");
}

// Writes to a file of another name and renames that file. A program that waits for the port file therefore never reads
// a half-written file.
bool writePortFile(const std::string& path, int port)
{
    const std::string draft = path + ".new";
    std::ofstream file(draft);
    file << port << '\n';
    file.close();
    if (!file || std::rename(draft.c_str(), path.c_str()) != 0) {
        fmt::print(stderr, "can not write {}\n", path);
        return false;
    }
    return true;
}

void serve(itcDispatcher& dispatcher, const SampleServer& server, const AgentTable& table, const Options& options)
{
    const auto allCameAndLeft = [&] {
        return options.agentsExpected > 0 && table.agents().size() >= options.agentsExpected && !server.hasAgents();
    };
    const double limit = options.durationSeconds > 0 ? options.durationSeconds : 1e9;
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(limit));
    while (!stopRequested() && Clock::now() < end && !allCameAndLeft())
        dispatcher.dispatch(longestWait);
}

// An agent that is told about the end stops sending, takes its last acknowledgements and leaves. So no sample is lost.
void letAgentsLeave(itcDispatcher& dispatcher, SampleServer& server)
{
    server.sayGoodbye();
    const auto end = Clock::now() + patience;
    while (server.hasSessions() && Clock::now() < end)
        dispatcher.dispatch(longestWait);
}

int run(const Options& options)
{
    // The program deletes the dispatcher, after everything that uses it.
    const std::unique_ptr<itcDispatcher> dispatcher(itcDispatcher::instance());
    AgentTable table;
    Display display(*dispatcher, table, std::chrono::milliseconds(options.refreshMillis));
    SampleServer server(*dispatcher, table, display);
    HeartbeatReceiver heartbeats(*dispatcher, table);
    std::list<Acceptor> acceptors;
    const auto acceptAt = [&](std::unique_ptr<itcConnection> listener) {
        return listener != nullptr &&
               acceptors
                   .emplace_back(
                       *dispatcher, std::move(listener),
                       [&](std::unique_ptr<itcConnection> connection) { server.serve(std::move(connection)); },
                       [&](const std::string& text) { display.note(text); })
                   .start();
    };

    int port = options.port;
    if (!acceptAt(listenByTcp(port)) || (!options.unixPath.empty() && !acceptAt(listenByUnix(options.unixPath))))
        return 1;
    if (!heartbeats.listen(port))
        display.note(fmt::format("no heartbeats on port {}: {}", port, heartbeats.error()));
    if (!options.portFile.empty() && !writePortFile(options.portFile, port))
        return 1;
    display.note(fmt::format("waiting for agents on port {}; Ctrl-C ends", port));
    display.start();

    serve(*dispatcher, server, table, options);
    acceptors.clear();
    letAgentsLeave(*dispatcher, server);
    display.finish(server.refusedConnections());
    return table.lost() == 0 && table.agents().size() >= options.agentsExpected ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    return runProgram("collector", [&]() -> int {
        CLI::App app("Receives samples from agents, and shows and sums up what they measure.");
        Options options;
        addOptions(app, options);
        CLI11_PARSE(app, argc, argv);
        installHooks(options.trace, options.report);
        return run(options);
    });
}
