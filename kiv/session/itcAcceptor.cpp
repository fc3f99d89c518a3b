// Accepts until nobody waits, and knows when to leave the listener alone.
//
// The listener is linked, or it is not, for one of these reasons:
//   - the acceptor has as many sessions as it may have; the end of a session links it again;
//   - the process has as many connections as it may have, or an accept has failed; a timer links it again, or the end
//     of a session;
//   - the rate is used up; a timer links it again.
// resume() links it. The next accept looks at all of these reasons anew.
#include <kiv/session/itcAcceptor.h>

#include <kiv/connection/itcInetSockStream.h>
#include <kiv/connection/itcUnixSockStream.h>
#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/foundation/OS.h>
#include <kiv/session/detail/Callback.h>
#include <kiv/session/detail/LockFile.h>
#include <kiv/session/detail/MakeShared.h>
#include <kiv/session/detail/SessionCore.h>
#include <kiv/session/itcLink.h>
#include <kiv/session/itcTimer.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <iterator>
#include <list>
#include <new>
#include <utility>
#include <vector>

using namespace kiv;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int usualBacklog = 1024;
constexpr int mostAcceptsPerCall = 64; // a storm of clients must not keep the sessions waiting
constexpr auto restTime = std::chrono::milliseconds(200);
constexpr auto rateWindow = std::chrono::seconds(1);

// The client has gone before it was accepted, or the network has failed for this one alone.
bool concernsOneClient(int error)
{
    return error == ECONNABORTED || error == EPROTO || error == ENETDOWN || error == EHOSTUNREACH ||
           error == ENETUNREACH || error == EPERM;
}

// Something lies at the path that is no socket.
bool isOtherFile(const char* path)
{
    struct stat file = {};
    return lstat(path, &file) == 0 && !S_ISSOCK(file.st_mode);
}

} // namespace

class itcAcceptor::Core : public itcIOHandler, public std::enable_shared_from_this<Core> {
public:
    Core(Serve toServe, TakeOver toTakeOver, itcDispatcher& loop)
        : serve(std::move(toServe)), takeOver(std::move(toTakeOver)), dispatcher(loop),
          timer([this] { resume(); }, loop)
    {}

    void listenAt(const itcInetAddress& local)
    {
        itcInetAddress address = local;
        auto* const stream = new (std::nothrow) itcInetSockStream;
        listener.reset(stream);
        if (address.status.severity != Success)
            fail(address.status);
        else if (stream == nullptr)
            fail({Itc_Tp_Malloc_Error, Error, ENOMEM});
        else if (stream->CreateEndpoint(address) != 1)
            fail(*stream);
        else
            start();
    }
    void listenAt(const itcUnixAddress& local)
    try {
        itcUnixAddress address = local;
        if (address.status.severity != Success) {
            fail(address.status);
            return;
        }
        if (const int error = lock.lock(std::string(address.pathname()) + ".lock")) {
            fail({Itc_Tp_Bind_Call_Failed, Error, error});
            return;
        }
        if (isOtherFile(address.pathname())) { // the endpoint would remove it
            fail({Itc_Tp_Bind_Call_Failed, Error, EEXIST});
            return;
        }
        auto stream = std::make_unique<itcUnixSockStream>();
        const bool listens = stream->CreateEndpoint(address);
        const itcStatus why = *stream;
        listener = std::move(stream);
        if (listens)
            start();
        else
            fail(why);
    } catch (const std::bad_alloc&) {
        fail({Itc_Tp_Malloc_Error, Error, ENOMEM});
    }
    void listenWith(std::unique_ptr<itcConnection> given)
    {
        listener = std::move(given);
        if (listener == nullptr || listener->ReadDescriptor() < 0)
            fail({Itc_Tp_Descriptor_Not_Yet_Set, Error, EBADF});
        else
            start();
    }
    void stopListening()
    {
        timer.stop();
        link.unlink();
        if (lock.isOfAnotherProcess()) // a child of fork(): the path is the parent's
            static_cast<void>(listener.release());
        listener.reset();
        lock.unlock(); // behind the listener: the path is free now
    }
    void end()
    {
        stopListening();
        sessions.clear();
    }

