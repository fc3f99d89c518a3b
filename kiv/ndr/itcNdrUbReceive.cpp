#include <kiv/ndr/itcNdrUbReceive.h>

#include <kiv/connection/itcConnection.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/ndr/detail/Frame.h>
#include <kiv/ndr/detail/Storage.h>

#include <algorithm>
#include <istream>
#include <limits>

using namespace kiv;

/// What a source gave when it was asked for some bytes; what that means in the state at hand is not its business.
struct itcNdrUbReceive::Piece {
    enum Outcome { arrived, wouldBlock, closed, broken };

    Outcome outcome;
    unsigned int count = 0; ///< When arrived.
    int error = 0;          ///< When broken.
};

/// A connection gives what it has. It may be closed in the middle of a header that has begun to arrive: that is told
/// by the next call, which finds nothing at all.
class itcNdrUbReceive::ConnectionSource {
public:
    static constexpr bool givesAllOrFails = false;

    explicit ConnectionSource(itcConnection& connection) : connection(connection) {}

    Piece read(char* to, unsigned int size)
    {
        constexpr unsigned int maxPiece = std::numeric_limits<int>::max();
        const int n = connection.Read(to, static_cast<int>(std::min(size, maxPiece)));
        if (n > 0)
            return {Piece::arrived, static_cast<unsigned int>(n)};
        if (n == 0)
            return {Piece::closed};
        if (connection.code == Itc_Tp_Would_Block)
            return {Piece::wouldBlock};
        return {Piece::broken, 0, connection.errorNumber};
    }

private:
    itcConnection& connection;
};

/// A standard stream waits until it has everything.
class itcNdrUbReceive::StreamSource {
public:
    static constexpr bool givesAllOrFails = true;

    explicit StreamSource(std::istream& stream) : stream(stream) {}

    Piece read(char* to, unsigned int size)
    {
        try {
            stream.read(to, size);
        } catch (...) { // a stream of the host's that throws has its state set as well
        }
        if (stream.eof())
            return {Piece::closed};
        if (stream.fail())
            return {Piece::broken, 0, OS_getLastError()};
        return {Piece::arrived, size};
    }

private:
    std::istream& stream;
};

itcNdrUbReceive::itcNdrUbReceive(unsigned int tag) : tag(tag)
{
    zeroTransfer();
}

itcNdrUbReceive::itcNdrUbReceive(unsigned int tag, unsigned int size) : itcNDRReceive(static_cast<int>(size)), tag(tag)
{
    zeroTransfer();
    clearStatus(*this);
}

itcNdrUbReceive::itcNdrUbReceive(unsigned int tag, const char* data, unsigned int len)
    : itcNDRReceive(data, len), tag(tag)
{
    beComplete(len);
    clearStatus(*this);
}

itcNdrUbReceive::~itcNdrUbReceive()
{
    magicPos = lengthPos = dataPos = nullptr;
}

void itcNdrUbReceive::zeroTransfer()
{
    std::memset(magicBuf, 0, sizeof magicBuf);
    magicPos = nullptr;
    magicRemaining = 0;
    lengthBuf = 0;
    lengthPos = reinterpret_cast<char*>(&lengthBuf);
    lengthRemaining = 0;
    dataPos = nullptr;
    dataRemaining = 0;
    rxState = Idle;
    bytesReceived = 0;
}

void itcNdrUbReceive::beComplete(unsigned int length)
{
    zeroTransfer();
    lengthBuf = length;
    dataPos = raw_data();
    rxState = Complete;
    bytesReceived = length;
}

void itcNdrUbReceive::init(char* buf, unsigned int size)
{
    itcNDRReceive::init(buf, size);
    beComplete(size);
}

bool itcNdrUbReceive::mayTake()
{
    clearStatus(*this);
    return isComplete();
}

bool itcNdrUbReceive::isComplete()
{
    if (rxState != Complete)
        setStatus(*this, Itc_Ndr_Ub_Wrong_Transmission_State, Warning);
    return rxState == Complete;
}

bool itcNdrUbReceive::mayReset(bool alsoFailed)
{
    clearStatus(*this);
    if (rxState == Idle || rxState == Complete || (alsoFailed && rxState == Failed))
        return true;
    setStatus(*this, Itc_Ndr_Ub_Wrong_Transmission_State, Error);
    return false;
}

