// Accepting on local streams: what only local streams do. StreamAcceptTest.cpp tests what all streams do.
#include "UnixStreamTest.h"

#include <memory>

namespace {

class UnixSockStreamAccept : public ListeningUnixStreamTest {};

TEST_F(UnixSockStreamAccept, HandsOutALocalStreamWithoutAPathToRemove)
{
    const BareSocket peer = bareClient(path);
    const std::unique_ptr<itcConnection> accepted = accept();
    auto* const stream = dynamic_cast<itcUnixSockStream*>(accepted.get());
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->*(&OpenedUnixStream::boundPath), nullptr);
}

TEST_F(UnixSockStreamAccept, LeavesTheSocketFileWhenTheConnectionGoes)
{
    const BareSocket peer = bareClient(path);
    accept();
    EXPECT_TRUE(isSocketFile(path));
}

TEST_F(UnixSockStreamAccept, LeavesTheSocketFileToTheListenerAtTheConnectionLimit)
{
    const BareSocket peer = bareClient(path);
    BareSocket newcomer;
    OsFaults::accept().instead = [&](int fd, sockaddr* name, socklen_t* length) {
        newcomer = BareSocket(::accept(fd, name, length));
        return newcomer.get();
    };
    const ConnectionLimit limit(0);
    accept();
    EXPECT_EQ(listener.td, -1);
    EXPECT_TRUE(isSocketFile(path)) << "removed with the object only";
}

} // namespace
