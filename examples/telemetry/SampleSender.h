// The agent's end of the connection.
#pragma once

#include "ProcReader.h"
#include "Statistics.h"

#include <kiv/kiv.h>

#include <chrono>
#include <string>

/// Sends a sample at every tick of a dispatcher timer and takes the acknowledgements as they come.
///
/// Sending does not wait for the answer: several samples may be under way. TCP keeps their order, and what never comes
/// back is counted as lost.
class SampleSender : public itcIOHandler {
public:
    SampleSender(itcDispatcher& dispatcher, std::string agent, std::chrono::milliseconds interval);
    ~SampleSender() override;

    /// Connects and starts sampling. \return false after printing why not.
    bool start(const std::string& host, int port);
    /// Sends no more; acknowledgements are still taken.
    void stopSampling();

    bool isConnected() const { return connected; }
    bool isSampling() const { return sampling; }
    long long sent() const { return samplesSent; }
    long long acknowledged() const { return samplesAcknowledged; }
    long long unacknowledged() const { return samplesSent - samplesAcknowledged; }
    /// In microseconds.
    const RecentValues& roundTrips() const { return roundTripMicros; }

    int inputReady(itcConnection* conn, char* clientData) override;
    void timerExpired(long sec, long usec) override;

private:
    void startTimer();
    void accept(const struct Acknowledgement& acknowledgement);
    void disconnect(const std::string& reason);

    itcDispatcher& dispatcher;
    const std::string agent;
    const std::chrono::milliseconds interval;

    itcInetSockStream connection;
    itcNDRSend outgoing;
    itcNDRReceive incoming;
    ProcReader machine;

    bool connected = false;
    bool sampling = false;
    long long samplesSent = 0;
    long long samplesAcknowledged = 0;
    RecentValues roundTripMicros;
};
