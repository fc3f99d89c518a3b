// An acceptor makes a session of each client, and knows when to leave its listener alone.
#include "Conversation.h"
#include "ManualClock.h"
#include "TemporaryFolder.h"

#include <kiv/address/itcInetAddress.h>
#include <kiv/address/itcUnixAddress.h>
#include <kiv/connection/itcInetSockStream.h>
#include <kiv/connection/itcUnixSockStream.h>
#include <kiv/session/itcAcceptor.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

sockaddr_storage localAddress(const std::string& path)
{
    sockaddr_storage address = {};
    address.ss_family = AF_UNIX;
    auto& local = reinterpret_cast<sockaddr_un&>(address);
    path.copy(local.sun_path, sizeof local.sun_path - 1);
    return address;
}

/// Where an acceptor listens.
struct Place {
    const char* name;
    const char* host; ///< Null for a local path.
};
const Place places[] = {{"Local", nullptr}, {"TcpIPv4", "127.0.0.1"}, {"TcpIPv6", "::1"}};
void PrintTo(const Place& place, std::ostream* out) { *out << place.name; }

/// An acceptor whose sessions answer each number with the next one.
class Accepting : public Loop {
protected:
    void listenAt(const Place& place)
    {
        const auto serveOne = [this](itcSession& one) { serve(one); };
        if (place.host == nullptr)
            acceptor = std::make_unique<itcAcceptor>(itcUnixAddress(path().c_str()), serveOne, dispatcher);
        else
            acceptor = std::make_unique<itcAcceptor>(itcInetAddress(place.host, 0), serveOne, dispatcher);
        ASSERT_TRUE(*acceptor) << acceptor->status().STATUS_text();
        address = place.host == nullptr ? localAddress(path())
                                        : socketAddress(place.host, static_cast<uint16_t>(acceptor->port()));
        acceptor->onRest([this](const itcStatus& why) { rests.push_back(why); });
    }
    virtual void serve(itcSession& one)
    {
        served += 1;
        one.onPacket([&one](itcNDRReceive& packet) {
            int number = 0;
            if (one.take(packet, number)) {
                EXPECT_TRUE(one.send(number + 1));
            }
        });
        one.onClosed([this](const itcClosed& why) { ends.push_back(why.reason); });
    }
    Peer connect() const { return Peer(connectedSocket(address)); }
    std::string path() const { return folder.path("socket"); }
    [[nodiscard]] bool runUntilServed(int count)
    {
        return runUntil([this, count] { return served == count; });
    }
    [[nodiscard]] bool isAnswered(Peer& client)
    {
        client.send(frameOf(1));
        return runUntil([&] { return client.numbers() == std::vector<int>{2}; });
    }

    const TemporaryFolder folder;
    sockaddr_storage address = {};
    std::unique_ptr<itcAcceptor> acceptor;
    int served = 0;
    std::vector<itcClosed::Reason> ends;
    std::vector<itcStatus> rests;
};

class AnAcceptorAt : public Accepting, public testing::WithParamInterface<Place> {
protected:
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(listenAt(GetParam())); }
};
INSTANTIATE_TEST_SUITE_P(Each, AnAcceptorAt, testing::ValuesIn(places),
                         [](const auto& test) { return std::string(test.param.name); });

class AnAcceptor : public Accepting {
protected:
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(listenAt(places[0])); }
};

/// A failure of accept() that concerns more than one client.
class ARest : public AnAcceptor, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Errno, ARest, testing::Values(EMFILE, ENFILE, ENOBUFS, ENOMEM));

struct StandingClock {
    ManualClock clock;
};
class AnAcceptorInTime : StandingClock, public AnAcceptor {
protected:
    void pass(std::chrono::nanoseconds time)
    {
        clock.advance(time);
        runCycles();
    }
};

} // namespace

TEST_P(AnAcceptorAt, ServesAClient)
{
    Peer client = connect();
    EXPECT_TRUE(isAnswered(client));
    EXPECT_EQ(acceptor->sessions(), 1u);
    EXPECT_THAT(acceptor->status(), HasClearStatus());
}

