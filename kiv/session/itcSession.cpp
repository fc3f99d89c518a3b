// A thin shell around the core. The core outlives the itcSession while a function of the host runs. Without memory for
// a core the session is closed from the beginning, and calls nobody.
#include <kiv/session/itcSession.h>

#include <kiv/connection/itcConnection.h>
#include <kiv/session/detail/FrameSizes.h>
#include <kiv/session/detail/MakeShared.h>
#include <kiv/session/detail/SessionCore.h>

#include <cerrno>
#include <climits>
#include <utility>

using namespace kiv;

itcSession::itcSession(std::unique_ptr<itcConnection> connection, itcDispatcher& dispatcher)
    : core(makeSharedOrNull<SessionCore>(dispatcher))
{
    if (core != nullptr && !core->hasTimer())
        core = nullptr; // a session without limits must not begin
    if (core != nullptr)
        core->begin(std::move(connection), *this);
}

itcSession::~itcSession()
{
    if (core != nullptr)
        core->abandon();
}

itcSession& itcSession::onPacket(std::function<void(itcNDRReceive&)> function)
{
    if (core != nullptr)
        core->onPacket = std::move(function);
    return *this;
}

itcSession& itcSession::onClosed(std::function<void(const itcClosed&)> function)
{
    if (core != nullptr)
        core->onClosed = std::move(function);
    return *this;
}

itcSession& itcSession::onFull(std::function<void()> function)
{
    if (core != nullptr)
        core->onFull = std::move(function);
    return *this;
}

itcSession& itcSession::onRoom(std::function<void()> function)
{
    if (core != nullptr)
        core->onRoom = std::move(function);
    return *this;
}

itcSession& itcSession::setMaxPacketSize(std::uint32_t bytes)
{
    if (core != nullptr)
        core->reader.setLongest(bytes);
    return *this;
}

// A deadline that comes nearer must set the alarm anew.
itcSession& itcSession::setLimit(Duration kiv::SessionCore::*limit, Duration value)
{
    if (core != nullptr) {
        (*core).*limit = value;
        core->limitsHaveChanged();
    }
    return *this;
}

itcSession& itcSession::setIdleTimeout(Duration longest) { return setLimit(&SessionCore::idleTimeout, longest); }
itcSession& itcSession::setPacketTimeout(Duration longest) { return setLimit(&SessionCore::packetTimeout, longest); }
itcSession& itcSession::setSendTimeout(Duration longest) { return setLimit(&SessionCore::sendTimeout, longest); }
itcSession& itcSession::setHeartbeat(Duration interval) { return setLimit(&SessionCore::heartbeat, interval); }

itcSession& itcSession::setQueue(std::size_t highWater, std::size_t lowWater, WhenFull whenFull)
{
    if (core != nullptr) {
        core->queue.setSize(highWater, lowWater, whenFull == WhenFull::dropOldest);
        core->closesWhenFull = whenFull == WhenFull::close;
    }
    return *this;
}

itcNDRSend* itcSession::beginPacket() { return core != nullptr ? core->beginPacket() : nullptr; }

bool itcSession::sendPacketBegun() { return core->sendPacketBegun(); }

void itcSession::endPacket() { core->endPacket(); }

bool itcSession::accept(const itcNDRReceive& packet) { return core != nullptr && core->accept(packet); }

// The bytes behind the label are copied: values keep their offsets, and with them their alignment.
bool itcSession::sendPacket(itcNDRSend& packet)
{
    itcNDRSend* const copy = beginPacket();
    if (copy == nullptr)
        return false;
    const Building building{*this};
    if (packet.severity == Error) {
        core->status = packet;
        return false;
    }
    const unsigned int length = packet.raw_length();
    if (length <= emptyLength || length > INT_MAX) {
        core->status = {length > INT_MAX ? Itc_Ndr_Buffer_Size_Too_Large : Itc_Ndr_No_Buffer_Provided, Error, 0};
        return false;
    }
    copy->insert(packet.raw_data() + emptyLength, static_cast<int>(length - emptyLength), false);
    return sendPacketBegun();
}

void itcSession::finish(Duration longest)
{
    if (core != nullptr)
        core->finish(longest);
}

void itcSession::close()
{
    if (core != nullptr)
        core->end({});
}

void itcSession::pauseReading()
{
    if (core != nullptr)
        core->pauseReading();
}

void itcSession::resumeReading()
{
    if (core != nullptr)
        core->resumeReading();
}

itcSession::Handle itcSession::handle() const
{
    Handle handle;
    handle.session = core;
    return handle;
}

itcSession* itcSession::Handle::get() const
{
    const auto held = session.lock();
    return held != nullptr && !held->hasEnded() ? held->shell : nullptr;
}

bool itcSession::isOpen() const { return core != nullptr && core->isOpen(); }

const itcStatus& itcSession::status() const
{
    static const itcStatus noMemory{Itc_Tp_Malloc_Error, Error, ENOMEM};
    return core != nullptr ? core->status : noMemory;
}

const itcSessionCounters& itcSession::counters() const
{
    static const itcSessionCounters nothing;
    return core != nullptr ? core->counters : nothing;
}

const std::string& itcSession::peerAddress() const
{
    static const std::string nobody;
    return core != nullptr ? core->peerAddress : nobody;
}

itcConnection* itcSession::connection() const
{
    return core != nullptr && !core->hasEnded() ? core->connection.get() : nullptr;
}
