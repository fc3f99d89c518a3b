// One attempt after the other. An attempt goes through these steps:
//
//   pausing --> looking up --> connecting, address by address --> connected --> pausing
//                    |                        |
//                    +------ failed ----------+-----------------------------> pausing
//
// One timer serves all steps, because only one of them is under way. Each step begins by setting it.
//
// The true reason of a failed connect is in the socket, and can be asked once. The dispatcher asks for it where an
// exception handler is linked, and nobody learns it then. Therefore only WriteMask is linked here.
#include <kiv/session/itcConnector.h>

#include <kiv/address/itcInetAddress.h>
#include <kiv/connection/itcInetSockStream.h>
#include <kiv/connection/itcUnixSockStream.h>
#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/foundation/OS.h>
#include <kiv/session/detail/Backoff.h>
#include <kiv/session/detail/Callback.h>
#include <kiv/session/detail/Lookup.h>
#include <kiv/session/detail/MakeShared.h>
#include <kiv/session/detail/SessionCore.h>
#include <kiv/session/itcLink.h>
#include <kiv/session/itcPost.h>
#include <kiv/session/itcTimer.h>

#include <fcntl.h>
#include <netdb.h>

#include <cerrno>
#include <new>
#include <optional>
#include <utility>
#include <vector>

using namespace kiv;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int largestPort = 65535;
constexpr auto lookupTimeout = std::chrono::seconds(30);
constexpr auto usualHeartbeat = std::chrono::minutes(1);

// A local stream whose socket is there before the connect, and does not block: a server whose backlog is full must not
// hold this thread up.
class LocalClient : public itcUnixSockStream {
public:
    LocalClient()
    {
        td = hasMaxConnCount() ? -1 : OS_socket(AF_UNIX, SOCK_STREAM, 0);
        if (td >= 0) {
            incConnCount();
            SetOption(ItcNonBlocking);
        }
    }
};

itcClosed reasonOf(const itcStatus& failure)
{
    if (failure.code == Itc_Tp_Max_Connections_Reached)
        return {itcClosed::connectionLimit, 0, failure};
    return {itcClosed::systemError, failure.errorNumber, failure};
}

itcClosed systemErrorOf(int error)
{
    return {itcClosed::systemError, error, {Itc_Tp_Connect_Call_Failed, Error, error}};
}

itcClosed unknownNameOf(int error) { return {itcClosed::unknownName, error, {Itc_Tp_Unknown_Peer, Error, error}}; }

} // namespace

class itcConnector::Core : public itcIOHandler, public std::enable_shared_from_this<Core> {
public:
    Core(std::string name, int number, const std::optional<itcUnixAddress>& local, Connected toCall,
         itcDispatcher& loop)
        : host(std::move(name)), port(number), path(local), connected(std::move(toCall)), dispatcher(loop),
          timer([this] { timeIsOver(); }, loop)
    {}

    void begin()
    {
        step = Step::pausing;
        timer.startOnce({});
    }
    void stop(Duration longest)
    {
        cancel();
        if (session != nullptr)
            session->finish(longest);
    }
    void end()
    {
        cancel();
        session.reset();
    }
    itcSession* openSession() const { return session != nullptr && session->isOpen() ? session.get() : nullptr; }

    int outputReady(itcConnection*, char*) override
    {
        const auto self = shared_from_this(); // a function of the host may destroy the connector
        sockaddr_storage peer = {};
        socklen_t length = sizeof peer;
        int error = 0;
        socklen_t errorLength = sizeof error;
        if (OS_getsockopt(stream->WriteDescriptor(), SOL_SOCKET, SO_ERROR, &error, &errorLength) != 0)
            error = OS_getLastError();
        if (error == 0 && OS_getpeername(stream->WriteDescriptor(), reinterpret_cast<sockaddr*>(&peer), &length) != 0)
            return 0; // still under way: the descriptor's number has brought the readiness of another connection
        link.unlink();
        if (error == 0) {
            useStream();
        } else {
            reason = systemErrorOf(error);
            connectNext();
        }
        return 0;
    }

