// The constructors of the base class: the fields after each, the order of the fields in memory, the numbers of the
// enumerations.
#include "StatusMatchers.h"
#include "StreamPair.h"

#include <kiv/connection/itcLocalConnection.h>
#include <kiv/connection/itcNetConnection.h>

#include <gtest/gtest.h>

namespace {

class OpenedLocal : public itcLocalConnection {
public:
    using itcLocalConnection::boundPath;
    using itcLocalConnection::itcLocalConnection;
    int OpenConnection(itcUnixAddress&, ICBKivReady*, void*) override { return 0; }
    bool CreateEndpoint(itcUnixAddress&) override { return false; }
};

constexpr auto otherOption = static_cast<itcConnection::ConnOptions>(7);

void expectNoTraffic(const OpenedConnection& connection)
{
    EXPECT_EQ(connection.readByteCount, 0u);
    EXPECT_EQ(connection.writeByteCount, 0u);
    EXPECT_EQ(connection.readCallCount, 0u);
    EXPECT_EQ(connection.writeCallCount, 0u);
}

void expectFields(const OpenedConnection& connection, int td, int options, int type, int state)
{
    EXPECT_EQ(connection.td, td);
    EXPECT_EQ(connection.connOptions, options);
    EXPECT_EQ(connection.connType, type);
    EXPECT_EQ(connection.connState, state);
    expectNoTraffic(connection);
}

/// Returns a descriptor for a connection to take over. Taking over does not count, but closing the descriptor lowers
/// the count. Therefore this function counts the connection.
int descriptorToHandIn()
{
    itcConnection::incConnCount();
    return ::dup(STDERR_FILENO);
}

TEST(ConnectionConstruction, StartsClosedWithoutADescriptor)
{
    const OpenedConnection connection;
    expectFields(connection, -1, 0, 0, 0);
    EXPECT_THAT(connection, HasClearStatus());
}

TEST(ConnectionConstruction, StoresAnOptionUnchangedWhereThereIsNoSocket)
{
    for (const auto option :
         {itcConnection::ItcBlocking, itcConnection::ItcNonBlocking, itcConnection::ItcStrictBlocking, otherOption}) {
        const OpenedConnection connection(option);
        expectFields(connection, -1, option, 0, 0);
        EXPECT_THAT(connection, HasClearStatus());
    }
}

TEST(ConnectionConstruction, IsConnectedByADescriptorAndAType)
{
    const int fd = descriptorToHandIn();
    const OpenedConnection connection(fd, itcConnection::ItcTypeEndpoint);
    expectFields(connection, fd, 0, 2, 1);
    EXPECT_THAT(connection, HasClearStatus());
}

TEST(ConnectionConstruction, IsClosedByANegativeDescriptorAndAType)
{
    const OpenedConnection connection(-7, itcConnection::ItcTypeConnection);
    expectFields(connection, -7, 0, 1, 0);
    EXPECT_THAT(connection, HasClearStatus());
}

TEST(ConnectionConstruction, AppliesTheOptionToTheDescriptor)
{
    StreamPair pair(itcConnection::ItcNonBlocking);
    expectFields(pair.near(), pair.near().td, 1, 0, 1);
    EXPECT_THAT(pair.near(), HasClearStatus());

    char byte;
    EXPECT_EQ(pair.near().Read(&byte, 1), -1);
    EXPECT_THAT(pair.near(), HasStatus(Itc_Tp_Would_Block, Warning, EAGAIN));
}

TEST(ConnectionConstruction, StoresAStrictOptionOfADescriptor)
{
    StreamPair pair(itcConnection::ItcStrictBlocking);
    EXPECT_EQ(pair.near().connOptions, itcConnection::ItcStrictBlocking);
}

TEST(ConnectionConstruction, ComplainsAboutANegativeDescriptorWithAnOption)
{
    const OpenedConnection connection(-1, itcConnection::ItcNonBlocking);
    expectFields(connection, -1, 0, 0, 0);
    EXPECT_THAT(connection, HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error));
}