    int inputReady(itcConnection*, char*) override
    {
        const auto self = shared_from_this(); // the host's functions may destroy the acceptor
        for (int accepted = 0; accepted < mostAcceptsPerCall && isListening() && mayAccept(); ++accepted) {
            itcConnection* peer = nullptr;
            if (listener->AcceptConnection(&peer, nullptr, nullptr) == 1) {
                isResting = false;
                acceptedInWindow += 1;
                handOut(std::unique_ptr<itcConnection>(peer));
                if (isFull())
                    break; // nobody waits, as far as is known: the next call tells
            } else if (listener->code == Itc_Tp_Would_Block) {
                break;
            } else if (!concernsOneClient(listener->errorNumber)) {
                rest(*listener);
                break;
            }
        }
        return 0;
    }
    void resume()
    {
        if (isListening() && !link.isLinked())
            link = itcLink(*listener, ReadMask, *this, dispatcher);
    }
    void raiseBacklog(int count) const
    {
        if (isListening())
            OS_listen(listener->ReadDescriptor(), count);
    }
    bool isListening() const { return listener != nullptr; }
    int port() const
    {
        itcInetAddress local;
        return isListening() && listener->GetSockname(local) == 1 ? local.port() : 0;
    }

    Callback<const itcStatus&> onRest;
    std::list<itcSession> sessions; ///< A list: sessions cannot be moved.
    std::size_t mostSessions = 0;
    unsigned mostPerSecond = 0;
    itcStatus status;

private:
    void start()
    {
        OS_fcntl(listener->ReadDescriptor(), F_SETFD, FD_CLOEXEC);
        if (OS_listen(listener->ReadDescriptor(), usualBacklog) != 0 ||
            !listener->SetOption(itcConnection::ItcNonBlocking)) {
            fail({Itc_Tp_Listen_Call_Failed, Error, OS_getLastError()});
            return;
        }
        resume();
        if (!link.isLinked())
            fail(link.status());
    }
    void fail(const itcStatus& why)
    {
        status = why;
        stopListening();
    }

    bool isFull() const { return mostSessions != 0 && sessions.size() >= mostSessions; }
    // The process-wide limit is asked first: at the limit an accept would close the listener.
    bool mayAccept()
    {
        if (isFull()) {
            link.unlink(); // the end of a session links it again
            tellRest({Itc_Tp_Max_Connections_Reached, Warning, 0});
            return false;
        }
        if (itcConnection::hasMaxConnCount()) {
            rest({Itc_Tp_Max_Connections_Reached, Warning, 0});
            return false;
        }
        if (!canLinkNext()) {
            rest({Itc_Dp_Invalid_File_Descriptor, Warning, 0});
            return false;
        }
        return isWithinRate();
    }
    // The system gives the lowest number that is free. A copy of the listener's descriptor gets the number that the
    // next client would get, and the dispatcher says whether it can link this number.
    bool canLinkNext()
    {
        const int next = OS_fcntl(listener->ReadDescriptor(), F_DUPFD_CLOEXEC, 0);
        if (next < 0)
            return true; // the accept tells the reason
        const bool isLinkable = itcLink(next, ExceptMask, *this, dispatcher).isLinked();
        OS_closesocket(next);
        return isLinkable;
    }
    bool isWithinRate()
    {
        const Clock::time_point now = Clock::now();
        if (now - windowBegan >= rateWindow) {
            windowBegan = now;
            acceptedInWindow = 0;
        }
        if (mostPerSecond == 0 || acceptedInWindow < mostPerSecond)
            return true;
        unlinkFor(windowBegan + rateWindow - now);
        return false;
    }
    void rest(const itcStatus& why)
    {
        unlinkFor(restTime);
        tellRest(why);
    }
    // Without memory for the timer the listener stays linked: a loop that spins is better than a server that has ended.
    void unlinkFor(itcTimer::Duration time)
    {
        timer.startOnce(time);
        if (timer.isRunning())
            link.unlink();
    }
    void tellRest(const itcStatus& why)
    {
        if (!std::exchange(isResting, true))
            onRest(itcStatus(why)); // a copy: the function may destroy the listener
    }

    void handOut(std::unique_ptr<itcConnection> peer)
    {
        if (auto* const net = dynamic_cast<itcNetConnection*>(peer.get()))
            net->setTcpNodelay(true);
        if (takeOver != nullptr) {
            OS_fcntl(peer->ReadDescriptor(), F_SETFD, FD_CLOEXEC);
            if (peer->SetOption(itcConnection::ItcNonBlocking))
                takeOver(std::move(peer));
            return;
        }
        const auto session = makeSession(std::move(peer));
        if (session == sessions.end() || serve == nullptr)
            return;
        const itcSession::Handle handle = session->handle(); // the session may end inside the function
        try {
            serve(*session);
        } catch (...) { // the exception is the host's; a session that was not set up must not stay
            if (itcSession* const made = handle.get())
                made->close();
            throw;
        }
    }
    // \return the end of the list if there is no memory; the peer is disconnected then.
    std::list<itcSession>::iterator makeSession(std::unique_ptr<itcConnection> peer)
    try {
        sessions.emplace_back(std::move(peer), dispatcher);
        const auto session = std::prev(sessions.end());
        if (session->core == nullptr) {
            sessions.pop_back();
            return sessions.end();
        }
        session->core->ended = [this, session] { forget(session); };
        return session;
    } catch (const std::bad_alloc&) {
        return sessions.end();
    }
    // A place is free now, and a descriptor.
    void forget(std::list<itcSession>::iterator session)
    {
        const auto self = shared_from_this(); // the functions of the session may own the acceptor, and die with it
        std::list<itcSession> gone;
        gone.splice(gone.begin(), sessions, session);
        const bool isRated = timer.isRunning() && !isResting;
        if (!isRated)
            resume();
    }

