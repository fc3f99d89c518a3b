// The count of connections and its limit.
#include "OsFaults.h"

#include <kiv/connection/itcConnection.h>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

/// Sets the count and the limit. The destructor restores both.
class Counted {
public:
    Counted(int count, int limit)
    {
        itcConnection::currentConns = count;
        itcConnection::maxConns = limit;
    }
    ~Counted()
    {
        itcConnection::currentConns = previousCount;
        itcConnection::maxConns = previousLimit;
    }

private:
    const int previousCount = itcConnection::currentConns;
    const int previousLimit = itcConnection::maxConns;
};

TEST(ConnectionCount, GoesUpAndDown)
{
    const Counted counted(5, 100);
    EXPECT_EQ(itcConnection::getConnectionCount(), 5);
    itcConnection::incConnCount();
    EXPECT_EQ(itcConnection::getConnectionCount(), 6);
    EXPECT_EQ(itcConnection::currentConns, 6);
    itcConnection::decConnCount();
    itcConnection::decConnCount();
    EXPECT_EQ(itcConnection::getConnectionCount(), 4);
}

TEST(ConnectionCount, LosesNothingBetweenThreads)
{
    constexpr int threads = 4;
    constexpr int rounds = 20000;
    const Counted counted(0, 100);
    std::vector<std::thread> workers;
    for (int i = 0; i < threads; ++i) {
        workers.emplace_back([] {
            for (int round = 0; round < rounds; ++round) {
                itcConnection::incConnCount();
                itcConnection::incConnCount();
                itcConnection::decConnCount();
            }
        });
    }
    for (std::thread& worker : workers)
        worker.join();
    EXPECT_EQ(itcConnection::getConnectionCount(), threads * rounds);
}

TEST(ConnectionCount, ReachesItsLimitAtTheLimit)
{
    EXPECT_TRUE((Counted(3, 3), itcConnection::hasMaxConnCount()));
    EXPECT_TRUE((Counted(4, 3), itcConnection::hasMaxConnCount()));
    EXPECT_FALSE((Counted(2, 3), itcConnection::hasMaxConnCount()));
    EXPECT_TRUE((Counted(1, 1), itcConnection::hasMaxConnCount()));
}

TEST(ConnectionCount, HasNoLimitBelowOne)
{
    EXPECT_FALSE((Counted(3, 0), itcConnection::hasMaxConnCount()));
    EXPECT_FALSE((Counted(0, 0), itcConnection::hasMaxConnCount()));
    EXPECT_FALSE((Counted(3, -4), itcConnection::hasMaxConnCount()));
}

TEST(ConnectionCount, StartsAtZeroUnderALimitThatFollowsTheDescriptors)
{
    EXPECT_EQ(itcConnection::getConnectionCount(), 0) << "every test gives back what it has counted";
    EXPECT_EQ(itcConnection::maxConns, std::min(OS_availablefds() - 16, 1024));
}

struct LoadLimit {
    rlim_t descriptors;
    int maxConns;
};

// The library computes its limit when it is loaded. Therefore each test sets a descriptor limit and starts a process of
// its own, which inherits the descriptor limit.
class ConnectionLimitAtLoad : public testing::TestWithParam<LoadLimit> {
protected:
    ConnectionLimitAtLoad()
    {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        ::getrlimit(RLIMIT_NOFILE, &previous);
        const rlimit limit = {GetParam().descriptors, previous.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~ConnectionLimitAtLoad() override { ::setrlimit(RLIMIT_NOFILE, &previous); }

private:
    rlimit previous = {};
};

INSTANTIATE_TEST_SUITE_P(Descriptors, ConnectionLimitAtLoad,
                         testing::Values(LoadLimit{20, 4}, LoadLimit{100, 84}, LoadLimit{1040, 1024},
                                         LoadLimit{1041, 1024}, LoadLimit{4000, 1024}),
                         [](const auto& tested) { return std::to_string(tested.param.descriptors); });

TEST_P(ConnectionLimitAtLoad, LeavesSixteenToTheHostAndEndsAt1024)
{
    EXPECT_EXIT(std::_Exit(itcConnection::maxConns == GetParam().maxConns ? 0 : 1), testing::ExitedWithCode(0), "");
}

} // namespace
