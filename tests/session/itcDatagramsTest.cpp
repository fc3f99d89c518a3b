// One packet is one datagram. What is no packet is counted, dropped, and never makes the loop spin.
#include "../ndr/NdrProbe.h"
#include "BareSocket.h"
#include "Loop.h"
#include "OsFaults.h"
#include "StatusMatchers.h"

#include <kiv/connection/itcConnection.h>
#include <kiv/session/itcDatagrams.h>

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

using testing::ElementsAre;

namespace {

/// A value of so many bytes.
struct Filling {
    unsigned int bytes;
};
itcNDRSend& operator<<(itcNDRSend& packet, const Filling& filling)
{
    for (unsigned int i = 0; i < filling.bytes; ++i)
        packet << static_cast<char>('a' + i % 26);
    return packet;
}

/// A value that cannot be put.
struct Failing {};
itcNDRSend& operator<<(itcNDRSend& packet, const Failing&)
{
    static_cast<itcStatus&>(packet) = {Itc_Ndr_No_Buffer_Provided, Error, 0};
    return packet;
}

constexpr unsigned int label = 2;
constexpr unsigned int longest = itcDatagramSender::longestPacket;

std::string familyName(const testing::TestParamInfo<const char*>& host)
{
    return std::string(host.param) == "::1" ? "IPv6" : "IPv4";
}

/// A receiver on a free port, and a sender that is connected to it.
class Datagrams : public Loop, public testing::WithParamInterface<const char*> {
protected:
    static itcInetAddress addressAt(int port)
    {
        return itcInetAddress(socketAddress(GetParam(), static_cast<uint16_t>(port)));
    }
    std::unique_ptr<itcDatagramReceiver> newReceiver(itcDatagramReceiver::Received received)
    {
        return std::make_unique<itcDatagramReceiver>(addressAt(0), std::move(received));
    }
    BareSocket bareSocket() const
    {
        const sockaddr_storage address = socketAddress(GetParam());
        BareSocket socket(mustWork(::socket(address.ss_family, SOCK_DGRAM, 0), "socket"));
        mustWork(::bind(socket.get(), asSocketAddress(address), lengthOf(address)), "bind");
        return socket;
    }
    void sendBytes(const std::string& bytes) { sendBytes(bytes, stranger); }
    void sendBytes(const std::string& bytes, const BareSocket& from)
    {
        const sockaddr_storage to = socketAddress(GetParam(), static_cast<uint16_t>(receiver->port()));
        mustWork(
            static_cast<int>(::sendto(from.get(), bytes.data(), bytes.size(), 0, asSocketAddress(to), lengthOf(to))),
            "sendto");
    }
    /// A port where nobody receives.
    int freePort() const { return portOf(addressOf(bareSocket().get())); }

    /// Expects that nothing is left: the loop does not spin.
    void expectNothingLeft() { EXPECT_EQ(dispatcher.dispatch(0.0), 0); }

    std::vector<int> numbers;
    BareSocket stranger = bareSocket();
    std::unique_ptr<itcDatagramReceiver> receiver = newReceiver([this](itcNDRReceive& packet, const itcInetAddress&) {
        int number = 0;
        packet >> number;
        numbers.push_back(number);
    });
    std::unique_ptr<itcDatagramSender> sender = std::make_unique<itcDatagramSender>(addressAt(receiver->port()));
};
INSTANTIATE_TEST_SUITE_P(Loopback, Datagrams, testing::Values("127.0.0.1", "::1"), familyName);

} // namespace

TEST_P(Datagrams, ComeFromTheSenderToTheReceiver)
{
    ASSERT_TRUE(static_cast<bool>(*sender)) << sender->status().STATUS_text();
    ASSERT_TRUE(static_cast<bool>(*receiver)) << receiver->status().STATUS_text();
    EXPECT_TRUE(sender->send(1));
    EXPECT_TRUE(sender->send(2));
    EXPECT_THAT(sender->status(), HasClearStatus());
    ASSERT_TRUE(runUntil([&] { return numbers.size() == 2; }));
    EXPECT_THAT(numbers, ElementsAre(1, 2));
    EXPECT_EQ(receiver->received(), 2U);
    EXPECT_EQ(receiver->refused(), 0U);
    expectNothingLeft();
}

