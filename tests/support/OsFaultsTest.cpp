// The faults and scripts of OsFaults.h: which calls fail, what is remembered, and what clearAll() clears.
#include "OsFaults.h"

#include <gmock/gmock.h>

#include <cerrno>

namespace {

using testing::ElementsAre;

/// True when a call of this function fails with 4711, an error number that no system call sets.
bool fails(int (*call)())
{
    constexpr int nobodysError = 4711;
    errno = 0;
    return call() == -1 && errno == nobodysError;
}

bool listenFails()
{
    return fails([] { return OS_listen(-1, 5); });
}

bool shutdownFails()
{
    return fails([] { return OS_shutdown(-1, OS_shutdown_both); });
}

TEST(OsFaults, LetTheNextCallsFail)
{
    OsFaults::listen().failNext(2, 4711);
    EXPECT_TRUE(listenFails());
    EXPECT_TRUE(listenFails());
    EXPECT_FALSE(listenFails());
}

TEST(OsFaults, LetOneCallOfAFunctionFail)
{
    OsFaults::listen().failCall(2, 4711);
    EXPECT_FALSE(listenFails());
    EXPECT_FALSE(shutdownFails());
    EXPECT_TRUE(listenFails());
    EXPECT_FALSE(listenFails());
}

TEST(OsFaults, LetOneCallOfAnyFunctionFail)
{
    OsFaults::failAnyCall(3, 4711);
    EXPECT_FALSE(listenFails());
    EXPECT_FALSE(shutdownFails());
    EXPECT_EQ(OsFaults::failedCall(), "");
    EXPECT_TRUE(shutdownFails());
    EXPECT_FALSE(shutdownFails());
    EXPECT_EQ(OsFaults::failedCall(), "shutdown");
}

TEST(OsFaults, NeverLetAFunctionFailThatHasNoResult)
{
    OsFaults::failAnyCall(1, 4711);
    OS_freeaddrinfo(nullptr);
    EXPECT_EQ(OsFaults::failedCall(), "");
    EXPECT_TRUE(listenFails());
}

TEST(OsFaults, RememberWhatWasAskedOfFailingCallsToo)
{
    OsFaults::listen().failNext(1, 4711);
    OS_listen(-1, 5);
    OS_listen(-1, 6);
    EXPECT_THAT(OsFaults::listen().askedArgument<1>(), ElementsAre(5, 6));
}

TEST(OsFaults, AreAllCleared)
{
    OsFaults::failAnyCall(1, 4711);
#define KIV_LEAVE_SCRIPT(result, name, failure, parameters, arguments) OsFaults::name().failNext(1, 4711);
    KIV_OS_FAULTS(KIV_LEAVE_SCRIPT)
#undef KIV_LEAVE_SCRIPT
    OsFaults::listen().instead = [](int, int) { return -2; };
    OsFaults::clearAll();
    EXPECT_FALSE(listenFails());
    EXPECT_FALSE(shutdownFails());
    EXPECT_EQ(OS_listen(-1, 5), -1);
    EXPECT_EQ(OsFaults::listen().calls(), 2);
    EXPECT_EQ(OsFaults::failedCall(), "");
}

} // namespace
