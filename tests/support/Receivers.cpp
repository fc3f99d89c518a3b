// A file of its own: only here the tests' support needs Qt's headers.
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
