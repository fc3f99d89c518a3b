// The calls of the portability layer for descriptors of any kind, for files and for the host.
#include <kiv/foundation/OS.h>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <ostream>
#include <string>

namespace {

class OSDescriptor : public testing::Test {
protected:
    OSDescriptor() { EXPECT_EQ(::pipe(fds), 0); }
    ~OSDescriptor() override
    {
        for (const int fd : fds)
            ::close(fd);
    }

    int readEnd() const { return fds[0]; }
    int writeEnd() const { return fds[1]; }
    bool isNonBlocking() const { return (::fcntl(readEnd(), F_GETFL) & O_NONBLOCK) != 0; }

private:
    int fds[2] = {-1, -1};
};

class OSTemporaryFile : public testing::Test {
protected:
    OSTemporaryFile() : fd(::mkstemp(path.data())) {}
    ~OSTemporaryFile() override
    {
        ::close(fd);
        ::unlink(path.c_str());
    }

    int64_t size() const
    {
        struct stat info = {};
        EXPECT_EQ(::fstat(fd, &info), 0);
        return info.st_size;
    }

    std::string path = testing::TempDir() + "kivXXXXXX";
    const int fd;
};

constexpr int64_t beyond32Bits = 0x100000005;

using HostCall = int (*)(char*, size_t);

struct HostText {
    const char* name;
    HostCall ours;
    HostCall systems;
    friend std::ostream& operator<<(std::ostream& out, const HostText& parameter) { return out << parameter.name; }
};

class OSHost : public testing::TestWithParam<HostText> {};

// A pipe is no socket: recv() itself would refuse it.
TEST_F(OSDescriptor, RecvReadsWhateverCanBeRead)
{
    EXPECT_EQ(::write(writeEnd(), "abc", 3), 3);

    char buffer[8] = "";
    EXPECT_EQ(OS_recv(readEnd(), buffer, 2), 2);
    EXPECT_STREQ(buffer, "ab");
}

TEST_F(OSDescriptor, ClosesocketCloses)
{
    const int copy = ::dup(readEnd());

    EXPECT_EQ(OS_closesocket(copy), 0);

    EXPECT_EQ(::fcntl(copy, F_GETFD), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(OSDescriptor, SelectTakesAllThreeSets)
{
    EXPECT_EQ(::write(writeEnd(), "x", 1), 1);
    fd_set readable, writable, exceptional;
    FD_ZERO(&readable);
    FD_ZERO(&writable);
    FD_ZERO(&exceptional);
    FD_SET(readEnd(), &readable);
    FD_SET(writeEnd(), &writable);
    FD_SET(readEnd(), &exceptional);

    EXPECT_EQ(OS_select(std::max(readEnd(), writeEnd()) + 1, &readable, &writable, &exceptional, nullptr), 2);

    EXPECT_TRUE(FD_ISSET(readEnd(), &readable));
    EXPECT_TRUE(FD_ISSET(writeEnd(), &writable));
    EXPECT_FALSE(FD_ISSET(readEnd(), &exceptional));
}

TEST_F(OSDescriptor, SelectEndsWithItsTimeout)
{
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(readEnd(), &readable);
    timeval timeout = {0, 1000};

    EXPECT_EQ(OS_select(readEnd() + 1, &readable, nullptr, nullptr, &timeout), 0);

    EXPECT_FALSE(FD_ISSET(readEnd(), &readable));
}

TEST_F(OSDescriptor, SelectRefusesAClosedDescriptor)
{
    const int copy = ::dup(readEnd());
    ::close(copy);
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(copy, &readable);

    EXPECT_EQ(OS_select(copy + 1, &readable, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(OS_getLastError(), EBADF);
}

TEST_F(OSDescriptor, IoctlFillsItsArgument)
{
    EXPECT_EQ(::write(writeEnd(), "abc", 3), 3);

    int waiting = 0;
    EXPECT_EQ(OS_ioctl(readEnd(), FIONREAD, &waiting), 0);
    EXPECT_EQ(waiting, 3);
}

TEST_F(OSDescriptor, FcntlPassesItsThirdArgument)
{
    EXPECT_EQ(OS_fcntl(readEnd(), F_SETFL, O_NONBLOCK), 0);

    EXPECT_TRUE(isNonBlocking());
    EXPECT_EQ(OS_fcntl(readEnd(), F_GETFL, 0), ::fcntl(readEnd(), F_GETFL));
}

TEST_F(OSDescriptor, IsSwitchedToNonBlockingAndBack)
{
    EXPECT_EQ(OS_setNonBlocking(readEnd()), 1);
    EXPECT_TRUE(isNonBlocking());

    EXPECT_EQ(OS_setBlocking(readEnd()), 1);
    EXPECT_FALSE(isNonBlocking());
}

TEST_F(OSDescriptor, StaysAsItIsWhenSwitchedTwice)
{
    EXPECT_EQ(OS_setNonBlocking(readEnd()), 1);
    EXPECT_EQ(OS_setNonBlocking(readEnd()), 1);

    EXPECT_TRUE(isNonBlocking());
}

TEST_F(OSDescriptor, ThatIsClosedCannotBeSwitched)
{
    const int copy = ::dup(readEnd());
    ::close(copy);

    errno = 0;
    EXPECT_EQ(OS_setNonBlocking(copy), 0);
    EXPECT_EQ(errno, EBADF);
    errno = 0;
    EXPECT_EQ(OS_setBlocking(copy), 0);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(OSTemporaryFile, IsCutByDescriptorWithA64BitLength)
{
    EXPECT_EQ(OS_ftruncate(fd, beyond32Bits), 0);
    EXPECT_EQ(size(), beyond32Bits);
    EXPECT_EQ(OS_ftruncate(fd, 3), 0);
    EXPECT_EQ(size(), 3);
}

TEST_F(OSTemporaryFile, IsCutByPathWithA64BitLength)
{
    EXPECT_EQ(OS_truncate(path.c_str(), beyond32Bits), 0);
    EXPECT_EQ(size(), beyond32Bits);
    EXPECT_EQ(OS_truncate(path.c_str(), 3), 0);
    EXPECT_EQ(size(), 3);
}

TEST_F(OSTemporaryFile, CannotHaveANegativeLength)
{
    EXPECT_EQ(OS_ftruncate(fd, -1), -1);
    EXPECT_EQ(OS_getLastError(), EINVAL);
    EXPECT_EQ(OS_truncate(path.c_str(), -1), -1);
    EXPECT_EQ(OS_getLastError(), EINVAL);
}

TEST(OSTruncate, TellsThatThereIsNoSuchFile)
{
    EXPECT_EQ(OS_truncate("/no/such/file", 0), -1);
    EXPECT_EQ(OS_getLastError(), ENOENT);
}

TEST_P(OSHost, IsNamedAsTheSystemDoes)
{
    char name[256] = "";
    char expected[256] = "";

    EXPECT_EQ(GetParam().systems(expected, sizeof expected), 0);
    EXPECT_EQ(GetParam().ours(name, sizeof name), 0);

    EXPECT_STREQ(name, expected);
}

INSTANTIATE_TEST_SUITE_P(, OSHost,
                         testing::Values(HostText{"Host", OS_gethostname, ::gethostname},
                                         HostText{"Domain", OS_getdomainname, ::getdomainname}),
                         [](const auto& tested) { return tested.param.name; });

TEST(OSHostName, StaysWithinItsLength)
{
    char name[256];
    std::fill(std::begin(name), std::end(name), '#');

    OS_gethostname(name, 1);

    EXPECT_EQ(name[1], '#');
}

TEST(OSAvailablefds, IsTheProcesssLimitOfDescriptors) { EXPECT_EQ(OS_availablefds(), ::sysconf(_SC_OPEN_MAX)); }

} // namespace
