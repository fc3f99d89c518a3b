// The framed write: a packet leaves in one write, or has failed.
#include "NdrProbe.h"
#include "StatusMatchers.h"
#include "StreamPair.h"

#include <netinet/in.h>

namespace {

TEST(NdrSendFrame, IsOneWriteOfHeaderAndData)
{
    StreamPair pair;
    OpenSend b;
    b << 1;
    EXPECT_EQ(&(pair.near() << b), &pair.near());

    ASSERT_EQ(OsFaults::send().calls(), 1);
    EXPECT_EQ(std::get<1>(OsFaults::send().asked()[0]), b.frameStart + 4) << "no copy is made";
    EXPECT_EQ(std::get<2>(OsFaults::send().asked()[0]), 16u);
    EXPECT_EQ(pair.farReceives(16), frame(b.data()));
}

TEST(NdrSendFrame, LeavesTheFirstFourBytesOfTheHeaderAreaAlone)
{
    StreamPair pair;
    OpenSend b(32);
    std::memset(b.frameStart, 0xEE, 12);
    pair.near() << b;
    EXPECT_EQ(std::string(b.frameStart, 12), bytes({0xEE, 0xEE, 0xEE, 0xEE}) + frameHeader(2));
}

TEST(NdrSendFrame, ClearsTheStatusAndKeepsThePacket)
{
    StreamPair pair;
    OpenSend b;
    b << 1;
    b.start_transaction();
    leaveMark(b);
    const auto before = b.fields();
    pair.near() << b;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.fields(), before);
}

TEST(NdrSendFrame, GoesOutOfACallersBufferToo)
{
    for (unsigned int offset = 0; offset < 8; ++offset) {
        alignas(8) char area[72];
        StreamPair pair;
        OpenSend b;
        b.init(area + offset, 64);
        b << 'x';
        pair.near() << b;
        EXPECT_EQ(pair.farReceives(11), frame(packet("x")));
    }
}

class NdrSendFrameFailure : public testing::Test {
protected:
    NdrSendFrameFailure()
    {
        b << 1;
        b.start_transaction();
    }
    void expectFailure(int errorNumber)
    {
        const unsigned int length = b.raw_length();
        const std::string data = b.data();
        pair.near() << b;
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Packet_Write_Failed, Error, errorNumber));
        EXPECT_EQ(b.raw_length(), length);
        EXPECT_EQ(b.data(), data);
        EXPECT_EQ(b.transactionOffset, 0u);
    }
    StreamPair pair{itcConnection::ItcNonBlocking};
    OpenSend b;
};

TEST_F(NdrSendFrameFailure, OfABrokenConnection)
{
    pair.closeFar();
    expectFailure(EPIPE);
    EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Write_Call_Failed, Error, EPIPE));
}

TEST_F(NdrSendFrameFailure, OfAConnectionWithoutADescriptor)
{
    itcConnection closed;
    errno = 77;
    closed << b;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Packet_Write_Failed, Error));
    EXPECT_EQ(b.transactionOffset, 0u);
}

TEST_F(NdrSendFrameFailure, OfAFullSocket)
{
    const std::string filler(65536, 'f');
    while (pair.near().Write(filler.data(), 65536) > 0) {
    }
    expectFailure(EAGAIN);
    EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Would_Block, Warning));
}

TEST_F(NdrSendFrameFailure, OfAShortWrite)
{
    OsFaults::send().instead = [](int, const void*, size_t size, int) -> ssize_t {
        errno = 77;
        return static_cast<ssize_t>(size) - 1;
    };
    expectFailure(77);
}

TEST_F(NdrSendFrameFailure, OfAWriteThatSendsNothing)
{
    OsFaults::send().instead = [](int, const void*, size_t, int) -> ssize_t {
        errno = 77;
        return 0;
    };
    expectFailure(77);
}

TEST_F(NdrSendFrameFailure, IsOverWithAResetAndTheNextPacket)
{
    OsFaults::send().failNext(1, ECONNRESET);
    expectFailure(ECONNRESET);
    b.reset();
    b << 'x';
    pair.near() << b;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(pair.farReceives(11), frame(packet("x")));
}

TEST(NdrSendFrame, WithoutStorageFailsAsAWrite)
{
    StreamPair pair;
    OpenSend b;
    pair.near() << b;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Packet_Write_Failed, Error));
    EXPECT_EQ(OsFaults::send().calls(), 0);
}

TEST(NdrSendFrame, GivenBackByAResetFailsAsAWrite)
{
    StreamPair pair;
    OpenSend b(0x100000 + 64);
    b.reset();
    ASSERT_EQ(b.storage, nullptr);
    pair.near() << b;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Packet_Write_Failed, Error));
    EXPECT_EQ(OsFaults::send().calls(), 0);
}

// One packet over each kind of stream, to the library's own receiver.
class NdrFrameOverStream : public testing::TestWithParam<int> {
protected:
    void SetUp() override
    {
        if (GetParam() == AF_UNIX)
            ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        else
            connectLoopback();
    }

private:
    void connectLoopback()
    {
        sockaddr_storage address{};
        socklen_t length = GetParam() == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
        address.ss_family = static_cast<sa_family_t>(GetParam());
        if (GetParam() == AF_INET)
            reinterpret_cast<sockaddr_in&>(address).sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        else
            reinterpret_cast<sockaddr_in6&>(address).sin6_addr = in6addr_loopback;
        const auto where = reinterpret_cast<sockaddr*>(&address);
        const int listener = ::socket(GetParam(), SOCK_STREAM, 0);
        ASSERT_EQ(::bind(listener, where, length), 0);
        ASSERT_EQ(::listen(listener, 1), 0);
        ASSERT_EQ(::getsockname(listener, where, &length), 0);
        ends[0] = ::socket(GetParam(), SOCK_STREAM, 0);
        ASSERT_EQ(::connect(ends[0], where, length), 0);
        ends[1] = ::accept(listener, nullptr, nullptr);
        ::close(listener);
    }

protected:
    int ends[2];
};

TEST_P(NdrFrameOverStream, ArrivesAsItWasSent)
{
    itcConnection near(ends[0], itcConnection::ItcBlocking);
    itcConnection far(ends[1], itcConnection::ItcStrictBlocking);
    itcConnection::incConnCount(); // the constructors do not count, but closing lowers the count
    itcConnection::incConnCount();

    itcNDRSend out;
    out << true << short(-2) << 3 << -4.5f << 5.25 << -6LL << "seven";
    out.put_opaque("eight", 5, true, true);
    near << out;
    ASSERT_THAT(out, HasClearStatus());

    itcNDRReceive in;
    far >> in;
    ASSERT_THAT(in, HasClearStatus());
    bool one;
    short two;
    int three;
    float four;
    double five;
    long long six;
    char seven[6];
    char area[5];
    void* eight = area;
    int length;
    in >> one >> two >> three >> four >> five >> six >> seven;
    in.get_opaque(eight, sizeof area, length);
    EXPECT_THAT(in, HasClearStatus());
    EXPECT_TRUE(one);
    EXPECT_EQ(two, -2);
    EXPECT_EQ(three, 3);
    EXPECT_EQ(four, -4.5f);
    EXPECT_EQ(five, 5.25);
    EXPECT_EQ(six, -6);
    EXPECT_STREQ(seven, "seven");
    EXPECT_EQ(std::string(area, 5), "eight");
}

INSTANTIATE_TEST_SUITE_P(Families, NdrFrameOverStream, testing::Values(AF_UNIX, AF_INET, AF_INET6));

} // namespace
