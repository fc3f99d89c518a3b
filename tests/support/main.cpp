// The main program of every test executable.
#include "LeakListener.h"

#include <gtest/gtest.h>

#include <csignal>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    std::signal(SIGPIPE, SIG_IGN); // as every host does
    testing::UnitTest::GetInstance()->listeners().Append(new LeakListener);
    return RUN_ALL_TESTS();
}
