// Measures the machine that it runs on, and sends the samples to a collector.   agent --help
// The order: connect; sample until the time is over, a signal comes or the collector ends; wait for the last
// acknowledgements; print a summary. The result is 0 only if every sample was acknowledged.
#include "Connect.h"
#include "HeartbeatSender.h"
#include "Message.h"
#include "Program.h"
#include "SampleSender.h"
#include "Stop.h"

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;

constexpr double longestWait = 0.2;                // seconds: a signal just before a wait is noticed after this time
constexpr auto patience = std::chrono::seconds(5); // how long to wait for the last acknowledgements

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

double secondsUntil(Clock::time_point end) { return std::chrono::duration<double>(end - Clock::now()).count(); }

void sample(itcDispatcher& dispatcher, SampleSender& sender, double durationSeconds)
{
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                        std::chrono::duration<double>(durationSeconds > 0 ? durationSeconds : 1e9));
    while (sender.isSampling() && !stopRequested()) {
        const double left = secondsUntil(end);
        if (left <= 0)
            break;
        dispatcher.dispatch(std::min(left, longestWait));
    }
    sender.stopSampling();
}

// When sampling stops, the last samples are still on their way.
void awaitAcknowledgements(itcDispatcher& dispatcher, const SampleSender& sender)
{
    const auto end = Clock::now() + patience;
    while (sender.isConnected() && sender.unacknowledged() > 0) {
        const double left = secondsUntil(end);
        if (left <= 0)
            break;
        dispatcher.dispatch(left);
    }
}

void printSummary(const std::string& name, const SampleSender& sender)
{
    fmt::print("{}: {} samples sent, {} acknowledged, {} lost; round trip median {:.0f} us, 99% within {:.0f} us; "
               "at most {} waiting\n",
               name, sender.sent(), sender.acknowledged(), sender.unacknowledged(), sender.roundTrips().quantile(0.5),
               sender.roundTrips().quantile(0.99), sender.mostWaiting());
}

int run(const Options& options)
{
    const bool isLocal = !options.unixPath.empty();
    // The program deletes the dispatcher, after everything that uses it.
    const std::unique_ptr<itcDispatcher> dispatcher(itcDispatcher::instance());
    auto connection = isLocal ? connectByUnix(options.unixPath) : connectByTcp(options.host, options.port);
    if (connection == nullptr)
        return 1;
    SampleSender sender(*dispatcher, std::move(connection), options.name,
                        std::chrono::milliseconds(options.intervalMillis));
    HeartbeatSender heart(*dispatcher, options.name);
    if (!sender.start())
        return 1;
    if (options.sendsHeartbeats) // the result is ignored: samples need no heartbeats
        heart.start(isLocal ? itcInetAddress::Localhost : options.host, options.port);

    sample(*dispatcher, sender, options.durationSeconds);
    awaitAcknowledgements(*dispatcher, sender);
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