TEST_P(Datagrams, CarrySeveralValues)
{
    int number = 0;
    std::string text;
    receiver = newReceiver([&](itcNDRReceive& packet, const itcInetAddress&) { packet >> number >> text; });
    const itcInetAddress there = addressAt(receiver->port());
    itcDatagramSender toReceiver(there);
    EXPECT_TRUE(toReceiver.send(4711, std::string("hello")));
    ASSERT_TRUE(runUntil([&] { return receiver->received() == 1; }));
    EXPECT_EQ(number, 4711);
    EXPECT_EQ(text, "hello");
}

TEST_P(Datagrams, AreAtMost512BytesLong)
{
    EXPECT_EQ(longest + frameHeader(0).size(), 512U);
    unsigned int length = 0;
    receiver = newReceiver([&](itcNDRReceive& packet, const itcInetAddress&) { length = packet.raw_length(); });
    const itcInetAddress there = addressAt(receiver->port());
    itcDatagramSender toReceiver(there);
    EXPECT_TRUE(toReceiver.send(Filling{longest - label}));
    ASSERT_TRUE(runUntil([&] { return receiver->received() == 1; }));
    EXPECT_EQ(length, longest);
}

TEST_P(Datagrams, AreRefusedAboveTheLongestPacket)
{
    for (const unsigned int length : {longest - label + 1, 600U, 5000U, 2U << 20}) {
        EXPECT_FALSE(sender->send(Filling{length}));
        EXPECT_THAT(sender->status(), HasStatus(Itc_Ndr_Buffer_Size_Too_Large, Error));
    }
    EXPECT_TRUE(sender->send(5)) << "the next packet is sent";
    EXPECT_THAT(sender->status(), HasClearStatus());
    ASSERT_TRUE(runUntil([&] { return !numbers.empty(); }));
    EXPECT_THAT(numbers, ElementsAre(5));
    EXPECT_EQ(receiver->refused(), 0U) << "nothing else was sent";
}

TEST_P(Datagrams, AreNotSentWhenAValueCannotBePut)
{
    EXPECT_FALSE(sender->send(1, Failing{}));
    EXPECT_THAT(sender->status(), HasStatus(Itc_Ndr_No_Buffer_Provided, Error));
    EXPECT_TRUE(sender->send(2));
    ASSERT_TRUE(runUntil([&] { return !numbers.empty(); }));
    EXPECT_THAT(numbers, ElementsAre(2));
}

TEST_P(Datagrams, AreRefusedWhileTheSystemHasNoRoom)
{
    OsFaults::send().failNext(1, EAGAIN);
    EXPECT_FALSE(sender->send(1));
    EXPECT_THAT(sender->status(), HasStatus(Itc_Tp_Would_Block, Warning, EAGAIN));
    EXPECT_TRUE(sender->send(2));
    EXPECT_THAT(sender->status(), HasClearStatus());
    ASSERT_TRUE(runUntil([&] { return !numbers.empty(); }));
    EXPECT_THAT(numbers, ElementsAre(2));
    EXPECT_EQ(receiver->refused(), 0U) << "no part of the packet was sent";
}

TEST_P(Datagrams, AreSentAgainWhenASignalInterrupts)
{
    OsFaults::send().failNext(2, EINTR);
    EXPECT_TRUE(sender->send(1));
    EXPECT_EQ(OsFaults::send().calls(), 3);
    EXPECT_TRUE(runUntil([&] { return !numbers.empty(); }));
}

TEST_P(Datagrams, TellThatNobodyHasReceivedAnEarlierOne)
{
    itcDatagramSender toNobody(addressAt(freePort()));
    ASSERT_TRUE(static_cast<bool>(toNobody));
    EXPECT_TRUE(toNobody.send(1));
    EXPECT_FALSE(toNobody.send(2));
    EXPECT_THAT(toNobody.status(), HasStatus(Itc_Tp_Write_Call_Failed, Error, ECONNREFUSED));
    EXPECT_TRUE(static_cast<bool>(toNobody)) << "the socket stays";
    EXPECT_TRUE(toNobody.send(3));
    EXPECT_THAT(toNobody.status(), HasClearStatus());
}

