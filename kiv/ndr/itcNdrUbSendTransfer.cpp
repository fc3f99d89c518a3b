// The resumable write: each call sends what the connection takes, and remembers where it stopped.
//
// The head of the frame is written once, when the transfer begins. Its length word then says where the frame ends, also
// when values are put behind the frame meanwhile.
#include <kiv/ndr/itcNdrUbSend.h>

#include <kiv/connection/itcConnection.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/ndr/detail/Frame.h>

#include <algorithm>
#include <limits>
#include <ostream>

using namespace kiv;

// What connections and streams have in common: the head of the frame, and whether there is anything to be sent. What
// cannot be sent fails as a write does, with the error number that a failed write would leave.
bool itcNdrUbSend::beginTransfer(int writeError)
{
    clearStatus(*this);
    bytesSent = 0;
    switch (txState) {
    case Idle:
        sendRemaining = raw_length() + frameHeadSize; // also without storage: 0 would mean that all is sent
        if (raw_data() == nullptr) {
            fail(Itc_Ndr_Ub_Packet_Write_Failed, writeError);
            return false;
        }
        sendPos = writeFrameHead(raw_data(), raw_length());
        txState = Transferring;
        return true;
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

// The base class can still change the content. The frame is in place while its unsent rest ends where the length word
// of its head says, and the content still reaches that far. Values that were put behind the frame do no harm: they are
// not part of the frame. Addresses are compared as numbers, since `sendPos` may point into storage that is gone.
bool itcNdrUbSend::isStillInPlace()
{
    const char* const data = raw_data();
    if (data == nullptr)
        return false;
    const auto first = reinterpret_cast<std::uintptr_t>(data);
    const auto position = reinterpret_cast<std::uintptr_t>(sendPos);
    const unsigned int length = frameLengthBefore(data);
    return position >= first - frameHeadSize && position + sendRemaining == first + length && length <= raw_length();
}

void itcNdrUbSend::advance(unsigned int sent)
{
    const unsigned int moved = std::min(sent, sendRemaining); // a host's own connection may claim more
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
    } catch (...) { // a host's stream that throws has set its state too
    }
    if (os.rdstate() != std::ios_base::goodbit)
        s.fail(Itc_Ndr_Ub_Packet_Write_Failed, OS_getLastError());
    else
        s.advance(s.sendRemaining);
    return os;
}
