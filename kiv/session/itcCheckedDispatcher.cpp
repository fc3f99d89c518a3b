// Notices misuse by looking at what the host has left behind.
//
// An object with virtual functions begins with the address of the table of its class. This word changes when the object
// is destroyed or its memory is used for something else. It is remembered when the object is first met in a wait: the
// object is complete then. Memory that may be gone is read by the system, which answers with an error instead of ending
// the process.
//
// Timers run on stand-ins, one per handler. A stand-in asks whether its handler lives before it calls it.
#include <kiv/session/itcCheckedDispatcher.h>

#include <kiv/connection/itcConnection.h>
#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/foundation/KivDebug.h>
#include <kiv/foundation/OS.h>
#include <kiv/session/detail/LifeSign.h>

#include <cxxabi.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <typeinfo>
#include <utility>

using namespace kiv;

namespace {

constexpr int mostStartsForThePast = 1000; // by one handler, in one cycle

template <class Object> std::string classOf(const Object& object)
{
    int failure = 0;
    const char* const mangled = typeid(object).name();
    const std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(mangled, nullptr, nullptr, &failure),
                                                      std::free);
    return failure == 0 ? name.get() : mangled;
}

// What cannot be noted is not noticed.
template <class Note> void withoutMemoryNothing(const Note& note)
try {
    note();
} catch (const std::bad_alloc&) {
}

int socketOption(int fd, int option)
{
    int value = 0;
    socklen_t length = sizeof value;
    return OS_getsockopt(fd, SOL_SOCKET, option, &value, &length) == 0 ? value : -1;
}

bool isPipeSignalDeadly()
{
    struct sigaction action = {};
    return sigaction(SIGPIPE, nullptr, &action) == 0 && action.sa_handler == SIG_DFL;
}

} // namespace

class itcCheckedDispatcher::Checks {
public:
    explicit Checks(Print toCall) : print(std::move(toCall))
    {
        if (KivDebug::pKivErrorPrint == nullptr) {
            hearsReports = this;
            KivDebug::initKivErrorPrint(hearReport);
        }
    }
    ~Checks()
    {
        if (hearsReports == this && KivDebug::pKivErrorPrint == hearReport)
            KivDebug::initKivErrorPrint(nullptr);
    }
    Checks(const Checks&) = delete;
    Checks& operator=(const Checks&) = delete;

    /// A descriptor that is linked.
    struct Watched {
        itcConnection* connection = nullptr;
        std::string who; ///< The classes of connection and handler.
        LifeSign life;
        dev_t device = 0;
        ino_t inode = 0;
        bool isLookedAt = false;
    };

    /// Stands in for a handler that has timers.
    class StandIn : public itcIOHandler, public std::enable_shared_from_this<StandIn> {
    public:
        StandIn(itcIOHandler& itsHandler, Checks& owner) : handler(itsHandler), who(classOf(itsHandler)), checks(owner)
        {}
        void timerExpired(long sec, long usec) override { checks.expired(*this, sec, usec); }

        itcIOHandler& handler;
        const std::string who;
        LifeSign life;
        int timers = 0;
        int startsForThePast = 0;
        std::int64_t cycle = -1;

    private:
        Checks& checks;
    };

    /// Prints a line that was not printed before. Reports of the library may come on any thread.
    void tell(const std::string& line)
    {
        if (isNew(line) && print)
            print(line);
    }
    StandIn& standInOf(itcIOHandler& handler)
    {
        auto& standIn = standIns[&handler];
        if (standIn == nullptr || standIn->timers == 0) {
            const auto fresh = std::make_shared<StandIn>(handler, *this);
            if (standIn != nullptr) { // a timer of the handler expires now: the starts of this cycle count on
                fresh->startsForThePast = standIn->startsForThePast;
                fresh->cycle = standIn->cycle;
            }
            standIn = fresh;
        }
        return *standIn;
    }
    /// \return null if there is no memory.
    StandIn* standInOrNull(itcIOHandler& handler)
    try {
        return &standInOf(handler);
    } catch (const std::bad_alloc&) {
        standIns.erase(&handler); // there may be an entry without a stand-in
        return nullptr;
    }
    void forgetIfIdle(itcIOHandler* handler)
    {
        const auto found = standIns.find(handler);
        if (found != standIns.end() && found->second->timers <= 0)
            standIns.erase(found);
    }
    bool isDead(StandIn& standIn) const { return !standIn.life.isStill(&standIn.handler, memory); }
    void expired(StandIn& standIn, long sec, long usec)
    {
        const std::shared_ptr<StandIn> held = standIn.shared_from_this();
        const Idle atTheEnd{*this, &held->handler};
        held->timers -= 1;
        if (isDead(*held))
            tellDeadHandler(*held);
        else
            held->handler.timerExpired(sec, usec);
    }
    void tellDeadHandler(const StandIn& standIn)
    {
        withoutMemoryNothing([&] {
            tell("a handler was deleted while a timer of it was running: class " + standIn.who +
                 ". Call stopTimer() in its destructor.");
        });
    }

