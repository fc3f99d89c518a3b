// CreateEndpoint() of local streams: what only local streams do. StreamEndpointTest.cpp tests what all streams do.
#include "UnixStreamTest.h"

namespace {

class UnixSockStreamEndpoint : public UnixStreamTest {};

TEST_F(UnixSockStreamEndpoint, HasAFileAndItsPath)
{
    OpenedUnixStream stream;
    EXPECT_TRUE(stream.CreateEndpoint(address));
    EXPECT_STREQ(stream.boundPath, path.c_str());
    EXPECT_TRUE(isSocketFile(path));
}

TEST_F(UnixSockStreamEndpoint, KeepsThePathThatTheConstructorHasBound)
{
    OpenedUnixStream stream(address);
    itcUnixAddress other(folder.path("other").c_str());
    EXPECT_TRUE(stream.CreateEndpoint(other));
    EXPECT_STREQ(stream.boundPath, path.c_str());
    EXPECT_FALSE(exists(other.pathname()));
}

TEST_F(UnixSockStreamEndpoint, KeepsItsFileWhenItListensAgain)
{
    OpenedUnixStream stream;
    ASSERT_TRUE(stream.CreateEndpoint(address));
    EXPECT_TRUE(stream.CreateEndpoint(address));
    EXPECT_TRUE(isSocketFile(path));
}

TEST_F(UnixSockStreamEndpoint, RemovesAStaleSocketFileFirst)
{
    leaveStaleSocketFile(path);
    OpenedUnixStream stream;
    EXPECT_TRUE(stream.CreateEndpoint(address));
}

TEST_F(UnixSockStreamEndpoint, IsOpenToEverybodyWhateverTheUmask)
{
    const Umask mask(077);
    OpenedUnixStream stream;
    stream.CreateEndpoint(address);
    EXPECT_EQ(modeOf(path), 0777u);
}

TEST_F(UnixSockStreamEndpoint, TakesThePathOverFromAnotherThatListens)
{
    OpenedUnixStream first;
    OpenedUnixStream second;
    ASSERT_TRUE(first.CreateEndpoint(address));
    EXPECT_TRUE(second.CreateEndpoint(address));

    const BareSocket client = bareClient(path);
    pollfd arrivals[] = {{first.td, POLLIN, 0}, {second.td, POLLIN, 0}};
    EXPECT_EQ(::poll(arrivals, 2, -1), 1);
    EXPECT_EQ(arrivals[0].revents, 0);
    EXPECT_EQ(arrivals[1].revents, POLLIN);
}

// A deriving host may still use the earlier copy of the path. Therefore the library does not free the earlier copy.
TEST_F(UnixSockStreamEndpoint, CopiesThePathAnewAfterAClose)
{
    OpenedUnixStream stream;
    ASSERT_TRUE(stream.CreateEndpoint(address));
    char* const earlier = stream.boundPath;
    ASSERT_TRUE(stream.Close());
    EXPECT_TRUE(stream.CreateEndpoint(address));
    EXPECT_NE(stream.boundPath, earlier);
    EXPECT_STREQ(earlier, path.c_str());
    delete[] earlier;
}

TEST_F(UnixSockStreamEndpoint, HasNoPathWithoutASocket)
{
    OsFaults::socket().failNext(1, ENFILE);
    OpenedUnixStream stream;
    EXPECT_FALSE(stream.CreateEndpoint(address));
    EXPECT_EQ(stream.boundPath, nullptr);
}

TEST_F(UnixSockStreamEndpoint, ClosesTheSocketOfAPathThatCannotBe)
{
    const int counted = itcConnection::getConnectionCount();
    itcUnixAddress missing(folder.path("missing/socket").c_str());
    UnixStreamWithOwnClose stream;
    EXPECT_FALSE(stream.CreateEndpoint(missing));
    EXPECT_EQ(stream.td, -1);
    EXPECT_EQ(stream.closes, 1) << "through the virtual table";
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error, ENOENT));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
}

TEST_F(UnixSockStreamEndpoint, RecordsTheErrorNumberFromAfterTheClose)
{
    OsFaults::closesocket().instead = closeLeavingEXDEV;
    OpenedUnixStream cannotBind;
    OsFaults::bind().failNext(1, EADDRINUSE);
    EXPECT_FALSE(cannotBind.CreateEndpoint(address));
    EXPECT_THAT(cannotBind, HasStatus(Itc_Tp_Bind_Call_Failed, Error, EXDEV));

    OpenedUnixStream cannotListen;
    OsFaults::listen().failNext(1, EOPNOTSUPP);
    EXPECT_FALSE(cannotListen.CreateEndpoint(address));
    EXPECT_THAT(cannotListen, HasStatus(Itc_Tp_Listen_Call_Failed, Error, EXDEV));
}

TEST_F(UnixSockStreamEndpoint, CannotBeWithoutAPath)
{
    itcUnixAddress none;
    OpenedUnixStream stream;
    EXPECT_FALSE(stream.CreateEndpoint(none));
    EXPECT_EQ(stream.td, -1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error));
}

} // namespace
