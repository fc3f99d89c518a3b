// The framed read: one Read() for the magic, one for the length, one for the data.
//
// Nothing loops over partial reads: over a connection that delivers less than was asked for, this read fails, and the
// stream is out of step. The resumable receiver is made for such connections.
#include <kiv/ndr/itcNDRReceive.h>

#include <kiv/connection/itcConnection.h>
#include <kiv/foundation/detail/Misuse.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/ndr/detail/Frame.h>
#include <kiv/ndr/detail/Storage.h>
#include <kiv/ndr/itcNdrUbReceive.h>

using namespace kiv;

namespace {

// Reads one of the two words in front of the data.
// \return false with the status set.
bool readWord(itcConnection& c, itcNDRReceive& b, void* word)
{
    constexpr unsigned int size = 4;
    const int n = c.Read(word, size);
    if (n == -1)
        setStatus(b, Itc_Ndr_Conn_Read_Failed, Error);
    else if (n == 0)
        setStatus(b, Itc_Ndr_Disconnection, Error);
    else if (static_cast<unsigned int>(n) < size) // compared as unsigned: a result below -1 passes for a whole word
        setStatus(b, Itc_Ndr_Packet_Length_Read_Failed, Error);
    else
        return true;
    return false;
}

} // namespace

// \return false with the status set: nothing is read into a buffer that does not hold the announced length.
bool itcNDRReceive::makeRoomFor(unsigned int length)
{
    if (length > longestFrame || length > free_buffer_size()) {
        extend_buffer(pagesBeyond(length));
        if (severity == Error)
            return false;
    }
    // A deriving class that grows or tells its size in its own way may have promised too much.
    if (length > longestFrame || length > free_buffer_size_inline()) {
        failAllocation(*this);
        return false;
    }
    return true;
}

itcConnection& operator>>(itcConnection& c, itcNDRReceive& b)
{
    KIV_TELL_MISUSE(dynamic_cast<itcNdrUbReceive*>(&b) != nullptr,
                    "a resumable buffer is read through its base class: the read is the plain one", c.ReadDescriptor());
    char magic[sizeof frameMagic] = {};
    if (!readWord(c, b, magic))
        return c;
    if (!isFrameMagic(magic)) {
        setStatus(b, Itc_Ndr_Magic_Error, Error);
        return c;
    }
    uint32_t length = 0;
    if (!readWord(c, b, &length))
        return c;
    length = OS_ntohl(length);
    if (!b.makeRoomFor(length))
        return c;

    const int n = c.Read(b.dataStart, static_cast<int>(length));
    if (n < 0) {
        setStatus(b, Itc_Ndr_Conn_Read_Failed, Error);
    } else if (n == 0) {
        setStatus(b, Itc_Ndr_Disconnection, Error);
    } else if (static_cast<unsigned int>(n) >= length) {
        b.installPacket(length);
        b.transactionEnd = 0;
        clearStatus(b);
    } else {
        b.installPacket(static_cast<unsigned int>(n));
        setStatus(b, Itc_Ndr_Packet_Read_Not_All_Data, Error);
    }
    return c;
}