TEST(ConnectionConstruction, BlocksWhereTheOptionCannotBeApplied)
{
    // The process has no descriptor 9999. The mode cannot be switched, and nothing has to be closed.
    OpenedConnection connection(9999, itcConnection::ItcNonBlocking);
    expectFields(connection, 9999, 0, 0, 1);
    EXPECT_THAT(connection, HasClearStatus());
    connection.td = -1;
}

TEST(ConnectionConstruction, DoesNotCountADescriptorThatIsHandedIn)
{
    const int counted = itcConnection::getConnectionCount();
    OpenedConnection byType(::dup(STDERR_FILENO), itcConnection::ItcTypeConnection);
    OpenedConnection byOption(::dup(STDERR_FILENO), itcConnection::ItcStrictBlocking);
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);

    itcConnection::incConnCount(); // for the two destructors
    itcConnection::incConnCount();
}

TEST(ConnectionConstruction, KeepsItsFieldsInTheirOrderBehindTheStatus)
{
    const OpenedConnection c;
    const auto offset = [&](const auto& field) {
        return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&c);
    };
    EXPECT_LT(offset(c.errorNumber), offset(c.td));
    EXPECT_EQ(offset(c.connOptions), offset(c.td) + 4);
    EXPECT_EQ(offset(c.connType), offset(c.td) + 8);
    EXPECT_EQ(offset(c.connState), offset(c.td) + 12);
    EXPECT_LT(offset(c.connState), offset(c.readByteCount));
    EXPECT_EQ(offset(c.writeByteCount), offset(c.readByteCount) + 8);
    EXPECT_EQ(offset(c.readCallCount), offset(c.readByteCount) + 16);
    EXPECT_EQ(offset(c.writeCallCount), offset(c.readByteCount) + 24);
}

TEST(ConnectionConstruction, AnInternetConnectionAddsNoField)
{
    EXPECT_EQ(sizeof(itcNetConnection), sizeof(itcConnection));
}

TEST(ConnectionConstruction, ALocalConnectionAddsThePathThatItHasNotBoundYet)
{
    const OpenedLocal connection;
    EXPECT_EQ(connection.boundPath, nullptr);
    EXPECT_GE(sizeof(itcLocalConnection), sizeof(itcConnection) + sizeof(char*));
}

TEST(ConnectionConstruction, ALocalConnectionFreesItsPath)
{
    // If the destructor does not free the path, the leak checker reports the path.
    OpenedLocal connection;
    connection.boundPath = new char[5]{"/tmp"};
    EXPECT_STREQ(connection.boundPath, "/tmp");
}

TEST(ConnectionConstruction, NeverCopies)
{
    EXPECT_FALSE(std::is_copy_constructible_v<itcConnection>);
    EXPECT_FALSE(std::is_copy_assignable_v<itcConnection>);
}

TEST(ConnectionConstruction, NamesItsNumbersAsTheyAre)
{
    EXPECT_EQ(itcConnection::ItcBlocking, 0);
    EXPECT_EQ(itcConnection::ItcNonBlocking, 1);
    EXPECT_EQ(itcConnection::ItcStrictBlocking, 2);
    EXPECT_EQ(itcConnection::ItcTypeUnspecified, 0);
    EXPECT_EQ(itcConnection::ItcTypeConnection, 1);
    EXPECT_EQ(itcConnection::ItcTypeEndpoint, 2);
    EXPECT_EQ(itcConnection::ItcStateClosed, 0);
    EXPECT_EQ(itcConnection::ItcStateConnected, 1);
    EXPECT_EQ(itcConnection::ItcStateBound, 3);
    EXPECT_EQ(itcConnection::ItcStateListening, 4);
    EXPECT_EQ(itcConnection::ItcStateConnectPending, 5);
    EXPECT_EQ(itcConnection::ItcStateShutdown, 6);
}

} // namespace
