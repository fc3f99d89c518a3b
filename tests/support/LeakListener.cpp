#include "LeakListener.h"

#include "OsFaults.h"

#include <kiv/connection/itcConnection.h>
#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/foundation/KivDebug.h>

#include <filesystem>
#include <iterator>

namespace {

// Looks at the singleton without creating it.
struct Singleton : itcDispatcher {
    static itcDispatcher* get() { return _instance; }
};

} // namespace

int openDescriptors()
{
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

void LeakListener::OnTestStart(const testing::TestInfo&)
{
    OsFaults::clearAll();
    descriptors = openDescriptors();
    connections = itcConnection::getConnectionCount();
    hooksInstalled = KivDebug::pKivDebugPrint != nullptr || KivDebug::pKivErrorPrint != nullptr;
}

void LeakListener::OnTestEnd(const testing::TestInfo&)
{
    OsFaults::clearAll();
    delete Singleton::get();
    itcDispatcher::instance(nullptr);

    EXPECT_EQ(openDescriptors(), descriptors) << "the test leaves descriptors open, or has closed somebody else's";
    EXPECT_EQ(itcConnection::getConnectionCount(), connections) << "the test leaves the connection count changed";
    EXPECT_EQ(KivDebug::pKivDebugPrint != nullptr || KivDebug::pKivErrorPrint != nullptr, hooksInstalled)
        << "the test leaves a hook installed";
}
