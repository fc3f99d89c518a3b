// A server that restarts again and again under a client that stays connected.
#include "LeakListener.h"
#include "Loop.h"
#include "OsFaults.h"

#include <kiv/session/itcAcceptor.h>
#include <kiv/session/itcConnector.h>

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <string>

namespace {

using namespace std::chrono_literals;
using testing::Each;
using testing::Key;

class AServerThatRestarts : public Loop {
protected:
    void start()
    {
        server =
            std::make_unique<itcAcceptor>(itcInetAddress(itcInetAddress::Localhost, port), [this](itcSession& peer) {
                peer.onPacket([this](itcNDRReceive&) { arrived += 1; });
            });
        ASSERT_TRUE(*server) << server->status().STATUS_text();
        port = server->port();
    }
    void connect()
    {
        client = std::make_unique<itcConnector>(itcInetAddress::Localhost, port, [this](itcSession& session) {
            session.onClosed([this](const itcClosed& why) { ends[why.reason] += 1; });
            EXPECT_TRUE(session.send(42));
        });
        client->setBackoff(1ms, 2ms);
        client->onFailed([this](const itcClosed& why) { failures[why.errorNumber] += 1; });
    }

    int port = 0;
    int arrived = 0;
    std::map<int, int> ends;     ///< Of sessions, by their reason.
    std::map<int, int> failures; ///< Of attempts, by the error number.
    std::unique_ptr<itcAcceptor> server;
    std::unique_ptr<itcConnector> client;
};

} // namespace

TEST_F(AServerThatRestarts, IsFoundAgainAThousandTimes)
{
    constexpr int restarts = 1000;
    start();
    connect();
    ASSERT_TRUE(runUntil([&] { return arrived == 1; }));
    const int descriptors = openDescriptors();
    const int waits = OsFaults::select().calls();
    for (int restart = 1; restart <= restarts; ++restart) {
        server.reset();
        const int failuresBefore = failures[ECONNREFUSED];
        const bool staysAwayForAWhile = restart % 10 == 0;
        if (staysAwayForAWhile) {
            ASSERT_TRUE(runUntil([&] { return failures[ECONNREFUSED] > failuresBefore; }));
        }
        start();
        ASSERT_TRUE(runUntil([&] { return arrived == 1 + restart; }));
    }
    EXPECT_EQ(ends[itcClosed::peerLeft] + ends[itcClosed::systemError], restarts);
    EXPECT_THAT(failures, Each(Key(ECONNREFUSED)));
    EXPECT_EQ(openDescriptors(), descriptors);
    // A session that ends, a pause, a connect, an accept, a packet: each leads to a few waits. A storm of timers leads
    // to hundreds.
    EXPECT_LT(OsFaults::select().calls() - waits, restarts * 40);
}