TEST_P(Datagrams, NeedASocketToBeSent)
{
    OsFaults::socket().failNext(1, EMFILE);
    itcDatagramSender without(addressAt(receiver->port()));
    EXPECT_FALSE(static_cast<bool>(without));
    EXPECT_THAT(without.status(), HasStatus(Itc_Tp_Socket_Call_Failed, Error, EMFILE));
    EXPECT_FALSE(without.send(1));
    EXPECT_THAT(without.status(), HasStatus(Itc_Tp_Socket_Call_Failed, Error, EMFILE));
}

TEST_P(Datagrams, NeedANonBlockingSocketToBeSent)
{
    OsFaults::setNonBlocking().failNext(1, EINVAL);
    itcDatagramSender without(addressAt(receiver->port()));
    EXPECT_FALSE(static_cast<bool>(without));
    EXPECT_THAT(without.status(), HasStatus(Itc_Tp_Socket_Call_Failed, Error));
    EXPECT_FALSE(without.send(1));
}

TEST_P(Datagrams, NeedAKnownAddress)
{
    OsFaults::getaddrinfo().failNext(1, 0);
    const itcInetAddress unknown("collector.example", 5001);
    itcDatagramSender without(unknown);
    EXPECT_FALSE(static_cast<bool>(without));
    EXPECT_THAT(without.status(), HasStatus(Itc_Tp_Unknown_Peer, Error));
    const itcDatagramReceiver deaf(unknown, nullptr);
    EXPECT_FALSE(static_cast<bool>(deaf));
    EXPECT_THAT(deaf.status(), HasStatus(Itc_Tp_Unknown_Peer, Error));
    EXPECT_EQ(deaf.port(), 0);
}

TEST_P(Datagrams, NeedAPortToBeReceived)
{
    OsFaults::bind().failNext(1, EADDRINUSE);
    const auto deaf = newReceiver(nullptr);
    EXPECT_FALSE(static_cast<bool>(*deaf));
    EXPECT_THAT(deaf->status(), HasStatus(Itc_Tp_Bind_Call_Failed, Error, EADDRINUSE));
    EXPECT_EQ(deaf->port(), 0);
    EXPECT_EQ(deaf->received(), 0U);
    EXPECT_EQ(deaf->refused(), 0U);
}

TEST_P(Datagrams, NeedANonBlockingSocketToBeReceived)
{
    OsFaults::setNonBlocking().failNext(1, EINVAL);
    const auto deaf = newReceiver(nullptr);
    EXPECT_FALSE(static_cast<bool>(*deaf));
    EXPECT_THAT(deaf->status(), HasStatus(Itc_Tp_Socket_Call_Failed, Error));
}

TEST_P(Datagrams, AreReceivedAtAFreePort)
{
    EXPECT_GT(receiver->port(), 0);
    const auto another = newReceiver(nullptr);
    EXPECT_GT(another->port(), 0);
    EXPECT_NE(another->port(), receiver->port());
}

TEST_P(Datagrams, AreReceivedAtTheGivenPort)
{
    const int port = freePort();
    const itcDatagramReceiver there(addressAt(port), nullptr);
    EXPECT_TRUE(static_cast<bool>(there)) << there.status().STATUS_text();
    EXPECT_EQ(there.port(), port);
}

TEST_P(Datagrams, TellTheAddressOfTheirSender)
{
    std::string host;
    int port = 0;
    bool isLoopback = false;
    receiver = newReceiver([&](itcNDRReceive&, const itcInetAddress& from) {
        host = from.numeric_hostname();
        port = from.port();
        isLoopback = from.isLoopback != 0;
    });
    sendBytes(frame(packet("x")));
    ASSERT_TRUE(runUntil([&] { return receiver->received() == 1; }));
    EXPECT_EQ(host, GetParam());
    EXPECT_EQ(port, portOf(addressOf(stranger.get())));
    EXPECT_TRUE(isLoopback);
}