TEST_P(AnAcceptorAt, ForgetsASessionThatHasEnded)
{
    Peer client = connect();
    ASSERT_TRUE(runUntilServed(1));
    client.close();
    ASSERT_TRUE(runUntil([&] { return acceptor->sessions() == 0; }));
    EXPECT_THAT(ends, ElementsAre(itcClosed::peerLeft));
}

TEST_P(AnAcceptorAt, ServesOneThousandConnects)
{
    constexpr int batch = 50;
    for (int i = 0; i < 1000 / batch; ++i) {
        std::vector<Peer> clients;
        for (int one = 0; one < batch; ++one)
            clients.push_back(connect());
        ASSERT_TRUE(runUntilServed((i + 1) * batch));
        clients.clear();
        ASSERT_TRUE(runUntil([&] { return acceptor->sessions() == 0; }));
    }
    EXPECT_EQ(ends.size(), 1000u);
    EXPECT_THAT(rests, IsEmpty());
}

TEST_P(AnAcceptorAt, LetsTheFiftyFirstClientWaitUntilOneLeaves)
{
    acceptor->setMaxSessions(50);
    std::vector<Peer> clients;
    for (int i = 0; i < 51; ++i)
        clients.push_back(connect());
    ASSERT_TRUE(runUntilServed(50));
    runCycles(20);
    EXPECT_EQ(served, 50);
    EXPECT_THAT(rests, ElementsAre(HasStatus(Itc_Tp_Max_Connections_Reached, Warning)));
    clients.front().close();
    ASSERT_TRUE(runUntilServed(51));
    EXPECT_TRUE(isAnswered(clients.back()));
}

TEST_P(AnAcceptorAt, FinishesAllSessions)
{
    Peer first = connect();
    Peer second = connect();
    ASSERT_TRUE(runUntilServed(2));
    acceptor->finish();
    EXPECT_FALSE(acceptor->isListening());
    for (Peer* const client : {&first, &second}) {
        ASSERT_TRUE(runUntil([&] {
            client->read();
            return client->hasEnded;
        }));
        client->close();
    }
    ASSERT_TRUE(runUntil([&] { return acceptor->sessions() == 0; }));
    EXPECT_THAT(ends, ElementsAre(itcClosed::closedByUs, itcClosed::closedByUs));
}

TEST_P(AnAcceptorAt, KeepsItsSessionsWhenItStopsListening)
{
    Peer client = connect();
    ASSERT_TRUE(runUntilServed(1));
    acceptor->stopListening();
    EXPECT_FALSE(*acceptor);
    EXPECT_EQ(acceptor->port(), 0);
    EXPECT_THROW(connect(), std::system_error);
    EXPECT_TRUE(isAnswered(client));
}

TEST_P(AnAcceptorAt, ClosesAllSessionsWhenItIsDestroyed)
{
    Peer client = connect();
    ASSERT_TRUE(runUntilServed(1));
    acceptor.reset();
    ASSERT_TRUE(runUntil([&] {
        client.read();
        return client.hasEnded;
    }));
    EXPECT_THAT(ends, IsEmpty());
}

TEST_P(AnAcceptorAt, LetsOneThousandAndTwentyFourClientsWait)
{
    EXPECT_EQ(OsFaults::listen().askedArgument<1>().back(), 1024);
    acceptor->setBacklog(7);
    EXPECT_EQ(OsFaults::listen().askedArgument<1>().back(), 7);
}

TEST_P(AnAcceptorAt, ListensWithoutBlockingOnADescriptorThatIsClosedOnExec)
{
    const int listener = std::get<0>(OsFaults::listen().asked().back());
    EXPECT_TRUE(isNonBlocking(listener));
    EXPECT_TRUE(isClosedOnExec(listener));
}

TEST_P(AnAcceptorAt, SwitchesOffTheDelayOfTcp)
{
    const Peer client = connect();
    ASSERT_TRUE(runUntilServed(1));
    acceptor->forEach([&](itcSession& one) {
        EXPECT_TRUE(isClosedOnExec(one.connection()->ReadDescriptor()));
        if (GetParam().host != nullptr) {
            EXPECT_NE(socketOption(one.connection()->ReadDescriptor(), IPPROTO_TCP, TCP_NODELAY), 0);
        }
    });
}

TEST_F(AnAcceptor, HasNoPortAtALocalPath) { EXPECT_EQ(acceptor->port(), 0); }

