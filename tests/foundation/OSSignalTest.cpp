// OS_signal(): handlers that interrupt blocked system calls.
#include <kiv/foundation/OS.h>

#include <gmock/gmock.h>

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace {

struct sigaction installed; // the request to the system; the system itself does not keep every flag

volatile sig_atomic_t caught;

void handler(int signal) { caught = signal; }

class OSSignal : public testing::Test {
protected:
    OSSignal() { ::sigaction(SIGALRM, nullptr, &before); }
    ~OSSignal() override { ::sigaction(SIGALRM, &before, nullptr); }

private:
    struct sigaction before = {};
};

} // namespace

// The library calls this function instead of the C library's.
extern "C" int sigaction(int signal, const struct sigaction* action, struct sigaction* previous) noexcept
{
    static const auto real = reinterpret_cast<decltype(&::sigaction)>(::dlsym(RTLD_NEXT, "sigaction"));
    if (action != nullptr)
        installed = *action;
    return real(signal, action, previous);
}

namespace {

TEST_F(OSSignal, AsksThatSystemCallsBeInterrupted)
{
    OS_signal(SIGALRM, handler);

    EXPECT_EQ(installed.sa_flags, 0x20000000);
    EXPECT_EQ(installed.sa_handler, handler);
}

TEST_F(OSSignal, MasksNoOtherSignal)
{
    OS_signal(SIGALRM, handler);

    for (int signal = 1; signal < SIGRTMAX; ++signal)
        EXPECT_EQ(sigismember(&installed.sa_mask, signal), 0) << signal;
}

TEST_F(OSSignal, InstallsTheHandler)
{
    caught = 0;
    OS_signal(SIGALRM, handler);

    ::raise(SIGALRM);

    EXPECT_EQ(caught, SIGALRM);
}

TEST_F(OSSignal, ReturnsThePreviousHandler)
{
    OS_signal(SIGALRM, SIG_IGN);

    EXPECT_EQ(OS_signal(SIGALRM, handler), SIG_IGN);
    EXPECT_EQ(OS_signal(SIGALRM, SIG_DFL), handler);
    EXPECT_EQ(OS_signal(SIGALRM, SIG_DFL), SIG_DFL);
}

TEST_F(OSSignal, FailsForASignalThatCannotBeCaught)
{
    EXPECT_EQ(OS_signal(SIGKILL, handler), SIG_ERR);
    EXPECT_EQ(OS_getLastError(), EINVAL);
}

TEST_F(OSSignal, EndsABlockedCall)
{
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);
    OS_signal(SIGALRM, handler);
    const itimerval every5Milliseconds = {{0, 5000}, {0, 5000}}; // repeated: the first may come before the read
    const itimerval off = {};
    OS_setitimer(ITIMER_REAL, &every5Milliseconds, nullptr);

    char byte;
    EXPECT_EQ(OS_recv(fds[0], &byte, 1), -1);
    EXPECT_EQ(OS_getLastError(), EINTR);

    OS_setitimer(ITIMER_REAL, &off, nullptr);
    ::close(fds[0]);
    ::close(fds[1]);
}

} // namespace
