// Waits of more seconds than 32 bits hold, with the system's own calls. Cut to 32 bits these waits would end at once.
#include <kiv/foundation/OS.h>

#include <gmock/gmock.h>

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ostream>

namespace {

constexpr int64_t seconds31 = int64_t{1} << 31;
constexpr int64_t seconds32 = int64_t{1} << 32;

void ignore(int) {}

/// Interrupts the process repeatedly. A single interruption may come before the call that is to be interrupted.
class Interruptions {
public:
    Interruptions() : previous(OS_signal(SIGALRM, ignore))
    {
        const itimerval every5Milliseconds = {{0, 5000}, {0, 5000}};
        EXPECT_EQ(OS_setitimer(ITIMER_REAL, &every5Milliseconds, nullptr), 0);
    }
    ~Interruptions()
    {
        const itimerval off = {};
        OS_setitimer(ITIMER_REAL, &off, nullptr);
        OS_signal(SIGALRM, previous);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;

private:
    const OS_signalHandler previous;
};

class OSLongWait : public testing::TestWithParam<int64_t> {
protected:
    // Nearly the whole time must be left, since a test may take only minutes.
    static void expectNearlyAllLeft(const timeval& left)
    {
        EXPECT_LE(left.tv_sec, GetParam());
        EXPECT_GT(left.tv_sec, GetParam() - 1000);
        EXPECT_GE(left.tv_usec, 0);
        EXPECT_LT(left.tv_usec, 1000000);
    }
};
INSTANTIATE_TEST_SUITE_P(Seconds, OSLongWait,
                         testing::Values(seconds31 - 1, seconds31, seconds31 + 1, seconds32, seconds32 + 1));

TEST_P(OSLongWait, WithNothingReadyLastsUntilItIsInterrupted)
{
    timeval timeout = {GetParam(), 0};
    const Interruptions interruptions;

    EXPECT_EQ(OS_select(0, nullptr, nullptr, nullptr, &timeout), -1);
    EXPECT_EQ(OS_getLastError(), EINTR);

    expectNearlyAllLeft(timeout);
}

TEST_P(OSLongWait, EndsWithWhatIsReadyAndLeavesTheRest)
{
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);
    ASSERT_EQ(::write(fds[1], "x", 1), 1);
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fds[0], &readable);
    timeval timeout = {GetParam(), 0};

    EXPECT_EQ(OS_select(fds[0] + 1, &readable, nullptr, nullptr, &timeout), 1);

    expectNearlyAllLeft(timeout);
    EXPECT_LT(timeout.tv_sec, GetParam()) << "not a microsecond was used";
    ::close(fds[0]);
    ::close(fds[1]);
}

} // namespace
