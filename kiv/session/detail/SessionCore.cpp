// Read it in this order: receiving, sending, ending, deadlines.
//
// The host is called only from the dispatcher's cycle: from inputReady(), outputReady() and alarm(). An operation that
// the host calls, for example send(), never calls back. What it finds out is told by an alarm that is due at once.
//
// One timer serves all deadlines. It is set for the deadline that is due first. When it fires the deadlines are looked
// at, and it is set anew. A deadline that moves away therefore costs nothing: the timer fires too early, and looks.
#include <kiv/session/detail/SessionCore.h>

#include <kiv/connection/itcConnection.h>
#include <kiv/foundation/OS.h>
#include <kiv/session/detail/FrameSizes.h>
#include <kiv/session/detail/PeerAddress.h>
#include <kiv/session/itcSignals.h>

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <utility>

namespace kiv {

namespace {

constexpr int mostPacketsPerCall = 64; // a connection that holds many must not keep the others waiting
constexpr SessionCore::Duration longestLimit = std::chrono::hours(24 * 365);
constexpr auto timeToReadTheEnd = std::chrono::seconds(1);
constexpr auto never = SessionCore::Clock::time_point::max();
constexpr auto betweenAnswers = std::chrono::seconds(1); // to heartbeats: a flood of them gets no flood of answers

// A peer that has left must not end this process. A host that has chosen another action keeps it.
void ignorePipeOnce()
{
    static const bool isDone = [] {
        struct sigaction action = {};
        if (sigaction(SIGPIPE, nullptr, &action) == 0 && action.sa_handler == SIG_DFL)
            itcSignals::ignorePipe();
        return true;
    }();
    static_cast<void>(isDone);
}

} // namespace

SessionCore::SessionCore(itcDispatcher& loop) : dispatcher(loop), timer([this] { alarm(); }, loop) {}

void SessionCore::begin(std::unique_ptr<itcConnection> stream, itcSession& owner)
{
    shell = &owner;
    ignorePipeOnce();
    connection = std::move(stream);
    lastHeard = lastSent = Clock::now();
    if (connection == nullptr || connection->ReadDescriptor() < 0) {
        end({itcClosed::systemError, EBADF, {}});
        return;
    }
    peerAddress = addressOfPeer(*connection);
    OS_fcntl(connection->ReadDescriptor(), F_SETFD, FD_CLOEXEC);
    if (!connection->SetOption(itcConnection::ItcNonBlocking)) {
        end({itcClosed::systemError, OS_getLastError(), *connection});
        return;
    }
    linkReading();
    if (!readLink.isLinked())
        end({itcClosed::connectionLimit, 0, readLink.status()});
    armAlarm();
}

void SessionCore::abandon()
{
    shell = nullptr;
    state = State::closed;
    ended = nullptr;
    disconnect();
    onPacket = nullptr;
    onClosed = nullptr;
    onFull = nullptr;
    onRoom = nullptr;
}

// Counts the functions of the host that run. The end of the session waits for them: a function that runs may use the
// session. Reading waits, too: a packet that has come meanwhile is read when the outermost function has returned.
template <class Function, class... Arguments>
void SessionCore::callHost(const Function& function, Arguments&&... arguments)
{
    struct Depth {
        SessionCore& core;
        explicit Depth(SessionCore& caller) : core(caller) { ++core.callDepth; }
        ~Depth() // also when the function throws
        {
            if (--core.callDepth != 0)
                return;
            core.linkReading();
            if (core.state == State::ending || core.isToTellFull) // an alarm that came meanwhile was not heard
                core.armAlarmNow();
            else
                core.armAlarm();
        }
    };
    const Depth depth(*this);
    function(std::forward<Arguments>(arguments)...);
}

// ---- Receiving

bool SessionCore::isReading() const
{
    return (state == State::open || state == State::finishing || state == State::writeFailed) && !isPaused;
}

void SessionCore::linkReading()
{
    if (isReading() && !readLink.isLinked())
        readLink = itcLink(*connection, ReadMask, *this, dispatcher);
}

void SessionCore::pauseReading()
{
    isPaused = true;
    readLink.unlink();
}

// The time of the pause does not count: the peer could not be heard.
void SessionCore::resumeReading()
{
    if (!std::exchange(isPaused, false))
        return;
    lastHeard = frameBegan = Clock::now();
    linkReading();
    armAlarm();
}

int SessionCore::inputReady(itcConnection*, char*)
{
    const auto self = shared_from_this(); // a function of the host may destroy the session
    // A function of the host runs a cycle of its own. It may still use its packet: the next one has to wait.
    if (callDepth > 0) {
        readLink.unlink();
        return 0;
    }
    for (int packets = 0; packets < mostPacketsPerCall && isReading(); ++packets) {
        if (!readOne() || !isReading() || connection->bytes() <= 0)
            break;
    }
    report();
    return 0;
}

// \return true when a packet was complete.
bool SessionCore::readOne()
{
    const FrameReader::Outcome outcome = reader.read(*connection);
    const Clock::time_point now = Clock::now();
    if (reader.hasHeard())
        lastHeard = now;
    const bool wasInside = std::exchange(wasInsideFrame, reader.isInsideFrame());
    if (outcome == FrameReader::Outcome::failed) {
        readHasFailed();
        return false;
    }
    if (outcome == FrameReader::Outcome::incomplete) {
        if (wasInsideFrame && !wasInside) {
            frameBegan = now;
            armAlarm();
        }
        return false;
    }
    handOver();
    return true;
}

void SessionCore::handOver()
{
    const unsigned int length = reader.raw_length();
    counters.bytesReceived += frameHead + length;
    if (length < emptyLength) {
        end({itcClosed::notOurProtocol, 0, {}});
        return;
    }
    if (length == emptyLength) {
        answerHeartbeat();
        return;
    }
    counters.packetsReceived += 1;
    callHost(onPacket, reader);
}

bool SessionCore::accept(const itcNDRReceive& packet)
{
    const bool isCut = packet.code == Itc_Ndr_Buffer_Size_Too_Small && packet.severity == Warning;
    const bool isTaken = packet.severity == Success || isCut;
    if (!isTaken)
        end({itcClosed::badPacket, 0, {packet.code, packet.severity, 0}}); // no system call has failed
    return isTaken;
}

void SessionCore::readHasFailed()
{
    const itcClosed why = reader.failure();
    if (why.reason == itcClosed::peerLeft)
        peerHasClosed(why);
    else
        end(why);
}

void SessionCore::peerHasClosed(const itcClosed& why)
{
    reason = isFinishing ? itcClosed{} : why;
    if (queue.isEmpty() || state == State::writeFailed) {
        end(reason);
        return;
    }
    state = State::peerHasLeft;
    readLink.unlink();
}

// ---- Sending

bool SessionCore::isSending() const
{
    return state == State::open || state == State::finishing || state == State::peerHasLeft;
}

itcNDRSend* SessionCore::beginPacket()
{
    if (state != State::open) {
        status = {Itc_Tp_Descriptor_Not_Yet_Set, Error, 0};
        return nullptr;
    }
    if (isBuilding) { // a value's own operator sends: the packet that is begun is not touched
        status = {Itc_Ndr_Ub_Wrong_Transmission_State, Error, 0};
        return nullptr;
    }
    itcNDRSend* const packet = queue.begin();
    status = queue.status;
    isBuilding = packet != nullptr;
    return packet;
}

bool SessionCore::sendPacketBegun()
{
    if (state != State::open) { // a value's own operator has ended the session
        status = {Itc_Tp_Descriptor_Not_Yet_Set, Error, 0};
        return false;
    }
    const bool isFirst = queue.isEmpty();
    const bool isQueued = queue.queueBegun();
    status = queue.status;
    if (queue.wasFull() && closesWhenFull) {
        end({itcClosed::queueFull, 0, {}});
    } else if (queue.wasFull() && !isFull) {
        isFull = true;
        isToTellFull = true;
        armAlarmNow();
    }
    if (isQueued && isFirst)
        flush();
    if (!isQueued || state == State::open)
        return isQueued;
    status = {Itc_Tp_Descriptor_Not_Yet_Set, Error, 0}; // the connection has not taken the packet
    return false;
}

int SessionCore::outputReady(itcConnection*, char*)
{
    const auto self = shared_from_this();
    flush();
    if (state == State::finishing && queue.isEmpty())
        shutDown();
    else if (state == State::peerHasLeft && queue.isEmpty())
        end(reason);
    tellRoom(); // behind all other steps: the function may throw
    report();
    return 0;
}

void SessionCore::flush()
{
    if (!isSending())
        return;
    const SendQueue::Flushed flushed = queue.flush(*connection);
    if (flushed == SendQueue::Flushed::failed) {
        writeHasFailed();
        return;
    }
    const bool waits = flushed == SendQueue::Flushed::part;
    if (waits || heartbeat > Duration::zero()) {
        const Clock::time_point now = Clock::now();
        if (queue.hasProgressed())
            lastSent = now;
        if (queue.hasProgressed() || !writeLink.isLinked())
            lastProgress = now;
    }
    if (!waits) {
        writeLink.unlink();
    } else if (!writeLink.isLinked()) {
        writeLink = itcLink(*connection, WriteMask, *this, dispatcher);
        armAlarm();
    }
}

// A peer that has closed may have sent packets before. They are read first, and the end behind them is the reason.
void SessionCore::writeHasFailed()
{
    const itcClosed why{itcClosed::systemError, queue.status.errorNumber, queue.status};
    queue.clear();
    writeLink.unlink();
    if (state == State::peerHasLeft) {
        end(reason);
        return;
    }
    reason = isFinishing ? itcClosed{} : why;
    state = State::writeFailed;
    writeFailedBy = Clock::now() + timeToReadTheEnd;
    armAlarm();
}

void SessionCore::sendHeartbeat()
{
    if (!isBuilding && queue.isEmpty() && queue.begin() != nullptr && queue.queueBegun())
        flush();
    lastSent = Clock::now(); // also when nothing was sent: packets wait, or there is no memory
}

// A session that sends heartbeats of its own does not answer: two sessions would answer each other without end.
void SessionCore::answerHeartbeat()
{
    const Clock::time_point now = Clock::now();
    if (state != State::open || heartbeat > Duration::zero() || now - lastAnswer < betweenAnswers)
        return;
    lastAnswer = now;
    sendHeartbeat();
}

// One call of onRoom() for each call of onFull(), and never before it. A queue that the end has emptied has no room.
void SessionCore::tellRoom()
{
    if (isFull && !isToTellFull && isSending() && queue.isLow()) {
        isFull = false;
        callHost(onRoom);
    }
}

// ---- Ending

// A peer that has closed may still take what waits, until the same time.
void SessionCore::finish(Duration longest)
{
    if (isFinishing || (state != State::open && state != State::peerHasLeft))
        return;
    isFinishing = true;
    finishBy = Clock::now() + std::clamp(longest, Duration::zero(), longestLimit);
    if (state == State::open) {
        state = State::finishing;
        resumeReading(); // the end of the peer must be seen
        if (queue.isEmpty())
            shutDown();
    }
    armAlarm();
}

void SessionCore::shutDown()
{
    if (std::exchange(isShutDown, true))
        return;
    if (!connection->Shutdown(OS_shutdown_send))
        end({});
}

// Only the first reason counts.
void SessionCore::end(const itcClosed& why)
{
    if (state == State::ending || state == State::closed)
        return;
    reason = why;
    state = State::ending;
    readLink.unlink();
    writeLink.unlink();
    queue.clear();
    if (connection != nullptr)
        connection->Close();
    armAlarmNow();
}

void SessionCore::report()
{
    if (state != State::ending || callDepth > 0)
        return;
    const auto self = shared_from_this();
    state = State::closed;
    disconnect();
    const auto tellOwner = [this] {
        if (const auto owner = std::exchange(ended, nullptr))
            owner();
    };
    try {
        onClosed(reason);
    } catch (...) { // the exception is the host's; the session has ended all the same
        tellOwner();
        throw;
    }
    onPacket = nullptr; // what they have captured may be this session
    onClosed = nullptr;
    onFull = nullptr;
    onRoom = nullptr;
    tellOwner();
}

void SessionCore::disconnect()
{
    timer.stop();
    readLink.unlink();
    writeLink.unlink();
    queue.clear();
    connection.reset();
}

// ---- Deadlines

SessionCore::Clock::time_point SessionCore::dueOf(Deadline deadline) const
{
    const auto after = [](Clock::time_point begin, Duration limit) {
        return limit > Duration::zero() ? begin + std::min(limit, longestLimit) : never;
    };
    switch (deadline) {
    case Deadline::finish:
        return isFinishing ? finishBy : never;
    case Deadline::idle:
        return state == State::open && !isPaused ? after(lastHeard, idleTimeout) : never;
    case Deadline::packet:
        return isReading() && wasInsideFrame ? after(frameBegan, packetTimeout) : never;
    case Deadline::send:
        return isSending() && !queue.isEmpty() ? after(lastProgress, sendTimeout) : never;
    case Deadline::heartbeat:
        return state == State::open ? after(lastSent, heartbeat) : never;
    default:
        return state == State::writeFailed ? writeFailedBy : never;
    }
}

SessionCore::Clock::time_point SessionCore::nextDue() const
{
    Clock::time_point next = never;
    for (const Deadline deadline : eachDeadline)
        next = std::min(next, dueOf(deadline));
    return next;
}

void SessionCore::armAlarm()
{
    if (state == State::ending || state == State::closed)
        return;
    const Clock::time_point next = nextDue();
    if (next == never || (timer.isRunning() && alarmDue <= next))
        return;
    alarmDue = next;
    timer.startOnce(next - Clock::now());
}

void SessionCore::armAlarmNow()
{
    alarmDue = Clock::now();
    timer.startOnce({});
}

void SessionCore::alarm()
{
    const auto self = shared_from_this();
    if (callDepth > 0) // the end of the function sets the alarm again
        return;
    const Clock::time_point now = Clock::now();
    for (const Deadline deadline : eachDeadline) {
        if (dueOf(deadline) <= now && endsBy(deadline))
            break;
    }
    armAlarm(); // before the host is called: its functions may throw
    if (std::exchange(isToTellFull, false))
        callHost(onFull);
    tellRoom();
    report();
}

// The loop was busy, and the peer has sent in time: the next cycle reads before it looks at the time.
bool SessionCore::hasUnread() const { return connection->Pending() > 0; }

// \return true if the deadline ends the session.
bool SessionCore::endsBy(Deadline deadline)
{
    switch (deadline) {
    case Deadline::finish:
        end({queue.isEmpty() ? itcClosed::closedByUs : itcClosed::stuck, 0, {}});
        return true;
    case Deadline::idle:
        if (hasUnread())
            return false;
        end({itcClosed::silent, 0, {}});
        return true;
    case Deadline::packet:
        if (hasUnread())
            return false;
        end({itcClosed::tooSlow, 0, {}});
        return true;
    case Deadline::send:
        end({itcClosed::stuck, 0, {}});
        return true;
    case Deadline::heartbeat:
        sendHeartbeat();
        return false;
    default:
        end(reason);
        return true;
    }
}

} // namespace kiv
