#include <kiv/ndr/itcNdrUbSend.h>

#include <kiv/connection/itcConnection.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/ndr/detail/Frame.h>

#include <algorithm>
#include <limits>
#include <ostream>

using namespace kiv;

itcNdrUbSend::itcNdrUbSend(unsigned int tag) : sendPos(nullptr), sendRemaining(0), txState(Idle), bytesSent(0), tag(tag)
{}

itcNdrUbSend::itcNdrUbSend(unsigned int tag, unsigned int size)
    : itcNDRSend(static_cast<int>(size)), sendPos(nullptr), sendRemaining(0), txState(Idle), bytesSent(0), tag(tag)
{
    clearStatus(*this);
}

itcNdrUbSend::~itcNdrUbSend()
{
    sendPos = nullptr;
}

bool itcNdrUbSend::mayPut()
{
    clearStatus(*this);
    if (txState != Idle)
        setStatus(*this, Itc_Ndr_Ub_Wrong_Transmission_State, Warning);
    return txState == Idle;
}

bool itcNdrUbSend::mayReset()
{
    clearStatus(*this);
    if (txState == Idle || txState == Complete || txState == Failed)
        return true;
    setStatus(*this, Itc_Ndr_Ub_Wrong_Transmission_State, Error);
    return false;
}

void itcNdrUbSend::reset()
{
    if (!mayReset())
        return;
    itcNDRSend::reset();
    becomeIdle();
}

void itcNdrUbSend::reset_transmission_state()
{
    if (mayReset())
        becomeIdle();
}

void itcNdrUbSend::becomeIdle()
{
    sendPos = nullptr;
    sendRemaining = 0;
    txState = Idle;
}

itcNdrUbSend& itcNdrUbSend::put_opaque(const void* data, int len, bool align8, bool withLength)
{
    if (mayPut())
        itcNDRSend::put_opaque(data, len, align8, withLength);
    return *this;
}

itcNdrUbSend& itcNdrUbSend::insert(const char* data, int len, bool withLength)
{
    if (mayPut())
        itcNDRSend::insert(data, len, withLength);
    return *this;
}

/// "May I? Then the base's put."
struct GuardedPuts {
    template <class Value> static itcNdrUbSend& put(itcNdrUbSend& b, const Value& value)
    {
        if (b.mayPut())
            static_cast<itcNDRSend&>(b) << value;
        return b;
    }
};

itcNdrUbSend& operator<<(itcNdrUbSend& b, bool v)
{
    return GuardedPuts::put(b, v);
}

itcNdrUbSend& operator<<(itcNdrUbSend& b, char v)
{
    return GuardedPuts::put(b, v);
}

itcNdrUbSend& operator<<(itcNdrUbSend& b, signed char v)
{
    return GuardedPuts::put(b, v);
}

itcNdrUbSend& operator<<(itcNdrUbSend& b, unsigned char v)
{
    return GuardedPuts::put(b, v);
}

itcNdrUbSend& operator<<(itcNdrUbSend& b, short v)
{
    return GuardedPuts::put(b, v);
}

itcNdrUbSend& operator<<(itcNdrUbSend& b, unsigned short v)
{
    return GuardedPuts::put(b, v);
}

itcNdrUbSend& operator<<(itcNdrUbSend& b, int v)
{
    return GuardedPuts::put(b, v);
}

itcNdrUbSend& operator<<(itcNdrUbSend& b, unsigned int v)
{
    return GuardedPuts::put(b, v);
}

itcNdrUbSend& operator<<(itcNdrUbSend& b, float v)
{
    return GuardedPuts::put(b, v);
}

itcNdrUbSend& operator<<(itcNdrUbSend& b, double v)
{
    return GuardedPuts::put(b, v);
}

itcNdrUbSend& operator<<(itcNdrUbSend& b, long long v)
{
    return GuardedPuts::put(b, v);
}

itcNdrUbSend& operator<<(itcNdrUbSend& b, unsigned long long v)
{
    return GuardedPuts::put(b, v);
}

itcNdrUbSend& operator<<(itcNdrUbSend& b, const char* v)
{
    return GuardedPuts::put(b, v);
}

