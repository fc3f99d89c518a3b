// Failures of connections over each kind of stream, as handlers of the dispatcher notice them.
#include "Transports.h"
#include "Peer.h"

#include "../connection/ReadyRecorder.h"

#include <poll.h>

#include <functional>
#include <utility>

namespace {

using testing::ElementsAre;

class Transports : public TransportTest {
protected:
    /// Receives with a peer until the transfer has completed or failed.
    void receiveFrom(Peer& peer)
    {
        peer.receive();
        dispatchUntil([&] { return peer.isOver(); });
    }
};
INSTANTIATE_TEST_SUITE_P(, Transports, testing::ValuesIn(transportKinds), transportName);

/// A handler whose timer runs an action while the dispatcher waits.
struct Meanwhile : itcIOHandler {
    explicit Meanwhile(std::function<void()> action) : what(std::move(action)) {}
    void timerExpired(long, long) override { what(); }
    std::function<void()> what;
};

void waitForBytes(const itcConnection& connection)
{
    pollfd arrival = {connection.ReadDescriptor(), POLLIN, 0};
    mustWork(::poll(&arrival, 1, -1), "poll");
}

TEST_P(Transports, RefuseAConnectThatNobodyListensFor)
{
    const int counted = itcConnection::getConnectionCount();
    ASSERT_TRUE(listener->Close());
    ReadyRecorder told;
    const auto client = transport->makeStream();
    EXPECT_EQ(transport->connect(*client, &told), 0);
    EXPECT_THAT(*client, HasStatus(Itc_Tp_Connect_Call_Failed, Error, ECONNREFUSED));
    EXPECT_EQ(client->ReadDescriptor(), -1);
    EXPECT_THAT(told.calls, ElementsAre(ReadyRecorder::Call(0, nullptr)));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted - 1) << "the listener alone";
}

TEST_P(Transports, ConnectAgainOnceSomebodyListens)
{
    listener->Close();
    const auto client = transport->makeStream();
    ASSERT_EQ(transport->connect(*client), 0);
    const auto again = transport->makeStream();
    ASSERT_TRUE(transport->listen(*again)) << again->STATUS_text();
    EXPECT_EQ(transport->connect(*client), 1) << client->STATUS_text();
}

TEST_P(Transports, ListenTwiceWithOneObject)
{
    EXPECT_TRUE(transport->listen(*listener));
    EXPECT_THAT(*listener, HasClearStatus());
}

TEST_P(Transports, KnowWhoGetsAnAddressThatIsListenedAt)
{
    const auto second = transport->makeStream();
    if (transport->lastListenerWins()) {
        EXPECT_TRUE(transport->listen(*second));
    } else {
        EXPECT_FALSE(transport->listen(*second));
        EXPECT_THAT(*second, HasStatus(Itc_Tp_Bind_Call_Failed, Error, EADDRINUSE));
        EXPECT_EQ(second->ReadDescriptor(), -1);
    }
    const auto client = connect();
    itcConnection& winner = transport->lastListenerWins() ? *second : *listener;
    itcConnection* accepted = nullptr;
    EXPECT_EQ(winner.AcceptConnection(&accepted, nullptr, nullptr), 1);
    delete accepted;
}

TEST_P(Transports, ShowAPeerThatClosesWhileTheDispatcherWaits)
{
    auto client = connect();
    Peer server(accept());
    bool closed = false;
    Meanwhile closing([&] { closed = client->Close(); });
    dispatcher.startTimer(0, 1000, &closing);
    server.receive();
    dispatcher.dispatch(10.0);
    ASSERT_TRUE(closed);
    EXPECT_EQ(server.inputs, 0);
    dispatchUntil([&] { return server.isOver(); });

    EXPECT_EQ(server.incoming.rxState, Disconnected);
    EXPECT_THAT(server.incoming, HasStatus(Itc_Ndr_Ub_Disconnection, Error));
    EXPECT_EQ(server.inputs, 1);
}

TEST_P(Transports, ShowAPeerThatShutsDownItsSide)
{
    auto client = connect();
    Peer server(accept());
    ASSERT_TRUE(client->Shutdown(OS_shutdown_send)) << client->STATUS_text();
    receiveFrom(server);
    EXPECT_EQ(server.incoming.rxState, Disconnected);

    EXPECT_EQ(server.connection->Write("still", 5), 5) << "the other direction is open";
    char area[6] = {};
    EXPECT_EQ(client->Read(area, 5), 5);
    EXPECT_STREQ(area, "still");
}

// A peer that closes without having read all bytes resets the connection.
TEST_P(Transports, ShowAPeerThatResetsTheConnection)
{
    auto client = connect();
    Peer server(accept());
    ASSERT_EQ(server.connection->Write("unread", 6), 6);
    waitForBytes(*client);
    ASSERT_TRUE(client->Close());

    receiveFrom(server);
    EXPECT_EQ(server.incoming.rxState, Failed);
    EXPECT_THAT(server.incoming, HasStatus(Itc_Ndr_Ub_Packet_Read_Failed, Error, ECONNRESET));
    EXPECT_EQ(server.connection->Write("more", 4), -1);
    EXPECT_THAT(*server.connection, HasStatus(Itc_Tp_Write_Call_Failed, Error, EPIPE));
}

TEST_P(Transports, EndAFrameThatIsCutAtAnyByte)
{
    itcNDRSend packet;
    packet << 4711 << "a text";
    const std::string whole = frame(std::string(packet.raw_data(), packet.raw_length()));
    constexpr size_t header = 8;

    for (size_t cut = 0; cut < whole.size(); ++cut) {
        SCOPED_TRACE(cut);
        auto client = connect();
        Peer server(accept());
        ASSERT_EQ(client->Write(whole.data(), static_cast<int>(cut)), static_cast<int>(cut));
        client->Close();
        receiveFrom(server);
        EXPECT_EQ(server.incoming.rxState, cut < header ? Disconnected : Failed);
        EXPECT_THAT(server.incoming, HasStatus(Itc_Ndr_Ub_Disconnection, Error));
    }
}

TEST_P(Transports, ReceiveAFrameThatComesByteByByte)
{
    itcNDRSend packet;
    packet << 4711 << "a text";
    const std::string whole = frame(std::string(packet.raw_data(), packet.raw_length()));
    auto client = connect();
    Peer server(accept());
    server.receive();
    for (const char byte : whole) {
        ASSERT_FALSE(server.isOver());
        ASSERT_EQ(client->Write(&byte, 1), 1);
        ASSERT_NE(dispatcher.dispatch(10.0), 0);
    }
    int number = 0;
    char text[16] = "";
    server.incoming >> number >> text;
    EXPECT_EQ(number, 4711);
    EXPECT_STREQ(text, "a text");
    EXPECT_EQ(server.inputs, static_cast<int>(whole.size()));
}

TEST_P(Transports, RefuseStrangersThatSpeakSomethingElse)
{
    auto client = connect();
    Peer server(accept());
    ASSERT_EQ(client->Write("GET / HTTP/1.0\r\n\r\n", 18), 18);
    receiveFrom(server);
    EXPECT_EQ(server.incoming.rxState, Failed);
    EXPECT_THAT(server.incoming, HasStatus(Itc_Ndr_Magic_Error, Error));
}

} // namespace
