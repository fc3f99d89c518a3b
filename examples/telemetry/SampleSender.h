// The conversation with the collector, on the side of the agent.
#pragma once

#include "ProcReader.h"
#include "Statistics.h"

#include <kiv/companion.h>

#include <chrono>
#include <string>

/// Sends samples at intervals, and takes acknowledgements when they come.
///
/// Sending does not wait for the acknowledgement. Many samples may therefore be on their way. The connection keeps the
/// order of the samples. A sample without an acknowledgement counts as lost.
class SampleSender {
public:
    SampleSender(std::string agent, std::chrono::milliseconds interval);

    /// Sends over this connection from now on. On each connection the samples are numbered from 1.
    void use(itcSession& session);
    /// Stops taking samples. Samples that wait are still sent, and acknowledgements are still taken.
    void stopSampling() { timer.stop(); }

    /// True when the collector has said goodbye.
    bool isDismissed() const { return dismissed; }
    bool isConnected() const { return collector.get() != nullptr; }
    long long sent() const { return samplesSent; }
    long long acknowledged() const { return samplesAcknowledged; }
    long long unacknowledged() const { return samplesSent - samplesAcknowledged; }
    /// The largest number of samples that have waited at the same time.
    std::size_t mostWaiting() const { return mostQueued; }
    /// The latest round trips, in microseconds.
    const RecentValues& roundTrips() const { return roundTripMicros; }

private:
    void sendSample();
    void receive(itcSession& session, itcNDRReceive& packet);
    void takeAcknowledgement(itcSession& session, itcNDRReceive& packet);

    const std::string agent;
    const std::chrono::milliseconds interval;
    itcSession::Handle collector; ///< Of the present connection.
    ProcReader machine;
    bool dismissed = false;
    long long latestSent = 0;         ///< The number of the latest sample on this connection.
    long long latestAcknowledged = 0; ///< The number of the latest acknowledgement on this connection.
    long long samplesSent = 0;
    long long samplesAcknowledged = 0;
    std::size_t mostQueued = 0;
    RecentValues roundTripMicros;
    itcTimer timer; ///< The last member: its function uses the others.
};
