// A mailbox that threads fill and the dispatching thread empties.
//
// The mailbox is shared by the itcPost and all senders. It owns the descriptor that wakes the wait: a sender that
// outlives the itcPost must not write to a number that belongs to somebody else by now. The descriptor is raised as
// long as functions wait: a cycle inside of a function finds the rest of them.
#include <kiv/session/itcPost.h>

#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/session/detail/Callback.h>
#include <kiv/session/detail/EventDescriptor.h>
#include <kiv/session/detail/MakeShared.h>
#include <kiv/session/itcLink.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <list>
#include <mutex>
#include <utility>

using namespace kiv;

namespace {

using Function = std::function<void()>;

} // namespace

class itcPost::Sender::Mailbox {
public:
    bool put(Function&& function)
    {
        try {
            const std::lock_guard lock(mutex);
            if (isClosed)
                return false;
            functions.push_back(std::move(function));
            if (functions.size() == 1)
                event.raise();
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
    std::size_t count()
    {
        const std::lock_guard lock(mutex);
        return functions.size();
    }
    /// \return null if no function waits.
    Function takeFirst()
    {
        const std::lock_guard lock(mutex);
        if (functions.empty())
            return nullptr;
        Function first = std::move(functions.front());
        functions.pop_front();
        if (functions.empty())
            lower();
        return first;
    }
    void wake() noexcept
    {
        isWoken.store(true);
        event.raise();
    }
    /// Nothing was found: what has raised the descriptor was taken already.
    void settle()
    {
        const std::lock_guard lock(mutex);
        if (functions.empty())
            lower();
    }
    /// \return true once for all calls of wake() before.
    bool takeWake()
    {
        if (!isWoken.load())
            return false;
        const std::lock_guard lock(mutex);
        event.lower(); // first: a call of wake() behind it raises again
        if (!functions.empty())
            event.raise();
        return isWoken.exchange(false);
    }
    void close()
    {
        std::list<Function> unused; // destroyed without the lock: a destructor of the host may post
        const std::lock_guard lock(mutex);
        isClosed = true;
        unused.swap(functions);
    }

    const EventDescriptor event; ///< Raised while functions wait, and after a wake.

private:
    // A wake that comes meanwhile stays: it notes itself before it raises the descriptor.
    void lower()
    {
        event.lower();
        if (isWoken.load())
            event.raise();
    }

    std::atomic<bool> isWoken{false};
    std::mutex mutex;
    std::list<Function> functions; ///< A list: an empty one needs no memory.
    bool isClosed = false;
};

class itcPost::Core : public itcIOHandler, public std::enable_shared_from_this<Core> {
public:
    Core(std::shared_ptr<Sender::Mailbox> shared, itcDispatcher& dispatcher)
        : mailbox(std::move(shared)), link(mailbox->event.number(), ReadMask, *this, dispatcher)
    {}
    ~Core() override { mailbox->close(); }
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;

    // The functions stay in the mailbox until they run: a cycle inside of a function goes on with the next one. What a
    // function posts runs in the next cycle.
    int inputReady(itcConnection*, char*) override
    {
        const auto self = shared_from_this(); // a function may destroy the itcPost
        const bool isWoken = mailbox->takeWake();
        if (isWoken)
            onWake();
        const std::size_t count = mailbox->count();
        if (!isWoken && count == 0)
            mailbox->settle();
        for (std::size_t left = count; left > 0 && !hasEnded; --left) {
            if (const Function function = mailbox->takeFirst())
                function();
        }
        return 0;
    }
    void end()
    {
        hasEnded = true;
        link.unlink();
        mailbox->close();
    }

    const std::shared_ptr<Sender::Mailbox> mailbox;
    itcLink link;
    Callback<> onWake;

private:
    bool hasEnded = false;
};

itcPost::Sender::Sender(std::shared_ptr<Mailbox> sharedMailbox) : mailbox(std::move(sharedMailbox)) {}

bool itcPost::Sender::post(std::function<void()> function) const
{
    return function != nullptr && mailbox != nullptr && mailbox->put(std::move(function));
}

void itcPost::Sender::wake() const noexcept
{
    if (mailbox == nullptr)
        return;
    mailbox->wake();
}

itcPost::itcPost(itcDispatcher& dispatcher)
{
    if (auto mailbox = makeSharedOrNull<Sender::Mailbox>())
        core = makeSharedOrNull<Core>(std::move(mailbox), dispatcher);
    if (core == nullptr)
        postStatus = {Itc_Tp_Malloc_Error, Error, ENOMEM};
    else
        postStatus = core->link.status();
    if (postStatus.severity != Success && core != nullptr)
        core->end();
}

itcPost::~itcPost()
{
    if (core != nullptr)
        core->end();
}

itcPost::Sender itcPost::sender() const { return Sender(core != nullptr ? core->mailbox : nullptr); }

bool itcPost::post(std::function<void()> function) const { return sender().post(std::move(function)); }

void itcPost::onWake(std::function<void()> function)
{
    if (core != nullptr)
        core->onWake = std::move(function);
}
