// A mailbox that threads fill and the dispatching thread empties.
//
// The mailbox is shared by the itcPost and all senders. It owns the descriptor that wakes the wait: a sender that
// outlives the itcPost must not write to a number that belongs to somebody else by now. The first function of a batch
// raises the descriptor; the functions behind it find the mailbox filled and save the system call.
#include <kiv/session/itcPost.h>

#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/session/detail/Callback.h>
#include <kiv/session/detail/EventDescriptor.h>
#include <kiv/session/detail/MakeShared.h>
#include <kiv/session/itcLink.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <deque>
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
        bool isFirst = false;
        try {
            const std::lock_guard lock(mutex);
            if (isClosed)
                return false;
            functions.push_back(std::move(function));
            isFirst = functions.size() == 1;
        } catch (const std::bad_alloc&) {
            return false;
        }
        if (isFirst)
            event.raise();
        return true;
    }
    /// \return the number of functions that wait. What is put from now on wakes again.
    std::size_t beginToTake()
    {
        event.lower();
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
        return first;
    }
    /// What still waits is taken in the next cycle.
    void endToTake()
    {
        const std::lock_guard lock(mutex);
        if (!functions.empty())
            event.raise();
    }
    void close()
    {
        std::deque<Function> unused; // destroyed without the lock: a destructor of the host may post
        const std::lock_guard lock(mutex);
        isClosed = true;
        unused.swap(functions);
    }

    const EventDescriptor event;
    std::atomic<bool> isWoken{false};

private:
    std::mutex mutex;
    std::deque<Function> functions;
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

    // The functions stay in the mailbox until they run: a cycle inside of a function goes on with the next one.
    int inputReady(itcConnection*, char*) override
    {
        const auto self = shared_from_this(); // a function may destroy the itcPost
        const Taking taking(*mailbox);
        if (mailbox->isWoken.exchange(false))
            onWake();
        for (std::size_t left = taking.count; left > 0 && !hasEnded; --left) {
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
    /// One round. Its end is told also when a function throws.
    struct Taking {
        explicit Taking(Sender::Mailbox& from) : mailbox(from), count(from.beginToTake()) {}
        ~Taking() { mailbox.endToTake(); }
        Taking(const Taking&) = delete;
        Taking& operator=(const Taking&) = delete;

        Sender::Mailbox& mailbox;
        const std::size_t count; ///< What waited at the beginning: what a function posts runs in the next cycle.
    };

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
    mailbox->isWoken.store(true);
    mailbox->event.raise();
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