TEST_P(Datagrams, AreToldApartByTheirSenders)
{
    const BareSocket another = bareSocket();
    std::vector<int> ports;
    receiver = newReceiver([&](itcNDRReceive&, const itcInetAddress& from) { ports.push_back(from.port()); });
    sendBytes(frame(packet("x")), stranger);
    sendBytes(frame(packet("x")), another);
    sendBytes(frame(packet("x")), stranger);
    ASSERT_TRUE(runUntil([&] { return receiver->received() == 3; }));
    const int first = portOf(addressOf(stranger.get()));
    EXPECT_THAT(ports, ElementsAre(first, portOf(addressOf(another.get())), first));
}

TEST_P(Datagrams, AreCountedAndDroppedWhenTheyAreNoPackets)
{
    const std::string whole = frame(packet(bytes({0, 0, 7, 0, 0, 0})));
    const std::vector<std::string> noPackets = {
        "",
        "x",
        "rubbish that is longer than the head of a frame",
        std::string(512, '\0'),
        std::string(2000, 'x'),
        frameHeader(0),
        frameHeader(1) + "x",
        frameHeader(6) + packet("xy"),
        frameHeader(0x7fffffff) + packet("xy"),
        frameHeader(0x80000000) + packet("xy"),
        frameHeader(0xffffffff) + packet("xy"),
        frameHeader(505) + std::string(505, 'x'),
        frameHeader(4000) + std::string(4000, 'x'),
    };
    std::uint64_t refused = 0;
    for (const std::string& datagram : noPackets) {
        SCOPED_TRACE(testing::PrintToString(datagram.substr(0, 20)));
        sendBytes(datagram);
        refused += 1;
        ASSERT_TRUE(runUntil([&] { return receiver->refused() + receiver->received() == refused; }));
        EXPECT_EQ(receiver->refused(), refused);
        expectNothingLeft();
    }
    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        sendBytes(whole.substr(0, length));
        refused += 1;
        ASSERT_TRUE(runUntil([&] { return receiver->refused() + receiver->received() == refused; }));
        EXPECT_EQ(receiver->refused(), refused);
        expectNothingLeft();
    }
    sendBytes(whole);
    ASSERT_TRUE(runUntil([&] { return receiver->received() == 1; })) << "the receiver is as good as new";
    EXPECT_TRUE(static_cast<bool>(*receiver));
}

TEST_P(Datagrams, DoNotLeaveTheirRestToTheNextOne)
{
    const auto number = [](int value) { return packet(bytes({0, 0, value, 0, 0, 0})); };
    sendBytes(frame(number(1)) + frame(number(99)));
    sendBytes(frame(number(2)) + "rest");
    sendBytes(frame(number(3)));
    ASSERT_TRUE(runUntil([&] { return receiver->received() == 3; }));
    EXPECT_THAT(numbers, ElementsAre(1, 2, 3));
    EXPECT_EQ(receiver->refused(), 0U);
}

TEST_P(Datagrams, AreAllReceivedOfAFlood)
{
    constexpr int count = 150;
    for (int i = 0; i < count; ++i)
        ASSERT_TRUE(sender->send(i));
    ASSERT_TRUE(runUntil([&] { return numbers.size() == count; }));
    for (int i = 0; i < count; ++i)
        EXPECT_EQ(numbers[static_cast<std::size_t>(i)], i);
    expectNothingLeft();
}

TEST_P(Datagrams, OfAFloodDoNotHoldTheCycle)
{
    constexpr std::uint64_t count = 150;
    for (std::uint64_t i = 0; i < count; ++i)
        ASSERT_TRUE(sender->send(1));
    dispatcher.dispatch(0.0);
    EXPECT_LT(receiver->received(), count);
}

