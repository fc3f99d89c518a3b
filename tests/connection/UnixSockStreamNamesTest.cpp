// How the names of local streams are shown. StreamNamesTest.cpp tests what all streams do.
#include "UnixStreamTest.h"

#include <memory>

namespace {

struct UnixName {
    const char* operation;
    int (itcUnixSockStream::*get)(itcUnixAddress&);
    std::string (itcUnixSockStream::*text)() const;
    OsCall<int(int, sockaddr*, socklen_t*)>& (*call)();
    ItcStatusCode failure;
};

const UnixName unixNames[] = {
    {"GetPeername", &itcUnixSockStream::GetPeername, &itcUnixSockStream::GetPeername, OsFaults::getpeername,
     Itc_Tp_Getpeername_Call_Failed},
    {"GetSockname", &itcUnixSockStream::GetSockname, &itcUnixSockStream::GetSockname, OsFaults::getsockname,
     Itc_Tp_Getsockname_Call_Failed},
};

void PrintTo(const UnixName& name, std::ostream* out) { *out << name.operation; }

/// A stream bound to one path, connected to a listener that is bound to another.
class UnixSockStreamNames : public UnixStreamTest, public testing::WithParamInterface<UnixName> {
protected:
    UnixSockStreamNames()
    {
        listener.CreateEndpoint(address);
        stream.OpenConn(address);
        OsFaults::clearAll();
    }

    int get(OpenedUnixStream& from) { return (from.*GetParam().get)(found); }
    static std::string text(const OpenedUnixStream& of) { return (of.*GetParam().text)(); }

    std::string expected() const { return GetParam().failure == Itc_Tp_Getpeername_Call_Failed ? path : ownPath; }

    OpenedUnixStream listener;
    const std::string ownPath = folder.path("client");
    itcUnixAddress ownAddress{ownPath.c_str()};
    OpenedUnixStream stream{ownAddress};
    itcUnixAddress found{"/before"};
};
INSTANTIATE_TEST_SUITE_P(, UnixSockStreamNames, testing::ValuesIn(unixNames),
                         [](const auto& tested) { return tested.param.operation; });

TEST_P(UnixSockStreamNames, FillTheAddress)
{
    leaveMark(found.status);
    EXPECT_EQ(get(stream), 1);
    EXPECT_STREQ(found.pathname(), expected().c_str());
    EXPECT_THAT(found.status, HasClearStatus());
}

TEST_P(UnixSockStreamNames, AreTextsToo) { EXPECT_EQ(text(stream), expected()); }

TEST_P(UnixSockStreamNames, AreEmptyPathsWhereTheSystemLeavesNothing)
{
    GetParam().call().instead = [](int, sockaddr*, socklen_t*) { return 0; };
    EXPECT_EQ(get(stream), 1);
    EXPECT_STREQ(found.pathname(), "");
}

TEST_P(UnixSockStreamNames, LeaveTheAddressAloneWhenTheSystemRefuses)
{
    GetParam().call().failNext(1, ENOBUFS);
    EXPECT_EQ(get(stream), 0);
    EXPECT_STREQ(found.pathname(), "/before");
}

// The path fills all 108 characters of the address and has no terminator. An itcUnixAddress takes at most 107
// characters.
TEST_P(UnixSockStreamNames, OfAPathWithoutATerminatorAreTooLongForTheAddress)
{
    const BareSocket unterminated = bareBound(folder.pathOfLength(108));
    const auto itsName = [&](int, sockaddr* name, socklen_t* length) {
        return ::getsockname(unterminated.get(), name, length);
    };
    GetParam().call().instead = itsName;
    EXPECT_EQ(get(stream), 1);
    EXPECT_THAT(stream, HasClearStatus());
    EXPECT_THAT(found.status, HasStatus(Itc_Tp_Path_Too_Long, Error));
    EXPECT_EQ(text(stream), "");
}

TEST_P(UnixSockStreamNames, LeaveAnInternetAddressAlone)
{
    using InetName = int (itcConnection::*)(itcInetAddress&);
    const bool peer = GetParam().failure == Itc_Tp_Getpeername_Call_Failed;
    const InetName name = peer ? InetName(&itcConnection::GetPeername) : InetName(&itcConnection::GetSockname);
    itcInetAddress inet(socketAddress("192.0.2.1", 4711));
    leaveMark(stream);
    EXPECT_EQ((stream.*name)(inet), 0);
    EXPECT_EQ(inet.port(), 4711);
    EXPECT_THAT(stream, StillHasMark());
}

class UnixSockStreamPeername : public ListeningUnixStreamTest {};

TEST_F(UnixSockStreamPeername, OfAClientThatHasBoundNoneIsEmpty)
{
    const BareSocket client = bareClient(path);
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(std::as_const(*accepted).GetPeername(), "");
    EXPECT_THAT(*accepted, HasClearStatus());
}

TEST_F(UnixSockStreamPeername, OfAClientThatFillsTheWholeNameIsTooLong)
{
    const BareSocket client = bareBound(folder.pathOfLength(108));
    bareConnect(client, path);
    const std::unique_ptr<itcConnection> accepted = accept();
    itcUnixAddress peer;
    EXPECT_EQ(static_cast<itcUnixSockStream&>(*accepted).GetPeername(peer), 1);
    EXPECT_THAT(peer.status, HasStatus(Itc_Tp_Path_Too_Long, Error));
    EXPECT_EQ(std::as_const(*accepted).GetPeername(), "");
}

TEST_F(UnixSockStreamPeername, OfAClientWithAPathIsThat)
{
    const BareSocket client = bareBound(folder.pathOfLength(107));
    bareConnect(client, path);
    const std::unique_ptr<itcConnection> accepted = accept();
    EXPECT_EQ(std::as_const(*accepted).GetPeername(), folder.pathOfLength(107));
    EXPECT_EQ(std::as_const(*accepted).GetSockname(), path);
}

} // namespace
