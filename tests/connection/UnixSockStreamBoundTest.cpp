// The constructor of a local stream from an address: the socket is bound, has a file, and does not listen.
#include "SingleFailures.h"
#include "UnixStreamTest.h"

#include <optional>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class UnixSockStreamBound : public UnixStreamTest {};

TEST_F(UnixSockStreamBound, IsBoundAndCountedButDoesNotListen)
{
    const int counted = itcConnection::getConnectionCount();
    const OpenedUnixStream stream(address);

    EXPECT_EQ(stream.connState, itcConnection::ItcStateBound);
    EXPECT_EQ(stream.connType, itcConnection::ItcTypeUnspecified);
    EXPECT_EQ(stream.connOptions, itcConnection::ItcBlocking);
    EXPECT_STREQ(stream.boundPath, path.c_str());
    EXPECT_THAT(stream, HasClearStatus());
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    EXPECT_EQ(socketOption(stream.td, SOL_SOCKET, SO_ACCEPTCONN), 0);
    EXPECT_TRUE(isSocketFile(path));
}

TEST_F(UnixSockStreamBound, TakesItsStepsInOrder)
{
    const CallJournal journal;
    const OpenedUnixStream stream(address);
    EXPECT_THAT(journal.calls(), ElementsAre("socket(1, 1, 0)", "bind(110)"));
}

TEST_F(UnixSockStreamBound, KeepsAPathOfItsOwn)
{
    OpenedUnixStream stream(address);
    address.set("/elsewhere");
    EXPECT_STREQ(stream.boundPath, path.c_str());
}

TEST_F(UnixSockStreamBound, TakesALongestPath)
{
    const std::string longest = folder.pathOfLength(107);
    itcUnixAddress local(longest.c_str());
    const OpenedUnixStream stream(local);
    EXPECT_THAT(stream, HasClearStatus());
    EXPECT_TRUE(isSocketFile(longest));
}

TEST_F(UnixSockStreamBound, TakesAGeneratedPath)
{
    itcUnixAddress local(itcUnixAddress::Temp);
    const std::string generated = local.pathname();
    {
        const OpenedUnixStream stream(local);
        EXPECT_THAT(stream, HasClearStatus());
        EXPECT_TRUE(isSocketFile(generated));
    }
    EXPECT_FALSE(exists(generated));
}

TEST_F(UnixSockStreamBound, RemovesAStaleSocketFileFirst)
{
    leaveStaleSocketFile(path);
    ASSERT_TRUE(isSocketFile(path));
    const OpenedUnixStream stream(address);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateBound);
    EXPECT_THAT(stream, HasClearStatus());
}

TEST_F(UnixSockStreamBound, RemovesWhateverLiesAtItsPath)
{
    makeFile(path);
    const OpenedUnixStream stream(address);
    EXPECT_TRUE(isSocketFile(path));
}

TEST_F(UnixSockStreamBound, IsOpenToEverybodyWhateverTheUmask)
{
    const Umask mask(077);
    const OpenedUnixStream stream(address);
    EXPECT_EQ(modeOf(path), 0777u);
}

TEST_F(UnixSockStreamBound, StopsAtTheConnectionLimit)
{
    makeFile(path);
    const ConnectionLimit limit(0);
    const int counted = itcConnection::getConnectionCount();
    const OpenedUnixStream stream(address);

    EXPECT_EQ(stream.td, -1);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateClosed);
    EXPECT_EQ(stream.boundPath, nullptr);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Max_Connections_Reached, Error));
    EXPECT_EQ(OsFaults::socket().calls(), 0);
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
}

TEST_F(UnixSockStreamBound, MayBeTheLastConnectionBelowTheLimit)
{
    const ConnectionLimit limit(1);
    const OpenedUnixStream stream(address);
    EXPECT_THAT(stream, HasClearStatus());
}

TEST_F(UnixSockStreamBound, StopsWithoutASocket)
{
    makeFile(path);
    const int counted = itcConnection::getConnectionCount();
    OsFaults::socket().failNext(1, EMFILE);
    {
        const OpenedUnixStream stream(address);
        EXPECT_EQ(stream.td, -1);
        EXPECT_EQ(stream.boundPath, nullptr);
        EXPECT_THAT(stream, HasStatus(Itc_Tp_Socket_Call_Failed, Error, EMFILE));
        EXPECT_EQ(itcConnection::getConnectionCount(), counted);
    }
    EXPECT_TRUE(exists(path)) << "it never had a path";
}

