// Paths of local sockets that the library generates.
#include "BareSocket.h"
#include "StatusMatchers.h"

#include <kiv/address/itcUnixAddress.h>

#include <gmock/gmock.h>

#include <dlfcn.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace {

// While set, replaces the tmpnam() that the library calls.
std::function<char*(char*)> insteadOfTmpnam;

} // namespace

extern "C" char* tmpnam(char* buffer) noexcept
{
    if (insteadOfTmpnam)
        return insteadOfTmpnam(buffer);
    return reinterpret_cast<char* (*)(char*)>(::dlsym(RTLD_NEXT, "tmpnam"))(buffer);
}

namespace {

using testing::ElementsAre;
using testing::StartsWith;

struct Request {
    const char* name;
    const char* path;
    friend std::ostream& operator<<(std::ostream& out, const Request& request) { return out << request.name; }
};

class TemporaryPath : public testing::TestWithParam<Request> {
protected:
    ~TemporaryPath() override { insteadOfTmpnam = nullptr; }

    static std::string madePath()
    {
        const itcUnixAddress address(GetParam().path);
        return address.pathname() != nullptr ? address.pathname() : "";
    }
};

INSTANTIATE_TEST_SUITE_P(, TemporaryPath,
                         testing::Values(Request{"Null", nullptr}, Request{"Temp", itcUnixAddress::Temp}),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(TemporaryPath, LiesInTheSystemsFolderForTemporaryFiles)
{
    itcUnixAddress address;
    EXPECT_TRUE(address.set(GetParam().path));
    EXPECT_THAT(address.status, HasClearStatus());
    EXPECT_EQ(address.address.ss_family, AF_UNIX);
    EXPECT_THAT(address.pathname(), StartsWith(P_tmpdir "/"));
    EXPECT_GT(std::string(address.pathname()).size(), std::string(P_tmpdir "/").size());
}

TEST_P(TemporaryPath, IsNotTakenYet)
{
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(madePath())));
}

TEST_P(TemporaryPath, IsAnotherOneEachTime)
{
    std::set<std::string> paths;
    for (int i = 0; i < 100; ++i)
        paths.insert(madePath());
    EXPECT_EQ(paths.size(), 100u);
}

// The state of a process does not determine its next path. A child process begins as a copy and makes another path.
TEST_P(TemporaryPath, CannotBeForetold)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    BareSocket reading(ends[0]);
    BareSocket writing(ends[1]);
    const pid_t child = ::fork();
    if (child == 0) {
        const std::string path = madePath();
        ::_exit(::write(writing.get(), path.data(), path.size()) == static_cast<ssize_t>(path.size()) ? 0 : 1);
    }
    writing.close();
    const std::string ours = madePath();
    char theirs[256] = {};
    ASSERT_GT(::read(reading.get(), theirs, sizeof theirs - 1), 0);
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_NE(ours, theirs);
}

TEST_P(TemporaryPath, IsTheSystems)
{
    char name[] = "/tmp/made-up";
    std::vector<char*> buffers;
    insteadOfTmpnam = [&](char* buffer) {
        buffers.push_back(buffer);
        return name;
    };
    EXPECT_EQ(madePath(), name);
    EXPECT_THAT(buffers, ElementsAre(nullptr)) << "static storage";
}

TEST_P(TemporaryPath, ThatCannotBeMadeIsRefused)
{
    itcUnixAddress address("/run/some.socket");
    insteadOfTmpnam = [](char*) { return nullptr; };
    const bool made = address.set(GetParam().path);

    EXPECT_FALSE(made);
    EXPECT_THAT(address.status, HasStatus(Itc_Tp_Path_Too_Long, Error));
    EXPECT_EQ(address.pathname(), nullptr);
}

TEST(TemporaryPathMark, IsAnEmptyStringKnownByItsAddress)
{
    EXPECT_STREQ(itcUnixAddress::Temp, "");

    const std::string copy = itcUnixAddress::Temp;
    EXPECT_STREQ(itcUnixAddress(copy.c_str()).pathname(), "");
}

TEST(TemporaryPathMark, IsNotKnownThroughATemplate)
{
    itcUnixAddress address;
    EXPECT_TRUE(address.set_templ("%s", itcUnixAddress::Temp));
    EXPECT_STREQ(address.pathname(), "");
}

} // namespace
