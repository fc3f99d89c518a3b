// The main program of every test executable. It adds the leak listener to GoogleTest's listeners.
#include "LeakListener.h"

#include <gtest/gtest.h>

#include <csignal>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    std::signal(SIGPIPE, SIG_IGN); // every host does this, too
    testing::UnitTest::GetInstance()->listeners().Append(new LeakListener);
    return RUN_ALL_TESTS();
}
