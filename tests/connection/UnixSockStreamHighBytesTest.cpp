// Names of socket files may contain every byte that the file system accepts: all but zero and the slash.
#include "Characters.h"
#include "UnixStreamTest.h"

#include <memory>

namespace {

class UnixSockStreamHighBytes : public UnixStreamTest, public testing::WithParamInterface<std::string> {
protected:
    const std::string path = folder.path(GetParam());
    itcUnixAddress address{path.c_str()};
};

// The bytes from 0x80 to 0xFF are split into two names. One name with all of them would make the path too long.
INSTANTIATE_TEST_SUITE_P(Names, UnixSockStreamHighBytes,
                         testing::Values("\x80", "\xFF", "\xC3\xB6", "%\xE9", characters(0x80, 0xBF),
                                         characters(0xC0, 0xFF)));

TEST_P(UnixSockStreamHighBytes, NameASocketFileThatGoesWithItsEndpoint)
{
    {
        OpenedUnixStream listener;
        EXPECT_TRUE(listener.CreateEndpoint(address));
        EXPECT_TRUE(isSocketFile(path));
        EXPECT_EQ(modeOf(path), 0777u);
        EXPECT_EQ(listener.boundPath, path);
    }
    EXPECT_FALSE(exists(path));
}

TEST_P(UnixSockStreamHighBytes, NameBothEndsOfAConnection)
{
    OpenedUnixStream listener;
    ASSERT_TRUE(listener.CreateEndpoint(address));
    const std::string ownPath = path + '\xFE';
    itcUnixAddress ownAddress(ownPath.c_str());
    OpenedUnixStream client(ownAddress);
    ASSERT_EQ(client.OpenConn(address), 1);
    itcConnection* out = nullptr;
    ASSERT_EQ(listener.AcceptConnection(&out, nullptr, nullptr), 1);
    const std::unique_ptr<itcConnection> accepted(out);

    EXPECT_EQ(std::as_const(client).GetPeername(), path);
    EXPECT_EQ(std::as_const(client).GetSockname(), ownPath);
    EXPECT_EQ(std::as_const(*accepted).GetPeername(), ownPath);
    EXPECT_EQ(std::as_const(*accepted).GetSockname(), path);
    itcUnixAddress found;
    EXPECT_EQ(client.GetPeername(found), 1);
    EXPECT_EQ(found.pathname(), path);
}

TEST_P(UnixSockStreamHighBytes, CarryBytesAboveHalfTheirRange)
{
    OpenedUnixStream listener;
    ASSERT_TRUE(listener.CreateEndpoint(address));
    const BareSocket client = bareClient(path);
    itcConnection* out = nullptr;
    ASSERT_EQ(listener.AcceptConnection(&out, nullptr, nullptr), 1);
    const std::unique_ptr<itcConnection> accepted(out);

    ASSERT_EQ(accepted->Write(GetParam().data(), static_cast<int>(GetParam().size())),
              static_cast<int>(GetParam().size()));
    std::string received(GetParam().size(), '\0');
    EXPECT_EQ(::recv(client.get(), received.data(), received.size(), MSG_WAITALL),
              static_cast<ssize_t>(received.size()));
    EXPECT_EQ(received, GetParam());
}

} // namespace
