// The operations of the base class that only some transports replace, and what they return.
#include "OsFaults.h"
#include "ReadyRecorder.h"
#include "SocketAddresses.h"
#include "StatusMatchers.h"
#include "StreamPair.h"

#include <kiv/address/itcInetAddress.h>

#include <gtest/gtest.h>

#include <climits>

namespace {

itcInetAddress someAddress() { return itcInetAddress(socketAddress("127.0.0.1", 4711)); }

TEST(ConnectionDefaults, ShowsItsOneDescriptorForEveryInterest)
{
    const StreamPair pair;
    const OpenedConnection& connection = const_cast<StreamPair&>(pair).near();
    EXPECT_EQ(connection.ReadDescriptor(), connection.td);
    EXPECT_EQ(connection.WriteDescriptor(), connection.td);
    EXPECT_EQ(connection.ExceptDescriptor(), connection.td);
    EXPECT_EQ(OpenedConnection().ReadDescriptor(), -1);
}

TEST(ConnectionDefaults, HasNothingToDoBeforeARead)
{
    StreamPair pair;
    leaveMark(pair.near());
    EXPECT_EQ(pair.near().InitRead(), 0);
    EXPECT_THAT(pair.near(), StillHasMark());
    EXPECT_EQ(OsFaults::recv().calls(), 0);
}

TEST(ConnectionDefaults, AcceptsNobody)
{
    StreamPair pair;
    ReadyRecorder ready;
    itcConnection* accepted = &pair.near();
    leaveMark(pair.near());
    EXPECT_EQ(pair.near().AcceptConnection(&accepted, &ready, nullptr), 0);

    EXPECT_EQ(accepted, &pair.near());
    EXPECT_TRUE(ready.calls.empty());
    EXPECT_EQ(OsFaults::accept().calls(), 0);
    EXPECT_THAT(pair.near(), StillHasMark());
    EXPECT_EQ(pair.near().AcceptConnection(nullptr, nullptr, nullptr), 0);
}

TEST(ConnectionDefaults, HasNoNamesAndLeavesTheAddressAlone)
{
    StreamPair pair;
    itcInetAddress address = someAddress();
    leaveMark(pair.near());

    EXPECT_EQ(pair.near().GetPeername(address), 0);
    EXPECT_EQ(pair.near().GetSockname(address), 0);
    EXPECT_EQ(address.port(), 4711);
    EXPECT_STREQ(address.numeric_hostname(), "127.0.0.1");
    EXPECT_THAT(pair.near(), StillHasMark());
}

TEST(ConnectionDefaults, HasEmptyNameTexts)
{
    const OpenedConnection connection;
    EXPECT_EQ(connection.GetPeername(), "");
    EXPECT_EQ(connection.GetSockname(), "");
}

TEST(ConnectionDefaults, ReportsThePendingErrorNumberAsTheResolversError)
{
    const OpenedConnection connection;
    errno = EHOSTUNREACH;
    EXPECT_EQ(connection.GetPeerNameResolutionErr(), EHOSTUNREACH);
    errno = ENETDOWN;
    EXPECT_EQ(connection.GetSockNameResolutionErr(), ENETDOWN);
}

TEST(ConnectionDefaults, HoldsNoBytes)
{
    StreamPair pair;
    pair.farSends("waits in the socket");
    EXPECT_EQ(pair.near().empty(), 0);
    EXPECT_EQ(pair.near().items(), 0);
    EXPECT_EQ(pair.near().bytes(), 0);
    EXPECT_EQ(pair.near().flush(), 0);
}

TEST(ConnectionDefaults, FlushesWhatItIsAskedTo)
{
    OpenedConnection connection;
    EXPECT_EQ(connection.flush(0u), 0);
    EXPECT_EQ(connection.flush(17u), 17);
    EXPECT_EQ(connection.flush(UINT_MAX), -1) << "the same 32 bits";
}

TEST(ConnectionDefaults, ResetDoesNothing)
{
    StreamPair pair;
    leaveMark(pair.near());
    pair.near().reset();
    EXPECT_THAT(pair.near(), StillHasMark());
    EXPECT_EQ(pair.near().connState, itcConnection::ItcStateConnected);
    EXPECT_EQ(pair.near().Write("x", 1), 1);
}

/// A host's own class of connections, which gives the names itself.
class NamedConnection : public itcConnection {
public:
    using itcConnection::GetPeername;
    using itcConnection::GetSockname;

    int GetPeername(itcInetAddress& address) override { return give("192.0.2.1", address); }
    int GetSockname(itcInetAddress& address) override { return give("192.0.2.2", address); }

    int result = 1;

private:
    int give(const char* text, itcInetAddress& address) const
    {
        address = itcInetAddress(socketAddress(text, 80));
        return result;
    }
};

class ConnectionNameTexts : public testing::Test {
protected:
    /// From now on the resolver gives `name` for every address, or finds no name if `name` is null. Numeric texts are
    /// always found.
    static void resolveTo(const char* name)
    {
        OsFaults::getnameinfo().instead = [name](const sockaddr* address, socklen_t length, char* host,
                                                 socklen_t hostLength, char*, socklen_t, int flags) {
            if (flags == NI_NUMERICHOST)
                return ::getnameinfo(address, length, host, hostLength, nullptr, 0, flags);
            if (name == nullptr)
                return EAI_NONAME;
            std::strcpy(host, name);
            return 0;
        };
    }

    NamedConnection connection;
};

TEST_F(ConnectionNameTexts, AreTheHostNamesWithoutThePort)
{
    resolveTo("peer.example");
    EXPECT_EQ(std::as_const(connection).GetPeername(), "peer.example");
    EXPECT_EQ(std::as_const(connection).GetSockname(), "peer.example");
}

TEST_F(ConnectionNameTexts, AreTheNumbersWhereThereIsNoName)
{
    resolveTo(nullptr);
    EXPECT_EQ(std::as_const(connection).GetPeername(), "192.0.2.1");
    EXPECT_EQ(std::as_const(connection).GetSockname(), "192.0.2.2");
}

TEST_F(ConnectionNameTexts, AreEmptyWhereTheAddressCouldNotBeHad)
{
    resolveTo("peer.example");
    for (const int failure : {0, -1}) {
        connection.result = failure;
        EXPECT_EQ(std::as_const(connection).GetPeername(), "");
        EXPECT_EQ(std::as_const(connection).GetSockname(), "");
    }
    EXPECT_EQ(OsFaults::getnameinfo().calls(), 0);
}

} // namespace
