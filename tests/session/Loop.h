/// \file
/// A dispatcher for one test, and the wait for an event.
#pragma once

#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/session/itcCheckedDispatcher.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

/// The tests of sessions run a dispatcher of their own, which is the singleton while the test runs.
///
/// With KIV_TEST_CHECKED in the environment it is the one that tells misuse. Every line that it prints is then a
/// failure, except in a test that misuses something by intent.
class Loop : public testing::Test {
protected:
    Loop() : made(makeDispatcher()), dispatcher(*made) { itcDispatcher::instance(&dispatcher); }
    ~Loop() override { itcDispatcher::instance(nullptr); }

    /// This test does what a host must not do.
    void misusesByIntent() { isMisuseMeant = true; }

    /// Runs cycles until `isTrue`. \return false if that takes longer than any machine needs.
    [[nodiscard]] bool runUntil(const std::function<bool()>& isTrue)
    {
        using Clock = std::chrono::system_clock; // a ManualClock does not stop it
        const auto end = Clock::now() + std::chrono::seconds(60);
        while (!isTrue()) {
            if (Clock::now() > end)
                return false;
            dispatcher.dispatch(0.05);
        }
        return true;
    }
    /// Runs cycles as long as one leads to another at once.
    void runCycles(int count = 5)
    {
        for (int i = 0; i < count; ++i)
            dispatcher.dispatch(0.0);
    }

private:
    std::unique_ptr<itcDispatcher> makeDispatcher()
    {
        if (std::getenv("KIV_TEST_CHECKED") == nullptr)
            return std::make_unique<itcDispatcher>();
        return std::make_unique<itcCheckedDispatcher>(
            [this](const std::string& line) { EXPECT_TRUE(isMisuseMeant) << "a false report: " << line; });
    }

    bool isMisuseMeant = false;
    const std::unique_ptr<itcDispatcher> made;

protected:
    itcDispatcher& dispatcher;
};