TEST_F(AnAcceptor, CallsAFunctionForEachOpenSession)
{
    std::vector<Peer> clients;
    for (int i = 0; i < 3; ++i)
        clients.push_back(connect());
    ASSERT_TRUE(runUntilServed(3));
    std::vector<itcSession*> called;
    acceptor->forEach([&](itcSession& one) {
        called.push_back(&one);
        one.close();
    });
    EXPECT_EQ(called.size(), 3u);
    acceptor->forEach([&](itcSession&) { ADD_FAILURE() << "no session is open"; });
}

TEST_F(AnAcceptor, CountsOnlySessionsThatHaveNotEnded)
{
    const Peer client = connect();
    ASSERT_TRUE(runUntilServed(1));
    acceptor->forEach([](itcSession& one) { one.close(); });
    EXPECT_EQ(acceptor->sessions(), 0u);
}

TEST_F(AnAcceptor, MayEndSessionsInACycleOfTheFunctionForEach)
{
    std::vector<Peer> clients;
    for (int i = 0; i < 3; ++i)
        clients.push_back(connect());
    ASSERT_TRUE(runUntilServed(3));
    int calls = 0;
    acceptor->forEach([&](itcSession&) {
        calls += 1;
        clients.clear();
        runCycles(10);
    });
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(acceptor->sessions(), 0u);
}

TEST_P(ARest, IsToldOnce)
{
    OsFaults::accept().failNext(1000, GetParam());
    const Peer client = connect();
    ASSERT_TRUE(runUntil([&] { return !rests.empty(); }));
    ASSERT_TRUE(runUntil([&] { return OsFaults::accept().calls() == 3; })); // it has tried again
    ASSERT_EQ(rests.size(), 1u);
    EXPECT_EQ(rests[0].errorNumber, GetParam());
    EXPECT_TRUE(acceptor->isListening());
}

TEST_P(ARest, EndsByItself)
{
    OsFaults::accept().failNext(1, GetParam());
    const Peer client = connect();
    EXPECT_TRUE(runUntilServed(1));
    EXPECT_EQ(rests.size(), 1u);
}

TEST_P(ARest, IsToldAgainWhenAClientWasServedBetween)
{
    OsFaults::accept().failNext(1, GetParam());
    const Peer first = connect();
    ASSERT_TRUE(runUntilServed(1));
    OsFaults::accept().failNext(1, GetParam());
    const Peer second = connect();
    ASSERT_TRUE(runUntilServed(2));
    EXPECT_EQ(rests.size(), 2u);
}

TEST_F(AnAcceptorInTime, LooksAgainEveryFifthOfASecond)
{
    OsFaults::accept().failNext(1000, EMFILE);
    const Peer client = connect();
    runCycles(20);
    EXPECT_EQ(OsFaults::accept().calls(), 1) << "the loop spins";
    for (int i = 1; i < 5; ++i) {
        pass(199ms);
        EXPECT_EQ(OsFaults::accept().calls(), i);
        pass(1ms);
        EXPECT_EQ(OsFaults::accept().calls(), i + 1);
    }
}

TEST_F(AnAcceptorInTime, LooksAgainAsSoonAsASessionEnds)
{
    Peer first = connect();
    runCycles();
    OsFaults::accept().failNext(1, EMFILE);
    const Peer second = connect();
    runCycles();
    ASSERT_EQ(served, 1);
    first.close();
    runCycles();
    EXPECT_EQ(served, 2);
}

TEST_F(AnAcceptorInTime, SleepsDuringARest)
{
    OsFaults::accept().failNext(1000, EMFILE);
    const Peer client = connect();
    runCycles();
    OsFaults::select().clear();
    EXPECT_EQ(dispatcher.dispatch(0.01), 0); // nothing is ready
    EXPECT_EQ(OsFaults::select().calls(), 1);
}

TEST_F(AnAcceptorInTime, ServesTheNextClientAfterOneThatHasGone)
{
    OsFaults::accept().failNext(3, ECONNABORTED);
    const Peer client = connect();
    runCycles(10);
    EXPECT_EQ(served, 1);
    EXPECT_THAT(rests, IsEmpty());
}

