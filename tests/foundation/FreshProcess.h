/// \file
/// Runs expectations in a process of their own. Some things happen only once in a process: a first call, an initial
/// value.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

/// Starts a process that runs only these expectations.
template <class Expectations> void expectInFreshProcess(Expectations expectations)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto runAndExit = [&] {
        expectations();
        const testing::TestResult& result = *testing::UnitTest::GetInstance()->current_test_info()->result();
        for (int i = 0; i < result.total_part_count(); ++i)
            std::fprintf(stderr, "%s\n", result.GetTestPartResult(i).message());
        std::_Exit(result.total_part_count());
    };
    EXPECT_EXIT(runAndExit(), testing::ExitedWithCode(0), "");
}
