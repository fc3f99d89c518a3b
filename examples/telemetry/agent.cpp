// Samples the machine that it runs on and sends the samples to a collector.   agent --help
#include "SampleSender.h"
#include "Stop.h"

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>

namespace {

using Clock = std::chrono::steady_clock;

constexpr double longestWait = 0.2; // seconds until a stop is noticed that no signal has announced to the wait
constexpr auto patience = std::chrono::seconds(2);

struct Options {
    std::string host = "localhost";
    int port = 5000;
    int intervalMillis = 1000;
    double durationSeconds = 0;
    std::string name;
};

std::string hostName()
{
    char name[Sample::longestName + 1] = "";
    gethostname(name, sizeof name - 1);
    return name[0] != '\0' ? name : "agent";
}

void addOptions(CLI::App& app, Options& options)
{
    options.name = hostName();
    app.add_option("--host", options.host, "Name or address of the collector")->capture_default_str();
    app.add_option("--port", options.port, "Its port")->capture_default_str()->check(CLI::Range(1, 65535));
    app.add_option("--interval-ms", options.intervalMillis, "Time between samples")
        ->capture_default_str()
        ->check(CLI::Range(1, 3600000));
    app.add_option("--duration", options.durationSeconds, "Seconds to run; 0: until interrupted")
        ->capture_default_str()
        ->check(CLI::Range(0.0, 1e9));
    app.add_option("--name", options.name, "The agent's name in the collector's table")
        ->capture_default_str()
        ->check([](const std::string& name) {
            return name.size() > Sample::longestName ? fmt::format("more than {} characters", Sample::longestName) : "";
        });
}

double secondsUntil(Clock::time_point end)
{
    return std::chrono::duration<double>(end - Clock::now()).count();
}

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

// The last samples are still under way when sampling stops.
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
    fmt::print("{}: {} samples sent, {} acknowledged, {} lost; round trip median {:.0f} us, 99% within {:.0f} us\n",
               name, sender.sent(), sender.acknowledged(), sender.unacknowledged(), sender.roundTrips().quantile(0.5),
               sender.roundTrips().quantile(0.99));
}

int run(const Options& options)
{
    const std::unique_ptr<itcDispatcher> dispatcher(itcDispatcher::instance()); // ours to delete, after the sender
    SampleSender sender(*dispatcher, options.name, std::chrono::milliseconds(options.intervalMillis));
    if (!sender.start(options.host, options.port))
        return 1;
    sample(*dispatcher, sender, options.durationSeconds);
    awaitAcknowledgements(*dispatcher, sender);
    printSummary(options.name, sender);
    return sender.isConnected() && sender.unacknowledged() == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
try {
    // First thing in every host: writing to a peer that has gone then fails, instead of ending the process.
    std::signal(SIGPIPE, SIG_IGN);
    stopOnSignals();

    CLI::App app("Samples this machine and sends the samples to a collector.");
    Options options;
    addOptions(app, options);
    CLI11_PARSE(app, argc, argv);
    return run(options);
} catch (const std::exception& failure) { // the library throws nothing, but printing may
    std::fprintf(stderr, "agent: %s\n", failure.what());
    return 1;
}
