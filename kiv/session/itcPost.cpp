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
#include <iterator>
#include <mutex>
#include <utility>
#include <vector>

using namespace kiv;

namespace {

using Function = std::function<void()>;
using Functions = std::vector<Function>;

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
    Functions takeAll()
    {
        event.lower(); // before the functions are taken: what comes behind raises it again
        Functions taken;
        const std::lock_guard lock(mutex);
        taken.swap(functions);
        return taken;
    }
    /// The functions from `first` on run before what was posted meanwhile.
    void putBack(Functions& taken, Functions::iterator first)
    {
        const std::lock_guard lock(mutex);
        taken.erase(taken.begin(), first);
        taken.insert(taken.end(), std::make_move_iterator(functions.begin()), std::make_move_iterator(functions.end()));
        functions.swap(taken);
        event.raise();
    }
    void close()
    {
        Functions unused; // destroyed without the lock: a destructor of the host may post
        const std::lock_guard lock(mutex);
        isClosed = true;
        unused.swap(functions);
    }

    const EventDescriptor event;
    std::atomic<bool> isWoken{false};

private:
    std::mutex mutex;
    Functions functions;
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

    int inputReady(itcConnection*, char*) override
    {
        const auto self = shared_from_this(); // a function may destroy the itcPost
        Functions functions = mailbox->takeAll();
        if (mailbox->isWoken.exchange(false))
            call(onWake, functions, functions.begin());
        for (auto function = functions.begin(); function != functions.end() && !hasEnded; ++function)
            call(*function, functions, std::next(function));
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
    /// After an exception the functions from `rest` on run in the next cycle.
    template <class Called> void call(const Called& called, Functions& functions, Functions::iterator rest)
    try {
        called();
    } catch (...) {
        if (!hasEnded)
            mailbox->putBack(functions, rest);
        throw;
    }

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
