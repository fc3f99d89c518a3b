// The connection on the side of the agent.
#pragma once

#include "MessageReader.h"
#include "ProcReader.h"
#include "SendQueue.h"
#include "Statistics.h"
#include "Ticker.h"

#include <kiv/kiv.h>

#include <chrono>
#include <memory>
#include <string>

/// Sends samples at intervals, and takes acknowledgements when they come.
///
/// Sending does not wait for the acknowledgement. Sending also does not wait until the collector has taken the samples
/// before. Many samples may therefore be on their way. The connection keeps the order of the samples. A sample without
/// an acknowledgement counts as lost.
class SampleSender : public itcIOHandler {
public:
    /// \param connection  must be connected and non-blocking.
    SampleSender(itcDispatcher& dispatcher, std::unique_ptr<itcConnection> connection, std::string agent,
                 std::chrono::milliseconds interval);
    ~SampleSender() override;

    /// Starts sampling. \return false after printing the reason.
    bool start();
    /// Stops taking samples. Samples that wait are still sent, and acknowledgements are still taken.
    void stopSampling();

    bool isConnected() const { return connected; }
    bool isSampling() const { return sampling; }
    long long sent() const { return samplesSent; }
    long long acknowledged() const { return samplesAcknowledged; }
    long long unacknowledged() const { return samplesSent - samplesAcknowledged; }
    /// The largest number of samples that have waited at the same time.
    std::size_t mostWaiting() const { return outgoing.mostWaiting(); }
    /// The latest round trips, in microseconds.
    const RecentValues& roundTrips() const { return roundTripMicros; }

    int inputReady(itcConnection* conn, char* clientData) override;
    int outputReady(itcConnection* conn, char* clientData) override;

private:
    void sendSample();
    bool takeMessage();
    bool takeAcknowledgement();
    void disconnect(const std::string& reason);

    itcDispatcher& dispatcher;
    const std::unique_ptr<itcConnection> connection;
    const std::string agent;

    MessageReader incoming;
    SendQueue outgoing;
    ProcReader machine;
    Ticker ticker;

    bool connected = false;
    bool sampling = false;
    long long samplesSent = 0;
    long long samplesAcknowledged = 0;
    RecentValues roundTripMicros;
};
