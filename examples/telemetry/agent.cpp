// Measures the machine that it runs on, and sends the samples to a collector.   agent --help
// The order: connect, again and again if necessary; sample until the time is over, a signal comes or the collector ends;
// wait for the last acknowledgements; print a summary. The result is 0 only if every sample was acknowledged.
#include "HeartbeatSender.h"
#include "Message.h"
#include "Program.h"
#include "SampleSender.h"

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>

namespace {

constexpr double patience = 5;  // seconds: how long to wait for the last acknowledgements
constexpr double noLimit = 1e9; // seconds

struct Options {
    std::string host = "localhost";
    int port = 5000;
    std::string unixPath;
    bool sendsHeartbeats = true;
    int intervalMillis = 1000;
    double durationSeconds = 0;
    std::string name;
};

std::string hostName()
{
    char name[longestName + 1] = "";
    gethostname(name, sizeof name - 1);
    return name[0] != '\0' ? name : "agent";
}

void addOptions(CLI::App& app, Options& options)
{
    options.name = hostName();
    auto* const host =
        app.add_option("--host", options.host, "Name or address of the collector")->capture_default_str();
    app.add_option("--port", options.port, "Its port, for samples and heartbeats")
        ->capture_default_str()
        ->check(CLI::Range(1, 65535));
    app.add_option("--unix", options.unixPath,
                   "Socket file of a collector on this machine, for the samples; heartbeats go to --port, if given")
        ->excludes(host);
    app.add_option("--interval-ms", options.intervalMillis, "Time between samples")
        ->capture_default_str()
        ->check(CLI::Range(1, 3600000));
    app.add_option("--duration", options.durationSeconds, "Seconds to run; 0: until interrupted")
        ->capture_default_str()
        ->check(CLI::Range(0.0, 1e9));
    app.add_option("--name", options.name, "The agent's name in the collector's table")
        ->capture_default_str()
        ->check([](const std::string& name) {
            return name.size() > longestName ? fmt::format("more than {} characters", longestName) : "";
        });
}

void printSummary(const std::string& name, const SampleSender& sender)
{
    fmt::print("{}: {} samples sent, {} acknowledged, {} lost; round trip median {:.0f} us, 99% within {:.0f} us; "
               "at most {} waiting\n",
               name, sender.sent(), sender.acknowledged(), sender.unacknowledged(), sender.roundTrips().quantile(0.5),
               sender.roundTrips().quantile(0.99), sender.mostWaiting());
}

void connect(std::optional<itcConnector>& connector, const Options& options, SampleSender& sender)
{
    const auto connected = [&sender](itcSession& collector) { sender.use(collector); };
    if (options.unixPath.empty())
        connector.emplace(options.host, options.port, connected);
    else
        connector.emplace(itcUnixAddress(options.unixPath.c_str()), connected);
    connector->onFailed([&options](const itcClosed& why) {
        fmt::print(stderr, "{}: no collector at {}: {}\n", options.name,
                   options.unixPath.empty() ? fmt::format("{} port {}", options.host, options.port) : options.unixPath,
                   why.text());
    });
}

int run(const Options& options)
{
    // The program deletes the dispatcher, after everything that uses it.
    const std::unique_ptr<itcDispatcher> dispatcher(itcDispatcher::instance());
    SampleSender sender(options.name, std::chrono::milliseconds(options.intervalMillis));
    std::optional<itcConnector> connector;
    connect(connector, options, sender);
    std::optional<HeartbeatSender> heart;
    if (options.sendsHeartbeats) { // a failure is told and ignored: samples need no heartbeats
        const char* const host = options.unixPath.empty() ? options.host.c_str() : itcInetAddress::Localhost;
        heart.emplace(itcInetAddress(host, options.port), options.name);
        if (heart->status().severity != Success)
            fmt::print(stderr, "no heartbeats to {} port {}: {}\n", host, options.port, heart->status().STATUS_text());
    }

    dispatchUntil([&] { return sender.isDismissed(); },
                  options.durationSeconds > 0 ? options.durationSeconds : noLimit);
    sender.stopSampling();
    dispatchUntil([&] { return !sender.isConnected() || sender.unacknowledged() == 0; }, patience);
    printSummary(options.name, sender);
    return sender.isConnected() && sender.unacknowledged() == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    return runProgram("agent", [&]() -> int {
        CLI::App app("Samples this machine and sends the samples to a collector.");
        Options options;
        addOptions(app, options);
        CLI11_PARSE(app, argc, argv);
        options.sendsHeartbeats = options.unixPath.empty() || app.count("--port") > 0;
        return run(options);
    });
}