TEST_F(AnAcceptorInTime, AcceptsSoManyInASecond)
{
    pass(10s);
    acceptor->setMaxAcceptRate(3);
    std::vector<Peer> clients;
    for (int i = 0; i < 8; ++i)
        clients.push_back(connect());
    runCycles(10);
    EXPECT_EQ(served, 3);
    pass(999ms);
    EXPECT_EQ(served, 3);
    pass(1ms);
    EXPECT_EQ(served, 6);
    pass(1s);
    EXPECT_EQ(served, 8);
    EXPECT_THAT(rests, IsEmpty());
}

TEST_F(AnAcceptorInTime, KeepsItsRateWhenASessionEnds)
{
    pass(10s);
    acceptor->setMaxAcceptRate(1);
    Peer first = connect();
    runCycles();
    const Peer second = connect();
    runCycles();
    first.close();
    runCycles();
    EXPECT_EQ(acceptor->sessions(), 0u);
    EXPECT_EQ(served, 1);
    pass(1s);
    EXPECT_EQ(served, 2);
}

TEST_F(AnAcceptorInTime, RestsAtTheLimitOfTheProcess)
{
    const int before = itcConnection::maxConns;
    itcConnection::maxConns = itcConnection::getConnectionCount() + 1;
    Peer first = connect();
    Peer second = connect();
    runCycles();
    EXPECT_EQ(served, 1);
    ASSERT_EQ(rests.size(), 1u);
    EXPECT_THAT(rests[0], HasStatus(Itc_Tp_Max_Connections_Reached, Warning));
    EXPECT_TRUE(acceptor->isListening());
    itcConnection::maxConns += 1;
    pass(200ms);
    EXPECT_EQ(served, 2);
    itcConnection::maxConns = before;
}

TEST_F(AnAcceptor, MayBeDestroyedWhenItServes)
{
    acceptor = std::make_unique<itcAcceptor>(
        itcInetAddress("127.0.0.1", 0), [&](itcSession&) { acceptor.reset(); }, dispatcher);
    const Peer first(connectedSocket(socketAddress("127.0.0.1", static_cast<uint16_t>(acceptor->port()))));
    const Peer second(connectedSocket(socketAddress("127.0.0.1", static_cast<uint16_t>(acceptor->port()))));
    EXPECT_TRUE(runUntil([&] { return acceptor == nullptr; }));
    runCycles();
}

TEST_F(AnAcceptor, MayBeDestroyedWhenASessionEnds)
{
    Peer client = connect();
    ASSERT_TRUE(runUntilServed(1));
    acceptor->forEach([&](itcSession& one) { one.onClosed([&](const itcClosed&) { acceptor.reset(); }); });
    client.close();
    EXPECT_TRUE(runUntil([&] { return acceptor == nullptr; }));
    runCycles();
}

TEST_F(AnAcceptor, MayBeDestroyedWhenAPacketComes)
{
    const Peer client = connect();
    ASSERT_TRUE(runUntilServed(1));
    acceptor->forEach([&](itcSession& one) { one.onPacket([&](itcNDRReceive&) { acceptor.reset(); }); });
    client.send(frameOf(1) + frameOf(2));
    EXPECT_TRUE(runUntil([&] { return acceptor == nullptr; }));
    runCycles();
}

TEST_F(AnAcceptor, MayBeDestroyedWhenItRests)
{
    OsFaults::accept().failNext(1, EMFILE);
    acceptor->onRest([&](const itcStatus& why) {
        acceptor.reset();
        EXPECT_EQ(why.errorNumber, EMFILE);
    });
    const Peer client = connect();
    EXPECT_TRUE(runUntil([&] { return acceptor == nullptr; }));
    runCycles();
}

TEST_F(AnAcceptor, MayStopListeningWhenItServes)
{
    acceptor = std::make_unique<itcAcceptor>(
        itcInetAddress("127.0.0.1", 0),
        [&](itcSession& one) {
            serve(one);
            acceptor->stopListening();
        },
        dispatcher);
    const uint16_t port = static_cast<uint16_t>(acceptor->port());
    Peer first(connectedSocket(socketAddress("127.0.0.1", port)));
    const Peer second(connectedSocket(socketAddress("127.0.0.1", port)));
    ASSERT_TRUE(runUntilServed(1));
    EXPECT_TRUE(isAnswered(first));
    EXPECT_EQ(served, 1);
}

