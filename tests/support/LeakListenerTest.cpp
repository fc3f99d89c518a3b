// Tests that leave something behind. The listener must fail each of them, with the right message.
#include "LeakListener.h"

#include "BareSocket.h"
#include "OsFaults.h"
#include "TemporaryFolder.h"

#include <kiv/address/itcUnixAddress.h>
#include <kiv/connection/itcUnixSockStream.h>
#include <kiv/dispatcher/ICBKivReady.h>
#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/foundation/KivDebug.h>

#include <gtest/gtest-spi.h>

#include <memory>
#include <optional>
#include <ostream>

namespace {

struct Receiver : ICBKivReady {
    void ready(int, void*) override {}
};

/// A second listener beside the one of the program. start() and end() tell this second listener that a test begins and
/// ends. What happens between the two calls plays the tested test.
class LeakListenerTest : public testing::Test {
protected:
    void start() { listener.OnTestStart(*testing::UnitTest::GetInstance()->current_test_info()); }
    void end() { listener.OnTestEnd(*testing::UnitTest::GetInstance()->current_test_info()); }

    LeakListener listener;
};

TEST_F(LeakListenerTest, HasNothingToSayOfATestThatCleansUp)
{
    start();
    {
        const BareSocket socket(mustWork(::socket(AF_INET, SOCK_STREAM, 0), "socket"));
        const Receiver receiver;
    }
    end();
}

TEST_F(LeakListenerTest, NoticesADescriptorThatIsLeftOpen)
{
    std::optional<BareSocket> left;
    start();
    left.emplace(mustWork(::socket(AF_INET, SOCK_STREAM, 0), "socket"));
    EXPECT_NONFATAL_FAILURE(end(), "the test leaves descriptors open");
}

TEST_F(LeakListenerTest, NoticesADescriptorOfSomebodyElseThatIsClosed)
{
    BareSocket somebodyElses(mustWork(::socket(AF_INET, SOCK_STREAM, 0), "socket"));
    start();
    somebodyElses.close();
    EXPECT_NONFATAL_FAILURE(end(), "has closed somebody else's");
}

TEST_F(LeakListenerTest, NoticesAConnectionThatStaysCounted)
{
    start();
    itcConnection::incConnCount();
    EXPECT_NONFATAL_FAILURE(end(), "the test leaves the connection count changed");
    itcConnection::decConnCount();
}

TEST_F(LeakListenerTest, NoticesAConnectionThatIsCountedOffTwice)
{
    start();
    itcConnection::decConnCount();
    EXPECT_NONFATAL_FAILURE(end(), "the test leaves the connection count changed");
    itcConnection::incConnCount();
}

TEST_F(LeakListenerTest, NoticesAReceiverThatStaysRegistered)
{
    std::optional<Receiver> left;
    start();
    left.emplace();
    EXPECT_NONFATAL_FAILURE(end(), "the test leaves a receiver registered");
}

TEST_F(LeakListenerTest, NoticesASocketFileThatIsLeft)
{
    const TemporaryFolder folder;
    itcUnixAddress address(folder.path("socket").c_str());
    auto stream = std::make_unique<itcUnixSockStream>();
    start();
    ASSERT_TRUE(stream->CreateEndpoint(address));
    ASSERT_TRUE(stream->Close());
    EXPECT_NONFATAL_FAILURE(end(), "the test leaves a socket file");
}

TEST_F(LeakListenerTest, NoticesASocketFileThatGoesWithItsFolder)
{
    auto folder = std::make_unique<TemporaryFolder>();
    itcUnixAddress address(folder->path("socket").c_str());
    itcUnixSockStream stream;
    start();
    ASSERT_TRUE(stream.CreateEndpoint(address));
    ASSERT_TRUE(stream.Close());
    EXPECT_NONFATAL_FAILURE(folder.reset(), "the test leaves a socket file");
    end();
}

TEST_F(LeakListenerTest, ForgetsTheSocketFilesOfEarlierTests)
{
    const TemporaryFolder folder;
    itcUnixAddress address(folder.path("socket").c_str());
    itcUnixSockStream stream(address);
    start();
    end();
}

TEST_F(LeakListenerTest, ClearsTheScriptsOfTheTestBefore)
{
    OsFaults::socket().failNext(1, EMFILE);
    OsFaults::failAnyCall(1, EMFILE);
    start();
    const BareSocket socket(OS_socket(AF_INET, SOCK_STREAM, 0));
    EXPECT_GE(socket.get(), 0);
}

TEST_F(LeakListenerTest, DeletesTheDispatcherOfTheTest)
{
    struct Mortal : itcDispatcher {
        explicit Mortal(bool& witness) : lives(witness) { lives = true; }
        ~Mortal() override { lives = false; }
        bool& lives;
    };
    bool alive = false;
    start();
    itcDispatcher::instance(new Mortal(alive));
    end();
    EXPECT_FALSE(alive);
}

/// One pointer that a host may set.
struct Hook {
    const char* name;
    void (*install)();
    void (*takeBack)();
};

const Hook hooks[] = {
    {"Print", [] { KivDebug::pKivDebugPrint = [](short, const char*) {}; }, [] { KivDebug::pKivDebugPrint = nullptr; }},
    {"Error",
     [] {
         KivDebug::pKivErrorPrint = [](KivError::ErrPrio, KivError::ErrType, KivError::KivErrorCode, const char*,
                                       const char*, const char*) {};
     },
     [] { KivDebug::pKivErrorPrint = nullptr; }},
    {"MarkerText", [] { itcDispatcher::intReservedTextFP = [](int, const char*) {}; },
     [] { itcDispatcher::intReservedTextFP = nullptr; }},
    {"Marker", [] { itcDispatcher::startTimerFP = [](int) {}; }, [] { itcDispatcher::startTimerFP = nullptr; }},
    {"SleepTime", [] { itcDispatcher::incDispatchSleepTimeFP = [](long, long, long, long) {}; },
     [] { itcDispatcher::incDispatchSleepTimeFP = nullptr; }},
};

void PrintTo(const Hook& hook, std::ostream* out) { *out << hook.name; }

class LeakListenerHooks : public LeakListenerTest, public testing::WithParamInterface<Hook> {};
INSTANTIATE_TEST_SUITE_P(, LeakListenerHooks, testing::ValuesIn(hooks),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(LeakListenerHooks, AreNoticedWhenTheyStayInstalled)
{
    start();
    GetParam().install();
    EXPECT_NONFATAL_FAILURE(end(), "the test leaves a hook installed");
    GetParam().takeBack();
}

TEST_F(LeakListenerTest, NoticesACheckHookThatStaysInstalled)
{
    const KivDebug::CheckHook before = KivDebug::pKivDebugCheck;
    start();
    KivDebug::pKivDebugCheck = [](short) { return false; };
    EXPECT_NONFATAL_FAILURE(end(), "the test leaves a hook installed");
    KivDebug::pKivDebugCheck = before;
}

// CMakeLists.txt runs this test alone and expects a failure.
TEST(LeakyTest, DISABLED_LeavesADescriptor) { mustWork(::dup(0), "dup"); }

} // namespace
