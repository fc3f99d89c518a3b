// The framed write: the head goes into the room in front of the data, and one Write() sends everything.
//
// A short write is a failure here: nobody would know where to go on. The content stays in the buffer either way.
#include <kiv/ndr/itcNDRSend.h>

#include <kiv/connection/itcConnection.h>
#include <kiv/foundation/detail/Misuse.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/ndr/detail/Frame.h>
#include <kiv/ndr/itcNdrUbSend.h>

#include <limits>

using namespace kiv;

itcConnection& operator<<(itcConnection& c, itcNDRSend& b)
{
    KIV_TELL_MISUSE(dynamic_cast<itcNdrUbSend*>(&b) != nullptr,
                    "a resumable buffer is written through its base class: the write is the plain one",
                    c.WriteDescriptor());
    constexpr uint64_t largestWrite = std::numeric_limits<int>::max();
    const unsigned int length = b.raw_length();
    const uint64_t frameLength = uint64_t{length} + frameHeadSize;
    int sent = -1;
    if (b.frameStart != nullptr && frameLength <= largestWrite)
        sent = c.Write(writeFrameHead(b.frameStart + itcNDRSend::headerSize, length), static_cast<int>(frameLength));
    if (sent >= 0 && static_cast<uint64_t>(sent) == frameLength) {
        clearStatus(b);
    } else {
        b.transactionOffset = 0;
        setStatus(b, Itc_Ndr_Packet_Write_Failed, Error);
    }
    return c;
}
