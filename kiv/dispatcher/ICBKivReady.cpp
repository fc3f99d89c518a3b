// A receiver registers itself in its constructor and deregisters itself in its destructor.
//
// Receivers may be created before the library's shared objects exist and may die after those objects are gone: a static
// receiver in a host or in a plug-in does both. Such a receiver stays unknown, and what is sent to it is dropped.
#include <kiv/dispatcher/ICBKivReady.h>

#include <kiv/dispatcher/detail/AsyncLock.h>
#include <kiv/dispatcher/itcDispatcher.h>

using namespace kiv;

ICBKivReady::ICBKivReady()
{
    if (asyncStateExists)
        itcDispatcher::instance()->registerICBKivReady(this);
}

// A copy is a receiver of its own.
ICBKivReady::ICBKivReady(const ICBKivReady&) : ICBKivReady() {}

ICBKivReady::~ICBKivReady()
{
    // The dispatcher may be gone before its receivers. instance() would create a new one here, and nobody would ever
    // delete that dispatcher.
    if (itcDispatcher::_instance != nullptr)
        itcDispatcher::_instance->deregisterICBKivReady(this);
    else
        itcDispatcher::forgetReceiver(this);
}
