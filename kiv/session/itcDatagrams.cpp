// A datagram is received by InitRead() and then read like a stream. The receiver makes both steps: a read without the
// first would find nothing, again and again, and the loop would spin.
#include <kiv/session/itcDatagrams.h>

#include <kiv/connection/itcInetSockDgram.h>
#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/foundation/OS.h>
#include <kiv/session/detail/Callback.h>
#include <kiv/session/detail/FrameSizes.h>
#include <kiv/session/detail/MakeShared.h>
#include <kiv/session/itcLink.h>
#include <kiv/session/itcTimer.h>

#include <fcntl.h>

#include <cerrno>
#include <new>
#include <utility>

using namespace kiv;

namespace {

constexpr int datagramSize = 512; // what the library receives
constexpr auto restTime = std::chrono::milliseconds(200);
constexpr int mostDatagramsPerCall = 64; // a flood of datagrams must not keep the others waiting

// A packet of a datagram never needs more than a datagram: what announces more is refused.
class DatagramPacket : public itcNDRReceive {
public:
    DatagramPacket() : itcNDRReceive(datagramSize) {}
    void extend_buffer(unsigned int) override
    {
        static_cast<itcStatus&>(*this) = {Itc_Ndr_Buffer_Alloc_Failed, Error, 0};
    }
};

// Offers a datagram once. The base class offers a full socket half as much again and again, as is right for a stream: a
// part of a packet would leave as a datagram.
class WholeDatagrams : public itcInetSockDgram {
public:
    int Write(const void* bytes, int length) override
    {
        ssize_t sent = -1;
        int error = 0;
        do {
            sent = OS_send(td, bytes, static_cast<size_t>(length), 0);
            error = sent < 0 ? OS_getLastError() : 0;
        } while (error == EINTR);
        if (error == EAGAIN)
            static_cast<itcStatus&>(*this) = {Itc_Tp_Would_Block, Warning, error};
        else if (error != 0)
            static_cast<itcStatus&>(*this) = {Itc_Tp_Write_Call_Failed, Error, error};
        else
            static_cast<itcStatus&>(*this) = {};
        return static_cast<int>(sent);
    }
};

// \return false, with the status of the socket: the system has refused.
bool prepare(itcConnection& socket)
{
    OS_fcntl(socket.ReadDescriptor(), F_SETFD, FD_CLOEXEC);
    return socket.SetOption(itcConnection::ItcNonBlocking);
}

} // namespace

class itcDatagramSender::Core {
public:
    WholeDatagrams socket;
    itcNDRSend packet{datagramSize};
};

itcDatagramSender::itcDatagramSender(const itcInetAddress& remote) : core(new (std::nothrow) Core)
{
    itcInetAddress address = remote;
    if (core == nullptr)
        senderStatus = {Itc_Tp_Malloc_Error, Error, ENOMEM};
    else if (address.status.severity != Success)
        senderStatus = address.status;
    else if (core->socket.OpenConnection(address, nullptr, nullptr) != 1)
        senderStatus = core->socket;
    else if (!prepare(core->socket))
        senderStatus = {Itc_Tp_Socket_Call_Failed, Error, OS_getLastError()};
    if (senderStatus.severity != Success)
        core.reset();
}

itcDatagramSender::~itcDatagramSender() = default;

itcDatagramSender::operator bool() const { return core != nullptr; }

itcNDRSend* itcDatagramSender::beginPacket()
{
    if (core == nullptr)
        return nullptr;
    core->packet.reset();
    return &core->packet;
}

bool itcDatagramSender::sendPacketBegun()
{
    itcNDRSend& packet = core->packet;
    senderStatus = packet;
    if (packet.severity == Success && packet.raw_length() > longestPacket)
        senderStatus = {Itc_Ndr_Buffer_Size_Too_Large, Error, 0};
    if (senderStatus.severity != Success)
        return false;
    core->socket << packet;
    if (packet.severity != Success)
        senderStatus = core->socket;
    return packet.severity == Success;
}

class itcDatagramReceiver::Core : public itcIOHandler, public std::enable_shared_from_this<Core> {
public:
    Core(Received toCall, itcDispatcher& loop)
        : received(std::move(toCall)), dispatcher(loop), timer([this] { resume(); }, loop)
    {}

    itcStatus listenAt(itcInetAddress address)
    {
        if (address.status.severity != Success)
            return address.status;
        if (socket.CreateEndpoint(address) != 1)
            return socket;
        if (!prepare(socket))
            return {Itc_Tp_Socket_Call_Failed, Error, OS_getLastError()};
        resume();
        return link.status();
    }
    int inputReady(itcConnection*, char*) override
    {
        const auto self = shared_from_this(); // the function may destroy the receiver
        if (isCalling) { // a cycle inside of the function, which still uses its packet: the next datagram has to wait
            link.unlink();
            return 0;
        }
        for (int datagrams = 0; datagrams < mostDatagramsPerCall && link.isLinked(); ++datagrams) {
            if (socket.InitRead() >= 0)
                handOver();
            else if (socket.code == Itc_Tp_Would_Block)
                refusedCount += 1; // an empty datagram
            else if (socket.errorNumber == EAGAIN)
                break;
            else
                rest();
        }
        return 0;
    }
    void end()
    {
        hasEnded = true;
        timer.stop();
        link.unlink();
    }

    itcInetSockDgram socket;
    std::uint64_t receivedCount = 0;
    std::uint64_t refusedCount = 0;

private:
    void resume()
    {
        if (!hasEnded && !link.isLinked())
            link = itcLink(socket, ReadMask, *this, dispatcher);
    }
    // The system, or the memory, has failed. The datagram stays, and the loop would spin.
    void rest()
    {
        timer.startOnce(restTime);
        link.unlink();
    }
    void handOver()
    {
        packet.reset();
        socket >> packet;
        if (packet.severity != Success || packet.raw_length() < emptyLength) {
            refusedCount += 1;
            return;
        }
        receivedCount += 1;
        itcInetAddress sender;
        socket.GetPeername(sender);
        const Calling calling{*this};
        received(packet, itcInetAddress(sender.address)); // made anew: the socket gives no flags
    }

    /// While the function runs nothing is received. Its end is noticed also when it throws.
    struct Calling {
        Core& core;
        explicit Calling(Core& caller) : core(caller) { core.isCalling = true; }
        ~Calling()
        {
            core.isCalling = false;
            core.resume();
        }
    };

    const Callback<itcNDRReceive&, const itcInetAddress&> received;
    DatagramPacket packet;
    itcDispatcher& dispatcher;
    itcLink link;
    itcTimer timer;
    bool isCalling = false;
    bool hasEnded = false;
};

itcDatagramReceiver::itcDatagramReceiver(const itcInetAddress& local, Received received, itcDispatcher& dispatcher)
    : core(makeSharedOrNull<Core>(std::move(received), dispatcher))
{
    receiverStatus = core != nullptr ? core->listenAt(local) : itcStatus{Itc_Tp_Malloc_Error, Error, ENOMEM};
}

itcDatagramReceiver::~itcDatagramReceiver()
{
    if (core != nullptr)
        core->end();
}

std::uint64_t itcDatagramReceiver::received() const { return core != nullptr ? core->receivedCount : 0; }

std::uint64_t itcDatagramReceiver::refused() const { return core != nullptr ? core->refusedCount : 0; }

int itcDatagramReceiver::port() const
{
    itcInetAddress local;
    return core != nullptr && core->socket.GetSockname(local) == 1 ? local.port() : 0;
}
