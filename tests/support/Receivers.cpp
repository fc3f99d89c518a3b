// Only this file of the tests' support needs Qt's headers. Therefore the function has a file of its own.
#include "Receivers.h"

#include <kiv/dispatcher/itcDispatcher.h>

#include <QRecursiveMutex>
#include <QSet>

namespace {

struct Registry : itcDispatcher {
    static int size()
    {
        asyncLock.lock();
        const auto count = static_cast<int>(registered.size());
        asyncLock.unlock();
        return count;
    }
};

} // namespace

int registeredReceivers() { return Registry::size(); }
