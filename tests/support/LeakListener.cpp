// What the listener compares, and the messages of its failures.
#include "LeakListener.h"

#include "OsFaults.h"
#include "Receivers.h"
#include "SocketFiles.h"

#include <kiv/connection/itcConnection.h>
#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/foundation/KivDebug.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <iterator>
#include <tuple>

namespace {

// Reads the pointer to the singleton. Does not create a dispatcher.
struct Singleton : itcDispatcher {
    static itcDispatcher* get() { return _instance; }
};

// Every pointer that a host may set.
auto installedHooks()
{
    return std::make_tuple(KivDebug::pKivDebugPrint, KivDebug::pKivDebugCheck, KivDebug::pRegisterDbgFlag,
                           KivDebug::pKivErrorPrint, itcDispatcher::intReservedTextFP, itcDispatcher::startTimerFP,
                           itcDispatcher::incDispatchSleepTimeFP);
}

} // namespace

struct LeakListener::Belongings {
    int descriptors = openDescriptors();
    int connections = itcConnection::getConnectionCount();
    int receivers = registeredReceivers();
    decltype(installedHooks()) hooks = installedHooks();
};

LeakListener::LeakListener() = default;
LeakListener::~LeakListener() = default;

int openDescriptors()
{
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

void LeakListener::OnTestStart(const testing::TestInfo&)
{
    OsFaults::clearAll();
    watchSocketFiles();
    before = std::make_unique<Belongings>();
}

void LeakListener::OnTestEnd(const testing::TestInfo&)
{
    OsFaults::clearAll();
    delete Singleton::get();
    itcDispatcher::instance(nullptr);

    const Belongings after;
    EXPECT_EQ(after.descriptors, before->descriptors)
        << "the test leaves descriptors open, or has closed somebody else's";
    EXPECT_EQ(after.connections, before->connections) << "the test leaves the connection count changed";
    EXPECT_EQ(after.receivers, before->receivers) << "the test leaves a receiver registered";
    EXPECT_TRUE(after.hooks == before->hooks) << "the test leaves a hook installed";
    EXPECT_THAT(socketFilesLeft(), testing::IsEmpty()) << "the test leaves a socket file";
}