    Callback<const itcClosed&> onFailed;
    Duration connectTimeout = std::chrono::seconds(5);
    Backoff backoff;

private:
    enum class Step { pausing, lookingUp, connecting, inSession, stopped };

    void cancel()
    {
        step = Step::stopped;
        timer.stop();
        link.unlink();
        stream.reset();
        post.reset();
    }

    void timeIsOver()
    {
        const auto self = shared_from_this();
        switch (step) {
        case Step::pausing:
            attempt();
            break;
        case Step::lookingUp:
            reason = systemErrorOf(ETIMEDOUT);
            attemptHasFailed();
            break;
        case Step::connecting:
            link.unlink();
            reason = systemErrorOf(ETIMEDOUT);
            connectNext();
            break;
        default:
            break;
        }
    }

    void attempt()
    {
        if (path.has_value()) {
            connectLocally();
            return;
        }
        if (port < 0 || port > largestPort) { // the resolver would cut the number
            reason = unknownNameOf(EAI_SERVICE);
            attemptHasFailed();
            return;
        }
        Addresses numeric = addressesOfNumericHost(host, port);
        if (!numeric.list.empty()) {
            beginConnecting(std::move(numeric));
            return;
        }
        step = Step::lookingUp;
        timer.startOnce(lookupTimeout);
        askResolver();
    }

    // A lookup that still hangs is not joined by another one: its answer serves the present attempt. The token lives as
    // long as an answer can come: a thread that finds no memory for its answer lets the token go.
    void askResolver()
    {
        if (!asking.expired())
            return;
        if (!post.has_value())
            post.emplace(dispatcher);
        const itcStatus postStatus = post->status();
        const bool canPost = postStatus.severity == Success;
        const auto token = canPost ? makeSharedOrNull<char>() : nullptr;
        asking = token;
        const auto answer = [token, weak = weak_from_this()](Addresses&& addresses) {
            if (const auto self = weak.lock())
                self->resolverHasAnswered(std::move(addresses));
        };
        if (token == nullptr || !askOnAnotherThread(answer)) {
            asking.reset();
            post.reset();
            reason = canPost ? systemErrorOf(EAGAIN) : itcClosed{itcClosed::connectionLimit, 0, postStatus};
            attemptHasFailed();
        }
    }
    template <class Answer> bool askOnAnotherThread(const Answer& answer)
    try {
        return lookUp(host, port, post->sender(), answer);
    } catch (const std::bad_alloc&) { // while the answer becomes a function
        return false;
    }
    void resolverHasAnswered(Addresses&& addresses)
    {
        asking.reset();
        if (step != Step::lookingUp)
            return;
        if (addresses.list.empty()) {
            reason = addresses.systemError != 0 ? systemErrorOf(addresses.systemError) : unknownNameOf(addresses.error);
            attemptHasFailed();
        } else {
            beginConnecting(std::move(addresses));
        }
    }

    void beginConnecting(Addresses&& addresses)
    {
        step = Step::connecting;
        candidates = std::move(addresses.list);
        nextCandidate = 0;
        connectNext();
    }
    void connectNext()
    {
        timer.stop();
        while (nextCandidate < candidates.size()) {
            itcInetAddress address(candidates[nextCandidate]);
            nextCandidate += 1;
            if (connect(address))
                return;
        }
        attemptHasFailed();
    }
    // \return true: under way.
    bool connect(itcInetAddress& address)
    {
        stream.reset();
        auto* const tcp = new (std::nothrow) itcInetSockStream(itcConnection::ItcNonBlocking);
        stream.reset(tcp);
        if (tcp == nullptr) {
            reason = systemErrorOf(ENOMEM);
            return false;
        }
        if (tcp->OpenConnection(address, nullptr, nullptr) != 1) {
            reason = reasonOf(*tcp);
            return false;
        }
        OS_fcntl(tcp->WriteDescriptor(), F_SETFD, FD_CLOEXEC);
        tcp->setTcpNodelay(true);
        link = itcLink(*tcp, WriteMask, *this, dispatcher);
        if (!link.isLinked()) {
            reason = {itcClosed::connectionLimit, 0, link.status()};
            return false;
        }
        if (connectTimeout > Duration::zero())
            timer.startOnce(connectTimeout);
        return true;
    }
    void connectLocally()
    {
        step = Step::connecting;
        auto* const local = new (std::nothrow) LocalClient;
        stream.reset(local);
        if (local == nullptr)
            reason = systemErrorOf(ENOMEM);
        else if (local->OpenConnection(*path, nullptr, nullptr) != 1)
            reason = local->code == Itc_Tp_Would_Block ? systemErrorOf(EAGAIN) : reasonOf(*local);
        else {
            useStream();
            return;
        }
        attemptHasFailed();
    }