TEST_F(UnixSockStreamBound, CannotHaveAPathInAMissingFolder)
{
    const int counted = itcConnection::getConnectionCount();
    itcUnixAddress local(folder.path("missing/socket").c_str());
    const OpenedUnixStream stream(local);

    EXPECT_EQ(stream.td, -1);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateClosed);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error, ENOENT));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
}

TEST_F(UnixSockStreamBound, RecordsTheErrorNumberFromAfterTheClose)
{
    OsFaults::bind().failNext(1, EADDRINUSE);
    OsFaults::closesocket().instead = closeLeavingEXDEV;
    const OpenedUnixStream stream(address);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error, EXDEV));
}

TEST_F(UnixSockStreamBound, CannotHaveAPathBelowAFile)
{
    makeFile(path);
    itcUnixAddress local((path + "/socket").c_str());
    const OpenedUnixStream stream(local);
    EXPECT_EQ(stream.td, -1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error, ENOTDIR));
}

TEST_F(UnixSockStreamBound, CannotHaveTheNameOfAFolder)
{
    itcUnixAddress local(folder.path("").c_str());
    const OpenedUnixStream stream(local);
    EXPECT_EQ(stream.td, -1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error, EADDRINUSE));
}

TEST_F(UnixSockStreamBound, CannotBeWithoutAPath)
{
    const int counted = itcConnection::getConnectionCount();
    itcUnixAddress none;
    const OpenedUnixStream stream(none);

    EXPECT_EQ(stream.td, -1);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateClosed);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
}

TEST_F(UnixSockStreamBound, CannotHaveARefusedPath)
{
    itcUnixAddress refused(folder.pathOfLength(10000).c_str());
    const OpenedUnixStream stream(refused);
    EXPECT_EQ(stream.td, -1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error));
}

TEST_F(UnixSockStreamBound, ReportsTheFailedBindEvenWhereTheCloseFailsToo)
{
    OsFaults::bind().failNext(1, EADDRINUSE);
    OsFaults::closesocket().failNext(1, EIO);
    const OpenedUnixStream stream(address);
    EXPECT_TRUE(isOpen(stream.td)) << "a failed close keeps the descriptor";
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Bind_Call_Failed, Error));
}

TEST_F(UnixSockStreamBound, PrintsNothingOfItsFailures)
{
    const HookRecorder hooks;
    OsFaults::socket().failNext(1, EMFILE);
    const OpenedUnixStream withoutSocket(address);
    OsFaults::bind().failNext(1, EADDRINUSE);
    const OpenedUnixStream withoutPath(address);
    {
        const ConnectionLimit limit(0);
        const OpenedUnixStream limited(address);
    }
    EXPECT_THAT(hooks.texts(), IsEmpty());
    EXPECT_THAT(hooks.errorReports(), IsEmpty());
}

TEST(UnixSockStreamConstruction, StartsWithoutASocket)
{
    const CallJournal journal;
    const OpenedUnixStream plain;
    EXPECT_EQ(plain.td, -1);
    EXPECT_EQ(plain.connOptions, itcConnection::ItcBlocking);
    EXPECT_EQ(plain.connType, itcConnection::ItcTypeUnspecified);
    EXPECT_EQ(plain.connState, itcConnection::ItcStateClosed);
    EXPECT_EQ(plain.boundPath, nullptr);
    EXPECT_THAT(plain, HasClearStatus());
    EXPECT_THAT(journal.calls(), IsEmpty());
}

TEST_F(UnixSockStreamBound, TellsWhicheverCallFailsAndServesOn)
{
    const std::vector<Consequence> consequences = {fails("socket", Itc_Tp_Socket_Call_Failed),
                                                   fails("bind", Itc_Tp_Bind_Call_Failed)};
    walkSingleFailures(consequences, [this](SingleFailure& failure) {
        std::optional<OpenedUnixStream> stream;
        failure.during([&] { stream.emplace(address); });
        failure.expectIn(*stream);
        EXPECT_EQ(isSocketFile(path), failure.isSurvived());
        char* const earlier = stream->boundPath;
        EXPECT_TRUE(stream->CreateEndpoint(address));
        if (stream->boundPath != earlier)
            delete[] earlier;
    });
}

} // namespace
