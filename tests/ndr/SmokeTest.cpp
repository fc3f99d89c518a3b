#include "HookRecorder.h"
#include "OsFaults.h"
#include "StatusMatchers.h"
#include "StreamPair.h"

#include <kiv/kiv.h>

#include <gtest/gtest.h>

TEST(Smoke, APacketTravels)
{
    HookRecorder hooks;
    StreamPair pair;
    itcNDRSend out;
    out << 1 << 2.5 << "abc" << short(3);
    StreamPair other;
    OsFaults::send().failNext(2, EAGAIN);
    EXPECT_EQ(other.near().Write("0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef", 64), 16);
    pair.near() << out;
    EXPECT_THAT(out, HasClearStatus());
    itcConnection c(dup(pair.far()), itcConnection::ItcStrictBlocking);
    itcConnection::incConnCount();
    itcNDRReceive in;
    c >> in;
    EXPECT_THAT(in, HasClearStatus());
    int i; double d; char t[10]; short s;
    in >> i >> d >> t >> s;
    EXPECT_THAT(in, HasClearStatus());
    EXPECT_EQ(i, 1); EXPECT_EQ(d, 2.5); EXPECT_STREQ(t, "abc"); EXPECT_EQ(s, 3);
}
