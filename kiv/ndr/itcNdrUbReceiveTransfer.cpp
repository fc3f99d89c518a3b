// The resumable read: a state machine whose stages read the magic, the length and the data.
//
// Each call lets the stages read what the source has. A stage either says "stop here" or lets the next stage begin. The
// stages are written once, for two kinds of source: a connection, which gives what it has, and a standard stream, which
// waits until it has everything. What a source gave is told as a Piece. What a piece means depends on the state, and is
// decided in readOn() alone.
#include <kiv/ndr/itcNdrUbReceive.h>

#include <kiv/connection/itcConnection.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/ndr/detail/Frame.h>
#include <kiv/ndr/detail/Storage.h>

#include <algorithm>
#include <istream>
#include <limits>

using namespace kiv;

/// What a source gave when it was asked for some bytes.
struct itcNdrUbReceive::Piece {
    enum Outcome { arrived, wouldBlock, closed, broken };

    Outcome outcome;
    unsigned int count = 0; ///< When arrived.
    int error = 0;          ///< When broken.
};

/// A connection gives what it has. If the peer closes inside the header, this call reports only the bytes read. The
/// next call, which reads 0 bytes, reports the disconnection.
class itcNdrUbReceive::ConnectionSource {
public:
    static constexpr bool givesAllOrFails = false;

    explicit ConnectionSource(itcConnection& from) : connection(from) {}

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

    explicit StreamSource(std::istream& from) : stream(from) {}

    Piece read(char* to, unsigned int size)
    {
        try {
            stream.read(to, size);
        } catch (...) { // a host's stream that throws has set its state too
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

void itcNdrUbReceive::fail(ItcStatusCode failure, int error)
{
    setStatus(*this, failure, Error, error);
    rxState = Failed;
}

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
    if (!isFrameMagic(magicBuf)) {
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
    installPacket(lengthBuf); // keeps the end of an earlier transaction: the plain framed read forgets it
}

// Reads towards the end of the present stage. A peer that closes inside the data leaves the state Failed, because a
// part of a packet is lost. A peer that closes inside the header leaves Disconnected, which no reset leaves: the stream
// is over.
// \return true when the end of the stage is reached.
template <class Source> bool itcNdrUbReceive::readOn(Source& source, char*& position, unsigned int& remaining)
{
    const Piece piece = source.read(position, remaining);
    switch (piece.outcome) {
    case Piece::arrived: {
        const unsigned int moved = std::min(piece.count, remaining); // a host's own connection may claim more
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

// A host's own extend_buffer() may report "more than the maximum" and still have made enough. That code alone is
// forgiven, and only if the buffer really holds the frame.
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

// Whether the rest of the data still fits into the storage. The base class can replace the storage during a transfer.
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
    // A receive that fails before a byte is read tells only what is missing of the data: the header is counted stage by
    // stage.
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
