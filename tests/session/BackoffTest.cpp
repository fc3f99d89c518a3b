// The pauses double, end at the longest one, and lose a random part of up to a half.
#include <kiv/session/detail/Backoff.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

using kiv::Backoff;
using namespace std::chrono_literals;

namespace {

/// Expects a pause between a half and the whole.
void expectPauseOf(Backoff& backoff, Backoff::Duration whole)
{
    const Backoff::Duration pause = backoff.pause();
    EXPECT_LE(pause, whole);
    EXPECT_GE(2 * pause, whole);
}

} // namespace

TEST(TheBackoff, BeginsWithHalfASecond)
{
    Backoff backoff;
    expectPauseOf(backoff, 500ms);
}

TEST(TheBackoff, EndsAtThirtySeconds)
{
    Backoff backoff;
    EXPECT_EQ(backoff.longest(), 30s);
    for (Backoff::Duration whole = 500ms; whole < 30s; whole *= 2)
        expectPauseOf(backoff, whole);
    expectPauseOf(backoff, 30s);
    expectPauseOf(backoff, 30s);
}

TEST(TheBackoff, DoublesUpToTheLongestPause)
{
    Backoff backoff;
    backoff.setRange(100ms, 350ms);
    EXPECT_EQ(backoff.longest(), 350ms);
    for (const Backoff::Duration whole : {100ms, 200ms, 350ms, 350ms})
        expectPauseOf(backoff, whole);
}

TEST(TheBackoff, BeginsAgainAfterASuccess)
{
    Backoff backoff;
    backoff.setRange(100ms, 10s);
    for (int i = 0; i < 5; ++i)
        (void)backoff.pause();
    backoff.succeed();
    expectPauseOf(backoff, 100ms);
    expectPauseOf(backoff, 200ms);
}

TEST(TheBackoff, BeginsAgainWithANewRange)
{
    Backoff backoff;
    for (int i = 0; i < 5; ++i)
        (void)backoff.pause();
    backoff.setRange(100ms, 10s);
    expectPauseOf(backoff, 100ms);
}

TEST(TheBackoff, TakesPartsBetweenNothingAndAHalf)
{
    Backoff backoff;
    backoff.setRange(1000ms, 1000ms);
    Backoff::Duration least = 1h;
    Backoff::Duration most = 0ms;
    for (int i = 0; i < 10000; ++i) {
        const Backoff::Duration pause = backoff.pause();
        least = std::min(least, pause);
        most = std::max(most, pause);
    }
    EXPECT_GE(least, 500ms);
    EXPECT_LT(least, 600ms) << "the lower end is reached";
    EXPECT_LE(most, 1000ms);
    EXPECT_GT(most, 900ms) << "the upper end is reached";
}

TEST(TheBackoff, DiffersBetweenObjects)
{
    std::set<Backoff::Duration> firstPauses;
    for (int i = 0; i < 20; ++i) {
        Backoff backoff;
        backoff.setRange(24h, 24h);
        firstPauses.insert(backoff.pause());
    }
    EXPECT_GT(firstPauses.size(), 1U);
}

TEST(TheBackoff, NeverPausesForNothing)
{
    Backoff backoff;
    backoff.setRange(0ms, 0ms);
    EXPECT_EQ(backoff.pause(), 1ms);
    backoff.setRange(-5s, -1s);
    EXPECT_EQ(backoff.pause(), 1ms);
}

TEST(TheBackoff, NeverPausesForMoreThanADay)
{
    Backoff backoff;
    backoff.setRange(Backoff::Duration::max(), Backoff::Duration::max());
    EXPECT_EQ(backoff.longest(), 24h);
    expectPauseOf(backoff, 24h);
    expectPauseOf(backoff, 24h);
}

TEST(TheBackoff, TakesALongestPauseBelowTheFirstForTheFirst)
{
    Backoff backoff;
    backoff.setRange(200ms, 100ms);
    EXPECT_EQ(backoff.longest(), 200ms);
    expectPauseOf(backoff, 200ms);
    expectPauseOf(backoff, 200ms);
}
