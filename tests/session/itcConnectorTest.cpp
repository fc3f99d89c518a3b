// A connector stays connected: it looks up, tries every address, waits between attempts, and makes fresh sessions.
#include "Conversation.h"
#include "LeakListener.h"
#include "ManualClock.h"
#include "TemporaryFolder.h"

#include <kiv/address/itcUnixAddress.h>
#include <kiv/session/itcConnector.h>
#include <kiv/session/itcTimer.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

bool isNumericQuestion(const addrinfo* hints) { return (hints->ai_flags & AI_NUMERICHOST) != 0; }

int threads()
{
    const std::filesystem::directory_iterator entries("/proc/self/task");
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

// The threads of the program before it has made any. ThreadSanitizer adds one when the first thread is made.
#ifdef __SANITIZE_THREAD__
const int threadsOfItsOwn = threads() + 1;
#else
const int threadsOfItsOwn = threads();
#endif

/// Answers the questions for names. The answers to numeric questions are those of the system. The destructor waits for
/// the threads that have asked.
class Resolver {
public:
    using Answer = std::function<int(addrinfo**)>;

    explicit Resolver(Answer answerNames) : answer(std::move(answerNames))
    {
        OsFaults::getaddrinfo().instead = [this](const char* host, const char* service, const addrinfo* hints,
                                                 addrinfo** result) {
            return isNumericQuestion(hints) ? ::getaddrinfo(host, service, hints, result) : answer(result);
        };
    }
    ~Resolver()
    {
        const auto end = std::chrono::system_clock::now() + std::chrono::seconds(60);
        while (threads() > threadsOfItsOwn && std::chrono::system_clock::now() < end)
            std::this_thread::yield();
        OsFaults::getaddrinfo().instead = nullptr;
    }
    Resolver(const Resolver&) = delete;
    Resolver& operator=(const Resolver&) = delete;

private:
    const Answer answer;
};

/// An answer of one address. The system frees a list element by element: answers may be joined.
addrinfo* oneAddress(const char* host, int port)
{
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host, std::to_string(port).c_str(), &hints, &found) != 0)
        throw std::runtime_error("no address");
    return found;
}

/// A resolver that hangs until it is let go.
class HangingResolver {
public:
    int wait()
    {
        std::unique_lock lock(mutex);
        questions += 1;
        changed.notify_all();
        changed.wait(lock, [this] { return mayGo; });
        answers += 1;
        changed.notify_all();
        return EAI_NONAME;
    }
    bool isAsked()
    {
        const std::lock_guard lock(mutex);
        return questions > 0;
    }
    void letGo()
    {
        std::unique_lock lock(mutex);
        mayGo = true;
        changed.notify_all();
        changed.wait(lock, [this] { return answers == questions; });
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool mayGo = false;
    int questions = 0;
    int answers = 0;
};

class Connecting : public Loop {
protected:
    void connectTo(const std::string& host, int port)
    {
        use(std::make_unique<itcConnector>(
            host, port, [this](itcSession& session) { connected(session); }, dispatcher));
    }
    void connectTo(const std::string& path)
    {
        use(std::make_unique<itcConnector>(
            itcUnixAddress(path.c_str()), [this](itcSession& session) { connected(session); }, dispatcher));
    }
    void use(std::unique_ptr<itcConnector> fresh)
    {
        connector = std::move(fresh);
        connector->setBackoff(1ms, 1ms).onFailed([this](const itcClosed& why) { failures.push_back(why); });
    }
    void connected(itcSession& session)
    {
        sessions += 1;
        session.onPacket([this, &session](itcNDRReceive& packet) {
            int number = 0;
            if (session.take(packet, number))
                numbers.push_back(number);
        });
        session.onClosed([this](const itcClosed& why) { ends.push_back(why.reason); });
        if (onConnected)
            onConnected(session);
    }
    [[nodiscard]] bool runUntilConnected(int count = 1)
    {
        return runUntil([this, count] { return sessions == count; });
    }
    [[nodiscard]] bool runUntilFailed(std::size_t count = 1)
    {
        return runUntil([this, count] { return failures.size() >= count; });
    }

