// Receives samples from any number of agents, shows the latest, and prints a summary at the end.   collector --help
// The order: open the listeners; serve until the time is over, a signal comes or all expected agents have left; close
// the listeners; ask the agents to leave; print the summary. The result is 0 only if no sample was lost and all
// expected agents came.
#include "AgentTable.h"
#include "Display.h"
#include "HeartbeatEntry.h"
#include "Hooks.h"
#include "Message.h"
#include "Program.h"
#include "SampleServer.h"

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <optional>

namespace {

constexpr double patience = 2;  // seconds: how long the agents have to leave
constexpr double noLimit = 1e9; // seconds

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

/// The listeners for TCP and, if wanted, for local streams.
struct Doors {
    itcAcceptor tcp;
    std::optional<itcAcceptor> local;

    void stopListening()
    {
        tcp.stopListening();
        if (local)
            local->stopListening();
    }
    std::size_t sessions() const { return tcp.sessions() + (local ? local->sessions() : 0); }
    void forEach(const std::function<void(itcSession&)>& function)
    {
        tcp.forEach(function);
        if (local)
            local->forEach(function);
    }
};

bool isOpen(const itcAcceptor& acceptor, const std::string& place)
{
    if (!acceptor)
        fmt::print(stderr, "can not listen at {}: {}\n", place, acceptor.status().STATUS_text());
    return acceptor.isListening();
}

void serve(Doors& doors, const SampleServer& server, const AgentTable& table, const Options& options)
{
    const auto allCameAndLeft = [&] {
        return options.agentsExpected > 0 && table.agents().size() >= options.agentsExpected && !server.hasAgents();
    };
    dispatchUntil(allCameAndLeft, options.durationSeconds > 0 ? options.durationSeconds : noLimit);
    doors.stopListening();
}

// An agent that is told about the end stops sending, takes its last acknowledgements and leaves. So no sample is lost.
void letAgentsLeave(Doors& doors)
{
    doors.forEach([](itcSession& agent) {
        static_cast<void>(agent.send(headerOf(MessageKind::goodbye, ""))); // a failure is ignored: the session ends
    });
    dispatchUntil([&] { return doors.sessions() == 0; }, patience);
}

int run(const Options& options)
{
    // The program deletes the dispatcher, after everything that uses it.
    const std::unique_ptr<itcDispatcher> dispatcher(itcDispatcher::instance());
    AgentTable table;
    Display display(table, std::chrono::milliseconds(options.refreshMillis));
    SampleServer server(table, display);
    const auto welcome = [&](itcSession& agent) { server.serve(agent); };
    Doors doors{{itcInetAddress(options.port), welcome}, std::nullopt};
    if (!isOpen(doors.tcp, fmt::format("port {}", options.port)))
        return 1;
    if (!options.unixPath.empty()) {
        doors.local.emplace(itcUnixAddress(options.unixPath.c_str()), welcome);
        if (!isOpen(*doors.local, options.unixPath))
            return 1;
    }
    const int port = doors.tcp.port();
    const itcDatagramReceiver heartbeats(
        itcInetAddress(port), [&](itcNDRReceive& packet, const itcInetAddress&) { enterHeartbeat(packet, table); });
    if (!heartbeats)
        display.note(fmt::format("no heartbeats on port {}: {}", port, heartbeats.status().STATUS_text()));
    if (!options.portFile.empty() && !writePortFile(options.portFile, port))
        return 1;
    display.note(fmt::format("waiting for agents on port {}; Ctrl-C ends", port));
    display.start();

    serve(doors, server, table, options);
    letAgentsLeave(doors);
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