TEST_P(Datagrams, ThatAreEmptyDoNotHoldTheCycle)
{
    constexpr std::uint64_t count = 150;
    for (std::uint64_t i = 0; i < count; ++i)
        sendBytes("");
    dispatcher.dispatch(0.0);
    EXPECT_LT(receiver->refused(), count);
    ASSERT_TRUE(runUntil([&] { return receiver->refused() == count; }));
    expectNothingLeft();
}

TEST_P(Datagrams, MayDestroyTheirReceiver)
{
    int calls = 0;
    bool isReadable = false;
    receiver = newReceiver([&](itcNDRReceive& packet, const itcInetAddress& from) {
        receiver.reset();
        calls += 1;
        isReadable = packet.raw_length() > 0 && from.port() > 0;
    });
    sendBytes(frame(packet("x")));
    sendBytes(frame(packet("y")));
    ASSERT_TRUE(runUntil([&] { return calls > 0; }));
    runCycles();
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(isReadable) << "packet and address are valid during the call";
}

TEST_P(Datagrams, LetAnExceptionLeaveTheCycle)
{
    receiver = newReceiver([](itcNDRReceive&, const itcInetAddress&) { throw std::runtime_error("the host's"); });
    sendBytes(frame(packet("x")));
    sendBytes(frame(packet("y")));
    for (std::uint64_t call = 1; call <= 2; ++call) {
        EXPECT_THROW((void)runUntil([] { return false; }), std::runtime_error);
        EXPECT_EQ(receiver->received(), call);
    }
}

TEST_P(Datagrams, MayBeReceivedByNobody)
{
    receiver = newReceiver(nullptr);
    sendBytes(frame(packet("x")));
    EXPECT_TRUE(runUntil([&] { return receiver->received() == 1; }));
    expectNothingLeft();
}

TEST_P(Datagrams, AreReceivedByTheGivenDispatcher)
{
    itcDispatcher second;
    int calls = 0;
    receiver = std::make_unique<itcDatagramReceiver>(
        addressAt(0), [&](itcNDRReceive&, const itcInetAddress&) { calls += 1; }, second);
    sendBytes(frame(packet("x")));
    runCycles();
    EXPECT_EQ(calls, 0);
    while (calls == 0)
        second.dispatch(0.1);
    receiver.reset();
}

TEST_P(Datagrams, CloseTheirSocketsInOtherPrograms)
{
    OsFaults::clearAll();
    const auto another = newReceiver(nullptr);
    const itcDatagramSender toAnother(addressAt(another->port()));
    const std::vector<int> prepared = OsFaults::setNonBlocking().askedArgument<0>();
    ASSERT_EQ(prepared.size(), 2U);
    for (const int fd : prepared) {
        EXPECT_TRUE(isClosedOnExec(fd));
        EXPECT_TRUE(isNonBlocking(fd));
    }
}

TEST_P(Datagrams, CountTheirSocketsAsConnections)
{
    const int before = itcConnection::getConnectionCount();
    {
        const auto another = newReceiver(nullptr);
        const itcDatagramSender toAnother(addressAt(another->port()));
        EXPECT_EQ(itcConnection::getConnectionCount(), before + 2);
    }
    EXPECT_EQ(itcConnection::getConnectionCount(), before);
}

TEST_P(Datagrams, WaitWhileTheFunctionUsesItsPacket)
{
    std::vector<std::pair<int, int>> pairs;
    std::unique_ptr<itcDatagramReceiver> receiving;
    receiving = newReceiver([&](itcNDRReceive& packet, const itcInetAddress&) {
        int first = 0;
        int second = 0;
        packet >> first;
        dispatcher.dispatch(0.0);
        packet >> second;
        pairs.emplace_back(first, second);
    });
    itcDatagramSender sending(addressAt(receiving->port()));
    ASSERT_TRUE(sending.send(1, 1));
    ASSERT_TRUE(sending.send(2, 2));
    ASSERT_TRUE(runUntil([&] { return pairs.size() == 2; }));
    EXPECT_THAT(pairs, ElementsAre(std::make_pair(1, 1), std::make_pair(2, 2)));
}