    std::map<int, Watched> watched;
    std::map<itcIOHandler*, std::shared_ptr<StandIn>> standIns;
    const MemoryReader memory;
    bool isPipeTold = false;

private:
    // The hook is a plain function: it finds the checks of the dispatcher that has installed it here.
    static void hearReport(KivError::ErrPrio, KivError::ErrType, KivError::KivErrorCode, const char* text1,
                           const char* text2, const char*)
    {
        withoutMemoryNothing([&] {
            hearsReports->tell(std::string(text1 != nullptr ? text1 : "") + (text2 != nullptr ? ": " : "") +
                               (text2 != nullptr ? text2 : ""));
        });
    }
    static Checks* hearsReports;

    /// A stand-in without a timer is forgotten behind the call, also when the call throws. The starts for the past of
    /// one cycle are counted in the stand-in: it must stay while the handler is called.
    struct Idle {
        Checks& checks;
        itcIOHandler* const handler;
        ~Idle() { checks.forgetIfIdle(handler); }
    };

    bool isNew(const std::string& line)
    {
        const std::lock_guard lock(mutex);
        return told.insert(line).second;
    }

    const Print print;
    std::mutex mutex;
    std::set<std::string> told;
};

itcCheckedDispatcher::Checks* itcCheckedDispatcher::Checks::hearsReports = nullptr;

itcCheckedDispatcher::itcCheckedDispatcher()
    : itcCheckedDispatcher(
          [](const std::string& line) { static_cast<void>(std::fprintf(stderr, "%s\n", line.c_str())); })
{}

itcCheckedDispatcher::itcCheckedDispatcher(Print print) : checks(std::make_unique<Checks>(std::move(print))) {}

itcCheckedDispatcher::~itcCheckedDispatcher() = default;

void itcCheckedDispatcher::startTimer(long sec, long usec, itcIOHandler* h)
{
    if (h == nullptr) {
        itcDispatcher::startTimer(sec, usec, h);
        return;
    }
    Checks::StandIn* const made = checks->standInOrNull(*h);
    if (made == nullptr) {
        itcDispatcher::startTimer(sec, usec, h);
        return;
    }
    Checks::StandIn& standIn = *made;
    if (static_cast<double>(sec) + static_cast<double>(usec) / 1e6 < 0) {
        if (std::exchange(standIn.cycle, dispatchCount) != dispatchCount)
            standIn.startsForThePast = 0;
        standIn.startsForThePast += 1;
        if (standIn.startsForThePast == mostStartsForThePast)
            withoutMemoryNothing([&] {
                checks->tell("a timer is started for the past again and again, and the cycle cannot end: class " +
                             standIn.who + ". Start it with a delay of 0 or more.");
            });
    }
    itcDispatcher::startTimer(sec, usec, &standIn);
    if (severity == Success)
        standIn.timers += 1;
}

void itcCheckedDispatcher::stopTimer(itcIOHandler* h)
{
    const auto found = checks->standIns.find(h);
    itcDispatcher::stopTimer(found != checks->standIns.end() ? found->second.get() : h);
    if (found == checks->standIns.end())
        return;
    found->second->timers -= 1;
    checks->forgetIfIdle(h);
}

void itcCheckedDispatcher::attach(int fd, itcConnection* conn, char* clientData, itcDispatcherMask mask,
                                  itcIOHandler* h)
{
    itcDispatcher::attach(fd, conn, clientData, mask, h);
    withoutMemoryNothing([&] { watch(fd, conn, h); });
}

