// The agent's end of the connection.
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

/// Sends samples at intervals and takes the acknowledgements as they come.
///
/// Sending does not wait for the answer, nor for the collector to take what was sent before: many samples may be under
/// way. The connection keeps their order, and what never comes back is counted as lost.
class SampleSender : public itcIOHandler {
public:
    /// \param connection  connected, and non-blocking.
    SampleSender(itcDispatcher& dispatcher, std::unique_ptr<itcConnection> connection, std::string agent,
                 std::chrono::milliseconds interval);
    ~SampleSender() override;

    /// Starts sampling. \return false after printing why not.
    bool start();
    /// Takes no more samples; what waits is still sent, and acknowledgements are still taken.
    void stopSampling();

    bool isConnected() const { return connected; }
    bool isSampling() const { return sampling; }
    long long sent() const { return samplesSent; }
    long long acknowledged() const { return samplesAcknowledged; }
    long long unacknowledged() const { return samplesSent - samplesAcknowledged; }
    /// The most samples that have waited for the connection to take them.
    std::size_t mostWaiting() const { return outgoing.mostWaiting(); }
    /// In microseconds.
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
