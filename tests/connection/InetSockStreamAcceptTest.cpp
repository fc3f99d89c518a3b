// Accepting on TCP streams: what only TCP streams do. StreamAcceptTest.cpp tests what all streams do.
#include "LoopbackTest.h"
#include "ReadyRecorder.h"

#include <memory>

namespace {

using testing::ElementsAre;

class InetSockStreamAccept : public LoopbackTest {
protected:
    InetSockStreamAccept()
    {
        itcInetAddress address = local();
        listener.CreateEndpoint(address);
        OsFaults::clearAll();
    }

    BareSocket client() const { return connectedSocket(::addressOf(listener.td)); }

    OpenedStream listener;
    int mark = 0;
    ReadyRecorder ready;
};
INSTANTIATE_TEST_SUITE_P(Loopback, InetSockStreamAccept, testing::ValuesIn(loopbacks), loopbackName);

TEST_P(InetSockStreamAccept, HandsOutAFreshTcpStreamWithoutATimeout)
{
    const BareSocket peer = client();
    listener.setConnTimeout(500);
    itcConnection* out = nullptr;
    ASSERT_EQ(listener.AcceptConnection(&out, nullptr, nullptr), 1);
    const std::unique_ptr<itcConnection> accepted(out);
    auto* const stream = dynamic_cast<itcInetSockStream*>(out);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->*(&OpenedStream::connTimeout), 0u);
    EXPECT_EQ(stream->*(&OpenedStream::readCallCount), 0u);
    EXPECT_EQ(stream->*(&OpenedStream::writeCallCount), 0u);
}

TEST_P(InetSockStreamAccept, DoAcceptGivesABareCountedDescriptor)
{
    const BareSocket peer = client();
    const int counted = itcConnection::getConnectionCount();
    listener.connType = itcConnection::ItcTypeUnspecified;
    leaveMark(listener);
    const BareSocket accepted(listener.doAccept(&ready, &mark));

    EXPECT_TRUE(isOpen(accepted.get()));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted + 1);
    EXPECT_TRUE(ready.calls.empty()) << "a success is told by AcceptConnection()";
    EXPECT_EQ(listener.connType, itcConnection::ItcTypeUnspecified);
    EXPECT_THAT(listener, StillHasMark());
    itcConnection::decConnCount();
}

TEST_P(InetSockStreamAccept, DoAcceptTellsAFailure)
{
    OsFaults::accept().failNext(1, ECONNABORTED);
    EXPECT_EQ(listener.doAccept(&ready, &mark), -1);
    EXPECT_THAT(ready.calls, ElementsAre(ReadyRecorder::Call(-1, &mark)));
}

} // namespace
