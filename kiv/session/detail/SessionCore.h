/// \file
/// What an itcSession does: the states of a session, its deadlines, and the calls into the host.
#pragma once

#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/session/detail/Callback.h>
#include <kiv/session/detail/FrameReader.h>
#include <kiv/session/detail/SendQueue.h>
#include <kiv/session/itcClosed.h>
#include <kiv/session/itcLink.h>
#include <kiv/session/itcSession.h>
#include <kiv/session/itcTimer.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace kiv {

/// One session.
///
/// \code
///            finish()
///   open -------------> finishing ---- all sent, and the peer has closed ---+
///    | \                    |                                               |
///    |  \ peer closed,      | peer closed, packets wait                     |
///    |   v packets wait     v                                               v
///    |    peerHasLeft <-----+ ---------- all sent, or cannot be sent --> ending --> closed
///    |                                                                      ^
///    | write failed                                                         |
///    +------------> writeFailed --- read failed, or a second has passed ----+
///    |                                                                      |
///    +---- close(), a limit, a bad packet, a failed read -------------------+
/// \endcode
/// - peerHasLeft: the peer sends no more. What waits may still reach it.
/// - writeFailed: nothing can be sent. What the peer has sent before is still read, and its end tells the true reason.
/// - ending: the connection is closed, and the reason is known. The host is told as soon as none of its functions runs.
/// - closed: the host was told, or the session was destroyed.
class SessionCore : public itcIOHandler, public std::enable_shared_from_this<SessionCore> {
public:
    using Clock = std::chrono::steady_clock;
    using Duration = itcSession::Duration;

    explicit SessionCore(itcDispatcher& dispatcher);

    void begin(std::unique_ptr<itcConnection> stream, itcSession& shell);
    void abandon(); ///< The itcSession is destroyed: nobody is called any more.

    itcNDRSend* beginPacket();
    bool sendPacketBegun();
    void endPacket() { isBuilding = false; }
    bool accept(const itcNDRReceive& packet);
    void finish(Duration longest);
    void end(const itcClosed& why);

    bool hasTimer() const { return static_cast<bool>(timer); }
    bool isOpen() const { return state == State::open; }
    bool hasEnded() const { return state == State::closed || state == State::ending; }
    void limitsHaveChanged() { armAlarm(); }
    void pauseReading();
    void resumeReading();

    int inputReady(itcConnection*, char*) override;
    int outputReady(itcConnection*, char*) override;

    Callback<itcNDRReceive&> onPacket;
    Callback<const itcClosed&> onClosed;
    Callback<> onFull;
    Callback<> onRoom;
    itcSession* shell = nullptr; ///< The object of the host; null when it is destroyed.
    std::function<void()> ended; ///< The owner of the session may destroy it; called behind onClosed.

    // Each may be 0: no limit.
    Duration idleTimeout = std::chrono::minutes(5);
    Duration packetTimeout = std::chrono::seconds(30);
    Duration sendTimeout = std::chrono::seconds(30);
    Duration heartbeat{};
    bool closesWhenFull = false;

    itcSessionCounters counters;
    itcStatus status;
    std::string peerAddress;
    std::unique_ptr<itcConnection> connection;
    FrameReader reader;
    SendQueue queue{counters};

private:
    enum class State { open, finishing, peerHasLeft, writeFailed, ending, closed };
    /// What a deadline leads to, in the order in which they are looked at.
    enum class Deadline { finish, idle, packet, send, heartbeat, writeFailed };
    static constexpr Deadline eachDeadline[] = {Deadline::finish, Deadline::idle,      Deadline::packet,
                                                Deadline::send,   Deadline::heartbeat, Deadline::writeFailed};

    template <class Function, class... Arguments> void callHost(const Function& function, Arguments&&... arguments);

    bool isReading() const;
    bool isSending() const;

    bool readOne();
    void handOver();
    void readHasFailed();
    void peerHasClosed(const itcClosed& why);

    void flush();
    void writeHasFailed();
    void sendHeartbeat();
    void answerHeartbeat();
    void linkReading();
    void shutDown();
    void tellRoom();
    bool hasUnread() const;

    void report();
    void disconnect();

    Clock::time_point dueOf(Deadline deadline) const;
    Clock::time_point nextDue() const;
    void armAlarm();
    void armAlarmNow();
    void alarm();
    bool endsBy(Deadline deadline);

    itcDispatcher& dispatcher;
    itcLink readLink;
    itcLink writeLink;
    itcTimer timer;
    State state = State::open;
    itcClosed reason;         ///< Of the end, once it is certain.
    bool isPaused = false;    ///< The host wants nothing to be read now.
    int callDepth = 0;        ///< Functions of the host that run now: cycles may nest.
    bool isFinishing = false; ///< The host has asked for the end: the end is its own, whoever closes first.
    bool isShutDown = false;  ///< Finishing: the peer was told that nothing follows.
    bool isBuilding = false;  ///< The host fills a packet.
    bool isFull = false;      ///< A packet has found the queue full, and it has not drained since.
    bool isToTellFull = false;
    bool wasInsideFrame = false;
    Clock::time_point alarmDue; ///< While the timer runs.
    Clock::time_point lastHeard;
    Clock::time_point frameBegan;
    Clock::time_point lastProgress; ///< Of what waits.
    Clock::time_point lastSent;     ///< Only with heartbeats.
    Clock::time_point lastAnswer;   ///< To a heartbeat.
    Clock::time_point finishBy;
    Clock::time_point writeFailedBy;
};

} // namespace kiv