void itcNdrUbReceive::reset()
{
    if (!mayReset(false))
        return;
    itcNDRReceive::reset();
    becomeIdle();
}

void itcNdrUbReceive::reset_transmission_state()
{
    if (mayReset(true))
        becomeIdle();
}

void itcNdrUbReceive::becomeIdle()
{
    lengthBuf = 0;
    lengthPos = reinterpret_cast<char*>(&lengthBuf);
    lengthRemaining = 0;
    dataPos = nullptr;
    dataRemaining = 0;
    rxState = Idle;
}

itcNdrUbReceive& itcNdrUbReceive::extract(char* dst, unsigned int& len)
{
    if (mayTake())
        itcNDRReceive::extract(dst, len);
    return *this;
}

itcNdrUbReceive& itcNdrUbReceive::extract(char*& dst, int cap, int& len)
{
    if (mayTake())
        itcNDRReceive::extract(dst, cap, len);
    return *this;
}

itcNdrUbReceive& itcNdrUbReceive::get_opaque(void*& dst, int cap, int& len)
{
    if (mayTake())
        itcNDRReceive::get_opaque(dst, cap, len);
    return *this;
}

itcNdrUbReceive& itcNdrUbReceive::skip(int n)
{
    if (isComplete())
        itcNDRReceive::skip(n);
    return *this;
}

/// "May I? Then the base's take."
struct GuardedTakes {
    template <class Target> static itcNdrUbReceive& take(itcNdrUbReceive& b, Target&& target)
    {
        if (b.mayTake())
            static_cast<itcNDRReceive&>(b) >> target;
        return b;
    }
};

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, bool& v)
{
    return GuardedTakes::take(b, v);
}

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, char& v)
{
    return GuardedTakes::take(b, v);
}

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, signed char& v)
{
    return GuardedTakes::take(b, v);
}

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, unsigned char& v)
{
    return GuardedTakes::take(b, v);
}

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, short& v)
{
    return GuardedTakes::take(b, v);
}

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, unsigned short& v)
{
    return GuardedTakes::take(b, v);
}

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, int& v)
{
    return GuardedTakes::take(b, v);
}

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, unsigned int& v)
{
    return GuardedTakes::take(b, v);
}

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, float& v)
{
    return GuardedTakes::take(b, v);
}

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, double& v)
{
    return GuardedTakes::take(b, v);
}

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, long long& v)
{
    return GuardedTakes::take(b, v);
}

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, unsigned long long& v)
{
    return GuardedTakes::take(b, v);
}

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, char* v)
{
    return GuardedTakes::take(b, v);
}

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, itcBinData& v)
{
    return GuardedTakes::take(b, v);
}

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, itcXNDR& v)
{
    return GuardedTakes::take(b, v);
}

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, itcMsgHdr::itcMsgType& v)
{
    return GuardedTakes::take(b, v);
}

void itcNdrUbReceive::fail(ItcStatusCode failure, int error)
{
    setStatus(*this, failure, Error, error);
    rxState = Failed;
}

// The state machine. Each stage either says "stop here" or lets the next one begin.
template <class Source> unsigned int itcNdrUbReceive::receive(Source& source)
{
    bytesReceived = 0;
    switch (rxState) {
    case Idle:
        beginFrame();
        [[fallthrough]];
    case ReadingMagic:
        if (!readMagic(source))
            break;
        [[fallthrough]];
    case ReadingLength:
        if (!readLength(source))
            break;
        [[fallthrough]];
    case Transferring:
        readData(source);
        break;
    case Complete:
    case Failed:
    case Disconnected:
        return 0;
    default:
        fail(Itc_Ndr_Ub_Unknown_Receive_State, OS_getLastError());
        return lengthRemaining + dataRemaining;
    }
    return magicRemaining + lengthRemaining + dataRemaining;
}

void itcNdrUbReceive::beginFrame()
{
    magicPos = magicBuf;
    magicRemaining = sizeof magicBuf;
    lengthBuf = 0;
    lengthPos = reinterpret_cast<char*>(&lengthBuf);
    lengthRemaining = sizeof lengthBuf;
    dataPos = raw_data();
    dataRemaining = 0;
    rxState = ReadingMagic;
}

