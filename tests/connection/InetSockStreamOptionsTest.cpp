// The options of TCP streams: no delay, lingering at the close, the cipher.
#include "LoopbackTest.h"

#include <netinet/tcp.h>

namespace {

using testing::ElementsAre;

class InetSockStreamOptions : public LoopbackTest {
protected:
    InetSockStreamOptions()
    {
        itcInetAddress remote = addressOf(listener);
        stream.OpenConnection(remote, nullptr, nullptr);
        leaveMark(stream);
    }

    /// Closes the stream and returns the result of the peer's read().
    ssize_t peerReadsAfterClose()
    {
        const BareSocket peer = acceptedSocket(listener);
        stream.Close();
        char byte;
        return ::read(peer.get(), &byte, 1);
    }

    const BareSocket listener = listeningSocket(GetParam().host);
    OpenedStream stream;
};
INSTANTIATE_TEST_SUITE_P(Loopback, InetSockStreamOptions, testing::ValuesIn(loopbacks), loopbackName);

TEST_P(InetSockStreamOptions, SendSmallPiecesAtOnce)
{
    EXPECT_TRUE(stream.setTcpNodelay(true));
    EXPECT_NE(socketOption(stream.td, IPPROTO_TCP, TCP_NODELAY), 0);
    EXPECT_TRUE(stream.setTcpNodelay(false));
    EXPECT_EQ(socketOption(stream.td, IPPROTO_TCP, TCP_NODELAY), 0);
    EXPECT_THAT(stream, StillHasMark());
}

TEST_P(InetSockStreamOptions, PassNodelayAsAnInt)
{
    const CallJournal journal;
    stream.setTcpNodelay(true);
    stream.setTcpNodelay(false);
    EXPECT_THAT(journal.calls(), ElementsAre("setsockopt(6, 1, 1)", "setsockopt(6, 1, 0)"));
}

TEST_P(InetSockStreamOptions, ReportARefusalOfNodelayByTheResultAlone)
{
    const HookRecorder hooks;
    OsFaults::setsockopt().failNext(1, ENOPROTOOPT);
    EXPECT_FALSE(stream.setTcpNodelay(true));
    EXPECT_THAT(stream, StillHasMark());
    EXPECT_EQ(hooks.checks(), 0);
}

TEST_P(InetSockStreamOptions, CarryNoCipher) { EXPECT_STREQ(stream.getCipherSuite(), "none"); }

TEST_P(InetSockStreamOptions, ResetTheConnectionWithoutLingering)
{
    EXPECT_TRUE(stream.setLingering(false));
    EXPECT_EQ(peerReadsAfterClose(), -1);
    EXPECT_EQ(errno, ECONNRESET);
}

TEST_P(InetSockStreamOptions, EndTheConnectionGracefullyWithLingering)
{
    EXPECT_TRUE(stream.setLingering(false));
    EXPECT_TRUE(stream.setLingering(true));
    EXPECT_EQ(peerReadsAfterClose(), 0);
}

TEST_P(InetSockStreamOptions, PassLingeringTheOtherWayRound)
{
    const CallJournal journal;
    stream.setLingering(false);
    stream.setLingering(true);
    EXPECT_THAT(journal.calls(), ElementsAre("setsockopt(1, 13, 1, 0)", "setsockopt(1, 13, 0, 0)"));
    EXPECT_THAT(OsFaults::setsockopt().askedArgument<4>(), testing::Contains(8u).Times(2));
    EXPECT_THAT(stream, StillHasMark());
}

TEST_P(InetSockStreamOptions, ReportARefusalOfLingeringByTheResultAlone)
{
    const HookRecorder hooks;
    OsFaults::setsockopt().failNext(1, ENOPROTOOPT);
    EXPECT_FALSE(stream.setLingering(false));
    EXPECT_THAT(stream, StillHasMark());
    EXPECT_EQ(hooks.checks(), 0);
}

TEST(InetSockStreamWithoutASocket, TakesNoOption)
{
    OpenedStream stream;
    EXPECT_FALSE(stream.setTcpNodelay(true));
    EXPECT_FALSE(stream.setLingering(false));
    EXPECT_THAT(OsFaults::setsockopt().askedArgument<0>(), ElementsAre(-1, -1)) << "the system says so";
    EXPECT_THAT(stream, HasClearStatus());
}

} // namespace
