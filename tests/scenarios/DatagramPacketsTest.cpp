// Packets over datagrams. Each call of the handler receives one datagram. A packet may consist of several datagrams.
#include "../connection/DatagramTest.h"
#include "Peer.h"

#include <kiv/dispatcher/itcDispatcher.h>

#include <string>
#include <vector>

namespace {

/// An endpoint that is linked to the dispatcher, and a client that is connected to the endpoint.
class DatagramPackets : public DatagramTest {
protected:
    static constexpr size_t header = 8;

    DatagramPackets()
    {
        itcInetAddress address = local();
        auto endpoint = std::make_unique<OpenedDatagram>(address);
        itcInetAddress reachable(::addressOf(endpoint->td));
        client.OpenConnection(reachable, nullptr, nullptr);
        server = std::make_unique<Peer>(std::move(endpoint));
    }

    /// Returns the bytes of a frame. The frame is `length` bytes long.
    static std::string frameOfLength(size_t length)
    {
        itcNDRSend packet;
        const std::string block = bytes(length - header - 8); // 2 + 2 for label and gap, 4 for the length word
        packet.put_opaque(block.data(), static_cast<int>(block.size()), false, true);
        return frame(std::string(packet.raw_data(), packet.raw_length()));
    }

    void send(const std::string& datagram)
    {
        const int length = static_cast<int>(datagram.size());
        ASSERT_EQ(client.Write(datagram.data(), length), length);
    }

    void expectReceived(const std::string& whole) const
    {
        ASSERT_TRUE(server->hasReceived()) << server->incoming.STATUS_text();
        EXPECT_EQ(frame(std::string(server->incoming.raw_data(), server->incoming.raw_length())), whole);
    }

    OpenedDatagram client;
    std::unique_ptr<Peer> server;
    itcDispatcher& dispatcher = *itcDispatcher::instance();
};
INSTANTIATE_TEST_SUITE_P(Loopback, DatagramPackets, testing::ValuesIn(loopbacks), loopbackName);

TEST_P(DatagramPackets, FitIntoOneDatagram)
{
    const std::string whole = frameOfLength(512);
    server->receive();
    send(whole);
    EXPECT_NE(dispatcher.dispatch(10.0), 0);
    expectReceived(whole);
}

TEST_P(DatagramPackets, ArePutTogetherFromPieces)
{
    const std::string whole = frameOfLength(2000);
    server->receive();
    int pieces = 0;
    for (size_t at = 0; at < whole.size(); at += 512, ++pieces) {
        ASSERT_FALSE(server->isOver());
        send(whole.substr(at, 512));
        ASSERT_NE(dispatcher.dispatch(10.0), 0);
    }
    EXPECT_EQ(server->inputs, pieces);
    expectReceived(whole);
}

TEST_P(DatagramPackets, MayBeCutAtAnyByteButBehindTheHeader)
{
    const std::string whole = frameOfLength(24);
    for (size_t cut = 1; cut < whole.size(); ++cut) {
        if (cut == header)
            continue;
        SCOPED_TRACE(cut);
        server->receive();
        send(whole.substr(0, cut));
        ASSERT_NE(dispatcher.dispatch(10.0), 0);
        ASSERT_FALSE(server->isOver()) << server->incoming.STATUS_text();
        send(whole.substr(cut));
        ASSERT_NE(dispatcher.dispatch(10.0), 0);
        expectReceived(whole);
        server->incoming.reset();
    }
}

// If a datagram ends before the data begins, the receiver takes the end of the datagram for the end of a stream.
TEST_P(DatagramPackets, FailWhereADatagramEndsWithTheHeader)
{
    server->receive();
    send(frameOfLength(24).substr(0, header));
    ASSERT_NE(dispatcher.dispatch(10.0), 0);
    EXPECT_EQ(server->incoming.rxState, Failed);
    EXPECT_THAT(server->incoming, HasStatus(Itc_Ndr_Ub_Disconnection, Error));
}

TEST_P(DatagramPackets, ThatAreLongerThanADatagramMayBeLoseTheirEnd)
{
    server->receive();
    send(frameOfLength(600));
    EXPECT_NE(dispatcher.dispatch(10.0), 0);
    EXPECT_EQ(server->incoming.rxState, Transferring);
    EXPECT_EQ(server->incoming.dataRemaining, 88u);
}

TEST_P(DatagramPackets, AreAnsweredToTheirSender)
{
    server->onPacket = [this] {
        int number = 0;
        server->incoming >> number;
        server->outgoing << 2 * number;
        itcInetAddress sender(sockaddr_storage{});
        auto& endpoint = static_cast<OpenedDatagram&>(*server->connection);
        EXPECT_EQ(endpoint.GetPeername(sender), 1);
        EXPECT_EQ(endpoint.OpenConnection(sender, nullptr, nullptr), 1);
        server->send();
    };
    server->receive();
    itcNdrUbSend request(1);
    request << 21;
    EXPECT_EQ(client << request, 0u);
    while (!server->hasSent())
        ASSERT_NE(dispatcher.dispatch(10.0), 0);

    OpenUbReceive reply(2);
    int number = 0;
    EXPECT_EQ(client >> reply, 0u);
    reply >> number;
    EXPECT_EQ(number, 42);
}

} // namespace
