// Packets that are far larger than all buffers between the two ends, in both directions at once.
#include "Peer.h"
#include "Transports.h"

#include <random>
#include <string>

namespace {

constexpr int tenMegabytes = 10 * 1024 * 1024;

std::string noise(unsigned int seed)
{
    std::mt19937 random(seed);
    std::string bytes(tenMegabytes, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

void fill(itcNdrUbSend& packet, const std::string& bytes)
{
    packet << 4711 << 0.1;
    packet.insert(bytes.data(), static_cast<int>(bytes.size()), true);
    packet << -1LL << "the end";
}

void expectFilledWith(itcNdrUbReceive& packet, const std::string& bytes)
{
    int number = 0;
    double fraction = 0;
    long long last = 0;
    char text[16] = "";
    int length = 0;
    char* block = nullptr;
    packet >> number >> fraction;
    packet.extract(block, 0, length);
    const std::unique_ptr<char[]> owned(block);
    ASSERT_EQ(length, tenMegabytes);
    EXPECT_TRUE(bytes == std::string(block, static_cast<size_t>(length))) << "bit for bit";
    packet >> last >> text;
    EXPECT_EQ(number, 4711);
    EXPECT_EQ(fraction, 0.1);
    EXPECT_EQ(last, -1);
    EXPECT_STREQ(text, "the end");
    EXPECT_THAT(packet, HasClearStatus());
}

class HugePackets : public TransportTest {};
INSTANTIATE_TEST_SUITE_P(, HugePackets, testing::ValuesIn(transportKinds), transportName);

TEST_P(HugePackets, CrossOnTheirWayThroughTinySocketBuffers)
{
    const TinySocketBuffers tiny(16 * 1024);
    Peer client(connect());
    Peer server(accept());
    const std::string question = noise(1);
    const std::string answer = noise(2);
    fill(client.outgoing, question);
    fill(server.outgoing, answer);
    for (Peer* const peer : {&client, &server}) {
        peer->send();
        peer->receive();
    }

    dispatchUntil([&] { return client.isOver() && server.isOver(); });

    EXPECT_TRUE(client.hasSent());
    EXPECT_TRUE(server.hasSent());
    ASSERT_TRUE(server.hasReceived()) << server.incoming.STATUS_text();
    ASSERT_TRUE(client.hasReceived()) << client.incoming.STATUS_text();
    expectFilledWith(server.incoming, question);
    expectFilledWith(client.incoming, answer);
    for (const Peer* const peer : {&client, &server}) {
        EXPECT_GT(peer->outputs, 10) << "or the buffers were not tiny";
        EXPECT_GT(peer->inputs, 10) << "or the buffers were not tiny";
    }
}

// The client writes a packet before the server begins to read. The transfer completes nevertheless.
TEST_P(HugePackets, WaitForAReaderThatComesLate)
{
    const TinySocketBuffers tiny(16 * 1024);
    Peer client(connect());
    Peer server(accept());
    const std::string question = noise(3);
    fill(client.outgoing, question);
    client.send();
    EXPECT_NE(dispatcher.dispatch(10.0), 0);
    EXPECT_EQ(client.outgoing.txState, Transferring);
    // Nobody reads. The socket may take a few more bytes. Then the dispatcher waits and does not spin.
    while (dispatcher.dispatch(0.05) != 0) {
    }
    EXPECT_EQ(client.outgoing.txState, Transferring);

    server.receive();
    dispatchUntil([&] { return server.isOver(); });
    ASSERT_TRUE(server.hasReceived()) << server.incoming.STATUS_text();
    expectFilledWith(server.incoming, question);
}

} // namespace
