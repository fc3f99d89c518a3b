// Walks of single failures: how they run, and what they notice.
#include "SingleFailures.h"

#include "BareSocket.h"

#include <gtest/gtest-spi.h>

#include <optional>

namespace {

// An operation of two calls. Both always fail, since -1 is no descriptor. The walk counts the calls, not their results.
void callTwice()
{
    OS_listen(-1, 5);
    OS_shutdown(-1, OS_shutdown_both);
}

void walk(const std::vector<Consequence>& consequences)
{
    walkSingleFailures(consequences, [](SingleFailure& failure) { failure.during(callTwice); });
}

TEST(SingleFailures, AreWalkedThroughOnceForEachCallAndOnceWithout)
{
    std::vector<std::string> failed;
    walkSingleFailures({survives("listen"), survives("shutdown")}, [&](SingleFailure& failure) {
        EXPECT_EQ(failure.turn(), failed.size());
        failure.during(callTwice);
        failed.push_back(failure.failedCall());
    });
    EXPECT_EQ(failed, std::vector<std::string>({"listen", "shutdown", ""}));
}

TEST(SingleFailures, HappenDuringTheOperationOnly)
{
    walkSingleFailures({survives("socket")}, [](SingleFailure& failure) {
        failure.during([&] {
            const BareSocket made(OS_socket(AF_INET, SOCK_STREAM, 0));
            EXPECT_EQ(made.get() == -1, failure.turn() == 0);
        });
        const BareSocket other(OS_socket(AF_INET, SOCK_STREAM, 0));
        EXPECT_NE(other.get(), -1);
    });
}

TEST(SingleFailures, NoticeACallThatTheTableDoesNotName)
{
    EXPECT_NONFATAL_FAILURE(walk({survives("listen")}), "Which is: \"shutdown\"");
}

TEST(SingleFailures, NoticeACallThatTheTableNamesInVain)
{
    const std::vector<Consequence> calls = {survives("listen"), survives("shutdown"), survives("send")};
    EXPECT_NONFATAL_FAILURE(walk(calls), "call 3 send");
}

TEST(SingleFailures, NoticeAWrongStatus)
{
    const auto wrong = [] {
        walkSingleFailures({}, [](SingleFailure& failure) {
            itcStatus status;
            leaveMark(status);
            failure.during([] {});
            failure.expectIn(status);
        });
    };
    EXPECT_NONFATAL_FAILURE(wrong(), "Itc_Tp_New_Path_Error");
}

TEST(SingleFailures, NoticeADescriptorThatIsLost)
{
    std::optional<BareSocket> lost;
    const auto losing = [&] {
        walkSingleFailures({}, [&](SingleFailure&) { lost.emplace(mustWork(::dup(0), "dup")); });
    };
    EXPECT_NONFATAL_FAILURE(losing(), "openDescriptors()");
}

TEST(SingleFailures, NoticeAConnectionThatStaysCounted)
{
    const auto counting = [] { walkSingleFailures({}, [](SingleFailure&) { itcConnection::incConnCount(); }); };
    EXPECT_NONFATAL_FAILURE(counting(), "getConnectionCount()");
    itcConnection::decConnCount();
}

} // namespace
