/// \file
/// What the tests of values and records share: the bytes that several puts make, and a check that a value travels.
#pragma once

#include "../ndr/UbProbe.h"
#include "StatusMatchers.h"

#include <kiv/companion.h>

#include <string>

/// The bytes of values that are put one by one, without the label.
template <class... Values> std::string bytesOfPuts(const Values&... values)
{
    OpenSend b(64);
    static_cast<void>((b << ... << values));
    return b.values();
}

/// Expects two things, at every distance from a multiple of 8: `value` has the bytes of `parts` put one by one, and a
/// take gives the same value.
template <class T, class... Parts> void expectTravelsAs(const T& value, const Parts&... parts)
{
    for (unsigned int before = 0; before < 8; ++before) {
        OpenSend whole(64), oneByOne(64);
        std::memset(whole.writePos, 0xEE, 40); // the old bytes of the memory must not be sent
        whole.insert("pppppppp", static_cast<int>(before), false);
        oneByOne.insert("pppppppp", static_cast<int>(before), false);
        whole << value;
        static_cast<void>((oneByOne << ... << parts));
        EXPECT_THAT(whole, HasClearStatus());
        EXPECT_EQ(whole.data(), oneByOne.data()) << before << " bytes in front";
        expectSound(whole);

        OpenReceive r(whole.data() + "behind");
        r.skip(static_cast<int>(before));
        T back{};
        r >> back;
        EXPECT_THAT(r, HasClearStatus());
        EXPECT_EQ(back, value) << before << " bytes in front";
        EXPECT_EQ(static_cast<unsigned int>(r.position()), whole.raw_length());
        expectSound(r);
    }
}