itcNdrUbSend& operator<<(itcNdrUbSend& b, const itcBinData& v)
{
    return GuardedPuts::put(b, v);
}

itcNdrUbSend& operator<<(itcNdrUbSend& b, const itcXNDR& v)
{
    return GuardedPuts::put(b, v);
}

// What is common to both destinations: the frame's head, and whether there is anything to be sent. What can not be sent
// fails as a write does, with the error number that a failed write would leave.
bool itcNdrUbSend::beginTransfer(int writeError)
{
    clearStatus(*this);
    bytesSent = 0;
    switch (txState) {
    case Idle: {
        const unsigned int length = raw_length();
        sendRemaining = length + framePrefixSize; // also without storage: 0 would mean that all is sent
        if (raw_data() == nullptr) {
            fail(Itc_Ndr_Ub_Packet_Write_Failed, writeError);
            return false;
        }
        const unsigned int networkLength = OS_htonl(length);
        sendPos = raw_data() - framePrefixSize;
        std::memcpy(sendPos, frameMagic, sizeof frameMagic);
        std::memcpy(sendPos + sizeof frameMagic, &networkLength, sizeof networkLength);
        txState = Transferring;
        return true;
    }
    case Transferring:
        if (isStillInPlace())
            return true;
        fail(Itc_Ndr_Ub_Packet_Write_Failed, writeError);
        return false;
    case Complete:
    case Failed:
        return false;
    default:
        fail(Itc_Ndr_Ub_Unknown_Send_State, OS_getLastError());
        return false;
    }
}

// The base class can still change the content. The frame is in place while its unsent rest ends where the length word of
// its head says, and the content still reaches that far. Values that were put behind the frame do no harm: they are not
// part of it. Addresses are compared as numbers, since `sendPos` may point into storage that is gone.
bool itcNdrUbSend::isStillInPlace()
{
    const char* const data = raw_data();
    if (data == nullptr)
        return false;
    const auto first = reinterpret_cast<std::uintptr_t>(data);
    const auto position = reinterpret_cast<std::uintptr_t>(sendPos);
    unsigned int networkLength = 0;
    std::memcpy(&networkLength, data - sizeof networkLength, sizeof networkLength);
    const unsigned int length = OS_ntohl(networkLength);
    return position >= first - framePrefixSize && position + sendRemaining == first + length && length <= raw_length();
}

void itcNdrUbSend::advance(unsigned int sent)
{
    const unsigned int moved = std::min(sent, sendRemaining); // a deriving connection may claim more
    bytesSent += sent;
    sendPos += moved;
    sendRemaining -= moved;
    if (sendRemaining == 0) {
        sendPos = raw_data();
        txState = Complete;
    }
}

void itcNdrUbSend::fail(ItcStatusCode failure, int error)
{
    setStatus(*this, failure, Error, error);
    txState = Failed;
}

unsigned int operator<<(itcConnection& c, itcNdrUbSend& s)
{
    if (!s.beginTransfer(c.errorNumber))
        return s.severity == Error ? s.sendRemaining : 0;
    const auto piece = static_cast<int>(std::min<unsigned int>(s.sendRemaining, std::numeric_limits<int>::max()));
    const int n = c.Write(s.sendPos, piece);
    if (n >= 0)
        s.advance(static_cast<unsigned int>(n));
    else if (c.code != Itc_Tp_Would_Block)
        s.fail(Itc_Ndr_Ub_Packet_Write_Failed, c.errorNumber);
    return s.sendRemaining;
}

std::ostream& operator<<(std::ostream& os, itcNdrUbSend& s)
{
    if (!s.beginTransfer(OS_getLastError()))
        return os;
    try {
        os.write(s.sendPos, s.sendRemaining);
    } catch (...) { // a stream of the host's that throws has its state set as well
    }
    if (os.rdstate() != std::ios_base::goodbit)
        s.fail(Itc_Ndr_Ub_Packet_Write_Failed, OS_getLastError());
    else
        s.advance(s.sendRemaining);
    return os;
}
