// The handler of a signal notes the signal, and raises a descriptor that is linked. The rest happens in the dispatch
// cycle.
//
// A signal handler can reach static words only. One word per signal holds the descriptor of the object that watches the
// signal, a second word the object for which the signal has come: objects for one signal may be nested. Each object
// remembers what it has found, the word and the action, and its destructor puts both back.
#include <kiv/session/itcSignals.h>

#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/session/detail/EventDescriptor.h>
#include <kiv/session/detail/MakeShared.h>
#include <kiv/session/itcLink.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>
#include <utility>
#include <vector>

using namespace kiv;

namespace {

constexpr int signalCount = NSIG;

// What the handler reaches, by signal.
struct Slot {
    std::atomic<int> wakeDescriptor{-1};
    std::atomic<int> cameFor{-1}; ///< The signal has come for the object with this descriptor. -1: it has not come.

    /// \return true: the signal has come for this object. The next call returns false.
    bool take(int descriptor) { return cameFor.compare_exchange_strong(descriptor, -1); }
};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler must not wait for a lock");
Slot slots[signalCount];

// Handlers that run now, on any thread.
std::atomic<int> running{0};

extern "C" void noteSignal(int signal)
{
    running.fetch_add(1);
    const int descriptor = slots[signal].wakeDescriptor.load();
    slots[signal].cameFor.store(descriptor);
    if (descriptor >= 0)
        EventDescriptor::raise(descriptor);
    running.fetch_sub(1);
}

// One signal that is watched. The destructor puts back what was there before.
class Watch {
public:
    Watch(int number, int wakeDescriptor) : signal(number), descriptor(wakeDescriptor)
    {
        if (signal <= 0 || signal >= signalCount) {
            error = EINVAL;
            return;
        }
        slotBefore = slots[signal].wakeDescriptor.exchange(wakeDescriptor);
        struct sigaction action = {};
        action.sa_handler = noteSignal;
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        if (sigaction(signal, &action, &actionBefore) != 0) {
            error = errno;
            slots[signal].wakeDescriptor.store(slotBefore);
        }
    }
    ~Watch()
    {
        if (error != 0 || signal == 0)
            return;
        sigaction(signal, &actionBefore, nullptr);
        slots[signal].wakeDescriptor.store(slotBefore);
        while (running.load() != 0) // a handler on another thread may still use the descriptor
            std::this_thread::yield();
        if (slotBefore != descriptor)
            hasCome(); // a later object may get the number of this descriptor
    }
    Watch(Watch&& other) noexcept
        : signal(std::exchange(other.signal, 0)), descriptor(other.descriptor), error(other.error),
          slotBefore(other.slotBefore), actionBefore(other.actionBefore)
    {}
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    Watch& operator=(Watch&&) = delete;

    int number() const { return signal; }
    int failure() const { return error; }
    /// \return true: the signal has come since the latest call.
    bool hasCome() const { return slots[signal].take(descriptor); }

private:
    int signal;
    int descriptor; ///< Of the object that watches.
    int error = 0;
    int slotBefore = -1;
    struct sigaction actionBefore = {};
};

} // namespace

class itcSignals::Core : public itcIOHandler, public std::enable_shared_from_this<Core> {
public:
    Core(std::function<void(int)> toCall, itcDispatcher& dispatcher)
        : function(std::move(toCall)), link(event.number(), ReadMask, *this, dispatcher), status(link.status())
    {}

    void watch(std::initializer_list<int> signals)
    try {
        watches.reserve(signals.size());
        for (const int signal : signals) {
            watches.emplace_back(signal, event.number());
            if (watches.back().failure() != 0) {
                status = {Itc_Tp_Negative_Arg, Error, watches.back().failure()};
                end();
                return;
            }
        }
    } catch (const std::bad_alloc&) {
        status = {Itc_Tp_Malloc_Error, Error, ENOMEM};
    }

    int inputReady(itcConnection*, char*) override
    {
        const auto self = shared_from_this(); // the function may destroy the object
        event.lower();
        // By index: the function may end the watching.
        for (std::size_t i = 0; i < watches.size(); ++i) {
            if (watches[i].hasCome() && function)
                call(watches[i].number());
        }
        return 0;
    }
    void end()
    {
        link.unlink();
        while (!watches.empty())
            watches.pop_back(); // the latest first
    }

    // After an exception the signals behind this one are told in the next cycle.
    void call(int signal) const
    try {
        function(signal);
    } catch (...) {
        event.raise();
        throw;
    }

    const std::function<void(int)> function;
    const EventDescriptor event;
    itcLink link;
    std::vector<Watch> watches;
    itcStatus status;
};

itcSignals::itcSignals(std::initializer_list<int> signals, std::function<void(int)> function, itcDispatcher& dispatcher)
    : core(makeSharedOrNull<Core>(std::move(function), dispatcher))
{
    if (core == nullptr) {
        signalStatus = {Itc_Tp_Malloc_Error, Error, ENOMEM};
        return;
    }
    if (core->status.severity == Success)
        core->watch(signals);
    signalStatus = core->status;
}

itcSignals::~itcSignals()
{
    if (core != nullptr)
        core->end();
}

void itcSignals::ignorePipe() { static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); }