    std::unique_ptr<itcConnector> connector;
    std::function<void(itcSession&)> onConnected;
    int sessions = 0;
    std::vector<int> numbers;
    std::vector<itcClosed> failures;
    std::vector<itcClosed::Reason> ends;
};

/// A server of bare sockets.
struct ServerKind {
    const char* name;
    const char* host; ///< Null for a local path.
};
const ServerKind serverKinds[] = {{"Local", nullptr}, {"TcpIPv4", "127.0.0.1"}, {"TcpIPv6", "::1"}};
void PrintTo(const ServerKind& kind, std::ostream* out) { *out << kind.name; }

class AConnectorTo : public Connecting, public testing::WithParamInterface<ServerKind> {
protected:
    AConnectorTo()
    {
        if (GetParam().host != nullptr) {
            server = listeningSocket(GetParam().host);
            connectTo(GetParam().host, portOf(addressOf(server.get())));
            return;
        }
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        folder.path("socket").copy(address.sun_path, sizeof address.sun_path - 1);
        server = BareSocket(mustWork(::socket(AF_UNIX, SOCK_STREAM, 0), "socket"));
        mustWork(::bind(server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
        mustWork(::listen(server.get(), 5), "listen");
        connectTo(folder.path("socket"));
    }
    Peer accept()
    {
        EXPECT_TRUE(runUntilConnected(sessions + 1));
        return Peer(acceptedSocket(server));
    }

    const TemporaryFolder folder;
    BareSocket server;
};
INSTANTIATE_TEST_SUITE_P(Each, AConnectorTo, testing::ValuesIn(serverKinds),
                         [](const auto& test) { return std::string(test.param.name); });

class AConnector : public Connecting {
protected:
    /// A port on which nobody listens. The socket keeps the port.
    int deadPort() const { return portOf(addressOf(bound.get())); }
    int serverPort() const { return portOf(addressOf(server.get())); }

    const BareSocket bound = boundSocket("127.0.0.1");
    const BareSocket server = listeningSocket("127.0.0.1");
};

struct StandingClock {
    ManualClock clock;
};
class AConnectorInTime : protected StandingClock, public AConnector {
protected:
    void pass(std::chrono::nanoseconds time)
    {
        clock.advance(time);
        runCycles();
    }
};

} // namespace

TEST_P(AConnectorTo, MakesASessionThatTalks)
{
    onConnected = [](itcSession& session) { EXPECT_TRUE(session.send(7)); };
    EXPECT_EQ(sessions, 0); // the next cycle begins
    Peer peer = accept();
    EXPECT_THAT(peer.numbers(), ElementsAre(7));
    peer.send(frameOf(8));
    EXPECT_TRUE(runUntil([&] { return numbers == std::vector<int>{8}; }));
    EXPECT_THAT(failures, IsEmpty());
    EXPECT_NE(connector->session(), nullptr);
}

TEST_P(AConnectorTo, MakesAFreshSessionWhenOneHasEnded)
{
    for (int i = 0; i < 5; ++i) {
        Peer peer = accept();
        peer.send(frameOf(i));
        ASSERT_TRUE(runUntil([&] { return numbers.size() == static_cast<std::size_t>(i) + 1; }));
        peer.close();
        ASSERT_TRUE(runUntil([&] { return ends.size() == static_cast<std::size_t>(i) + 1; }));
        EXPECT_EQ(connector->session(), nullptr);
    }
    EXPECT_THAT(numbers, ElementsAre(0, 1, 2, 3, 4));
    EXPECT_EQ(ends, std::vector<itcClosed::Reason>(5, itcClosed::peerLeft));
}

TEST_P(AConnectorTo, FinishesItsSessionWhenItStops)
{
    Peer peer = accept();
    ASSERT_NE(connector->session(), nullptr);
    ASSERT_TRUE(connector->session()->send(1));
    connector->stop();
    ASSERT_TRUE(runUntil([&] {
        peer.read();
        return peer.hasEnded;
    }));
    EXPECT_THAT(peer.numbers(), ElementsAre(1));
    peer.close();
    ASSERT_TRUE(runUntil([&] { return !ends.empty(); }));
    EXPECT_THAT(ends, ElementsAre(itcClosed::closedByUs));
    runCycles(20);
    EXPECT_EQ(sessions, 1);
}

TEST_P(AConnectorTo, ClosesItsSessionWhenItIsDestroyed)
{
    Peer peer = accept();
    connector.reset();
    ASSERT_TRUE(runUntil([&] {
        peer.read();
        return peer.hasEnded;
    }));
    EXPECT_THAT(ends, IsEmpty());
}

TEST_P(AConnectorTo, MayBeDestroyedWhenItIsConnected)
{
    onConnected = [&](itcSession&) { connector.reset(); };
    EXPECT_TRUE(runUntilConnected());
    runCycles();
    EXPECT_EQ(connector, nullptr);
    EXPECT_THAT(ends, IsEmpty());
}

TEST_P(AConnectorTo, MayBeDestroyedWhenItsSessionEnds)
{
    onConnected = [&](itcSession& session) { session.onClosed([&](const itcClosed&) { connector.reset(); }); };
    Peer peer = accept();
    peer.close();
    EXPECT_TRUE(runUntil([&] { return connector == nullptr; }));
    runCycles();
    EXPECT_EQ(sessions, 1);
}

TEST_P(AConnectorTo, ClosesASessionWhoseFunctionThrows)
{
    onConnected = [&](itcSession&) {
        onConnected = nullptr;
        throw std::runtime_error("the host's own");
    };
    EXPECT_THROW((void)runUntil([] { return false; }), std::runtime_error);
    EXPECT_EQ(connector->session(), nullptr);
    ASSERT_TRUE(runUntilConnected(2));
    EXPECT_THAT(ends, ElementsAre(itcClosed::closedByUs));
}

TEST_F(AConnector, RefusesANumberThatIsNoPort)
{
    connectTo("127.0.0.1", 65536 + serverPort());
    ASSERT_TRUE(runUntilFailed(1));
    EXPECT_EQ(failures[0].reason, itcClosed::unknownName);
    EXPECT_EQ(failures[0].errorNumber, EAI_SERVICE);
    EXPECT_EQ(sessions, 0);
}

TEST_F(AConnector, TellsThatItIsRefused)
{
    connectTo("127.0.0.1", deadPort());
    ASSERT_TRUE(runUntilFailed(3)); // it tries again and again
    for (const itcClosed& why : failures) {
        EXPECT_EQ(why.reason, itcClosed::systemError);
        EXPECT_EQ(why.errorNumber, ECONNREFUSED);
    }
    EXPECT_EQ(sessions, 0);
}

TEST_F(AConnector, TellsThatNobodyServesAPath)
{
    const TemporaryFolder folder;
    connectTo(folder.path("nobody"));
    ASSERT_TRUE(runUntilFailed());
    EXPECT_EQ(failures[0].reason, itcClosed::systemError);
    EXPECT_EQ(failures[0].errorNumber, ENOENT);
}

TEST_F(AConnector, TellsThatANameIsUnknown)
{
    const Resolver resolver([](addrinfo**) { return EAI_NONAME; });
    connectTo("collector.example", 5000);
    ASSERT_TRUE(runUntilFailed(2));
    EXPECT_EQ(failures[0].reason, itcClosed::unknownName);
    EXPECT_EQ(failures[0].errorNumber, EAI_NONAME);
    EXPECT_THAT(failures[0].text(), testing::HasSubstr(gai_strerror(EAI_NONAME)));
    connector->stop();
}

TEST_F(AConnector, TriesTheNextAddressWhenTheFirstOneRefuses)
{
    const Resolver resolver([this](addrinfo** result) {
        *result = oneAddress("127.0.0.1", deadPort());
        (*result)->ai_next = oneAddress("127.0.0.1", serverPort());
        return 0;
    });
    connectTo("collector.example", 5000);
    ASSERT_TRUE(runUntilConnected());
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(AConnector, TellsTheReasonOfTheLastAddress)
{
    const SilentListener silent("127.0.0.1");
    const int silentPort = portOf(silent.address());
    const Resolver resolver([&](addrinfo** result) {
        *result = oneAddress("127.0.0.1", deadPort());
        (*result)->ai_next = oneAddress("127.0.0.1", silentPort);
        return 0;
    });
    connectTo("collector.example", 5000);
    connector->setConnectTimeout(20ms);
    ASSERT_TRUE(runUntilFailed());
    EXPECT_EQ(failures[0].reason, itcClosed::systemError);
    EXPECT_EQ(failures[0].errorNumber, ETIMEDOUT);
}

TEST_F(AConnector, AsksNoResolverForANumericHost)
{
    const Resolver resolver([](addrinfo**) {
        ADD_FAILURE() << "a numeric host is no question";
        return EAI_FAIL;
    });
    connectTo("127.0.0.1", serverPort());
    EXPECT_TRUE(runUntilConnected());
}

TEST_F(AConnector, LetsTimersGoOnWhileTheResolverHangs)
{
    HangingResolver hanging;
    const Resolver resolver([&](addrinfo**) { return hanging.wait(); });
    connectTo("collector.example", 5000);
    int ticks = 0;
    itcTimer timer([&] { ticks += 1; }, dispatcher);
    timer.startEvery(1ms);
    EXPECT_TRUE(runUntil([&] { return hanging.isAsked() && ticks >= 20; }));
    EXPECT_THAT(failures, IsEmpty());
    hanging.letGo();
    EXPECT_TRUE(runUntilFailed());
    connector->stop();
}

TEST_F(AConnector, MayBeDestroyedWhileTheResolverHangs)
{
    HangingResolver hanging;
    const Resolver resolver([&](addrinfo**) { return hanging.wait(); });
    const int open = openDescriptors();
    connectTo("collector.example", 5000);
    ASSERT_TRUE(runUntil([&] { return hanging.isAsked(); }));
    connector.reset();
    runCycles();
    hanging.letGo();
    EXPECT_TRUE(runUntil([&] { return openDescriptors() == open; })); // the thread has let go of everything
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(AConnector, MayBeDestroyedWhileItConnects)
{
    const SilentListener silent("127.0.0.1");
    connectTo("127.0.0.1", portOf(silent.address()));
    runCycles();
    connector.reset();
    runCycles();
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(AConnector, MayBeDestroyedWhenItHasFailed)
{
    connectTo("127.0.0.1", deadPort());
    connector->onFailed([&](const itcClosed& why) {
        connector.reset();
        EXPECT_EQ(why.errorNumber, ECONNREFUSED);
    });
    EXPECT_TRUE(runUntil([&] { return connector == nullptr; }));
    runCycles();
}

TEST_F(AConnector, MayBeStoppedWhenItHasFailed)
{
    connectTo("127.0.0.1", deadPort());
    connector->onFailed([&](const itcClosed& why) {
        failures.push_back(why);
        connector->stop();
    });
    ASSERT_TRUE(runUntilFailed());
    const int connects = OsFaults::connect().calls();
    for (int i = 0; i < 10; ++i)
        dispatcher.dispatch(0.005); // more than the pause
    EXPECT_EQ(OsFaults::connect().calls(), connects);
}

TEST_F(AConnector, ConnectsNoMoreWhenItIsStoppedBeforeItsFirstCycle)
{
    connectTo("127.0.0.1", serverPort());
    connector->stop();
    runCycles(10);
    EXPECT_EQ(OsFaults::connect().calls(), 0);
}

TEST_F(AConnector, TellsThatTheProcessHasTooManyConnections)
{
    connectTo("127.0.0.1", serverPort());
    const int before = itcConnection::maxConns;
    itcConnection::maxConns = itcConnection::getConnectionCount();
    if (itcConnection::maxConns == 0) {
        itcConnection::incConnCount();
        itcConnection::maxConns = 1;
    }
    const bool hasFailed = runUntilFailed();
    itcConnection::maxConns = before;
    connector.reset();
    itcConnection::decConnCount();
    ASSERT_TRUE(hasFailed);
    EXPECT_EQ(failures[0].reason, itcClosed::connectionLimit);
}

TEST_F(AConnectorInTime, GivesUpAnAddressAfterFiveSeconds)
{
    const SilentListener silent("127.0.0.1");
    connectTo("127.0.0.1", portOf(silent.address()));
    runCycles();
    pass(5s - 1ms);
    EXPECT_THAT(failures, IsEmpty());
    pass(1ms);
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures[0].errorNumber, ETIMEDOUT);
}

TEST_F(AConnectorInTime, GivesUpNoAddressWithoutALimit)
{
    const SilentListener silent("127.0.0.1");
    connectTo("127.0.0.1", portOf(silent.address()));
    connector->setConnectTimeout(0ms);
    runCycles();
    pass(1h);
    EXPECT_THAT(failures, IsEmpty());
}

TEST_F(AConnectorInTime, GivesUpALookupThatHangs)
{
    HangingResolver hanging;
    const Resolver resolver([&](addrinfo**) { return hanging.wait(); });
    const int open = openDescriptors();
    connectTo("collector.example", 5000);
    ASSERT_TRUE(runUntil([&] { return hanging.isAsked(); }));
    pass(30s);
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(failures[0].errorNumber, ETIMEDOUT);
    connector->stop();
    hanging.letGo();
    EXPECT_TRUE(runUntil([&] { return openDescriptors() == open; })); // the thread has let go of everything
}

TEST_F(AConnectorInTime, AsksAgainAfterALookupWithoutMemory)
{
    const int port = serverPort();
    bool hasMemory = false;
    const Resolver resolver([&](addrinfo** result) {
        if (!hasMemory)
            throw std::bad_alloc(); // as the answer's list does
        *result = oneAddress("127.0.0.1", port);
        return 0;
    });
    connectTo("collector.example", 5000);
    ASSERT_TRUE(runUntilFailed());
    hasMemory = true;
    clock.advance(1s);
    EXPECT_TRUE(runUntilConnected());
}

TEST_F(AConnectorInTime, WaitsHalfASecondThenLonger)
{
    connectTo("127.0.0.1", deadPort());
    connector->setBackoff(500ms, 30s);
    ASSERT_TRUE(runUntilFailed());
    // A pause lies between a half of its time and the whole.
    std::size_t attempts = 1;
    for (const auto whole : {500ms, 1000ms, 2000ms, 4000ms, 8000ms, 16000ms, 30000ms, 30000ms}) {
        pass(whole / 2 - 1ms);
        EXPECT_EQ(failures.size(), attempts) << whole.count();
        clock.advance(whole / 2 + 2ms);
        attempts += 1;
        ASSERT_TRUE(runUntilFailed(attempts));
        EXPECT_EQ(failures.size(), attempts) << whole.count();
    }
}

TEST_F(AConnectorInTime, BeginsThePausesAnewAfterASessionThatHasReceived)
{
    connectTo("127.0.0.1", serverPort());
    connector->setBackoff(100ms, 1h);
    for (int i = 1; i <= 10; ++i) {
        clock.advance(101ms); // the first pause at most
        ASSERT_TRUE(runUntilConnected(i));
        Peer peer(acceptedSocket(server));
        peer.send(frameOf(i));
        ASSERT_TRUE(runUntil([&] { return numbers.size() == static_cast<std::size_t>(i); }));
        peer.close();
        ASSERT_TRUE(runUntil([&] { return ends.size() == static_cast<std::size_t>(i); }));
    }
}

TEST_F(AConnectorInTime, LengthensThePausesWhenTheServerClosesAtOnce)
{
    connectTo("127.0.0.1", serverPort());
    connector->setBackoff(100ms, 1h);
    for (int i = 1; i <= 3; ++i) {
        clock.advance(401ms);
        ASSERT_TRUE(runUntilConnected(i));
        acceptedSocket(server).close();
        ASSERT_TRUE(runUntil([&] { return ends.size() == static_cast<std::size_t>(i); }));
    }
    pass(199ms); // the third pause is 200 ms at least
    EXPECT_EQ(sessions, 3);
}

TEST_F(AConnectorInTime, BeginsThePausesAnewAfterASessionThatHasLivedForTheLongestPause)
{
    connectTo("127.0.0.1", serverPort());
    connector->setBackoff(100ms, 2s);
    for (int i = 1; i <= 5; ++i) {
        clock.advance(101ms);
        ASSERT_TRUE(runUntilConnected(i));
        BareSocket accepted = acceptedSocket(server);
        pass(2s);
        accepted.close();
        ASSERT_TRUE(runUntil([&] { return ends.size() == static_cast<std::size_t>(i); }));
    }
}

TEST_F(AConnectorInTime, SendsAHeartbeatInEachMinute)
{
    connectTo("127.0.0.1", serverPort());
    ASSERT_TRUE(runUntilConnected());
    Peer peer(acceptedSocket(server));
    pass(1min - 1s);
    EXPECT_EQ(peer.heartbeats(), 0);
    pass(1s);
    EXPECT_TRUE(runUntil([&] { return peer.heartbeats() == 1; }));
}