    const Serve serve;
    const TakeOver takeOver;
    itcDispatcher& dispatcher;
    LockFile lock; ///< Of a local path.
    std::unique_ptr<itcConnection> listener;
    itcLink link;
    itcTimer timer;
    bool isResting = false; ///< The host was told, and no client was accepted since.
    unsigned acceptedInWindow = 0;
    Clock::time_point windowBegan;
};

itcAcceptor::itcAcceptor(const itcInetAddress& local, Serve serve, itcDispatcher& dispatcher)
    : core(makeSharedOrNull<Core>(std::move(serve), TakeOver(), dispatcher))
{
    if (core != nullptr)
        core->listenAt(local);
}

itcAcceptor::itcAcceptor(const itcUnixAddress& local, Serve serve, itcDispatcher& dispatcher)
    : core(makeSharedOrNull<Core>(std::move(serve), TakeOver(), dispatcher))
{
    if (core != nullptr)
        core->listenAt(local);
}

itcAcceptor::itcAcceptor(std::unique_ptr<itcConnection> listener, Serve serve, itcDispatcher& dispatcher)
    : core(makeSharedOrNull<Core>(std::move(serve), TakeOver(), dispatcher))
{
    if (core != nullptr)
        core->listenWith(std::move(listener));
}

itcAcceptor::itcAcceptor(std::unique_ptr<itcConnection> listener, TakeOver takeOver, itcDispatcher& dispatcher)
    : core(makeSharedOrNull<Core>(Serve(), std::move(takeOver), dispatcher))
{
    if (core != nullptr)
        core->listenWith(std::move(listener));
}

itcAcceptor::~itcAcceptor()
{
    if (core != nullptr)
        core->end();
}

itcAcceptor& itcAcceptor::setMaxSessions(std::size_t count)
{
    if (core != nullptr) {
        core->mostSessions = count;
        core->resume();
    }
    return *this;
}

itcAcceptor& itcAcceptor::setMaxAcceptRate(unsigned perSecond)
{
    if (core != nullptr)
        core->mostPerSecond = perSecond;
    return *this;
}

itcAcceptor& itcAcceptor::setBacklog(int count)
{
    if (core != nullptr)
        core->raiseBacklog(count);
    return *this;
}

itcAcceptor& itcAcceptor::onRest(std::function<void(const itcStatus&)> function)
{
    if (core != nullptr)
        core->onRest = std::move(function);
    return *this;
}

void itcAcceptor::stopListening()
{
    if (core != nullptr)
        core->stopListening();
}

void itcAcceptor::finish(Duration longest)
{
    stopListening();
    forEach([longest](itcSession& session) { session.finish(longest); });
}

bool itcAcceptor::isListening() const { return core != nullptr && core->isListening(); }

itcAcceptor::operator bool() const { return isListening(); }

const itcStatus& itcAcceptor::status() const
{
    static const itcStatus noMemory{Itc_Tp_Malloc_Error, Error, ENOMEM};
    return core != nullptr ? core->status : noMemory;
}

int itcAcceptor::port() const { return core != nullptr ? core->port() : 0; }

// The end of a session is told in the next cycle. Until then the list still has the session.
std::size_t itcAcceptor::sessions() const
{
    if (core == nullptr)
        return 0;
    return static_cast<std::size_t>(
        std::count_if(core->sessions.begin(), core->sessions.end(),
                      [](const itcSession& session) { return session.handle().get() != nullptr; }));
}

// By handles: the function may run a cycle, in which sessions end.
void itcAcceptor::forEach(const std::function<void(itcSession&)>& function)
{
    if (core == nullptr)
        return;
    std::vector<itcSession::Handle> handles;
    try {
        for (const itcSession& session : core->sessions)
            handles.push_back(session.handle());
    } catch (const std::bad_alloc&) { // those that fit are called
    }
    for (const itcSession::Handle& handle : handles) {
        if (itcSession* const session = handle.get())
            function(*session);
    }
}