    void attemptHasFailed()
    {
        stream.reset();
        pause();
        onFailed(itcClosed(reason)); // a copy: the function may destroy the connector
    }
    void pause()
    {
        if (step == Step::stopped)
            return;
        step = Step::pausing;
        timer.startOnce(backoff.pause());
    }

    void useStream()
    {
        step = Step::inSession;
        timer.stop();
        session.reset(new (std::nothrow) itcSession(std::move(stream), dispatcher));
        if (session == nullptr || session->core == nullptr) {
            session.reset();
            reason = systemErrorOf(ENOMEM);
            attemptHasFailed();
            return;
        }
        connectedSince = Clock::now();
        session->core->heartbeat = usualHeartbeat;
        session->core->limitsHaveChanged();
        session->core->ended = [this] { sessionHasEnded(); };
        if (connected == nullptr)
            return;
        const itcSession::Handle handle = session->handle();
        try {
            connected(*session);
        } catch (...) { // the exception is the host's; a session that was not set up must not stay
            if (itcSession* const made = handle.get())
                made->close();
            throw;
        }
    }
    // A server that accepts and closes at once must not be asked again and again without a pause.
    void sessionHasEnded()
    {
        const auto self = shared_from_this(); // the functions of the session may own the connector, and die with it
        const bool wasUseful =
            session->counters().packetsReceived > 0 || Clock::now() - connectedSince >= backoff.longest();
        if (wasUseful)
            backoff.succeed();
        session.reset();
        pause();
    }

    const std::string host;
    const int port;
    std::optional<itcUnixAddress> path; ///< Without a value: by TCP.
    const Connected connected;
    itcDispatcher& dispatcher;
    Step step = Step::pausing;
    std::optional<itcPost> post;
    std::weak_ptr<char> asking;               ///< While a thread asks the resolver.
    std::vector<sockaddr_storage> candidates; ///< The addresses of the name.
    std::size_t nextCandidate = 0;            ///< Not yet tried.
    std::unique_ptr<itcConnection> stream;    ///< While it connects.
    itcLink link;
    std::unique_ptr<itcSession> session;
    itcTimer timer;
    itcClosed reason; ///< Of the latest address.
    Clock::time_point connectedSince;
};

itcConnector::itcConnector(std::string host, int port, Connected connected, itcDispatcher& dispatcher)
    : core(makeSharedOrNull<Core>(std::move(host), port, std::nullopt, std::move(connected), dispatcher))
{
    if (core != nullptr)
        core->begin();
}

itcConnector::itcConnector(const itcUnixAddress& path, Connected connected, itcDispatcher& dispatcher)
    : core(makeSharedOrNull<Core>(std::string(), 0, path, std::move(connected), dispatcher))
{
    if (core != nullptr)
        core->begin();
}

itcConnector::~itcConnector()
{
    if (core != nullptr)
        core->end();
}

itcConnector& itcConnector::onFailed(std::function<void(const itcClosed&)> function)
{
    if (core != nullptr)
        core->onFailed = std::move(function);
    return *this;
}

itcConnector& itcConnector::setConnectTimeout(Duration longest)
{
    if (core != nullptr)
        core->connectTimeout = longest;
    return *this;
}

itcConnector& itcConnector::setBackoff(Duration first, Duration longest)
{
    if (core != nullptr)
        core->backoff.setRange(first, longest);
    return *this;
}

void itcConnector::stop(Duration longest)
{
    if (core != nullptr)
        core->stop(longest);
}

itcSession* itcConnector::session() const { return core != nullptr ? core->openSession() : nullptr; }
