/// \file
/// A conversation whose time only the test moves.
#pragma once

#include "Conversation.h"
#include "ManualClock.h"

#include <chrono>

struct StandingClock {
    ManualClock clock;
};

class TimedConversation : StandingClock, public Conversation { // the clock is there before the session
protected:
    void pass(std::chrono::nanoseconds time)
    {
        clock.advance(time);
        runCycles();
    }
    void expectEndNow(itcClosed::Reason reason)
    {
        ASSERT_EQ(ends.size(), 1u);
        expectEnd(reason);
    }
};
