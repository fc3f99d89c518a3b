/// \file
/// A dispatcher for one test, and the wait for an event.
#pragma once

#include <kiv/dispatcher/itcDispatcher.h>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>

/// The tests of sessions run a dispatcher of their own, which is the singleton while the test runs.
class Loop : public testing::Test {
protected:
    Loop() { itcDispatcher::instance(&dispatcher); }
    ~Loop() override { itcDispatcher::instance(nullptr); }

    /// Runs cycles until `isTrue`. \return false if that takes longer than any machine needs.
    [[nodiscard]] bool runUntil(const std::function<bool()>& isTrue)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!isTrue()) {
            if (std::chrono::steady_clock::now() > end)
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

    itcDispatcher dispatcher;
};