template <class Source> bool itcNdrUbReceive::readMagic(Source& source)
{
    if (!readOn(source, magicPos, magicRemaining))
        return false;
    if (std::memcmp(magicBuf, frameMagic, sizeof magicBuf) != 0) {
        fail(Itc_Ndr_Magic_Error, OS_getLastError());
        return false;
    }
    rxState = ReadingLength;
    return true;
}

template <class Source> bool itcNdrUbReceive::readLength(Source& source)
{
    if (!readOn(source, lengthPos, lengthRemaining))
        return false;
    lengthBuf = OS_ntohl(lengthBuf);
    lengthPos = reinterpret_cast<char*>(&lengthBuf);
    rxState = Transferring;
    dataRemaining = lengthBuf;
    return makeRoom();
}

template <class Source> void itcNdrUbReceive::readData(Source& source)
{
    if (!isStillInPlace()) {
        fail(Itc_Ndr_Ub_Packet_Read_Failed, OS_getLastError());
        return;
    }
    if (!readOn(source, dataPos, dataRemaining))
        return;
    dataPos = raw_data();
    rxState = Complete;
    installPacket(lengthBuf);
}

// Reads towards the end of the stage at hand. \return true when it is reached.
template <class Source> bool itcNdrUbReceive::readOn(Source& source, char*& position, unsigned int& remaining)
{
    const Piece piece = source.read(position, remaining);
    switch (piece.outcome) {
    case Piece::arrived: {
        const unsigned int moved = std::min(piece.count, remaining); // a deriving connection may claim more
        position += moved;
        remaining -= moved;
        // From a stream only the bytes in front of the data are counted.
        if (!Source::givesAllOrFails || rxState != Transferring)
            bytesReceived += piece.count;
        return remaining == 0;
    }
    case Piece::wouldBlock:
        return false;
    case Piece::closed:
        if (rxState == Transferring) {
            fail(Itc_Ndr_Ub_Disconnection, OS_getLastError());
        } else if (Source::givesAllOrFails || bytesReceived == 0) {
            setStatus(*this, Itc_Ndr_Ub_Disconnection, Error);
            rxState = Disconnected;
        }
        return false;
    default:
        fail(Itc_Ndr_Ub_Packet_Read_Failed, piece.error);
        return false;
    }
}

// A growth may end with the code for "more than the maximum" and still have made enough; no other failure is forgiven,
// and nothing is read into a buffer that does not hold it.
bool itcNdrUbReceive::makeRoom()
{
    if (lengthBuf > free_buffer_size()) {
        extend_buffer(pagesBeyond(lengthBuf));
        const bool hasFailed = severity > Success && code != Itc_Ndr_Buff_Sz_More_Than_Max;
        if (hasFailed || lengthBuf > free_buffer_size_inline()) {
            fail(Itc_Ndr_Ub_Extend_Buffer_Failed, OS_getLastError());
            return false;
        }
        dataPos = raw_data();
    }
    return true;
}

// The rest of the data still lies in the storage, unless that has been replaced behind our back.
bool itcNdrUbReceive::isStillInPlace() const
{
    const auto first = reinterpret_cast<std::uintptr_t>(dataStart);
    const auto position = reinterpret_cast<std::uintptr_t>(dataPos);
    const unsigned int capacity = free_buffer_size_inline();
    return position >= first && position - first <= capacity && dataRemaining <= capacity - (position - first);
}

unsigned int operator>>(itcConnection& c, itcNdrUbReceive& r)
{
    if (r.rxState != Failed)
        clearStatus(r);
    if (c.InitRead() < 0) {
        if (c.code != Itc_Tp_Would_Block)
            r.fail(Itc_Ndr_Ub_Packet_Read_Failed, c.errorNumber);
        return r.dataRemaining;
    }
    itcNdrUbReceive::ConnectionSource source(c);
    return r.receive(source);
}

std::istream& operator>>(std::istream& is, itcNdrUbReceive& r)
{
    if (r.rxState >= Idle && r.rxState <= Complete)
        clearStatus(r);
    itcNdrUbReceive::StreamSource source(is);
    r.receive(source);
    return is;
}