void itcCheckedDispatcher::watch(int fd, itcConnection* conn, itcIOHandler* h)
{
    const std::string who = (conn != nullptr ? "class " + classOf(*conn) + ", " : std::string()) +
                            (h != nullptr ? "handler of class " + classOf(*h) : std::string("no handler"));
    if (fd >= capacity)
        checks->tell("descriptor " + std::to_string(fd) + " is above the limit of " + std::to_string(capacity) +
                     " and cannot be linked: " + who + ". Accept fewer connections; see itcConnection::maxConns.");
    if (fd >= 0 && fd < capacity) {
        Checks::Watched fresh;
        fresh.connection = conn;
        fresh.who = who;
        checks->watched[fd] = fresh;
    }
}

void itcCheckedDispatcher::detach(int fd, itcDispatcherMask mask)
{
    itcDispatcher::detach(fd, mask);
    if (!isInUse(fd))
        checks->watched.erase(fd);
}

bool itcCheckedDispatcher::isInUse(int fd) const
{
    return fd >= 0 && fd < capacity &&
           (readHandlers[fd] != nullptr || writeHandlers[fd] != nullptr || exceptHandlers[fd] != nullptr);
}

int itcCheckedDispatcher::waitFor(FdMask& r, FdMask& w, FdMask& e, timeval* timeout)
{
    withoutMemoryNothing([this] {
        lookAtConnections();
        lookAtTimers();
    });
    return itcDispatcher::waitFor(r, w, e, timeout);
}

// A deleted connection is unlinked: the base class would call it. A closed descriptor is left to the base class, which
// tells its handler.
void itcCheckedDispatcher::lookAtConnections()
{
    for (auto next = checks->watched.begin(); next != checks->watched.end();) {
        const int fd = next->first;
        Checks::Watched& watched = next->second;
        ++next; // a dead one is taken out of the list
        if (watched.connection != nullptr && !watched.life.isStill(watched.connection, checks->memory)) {
            checks->tell("a connection was deleted while it was linked: descriptor " + std::to_string(fd) + ", " +
                         watched.who + ". Unlink it before the delete.");
            itcCheckedDispatcher::detach(fd, ReadMask | WriteMask | ExceptMask);
            continue;
        }
        lookAtDescriptor(fd);
    }
}

void itcCheckedDispatcher::lookAtDescriptor(int fd)
{
    Checks::Watched& watched = checks->watched[fd];
    struct stat file = {};
    const bool isOpen = fstat(fd, &file) == 0;
    const bool isAnother = watched.isLookedAt && (file.st_dev != watched.device || file.st_ino != watched.inode);
    if (!isOpen || isAnother)
        checks->tell("a descriptor was closed while it was linked: descriptor " + std::to_string(fd) + ", " +
                     watched.who + ". Unlink it before the close.");
    if (!isOpen || std::exchange(watched.isLookedAt, true))
        return;
    watched.device = file.st_dev;
    watched.inode = file.st_ino;
    const bool isStream = S_ISSOCK(file.st_mode) && socketOption(fd, SO_TYPE) == SOCK_STREAM;
    const bool isListener = isStream && socketOption(fd, SO_ACCEPTCONN) == 1;
    const bool canBlock = (OS_fcntl(fd, F_GETFL, 0) & O_NONBLOCK) == 0;
    if (isListener && canBlock && readHandlers[fd] != nullptr)
        checks->tell("a listener in blocking mode is linked: descriptor " + std::to_string(fd) + ", " + watched.who +
                     ". Use SetOption(ItcNonBlocking): a client that has gone before the accept would block the loop.");
    if (isStream && !isListener && isPipeSignalDeadly() && !std::exchange(checks->isPipeTold, true))
        checks->tell("SIGPIPE is not ignored: descriptor " + std::to_string(fd) + ", " + watched.who +
                     ". A peer that leaves would end the process. Call signal(SIGPIPE, SIG_IGN).");
}

void itcCheckedDispatcher::lookAtTimers()
{
    for (auto next = checks->standIns.begin(); next != checks->standIns.end();) {
        const std::shared_ptr<Checks::StandIn> standIn = next->second;
        if (standIn->timers == 0 || !checks->isDead(*standIn)) { // without a timer the handler may be gone
            ++next;
            continue;
        }
        checks->tellDeadHandler(*standIn);
        for (; standIn->timers > 0; --standIn->timers)
            itcDispatcher::stopTimer(standIn.get());
        next = checks->standIns.erase(next);
    }
}