TEST_F(AnAcceptor, ClosesASessionWhoseServeThrows)
{
    acceptor = std::make_unique<itcAcceptor>(
        itcInetAddress("127.0.0.1", 0), [](itcSession&) { throw std::runtime_error("the host's own"); }, dispatcher);
    Peer client(connectedSocket(socketAddress("127.0.0.1", static_cast<uint16_t>(acceptor->port()))));
    EXPECT_THROW((void)runUntil([] { return false; }), std::runtime_error);
    EXPECT_TRUE(runUntil([&] {
        client.read();
        return client.hasEnded && acceptor->sessions() == 0;
    }));
    EXPECT_TRUE(acceptor->isListening());
}

TEST_F(AnAcceptor, BearsAServeThatThrowsBehindTheEndOfItsSession)
{
    acceptor = std::make_unique<itcAcceptor>(
        itcInetAddress("127.0.0.1", 0),
        [&](itcSession& one) {
            one.close();
            EXPECT_TRUE(runUntil([&] { return acceptor->sessions() == 0; }));
            runCycles();
            throw std::runtime_error("the host's own");
        },
        dispatcher);
    const Peer client(connectedSocket(socketAddress("127.0.0.1", static_cast<uint16_t>(acceptor->port()))));
    EXPECT_THROW((void)runUntil([] { return false; }), std::runtime_error);
    runCycles();
    EXPECT_TRUE(acceptor->isListening());
}

TEST_F(AnAcceptor, RefusesAPathThatALivingAcceptorServes)
{
    const itcAcceptor second(
        itcUnixAddress(path().c_str()), [](itcSession&) {}, dispatcher);
    EXPECT_FALSE(second);
    EXPECT_THAT(second.status(), HasStatus(Itc_Tp_Bind_Call_Failed, Error, EADDRINUSE));
    Peer client = connect();
    EXPECT_TRUE(isAnswered(client));
}

TEST_F(AnAcceptor, GivesItsPathToTheNextOne)
{
    acceptor.reset();
    EXPECT_FALSE(std::filesystem::exists(path()));
    EXPECT_FALSE(std::filesystem::exists(path() + ".lock"));
    ASSERT_NO_FATAL_FAILURE(listenAt(places[0]));
    Peer client = connect();
    EXPECT_TRUE(isAnswered(client));
}

TEST_F(AnAcceptor, ReplacesTheFilesOfADeadProcess)
{
    const std::string stale = folder.path("stale");
    {
        const sockaddr_storage dead = localAddress(stale);
        const BareSocket left(mustWork(::socket(AF_UNIX, SOCK_STREAM, 0), "socket"));
        mustWork(::bind(left.get(), asSocketAddress(dead), lengthOf(dead)), "bind");
        BareSocket lock(mustWork(::open((stale + ".lock").c_str(), O_CREAT | O_RDWR, 0600), "open"));
    }
    acceptor = std::make_unique<itcAcceptor>(
        itcUnixAddress(stale.c_str()), [&](itcSession& one) { serve(one); }, dispatcher);
    ASSERT_TRUE(*acceptor) << acceptor->status().STATUS_text();
    Peer client(connectedSocket(localAddress(stale)));
    EXPECT_TRUE(isAnswered(client));
}

TEST_F(AnAcceptor, TellsWhyItDoesNotListen)
{
    const itcAcceptor nowhere(
        itcUnixAddress(folder.path("no/such/folder").c_str()), [](itcSession&) {}, dispatcher);
    EXPECT_FALSE(nowhere);
    EXPECT_THAT(nowhere.status(), HasStatus(Itc_Tp_Bind_Call_Failed, Error, ENOENT));
    const itcAcceptor badPath(
        itcUnixAddress(std::string(200, 'x').c_str()), [](itcSession&) {}, dispatcher);
    EXPECT_FALSE(badPath);
    EXPECT_THAT(badPath.status(), HasStatus(Itc_Tp_Path_Too_Long, Error));
    const itcAcceptor nothing(
        std::unique_ptr<itcConnection>(), [](itcSession&) {}, dispatcher);
    EXPECT_FALSE(nothing);
    EXPECT_THAT(nothing.status(), HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error, EBADF));
    EXPECT_EQ(nothing.sessions(), 0u);
}

