// The virtual operations keep their places in the table. Hosts derive from the connections, and an old host may run
// with a new library. A pointer to a virtual member contains the number of its entry.
#include "VirtualSlots.h"

#include <kiv/connection/itcInetSockStream.h>
#include <kiv/connection/itcLocalConnection.h>

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using Connection = itcConnection;

TEST(ConnectionSlots, BeginWithTheDestructor)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<Connection>);
    EXPECT_EQ(slotOf(&Connection::ReadDescriptor), 2);
}

TEST(ConnectionSlots, KeepTheirOrder)
{
    EXPECT_EQ(slotOf(&Connection::ReadDescriptor), 2);
    EXPECT_EQ(slotOf(&Connection::WriteDescriptor), 3);
    EXPECT_EQ(slotOf(&Connection::ExceptDescriptor), 4);
    EXPECT_EQ(slotOf(&Connection::Pending), 5);
    EXPECT_EQ(slotOf(&Connection::InitRead), 6);
    EXPECT_EQ(slotOf(&Connection::Read), 7);
    EXPECT_EQ(slotOf(&Connection::Write), 8);
    EXPECT_EQ(slotOf(&Connection::SetOption), 9);
    EXPECT_EQ(slotOf(&Connection::AcceptConnection), 10);
    EXPECT_EQ(slotOf(&Connection::Close), 11);
    EXPECT_EQ(slotOf(&Connection::Shutdown), 12);
    EXPECT_EQ(slotOf<int (Connection::*)(itcInetAddress&)>(&Connection::GetPeername), 13);
    EXPECT_EQ(slotOf<int (Connection::*)(itcInetAddress&)>(&Connection::GetSockname), 14);
    EXPECT_EQ(slotOf(&Connection::GetPeerNameResolutionErr), 15);
    EXPECT_EQ(slotOf(&Connection::GetSockNameResolutionErr), 16);
    EXPECT_EQ(slotOf<std::string (Connection::*)() const>(&Connection::GetPeername), 17);
    EXPECT_EQ(slotOf<std::string (Connection::*)() const>(&Connection::GetSockname), 18);
    EXPECT_EQ(slotOf<int (Connection::*)()>(&Connection::flush), 19);
    EXPECT_EQ(slotOf<int (Connection::*)(unsigned int)>(&Connection::flush), 20);
    EXPECT_EQ(slotOf(&Connection::reset), 21);
    EXPECT_EQ(slotOf(&Connection::empty), 22);
    EXPECT_EQ(slotOf(&Connection::items), 23);
    EXPECT_EQ(slotOf(&Connection::bytes), 24);
    EXPECT_EQ(slotCount<Connection>(), 25);
}

TEST(ConnectionSlots, InternetConnectionsAppendFour)
{
    EXPECT_EQ(slotOf(&itcNetConnection::OpenConnection), 25);
    EXPECT_EQ(slotOf(&itcNetConnection::CreateEndpoint), 26);
    EXPECT_EQ(slotOf(&itcNetConnection::setTcpNodelay), 27);
    EXPECT_EQ(slotOf(&itcNetConnection::getCipherSuite), 28);
    EXPECT_EQ(slotCount<itcNetConnection>(), 29);
}

TEST(ConnectionSlots, LocalConnectionsAppendTwo)
{
    EXPECT_EQ(slotOf(&itcLocalConnection::OpenConnection), 25);
    EXPECT_EQ(slotOf(&itcLocalConnection::CreateEndpoint), 26);
    EXPECT_EQ(slotCount<itcLocalConnection>(), 27);
}

TEST(ConnectionSlots, TcpStreamsAppendNone)
{
    EXPECT_EQ(slotOf(&itcInetSockStream::AcceptConnection), 10);
    EXPECT_EQ(slotOf<int (itcInetSockStream::*)(itcInetAddress&)>(&itcInetSockStream::GetPeername), 13);
    EXPECT_EQ(slotOf<int (itcInetSockStream::*)(itcInetAddress&)>(&itcInetSockStream::GetSockname), 14);
    EXPECT_EQ(slotOf(&itcInetSockStream::OpenConnection), 25);
    EXPECT_EQ(slotOf(&itcInetSockStream::CreateEndpoint), 26);
    EXPECT_EQ(slotOf(&itcInetSockStream::setConnTimeout), -1);
    EXPECT_EQ(slotOf(&itcInetSockStream::setLingering), -1);
    EXPECT_EQ(slotOf(&itcInetSockStream::OpenConnNormal), -1);
    EXPECT_EQ(slotOf(&itcInetSockStream::OpenConn), -1);
    EXPECT_EQ(slotOf(&itcInetSockStream::doAccept), -1);
    EXPECT_EQ(slotCount<itcInetSockStream>(), 29);
}

TEST(ConnectionSlots, TheBasesOfTransportsAreAbstract)
{
    EXPECT_FALSE(std::is_abstract_v<itcConnection>);
    EXPECT_TRUE(std::is_abstract_v<itcNetConnection>);
    EXPECT_TRUE(std::is_abstract_v<itcLocalConnection>);
    EXPECT_FALSE(std::is_abstract_v<itcInetSockStream>);
}

TEST(ConnectionSlots, EveryConnectionIsAStatus)
{
    EXPECT_TRUE((std::is_base_of_v<itcStatus, itcConnection>));
    EXPECT_TRUE((std::is_convertible_v<itcInetSockStream*, itcStatus*>));
}

TEST(ConnectionSlots, TheTextFormsShowThroughTheStream)
{
    const itcInetSockStream stream;
    EXPECT_EQ(stream.GetPeername(), "");
    EXPECT_EQ(stream.GetSockname(), "");
}

} // namespace
