// What the dispatcher's wait expects of the system's select().
#include "BareSocket.h"

#include <gtest/gtest.h>
#include <sys/select.h>

namespace {

struct Pipe {
    Pipe() { mustWork(::pipe(fd), "pipe"); }
    ~Pipe()
    {
        ::close(fd[0]);
        ::close(fd[1]);
    }
    int fd[2];
};

fd_set setOf(int fd)
{
    fd_set set;
    FD_ZERO(&set);
    FD_SET(fd, &set);
    return set;
}

TEST(Select, WritesBackTheTimeThatItDidNotSleep)
{
    const Pipe pipe;
    ASSERT_EQ(::write(pipe.fd[1], "x", 1), 1);
    fd_set readable = setOf(pipe.fd[0]);
    timeval hour = {3600, 0};

    EXPECT_EQ(::select(pipe.fd[0] + 1, &readable, nullptr, nullptr, &hour), 1);
    EXPECT_GT(hour.tv_sec, 3000);
    EXPECT_LE(hour.tv_sec, 3600);
}

TEST(Select, LeavesNoTimeWhenTheTimeIsUp)
{
    timeval moment = {0, 1000};
    EXPECT_EQ(::select(0, nullptr, nullptr, nullptr, &moment), 0);
    EXPECT_EQ(moment.tv_sec, 0);
    EXPECT_EQ(moment.tv_usec, 0);
}

TEST(Select, RefusesAClosedDescriptor)
{
    int closed = -1;
    {
        const Pipe pipe;
        closed = pipe.fd[0];
    }
    fd_set readable = setOf(closed);
    timeval none = {0, 0};

    EXPECT_EQ(::select(closed + 1, &readable, nullptr, nullptr, &none), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(Select, RefusesANegativeTime)
{
    timeval negative = {-1, 0};
    EXPECT_EQ(::select(0, nullptr, nullptr, nullptr, &negative), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(Select, ShowsTheEndOfAStreamAsReadable)
{
    Pipe pipe;
    ::close(pipe.fd[1]);
    pipe.fd[1] = -1;
    fd_set readable = setOf(pipe.fd[0]);

    EXPECT_EQ(::select(pipe.fd[0] + 1, &readable, nullptr, nullptr, nullptr), 1);
    EXPECT_TRUE(FD_ISSET(pipe.fd[0], &readable));
    char byte;
    EXPECT_EQ(::read(pipe.fd[0], &byte, 1), 0);
}

} // namespace