TEST_F(AnAcceptor, TellsThatThePortIsTaken)
{
    const BareSocket other = listeningSocket("127.0.0.1");
    const itcAcceptor second(
        itcInetAddress("127.0.0.1", portOf(addressOf(other.get()))), [](itcSession&) {}, dispatcher);
    EXPECT_FALSE(second);
    EXPECT_THAT(second.status(), HasStatus(Itc_Tp_Bind_Call_Failed, Error, EADDRINUSE));
}

TEST_F(AnAcceptor, ServesAListenerOfTheHost)
{
    auto listener = std::make_unique<itcInetSockStream>();
    itcInetAddress local("127.0.0.1", 0);
    ASSERT_EQ(listener->CreateEndpoint(local), 1);
    acceptor = std::make_unique<itcAcceptor>(
        std::move(listener), [&](itcSession& one) { serve(one); }, dispatcher);
    ASSERT_TRUE(*acceptor);
    EXPECT_EQ(OsFaults::listen().askedArgument<1>().back(), 1024);
    Peer client(connectedSocket(socketAddress("127.0.0.1", static_cast<uint16_t>(acceptor->port()))));
    EXPECT_TRUE(isAnswered(client));
}

TEST_F(AnAcceptor, HandsOutBareConnections)
{
    auto listener = std::make_unique<itcInetSockStream>();
    itcInetAddress local("127.0.0.1", 0);
    ASSERT_EQ(listener->CreateEndpoint(local), 1);
    std::unique_ptr<itcConnection> taken;
    acceptor = std::make_unique<itcAcceptor>(
        std::move(listener), [&](std::unique_ptr<itcConnection> one) { taken = std::move(one); }, dispatcher);
    const Peer client(connectedSocket(socketAddress("127.0.0.1", static_cast<uint16_t>(acceptor->port()))));
    ASSERT_TRUE(runUntil([&] { return taken != nullptr; }));
    EXPECT_TRUE(isNonBlocking(taken->ReadDescriptor()));
    EXPECT_TRUE(isClosedOnExec(taken->ReadDescriptor()));
    EXPECT_EQ(dispatcher.handler(taken.get(), ReadMask), nullptr);
    EXPECT_EQ(acceptor->sessions(), 0u);
}

TEST_P(AnAcceptorAt, MayBelongToAFunctionOfItsSession)
{
    std::shared_ptr<itcAcceptor> owner = std::move(acceptor);
    Peer client = connect();
    ASSERT_TRUE(runUntilServed(1));
    bool isClosed = false;
    owner->forEach([&](itcSession& one) { one.onClosed([owner, &isClosed](const itcClosed&) { isClosed = true; }); });
    owner.reset();
    client.close();
    EXPECT_TRUE(runUntil([&] { return isClosed; }));
    runCycles();
}

TEST_F(AnAcceptor, RefusesAConnectedStreamAsListener)
{
    const SocketEnds sockets = connectLocally();
    const itcAcceptor wrong(
        connectionOver(sockets.near), [](itcSession&) {}, dispatcher);
    EXPECT_FALSE(wrong);
    EXPECT_THAT(wrong.status(), HasStatus(Itc_Tp_Listen_Call_Failed, Error));
}

TEST_F(AnAcceptor, GivesItsPathBackWhenItStopsListening)
{
    const TemporaryFolder place;
    const itcUnixAddress path(place.path("socket").c_str());
    itcAcceptor first(
        path, [](itcSession&) {}, dispatcher);
    ASSERT_TRUE(first);
    first.stopListening();
    EXPECT_TRUE(itcAcceptor(
        path, [](itcSession&) {}, dispatcher));
}

TEST_F(AnAcceptor, DoesNotReplaceAFileThatIsNoSocket)
{
    const TemporaryFolder place;
    std::ofstream(place.path("notes")) << "mine";
    const itcAcceptor wrong(
        itcUnixAddress(place.path("notes").c_str()), [](itcSession&) {}, dispatcher);
    EXPECT_FALSE(wrong);
    EXPECT_EQ(wrong.status().errorNumber, EEXIST);
    EXPECT_TRUE(std::filesystem::is_regular_file(place.path("notes")));
}
