// When the socket file of a local stream is removed, and the places of the virtual operations in the table.
#include "UnixStreamTest.h"
#include "VirtualSlots.h"

#include <memory>
#include <type_traits>

namespace {

class UnixSockStreamFiles : public UnixStreamTest {};

TEST_F(UnixSockStreamFiles, GoWithTheObjectThatBoundThem)
{
    auto stream = std::make_unique<OpenedUnixStream>(address);
    EXPECT_TRUE(isSocketFile(path));
    stream.reset();
    EXPECT_FALSE(exists(path));
}

TEST_F(UnixSockStreamFiles, OutliveTheClose)
{
    OpenedUnixStream stream(address);
    stream.Close();
    EXPECT_TRUE(isSocketFile(path));
    EXPECT_STREQ(stream.boundPath, path.c_str());
}

TEST_F(UnixSockStreamFiles, AreRemovedByPathAndSoMayBeSomebodyElses)
{
    auto first = std::make_unique<OpenedUnixStream>();
    OpenedUnixStream second;
    first->CreateEndpoint(address);
    second.CreateEndpoint(address);
    first.reset();
    EXPECT_FALSE(exists(path)) << "the second listens on, but nobody finds it any more";
}

TEST_F(UnixSockStreamFiles, AreRemovedEvenWhereTheBindFailed)
{
    {
        OsFaults::bind().failNext(1, EADDRINUSE);
        const OpenedUnixStream stream(address);
        makeFile(path);
    }
    EXPECT_FALSE(exists(path));
}

TEST_F(UnixSockStreamFiles, StayWhereThePathIsTakenFromTheObject)
{
    {
        OpenedUnixStream stream(address);
        delete[] stream.boundPath;
        stream.boundPath = nullptr;
    }
    EXPECT_TRUE(isSocketFile(path));
    ::unlink(path.c_str());
}

TEST_F(UnixSockStreamFiles, AreRemovedBeforeTheDescriptorIsClosed)
{
    bool thereAtTheClose = true;
    OsFaults::closesocket().instead = [&](int fd) {
        thereAtTheClose = exists(path);
        return ::close(fd);
    };
    {
        const OpenedUnixStream stream(address);
    }
    EXPECT_FALSE(thereAtTheClose);
}

TEST(UnixSockStreamSlots, AppendNoneToThoseOfALocalConnection)
{
    using Stream = itcUnixSockStream;
    EXPECT_EQ(slotOf(&Stream::AcceptConnection), 10);
    EXPECT_EQ(slotOf<std::string (Stream::*)() const>(&Stream::GetPeername), 17);
    EXPECT_EQ(slotOf<std::string (Stream::*)() const>(&Stream::GetSockname), 18);
    EXPECT_EQ(slotOf(&Stream::OpenConnection), 25);
    EXPECT_EQ(slotOf(&Stream::CreateEndpoint), 26);
    EXPECT_EQ(slotOf(&Stream::OpenConn), -1);
    EXPECT_EQ(slotOf(&Stream::OpenConnNormal), -1);
    EXPECT_EQ(slotOf<int (Stream::*)(itcUnixAddress&)>(&Stream::GetPeername), -1);
    EXPECT_EQ(slotOf<int (Stream::*)(itcUnixAddress&)>(&Stream::GetSockname), -1);
    EXPECT_EQ(slotCount<Stream>(), 27);
}

TEST(UnixSockStreamSlots, AreThoseOfAClassWithoutFieldsOfItsOwn)
{
    EXPECT_EQ(sizeof(itcUnixSockStream), sizeof(itcLocalConnection));
    EXPECT_FALSE(std::is_abstract_v<itcUnixSockStream>);
    EXPECT_TRUE((std::is_base_of_v<itcLocalConnection, itcUnixSockStream>));
}

TEST(UnixSockStreamSlots, ShowEveryNameThroughTheStream)
{
    itcUnixSockStream stream;
    itcUnixAddress local;
    itcInetAddress inet(socketAddress("127.0.0.1"));
    EXPECT_EQ(stream.GetSockname(), "");
    EXPECT_EQ(stream.GetSockname(local), 0);
    EXPECT_EQ(stream.GetSockname(inet), 0);
    EXPECT_EQ(stream.GetPeername(), "");
    EXPECT_EQ(stream.GetPeername(local), 0);
    EXPECT_EQ(stream.GetPeername(inet), 0);
}

} // namespace
