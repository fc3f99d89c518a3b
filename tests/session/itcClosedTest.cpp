// Every reason has a text for a log.
#include "StatusMatchers.h"

#include <kiv/session/itcClosed.h>

#include <gmock/gmock.h>

#include <netdb.h>

#include <cerrno>
#include <set>
#include <string>

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(TheReasonOfAnEnd, IsTheHostsOwnAtFirst)
{
    const itcClosed why;
    EXPECT_EQ(why.reason, itcClosed::closedByUs);
    EXPECT_EQ(why.errorNumber, 0);
    EXPECT_THAT(why.status, HasClearStatus());
}

TEST(TheReasonOfAnEnd, KeepsItsNumber)
{
    EXPECT_EQ(static_cast<int>(itcClosed::closedByUs), 0);
    EXPECT_EQ(static_cast<int>(itcClosed::peerLeft), 1);
    EXPECT_EQ(static_cast<int>(itcClosed::peerLeftInsidePacket), 2);
    EXPECT_EQ(static_cast<int>(itcClosed::notOurProtocol), 3);
    EXPECT_EQ(static_cast<int>(itcClosed::tooLong), 4);
    EXPECT_EQ(static_cast<int>(itcClosed::badPacket), 5);
    EXPECT_EQ(static_cast<int>(itcClosed::silent), 6);
    EXPECT_EQ(static_cast<int>(itcClosed::tooSlow), 7);
    EXPECT_EQ(static_cast<int>(itcClosed::stuck), 8);
    EXPECT_EQ(static_cast<int>(itcClosed::connectionLimit), 9);
    EXPECT_EQ(static_cast<int>(itcClosed::unknownName), 10);
    EXPECT_EQ(static_cast<int>(itcClosed::systemError), 11);
    EXPECT_EQ(static_cast<int>(itcClosed::queueFull), 12);
}

TEST(TheReasonOfAnEnd, HasATextOfItsOwn)
{
    std::set<std::string> texts;
    for (int number = itcClosed::closedByUs; number <= itcClosed::queueFull; ++number) {
        const std::string text = itcClosed{static_cast<itcClosed::Reason>(number), 0, {}}.text();
        EXPECT_FALSE(text.empty()) << number;
        EXPECT_THAT(text, Not(HasSubstr("\n"))) << number;
        EXPECT_TRUE(texts.insert(text).second) << text;
    }
}

TEST(TheReasonOfAnEnd, HasATextOfTheNextVersionToo)
{
    EXPECT_EQ((itcClosed{static_cast<itcClosed::Reason>(13), 0, {}}.text()), "the connection has ended");
    EXPECT_EQ((itcClosed{static_cast<itcClosed::Reason>(-1), 0, {}}.text()), "the connection has ended");
}

TEST(TheReasonOfAnEnd, TellsTheNumberOfTheSystem)
{
    EXPECT_EQ((itcClosed{itcClosed::systemError, ECONNRESET, {}}.text()),
              "the connection has failed: [104] Connection reset by peer");
}

TEST(TheReasonOfAnEnd, TellsWhatTheResolverSays)
{
    const itcClosed why{itcClosed::unknownName, EAI_NONAME, {}};
    EXPECT_EQ(why.text(), std::string("the name is not known: ") + gai_strerror(EAI_NONAME));
}

TEST(TheReasonOfAnEnd, TellsWhatIsWrongWithAPacket)
{
    const itcStatus status{Itc_Ndr_End_Of_Data, Warning, 0};
    const itcClosed why{itcClosed::badPacket, 0, status};
    EXPECT_THAT(why.text(), StartsWith("a packet does not hold what was expected: "));
    EXPECT_THAT(why.text(), EndsWith(status.STATUS_text()));
}
